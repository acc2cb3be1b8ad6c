// What a load leaves out and how it comes: one by one when it is read, or many at once.

#include "ews/items/uVqEWSItem.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class LazyLoad : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  TVqRef<TVqEWSEMail> Mail(const std::string& subject = "Hello") {
    FId = AddMessage(subject);
    return MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(&Store()).get(), FId);
  }
  /// What the last m:GetItem asked for.
  std::string Asked() {
    const std::string body = Request("GetItem");
    const std::size_t from = body.find("<t:AdditionalProperties>") + 24;
    return body.substr(from, body.find("</t:AdditionalProperties>") - from);
  }
  void AnswerWith(const std::string& content) {
    AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message>" + content + "</t:Message></m:Items>"));
  }
  static std::string Extended(const std::string& uri, const std::string& value) {
    return "<t:ExtendedProperty><t:ExtendedFieldURI " + uri + "/><t:Value>" + value + "</t:Value></t:ExtendedProperty>";
  }
  TItemId FId;
};

TEST_F(LazyLoad, FirstReadOfWhatIsMissingCostsOneRequestAndTheSecondNone) {
  const auto mail = Mail();
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetUniqueBody().GetValue().Trim(), "Hello"); }), Names{"GetItem"});
  EXPECT_EQ(Request("GetItem"),
            "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
            "<t:FieldURI FieldURI=\"item:UniqueBody\"/></t:AdditionalProperties></m:ItemShape><m:ItemIds>" +
                LoadId("ItemId", FId) + "</m:ItemIds></m:GetItem>");
  EXPECT_EQ(Sent([&] { mail->GetUniqueBody().GetValue(); }), Names{});
  EXPECT_EQ(mail->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
}

TEST_F(LazyLoad, WhatTheLoadGaveCostsNothing) {
  const auto mail = Mail();
  EXPECT_EQ(Sent([&] {
              mail->GetSubject();
              mail->GetBodyText();
              mail->GetDateTimeReceived();
              mail->GetImportance();
              mail->GetParentFolderId().GetId();
              mail->GetIsRead();
              mail->GetFrom()->GetName();
            }),
            Names{});
}

TEST_F(LazyLoad, WhatIsFetchedCountsAsUnchanged) {
  const auto mail = Mail();
  mail->GetAdditionalProperties({"Preview", "StoreEntryId"});
  EXPECT_EQ(mail->GetPreview(), "Hello");
  EXPECT_EQ(mail->PropertyByName(PR_PREVIEW).GetUpdateStatus(), dusUnmodified);
  EXPECT_FALSE(mail->GetStoreEntryId().empty());
  // And a change of what was fetched is one.
  mail->SetPreview("Other");
  EXPECT_EQ(mail->PropertyByName(PR_PREVIEW).GetUpdateStatus(), dusModified);
}

TEST_F(LazyLoad, SaveAfterAReadSendsNoUpdateForIt) {
  const auto mail = Mail();
  mail->GetPreview();
  mail->GetUniqueBody();
  mail->GetAdditionalProperties({"PROPDEF:EPR_COMMON_PRIVATE"});
  mail->SetSubject("Changed");
  Forget();
  mail->SaveChanges(soAutoResolve);
  const std::string update = Request("UpdateItem");
  EXPECT_NE(update.find("item:Subject"), std::string::npos);
  EXPECT_EQ(update.find("Preview"), std::string::npos);
  EXPECT_EQ(update.find("UniqueBody"), std::string::npos);
}

