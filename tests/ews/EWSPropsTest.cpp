#include "ews/schema/uVqEWSProps.h"

#include <gtest/gtest.h>

#include <map>

#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

std::string MessageOf(const std::function<void()>& ACall) {
  try {
    ACall();
  } catch (const EVqException& e) {
    return e.what();
  }
  return "(nothing raised)";
}

std::string FieldText(PVqEWSFieldDef AField) {
  TVqStringStream stream;
  WriteFieldURI(AField, stream);
  return stream.GetAsString().utf8();
}

std::string ExtendedText(PVqEWSPropDef ADef) {
  TVqStringStream stream;
  WriteExtendedFieldURI(ADef, stream);
  return stream.GetAsString().utf8();
}

std::string ExtendedElement(PVqEWSPropDef ADef) {
  TVqDOMDocument document("<t:Path><t:First/></t:Path>");
  const IVqDOMElement added = WriteExtendedFieldURI(ADef, document.GetDocumentElement());
  EXPECT_EQ(added.GetParentElement(), document.GetDocumentElement());
  EXPECT_EQ(document.GetDocumentElement().ElementCount(), 2);
  return added.GetXMLAsUtf8();
}

// ---- By key

TEST(PropertyLookUp, ByKeyGivesTheRow) {
  EXPECT_EQ(GetPropDef("PR_SUBJECT", true), &PR_SUBJECT);
  EXPECT_EQ(GetPropDef("EPR_COMMON_PRIVATE", true), &EPR_COMMON_PRIVATE);
  EXPECT_EQ(GetPropDef("MPR_BODY", true), &MPR_BODY);
  EXPECT_EQ(GetFieldDef("FLD_ITEM_SUBJECT", true), &FLD_ITEM_SUBJECT);
  EXPECT_EQ(GetFieldDef("MFLD_BODY", true), &MFLD_BODY);
}

TEST(PropertyLookUp, AbsentKeyGivesNoneOrRaises) {
  EXPECT_EQ(GetPropDef("PR_NOSUCH", false), nullptr);
  EXPECT_EQ(GetPropDef("pr_subject", false), nullptr);
  EXPECT_EQ(GetPropDef("", false), nullptr);
  EXPECT_EQ(GetFieldDef("FLD_NOSUCH", false), nullptr);
  EXPECT_EQ(MessageOf([] { GetPropDef("PR_NOSUCH", true); }), "There is no property definition \"PR_NOSUCH\"!");
  EXPECT_EQ(MessageOf([] { GetFieldDef("FLD_NOSUCH", true); }), "There is no field definition \"FLD_NOSUCH\"!");
}

TEST(PropertyLookUp, FolderIdIsFoundByRecordButNotByItsText) {
  EXPECT_EQ(PR_FOLDERID.PropDefName.Length(), 12u);
  EXPECT_EQ(PR_FOLDERID.PropDefName.view(), std::string_view("PR_FOLDERID\0", 12));
  EXPECT_EQ(GetPropDef("PR_FOLDERID", false), nullptr);
  EXPECT_EQ(GetPropDef(PR_FOLDERID), &PR_FOLDERID);
  const TVqEWSPropDef copy = PR_FOLDERID;
  EXPECT_EQ(GetPropDef(copy), &PR_FOLDERID);
  EXPECT_EQ(GetPropDef(EWSShortName(PR_FOLDERID.PropDefName.ToString()), true), &PR_FOLDERID);
}

// ---- By record

TEST(PropertyLookUp, ByRecordTakesTheKeyFirst) {
  TVqEWSPropDef record = MPR_SUBJECT;
  record.PropDefName = "MPR_BODY";
  EXPECT_EQ(GetPropDef(record), &MPR_BODY);
}

TEST(PropertyLookUp, ByRecordFindsTagAndIgnoresTheType) {
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.Extended = true, .PropType = ptBinary, .PropertyTag = 0x1000}), &MPR_BODY);
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.PropDefName = "NOT_A_ROW", .Extended = true, .PropertyTag = 0x37}), &MPR_SUBJECT);
}

