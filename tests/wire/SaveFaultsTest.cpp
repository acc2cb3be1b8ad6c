// The connection ends before, in and after each request of a save. What the object is then, and what the next save
// makes of it.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class SaveFaults : public SaveTest {
 protected:
  using SaveTest::SaveTest;

  static constexpr Cut kCuts[] = {Cut::before, Cut::after, Cut::within};

  void Fails(IVqEWSItem& item) { EXPECT_THROW(item.SaveChanges(soAutoResolve), EVqException); }
  /// Saves until it succeeds; once, as the fault is gone.
  void Finishes(IVqEWSEMail& mail) {
    EXPECT_EQ(Server().PendingFaults(), 0u);
    ASSERT_NO_THROW(mail.SaveChanges(soAutoResolve));
    EXPECT_FALSE(mail.GetIsNewItem());
  }
  TVqRef<IVqEWSEMail> NewWithAttachments() {
    const auto mail = NewMail();
    mail->SetSubject("S");
    Attach(*mail, "a.txt", "aaa");
    Attach(*mail, "b.txt", "bbb");
    return mail;
  }
  TVqRef<IVqEWSEMail> Two() {
    return Draft(
        "<t:Subject>Two</t:Subject><t:Attachments>"
        "<t:FileAttachment><t:Name>a.txt</t:Name><t:Content>" +
        VqBase64Encode("aaa") + "</t:Content></t:FileAttachment><t:FileAttachment><t:Name>b.txt</t:Name><t:Content>" +
        VqBase64Encode("bbb") + "</t:Content></t:FileAttachment></t:Attachments>");
  }
};

TEST_F(SaveFaults, AtTheCreationOfTheItem) {
  std::size_t lost = 0;
  for (const Cut cut : kCuts) {
    const auto mail = NewWithAttachments();
    CutNext("CreateItem", cut);
    Fails(*mail);
    EXPECT_TRUE(mail->GetIsNewItem());
    EXPECT_FALSE(mail->GetIsSaved());
    EXPECT_EQ(mail->GetSubject(), "S");
    Finishes(*mail);
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
    // An item that was made while its id was lost is found again by a mark alone, which the application gives it.
    if (cut != Cut::before) ++lost;
  }
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 3 + lost);
}

TEST_F(SaveFaults, AtAnAttachmentOfANewItem) {
  for (const Cut cut : kCuts) {
    for (int which = 0; which < 2; ++which) {
      const std::size_t before = Server().CountItems(kAlice, "drafts");
      const auto mail = NewWithAttachments();
      CutNext("CreateAttachment", cut, which);
      Fails(*mail);
      EXPECT_TRUE(mail->GetIsNewItem());
      EXPECT_TRUE(mail->GetIsSaved());
      Finishes(*mail);
      EXPECT_EQ(Server().CountItems(kAlice, "drafts"), before + 1);
      EXPECT_EQ(mail->GetSubject(), "S");
      // One whose id was lost is found by the next save, which reads the item's attachments first.
      EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
    }
  }
}

TEST_F(SaveFaults, AttachmentsThatOnlyLookAlikeAreMadeAllTheSame) {
  const auto mail = Two();
  Attach(*mail, "a.txt", "xyz");  // the name and the size of one that was there
  CutNext("CreateAttachment", Cut::before);
  Fails(*mail);
  Finishes(*mail);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;a.txt=xyz;");
}

TEST_F(SaveFaults, ARefusedAttachmentIsNotLookedFor) {
  const auto mail = Two();
  Attach(*mail, "c.txt", "ccc");
  RefuseNext("CreateAttachment", "ErrorServerBusy");
  Fails(*mail);
  EXPECT_EQ(Sent([&] { Finishes(*mail); }), (Names{"UpdateItem", "CreateAttachment", "GetItem"}));
}

TEST_F(SaveFaults, AnItemWhoseCreationWasCutIsTakenOverToo) {
  for (const Cut cut : kCuts) {
    const auto inner = NewMail();
    inner->SetSubject("Inside");
    const auto mail = Two();
    mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
    CutNext("CreateAttachment", cut);
    Fails(*mail);
    Finishes(*mail);
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;inner=item;");
  }
}

TEST_F(SaveFaults, AtTheReloadOfANewItem) {
  for (const Cut cut : kCuts) {
    const std::size_t before = Server().CountItems(kAlice, "drafts");
    const auto mail = NewWithAttachments();
    CutNext("GetItem", cut);
    Fails(*mail);
    EXPECT_TRUE(mail->GetIsSaved());
    Finishes(*mail);
    EXPECT_EQ(Server().CountItems(kAlice, "drafts"), before + 1);
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
    EXPECT_EQ(Again(*mail)->GetSubject(), "S");
  }
}