TEST_F(LazyLoad, ManyNamesAreOneRequest) {
  const auto mail = Mail();
  AnswerWith(
      "<t:Preview>P</t:Preview><t:TextBody BodyType=\"Text\">T</t:TextBody>" +
      Extended("PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\" PropertyType=\"Boolean\"",
               "true"));
  Forget();
  mail->GetAdditionalProperties({"Preview", "PROPDEF:EPR_COMMON_PRIVATE", "TextBody", "Novelty"});
  EXPECT_EQ(Operations(), Names{"GetItem"});
  EXPECT_EQ(Asked(),
            "<t:FieldURI FieldURI=\"item:Preview\"/><t:ExtendedFieldURI "
            "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\" "
            "PropertyType=\"Boolean\"/><t:FieldURI FieldURI=\"item:TextBody\"/>"
            "<t:FieldURI FieldURI=\"item:Novelty\"/>");
  EXPECT_EQ(mail->GetPreview(), "P");
  EXPECT_EQ(mail->GetTextBody().Value, "T");
  EXPECT_EQ(mail->GetTextBody().BodyType, btText);  // attributes come along
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  EXPECT_EQ(mail->PropertyByName(EPR_COMMON_PRIVATE).GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(Operations(), Names{"GetItem"});
}

TEST_F(LazyLoad, PublishedPropertiesAreAskedForByTheirAttributes) {
  const auto mail = Mail();
  const std::pair<const char*, const char*> cases[] = {
      {"Subject", "<t:FieldURI FieldURI=\"item:Subject\"/>"},
      {"From", "<t:FieldURI FieldURI=\"message:From\"/>"},
      {"IsReminderSet", "<t:FieldURI FieldURI=\"item:IsReminderSet\"/>"},             // by the row of another element
      {"ExtendedProperty", "<t:FieldURI FieldURI=\"persona:ExtendedProperties\"/>"},  // likewise
      {"ReminderIsSet", "<t:FieldURI FieldURI=\"item:ReminderIsSet\"/>"},
      {"BodyText", "<t:FieldURI FieldURI=\"item:BodyText\"/>"},
      {"calendar:Culture", "<t:FieldURI FieldURI=\"item:Culture\"/>"},  // a prefix goes
  };
  for (const auto& [entry, uri] : cases) {
    AnswerWith("");
    mail->GetAdditionalProperties({entry});
    EXPECT_EQ(Asked(), uri);
  }
}

/// A message that publishes an entry of a dictionary.
class TMailWithHeader : public TVqEWSEMail {
 public:
  using TVqEWSEMail::TVqEWSEMail;
  const TVqEWSMemberTable& MemberTable() const override {
    static constinit const TVqEWSMemberInfo members[] = {
        {"Mailer", VqStringType, VqEWSField(duitem_InternetMessageHeader, "X-Mailer")}};
    static constinit const TVqEWSMemberTable table{"TMailWithHeader", nullptr, members};
    return table;
  }
};

TEST_F(LazyLoad, EntryOfADictionaryIsAskedForUnderThePlainNameWithTheIndexOfItsDefinition) {
  // The library has no row for a dictionary alone, an application may have one.
  static const TVqEWSFieldDef kHeader{.FieldDefName = EWSShortName("FLD_ITEM_INTERNETMESSAGEHEADER"),
                                      .PropDef = &PR_INTERNETMESSAGEHEADERS,
                                      .FieldType = fdtIndexedField,
                                      .UnindexedFieldURI = EWSShortName("item:InternetMessageHeader"),
                                      .FieldIndex = EWSShortName("Received")};
  const auto mail = MakeRef<TMailWithHeader>(Supports<TVqEWSMsgStore>(&Store()).get(), AddMessage("Hello"));
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { mail->GetAdditionalProperties({"Mailer"}); }),
            "There is no field definition \"FLD_ITEM_INTERNETMESSAGEHEADER\"!");
  EXPECT_EQ(Operations(), Names{});
  RegisterField(&kHeader);
  AnswerWith("");
  mail->GetAdditionalProperties({"Mailer"});
  // Neither the element that indexed fields have elsewhere nor the index of the member, on purpose.
  EXPECT_EQ(Asked(), "<t:FieldURI FieldURI=\"item:InternetMessageHeader\" FieldIndex=\"Received\"/>");
}

TEST_F(LazyLoad, OnlyTheItemsOwnRecordAsks) {
  FId = AddMessage("Hello");
  Store();
  AnswerWith("<t:ItemId Id=\"I\"/><t:Subject>Hello</t:Subject><t:From><t:Mailbox/></t:From><t:EffectiveRights/>");
  const auto mail = MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(&Store()).get(), FId);
  const auto inbox = Inbox();
  EXPECT_EQ(Sent([&] {
              // What is missing below: of records inside, of the copy as loaded, of a folder.
              EXPECT_FALSE(mail->GetEffectiveRights().GetRead());
              EXPECT_EQ(mail->GetFrom()->GetName(), "");
              EXPECT_EQ(mail->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
              EXPECT_EQ(inbox->PropertyByName(PR_MANAGEDFOLDERINFORMATION).GetAsString(),
                        "<t:ManagedFolderInformation/>");
              // Writing and looking are no reads.
              mail->SetPreview("written");
              mail->SetInReplyTo("written");
              EXPECT_FALSE(mail->AsElement().HasChildElement("UniqueBody", kSelectQuiet));
            }),
            Names{});
}

