// How a new item comes to the server, and what old servers get later.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

using SaveCreate = SaveTest;

TEST_F(SaveCreate, ADraftIsOneCreateItem) {
  const auto drafts = Folder(dfindrafts);
  const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
  mail->SetSubject("Lunch?");
  mail->SetBodyText("At noon");
  mail->GetToRecipients()->Add("Bob <bob@example.com>");
  EXPECT_TRUE(mail->GetIsNewItem());
  EXPECT_FALSE(mail->GetIsSaved());
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
  EXPECT_EQ(Request("CreateItem"),
            "<m:CreateItem MessageDisposition=\"SaveOnly\"><m:SavedItemFolderId>" +
                IdElement("FolderId", drafts->GetID()) +
                "</m:SavedItemFolderId><m:Items><t:Message><t:Subject>Lunch?</t:Subject>"
                "<t:Body BodyType=\"Text\">At noon</t:Body><t:ToRecipients><t:Mailbox><t:Name>Bob</t:Name>"
                "<t:EmailAddress>bob@example.com</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType></t:Mailbox>"
                "</t:ToRecipients></t:Message></m:Items></m:CreateItem>");
  EXPECT_EQ(mail->GetID().Id.utf8(), AnsweredKey("CreateItem", "ItemId", "Id"));
  EXPECT_FALSE(mail->GetIsNewItem());
  EXPECT_TRUE(mail->GetIsSaved());
  EXPECT_TRUE(mail->GetIsDraft());
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
  // From now on it is an item like any other.
  mail->SetSubject("Dinner?");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Dinner?</t:Subject>"));
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
}

TEST_F(SaveCreate, WhatAGetterMadeOnItsWayIsNotSent) {
  const auto mail = NewMail();
  mail->SetSubject("");
  mail->GetToRecipients()->Count();
  mail->GetCategories().Count();
  mail->GetAttachments().Count();
  mail->SetInReplyTo("x");
  ASSERT_TRUE(mail->AsElement().HasChildElement("Subject", kSelectQuiet));
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:InReplyTo>x</t:InReplyTo></t:Message></m:Items>");
}

TEST_F(SaveCreate, AnElementWithAnAttributeAloneIsSent) {
  const auto mail = NewMail();
  mail->GetBody().SetBodyType(btText);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Body BodyType=\"Text\"/></t:Message></m:Items>");
}

TEST_F(SaveCreate, ABodyThatWasNeverGivenATypeIsNotSent) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->GetBody().SetValue("text");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
}

TEST_F(SaveCreate, AttachmentsNeverGoInsideIt) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  Attach(*mail, "a.txt", "aaa");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
}

TEST_F(SaveCreate, ExtendedPropertiesGoAlong) {
  const auto mail = NewMail();
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->SetSubject("S");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
  EXPECT_NE(Request("CreateItem").find("<t:Value>true</t:Value>"), std::string::npos);
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
}

TEST_F(SaveCreate, WithoutAFolderTheServerChooses) {
  const auto mail = Supports<IVqEWSEMail>(MakeRef<TVqEWSEMail>(dynamic_cast<TVqComponent*>(&Store()), TItemId()));
  mail->SetSubject("S");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Request("CreateItem").find("SavedItemFolderId"), std::string::npos);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
}

TEST_F(SaveCreate, ARefusalLeavesTheItemNewForAnotherTry) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  Attach(*mail, "a.txt", "aaa");
  const string before = mail->AsElement().GetXML();
  RefuseNext("CreateItem", "ErrorQuotaExceeded");
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorQuotaExceeded");
  EXPECT_TRUE(mail->GetIsNewItem());
  EXPECT_FALSE(mail->GetIsSaved());
  EXPECT_EQ(mail->AsElement().GetXML(), before);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
}

TEST_F(SaveCreate, AnAnswerWithoutAnIdFails) {
  const auto mail = NewMail();
  AnswerNext("CreateItem", ReplyOf("CreateItem", "<m:Items/>"));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_TRUE(mail->GetIsNewItem());
  AnswerNext("CreateItem", ReplyOf("UpdateItem", "<m:Items/>"));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
}

/// A message that tells which requests its hook saw.
class THookedMail : public TVqEWSEMail {
 public:
  using TVqEWSEMail::TVqEWSEMail;
  Names Seen;

 protected:
  ~THookedMail() override = default;
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override {
    TVqEWSEMail::BeforeSaveChanges(ASOAPRequest);
    Seen.push_back(ASOAPRequest.GetMethod().GetLocalName().utf8());
    ASOAPRequest.GetMethod().SetAttribute("MessageDisposition", "SaveOnly");
  }
};