TEST(PropertyLookUp, ByRecordFindsSetAndIdOrName) {
  const TGUID set = PSETID_Common;
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.Extended = true, .PropertySetId = &set, .Id = 0x8506}), &EPR_COMMON_PRIVATE);
  const TGUID messaging = PSETID_Messaging;
  TVqEWSPropDef named{.Extended = true, .PropertySetId = &messaging, .PropKind = pkName, .Name = "OriginalScl"};
  EXPECT_EQ(GetPropDef(named), &EPR_NAMEORIGINALSPAMCONFIDENCELEVEL);
  named.Name = "originalscl";  // names count byte by byte
  EXPECT_THROW(GetPropDef(named), EVqException);
  named.Name = "OriginalScl";
  named.PropKind = pkId;
  EXPECT_THROW(GetPropDef(named), EVqException);
}

TEST(PropertyLookUp, ByNameGivesTheFirstRowOfEachName) {
  std::map<std::string, PVqEWSPropDef> byName, byTail;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    const std::string key = row.PropDefName.ToString().utf8();
    byName.try_emplace(row.Extended ? key : row.NodeName.ToString().utf8(), &row);
    if (key.starts_with("EPR_")) byTail.try_emplace(LowerCase(string(key.substr(4))).utf8(), &row);
    return true;
  });
  for (const auto& [name, row] : byName) EXPECT_EQ(GetPropDef("", name, false), row) << name;
  for (const auto& [tail, row] : byTail) {
    if (byName.contains(tail)) continue;
    EXPECT_EQ(GetPropDef("", tail, false), row) << tail;
  }
  EXPECT_GT(byName.size(), 4000U);
  EXPECT_EQ(GetPropDef("", "", false), byName.contains("") ? byName.at("") : nullptr);
  EXPECT_EQ(GetPropDef("", "NoSuchMember", false), nullptr);
}

TEST(PropertyLookUp, FirstRowWinsAmongAliases) {
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.Extended = true, .PropertySetId = &PSETID_Common, .Id = 0x8501}),
            &EPR_COMMON_REMINDER_MINUTES_BEFORE);
  EXPECT_EQ(
      GetPropDef(TVqEWSPropDef{.Extended = true, .PropType = ptLong, .PropertySetId = &PSETID_Common, .Id = 0x8518}),
      &EPR_COMMON_MODE);
}

TEST(PropertyLookUp, ByRecordAlwaysRaisesWhenNothingMatches) {
  EXPECT_EQ(MessageOf([] { GetPropDef(TVqEWSPropDef{.Extended = true, .PropertyTag = 0xFEDC}); }),
            "There is no property definition \"\"!");
  EXPECT_EQ(MessageOf([] { GetPropDef(TVqEWSPropDef{.PropDefName = "X", .NodeName = "Subject"}); }),
            "There is no property definition \"X\"!");
  EXPECT_EQ(MessageOf([] { GetPropDef(TVqEWSPropDef{}); }), "There is no property definition \"\"!");
}

TEST(PropertyLookUp, NoRowOfTheLibraryHasADistinguishedSet) {
  EXPECT_EQ(MessageOf([] {
              GetPropDef(TVqEWSPropDef{.Extended = true, .DistinguishedPropertySetId = "Common", .Id = 0x8506});
            }),
            "There is no property definition \"\"!");
}

TEST(PropertyLookUp, DistinguishedSetsOfApplicationsAreComparedWithoutCase) {
  static constexpr TVqEWSPropDef byId{.PropDefName = "TEST_DISTINGUISHED_ID",
                                      .Extended = true,
                                      .PropType = ptString,
                                      .DistinguishedPropertySetId = "PublicStrings",
                                      .Id = 77};
  static constexpr TVqEWSPropDef byName{.PropDefName = "TEST_DISTINGUISHED_NAME",
                                        .Extended = true,
                                        .PropType = ptString,
                                        .DistinguishedPropertySetId = "PublicStrings",
                                        .PropKind = pkName,
                                        .Name = "Colour"};
  RegisterProp(&byId);
  RegisterProp(&byName);
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.Extended = true, .DistinguishedPropertySetId = "publicSTRINGS", .Id = 77}),
            &byId);
  TVqEWSPropDef record{
      .Extended = true, .DistinguishedPropertySetId = "publicstrings", .PropKind = pkName, .Name = "Colour"};
  EXPECT_EQ(GetPropDef(record), &byName);
  record.Name = "colour";
  EXPECT_THROW(GetPropDef(record), EVqException);
}