TEST_F(LazyLoad, EveryPublishedPropertyCanBeAskedFor) {
  const auto mail = Mail();
  for (const TVqEWSMemberTable* table = &mail->MemberTable(); table; table = table->Base) {
    for (const TVqEWSMemberInfo& member : table->Members) {
      AnswerWith("");
      mail->GetAdditionalProperties({string(std::string(member.Name))});
      EXPECT_NE(Asked().find("FieldURI=\""), std::string::npos) << member.Name;
    }
  }
}

TEST_F(LazyLoad, EntryWithAPrefixIsAskedForAndNotMerged) {
  const auto mail = Mail();
  AnswerWith("<t:Subject>Other</t:Subject>");
  mail->GetAdditionalProperties({"item:Subject"});
  EXPECT_EQ(Asked(), "<t:FieldURI FieldURI=\"item:Subject\"/>");
  EXPECT_EQ(mail->GetSubject(), "Hello");
  AnswerWith("<t:Subject>Other</t:Subject>");
  mail->GetAdditionalProperties({"Subject"});
  EXPECT_EQ(mail->GetSubject(), "Other");
  EXPECT_EQ(mail->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
}

TEST_F(LazyLoad, WhatTheServerOmitsIsAskedForAtEachRead) {
  const auto mail = Mail();
  AnswerWith("");
  AnswerWith("");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetCulture(), mail->GetCulture()); }).size(), 0u);  // the load had it
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetInReplyTo(), ""); }), Names{"GetItem"});
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetInReplyTo(), ""); }), Names{"GetItem"});
}

TEST_F(LazyLoad, RecordThatTheServerOmitsIsMadeByItsGetter) {
  const auto mail = Mail();
  AnswerWith("");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetPolicyTag().GetValue(), TGUID()); }), Names{"GetItem"});
  EXPECT_EQ(Sent([&] { mail->GetPolicyTag(); }), Names{});
}

TEST_F(LazyLoad, MarkupOfAMemberIsMerged) {
  const auto mail = Mail();
  AnswerWith("<t:Categories><t:String>Red</t:String><t:String>a&amp;b</t:String></t:Categories>");
  mail->GetAdditionalProperties({"Categories"});
  EXPECT_EQ(mail->AsElement().SelectSingleElement("Categories", kSelectRequired).GetInnerXML(),
            "<t:String>Red</t:String><t:String>a&amp;b</t:String>");
}

TEST_F(LazyLoad, AnswerOfAnotherKindFails) {
  const auto mail = Mail();
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Task><t:Preview>P</t:Preview></t:Task></m:Items>"));
  EXPECT_THROW(mail->GetPreview(), EVqXMLError);
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:MESSAGE><t:Preview>P</t:Preview></t:MESSAGE></m:Items>"));
  EXPECT_EQ(mail->GetPreview(), "P");
  const auto plain = MakeRef<TVqEWSItem>(Supports<TVqEWSMsgStore>(&Store()).get(), FId);
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Task><t:Preview>P</t:Preview></t:Task></m:Items>"));
  EXPECT_EQ(plain->GetPreview(), "P");
}

TEST_F(LazyLoad, RefusalComesThroughTheGetter) {
  const auto mail = Mail();
  RefuseNext("GetItem", "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { mail->GetPreview(); }), "ErrorItemNotFound");
  EXPECT_EQ(mail->GetPreview(), "Hello");
}

// ---- MAPI and named properties

TEST_F(LazyLoad, NamedPropertyIsAskedForOnceWhenTheServerHasIt) {
  const auto mail = Mail();
  // The set is compared as the value that it is, however the server writes it; the item has it in the library's own
  // writing.
  AnswerWith(Extended(
      "PropertySetId=\"00062008-0000-0000-C000-000000000046\" PropertyId=\"34054\" PropertyType=\"Boolean\"", "true"));
  EXPECT_EQ(Sent([&] { EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean()); }), Names{"GetItem"});
  EXPECT_EQ(Sent([&] { mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean(); }), Names{});
  EXPECT_EQ(mail->AsElement().SelectSingleElement("ExtendedProperty", kSelectRequired).GetXML(),
            "<t:ExtendedProperty><t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" "
            "PropertyId=\"34054\" PropertyType=\"Boolean\"/><t:Value>true</t:Value></t:ExtendedProperty>");
}