TEST_F(SaveFaults, AtTheUpdate) {
  for (const Cut cut : kCuts) {
    const auto mail = Two();
    mail->SetSubject("Changed");
    mail->GetAttachments().DeleteAttachment(0);
    Attach(*mail, "c.txt", "ccc");
    CutNext("UpdateItem", cut);
    Fails(*mail);
    EXPECT_EQ(mail->GetSubject(), "Changed");
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
    // The change key is old by now when the update was carried out; the same values conflict with nothing.
    Finishes(*mail);
    EXPECT_EQ(Again(*mail)->GetSubject(), "Changed");
    EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;c.txt=ccc;");
  }
}

TEST_F(SaveFaults, AtTheDeletionOfAttachments) {
  for (const Cut cut : kCuts) {
    const auto mail = Two();
    mail->GetAttachments().Clear(true);
    Attach(*mail, "c.txt", "ccc");
    CutNext("DeleteAttachment", cut);
    Fails(*mail);
    // Those that are gone are deleted once more, which the server refuses without harm.
    Finishes(*mail);
    EXPECT_EQ(AttachmentsOf(*mail), "c.txt=ccc;");
  }
}

TEST_F(SaveFaults, AtTheReplacementOfAnAttachment) {
  for (const Cut cut : kCuts) {
    for (const char* operation : {"GetAttachment", "DeleteAttachment", "CreateAttachment", "GetItem"}) {
      const auto mail = Two();
      File(*mail, 0)->SetName("renamed.txt");
      CutNext(operation, cut);
      Fails(*mail);
      Finishes(*mail);
      EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;renamed.txt=aaa;") << operation;
    }
  }
}

TEST_F(SaveFaults, AtTheReloadOfALoadedItem) {
  for (const Cut cut : kCuts) {
    const auto mail = Two();
    mail->SetSubject("Changed");
    Attach(*mail, "c.txt", "ccc");
    CutNext("GetItem", cut);
    Fails(*mail);
    EXPECT_EQ(mail->GetSubject(), "Changed");
    Finishes(*mail);
    EXPECT_EQ(Again(*mail)->GetSubject(), "Changed");
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;c.txt=ccc;");
  }
}

TEST_F(SaveFaults, PicturesAreNotDoubledByARetry) {
  for (const Cut cut : kCuts) {
    for (const char* operation : {"CreateAttachment", "GetItem"}) {
      const auto mail = NewMail();
      mail->SetBodyText("<p><img src=\"data:a,YQ==\"><img src=\"data:b,Yg==\"></p>");
      CutNext(operation, cut, std::string(operation) == "GetItem" ? 0 : 1);
      Fails(*mail);
      Finishes(*mail);
      EXPECT_EQ(AttachmentsOf(*mail), "_inlineImg0=a;_inlineImg1=b;") << operation;
    }
  }
}

TEST_F(SaveFaults, AtTheOneStepSend) {
  std::size_t delivered = 0;
  for (const Cut cut : kCuts) {
    const auto mail = NewMail();
    mail->GetToRecipients()->Add("bob@example.com");
    CutNext("CreateItem", cut);
    EXPECT_THROW(mail->SubmitMessage(true), EVqException);
    EXPECT_FALSE(mail->GetIsSubmitted());
    mail->SubmitMessage(true);
    delivered += cut == Cut::before ? 1 : 2;  // a message that went out while the answer was lost is sent again
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), delivered);
  }
}

TEST_F(SaveFaults, AtTheSendOfASavedMessage) {
  std::size_t delivered = 0;
  for (const Cut cut : kCuts) {
    const auto mail = NewMail();
    mail->GetToRecipients()->Add("bob@example.com");
    Attach(*mail, "a.txt", "aaa");
    CutNext("SendItem", cut);
    EXPECT_THROW(mail->SubmitMessage(true), EVqException);
    EXPECT_FALSE(mail->GetIsSubmitted());
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), delivered + (cut == Cut::before ? 0 : 1));
    if (cut == Cut::before) {
      mail->SubmitMessage(true);
    } else {  // the draft is gone, so that it cannot go out twice
      EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(true); }), "ErrorItemNotFound");
    }
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), ++delivered);
  }
}

class SaveFaultsOld : public SaveFaults {
 protected:
  SaveFaultsOld() : SaveFaults("Exchange2010") {}
};

TEST_F(SaveFaultsOld, AtTheUpdateThatFollows) {
  for (const Cut cut : kCuts) {
    const std::size_t before = Server().CountItems(kAlice, "drafts");
    const auto mail = NewWithAttachments();
    mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
    CutNext("UpdateItem", cut);
    Fails(*mail);
    EXPECT_TRUE(mail->GetIsNewItem());
    EXPECT_TRUE(mail->GetIsSaved());
    Finishes(*mail);
    EXPECT_EQ(Server().CountItems(kAlice, "drafts"), before + 1);
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
    EXPECT_TRUE(Again(*mail)->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  }
}

}  // namespace
}  // namespace velmore::testing