// ---- By class and member

TEST(PropertyLookUp, FieldByClassAndMember) {
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "DisplayName", true), &FLD_CONTACTS_DISPLAYNAME);
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "RelevanceScore", true), &FLD_PERSONA_RELEVANCESCORE);
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "Headline", true), &FLD_PERSON_HEADLINE);
  // What both have is the persona's.
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "EmailAddress", true), &FLD_PERSONA_EMAILADDRESS);
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "PhoneNumber", true), &FLD_PERSONA_PHONENUMBER);
  EXPECT_EQ(GetFieldDef("TEwsContactItem", "Title", true), &FLD_PERSONA_TITLE);
  EXPECT_EQ(GetFieldDef("TEwsMessage", "Subject", true), &FLD_ITEM_SUBJECT);
  EXPECT_EQ(GetFieldDef("TEwsMessage", "IsRead", true), &FLD_MESSAGE_ISREAD);
  EXPECT_EQ(GetFieldDef("TEwsCalendarItem", "Start", true), &FLD_CALENDAR_START);
  EXPECT_EQ(GetFieldDef("TEwsTask", "StartDate", true), &FLD_TASK_STARTDATE);
  EXPECT_EQ(GetFieldDef("TEwsFolder", "DisplayName", true), &FLD_FOLDER_DISPLAYNAME);
  EXPECT_EQ(GetFieldDef("TEwsMeetingMessage", "IsDelegated", true), &FLD_MEETING_ISDELEGATED);
  EXPECT_EQ(GetFieldDef("TEwsMeetingRequestMessage", "ChangeHighlights", true), &FLD_MEETINGREQUEST_CHANGEHIGHLIGHTS);
  EXPECT_EQ(GetFieldDef("PostItem", "PostedTime", true), &FLD_POSTITEM_POSTEDTIME);
  EXPECT_EQ(GetFieldDef("TEwsWhatever", "subject", true), &FLD_ITEM_SUBJECT);
}

TEST(PropertyLookUp, FieldByClassAndMemberAbsent) {
  EXPECT_EQ(GetFieldDef("TEwsMessage", "Nothing", false), nullptr);
  EXPECT_EQ(MessageOf([] { GetFieldDef("TEwsMessage", "Nothing", true); }),
            "There is no field definition for \"TEwsMessage.Nothing\"!");
}

TEST(PropertyLookUp, PropertyByClassAndMember) {
  EXPECT_EQ(GetPropDef("TEwsMessage", "Subject", true), &PR_SUBJECT);
  EXPECT_EQ(GetPropDef("TEwsTask", "StartDate", true), &PR_START_DATE);
  EXPECT_EQ(GetPropDef("", "CompleteName/FirstName", true), &PR_COMPLETENAME_FIRSTNAME);
  EXPECT_EQ(GetPropDef("TEwsMessage", "RequestServerVersion", true), &PR_REQUESTSERVERVERSION);
  EXPECT_EQ(GetPropDef("TEwsMessage", "MPR_BODY", true), &MPR_BODY);
  EXPECT_EQ(GetPropDef("", "common_private", true), &EPR_COMMON_PRIVATE);
  EXPECT_EQ(GetPropDef("", "requestserverversion", false), nullptr);  // node names count with their case
  EXPECT_EQ(GetPropDef("", "PR_SUBJECT", false), nullptr);            // keys of schema members are not compared
  EXPECT_EQ(GetPropDef("", "body_", false), nullptr);
  EXPECT_EQ(MessageOf([] { GetPropDef("TEwsMessage", "Nothing", true); }),
            "There is no property definition for \"TEwsMessage:Nothing\"!");
}

TEST(PropertyLookUp, FirstFieldOfAProperty) {
  EXPECT_EQ(GetFirstFieldDef("PR_DISPLAYNAME"), &FLD_FOLDER_DISPLAYNAME);
  EXPECT_EQ(GetFirstFieldDef("PR_PHONENUMBER_HOMEPHONE"), &FLD_CONTACTS_PHONENUMBER_HOMEPHONE);
  EXPECT_EQ(GetFirstFieldDef("MPR_BODY"), &MFLD_BODY);
  EXPECT_EQ(MessageOf([] { GetFirstFieldDef("PR_FIELDURI"); }), "There is no field definition for \"PR_FIELDURI\"!");
  EXPECT_EQ(MessageOf([] { GetFirstFieldDef("PR_FOLDERID"); }), "There is no field definition for \"PR_FOLDERID\"!");
  EXPECT_EQ(GetFirstFieldDef(PR_FOLDERID.PropDefName), &FLD_FOLDER_FOLDERID);
}

