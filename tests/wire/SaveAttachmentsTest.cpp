// The attachments' part of a save: one request for all deletions, one for each creation, change keys that move.

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class SaveAttachments : public SaveTest {
 protected:
  TVqRef<IVqEWSEMail> Two() {
    return Draft(
        "<t:Subject>Two</t:Subject><t:Attachments>"
        "<t:FileAttachment><t:Name>a.txt</t:Name><t:Content>" +
        VqBase64Encode("aaa") + "</t:Content></t:FileAttachment><t:FileAttachment><t:Name>b.txt</t:Name><t:Content>" +
        VqBase64Encode("bbb") + "</t:Content></t:FileAttachment></t:Attachments>");
  }
  TVqRef<IVqEWSEMail> WithItem() {
    return Draft(
        "<t:Attachments><t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject>"
        "<t:Body BodyType=\"Text\">deep</t:Body></t:Message></t:ItemAttachment></t:Attachments>");
  }
  static std::string IdAt(IVqEWSItem& item, int index) {
    return item.GetAttachments().GetAttachment(index)->GetAttachmentId().GetId().utf8();
  }
};

TEST_F(SaveAttachments, UnchangedOnesSendNothing) {
  const auto mail = Two();
  EXPECT_EQ(Content(*File(*mail, 0)), "aaa");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

TEST_F(SaveAttachments, ANewOneIsCreated) {
  const auto mail = Two();
  Attach(*mail, "c.txt", "ccc");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Request("CreateAttachment"),
            "<m:CreateAttachment><m:ParentItemId Id=\"" + AnsweredKey("UpdateItem", "ItemId", "Id") +
                "\" ChangeKey=\"" + AnsweredKey("UpdateItem", "ItemId", "ChangeKey") +
                "\"/><m:Attachments><t:FileAttachment><t:Name>c.txt</t:Name><t:ContentType>text/plain</t:ContentType>"
                "<t:Size>3</t:Size><t:IsInline>false</t:IsInline><t:IsContactPhoto>false</t:IsContactPhoto>"
                "<t:Content>Y2Nj</t:Content></t:FileAttachment></m:Attachments></m:CreateAttachment>");
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;c.txt=ccc;");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

TEST_F(SaveAttachments, EachOneMovesTheChangeKey) {
  const auto mail = NewMail();
  Attach(*mail, "a.txt", "aaa");
  Attach(*mail, "b.txt", "bbb");
  Attach(*mail, "c.txt", "ccc");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"CreateItem", "CreateAttachment", "CreateAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(KeysOf("CreateAttachment", "ParentItemId"),
            (Names{AnsweredKey("CreateItem", "ItemId", "ChangeKey"),
                   AnsweredKey("CreateAttachment", "AttachmentId", "RootItemChangeKey", 0),
                   AnsweredKey("CreateAttachment", "AttachmentId", "RootItemChangeKey", 1)}));
  EXPECT_EQ(KeysOf("GetItem", "ChangeKey"), Names{""});
  EXPECT_NE(Request("GetItem").find("<t:ChangeKey Id=\"" +
                                    AnsweredKey("CreateAttachment", "AttachmentId", "RootItemChangeKey", 2)),
            std::string::npos);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;c.txt=ccc;");
}

TEST_F(SaveAttachments, ARemovedOneIsDeleted) {
  const auto mail = Two();
  const std::string id = IdAt(*mail, 0);
  mail->GetAttachments().DeleteAttachment(0);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "DeleteAttachment", "GetItem"}));
  EXPECT_EQ(Request("DeleteAttachment"), "<m:DeleteAttachment><m:AttachmentIds><t:AttachmentId Id=\"" + id +
                                             "\"/></m:AttachmentIds></m:DeleteAttachment>");
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;");
}

TEST_F(SaveAttachments, AllDeletionsGoInOneRequest) {
  const auto mail = Two();
  const std::string first = IdAt(*mail, 0), second = IdAt(*mail, 1);
  mail->GetAttachments().Clear(true);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "DeleteAttachment", "GetItem"}));
  EXPECT_EQ(Request("DeleteAttachment"), "<m:DeleteAttachment><m:AttachmentIds><t:AttachmentId Id=\"" + first +
                                             "\"/><t:AttachmentId Id=\"" + second +
                                             "\"/></m:AttachmentIds></m:DeleteAttachment>");
  EXPECT_FALSE(Again(*mail)->GetHasAttachments());
}

TEST_F(SaveAttachments, AChangedOneIsDeletedAndCreated) {
  const auto mail = Two();
  const std::string id = IdAt(*mail, 1);
  TVqMemoryStream fresh("new content");
  File(*mail, 1)->LoadFromStream(&fresh);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Request("DeleteAttachment"), "<m:DeleteAttachment><m:AttachmentIds><t:AttachmentId Id=\"" + id +
                                             "\"/></m:AttachmentIds></m:DeleteAttachment>");
  EXPECT_EQ(Request("CreateAttachment").find("AttachmentId"), std::string::npos);  // no empty one either
  // A deletion changes the item, too.
  EXPECT_EQ(KeysOf("CreateAttachment", "ParentItemId"),
            Names{AnsweredKey("DeleteAttachment", "RootItemId", "RootItemChangeKey")});
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=new content;");
}

