// Sending a message, in every branch: in one step, saved first, saved before.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class MessageSubmit : public SaveTest {
 protected:
  using SaveTest::SaveTest;

  TVqRef<IVqEWSEMail> ToBob() {
    const auto mail = NewMail();
    mail->SetSubject("Hello");
    mail->GetToRecipients()->Add("bob@example.com");
    return mail;
  }
  static std::string SendItemMarkup(const std::string& id, const std::string& key, bool save,
                                    const std::string& inside) {
    return "<m:SendItem SaveItemToFolder=\"" + std::string(save ? "true" : "false") + "\"><m:ItemIds><t:ItemId Id=\"" +
           id + "\" ChangeKey=\"" + key + "\"/></m:ItemIds>" + inside + "</m:SendItem>";
  }
  static constexpr const char* kSentItems =
      "<m:SavedItemFolderId><t:DistinguishedFolderId Id=\"sentitems\"/></m:SavedItemFolderId>";
  static constexpr const char* kMessage =
      "<m:Items><t:Message><t:Subject>Hello</t:Subject><t:ToRecipients><t:Mailbox><t:Name>bob@example.com</t:Name>"
      "<t:EmailAddress>bob@example.com</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType></t:Mailbox></t:ToRecipients>"
      "</t:Message></m:Items>";
};

TEST_F(MessageSubmit, OneStepWithACopy) {
  const auto mail = ToBob();
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), Names{"CreateItem"});
  EXPECT_EQ(Request("CreateItem"), "<m:CreateItem MessageDisposition=\"SendAndSaveCopy\">" + std::string(kSentItems) +
                                       kMessage + "</m:CreateItem>");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u);
}

TEST_F(MessageSubmit, OneStepWithoutACopy) {
  const auto mail = ToBob();
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(false); }), Names{"CreateItem"});
  EXPECT_EQ(Request("CreateItem"),
            "<m:CreateItem MessageDisposition=\"SendOnly\">" + std::string(kMessage) + "</m:CreateItem>");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u);
}

// Nothing is read back: the object is what it was, and has no id. Meant so.
TEST_F(MessageSubmit, OneStepLeavesTheObjectWithoutAnId) {
  const auto mail = ToBob();
  mail->SubmitMessage(true);
  EXPECT_EQ(mail->GetID().Id, "");
  EXPECT_TRUE(mail->GetIsNewItem());
  EXPECT_FALSE(mail->GetIsSaved());
  EXPECT_TRUE(mail->GetIsSubmitted());
  EXPECT_EQ(mail->GetSubject(), "Hello");
}

// What was set goes out: no clean-up, no pictures moved. Meant so. What reading made does not.
TEST_F(MessageSubmit, OneStepSkipsWhatASaveDoes) {
  const auto mail = ToBob();
  mail->SetInReplyTo("");
  mail->GetCcRecipients()->Count();  // makes an empty element on its way
  mail->SetBodyText("<p>x<img src=\"data:image/png;base64,YWJj\"></p>");
  mail->SubmitMessage(false);
  EXPECT_NE(Request("CreateItem").find("<t:InReplyTo/>"), std::string::npos);
  EXPECT_EQ(Request("CreateItem").find("CcRecipients"), std::string::npos);
  EXPECT_NE(Request("CreateItem").find("data:image/png;base64,YWJj"), std::string::npos);
}

TEST_F(MessageSubmit, ASecondTimeIsRefused) {
  const auto mail = ToBob();
  mail->SubmitMessage(true);
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(MessageOf<EVqException>([&] { mail->SubmitMessage(true); }),
                        "The message has already been submitted!");
            }),
            Names{});
}