TEST(PropertyLookUp, FieldByRecordUsesItsKey) {
  const TVqEWSFieldDef copy{.FieldDefName = "FLD_ITEM_BODY"};
  EXPECT_EQ(GetFieldDef(copy), &FLD_ITEM_BODY);
  EXPECT_EQ(MessageOf([] { GetFieldDef(TVqEWSFieldDef{.FieldDefName = "FLD_X"}); }),
            "There is no field definition \"FLD_X\"!");
}

// ---- Registration

TEST(PropertyRegistration, AnApplicationsRowIsFoundLikeTheLibrarys) {
  static constexpr TGUID set{"11111111-2222-3333-4444-555555555555"};
  static constexpr TVqEWSPropDef prop{.PropDefName = "TEST_PROJECT",
                                      .Extended = true,
                                      .PropType = ptString,
                                      .PropertySetId = &set,
                                      .PropKind = pkName,
                                      .Name = "Project"};
  static constexpr TVqEWSFieldDef field{
      .FieldDefName = "TEST_FLD_PROJECT", .PropDef = &prop, .FieldType = fdtExtendedField};
  RegisterProp(&prop);
  RegisterField(&field);
  EXPECT_EQ(GetPropDef("TEST_PROJECT", true), &prop);
  EXPECT_EQ(GetFieldDef("TEST_FLD_PROJECT", true), &field);
  EXPECT_EQ(GetFirstFieldDef("TEST_PROJECT"), &field);
  EXPECT_EQ(GetPropDef(TVqEWSPropDef{.Extended = true, .PropertySetId = &set, .PropKind = pkName, .Name = "Project"}),
            &prop);
}

TEST(PropertyRegistration, ASecondRowWithTheSameKeyIsIgnored) {
  static constexpr TVqEWSPropDef parent{.PropDefName = "TEST_PARENT", .NodeName = "Parent", .NodeType = pdntComplex};
  static constexpr TVqEWSPropDef part{.PropDefName = "TEST_PART", .NodeName = "Parent/Part", .ParentProp = &parent};
  static constexpr TVqEWSPropDef again{.PropDefName = "TEST_PART", .NodeName = "Parent/Other", .ParentProp = &parent};
  RegisterProp(&parent);
  RegisterProp(&part);
  RegisterProp(&again);
  RegisterProp(&part);
  EXPECT_EQ(GetPropDef("TEST_PART", true), &part);
  EXPECT_EQ(GetKeyPropDefs(&parent), TVqEWSPropDefArray{&part});

  static constexpr TVqEWSPropDef subject{.PropDefName = "PR_SUBJECT", .NodeName = "Mine"};
  RegisterProp(&subject);
  EXPECT_EQ(GetPropDef("PR_SUBJECT", true), &PR_SUBJECT);
  static constexpr TVqEWSFieldDef field{.FieldDefName = "FLD_ITEM_SUBJECT", .PropDef = &subject};
  RegisterField(&field);
  EXPECT_EQ(GetFieldDef("FLD_ITEM_SUBJECT", true), &FLD_ITEM_SUBJECT);
}

TEST(PropertyRegistration, AKeyMayLookLikeTheLibrarys) {
  static constexpr TVqEWSPropDef own{
      .PropDefName = "MPR_TEST_OWN", .Extended = true, .PropType = ptString, .PropertyTag = 0x6FFE};
  RegisterProp(&own);
  EXPECT_EQ(GetPropDef("MPR_TEST_OWN", true), &own);
}

TEST(PropertyRegistration, WhatHasNoNameIsRefused) {
  static constexpr TVqEWSPropDef nameless{.NodeName = "X"};
  static constexpr TVqEWSFieldDef noProp{.FieldDefName = "TEST_NOPROP"};
  EXPECT_THROW(RegisterProp(nullptr), EVqException);
  EXPECT_THROW(RegisterProp(&nameless), EVqException);
  EXPECT_THROW(RegisterField(nullptr), EVqException);
  EXPECT_EQ(MessageOf([] { RegisterField(&noProp); }), "The field definition \"TEST_NOPROP\" has no property!");
}

