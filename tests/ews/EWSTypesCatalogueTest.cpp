// The catalogue as a whole: how many classes, members and values there are, what derives from what, and where a new
// member of each class lands.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

std::vector<const TVqXMLSchemaClass*> AllClasses() {
  std::vector<const TVqXMLSchemaClass*> classes;
  for (std::int32_t i = 0; i < EwsRecordClassCount(); ++i) classes.push_back(&EwsRecordClass(i));
  return classes;
}

IVqDOMElement NewElement(std::string_view name) {
  return TVqDOMDocument().CreateRootNode(name);
}

TEST(EWSTypesCatalogue, HasAllClassesUnderNamesOfTheirOwn) {
  EXPECT_EQ(EwsRecordClassCount(), 298);
  std::set<std::string_view> names;
  for (const auto* schema : AllClasses()) {
    EXPECT_TRUE(names.insert(schema->GetName()).second) << schema->GetName();
    EXPECT_EQ(EwsFindRecordClass(schema->GetName()), schema);
  }
  EXPECT_EQ(EwsFindRecordClass("TEwsNothing"), nullptr);
  EXPECT_THROW(EwsRecordClass(298), EListError);
  EXPECT_THROW(EwsRecordClass(-1), EListError);
}

TEST(EWSTypesCatalogue, HasTheRegistrationsOfTheSchema) {
  // Node type, min, max, required, choice.
  using TKey = std::tuple<int, int, int, bool, int>;
  std::map<TKey, int> counted;
  int all = 0;
  for (const auto* schema : AllClasses()) {
    for (std::int32_t i = schema->GetFirstIndex(); i < schema->GetMemberCount(); ++i) {
      const TVqXMLSchemaInfo info = schema->GetInfo(i);
      ++counted[{static_cast<int>(info.GetNodeType()), info.GetMinOccurs(), info.GetMaxOccurs(), info.GetRequired(),
                 info.GetChoiceGroup()}];
      ++all;
    }
  }
  const std::map<TKey, int> expected = {
      {{1, 0, 1, false, -1}, 911}, {{1, 0, 1, false, 0}, 82},  {{1, 1, 1, false, -1}, 76},
      {{1, 0, -1, false, -1}, 68}, {{2, 0, 1, false, -1}, 49}, {{2, 0, 1, true, -1}, 26},
      {{1, 0, 1, false, 1}, 6},    {{1, 1, -1, false, -1}, 5}, {{1, 0, 3, false, -1}, 1},
  };
  EXPECT_EQ(counted, expected);
  EXPECT_EQ(all, 1224);
}

TEST(EWSTypesCatalogue, DerivesClassesAsTheSchemaDoes) {
  std::map<std::string_view, int> children;
  for (const auto* schema : AllClasses()) ++children[schema->GetBase()->GetName()];
  EXPECT_EQ(children["TVqXMLSchemaElement"], 190);
  EXPECT_EQ(children["TVqXMLSchemaSimpleContentElement"], 8);
  const std::map<std::string_view, int> roots = {{"TEwsItem", 12},
                                                 {"TEwsResponseObject", 7},
                                                 {"TEwsEntity", 7},
                                                 {"TEwsIntervalRecurrencePatternBase", 5},
                                                 {"TEwsInsightValue", 5},
                                                 {"TEwsSmartResponse", 4},
                                                 {"TEwsRegeneratingPatternBase", 4},
                                                 {"TEwsBasePathToElement", 4},
                                                 {"TEwsBaseItemId", 4},
                                                 {"TEwsRecurrenceRangeBase", 3},
                                                 {"TEwsRecurrencePatternBase", 3},
                                                 {"TEwsMeetingRegistrationResponseObject", 3},
                                                 {"TEwsMeetingMessage", 3},
                                                 {"TEwsItemChangeDescription", 3},
                                                 {"TEwsFolderChangeDescription", 3},
                                                 {"TEwsBaseFolder", 3},
                                                 {"TEwsAttachment", 3}};
  EXPECT_EQ(roots.size(), 17u);
  for (const auto& [name, count] : roots) EXPECT_EQ(children[name], count) << name;
}