TEST_F(LazyLoad, ServerMayAnswerWithTheNameOfTheSet) {
  // Two names differ from the sets' own.
  const std::tuple<const TGUID*, const char*> sets[] = {
      {&PSETID_Appointment, "Appointment"},
      {&PSETID_Task, "Task"},
      {&PSETID_Address, "Address"},
      {&PSETID_Common, "Common"},
      {&PSETID_Log, "Log"},
      {&PSETID_Note, "Note"},
      {&PSETID_Sharing, "Sharing"},
      {&PSETID_PostRss, "PostRSS"},
      {&PSETID_Messaging, "Message"},
      {&PSETID_Attachment, "Attachment"},
      {&PSETID_CalendarAssistant, "CalendarAssistant"},
      {&PSETID_UnifiedMessaging, "UnifiedMessaging"},
      {&PSETID_Meeting, "Meeting"},
      {&PSETID_AirSync, "AirSync"},
      {&PSETID_PublicStrings, "PublicStrings"},
      {&PSETID_InternetHeaders, "InternetHeaders"},
  };
  static std::vector<std::unique_ptr<std::string>> names;  // registered rows live as long as the program
  static std::vector<std::unique_ptr<TVqEWSPropDef>> rows;
  const auto mail = Mail();
  int number = 0;
  for (const auto& [set, name] : sets) {
    names.push_back(std::make_unique<std::string>("TPR_SET_" + std::to_string(number++)));
    rows.push_back(std::make_unique<TVqEWSPropDef>(TVqEWSPropDef{.PropDefName = EWSShortName(string(*names.back())),
                                                                 .Extended = true,
                                                                 .PropType = ptString,
                                                                 .PropertySetId = set,
                                                                 .PropKind = pkName,
                                                                 .Name = EWSShortName("Thing")}));
    RegisterProp(rows.back().get());
    AnswerWith(Extended(
        std::string("DistinguishedPropertySetId=\"") + name + "\" PropertyName=\"Thing\" PropertyType=\"String\"",
        std::string("value of ") + name));
    mail->GetAdditionalProperties({"PROPDEF:" + string(*names.back())});
    EXPECT_EQ(Asked(), "<t:ExtendedFieldURI PropertySetId=\"" + PropSetIDToString(*set).utf8() +
                           "\" PropertyName=\"Thing\" PropertyType=\"String\"/>");
    EXPECT_EQ(mail->PropertyByName(*rows.back()).GetAsString(), std::string("value of ") + name);
  }
}

TEST_F(LazyLoad, DistinguishedSetIsSearchedByItsName) {
  static const TVqEWSPropDef kRow{.PropDefName = EWSShortName("TPR_DISTINGUISHED"),
                                  .Extended = true,
                                  .PropType = ptString,
                                  .DistinguishedPropertySetId = EWSShortName("PublicStrings"),
                                  .PropKind = pkId,
                                  .Id = 77};
  RegisterProp(&kRow);
  const auto mail = Mail();
  AnswerWith(Extended("DistinguishedPropertySetId=\"PublicStrings\" PropertyId=\"77\" PropertyType=\"String\"", "v"));
  mail->GetAdditionalProperties({"PROPDEF:TPR_DISTINGUISHED"});
  EXPECT_EQ(mail->PropertyByName(kRow).GetAsString(), "v");
}