// ---- Paths

TEST(PropertyPath, OfAMemberIsItsNodeName) {
  EXPECT_EQ(GetNodePath(PR_SUBJECT), "Subject");
  EXPECT_EQ(GetNodePath(&PR_PHONENUMBER_HOMEPHONE), "PhoneNumbers/Entry[@Key=\"HomePhone\"]");
}

TEST(PropertyPath, OfATagHasTwoOrFourDigits) {
  EXPECT_EQ(GetNodePath(MPR_SUBJECT), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x37\")]/../Value");
  EXPECT_EQ(GetNodePath(MPR_DISPLAY_NAME_PREFIX),
            "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x3A45\")]/../Value");
  EXPECT_EQ(GetNodePath(MPR_ENTRYID), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x0FFF\")]/../Value");
  EXPECT_EQ(GetNodePath(MPR_ACKNOWLEDGEMENT_MODE),
            "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x01\")]/../Value");
}

TEST(PropertyPath, OfASetHasItsIdInLowerCase) {
  EXPECT_EQ(GetNodePath(EPR_COMMON_REMINDER_DATE),
            "ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"00062008-0000-0000-c000-000000000046\") and "
            "(@PropertyId=\"34050\")]/../Value");
  EXPECT_EQ(GetNodePath(EPR_NAMEORIGINALSPAMCONFIDENCELEVEL),
            "ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"41f28f13-83f4-4114-a584-eedb5a6b0bff\") and "
            "(@PropertyName=\"OriginalScl\")]/../Value");
  EXPECT_EQ(
      GetNodePath(TVqEWSPropDef{
          .Extended = true, .DistinguishedPropertySetId = "Common", .PropertySetId = &PSETID_Task, .Id = -5}),
      "ExtendedProperty/ExtendedFieldURI[(@DistinguishedPropertySetId=\"Common\") and (@PropertyId=\"-5\")]/../Value");
}

TEST(PropertyPath, OfNothingRaises) {
  EXPECT_EQ(MessageOf([] { GetNodePath(MPR_NULL); }),
            "The property definition \"MPR_NULL\" has neither a tag nor a property set!");
  EXPECT_THROW(GetNodePath(nullptr), EVqException);
}

TEST(PropertyPath, NamesThatAreWordsOfTheCodeGetAnUnderscore) {
  for (const char* word : {"To", "Create", "String", "Property", "Type", "And", "Or", "Message", "Start", "End"})
    EXPECT_EQ(NodeNameToPropName(word), string(word) + "_");
  EXPECT_EQ(NodeNameToPropName("Subject"), "Subject");
  EXPECT_EQ(NodeNameToPropName("start"), "start");
  EXPECT_EQ(NodeNameToPropName(""), "");
}

// ---- Writers

TEST(PropertyWriter, FieldsAsText) {
  EXPECT_EQ(FieldText(&FLD_ITEM_SUBJECT), "<t:FieldURI FieldURI=\"item:Subject\" />");
  // The element is not t:IndexedFieldURI here; update requests, which are composed as elements, have that.
  EXPECT_EQ(FieldText(&FLD_CONTACTS_PHONENUMBER_HOMEPHONE),
            "<t:FieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"HomePhone\" />");
  EXPECT_EQ(FieldText(&MFLD_SUBJECT), "<t:ExtendedFieldURI PropertyTag=\"0x37\" PropertyType=\"String\" />");
  EXPECT_THROW(FieldText(nullptr), EVqException);
}

TEST(PropertyWriter, ExtendedPropertiesAsText) {
  EXPECT_EQ(ExtendedText(&MPR_DISPLAY_NAME_PREFIX),
            "<t:ExtendedFieldURI PropertyTag=\"0x3A45\" PropertyType=\"String\" />");
  EXPECT_EQ(ExtendedText(&EPR_COMMON_REMINDER_DATE),
            "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34050\" "
            "PropertyType=\"SystemTime\" />");
  EXPECT_EQ(ExtendedText(&EPR_NAMEORIGINALSPAMCONFIDENCELEVEL),
            "<t:ExtendedFieldURI PropertySetId=\"41f28f13-83f4-4114-a584-eedb5a6b0bff\" PropertyName=\"OriginalScl\" "
            "PropertyType=\"Long\" />");
  const TVqEWSPropDef distinguished{.Extended = true,
                                    .PropType = ptString,
                                    .DistinguishedPropertySetId = "PublicStrings",
                                    .PropertySetId = &PSETID_Common,
                                    .PropKind = pkName,
                                    .Name = "a\"<&>"};
  EXPECT_EQ(ExtendedText(&distinguished),
            "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"a&quot;&lt;&amp;>\" "
            "PropertyType=\"String\" />");
}

