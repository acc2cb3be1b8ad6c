// What a save of a loaded item sends: exactly what changed, property by property.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

using SaveUpdate = SaveTest;

TEST_F(SaveUpdate, ASubjectIsOneField) {
  const auto mail = Draft("<t:Subject>Old</t:Subject>");
  const TItemId id = mail->GetID();
  mail->SetSubject("New");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(
      Request("UpdateItem"),
      "<m:UpdateItem MessageDisposition=\"SaveOnly\" ConflictResolution=\"AutoResolve\"><m:ItemChanges><t:ItemChange>" +
          IdElement("ItemId", id) + "<t:Updates>" + SetField("item:Subject", "<t:Subject>New</t:Subject>") +
          "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  EXPECT_NE(mail->GetID().ChangeKey, id.ChangeKey);
  EXPECT_EQ(mail->GetID().Id, id.Id);
  EXPECT_EQ(mail->GetSubject(), "New");
  EXPECT_EQ(Again(*mail)->GetSubject(), "New");
}

// Nothing changed, and still it is sent: the answer refreshes the change key that the attachments need. Meant so.
TEST_F(SaveUpdate, WithoutChangesAnEmptyUpdateIsSent) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TItemId id = mail->GetID();
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soNeverOverwrite); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Request("UpdateItem"),
            "<m:UpdateItem MessageDisposition=\"SaveOnly\" ConflictResolution=\"NeverOverwrite\"><m:ItemChanges>"
            "<t:ItemChange>" +
                IdElement("ItemId", id) + "<t:Updates/></t:ItemChange></m:ItemChanges></m:UpdateItem>");
}

TEST_F(SaveUpdate, TheSaveOptionIsAlwaysWritten) {
  for (const auto& [option, text] : {std::pair{soNeverOverwrite, "NeverOverwrite"},
                                     {soAutoResolve, "AutoResolve"},
                                     {soAlwaysOverwrite, "AlwaysOverwrite"}}) {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    mail->SaveChanges(option);
    EXPECT_NE(Request("UpdateItem").find(std::string("ConflictResolution=\"") + text + "\""), std::string::npos);
  }
}

// On every server version the change key is an attribute here, unlike in loads.
TEST_F(SaveUpdate, TheChangeKeyIsAnAttributeAtEveryVersion) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TItemId id = mail->GetID();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("UpdateItem", "ItemChanges/ItemChange/ItemId"), IdElement("ItemId", id));
}

class SaveUpdateOld : public SaveTest {
 protected:
  SaveUpdateOld() : SaveTest("Exchange2007_SP1") {}
};
TEST_F(SaveUpdateOld, TheChangeKeyIsAnAttributeAtEveryVersion) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TItemId id = mail->GetID();
  mail->SetSubject("T");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Part("UpdateItem", "ItemChanges/ItemChange/ItemId"), IdElement("ItemId", id));
}

TEST_F(SaveUpdate, ATextAndItsAttributesAreCopied) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"Text\">old</t:Body>");
  mail->SetBodyText("a < b & c \xE2\x82\xAC");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Body", "<t:Body BodyType=\"Text\">a &lt; b &amp; c \xE2\x82\xAC</t:Body>"));
  EXPECT_EQ(Again(*mail)->GetBodyText(), "a < b & c \xE2\x82\xAC");
}

// The comparison looks at the text alone. Meant so.
TEST_F(SaveUpdate, ABodyWhoseTypeAloneChangesIsNotSent) {
  const auto mail = Draft("<t:Body BodyType=\"Text\">same</t:Body>");
  mail->GetBody().SetBodyType(btHTML);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(SaveUpdate, AListIsSentAsAWhole) {
  const auto mail = Draft("<t:Categories><t:String>Red</t:String></t:Categories>");
  mail->GetCategories().Add("Blue & green");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(),
            SetField("item:Categories",
                     "<t:Categories><t:String>Red</t:String><t:String>Blue &amp; green</t:String></t:Categories>"));
  EXPECT_EQ(Again(*mail)->GetCategories().AsString(";"), "Red;Blue & green");
}