template <typename T, typename TBase>
constexpr bool kIs = std::derived_from<T, TBase>;

TEST(EWSTypesCatalogue, SimpleContentHasTheTypesOfTheSchema) {
  static_assert(kIs<TEwsMimeContent, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsBody, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsInternetHeader, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsEmailAddressDictionaryEntry, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsPhoneNumberDictionaryEntry, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsImAddressDictionaryEntry, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsTransitionTarget, TVqXMLSchemaSimpleContentElement<string>>);
  static_assert(kIs<TEwsRetentionTag, TVqXMLSchemaSimpleContentElement<TGUID>>);
  static_assert(kIs<TEwsContactItem, TEwsItem> && kIs<TEwsMeetingRequestMessage, TEwsMeetingMessage> &&
                kIs<TEwsMeetingMessage, TEwsMessage> && kIs<TEwsAcceptItem, TEwsWellKnownResponseObject>);
}

TEST(EWSTypesCatalogue, IndicesAreUniqueWithinAClassAndItsBases) {
  for (const auto* schema : AllClasses()) {
    EXPECT_EQ(schema->GetFirstIndex(), schema->GetBase()->GetMemberCount()) << schema->GetName();
    EXPECT_EQ(schema->GetMemberCount(), schema->GetFirstIndex() + schema->GetOwnMemberCount());
    EXPECT_THROW(schema->GetMember(schema->GetMemberCount()), EListError);
  }
}

TEST(EWSTypesCatalogue, MembersDeclaredAgainAreFoundInTheMostDerivedClass) {
  int declaredAgain = 0;
  for (const auto* schema : AllClasses()) {
    for (const auto* base = schema->GetBase(); base; base = base->GetBase()) {
      for (std::int32_t i = base->GetFirstIndex(); i < base->GetMemberCount(); ++i) {
        const std::int32_t found = schema->FindMember(base->GetMember(i).Name);
        const bool again = found >= schema->GetFirstIndex();
        declaredAgain += again;
        EXPECT_TRUE(again || base->GetMember(i).Name == schema->GetMember(found).Name);
      }
    }
  }
  EXPECT_EQ(declaredAgain, 30);
  EXPECT_GT(TEwsSmartResponse::SchemaClass().FindMember("t:Subject"), TEwsMessage::SchemaClass().GetMemberCount());
}

TEST(EWSTypesCatalogue, EveryClassMakesRecordsOfItselfAndTellsItsName) {
  for (const auto* schema : AllClasses()) {
    const auto record = schema->CreateRecord(NewElement("t:Any"));
    EXPECT_EQ(&record->GetSchemaClass(), schema);
    EXPECT_EQ(record->ClassName(), schema->GetName());
    EXPECT_EQ(record->GetXML(), "<t:Any/>");
  }
  EXPECT_EQ(TEwsMessage(NewElement("t:Message")).ClassName(), "TEwsMessage");
}

TEST(EWSTypesCatalogue, MembersBuiltInReverseLandInSchemaOrder) {
  for (const auto* schema : AllClasses()) {
    const auto record = schema->CreateRecord(NewElement("t:Any"));
    for (std::int32_t i = schema->GetMemberCount(); i-- > 0;) record->GetNodeByIndex(i, true);
    std::vector<std::int32_t> expected;
    for (std::int32_t i = 0; i < schema->GetMemberCount(); ++i) {
      const TVqXMLSchemaMember& member = schema->GetMember(i);
      if (member.NodeType == TVqDOMNodeType::ntElement && schema->FindMember(member.Name) == i) expected.push_back(i);
    }
    std::vector<std::int32_t> found;
    for (const IVqDOMElement child : record->AsElement().GetChildElements()) {
      found.push_back(schema->FindMember(child.GetQualifiedName().utf8()));
    }
    EXPECT_EQ(found, expected) << schema->GetName();
  }
}

