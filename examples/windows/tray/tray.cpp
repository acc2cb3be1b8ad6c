// Shows the newest messages of a folder in a window, and each one that comes, beside the clock, too. The library's
// threads wake the window's loop up; all that happens happens in that loop.
//
//   tray                                    with the simulator; sends itself a message
//   tray --url URL --user USER              the password comes from VELMORE_PASSWORD, as a window has no terminal
//   tray --profile NAME

#include <cstdio>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"
#include "support/ExampleServer.h"
#include "windows/tray/TrayWindow.h"

using namespace velmore;

namespace {

/// A time as the clock of this machine showed it.
std::u16string OnThisClock(TDateTime utc) {
  const int offset = VqUtcOffsetMinutes(VqMachineTimeZone().IanaId, utc);
  const auto shown = VqDecodeDateTime(utc + offset / 1440.0);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", shown.Year, shown.Month, shown.Day, shown.Hour,
                shown.Minute);
  return string(text).utf16();
}

TrayLine LineOf(IVqEWSEMail& mail) {
  const auto from = mail.GetFrom();
  const string name = from->GetName().empty() ? from->GetEmailAddress() : from->GetName();
  return {name.utf16(), mail.GetSubject().utf16(), OnThisClock(mail.GetDateTimeReceived())};
}

void ShowNewest(IVqEWSFolder& folder, TrayWindow& window) {
  const auto items = VqItemsOf(folder, FLD_MESSAGE_FROM, FLD_ITEM_SUBJECT, FLD_ITEM_DATETIMERECEIVED);
  items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  items->SetMaxEntries(20);
  for (const auto row : items)
    window.Append({row.Sender().Name.utf16(), row[FLD_ITEM_SUBJECT].GetAsString().utf16(),
                   OnThisClock(row[FLD_ITEM_DATETIMERECEIVED].GetAsDateTime())});
}

void SendToMyself(IVqEWSMsgStore& store, const string& address) {
  const auto mail = Supports<IVqEWSEMail>(store.GetFolder(dfindrafts, "")->CreateItem(tMessage));
  mail->SetSubject("Seen by the tray");
  mail->GetToRecipients()->AddMailbox("", address);
  mail->SubmitMessage(true);
}

/// Has the queue of the main thread wake the window, for as long as there is one.
class WakeUp {
 public:
  explicit WakeUp(TrayWindow& window) {
    VqSetMainThreadWakeUp([&window] { window.Wake(); });
  }
  ~WakeUp() {
    VqSetMainThreadWakeUp({});
    VqClearMainThreadQueue();
  }
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;
};

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "tray: shows the mail of a folder, and new mail beside the clock\n"
                             "  --folder NAME      distinguished name, inbox when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();
  const auto folder = store->GetFolder(server.Folder(), "");

  TrayWindow window(folder->GetDisplayName().utf16() + u" of " + string(server.Address()).utf16());
  ShowNewest(*folder, window);
  window.SetOnWake([&] {
    try {
      VqProcessMainThreadQueue();
    } catch (const std::exception& failure) {
      window.SetStatus(string(failure.what()).utf16());
    }
  });
  const WakeUp wake(window);

  TVqEWSFolderEvents events;
  events.SetEagerDispatch(true);
  events.SetResubscribe(true);
  events.SetOnNewMail([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&) {
    if (const auto mail = Supports<IVqEWSEMail>(store->GetItem(item))) window.Announce(LineOf(*mail));
  });
  // Told on a reader's thread: the window is the main one's.
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    const bool connected = report.State == TVqEWSConnectionState::connected;
    const string text = connected ? string("Listening") : report.Text;
    if (!text.empty()) VqQueueToMainThread([&, text] { window.SetStatus(text.utf16()); });
  });
  events.Subscribe(folder);
  events.Start();
  if (server.Simulated()) SendToMyself(*store, server.Address());
  window.Run();
  events.Stop();
} catch (const std::exception& failure) {
  ShowFailure(string(failure.what()).utf16());
  return 1;
}
