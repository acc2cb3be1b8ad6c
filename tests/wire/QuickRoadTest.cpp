// One job through all of the library: log on, list, read, send, see it arrive.

#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using QuickRoad = EWSTest;

TEST_F(QuickRoad, AMessageThatIsSentArrives) {
  auto store = Session().OpenDefaultMsgStore();
  auto mail = Supports<IVqEWSEMail>(store->GetFolder(dfindrafts, "")->CreateItem(tMessage));
  mail->SetSubject("Grüße");
  mail->GetToRecipients()->Add("Bob Birch <bob@example.com>");
  mail->SetBodyText("<p>Hello Bob</p>");
  mail->SubmitMessage(true);

  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);

  TVqEWSServiceSession bob;
  Configure(bob);
  bob.GetCredentials().SetUserName("bob");
  bob.GetCredentials().SetPassword("builder");
  bob.SetActive(true);
  auto inbox = bob.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  EXPECT_EQ(inbox->GetTotalCount(), 1);
  auto items = inbox->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->Open();
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Grüße");
  auto received = Supports<IVqEWSEMail>(inbox->GetItem(items->GetItemId()));
  ASSERT_TRUE(received);
  EXPECT_EQ(received->GetBodyText(), "<p>Hello Bob</p>");
  EXPECT_EQ(received->GetFrom()->GetEmailAddress(), kAlice);
  EXPECT_EQ(received->GetToRecipients()->GetAsString(), "Bob Birch <bob@example.com>");
  EXPECT_FALSE(received->GetIsRead());
}

}  // namespace
}  // namespace velmore::testing