std::map<std::string, std::string> AttributesOf(const TVqXMLSchemaElement& record) {
  std::map<std::string, std::string> attributes;
  for (const IVqDOMAttribute& attribute : record.AsElement().GetAttributes()) {
    attributes[attribute.GetName().utf8()] = attribute.GetValue().utf8();
  }
  return attributes;
}

TEST(EWSTypesCatalogue, EveryClassSurvivesXMLAndJSON) {
  for (const auto* schema : AllClasses()) {
    const auto source = schema->CreateRecord(NewElement("t:Any"));
    for (std::int32_t i = 0; i < schema->GetMemberCount(); ++i) {
      source->SetValue(i, "value " + std::to_string(i));
    }
    for (const auto format : {dsfXML, dsfJSON}) {
      const auto target = schema->CreateRecord(NewElement("t:Any"));
      target->Deserialize(format, source->Serialize(format));
      EXPECT_EQ(target->AsElement().GetInnerXML(), source->AsElement().GetInnerXML()) << schema->GetName();
      EXPECT_EQ(AttributesOf(*target), AttributesOf(*source)) << schema->GetName();
    }
  }
}

TEST(EWSTypesCatalogue, ArraysWithoutABoundAreRegisteredWithOneOnPurpose) {
  const auto maximum = [](const TVqXMLSchemaClass& schema, std::string_view name) {
    return schema.GetInfo(schema.FindMember(name)).GetMaxOccurs();
  };
  EXPECT_EQ(maximum(TEwsArrayOfRecipients::SchemaClass(), "t:Mailbox"), 1);
  EXPECT_EQ(maximum(TEwsNonEmptyArrayOfAttachments::SchemaClass(), "t:FileAttachment"), 1);
  EXPECT_EQ(maximum(TEwsArrayOfStrings::SchemaClass(), "t:String"), -1);
  EXPECT_EQ(maximum(TEwsArrayOfRecipientSuggestions::SchemaClass(), "t:RecipientSuggestion"), 3);
}

TEST(EWSTypesCatalogue, NamesThatBreakTheRuleStay) {
  const auto& ids = TEwsNonEmptyArrayOfAlternateIds::SchemaClass();
  EXPECT_EQ(ids.GetMember(0).Name, "m:AlternateId");
  EXPECT_EQ(ids.GetMember(1).Name, "m:AlternatePublicFolderId");
  EXPECT_EQ(ids.GetMember(2).Name, "m:AlternatePublicFolderItemId");
  EXPECT_GE(TEwsReplyBody::SchemaClass().FindMember("xml:lang"), 0);
  EXPECT_EQ(TEwsArrayOfSenderAddIns::SchemaClass().GetMember(0).Name, "t:Microsoft.OutlookServices.SenderApp");
  for (const auto* schema : AllClasses()) {
    if (schema == &ids) continue;
    for (std::int32_t i = schema->GetFirstIndex(); i < schema->GetMemberCount(); ++i) {
      const TVqXMLSchemaMember& member = schema->GetMember(i);
      const bool element = member.NodeType == TVqDOMNodeType::ntElement;
      EXPECT_EQ(member.Name.starts_with("t:"), element) << schema->GetName() << ' ' << member.Name;
    }
  }
}

TEST(EWSTypesCatalogue, ItemMembersStandInSchemaOrder) {
  const std::string_view first[] = {"t:MimeContent",
                                    "t:ItemId",
                                    "t:ParentFolderId",
                                    "t:ItemClass",
                                    "t:Subject",
                                    "t:Sensitivity",
                                    "t:Body",
                                    "t:Attachments",
                                    "t:DateTimeReceived",
                                    "t:Size",
                                    "t:Categories",
                                    "t:Importance",
                                    "t:InReplyTo",
                                    "t:IsSubmitted",
                                    "t:IsDraft",
                                    "t:IsFromMe",
                                    "t:IsResend",
                                    "t:IsUnmodified",
                                    "t:InternetMessageHeaders",
                                    "t:DateTimeSent",
                                    "t:DateTimeCreated",
                                    "t:ResponseObjects",
                                    "t:ReminderDueBy",
                                    "t:ReminderIsSet",
                                    "t:ReminderNextTime",
                                    "t:ReminderMinutesBeforeStart",
                                    "t:DisplayCc",
                                    "t:DisplayTo",
                                    "t:HasAttachments",
                                    "t:ExtendedProperty"};
  std::int32_t index = 0;
  for (const auto name : first) EXPECT_EQ(TEwsItem::SchemaClass().GetMember(index++).Name, name);
}