TEST_F(SaveUpdate, RecipientsAreSentAsAWhole) {
  const auto mail =
      Draft("<t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients>");
  mail->GetToRecipients()->Add("Carol <carol@elsewhere.example>");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(
      Updates().find("<t:SetItemField><t:FieldURI FieldURI=\"message:ToRecipients\"/><t:Message><t:ToRecipients>"), 0u);
  EXPECT_EQ(Again(*mail)->GetToRecipients()->GetAsString(),
            "Bob Birch <bob@example.com>; Carol <carol@elsewhere.example>");
}

TEST_F(SaveUpdate, SeveralFieldsGoInTheOrderOfTheTree) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:IsRead>true</t:IsRead>");
  mail->SetIsRead(false);
  mail->SetImportance(icHigh);
  mail->SetSubject("T");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>T</t:Subject>") +
                           SetField("item:Importance", "<t:Importance>High</t:Importance>") +
                           SetField("message:IsRead", "<t:IsRead>false</t:IsRead>"));
}

TEST_F(SaveUpdate, SettingWhatWasThereSendsNothing) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->SetSubject("T");
  mail->SetSubject("S");
  mail->SetImportance(mail->GetImportance());
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

// Servers answer with a class of their own making; what they called the item is what the update calls it. Meant so.
TEST_F(SaveUpdate, TheItemsNameComesFromTheDocument) {
  const TItemId id = AddItem("contacts", "<t:Contact><t:Subject>C</t:Subject></t:Contact>");
  const auto item = MakeRef<TVqEWSItem>(dynamic_cast<TVqComponent*>(Inbox().get()), id);
  EXPECT_EQ(item->GetItemType(), tItem);
  item->SetSubject("D");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>D</t:Subject>", "t:Contact"));
}

TEST_F(SaveUpdate, ADeletedPropertyGoesWithoutAValue) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:InReplyTo>x</t:InReplyTo>");
  mail->DeleteProperty(PR_SUBJECT);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), DeleteField("item:Subject"));
  EXPECT_EQ(Again(*mail)->GetSubject(), "");
  // The status is gone with the load.
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(SaveUpdate, AnExtendedPropertyIsSetAndDeletedByItsURI) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->PropertyByName(EPR_COMMON_CLASSIFIED).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  const std::string uri =
      "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34229\" "
      "PropertyType=\"Boolean\"/>";
  EXPECT_EQ(Updates(), "<t:SetItemField>" + uri + "<t:Message><t:ExtendedProperty>" + uri +
                           "<t:Value>true</t:Value></t:ExtendedProperty></t:Message></t:SetItemField>");
  EXPECT_TRUE(Again(*mail)->PropertyByName(EPR_COMMON_CLASSIFIED).GetAsBoolean());
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_CLASSIFIED).GetAsBoolean());
  mail->DeleteProperty(EPR_COMMON_CLASSIFIED);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "<t:DeleteItemField>" + uri + "</t:DeleteItemField>");
  EXPECT_FALSE(Again(*mail)->HasProperty(EPR_COMMON_CLASSIFIED));
}

// The object that made a property deletes it, too, though no load has it in the tree.
TEST_F(SaveUpdate, AnExtendedPropertyIsDeletedByTheObjectThatSavedIt) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->PropertyByName(EPR_COMMON_CLASSIFIED).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  ASSERT_TRUE(mail->HasProperty(EPR_COMMON_CLASSIFIED));
  mail->DeleteProperty(EPR_COMMON_CLASSIFIED);
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_CLASSIFIED).GetDeleted());
  mail->SaveChanges(soAutoResolve);
  EXPECT_NE(Updates().find("<t:DeleteItemField><t:ExtendedFieldURI"), std::string::npos);
  EXPECT_FALSE(mail->HasProperty(EPR_COMMON_CLASSIFIED));
  EXPECT_FALSE(Again(*mail)->HasProperty(EPR_COMMON_CLASSIFIED));
}