TEST_F(MessageSubmit, OneStepNeedsAFolderForItsCopy) {
  const auto mail = Supports<IVqEWSEMail>(MakeRef<TVqEWSEMail>(dynamic_cast<TVqComponent*>(&Store()), TItemId()));
  mail->SetSubject("Hello");
  mail->GetToRecipients()->Add("bob@example.com");
  EXPECT_EQ(Sent([&] { EXPECT_THROW(mail->SubmitMessage(true), EVqException); }), Names{});
  EXPECT_FALSE(mail->GetIsSubmitted());
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 0u);
  // Without a copy it goes.
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(false); }), Names{"CreateItem"});
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(MessageSubmit, ARefusalLeavesItUnsent) {
  const auto drafts = Folder(dfindrafts);
  for (const bool copy : {true, false}) {
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject("Nobody");
    EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(copy); }), "ErrorMissingRecipients");
    EXPECT_FALSE(mail->GetIsSubmitted());
    // A save still puts it where it was to go.
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(Part("CreateItem", "SavedItemFolderId"),
              "<m:SavedItemFolderId>" + IdElement("FolderId", drafts->GetID()) + "</m:SavedItemFolderId>");
    EXPECT_TRUE(
        Request("CreateItem").starts_with("<m:CreateItem MessageDisposition=\"SaveOnly\"><m:SavedItemFolderId>"));
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SubmitMessage(copy);
  }
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 2u);
}

TEST_F(MessageSubmit, ARefusedOneGoesOutAtTheNextTry) {
  const auto mail = NewMail();
  EXPECT_THROW(mail->SubmitMessage(true), EEWSException);
  mail->GetToRecipients()->Add("bob@example.com");
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), Names{"CreateItem"});
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
}

TEST_F(MessageSubmit, AnAttachmentMakesItTwoSteps) {
  const auto mail = ToBob();
  Attach(*mail, "a.txt", "aaa");
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"CreateItem", "CreateAttachment", "GetItem", "SendItem"}));
  EXPECT_TRUE(Request("CreateItem").starts_with("<m:CreateItem MessageDisposition=\"SaveOnly\">"));
  EXPECT_EQ(Request("SendItem"), SendItemMarkup(AnsweredKey("GetItem", "ItemId", "Id"),
                                                AnsweredKey("GetItem", "ItemId", "ChangeKey"), true, kSentItems));
  EXPECT_TRUE(mail->GetIsSubmitted());
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
}

TEST_F(MessageSubmit, AnEmptyListOfAttachmentsIsNone) {
  const auto mail = ToBob();
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(false); }), Names{"CreateItem"});
}

TEST_F(MessageSubmit, TwoStepsWithoutACopy) {
  const auto mail = ToBob();
  Attach(*mail, "a.txt", "aaa");
  mail->SubmitMessage(false);
  EXPECT_EQ(Request("SendItem"), SendItemMarkup(AnsweredKey("GetItem", "ItemId", "Id"),
                                                AnsweredKey("GetItem", "ItemId", "ChangeKey"), false, ""));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 0u);
}

// The update refreshes the change key, changed or not. Meant so.
TEST_F(MessageSubmit, ASavedDraftIsUpdatedBeforeItGoes) {
  const auto mail = ToBob();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"UpdateItem", "GetItem", "SendItem"}));
  EXPECT_EQ(Updates(), "");
  EXPECT_NE(Request("UpdateItem").find("ConflictResolution=\"AutoResolve\""), std::string::npos);
  EXPECT_EQ(Request("SendItem"), SendItemMarkup(AnsweredKey("GetItem", "ItemId", "Id"),
                                                AnsweredKey("GetItem", "ItemId", "ChangeKey"), true, kSentItems));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(MessageSubmit, ASavedDraftWithChangesAndAttachments) {
  const auto mail = ToBob();
  Attach(*mail, "a.txt", "aaa");
  mail->SaveChanges(soAutoResolve);
  mail->SetSubject("Changed");
  Attach(*mail, "b.txt", "bbb");
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"UpdateItem", "CreateAttachment", "GetItem", "SendItem"}));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(MessageSubmit, ARefusedSendLeavesTheDraft) {
  const auto mail = ToBob();
  mail->SaveChanges(soAutoResolve);
  RefuseNext("SendItem", "ErrorSendAsDenied");
  EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(true); }), "ErrorSendAsDenied");
  EXPECT_FALSE(mail->GetIsSubmitted());
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"UpdateItem", "GetItem", "SendItem"}));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(MessageSubmit, AnAnswerOfAnotherOperationFails) {
  const auto mail = ToBob();
  AnswerNext("CreateItem", ReplyOf("SendItem", ""));
  EXPECT_THROW(mail->SubmitMessage(true), EVqException);
  EXPECT_FALSE(mail->GetIsSubmitted());
  Attach(*mail, "a.txt", "aaa");
  AnswerNext("SendItem", ReplyOf("CreateItem", ""));
  EXPECT_THROW(mail->SubmitMessage(true), EVqException);
  EXPECT_FALSE(mail->GetIsSubmitted());
}