TEST_F(SaveAttachments, ContentThatWasNeverLoadedIsFetchedBeforeItGoes) {
  const auto mail = Two();
  File(*mail, 0)->SetName("renamed.txt");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"GetAttachment", "UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;renamed.txt=aaa;");
}

TEST_F(SaveAttachments, WhenItsContentCannotBeFetchedNothingIsDeleted) {
  const auto mail = Two();
  File(*mail, 0)->SetName("renamed.txt");
  RefuseNext("GetAttachment", "ErrorServerBusy");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;renamed.txt=aaa;");
}

TEST_F(SaveAttachments, AnItemInsideIsFetchedBeforeItGoes) {
  const auto mail = WithItem();
  // Fetched by the setter already, which raises for a kind that could not be made anew.
  EXPECT_EQ(Sent([&] {
              mail->GetAttachments().GetAttachment(0)->SetName("renamed");
              mail->SaveChanges(soAutoResolve);
            }),
            (Names{"GetAttachment", "UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  const auto fresh = Again(*mail);
  const auto inner = Supports<IVqEWSItemAttachment>(fresh->GetAttachments().GetAttachment(0));
  EXPECT_EQ(inner->GetName(), "renamed");
  EXPECT_EQ(inner->GetMessage().GetSubject(), "Inside");
}

TEST_F(SaveAttachments, WhatWasChangedInsideAnItemStays) {
  const auto mail = WithItem();
  const auto inner = Supports<IVqEWSItemAttachment>(mail->GetAttachments().GetAttachment(0));
  inner->GetMessage().SetSubject("Changed inside");
  inner->SetModified();
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  const auto fresh = Supports<IVqEWSItemAttachment>(Again(*mail)->GetAttachments().GetAttachment(0));
  const auto keep = Again(*mail);
  EXPECT_EQ(Supports<IVqEWSItemAttachment>(keep->GetAttachments().GetAttachment(0))->GetMessage().GetSubject(),
            "Changed inside");
}

TEST_F(SaveAttachments, AnItemIsAttached) {
  const auto inner = Mail(AddMessage("To be attached"));
  const auto mail = NewMail();
  mail->GetAttachments().AddAttachment("copy", TVqRef<IVqEWSItem>(inner));
  mail->SaveChanges(soAutoResolve);
  const auto attached = Supports<IVqEWSItemAttachment>(mail->GetAttachments().GetAttachment(0));
  ASSERT_TRUE(attached);
  EXPECT_EQ(attached->GetMessage().GetSubject(), "To be attached");
}

// A deletion that the server refuses leaves the save going on. Meant so.
TEST_F(SaveAttachments, ARefusedDeletionIsNoFailure) {
  const auto mail = Two();
  mail->SetSubject("Changed");
  mail->GetAttachments().DeleteAttachment(0);
  Attach(*mail, "c.txt", "ccc");
  RefuseNext("DeleteAttachment", "ErrorAccessDenied");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;c.txt=ccc;");
  EXPECT_EQ(mail->GetSubject(), "Changed");
}

TEST_F(SaveAttachments, ARefusedDeletionIsTold) {
  const auto mail = Two();
  const std::string id = IdAt(*mail, 0);
  EXPECT_TRUE(mail->GetRefusedDeletions().empty());
  mail->GetAttachments().DeleteAttachment(0);
  RefuseNext("DeleteAttachment", "ErrorAccessDenied");
  mail->SaveChanges(soAutoResolve);
  ASSERT_EQ(mail->GetRefusedDeletions().size(), 1u);
  EXPECT_EQ(mail->GetRefusedDeletions()[0].AttachmentId, id);
  EXPECT_EQ(std::string(mail->GetRefusedDeletions()[0].Refusal.what()).find("ErrorAccessDenied"), 0u);
  // It stands until it is gone.
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->GetRefusedDeletions().size(), 1u);
  mail->GetAttachments().DeleteAttachment(0);
  mail->SaveChanges(soAutoResolve);
  EXPECT_TRUE(mail->GetRefusedDeletions().empty());
}

TEST_F(SaveAttachments, ADeletionOfWhatIsGoneAlreadyIsNoRefusal) {
  const auto mail = Two();
  const auto other = Again(*mail);
  other->GetAttachments().DeleteAttachment(0);
  other->SaveChanges(soAutoResolve);
  mail->GetAttachments().DeleteAttachment(0);
  mail->SaveChanges(soAutoResolve);
  EXPECT_TRUE(mail->GetRefusedDeletions().empty());
}

// What was taken away reaches nobody: the message is not sent while it stands.
TEST_F(SaveAttachments, AMessageIsNotSentWithAnAttachmentThatWasTakenAway) {
  for (const bool savedBefore : {false, true}) {
    const auto mail = Two();
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SaveChanges(soAutoResolve);
    mail->GetAttachments().DeleteAttachment(0);
    RefuseNext("DeleteAttachment", "ErrorAccessDenied");
    if (savedBefore) mail->SaveChanges(soAutoResolve);
    Forget();
    EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(true); }), "ErrorAccessDenied");
    for (const std::string& operation : Operations()) EXPECT_NE(operation, "SendItem");
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), 0u);
    EXPECT_FALSE(mail->GetIsSubmitted());
  }
}