TEST_F(SaveUpdate, AnExtendedPropertyThatWasReadBeforeASaveIsDeletedBehindIt) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->PropertyByName(EPR_COMMON_CLASSIFIED).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  const auto again = Again(*mail);
  ASSERT_TRUE(again->PropertyByName(EPR_COMMON_CLASSIFIED).GetAsBoolean());
  again->SaveChanges(soAutoResolve);
  again->PropertyByName(EPR_COMMON_CLASSIFIED).SetDeleted(true);  // without a look at the server
  again->SaveChanges(soAutoResolve);
  EXPECT_FALSE(Again(*again)->HasProperty(EPR_COMMON_CLASSIFIED));
}

TEST_F(SaveUpdate, AValueThatIsSetBehindADeletionTakesItBack) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->DeleteProperty(PR_SUBJECT);
  mail->SetSubject("T");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>T</t:Subject>"));
}

TEST_F(SaveUpdate, SeveralValuesAreSentAsSuch) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->PropertyByName(EPR_COMMON_COMPANIES).SetAsStrings({"A & B", "C"});
  mail->SaveChanges(soAutoResolve);
  EXPECT_NE(Updates().find("<t:Values><t:Value>A &amp; B</t:Value><t:Value>C</t:Value></t:Values>"), std::string::npos);
  EXPECT_EQ(Again(*mail)->PropertyByName(EPR_COMMON_COMPANIES).GetAsStrings(), (std::vector<string>{"A & B", "C"}));
}

// Rows that are linked to a member of the schema: read on a new item, they leave it one that can be saved.
TEST_F(SaveUpdate, LinkedMembersCanBeReadByTheirRows) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  for (const TVqEWSPropDef* row : {&PR_SENDERSMTPADDRESS, &PR_MAILBOXGUIDS, &PR_EXTENDEDPROPERTIES}) {
    mail->PropertyByName(*row).GetAsString();
    mail->PropertyByName(*row).GetAsString();
    EXPECT_NO_THROW(mail->GetProperties().Count()) << row->PropDefName.view();
  }
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
}

TEST_F(SaveUpdate, APartOfAMemberHasItsParentAroundIt) {
  const auto id =
      AddItem("contacts",
              "<t:Contact><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry Key=\"MobilePhone\">2"
              "</t:Entry></t:PhoneNumbers></t:Contact>");
  const auto item = Store().GetItem(id);
  item->AsElement().SelectSingleElement("PhoneNumbers/Entry[@Key=\"MobilePhone\"]", kSelectRequired).SetText("3");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(
      Updates(),
      "<t:SetItemField><t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"MobilePhone\"/><t:Contact>"
      "<t:PhoneNumbers><t:Entry Key=\"MobilePhone\">3</t:Entry></t:PhoneNumbers></t:Contact></t:SetItemField>");
  // Emptied, a part is deleted; a member of its own would be set to nothing.
  item->AsElement().SelectSingleElement("PhoneNumbers/Entry[@Key=\"HomePhone\"]", kSelectRequired).SetText("");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(),
            "<t:DeleteItemField><t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"HomePhone\"/>"
            "</t:DeleteItemField>");
}

// Somebody else may have filled it meanwhile.
TEST_F(SaveUpdate, AListThatIsAsEmptyAsItWasIsNoChange) {
  for (const bool refilled : {false, true}) {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    for (const auto& list :
         {mail->GetToRecipients(), mail->GetCcRecipients(), mail->GetBccRecipients(), mail->GetReplyTo()}) {
      if (refilled) list->AddMailbox("", "bob@example.com");
      list->Clear();
    }
    if (refilled) mail->GetCategories().Add("c");
    mail->GetCategories().Clear();
    mail->SaveChanges(soAlwaysOverwrite);
    EXPECT_EQ(Updates(), "") << refilled;
  }
}