TEST(EWSTypesCatalogue, ElementsOfFamiliesFindTheirClass) {
  EXPECT_EQ(EwsFindItemClass("t:Message"), &TEwsMessage::SchemaClass());
  EXPECT_EQ(EwsFindItemClass("Contact"), &TEwsContactItem::SchemaClass());
  EXPECT_EQ(EwsFindItemClass("t:MeetingRequest"), &TEwsMeetingRequestMessage::SchemaClass());
  EXPECT_EQ(EwsFindItemClass("t:Folder"), nullptr);
  EXPECT_EQ(EwsFindFolderClass("t:CalendarFolder"), &TEwsCalendarFolder::SchemaClass());
  EXPECT_EQ(EwsFindAttachmentClass("FileAttachment"), &TEwsFileAttachment::SchemaClass());
}

TEST(EWSTypesCatalogue, MembersTellTheirTypes) {
  const auto& item = TEwsItem::SchemaClass();
  EXPECT_EQ(item.GetTypeInfo("Subject"), (TVqTypeInfo{tkString, "string"}));
  EXPECT_EQ(item.GetTypeInfo("t:Size"), (TVqTypeInfo{tkInteger, "int32"}));
  EXPECT_EQ(item.GetTypeInfo("SortKey"), (TVqTypeInfo{tkInteger, "int64"}));
  EXPECT_EQ(item.GetTypeInfo("IsDraft"), (TVqTypeInfo{tkBoolean, "boolean"}));
  EXPECT_EQ(item.GetTypeInfo("DateTimeSent"), (TVqTypeInfo{tkDateTime, "TDateTime"}));
  EXPECT_EQ(item.GetTypeInfo("Importance"), (TVqTypeInfo{tkEnumeration, "TImportanceChoices"}));
  EXPECT_EQ(item.GetTypeInfo("Body"), (TVqTypeInfo{tkClass, "TEwsBody"}));
  EXPECT_EQ(item.GetTypeInfo("ExtendedProperty"), (TVqTypeInfo{tkArray, "TEwsExtendedProperty"}));
  EXPECT_EQ(item.GetTypeInfo("Nothing").Kind, tkUnknown);
  EXPECT_EQ(TEwsTask::SchemaClass().GetTypeInfo("PercentComplete"), (TVqTypeInfo{tkFloat, "extended"}));
  EXPECT_EQ(TEwsMailTips::SchemaClass().GetTypeInfo("PendingMailTips"), (TVqTypeInfo{tkSet, "TMailTipSet"}));
  EXPECT_EQ(TEwsInboxReminder::SchemaClass().GetTypeInfo("Id"), (TVqTypeInfo{tkGUID, "TGUID"}));
  EXPECT_EQ(TEwsCalendarItem::SchemaClass().GetTypeInfo("Start").Kind, tkDateTime);
  EXPECT_EQ(TEwsBody::SchemaClass().GetTypeInfo("BodyType").Kind, tkEnumeration);
  EXPECT_TRUE(item.GetTypeInfo("StoreEntryId").IsSimple());
  EXPECT_FALSE(item.GetTypeInfo("Body").IsSimple());
  // Members of the base answer in the derived class, too.
  EXPECT_EQ(TEwsMessage(NewElement("t:Message")).GetTypeInfo("Subject").Kind, tkString);
}

// ---- Enumerations

