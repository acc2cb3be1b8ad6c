// The code of the pages on availability, absences, categories and dialogs, run.

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "tests/wire/MailboxTestSupport.h"

using namespace velmore;

namespace velmore::testing {
namespace {

/// What a page prints.
class Printed {
 public:
  Printed() : FBefore(std::cout.rdbuf(FText.rdbuf())) {}
  ~Printed() { std::cout.rdbuf(FBefore); }
  std::string Text() const { return FText.str(); }

 private:
  std::ostringstream FText;
  std::streambuf* FBefore;
};

simulator::Options Lighthouse() {
  simulator::Options options = TwoUsers();
  options.accept_departures = false;  // what the guide teaches works with every server, without a setting
  options.users[0].photo = "painted";
  options.users[1].delivery.mail_tip = "Bob reads mail on Fridays.";
  options.users.push_back({"tower", "tower@example.com", "The Tower", "x"});
  options.users[2].room = true;
  options.lists = {{"rooms@example.com", "All rooms", {"tower@example.com"}, true}};
  return options;
}

class GuideServices : public MailboxTest {
 protected:
  GuideServices() : MailboxTest(Lighthouse()) {}
  void AddBusy(const char* mailbox, const char* start, const char* end) {
    Server().AddItem(mailbox, "calendar",
                     std::string("<t:CalendarItem><t:Subject>Busy</t:Subject><t:Start>2026-03-02T") + start +
                         ":00Z</t:Start><t:End>2026-03-02T" + end + ":00Z</t:End></t:CalendarItem>");
  }
};

TEST_F(GuideServices, WhoIsFree) {
  AddBusy("bob@example.com", "09:00", "10:00");
  TVqEWSServiceSession& session = Session();
  Printed printed;

  session.SetStrictSchema(true);  // times are UTC
  const TDateTime day = VqEncodeDate(2026, 3, 2);
  const std::vector<TVqEWSMailboxData> people = {{"alice@example.com"}, {"bob@example.com"}, {"nobody@example.com"}};
  for (const auto& person : session.GetUserAvailibility(people, day, day + 1, 60, fbvtFreeBusyMerged)) {
    if (person->GetHasError()) {
      std::cout << person->GetEMail() << ": " << person->GetError() << '\n';
      continue;
    }
    std::cout << person->GetEMail() << ": " << person->GetMergedFreeBusy() << '\n';
    for (const TVqEWSCalendarEvent& event : person->GetEvents())
      std::cout << "  " << VqDateTimeToXML(event.GetStartTime()) << " to " << VqDateTimeToXML(event.GetEndTime())
                << '\n';
  }

  EXPECT_EQ(printed.Text(),
            "alice@example.com: 000000000000000000000000\nbob@example.com: 000000000200000000000000\n"
            "  2026-03-02T09:00:00Z to 2026-03-02T10:00:00Z\nnobody@example.com: ErrorMailRecipientNotFound\n");
}

TEST_F(GuideServices, WhoWorksWhen) {
  TVqEWSServiceSession& session = Session();
  session.SetStrictSchema(true);
  const TDateTime day = VqEncodeDate(2026, 3, 2);
  Printed printed;

  auto bob = session.GetUserAvailibility({"bob@example.com"}, day, day + 1, 30, fbvtFreeBusy);
  for (const TVqEWSUserWorkingPeriod& period : bob->GetWorkingHours().GetWorkingPeriods()) {
    if (period.DayOfWeek.Contains(dowMonday))
      std::cout << period.StartTimeInMinutes / 60 << " to " << period.EndTimeInMinutes / 60 << '\n';
  }

  EXPECT_EQ(printed.Text(), "8 to 17\n");
}

TEST_F(GuideServices, Rooms) {
  auto store = Session().OpenDefaultMsgStore();
  Printed printed;

  auto lists = store->GetRoomLists();
  for (std::int32_t i = 0; i < lists->Count(); ++i) {
    auto rooms = store->GetRooms(lists->GetItem(i)->GetEmailAddress());
    std::cout << lists->GetItem(i)->GetName() << ": " << rooms->GetAsString() << '\n';
  }

  EXPECT_EQ(printed.Text(), "All rooms: The Tower <tower@example.com>\n");
}

TEST_F(GuideServices, BeforeOneWrites) {
  TVqEWSServiceSession& session = Session();
  Printed printed;

  auto tips = session.GetMailTips("bob@example.com");
  if (!tips->GetCustomMailTip().empty()) std::cout << tips->GetCustomMailTip() << '\n';
  if (tips->GetMailboxFull()) std::cout << "The mailbox is full.\n";
  if (tips->GetDeliveryRestricted()) std::cout << "Bob takes no mail of yours.\n";
  const string away = tips->GetOutOfOffice().GetReplyBody().GetMessage_();
  if (!away.empty()) std::cout << "Away: " << away << '\n';

  EXPECT_EQ(printed.Text(), "Bob reads mail on Fridays.\n");
}

TEST_F(GuideServices, Photo) {
  auto store = Session().OpenDefaultMsgStore();

  TVqMemoryStream photo;
  store->GetUserPhoto(photo, HR96X96);

  EXPECT_GT(photo.GetSize(), 50u);
}

TEST_F(GuideServices, Absence) {
  auto store = Session().OpenDefaultMsgStore();

  auto oof = store->GetOOF();
  oof->SetState(osScheduled);
  oof->SetStartTime(VqEncodeDateTime({2040, 8, 3, 6, 0}));
  oof->SetEndTime(VqEncodeDateTime({2040, 8, 24, 6, 0}));
  oof->SetInternalReply("Back on the 24th. Bob has the keys.");
  oof->SetExternalReply("Back on the 24th.");
  oof->SetExternalAudience(oof->GetAllowExternalOof() == eaAll ? eaAll : eaNone);
  oof->Apply();

  EXPECT_EQ(store->GetOOF()->GetExternalAudience(), eaAll);

  store->GetOOF()->Clear();

  EXPECT_EQ(store->GetOOF()->GetState(), osDisabled);
}

TEST_F(GuideServices, Categories) {
  Server().SetUserConfiguration("alice@example.com", "calendar", "CategoryList",
                                "<categories default=\"Red\"><category name=\"Red\" color=\"0\"/></categories>");
  auto store = Session().OpenDefaultMsgStore();
  Printed printed;

  auto categories = store->GetCategories();
  for (std::int32_t i = 0; i < categories->Count(); ++i) {
    const TVqEWSCategory& category = categories->GetCategory(i);
    const std::uint32_t colour = category.GetColor();  // 0x00BBGGRR
    std::cout << category.GetName() << ": red " << (colour & 0xFF) << ", green " << (colour >> 8 & 0xFF) << ", blue "
              << (colour >> 16 & 0xFF) << '\n';
  }

  EXPECT_EQ(printed.Text(), "Red: red 214, green 37, blue 46\n");
}

/// Takes the first folder below the top of the mailbox.
class TFirstFolder : public TVqObject, public virtual IVqEWSFolderDialog {
 public:
  explicit TFirstFolder(TVqEWSBaseSession& session) : FSession(session) {}

