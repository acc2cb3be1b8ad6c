// What the pages on contacts, distribution lists, tasks and replies show.

#include <fstream>

#include "ews/items/uVqEWSAttachments.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore::testing {
namespace {

class GuidePeople : public EWSTest {
 protected:
  TVqRef<IVqEWSMsgStore> Store() { return Session().OpenDefaultMsgStore(); }
  string File(const std::string& content) {
    std::ofstream(FFolder.Path() + "/file") << content;
    return FFolder.Path() + "/file";
  }

 private:
  TemporaryFolder FFolder;
};

TEST_F(GuidePeople, Contacts) {
  const auto store = Store();
  const string fileName = File("a picture");
  const auto contacts = store->GetFolder(dfincontacts, "");
  const auto ann = Supports<IVqEWSContact>(contacts->CreateItem(tContact));
  ann->SetGivenName("Ann");
  ann->SetSurname("Example");
  ann->GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("ann@example.com");
  ann->GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue("+43 1 234");
  ann->GetPhysicalAddresses().GetEntry(pakHome).SetCity("Graz");
  ann->SaveChanges(soAutoResolve);

  ann->GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue("+43 1 999");
  ann->GetPhoneNumbers().GetEntry(pnkHomePhone).SetValue("");  // gone behind the save
  ann->SaveChanges(soAutoResolve);
  EXPECT_EQ(ann->GetPhoneNumbers().Count(), 1);
  EXPECT_EQ(ann->GetPhysicalAddresses().GetEntry(pakHome).GetCity(), "Graz");

  TVqFileStream picture(fileName, TVqFileMode::fmOpenRead);
  ann->SetUserPhoto(&picture);
  ann->SaveChanges(soAutoResolve);
  TVqMemoryStream copy;
  ann->GetUserPhoto(copy);
  EXPECT_EQ(copy.Bytes(), "a picture");
  EXPECT_TRUE(Supports<IVqEWSContact>(store->GetItem(ann->GetID())));
}

TEST_F(GuidePeople, DistributionLists) {
  const auto store = Store();
  const auto contacts = store->GetFolder(dfincontacts, "");
  const auto ann = Supports<IVqEWSContact>(contacts->CreateItem(tContact));
  ann->SetGivenName("Ann");
  ann->SaveChanges(soAutoResolve);
  const auto family = contacts->CreateDistributionList();
  family->SetDisplayName("Family");
  family->SaveChanges(soAutoResolve);

  const auto list = contacts->CreateDistributionList();
  list->SetDisplayName("Friends");
  list->GetMembers()->AddMailbox("Bob", "bob@example.com");
  list->GetMembers()->AddItem(ann->GetID());                  // follows the contact
  list->GetMembers()->AddItem(family->GetID(), mtPrivateDL);  // another list
  list->SaveChanges(soAutoResolve);

  const auto members = list->GetMembers();
  for (std::int32_t i = members->Count() - 1; i >= 0; --i) {
    if (members->GetItem(i)->GetStatus() == msDemoted) members->Delete(i);
  }
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(list->GetMembers()->GetItem(0)->GetMailbox()->GetEmailAddress(), "bob@example.com");
  EXPECT_THROW(members->Count(), EVqException);
}

TEST_F(GuidePeople, Tasks) {
  const auto store = Store();
  const auto tasks = store->GetFolder(dfintasks, "");
  const auto task = Supports<IVqEWSTask>(tasks->CreateItem(tTask));
  task->SetSubject("Water the plants");
  task->SetStartDate(VqEncodeDateTime({.Year = 2026, .Month = 3, .Day = 2}));
  task->SetDueDate(VqEncodeDateTime({.Year = 2026, .Month = 3, .Day = 9}));
  task->SaveChanges(soAutoResolve);

  task->SetStatus(tsInProgress);
  task->SetPercentComplete(50);
  task->SaveChanges(soAutoResolve);
  task->SetStatus(tsCompleted);  // the server sets the percentage and the day
  task->SaveChanges(soAutoResolve);
  EXPECT_EQ(task->GetPercentComplete(), 100);
  EXPECT_TRUE(task->GetIsComplete());

  TEwsTaskRecurrence& recurrence = task->GetRecurrence();
  recurrence.GetWeeklyRecurrence().SetInterval(1);
  recurrence.GetWeeklyRecurrence().SetDaysOfWeek({dowMonday});
  recurrence.GetNoEndRecurrence().SetStartDate(VqEncodeDateTime({.Year = 2026, .Month = 3, .Day = 2}));
  task->SaveChanges(soAutoResolve);
  EXPECT_TRUE(task->GetIsRecurring());
}

TEST_F(GuidePeople, Replies) {
  const simulator::Id id = Server().AddMessage(kAlice, "inbox",
                                               "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden "
                                               "<alice@example.com>\r\nSubject: Plan\r\n\r\nWhat do you think?");
  const auto store = Store();
  auto mail = Supports<IVqEWSEMail>(store->GetItem({id.id, id.change_key}));
  const string fileName = File("the plan");
  {
    const auto reply = mail->CreateReply(false);  // true: to all
    reply->SetBodyText("Agreed.");
    reply->SubmitMessage(true);
  }
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  mail = Supports<IVqEWSEMail>(store->GetItem(mail->GetID()));
  {
    const auto forward = mail->CreateForward();
    forward->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
    forward->SetBodyText("<p>For you.</p>");
    forward->SubmitMessage(true);
  }
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 2u);
  mail = Supports<IVqEWSEMail>(store->GetItem(mail->GetID()));
  const auto answer = mail->CreateReply(false);
  answer->SetBodyText("See the plan.");
  const auto draft = answer->SaveChanges(soAutoResolve);
  draft->GetAttachments().AddAttachment(fileName);
  draft->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 3u);
}

}  // namespace
}  // namespace velmore::testing