template <typename T>
void CheckEnumeration(std::string_view name, const std::vector<std::pair<T, std::string_view>>& values, int& count) {
  ++count;
  const TVqEnumInfo& info = VqEnumInfoOf(T{});
  EXPECT_EQ(info.Name, name);
  ASSERT_EQ(static_cast<std::size_t>(info.Count), values.size()) << name;
  std::int32_t number = 0;
  for (const auto& [value, text] : values) {
    EXPECT_EQ(static_cast<std::int32_t>(value), number++) << text;
    EXPECT_EQ(VqEnumToText(value), text);
    EXPECT_EQ(VqTextToEnum<T>(text), value) << name << ' ' << text;
    T read{};
    EXPECT_TRUE(VqTryTextToEnum(text, read));
    EXPECT_EQ(read, value);
  }
  T untouched = values.back().first;
  EXPECT_EQ(VqTextToEnum<T>("no such text"), values.front().first);
  EXPECT_EQ(VqTextToEnum<T>(""), values.front().first);
  EXPECT_FALSE(VqTryTextToEnum("no such text", untouched));
  EXPECT_EQ(untouched, values.back().first);
  EXPECT_THROW(VqEnumToText(static_cast<T>(number)), EConvertError);
  EXPECT_THROW(VqEnumToText(static_cast<T>(-1)), EConvertError);
}

TEST(EWSTypesCatalogue, EveryEnumerationValueSurvivesItsText) {
  int count = 0;
#define VQ_ENUM(type)                    \
  {                                      \
    using TEnum = type;                  \
    const std::string_view name = #type; \
    std::vector<std::pair<TEnum, std::string_view>> values;
#define VQ_TEXT(prefix, text) values.emplace_back(prefix##text, #text);
#define VQ_ENUM_END(type)                \
  CheckEnumeration(name, values, count); \
  }
#include "ews/tables/uVqEWSEnumerations.inc"
  EXPECT_EQ(count, 73);
#define VQ_ENUM(type)                    \
  {                                      \
    using TEnum = type;                  \
    const std::string_view name = #type; \
    std::vector<std::pair<TEnum, std::string_view>> values;
#define VQ_TEXT(prefix, text) values.emplace_back(prefix##text, #text);
#define VQ_ENUM_END(type)                \
  CheckEnumeration(name, values, count); \
  }
#include "ews/tables/uVqEWSFieldURIs.inc"
  EXPECT_EQ(count, 74);
}

TEST(EWSTypesCatalogue, EnumerationTextsAreTheNamesLessTheirPrefix) {
  EXPECT_EQ(VqEnumToText(fsNotFlagged), "NotFlagged");
  EXPECT_EQ(VqEnumToText(btHTML), "HTML");
  EXPECT_EQ(VqEnumToText(ufufolder_FolderId), "folder_FolderId");
  EXPECT_EQ(VqEnumToText(dfininbox), "inbox");
  EXPECT_EQ(VqEnumToText(Exchange2013_SP1), "Exchange2013_SP1");
  EXPECT_EQ(VqTextToEnum<TFlagStatus>("flagged"), fsNotFlagged) << "case counts";
}

TEST(EWSTypesCatalogue, ServerVersionsStandInTheOrderOfComparison) {
  const TServerVersion order[] = {Exchange2007,     Exchange2007_SP1, Exchange2009, Exchange2010,     Exchange2010_SP1,
                                  Exchange2010_SP2, Exchange2012,     Exchange2013, Exchange2013_SP1, Exchange2015,
                                  Exchange2016,     V2015_10_05,      V2016_01_06};
  for (std::size_t i = 0; i < std::size(order); ++i) EXPECT_EQ(order[i], static_cast<TServerVersion>(i));
  EXPECT_EQ(VqEnumInfoOf(TServerVersion{}).Count, 13);
}

TEST(EWSTypesCatalogue, FieldURIsThatHaveNoRowStandLast) {
  EXPECT_EQ(VqEnumToText(ufubooking_StaffInitials), "booking_StaffInitials");
  EXPECT_EQ(static_cast<std::int32_t>(ufufolder_FolderId), 0);
  EXPECT_EQ(VqEnumInfoOf(TUnindexedFieldURI{}).Count, 494);
}

}  // namespace