TEST_F(SaveAttachments, AnAnswerWithoutRootIdLeavesTheItemsId) {
  const auto mail = Two();
  const string id = mail->GetID().Id;
  Attach(*mail, "c.txt", "ccc");
  AnswerNext(
      "CreateAttachment",
      ReplyOf("CreateAttachment",
              "<m:Attachments><t:FileAttachment><t:AttachmentId Id=\"NEW\"/></t:FileAttachment></m:Attachments>"));
  RefuseNext("GetItem", "ErrorServerBusy");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_EQ(mail->GetID().Id, id);
  EXPECT_FALSE(mail->GetID().ChangeKey.empty());
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
}

TEST_F(SaveAttachments, ADeletionWithoutResponseMessagesFails) {
  const auto mail = Two();
  mail->GetAttachments().DeleteAttachment(0);
  std::string reply = ReplyOf("DeleteAttachment", "");
  const std::size_t from = reply.find("<m:ResponseMessages>"), to = reply.find("</m:DeleteAttachmentResponse>");
  AnswerNext("DeleteAttachment", reply.erase(from, to - from));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
}

TEST_F(SaveAttachments, ARefusedCreationEndsTheSave) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  Attach(*mail, "a.txt", "aaa");
  Attach(*mail, "b.txt", "bbb");
  RefuseNext("CreateAttachment", "ErrorAttachmentSizeLimitExceeded", 1);
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorAttachmentSizeLimitExceeded");
  // The item stands, and so does its first attachment; the object has the id and is not loaded.
  EXPECT_TRUE(mail->GetIsNewItem());
  EXPECT_TRUE(mail->GetIsSaved());
  EXPECT_EQ(mail->GetID().ChangeKey.utf8(), AnsweredKey("CreateAttachment", "AttachmentId", "RootItemChangeKey"));
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
  // The next save takes the update path and makes what is missing, once.
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;b.txt=bbb;");
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
  EXPECT_FALSE(mail->GetIsNewItem());
}

TEST_F(SaveAttachments, WhatAFailedSaveMadeCanBeTakenBack) {
  const auto mail = NewMail();
  Attach(*mail, "a.txt", "aaa");
  Attach(*mail, "b.txt", "bbb");
  RefuseNext("CreateAttachment", "ErrorAttachmentSizeLimitExceeded", 1);
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EEWSException);
  mail->GetAttachments().DeleteAttachment(0);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=bbb;");
}

TEST_F(SaveAttachments, AnAnswerWithoutAnAttachmentIdFails) {
  const auto mail = NewMail();
  Attach(*mail, "a.txt", "aaa");
  AnswerNext("CreateAttachment", ReplyOf("CreateAttachment", "<m:Attachments/>"));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_TRUE(mail->GetIsSaved());
}

// Links to files elsewhere are none of the list's kinds, so that nobody can have removed them.
TEST_F(SaveAttachments, AReferenceIsLeftAlone) {
  const TItemId id = AddMessage("With a link");
  AnswerNext("GetItem",
             ReplyOf("GetItem",
                     "<m:Items><t:Message><t:ItemId Id=\"" + id.Id.utf8() + "\" ChangeKey=\"" + id.ChangeKey.utf8() +
                         "\"/><t:Attachments><t:ReferenceAttachment><t:AttachmentId Id=\"REF\"/><t:Name>link</t:Name>"
                         "</t:ReferenceAttachment></t:Attachments></t:Message></m:Items>"),
             1);  // the first one asks for the kind of the item
  const auto mail = Mail(id);
  ASSERT_TRUE(mail->AsElement().SelectSingleElement("Attachments/ReferenceAttachment", kSelectQuiet));
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

// Content goes from the item into the bytes of the request, past the request's tree.
TEST_F(SaveAttachments, LargeContentArrivesWhole) {
  std::string bytes(3'000'001, '\0');
  unsigned state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  const auto mail = NewMail();
  Attach(*mail, "large.bin", bytes);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "large.bin=" + bytes + ";");
  File(*mail, 0)->SetName("renamed.bin");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "renamed.bin=" + bytes + ";");
}

// A text that is no base64 goes out as it is, and well-formed.
TEST_F(SaveAttachments, ContentThatAProgramWroteItselfIsEscaped) {
  const auto mail = NewMail();
  const auto file = Attach(*mail, "a.txt", "aaa");
  file->AsElement().SelectSingleElement("Content", kSelectRequired).SetText("<&>\r");
  RefuseNext("CreateAttachment", "ErrorInvalidRequest");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_NE(LastExchange("CreateAttachment").request_body.find("<t:Content>&lt;&amp;&gt;&#13;</t:Content>"),
            std::string::npos);
}

TEST_F(SaveAttachments, AnItemWithoutAttachmentsAsksForNone) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

}  // namespace
}  // namespace velmore::testing
