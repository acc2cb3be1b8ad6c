// Another client writes between our load and our save.

#include "ews/idioms/uVqEWSConflicts.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class Conflict : public SaveTest {
 protected:
  TVqRef<IVqEWSEMail> Fresh() { return Draft("<t:Subject>Old</t:Subject><t:Importance>Low</t:Importance>"); }
  /// A second client, with the same item in its hands.
  void Elsewhere(IVqEWSItem& item, const std::function<void(IVqEWSEMail&)>& change) {
    TVqEWSServiceSession other;
    Configure(other);
    other.SetActive(true);
    const auto same = Supports<IVqEWSEMail>(other.OpenDefaultMsgStore()->GetItem(item.GetID()));
    change(*same);
    same->SaveChanges(soAutoResolve);
  }
};

TEST_F(Conflict, NeverOverwriteRefusesAfterAnyWrite) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetImportance(icHigh); });
  mail->SetSubject("Mine");
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soNeverOverwrite); }), "ErrorIrresolvableConflict");
  EXPECT_EQ(Again(*mail)->GetSubject(), "Old");
  EXPECT_EQ(mail->GetSubject(), "Mine");  // nothing is lost here either
}

TEST_F(Conflict, NeverOverwriteRefusesAfterATouch) {
  const auto mail = Fresh();
  Server().Touch(mail->GetID().Id.utf8());
  mail->SetSubject("Mine");
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soNeverOverwrite); }), "ErrorIrresolvableConflict");
}

TEST_F(Conflict, NeverOverwriteGoesThroughWhenNobodyWrote) {
  const auto mail = Fresh();
  mail->SetSubject("Mine");
  mail->SaveChanges(soNeverOverwrite);
  mail->SetSubject("Mine again");
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Again(*mail)->GetSubject(), "Mine again");
}

TEST_F(Conflict, AutoResolveMergesDifferentProperties) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetImportance(icHigh); });
  mail->SetSubject("Mine");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->GetSubject(), "Mine");
  EXPECT_EQ(mail->GetImportance(), icHigh);  // theirs is read back
}

TEST_F(Conflict, AutoResolveRefusesTwoValuesOfOneProperty) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetSubject("Theirs"); });
  mail->SetSubject("Mine");
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorIrresolvableConflict");
  EXPECT_EQ(Again(*mail)->GetSubject(), "Theirs");
}

TEST_F(Conflict, AutoResolveAcceptsTheSameValueTwice) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetSubject("Ours"); });
  mail->SetSubject("Ours");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->GetSubject(), "Ours");
}

TEST_F(Conflict, AlwaysOverwriteWins) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetSubject("Theirs"); });
  mail->SetSubject("Mine");
  mail->SaveChanges(soAlwaysOverwrite);
  EXPECT_EQ(Again(*mail)->GetSubject(), "Mine");
}

// Only what changed is sent, so that what others wrote elsewhere in the item stays.
TEST_F(Conflict, AlwaysOverwriteTouchesNothingElse) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) {
    other.SetImportance(icHigh);
    other.GetCategories().Add("Theirs");
  });
  mail->SetSubject("Mine");
  mail->SaveChanges(soAlwaysOverwrite);
  EXPECT_EQ(mail->GetImportance(), icHigh);
  EXPECT_EQ(mail->GetCategories().AsString(";"), "Theirs");
}

TEST_F(Conflict, TheLoserLoadsAgainAndGoesOn) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetSubject("Theirs"); });
  mail->SetSubject("Mine");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EEWSException);
  Supports<TVqEWSItemCore>(mail)->ReloadItem(mail->GetID());
  EXPECT_EQ(mail->GetSubject(), "Theirs");
  mail->SetSubject("Mine after all");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Again(*mail)->GetSubject(), "Mine after all");
}

// Between item and attachment somebody writes: the attachment's own key tells the server.
TEST_F(Conflict, AnAttachmentMeetsAWriteInBetween) {
  const auto mail = Fresh();
  Attach(*mail, "a.txt", "aaa");
  simulator::Fault refuse;
  refuse.operation = "CreateAttachment";
  refuse.response_code = "ErrorIrresolvableConflict";
  Server().AddFault(refuse);
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorIrresolvableConflict");
  EXPECT_EQ(AttachmentsOf(*mail), "");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
}

TEST_F(Conflict, AMessageThatSomebodyElseSentIsGone) {
  const auto mail = NewMail();
  mail->GetToRecipients()->Add("bob@example.com");
  mail->SaveChanges(soAutoResolve);
  const TItemId id = mail->GetID();
  Mail(id)->SubmitMessage(false);
  EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(false); }), "ErrorItemNotFound");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

// ---- Done again

TEST_F(Conflict, AnEditAsTheGuideHasIt) {
  TVqRef<IVqEWSItem> item = Fresh();
  item = VqEditItem(item, [&](IVqEWSItem& each) { each.SetSubject(each.GetSubject() + ", moved to noon"); });
  EXPECT_EQ(Again(*item)->GetSubject(), "Old, moved to noon");
}

TEST_F(Conflict, AnEditIsMadeAgainToWhatTheOtherWrote) {
  const auto mail = Fresh();
  Elsewhere(*mail, [](IVqEWSEMail& other) { other.SetSubject("Theirs"); });
  int calls = 0;
  const auto saved = VqEditItem(mail, [&](IVqEWSItem& item) {
    ++calls;
    item.SetSubject(item.GetSubject() + ", mine");
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(saved->GetSubject(), "Theirs, mine");
  EXPECT_EQ(Again(*mail)->GetSubject(), "Theirs, mine");
  EXPECT_NE(saved.get(), static_cast<IVqEWSItem*>(mail.get()));
  EXPECT_EQ(VqEditItem(saved, [&](IVqEWSItem& item) { item.SetSubject("Alone"); }), saved) << "nobody else was there";
}

TEST_F(Conflict, AnEditIsGivenUpAfterSoManyAttempts) {
  const auto mail = Fresh();
  int calls = 0;
  const auto edit = [&](IVqEWSItem& item) {
    ++calls;
    Elsewhere(item, [&](IVqEWSEMail& other) { other.SetSubject("Theirs " + IntToStr(calls)); });
    item.SetSubject("Mine");
  };
  EXPECT_EQ(CodeOf([&] { VqEditItem(mail, edit, soAutoResolve, 3); }), "ErrorIrresolvableConflict");
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(Again(*mail)->GetSubject(), "Theirs 3");
}

TEST_F(Conflict, OtherRefusalsOfAnEditAreNotTriedAgain) {
  const auto mail = Fresh();
  int calls = 0;
  RefuseNext("UpdateItem", "ErrorAccessDenied");
  EXPECT_EQ(CodeOf([&] {
              VqEditItem(mail, [&](IVqEWSItem& item) {
                ++calls;
                item.SetSubject("Mine");
              });
            }),
            "ErrorAccessDenied");
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace velmore::testing