TEST_F(SaveUpdate, AttachmentsAreNoField) {
  const auto mail = Draft(
      "<t:Subject>S</t:Subject><t:Attachments><t:FileAttachment><t:Name>a</t:Name><t:Content>YQ==</t:Content>"
      "</t:FileAttachment></t:Attachments>");
  File(*mail, 0)->SetName("b");
  EXPECT_EQ(mail->PropertyByName(PR_ATTACHMENTS).GetUpdateStatus(), dusModified);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
  // Any status but that of a deletion.
  mail->DeleteProperty(PR_ATTACHMENTS);
  RefuseNext("UpdateItem", "ErrorInvalidPropertyDelete");
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorInvalidPropertyDelete");
  EXPECT_EQ(Updates(), DeleteField("item:Attachments"));
}

TEST_F(SaveUpdate, WhatWasFetchedLaterIsNoChange) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"Text\">b</t:Body>");
  mail->GetTextBody();
  mail->PropertyByName(MPR_BODY).GetAsString();
  mail->GetNormalizedBody().GetValue();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(SaveUpdate, ARefusedFieldNamesIt) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TItemId id = mail->GetID();
  mail->SetSubject("T");
  mail->PropertyByName(PR_DATETIMECREATED).SetAsDateTime(VqXMLToDateTime("2026-01-01T00:00:00Z"));
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorInvalidPropertySet");
  const std::string reply = LastExchange("UpdateItem").response_body;
  EXPECT_NE(reply.find("MessageXml"), std::string::npos);
  EXPECT_NE(reply.find("FieldURI=\"item:DateTimeCreated\""), std::string::npos) << reply;
  // Everything is as it was, on both sides.
  EXPECT_EQ(mail->GetID().ChangeKey, id.ChangeKey);
  EXPECT_EQ(mail->GetSubject(), "T");
  EXPECT_EQ(Again(*mail)->GetSubject(), "S");
}

TEST_F(SaveUpdate, PrivateIsTwoFields) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->SetIsPrivate(true);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates().find(SetField("item:Sensitivity", "<t:Sensitivity>Private</t:Sensitivity>")), 0u) << Updates();
  EXPECT_NE(Updates().find("<t:Value>true</t:Value>"), std::string::npos);
  const auto fresh = Again(*mail);
  EXPECT_TRUE(fresh->GetIsPrivate());
  fresh->SetIsPrivate(false);
  fresh->SaveChanges(soAutoResolve);
  EXPECT_FALSE(Again(*fresh)->GetIsPrivate());
  EXPECT_EQ(Again(*fresh)->GetSensitivity(), scNormal);
}

TEST_F(SaveUpdate, AnAssociatedItemIsMadeAsOne) {
  const auto mail = NewMail();
  mail->SetIsAssociated(true);
  mail->SetSubject("Settings");
  mail->SaveChanges(soAutoResolve);
  EXPECT_TRUE(Again(*mail)->GetIsAssociated());
  // Afterwards the server does not change it.
  mail->SetIsAssociated(false);
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorInvalidPropertySet");
}

// What the server makes of it is its affair: it writes the preview itself.
TEST_F(SaveUpdate, ThePreviewIsAField) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->SetPreview("p");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Preview", "<t:Preview>p</t:Preview>"));
}

TEST_F(SaveUpdate, TheNextReminderIsAField) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TDateTime time = VqXMLToDateTime("2026-03-02T09:00:00Z");
  mail->SetReminderNextTime(time);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(),
            SetField("item:ReminderNextTime", "<t:ReminderNextTime>2026-03-02T09:00:00Z</t:ReminderNextTime>"));
  EXPECT_EQ(Again(*mail)->GetReminderNextTime(), time);
}

TEST_F(SaveUpdate, AnAnswerWithoutAnIdFails) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  AnswerNext("UpdateItem", ReplyOf("UpdateItem", "<m:Items/>"));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  EXPECT_EQ(Operations().back(), "UpdateItem");
  AnswerNext("UpdateItem", ReplyOf("GetItem", "<m:Items/>"));
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
}

TEST_F(SaveUpdate, ADeletedItemFailsAtItsNextSave) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  Server().AddFault({.operation = "UpdateItem", .response_code = "ErrorItemNotFound"});
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorItemNotFound");
}

}  // namespace
}  // namespace velmore::testing