TEST_F(LazyLoad, TagsAreFoundInEitherNumberOfDigits) {
  const auto mail = Mail();
  AnswerWith(Extended("PropertyTag=\"0x36\" PropertyType=\"Integer\"", "2") +
             Extended("PropertyTag=\"0xe07\" PropertyType=\"Integer\"", "33") +
             Extended("PropertyTag=\"0x1000\" PropertyType=\"String\"", "body"));
  mail->GetAdditionalProperties({"PROPDEF:MPR_SENSITIVITY", "PROPDEF:MPR_MESSAGE_FLAGS", "PROPDEF:MPR_BODY"});
  EXPECT_EQ(Asked(),
            "<t:ExtendedFieldURI PropertyTag=\"0x36\" PropertyType=\"Integer\"/>"
            "<t:ExtendedFieldURI PropertyTag=\"0x0E07\" PropertyType=\"Integer\"/>"
            "<t:ExtendedFieldURI PropertyTag=\"0x1000\" PropertyType=\"String\"/>");
  Forget();
  EXPECT_EQ(mail->PropertyByName(MPR_SENSITIVITY).GetAsInteger(), 2);
  EXPECT_EQ(mail->PropertyByName(MPR_MESSAGE_FLAGS).GetAsInteger(), 33);
  EXPECT_EQ(mail->PropertyByName(MPR_BODY).GetAsString(), "body");
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(LazyLoad, MemberIsAskedForThroughItsMapiProperty) {
  const auto mail = Mail();
  IVqDOMElement element = mail->AsElement();
  element.RemoveChild(element.SelectSingleElement("Body", kSelectRequired));
  AnswerWith(Extended("PropertyTag=\"0x1000\" PropertyType=\"String\"", "the body"));
  mail->GetAdditionalProperties({"PROPDEF:PR_BODY"});
  EXPECT_EQ(Asked(), "<t:ExtendedFieldURI PropertyTag=\"0x1000\" PropertyType=\"String\"/>");
  // Both forms have it, and neither counts as changed.
  EXPECT_EQ(mail->GetBodyText(), "the body");
  EXPECT_EQ(mail->PropertyByName(MPR_BODY).GetAsString(), "the body");
  EXPECT_EQ(mail->PropertyByName(MPR_BODY).GetUpdateStatus(), dusUnmodified);
}

TEST_F(LazyLoad, MemberThatTheServerOmitsIsMadeEmptyAndAskedForOnce) {
  const auto mail = Mail();
  AnswerWith("");
  AnswerWith("");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->PropertyByName(PR_CONVERSATIONTOPIC).GetAsString(), "Hello"); }), Names{});
  IVqDOMElement element = mail->AsElement();
  element.RemoveChild(element.SelectSingleElement("Sensitivity", kSelectRequired));
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->PropertyByName(PR_SENSITIVITY).GetAsString(), ""); }), Names{"GetItem"});
  EXPECT_EQ(Asked(), "<t:ExtendedFieldURI PropertyTag=\"0x36\" PropertyType=\"Integer\"/>");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->PropertyByName(PR_SENSITIVITY).GetAsString(), ""); }), Names{});
}

TEST_F(LazyLoad, MemberWithoutAMapiPropertyCannotBeAskedForSo) {
  const auto mail = Mail();
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { mail->GetAdditionalProperties({"PROPDEF:PR_TEXTBODY"}); }),
            "There is no property definition \"MPR_TEXTBODY\"!");
  EXPECT_EQ(MessageOf<EVqException>([&] { mail->PropertyByName(PR_TEXTBODY); }),
            "There is no property definition \"MPR_TEXTBODY\"!");
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(LazyLoad, NamedPropertyThatTheServerOmitsIsAnEmptyElement) {
  const auto mail = Mail();
  EXPECT_EQ(Sent([&] { EXPECT_FALSE(mail->HasProperty(EPR_COMMON_CLASSIFIED)); }), Names{"GetItem"});
  EXPECT_EQ(Sent([&] { EXPECT_FALSE(mail->PropertyByName(EPR_COMMON_CLASSIFIED).GetAsBoolean()); }), Names{"GetItem"});
  EXPECT_EQ(Sent([&] { EXPECT_FALSE(mail->PropertyByName(EPR_COMMON_CLASSIFIED).GetAsBoolean()); }), Names{});
}

TEST_F(LazyLoad, NewItemAsksNobody) {
  const auto item = Folder(dfindrafts)->CreateItem(tMessage);
  Forget();
  EXPECT_EQ(item->GetPreview(), "");
  EXPECT_FALSE(item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  EXPECT_EQ(MessageOf<EVqException>([&] { item->PropertyByName(PR_SUBJECT); }),
            "The result does not contain a value for for \"Subject\"!");
  EXPECT_EQ(Operations(), Names{});
}

class LazyLoadOfAnOldServer : public LazyLoad {
 protected:
  LazyLoadOfAnOldServer() : LazyLoad("Exchange2013") {}
};

TEST_F(LazyLoadOfAnOldServer, NoChangeKeyIsWritten) {
  const auto mail = Mail();
  mail->GetAdditionalProperties({"UniqueBody"});
  EXPECT_EQ(Request("GetItem").find("ChangeKey"), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