TEST_F(MessageSubmit, WhatArrivesIsWhatWasWritten) {
  const auto mail = ToBob();
  mail->SetBodyText(
      "<p>Gr\xC3\xBC\xC3\x9F"
      "e <b>Bob</b></p>");
  Attach(*mail, "a.txt", std::string("\0\x01\xFF", 3));
  mail->SubmitMessage(true);
  TVqEWSServiceSession bob;
  Configure(bob);
  bob.GetCredentials().SetUserName("bob");
  bob.GetCredentials().SetPassword("builder");
  bob.SetActive(true);
  const auto inbox = bob.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  const auto items = inbox->GetItems();
  items->Open();
  const auto received = Supports<IVqEWSEMail>(inbox->GetItem(items->GetItemId()));
  EXPECT_EQ(received->GetSubject(), "Hello");
  EXPECT_EQ(received->GetBodyText(),
            "<p>Gr\xC3\xBC\xC3\x9F"
            "e <b>Bob</b></p>");
  EXPECT_EQ(received->GetFrom()->GetEmailAddress(), kAlice);
  EXPECT_EQ(Content(*File(*received, 0)), std::string("\0\x01\xFF", 3));
  EXPECT_FALSE(received->GetIsDraft());
  EXPECT_GT(received->GetInternetMessageHeaders().AsElement().ElementCount(), 0);
}

// ---- Servers up to Exchange2013

class MessageSubmitOld : public MessageSubmit {
 protected:
  MessageSubmitOld() : MessageSubmit("Exchange2013") {}
};

TEST_F(MessageSubmitOld, ANewMessageIsSavedFirst) {
  const auto mail = ToBob();
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"CreateItem", "GetItem", "SendItem"}));
  EXPECT_EQ(Request("SendItem"), SendItemMarkup(AnsweredKey("GetItem", "ItemId", "Id"),
                                                AnsweredKey("GetItem", "ItemId", "ChangeKey"), true, ""));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
}

TEST_F(MessageSubmitOld, WithoutACopy) {
  const auto mail = ToBob();
  mail->SubmitMessage(false);
  EXPECT_EQ(Request("SendItem"), SendItemMarkup(AnsweredKey("GetItem", "ItemId", "Id"),
                                                AnsweredKey("GetItem", "ItemId", "ChangeKey"), false, ""));
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 0u);
}

TEST_F(MessageSubmitOld, ASavedDraftIsUpdatedBeforeItGoes) {
  const auto mail = ToBob();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"UpdateItem", "GetItem", "SendItem"}));
}

class MessageSubmitSP1 : public MessageSubmit {
 protected:
  MessageSubmitSP1() : MessageSubmit("Exchange2013_SP1") {}
};
TEST_F(MessageSubmitSP1, IsLaterThanExchange2013) {
  const auto plain = ToBob();
  EXPECT_EQ(Sent([&] { plain->SubmitMessage(true); }), Names{"CreateItem"});
  const auto mail = ToBob();
  Attach(*mail, "a.txt", "aaa");
  mail->SubmitMessage(true);
  EXPECT_NE(Request("SendItem").find(kSentItems), std::string::npos);
}

class MessageSubmitOldest : public MessageSubmit {
 protected:
  MessageSubmitOldest() : MessageSubmit("Exchange2007_SP1") {}
};
TEST_F(MessageSubmitOldest, ExtendedPropertiesAndAttachmentsComeBeforeTheSending) {
  const auto mail = ToBob();
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  Attach(*mail, "a.txt", "aaa");
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }),
            (Names{"CreateItem", "UpdateItem", "CreateAttachment", "GetItem", "SendItem"}));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

// The third value's prefix is spelled so. Meant so.
TEST(MessageDisposition, ItsWireTexts) {
  EXPECT_EQ(VqEnumToText(mdpSaveOnly), "SaveOnly");
  EXPECT_EQ(VqEnumToText(mdpSendAndSaveCopy), "SendAndSaveCopy");
  EXPECT_EQ(VqEnumToText(mdbSendOnly), "SendOnly");
}

}  // namespace
}  // namespace velmore::testing