TEST_F(SaveCreate, TheHookSeesEveryRequestOfTheItem) {
  const auto mail = MakeRef<THookedMail>(dynamic_cast<TVqComponent*>(Folder(dfindrafts).get()), TItemId());
  mail->SetSubject("S");
  Attach(*mail, "a.txt", "aaa");
  mail->SaveChanges(soAutoResolve);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->Seen, (Names{"CreateItem", "UpdateItem"}));
}

/// Answers and forwards are kinds of items without attachments of their own.
class TResponseMail : public TVqEWSEMail {
 public:
  TResponseMail(TVqComponent* creator, TItemType type) : TVqEWSEMail(creator, TItemId()), FType(type) {}
  TItemType GetItemType() override { return FType; }

 protected:
  ~TResponseMail() override = default;

 private:
  TItemType FType;
};

TEST_F(SaveCreate, AResponseSavesNoAttachments) {
  const TItemId id = AddMessage("Answered");
  const auto inbox = Inbox();
  for (const TItemType type : {tReplyToItem, tReplyAllToItem, tForwardItem, tMessage}) {
    const auto mail = MakeRef<TResponseMail>(dynamic_cast<TVqComponent*>(inbox.get()), type);
    Attach(*mail, "a.txt", "aaa");
    AnswerNext("CreateItem",
               ReplyOf("CreateItem", "<m:Items><t:Message>" + IdElement("ItemId", id) + "</t:Message></m:Items>"));
    const Names sent = Sent([&] { mail->SaveChanges(soAutoResolve); });
    EXPECT_EQ(sent, type == tMessage ? (Names{"CreateItem", "CreateAttachment", "GetItem"})
                                     : (Names{"CreateItem", "GetItem"}));
  }
}

// ---- Servers before Exchange2013_SP1

class SaveCreateOld : public SaveTest {
 protected:
  SaveCreateOld() : SaveTest("Exchange2013") {}
};

TEST_F(SaveCreateOld, ExtendedPropertiesGoInAnUpdateOfTheirOwn) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  Attach(*mail, "a.txt", "aaa");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soNeverOverwrite); }),
            (Names{"CreateItem", "UpdateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
  const std::string uri =
      "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\" "
      "PropertyType=\"Boolean\"/>";
  EXPECT_EQ(Request("UpdateItem"),
            "<m:UpdateItem MessageDisposition=\"SaveOnly\" "
            "ConflictResolution=\"NeverOverwrite\"><m:ItemChanges><t:ItemChange>"
            "<t:ItemId Id=\"" +
                AnsweredKey("CreateItem", "ItemId", "Id") + "\" ChangeKey=\"" +
                AnsweredKey("CreateItem", "ItemId", "ChangeKey") + "\"/><t:Updates><t:SetItemField>" + uri +
                "<t:Message><t:ExtendedProperty>" + uri +
                "<t:Value>true</t:Value></t:ExtendedProperty></t:Message></t:SetItemField></t:Updates></t:ItemChange>"
                "</m:ItemChanges></m:UpdateItem>");
  // The id was set twice: the attachment has that of the update.
  EXPECT_EQ(KeysOf("CreateAttachment", "ParentItemId"), Names{AnsweredKey("UpdateItem", "ItemId", "ChangeKey")});
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
}

TEST_F(SaveCreateOld, TheHookSeesTheUpdateToo) {
  const auto mail = MakeRef<THookedMail>(dynamic_cast<TVqComponent*>(Folder(dfindrafts).get()), TItemId());
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->Seen, (Names{"CreateItem", "UpdateItem"}));
}

TEST_F(SaveCreateOld, WithoutExtendedPropertiesThereIsNoUpdate) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
}

// A deletion is passed over. Meant so.
TEST_F(SaveCreateOld, ADeletedPropertyIsPassedOver) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->DeleteProperty(EPR_COMMON_PRIVATE);
  mail->DeleteProperty(PR_SUBJECT);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "UpdateItem", "GetItem"}));
  EXPECT_EQ(Updates(), "");
}

TEST_F(SaveCreateOld, ARefusedUpdateIsMadeUpByTheNextSave) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_TRUE(mail->GetIsNewItem());
  EXPECT_TRUE(mail->GetIsSaved());
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
  EXPECT_TRUE(Again(*mail)->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
}

class SaveCreateSP1 : public SaveTest {
 protected:
  SaveCreateSP1() : SaveTest("Exchange2013_SP1") {}
};
TEST_F(SaveCreateSP1, ExtendedPropertiesGoAlong) {
  const auto mail = NewMail();
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
}

}  // namespace
}  // namespace velmore::testing