  std::int32_t ShowModal() override {
    auto store = MakeRef<TVqEWSMsgStore>(&FSession, FMsgStore);
    auto folders = store->GetFolder(dfinmsgfolderroot, FMsgStore)->GetSubFolders();
    folders->Open();
    if (folders->Eof()) return 2;
    TEwsFolder folder(folders->GetRowElement());
    FFolderId.Assign(folder.GetFolderId());
    FFolderName = folder.GetDisplayName();
    return 1;
  }
  TItemId GetFolderId() override { return FFolderId; }
  string GetFolderName() override { return FFolderName; }
  string GetMsgStore() override { return FMsgStore; }
  void SetMsgStore(const string& AValue) override { FMsgStore = AValue; }
  void SetTitle(const string&) override {}
  void SetFolderTypes(const TVqEWSFolderDialogDisplayTypes&) override {}
  void SetAllowSelectMsgStore(bool) override {}

 private:
  TVqEWSBaseSession& FSession;
  string FMsgStore, FFolderName;
  TItemId FFolderId;
};

TEST_F(GuideServices, FillingAHook) {
  TVqEWSServiceSession& session = Session();
  Printed printed;

  CreateFolderDialog = [](TVqEWSBaseSession& session) { return MakeRef<TFirstFolder>(session); };

  TVqEWSFolderDialog dialog(nullptr);
  dialog.SetSession(&session);
  dialog.SetTitle("Where to?");
  dialog.GetFolderTypes().SetShowCalendarFolders(false);
  if (dialog.Execute()) std::cout << dialog.GetFolderName() << '\n';

  CreateFolderDialog = nullptr;
  EXPECT_EQ(printed.Text().size() > 1, true);
  EXPECT_FALSE(dialog.GetFolderId().Id.empty());
}

/// Puts Bob into the first list.
class TBob : public TVqObject, public virtual IVqEWSAddressBookDialog {
 public:
  std::int32_t ShowModal() override {
    FLists[btnTo]->Add("bob");
    return 1;
  }
  TVqRef<IVqEWSRecipients> GetRecipientList(TVqEWSAddressBookDialogButton AButton) override { return FLists[AButton]; }
  void SetTitle(const string&) override {}
  void SetSearchScope(TSearchScope) override {}
  void SetButtons(TVqEWSAddressBookDialogButtons) override {}
  void SetButtonName(TVqEWSAddressBookDialogButton, const string&) override {}
  void SetDefaultButton(TVqEWSAddressBookDialogButton) override {}
  void SetRecipientList(TVqEWSAddressBookDialogButton AButton, const TVqRef<IVqEWSRecipients>& AValue) override {
    FLists[AButton] = AValue;
  }

 private:
  TVqRef<IVqEWSRecipients> FLists[3];
};

TEST_F(GuideServices, ChoosingPeople) {
  TVqEWSServiceSession& session = Session();
  CreateAddressBookDialog = [](TVqEWSAddressBookDialog&, TVqEWSBaseSession&) { return MakeRef<TBob>(); };
  auto mail = Supports<IVqEWSEMail>(Folder(dfindrafts)->CreateItem(tMessage));

  TVqEWSAddressBookDialog dialog(nullptr);
  dialog.SetSession(&session);
  dialog.SetRecipientList(btnTo, mail->GetToRecipients());
  dialog.SetRecipientList(btnCC, mail->GetCcRecipients());
  dialog.SetRecipientList(btnBCC, mail->GetBccRecipients());
  dialog.Execute(true);

  CreateAddressBookDialog = nullptr;
  EXPECT_EQ(mail->GetToRecipients()->GetAsString(), "Bob Birch <bob@example.com>");
}

}  // namespace
}  // namespace velmore::testing
