// Calls a meeting and watches the answers come in.
//
//   invite --to "bob@example.com; carol@example.com" --subject Planning --start 2026-07-06T10:00 --minutes 60

#include <iostream>
#include <thread>

#include "ews/VelmoreEWS.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

/// "Bob Birch: Accept", and the time that was proposed instead.
void Print(IVqEWSCalendarItem& meeting) {
  for (auto* list : {&meeting.GetRequiredAttendees(), &meeting.GetOptionalAttendees()}) {
    for (TEwsAttendee& attendee : list->GetAttendee()) {
      const string name = attendee.GetMailbox().GetName();
      std::cout << "  " << (name.empty() ? attendee.GetMailbox().GetEmailAddress() : name) << ": "
                << VqEnumToText(attendee.GetResponseType());
      if (attendee.FindNode("t:ProposedStart"))
        std::cout << ", proposes " << VqDateTimeToXML(attendee.GetProposedStart());
      std::cout << '\n';
    }
  }
}

/// How many have answered in some way.
int Answers(IVqEWSCalendarItem& meeting) {
  int answers = 0;
  for (auto* list : {&meeting.GetRequiredAttendees(), &meeting.GetOptionalAttendees()}) {
    for (TEwsAttendee& attendee : list->GetAttendee()) {
      const TResponseType response = attendee.GetResponseType();
      answers += response == rtAccept || response == rtTentative || response == rtDecline;
    }
  }
  return answers;
}

/// In the demonstration somebody must answer: whoever is invited there does, and proposes to begin later.
void AnswerAs(const ExampleServer& server, const string& user, const string& password) {
  TVqEWSServiceSession session;
  server.Configure(session);
  session.GetCredentials().SetUserName(user);
  session.GetCredentials().SetPassword(password);
  session.SetActive(true);
  auto store = session.OpenDefaultMsgStore();
  auto entries = store->GetFolder(dfincalendar, "")->GetItems();
  for (entries->Open(); !entries->Eof(); entries->Next()) {
    auto entry = Supports<IVqEWSCalendarItem>(store->GetItem(entries->GetItemId()));
    if (entry->GetMyResponseType() != rtNoResponseReceived) continue;
    auto answer = entry->CreateMeetingResponse(raTentativelyAccept);
    answer->GetBody().SetBodyType(btText);
    answer->GetBody().SetValue("Could we begin an hour later?");
    answer->SetProposedStart(entry->GetStartDateTime() + 1.0 / 24);
    answer->SetProposedEnd(entry->GetEndDateTime() + 1.0 / 24);
    answer->Submit(mdpSendAndSaveCopy);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "invite: calls a meeting and watches its answers\n"
                             "  --to ADDRESSES     who must come; --optional ADDRESSES who may\n"
                             "  --subject TEXT, --location TEXT\n"
                             "  --start TIME       \"2026-07-06T10:00\", as clocks show it in the zone\n"
                             "  --minutes N        60 when left out\n"
                             "  --zone NAME        \"W. Europe Standard Time\" when left out\n"
                             "  --wait SECONDS     how long to watch, 60 when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto store = session.OpenDefaultMsgStore();

  auto meeting = Supports<IVqEWSCalendarItem>(store->GetFolder(dfincalendar, "")->CreateItem(tCalendarItem));
  meeting->SetSubject(server.Option("subject", "Called by an example"));
  meeting->SetLocation(server.Option("location", "The lighthouse"));
  const string zone = server.Option("zone", "W. Europe Standard Time");
  const TDateTime start = VqXMLToDateTime(server.Option("start", "2026-07-06T10:00") + ":00Z");  // clocks have no zone
  meeting->SetStartInZone(start, zone);
  meeting->SetEndInZone(start + std::stoi(server.Option("minutes", "60")) / 1440.0, zone);

  auto required = session.CreateRecipients(), optional = session.CreateRecipients();
  required->SetAsString(server.Option("to", server.Simulated() ? "bob@example.com" : ""));
  optional->SetAsString(server.Option("optional"));
  meeting->ModifyRequiredAttendees(required);
  meeting->ModifyOptionalAttendees(optional);
  meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
  const int invited = required->Count() + optional->Count();
  std::cout << "Invited " << invited << " to \"" << meeting->GetSubject() << "\" at "
            << VqDateTimeToXML(meeting->GetStartDateTime()) << '\n';

  if (server.Simulated()) AnswerAs(server, "bob", "builder");
  const TItemId id = meeting->GetID();
  for (int seconds = std::stoi(server.Option("wait", "60")); seconds > 0 && Answers(*meeting) < invited; seconds -= 5) {
    meeting = Supports<IVqEWSCalendarItem>(store->GetItem(id));
    if (Answers(*meeting) == invited) break;
    std::this_thread::sleep_for(std::chrono::seconds(5));  // a server tells of answers when it is asked
  }
  std::cout << Answers(*meeting) << " of " << invited << " have answered\n";
  Print(*meeting);
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