TEST(PropertyWriter, ExtendedPropertiesAsElement) {
  EXPECT_EQ(ExtendedElement(&MPR_SUBJECT), "<t:ExtendedFieldURI PropertyTag=\"0x37\" PropertyType=\"String\"/>");
  EXPECT_EQ(ExtendedElement(&EPR_COMMON_PRIVATE),
            "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\" "
            "PropertyType=\"Boolean\"/>");
  const TVqEWSPropDef distinguished{
      .Extended = true, .PropType = ptLong, .DistinguishedPropertySetId = "Meeting", .Id = 3};
  EXPECT_EQ(ExtendedElement(&distinguished),
            "<t:ExtendedFieldURI DistinguishedPropertySetId=\"Meeting\" PropertyId=\"3\" PropertyType=\"Long\"/>");
}

// Item classes ask for some members as if they were extended properties.
TEST(PropertyWriter, AMemberOfTheSchemaIsWrittenByItsFirstFieldOrAsOneOfTheItem) {
  EXPECT_EQ(ExtendedElement(&PR_CALENDARACTIVITYDATA), "<t:FieldURI FieldURI=\"calendar:CalendarActivityData\"/>");
  EXPECT_EQ(ExtendedElement(&PR_ISREMINDERSET), "<t:FieldURI FieldURI=\"item:IsReminderSet\"/>");
  EXPECT_EQ(ExtendedText(&PR_INTENDEDFREEBUSYSTATUS),
            "<t:FieldURI FieldURI=\"meetingRequest:IntendedFreeBusyStatus\" />");
  EXPECT_EQ(ExtendedText(&PR_MAILBOXGUIDS), "<t:FieldURI FieldURI=\"item:MailboxGuids\" />");
}

TEST(PropertyWriter, WhatCannotBeWrittenLeavesNothingBehind) {
  TVqStringStream stream;
  EXPECT_THROW(WriteExtendedFieldURI(&MPR_NULL, stream), EVqException);
  EXPECT_TRUE(stream.IsEmpty());
  TVqDOMDocument document("<t:Path/>");
  EXPECT_THROW(WriteExtendedFieldURI(&MPR_NULL, document.GetDocumentElement()), EVqException);
  EXPECT_THROW(WriteExtendedFieldURI(nullptr, document.GetDocumentElement()), EVqException);
  EXPECT_EQ(document.GetDocumentElement().ElementCount(), 0);
}

// ---- Short texts

TEST(ShortName, ConvertsBothWaysAndKeepsNulBytes) {
  EXPECT_EQ(EWSShortName(u"Grüße").view(), "Grüße");
  EXPECT_EQ(EWSShortNameEx("abc"), EWSShortName("abc"));
  EXPECT_EQ(EWSShortNameToStr("Grüße"), string("Grüße"));
  EXPECT_EQ(EWSShortNameToStr(PR_FOLDERID.PropDefName).Length(), 12u);
  EXPECT_TRUE(EWSShortName("").empty());
}

TEST(ShortName, IsCutAt255BytesAndNeverInsideACharacter) {
  EXPECT_EQ(EWSShortName(std::string(300, 'a')).Length(), 255u);
  EXPECT_EQ(EWSShortName(std::string(255, 'a')).Length(), 255u);
  EXPECT_EQ(EWSShortName(std::string(254, 'a') + "ü").view(), std::string(254, 'a'));
  EXPECT_EQ(EWSShortName(std::string(253, 'a') + "üb").view(), std::string(253, 'a') + "ü");
}

TEST(ShortName, OfTheSameTextStandsOnce) {
  EXPECT_EQ(EWSShortName("one text").view().data(), EWSShortName("one text").view().data());
}

}  // namespace
}  // namespace velmore
