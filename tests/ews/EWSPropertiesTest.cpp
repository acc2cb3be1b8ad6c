// The values: where they stand, how they are read, written and named, and the list of them.

#include "ews/values/uVqEWSProperties.h"

#include "EWSPropertyTestSupport.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"

namespace velmore {
namespace {

using test::ExtendedProperty;
using test::MessageOf;
using TMessage = test::TPropertyObject<TEwsMessage>;
using TContact = test::TPropertyObject<TEwsContactItem>;
using TCalendarItem = test::TPropertyObject<TEwsCalendarItem>;

constinit const TVqEWSMemberInfo kItemMembers[] = {
    {"Subject", VqStringType, VqEWSField(ufuitem_Subject)},
    {"Body", {tkClass, "TEwsBody"}, VqEWSField(ufuitem_Body)},
    {"StartDateTime", VqDateTimeType, VqEWSField(ufucalendar_Start)},
    {"IsReminderSet", VqBooleanType, VqEWSField("PR_ISREMINDERSET")},
    {"InstanceKey", VqBytesType, VqEWSField(ufuitem_InstanceKey)},
    {"Unlinked", VqStringType},
};
constinit const TVqEWSMemberTable kItemTable{"TTestItem", nullptr, kItemMembers};
constinit const TVqEWSMemberInfo kMailMembers[] = {{"IsRead", VqBooleanType, VqEWSField(ufumessage_IsRead)}};
constinit const TVqEWSMemberTable kMailTable{"TTestMail", &kItemTable, kMailMembers};

const char* const kCommonSet = "PropertySetId=\"00062008-0000-0000-c000-000000000046\"";

// ---- Members

TEST(Properties, GoOverToAnotherDefinition) {
  TMessage message("<t:Message><t:Subject>a</t:Subject>" +
                   ExtendedProperty(std::string("PropertyName=\"x\" ") + kCommonSet, "1") + "</t:Message>");
  TVqEWSProperty& property = message.Properties.Add(EPR_COMMON_PRIVATE);
  EXPECT_TRUE(property.GetPropSetId());
  property.SetPropDef(&PR_SUBJECT);
  EXPECT_EQ(property.GetName(), "PR_SUBJECT");
  EXPECT_EQ(property.GetPath(), "Subject");
  EXPECT_EQ(property.GetAsString(), "a");
  EXPECT_EQ(property.GetPropSetId(), nullptr);
  EXPECT_EQ(&property.GetRow(), &PR_SUBJECT);
  property.SetPropDef(&PR_COMPLETENAME_TITLE);
  EXPECT_EQ(property.GetParentPropDef(), &PR_COMPLETENAME);
  property.SetPropDef(&EPR_COMMON_PRIVATE);
  EXPECT_EQ(property.GetParentPropDef(), nullptr);
  EXPECT_EQ(property.GetURIType(), fdtExtendedField);
  EXPECT_EQ(MessageOf([&] { property.SetPropDef(nullptr); }), "There is no property definition!");
  EXPECT_EQ(property.GetName(), "EPR_COMMON_PRIVATE") << "nothing has changed";
  message.Properties.Clear();
  EXPECT_EQ(MessageOf([&] { property.SetPropDef(&PR_SUBJECT); }),
            "The property \"EPR_COMMON_PRIVATE\" was discarded when its list was rebuilt!");
}

TEST(MemberTable, IsSearchedByNameAndByDefinitionTheClassBeforeItsBases) {
  ASSERT_NE(kMailTable.Find("Subject"), nullptr);
  EXPECT_EQ(kMailTable.Find("IsRead"), &kMailMembers[0]);
  EXPECT_EQ(kMailTable.Find("subject"), nullptr);
  EXPECT_EQ(kItemTable.Find("IsRead"), nullptr);
  EXPECT_EQ(kMailTable.FindLinked("PR_START")->Name, "StartDateTime");
  EXPECT_EQ(kMailTable.FindLinked("pr_isreminderset")->Name, "IsReminderSet");
  EXPECT_EQ(kMailTable.FindLinked("PR_BODYTYPE"), nullptr);
}

TEST(MemberTable, AttributesFindTheirDefinition) {
  EXPECT_EQ(VqEWSField(ufuitem_Subject).GetPropDef(), &PR_SUBJECT);
  EXPECT_EQ(VqEWSField("EPR_COMMON_PRIVATE").GetPropDef(), &EPR_COMMON_PRIVATE);
  EXPECT_EQ(VqEWSField("PR_ISREMINDERSET").GetURIType(), fdtExtendedField);
  EXPECT_EQ(VqEWSField(ufuitem_Subject).GetURIType(), fdtField);
  const VqEWSField entry(ducontacts_PhoneNumber, "HomePhone");
  EXPECT_EQ(entry.GetURIType(), fdtIndexedField);
  EXPECT_EQ(MessageOf([&] { entry.GetPropDef(); }), "There is no field definition \"FLD_CONTACTS_PHONENUMBER\"!");
  EXPECT_EQ(MessageOf([] { VqEWSField("PR_NOSUCH").GetPropDef(); }), "There is no property definition \"PR_NOSUCH\"!");
  EXPECT_EQ(VqEWSField().GetPropDef(), nullptr);
  EXPECT_FALSE(VqEWSField());
}

// ---- Enumeration values as URIs

TEST(FieldURI, EveryValueHasAFieldButThoseOfBookings) {
  int withoutField = 0;
  for (std::int32_t i = 0; i <= ufubooking_CustomerId; ++i) {
    const auto uri = static_cast<TUnindexedFieldURI>(i);
    const std::string text = FieldURIToString(uri).utf8();
    TUnindexedFieldURI back{};
    EXPECT_TRUE(TryStringToFieldURI(text, back));
    EXPECT_EQ(back, uri);
    if (text.starts_with("booking:")) {
      ++withoutField;
      EXPECT_EQ(MessageOf([&] { GetFieldDef(uri); }),
                "There is no field definition \"" + UpperCase("FLD_BOOKING_" + text.substr(8)).utf8() + "\"!");
    } else {
      EXPECT_EQ(GetFieldDef(uri)->UnindexedFieldURI, text);
    }
  }
  EXPECT_EQ(withoutField, 7);
  EXPECT_EQ(std::int32_t{ufubooking_CustomerId} + 1, 494);
}

TEST(FieldURI, NoValueOfADictionaryHasAField) {
  for (std::int32_t i = 0; i <= dudistributionlist_Members_Member; ++i)
    EXPECT_THROW(GetFieldDef(static_cast<TDictionaryURI>(i)), EVqException);
  EXPECT_EQ(MessageOf([] { GetFieldDef(ducontacts_PhysicalAddress_Street); }),
            "There is no field definition \"FLD_CONTACTS_PHYSICALADDRESS_STREET\"!");
  EXPECT_EQ(FieldURIToString(ducontacts_PhysicalAddress_Street), "contacts:PhysicalAddress:Street");
}

// ---- Making

TEST(Property, OfAMemberTakesTheFieldOfTheObjectsClass) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  EXPECT_EQ(subject.GetURIType(), fdtField);
  EXPECT_EQ(subject.GetFieldURI(), ufuitem_Subject);
  EXPECT_EQ(subject.GetPath(), "Subject");
  EXPECT_EQ(subject.GetName(), "PR_SUBJECT");
  EXPECT_EQ(subject.GetNodeType(), pdntSimple);
  EXPECT_EQ(subject.GetParentPropDef(), nullptr);
  EXPECT_EQ(subject.GetProperty(), nullptr);

  TContact contact("<t:Contact/>");
  EXPECT_EQ(contact.Properties.Add(PR_DISPLAYNAME).GetFieldURI(), ufucontacts_DisplayName);
}

TEST(Property, OfAnExtendedRowKnowsItsIdentity) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& reminder = message.Properties.Add(EPR_COMMON_REMINDER_DATE);
  EXPECT_EQ(reminder.GetURIType(), fdtExtendedField);
  EXPECT_EQ(reminder.GetPropertyType(), ptSystemTime);
  EXPECT_EQ(*reminder.GetPropSetId(), PSETID_Common);
  EXPECT_EQ(std::get<std::int32_t>(reminder.GetPropertyId()), 0x8502);
  EXPECT_EQ(reminder.GetPropertyTag(), 0);
  EXPECT_FALSE(reminder.GetDPropSetId().has_value());
  EXPECT_EQ(message.Properties.Add(MPR_SUBJECT).GetPropertyTag(), 0x37);
  EXPECT_EQ(std::get<string>(message.Properties.Add(EPR_NAMEORIGINALSPAMCONFIDENCELEVEL).GetPropertyId()),
            "OriginalScl");
}

TEST(Property, FindsThePublishedPropertyByNameOrByAttribute) {
  TCalendarItem item("<t:CalendarItem/>", kItemTable);
  EXPECT_EQ(item.Properties.Add(PR_SUBJECT).GetProperty()->Name, "Subject");
  EXPECT_EQ(item.Properties.Add(PR_START).GetProperty()->Name, "StartDateTime");
  EXPECT_EQ(item.Properties.Add(PR_LOCATION).GetProperty(), nullptr);
  EXPECT_EQ(item.Properties.Add(EPR_COMMON_PRIVATE).GetProperty(), nullptr);
}

TEST(Property, OfAnIndexedFieldHasTheEntryStepTwiceAndFindsNothing) {
  TContact contact("<t:Contact><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry></t:PhoneNumbers></t:Contact>");
  TVqEWSProperties other(contact, [&](TVqEWSGetDataElmSource, bool) { return contact.New.get(); });
  TVqEWSProperty& byField = other.AddItem(FLD_CONTACTS_PHONENUMBER_HOMEPHONE);
  EXPECT_EQ(byField.GetURIType(), fdtIndexedField);
  EXPECT_EQ(byField.GetDictionaryURI(), ducontacts_PhoneNumber);
  EXPECT_EQ(byField.GetFieldIndex(), "HomePhone");
  EXPECT_EQ(byField.GetPath(), "PhoneNumbers/Entry[@Key=\"HomePhone\"]/Entry[@Key=\"HomePhone\"]");
  EXPECT_FALSE(contact.Element().SelectSingleElement(byField.GetPath(), kSelectQuiet));

  TVqEWSProperty& byProp = contact.Properties.Add(PR_PHONENUMBER_HOMEPHONE);
  EXPECT_EQ(byProp.GetPath(), "PhoneNumbers/Entry[@Key=\"HomePhone\"]");
  EXPECT_EQ(byProp.GetAsString(), "1");
}

TEST(Property, OfAUriThatIsNoEnumerationValueKeepsTheRowsText) {
  TContact contact("<t:Contact/>");
  TVqEWSProperty& address = contact.Properties.AddItem(FLD_CONTACTS_PHYSICALADDRESS_HOME);
  EXPECT_EQ(address.GetDictionaryURI(), TDictionaryURI{});
  TVqDOMDocument request("<t:Path/>");
  EXPECT_EQ(address.AddEWS(request.GetDocumentElement()).GetXML(),
            "<t:IndexedFieldURI FieldURI=\"contacts:PhysicalAddress\" FieldIndex=\"Home\"/>");
}

TEST(Property, OfADefinitionThatIsNotRegisteredKeepsACopy) {
  TMessage message("<t:Message/>");
  TVqEWSProperty* property;
  {
    const TGUID set = PSETID_PublicStrings;
    const TVqEWSPropDef own{.PropDefName = "TEST_UNREGISTERED",
                            .Extended = true,
                            .PropType = ptString,
                            .PropertySetId = &set,
                            .PropKind = pkName,
                            .Name = EWSShortName(std::string("Colour"))};
    property = &message.Properties.Add(own);
  }
  property->SetAsString("red");
  EXPECT_EQ(property->GetUpdateStatus(), dusInserted);
  TVqDOMDocument request("<t:Path/>");
  EXPECT_EQ(property->AddEWS(request.GetDocumentElement()).GetXML(),
            "<t:ExtendedFieldURI PropertySetId=\"00020329-0000-0000-c000-000000000046\" PropertyName=\"Colour\" "
            "PropertyType=\"String\"/>");
}

TEST(Property, RebuildsItsDefinition) {
  TMessage message("<t:Message/>");
  const TVqEWSPropDef subject = message.Properties.Add(PR_SUBJECT).PropDef();
  EXPECT_EQ(subject.PropDefName, "PR_SUBJECT");
  EXPECT_FALSE(subject.Extended);
  EXPECT_EQ(subject.NodeName, "Subject");
  const TVqEWSPropDef part = message.Properties.Add(PR_COMPLETENAME_TITLE).PropDef();
  EXPECT_EQ(part.ParentProp, &PR_COMPLETENAME);
  const TVqEWSPropDef id = message.Properties.Add(EPR_COMMON_PRIVATE).PropDef();
  EXPECT_TRUE(id.Extended);
  EXPECT_EQ(*id.PropertySetId, PSETID_Common);
  EXPECT_EQ(id.PropKind, pkId);
  EXPECT_EQ(id.Id, 0x8506);
  EXPECT_EQ(id.PropType, ptBoolean);
  const TVqEWSPropDef name = message.Properties.Add(EPR_NAMEORIGINALSPAMCONFIDENCELEVEL).PropDef();
  EXPECT_EQ(name.PropKind, pkName);
  EXPECT_EQ(name.Name, "OriginalScl");
  EXPECT_EQ(message.Properties.Add(MPR_BODY).PropDef().PropertyTag, 0x1000);
  const TVqEWSPropDef own{
      .PropDefName = "TEST_DPS", .Extended = true, .DistinguishedPropertySetId = "PublicStrings", .Id = 1};
  TVqEWSProperty& distinguished = message.Properties.Add(own);
  EXPECT_EQ(distinguished.GetDPropSetId(), dpsPublicStrings);
  EXPECT_EQ(distinguished.PropDef().DistinguishedPropertySetId, "PublicStrings");
}

// ---- Finding the value

TEST(PropertyValue, ThatIsThereIsFoundWithoutAsking) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  message.Answer(nullptr);
  EXPECT_EQ(message.Properties.Add(PR_SUBJECT).GetAsString(), "a");
  EXPECT_TRUE(message.Asked.empty());
}

TEST(PropertyValue, ThatIsMissingIsAskedForByItsDefinition) {
  TMessage message("<t:Message/>");
  message.Answer([&](const string&) { message.AddToBoth("<t:Preview>p</t:Preview>"); });
  TVqEWSProperty& preview = message.Properties.Add(PR_PREVIEW);
  EXPECT_EQ(preview.GetAsString(), "p");
  EXPECT_EQ(message.Asked, std::vector<std::string>{"PROPDEF:PR_PREVIEW"});
  EXPECT_EQ(preview.GetUpdateStatus(), dusUnmodified);
  preview.GetAsString();
  EXPECT_EQ(message.Asked.size(), 1u);
}

TEST(PropertyValue, OfAMemberThatTheAnswerLacksRaises) {
  TMessage message("<t:Message/>");
  message.Answer(nullptr);
  TVqEWSProperty& preview = message.Properties.Add(PR_PREVIEW);
  EXPECT_EQ(MessageOf([&] { preview.GetAsString(); }), "The result does not contain a value for for \"Preview\"!");
  EXPECT_EQ(message.Element().ElementCount(), 0);
}

TEST(PropertyValue, OfAnExtendedPropertyThatTheAnswerLacksIsMadeEmpty) {
  TMessage message("<t:Message/>");
  message.Answer(nullptr);
  EXPECT_EQ(message.Properties.Add(MPR_SUBJECT).GetAsString(), "");
  EXPECT_EQ(message.Asked, std::vector<std::string>{"PROPDEF:MPR_SUBJECT"});
  EXPECT_EQ(message.Element().GetInnerXML(),
            ExtendedProperty("PropertyTag=\"0x37\" PropertyType=\"String\"", "X")
                .replace(0, std::string::npos,
                         "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x37\" "
                         "PropertyType=\"String\"/><t:Value/></t:ExtendedProperty>"));
}

TEST(PropertyValue, OfAnObjectWithoutTheEventIsMadeSilently) {
  TMessage message("<t:Message><t:ItemId/></t:Message>");
  EXPECT_EQ(message.Properties.Add(PR_SUBJECT).GetAsString(), "");
  EXPECT_EQ(message.Element().GetInnerXML(), "<t:ItemId/><t:Subject/>");
}

TEST(PropertyValue, OfAPartIsNeverAskedFor) {
  TContact contact("<t:Contact/>");
  contact.Answer(nullptr);
  EXPECT_EQ(contact.Properties.Add(PR_COMPLETENAME_FIRSTNAME).GetAsString(), "");
  EXPECT_TRUE(contact.Asked.empty());
  EXPECT_EQ(contact.Element().GetInnerXML(), "<t:CompleteName><t:FirstName/></t:CompleteName>");
}

TEST(PropertyValue, OfADictionaryEntryIsMadeBelowItsDictionary) {
  TContact contact("<t:Contact><t:PhoneNumbers><t:Entry Key=\"Pager\">1</t:Entry></t:PhoneNumbers></t:Contact>");
  TVqEWSProperty& home = contact.Properties.Add(PR_PHONENUMBER_HOMEPHONE);
  home.SetAsString("2");
  EXPECT_EQ(
      contact.Element().GetInnerXML(),
      "<t:PhoneNumbers><t:Entry Key=\"Pager\">1</t:Entry><t:Entry Key=\"HomePhone\">2</t:Entry></t:PhoneNumbers>");
  EXPECT_EQ(home.GetUpdateStatus(), dusInserted);
}

TEST(PropertyValue, OfAnIndexedFieldIsMadeWithTheEntryTwice) {
  TContact contact("<t:Contact/>");
  TVqEWSProperty& home = contact.Properties.AddItem(FLD_CONTACTS_EMAILADDRESS1);
  home.SetAsString("a@b");
  EXPECT_EQ(contact.Element().GetInnerXML(),
            "<t:EmailAddresses><t:Entry Key=\"EmailAddress1\"><t:Entry Key=\"EmailAddress1\">a@b</t:Entry></t:Entry>"
            "</t:EmailAddresses>");
  EXPECT_EQ(home.GetAsString(), "a@b");
}

TEST(PropertyValue, MayBeReplacedByTheHandlerThatBringsIt) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  message.Answer([&](const string&) { message.Load("<t:Message><t:Subject>new</t:Subject></t:Message>"); });
  EXPECT_EQ(subject.GetAsString(), "new");
}

// ---- Types

TVqTypeInfo TypeOfRow(TVqEWSPropType AType) {
  TMessage message("<t:Message/>");
  const TVqEWSPropDef def{.PropDefName = "TEST_TYPE", .Extended = true, .PropType = AType, .PropertyTag = 0x6FF0};
  return message.Properties.Add(def).GetTypeInfo();
}

TEST(PropertyType, OfAnExtendedPropertyFollowsItsRow) {
  const std::pair<TVqEWSPropType, TVqTypeInfo> expected[] = {
      {ptApplicationTime, {tkDateTime, "TDateTime"}},
      {ptSystemTime, {tkDateTime, "TDateTime"}},
      {ptApplicationTimeArray, {tkArray, "TArray<TDateTime>"}},
      {ptSystemTimeArray, {tkArray, "TArray<TDateTime>"}},
      {ptBinary, {tkArray, "TArray<System.Byte>"}},
      {ptBinaryArray, {tkArray, "TArray<TArray<System.Byte>>"}},
      {ptBoolean, {tkBoolean, "bool"}},
      {ptCLSID, {tkGUID, "TGUID"}},
      {ptCLSIDArray, {tkArray, "TArray<TGUID>"}},
      {ptCurrency, {tkFloat, "Extended"}},
      {ptCurrencyArray, {tkArray, "TArray<Extended>"}},
      {ptDouble, {tkFloat, "double"}},
      {ptFloat, {tkFloat, "double"}},
      {ptDoubleArray, {tkArray, "TArray<double>"}},
      {ptFloatArray, {tkArray, "TArray<double>"}},
      {ptError, {tkString, "string"}},  // by its name, not its number
      {ptInteger, {tkInteger, "std::int32_t"}},
      {ptIntegerArray, {tkArray, "TArray<std::int32_t>"}},
      {ptLong, {tkInteger, "std::int64_t"}},
      {ptLongArray, {tkArray, "TArray<std::int64_t>"}},
      {ptObject, {tkClass, "IVqObject"}},
      {ptObjectArray, {tkArray, "TArray<IVqObject>"}},
      {ptShort, {tkInteger, "std::int8_t"}},  // eight bits
      {ptShortArray, {tkArray, "TArray<std::int8_t>"}},
      {ptString, {tkString, "string"}},
      {ptStringArray, {tkArray, "TArray<string>"}},
  };
  EXPECT_EQ(std::size(expected), 26u);
  for (const auto& [type, info] : expected) EXPECT_EQ(TypeOfRow(type), info) << PropTypeToString(type);
  EXPECT_EQ(MessageOf([] { TypeOfRow(ptNull); }), "Failed to determine the type for TEST_TYPE!");
}

TEST(PropertyType, KindsHaveTheirNumbers) {
  EXPECT_EQ(int{tkInteger}, 1);
  EXPECT_EQ(int{tkFloat}, 2);
  EXPECT_EQ(int{tkString}, 3);
  EXPECT_EQ(int{tkBoolean}, 4);
  EXPECT_EQ(int{tkDateTime}, 5);
  EXPECT_EQ(int{tkArray}, 26);
  EXPECT_EQ(int{tkRecord}, 27);
  EXPECT_EQ(int{tkClass}, 28);
}

TEST(PropertyType, OfAMemberComesFromTheClassThenFromTheRecord) {
  TCalendarItem item("<t:CalendarItem/>", kItemTable);
  EXPECT_EQ(item.Properties.Add(PR_SUBJECT).GetTypeInfo(), VqStringType);
  EXPECT_EQ(item.Properties.Add(PR_ISREMINDERSET).GetTypeInfo(), VqBooleanType);
  EXPECT_EQ(item.Properties.Add(PR_SIZE).GetTypeInfo().Kind, tkInteger);
  EXPECT_FALSE(item.LastRaise);  // asking for the type must not ask for data
  // The record's property for this element is Start_.
  TCalendarItem plain("<t:CalendarItem/>");
  EXPECT_EQ(plain.Properties.Add(PR_START).GetTypeInfo().Kind, tkDateTime);
  EXPECT_EQ(plain.Properties.Add(PR_COMPLETENAME_TITLE).GetTypeInfo(), VqStringType);
  EXPECT_EQ(plain.Properties.AddItem(FLD_CONTACTS_EMAILADDRESS1).GetTypeInfo(), VqStringType);
}

TEST(PropertyType, OfAMemberThatTheRecordLacksRaises) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& property = message.Properties.Add(PR_REQUESTSERVERVERSION);
  EXPECT_EQ(MessageOf([&] { property.GetTypeInfo(); }),
            "RequestServerVersion (PR_REQUESTSERVERVERSION) is not a property of TEwsMessage!");
}

// ---- Reading and writing

TEST(PropertyValue, ConvertsTypes) {
  TMessage message(
      "<t:Message><t:Size>42</t:Size><t:IsRead>true</t:IsRead>"
      "<t:DateTimeSent>2024-02-29T12:00:00+01:00</t:DateTimeSent></t:Message>");
  EXPECT_EQ(message.Properties.Add(PR_SIZE).GetAsInteger(), 42);
  EXPECT_TRUE(message.Properties.Add(PR_ISREAD).GetAsBoolean());
  TVqEWSProperty& sent = message.Properties.Add(PR_DATETIMESENT);
  const TDateTime value = sent.GetAsDateTime();
  sent.SetAsDateTime(value);
  EXPECT_EQ(sent.GetAsString(), "2024-02-29T11:00:00Z");
  message.Properties.PropertyByName(PR_SIZE).SetAsInteger(-7);
  message.Properties.PropertyByName(PR_ISREAD).SetAsBoolean(false);
  EXPECT_EQ(message.Properties.PropertyByName(PR_SIZE).GetAsString(), "-7");
  EXPECT_EQ(message.Properties.PropertyByName(PR_ISREAD).GetAsString(), "false");
  EXPECT_THROW(sent.GetAsInteger(), EConvertError);
}

TEST(PropertyValue, EmptyTextReadsAsTheEmptyValue) {
  TMessage message("<t:Message><t:Size/><t:IsRead/><t:DateTimeSent/></t:Message>");
  EXPECT_EQ(message.Properties.Add(PR_SIZE).GetAsInteger(), 0);
  EXPECT_FALSE(message.Properties.Add(PR_ISREAD).GetAsBoolean());
  EXPECT_EQ(message.Properties.Add(PR_DATETIMESENT).GetAsDateTime(), 0.0);
}

TEST(PropertyValue, OfBytesReadsAsTextAndOfAClassAsMarkup) {
  TMessage message("<t:Message><t:Body BodyType=\"Text\">hi</t:Body>" +
                   ExtendedProperty("PropertyTag=\"0x1009\" PropertyType=\"Binary\"", "AQID") + "</t:Message>");
  EXPECT_EQ(message.Properties.Add(MPR_RTF_COMPRESSED).GetAsString(), "AQID");
  EXPECT_EQ(message.Properties.Add(PR_BODY).GetAsString(), "<t:Body BodyType=\"Text\">hi</t:Body>");
}

TEST(PropertyValue, OfBytesStoresTheDigitsWithoutTheirPrefix) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& rtf = message.Properties.Add(MPR_RTF_COMPRESSED);
  rtf.SetAsString("0x01ffAB");
  EXPECT_EQ(rtf.GetAsString(), "01ffAB");
  rtf.SetAsString("01FF");  // hexadecimal, stored as it is
  EXPECT_EQ(rtf.GetAsString(), "01FF");
  EXPECT_THROW(rtf.SetAsString("AQID"), EConvertError);
  EXPECT_EQ(rtf.GetAsString(), "01FF");
  rtf.SetAsString("0xnot checked");
  EXPECT_EQ(rtf.GetAsString(), "not checked");
}

TEST(PropertyValue, OfBytesUnderAnotherNameIsDecoded) {
  TMessage message("<t:Message/>", kItemTable);
  TVqEWSProperty& key = message.Properties.Add(PR_INSTANCEKEY);
  EXPECT_EQ(key.GetTypeInfo(), VqBytesType);
  key.SetAsString("0x414243");
  EXPECT_EQ(key.GetAsString(), "ABC");
  key.SetAsString("AQID==");
  EXPECT_EQ(key.GetAsString(), "AQID==");
  EXPECT_THROW(key.SetAsString("0xzz"), EConvertError);
}

TEST(PropertyValue, OfAClassCannotBeWrittenAsText) {
  TMessage message("<t:Message/>");
  TVqEWSProperty& body = message.Properties.Add(PR_BODY);
  EXPECT_EQ(MessageOf([&] { body.SetAsString("x"); }), "The property \"Body\" cannot be written as a string!");
  TVqEWSProperty& times = message.Properties.Add(TVqEWSPropDef{
      .PropDefName = "TEST_TIMES", .Extended = true, .PropType = ptSystemTimeArray, .PropertyTag = 0x6FF1});
  EXPECT_THROW(times.SetAsString("x"), EVqException);
  EXPECT_EQ(message.Element().ElementCount(), 0);
}

TEST(PropertyValue, ByTypeConvertsOrSaysWhatItIs) {
  TMessage message(
      "<t:Message><t:ItemId Id=\"i\" ChangeKey=\"c\"/><t:Size>42</t:Size><t:Importance>High</t:Importance>"
      "<t:Subject>s</t:Subject><t:Body>b</t:Body></t:Message>");
  struct TId {
    string Id, ChangeKey;
  };
  const auto id = message.Properties.Add(PR_ITEMID).GetValue<TId>();
  EXPECT_EQ(id.Id, "i");
  EXPECT_EQ(id.ChangeKey, "c");
  EXPECT_EQ(message.Properties.Add(PR_SIZE).GetValue<std::int32_t>(), 42);
  EXPECT_EQ(message.Properties.PropertyByName(PR_SIZE).GetValue<string>(), "42");
  EXPECT_EQ(message.Properties.Add(PR_IMPORTANCE).GetValue<TImportanceChoices>(), icHigh);
  EXPECT_EQ(message.Properties.Add(PR_BODY).GetValue<IVqDOMElement>().GetText(), "b");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  EXPECT_EQ(MessageOf([&] { subject.GetValue<std::int32_t>(); }),
            "Failed to get the value for Subject!\r\nType std::int32_t expected, but type string returned!");
  TVqEWSProperty& body = message.Properties.PropertyByName(PR_BODY);
  EXPECT_EQ(MessageOf([&] { body.GetValue<string>(); }),
            "Failed to get the value for Body!\r\nType string expected, but type TEwsBody returned!");
  TVqEWSProperty& missing = message.Properties.Add(PR_PREVIEW);
  EXPECT_THROW(missing.GetValue<IVqDOMElement>(), EVqException);
}

TEST(PropertyValue, IsSerialisedAsItsElement) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  EXPECT_EQ(subject.AsXML(), "<t:Subject>a</t:Subject>");
  const string text = subject.Serialize(dsfXML);
  subject.SetAsString("b");
  subject.Deserialize(dsfXML, text);
  EXPECT_EQ(subject.GetAsString(), "a");
  EXPECT_TRUE(subject.AsJSON().Contains("\"a\""));
}

// ---- In requests

TEST(PropertyInRequest, IsNamedByItsKind) {
  TContact contact("<t:Contact/>", kItemTable);
  const auto named = [&](const TVqEWSPropDef& def) {
    TVqDOMDocument request("<t:SetItemField/>");
    const IVqDOMElement element = contact.Properties.Add(def).AddEWS(request.GetDocumentElement());
    EXPECT_EQ(element.GetParentElement(), request.GetDocumentElement());
    return element.GetXMLAsUtf8();
  };
  EXPECT_EQ(named(PR_SUBJECT), "<t:FieldURI FieldURI=\"item:Subject\"/>");
  EXPECT_EQ(named(PR_GIVENNAME), "<t:FieldURI FieldURI=\"contacts:GivenName\"/>");
  EXPECT_EQ(named(PR_EMAILADDRESS2),
            "<t:IndexedFieldURI FieldURI=\"contacts:EmailAddress\" FieldIndex=\"EmailAddress2\"/>");
  EXPECT_EQ(named(MPR_SUBJECT), "<t:ExtendedFieldURI PropertyTag=\"0x37\" PropertyType=\"String\"/>");
  EXPECT_EQ(named(PR_SENDERSMTPADDRESS), "<t:FieldURI FieldURI=\"item:SenderSMTPAddress\"/>");
}

TEST(PropertyInRequest, APartOfACompleteNameIsNoEntryOfADictionary) {
  TContact contact("<t:Contact/>");
  TVqEWSProperty& first = contact.Properties.Add(PR_COMPLETENAME_FIRSTNAME);
  TVqDOMDocument request("<t:SetItemField/>");
  EXPECT_THROW(first.AddEWS(request.GetDocumentElement()), EAssertionFailed);
  EXPECT_TRUE(MessageOf([&] { first.AddEWS(request.GetDocumentElement()); }).find("ews/uVqEWSInterfaces") !=
              std::string::npos);
  EXPECT_EQ(request.GetDocumentElement().ElementCount(), 0);
}

TEST(PropertyInRequest, OfAnAttributeUsesItsUri) {
  TCalendarItem item("<t:CalendarItem/>", kItemTable);
  TVqDOMDocument request("<t:SetItemField/>");
  EXPECT_EQ(item.Properties.CreateItem(PR_START).AddEWS(request.GetDocumentElement()).GetXML(),
            "<t:FieldURI FieldURI=\"calendar:Start\"/>");
  TVqEWSProperty& reminder = item.Properties.CreateItem(PR_ISREMINDERSET);
  EXPECT_EQ(reminder.GetURIType(), fdtExtendedField);
  EXPECT_EQ(reminder.AddEWS(request.GetDocumentElement()).GetXML(), "<t:FieldURI FieldURI=\"item:IsReminderSet\"/>");
}

// ---- The list

TEST(PropertyList, AddsOnceAndFindsByPathPositionAndDefinition) {
  TMessage message("<t:Message/>");
  TVqEWSProperties& list = message.Properties;
  TVqEWSProperty& subject = list.Add(PR_SUBJECT);
  TVqEWSProperty& tag = list.Add(MPR_SUBJECT);
  EXPECT_THROW(list.Add(PR_SUBJECT), EListError);
  EXPECT_EQ(list.FindItem("Subject"), &subject);
  EXPECT_EQ(list.FindItem(0), &subject);
  EXPECT_EQ(list.FindItem(std::int64_t{1}), &tag);
  EXPECT_EQ(list.FindItem(PR_SUBJECT), &subject);
  EXPECT_EQ(list.FindItem(FLD_ITEM_SUBJECT), &subject);
  EXPECT_EQ(list.FindItem(MFLD_SUBJECT), &tag);
  EXPECT_EQ(list.FindItem(PR_BODY), nullptr);
  EXPECT_EQ(list.FindItem("Nothing"), nullptr);
  EXPECT_EQ(list.FindProperty(MPR_SUBJECT), &tag);
  EXPECT_EQ(list.FindItem(TVqVariant(std::int32_t{1})), &tag);
  EXPECT_EQ(list.FindItem(TVqVariant(std::int64_t{0})), &subject);
  EXPECT_EQ(list.FindItem(TVqVariant(string("Subject"))), &subject);
  EXPECT_EQ(MessageOf([&] { list.FindItem(TVqVariant(true)); }), "The requested item could not be found!");
  EXPECT_EQ(MessageOf([&] { list.GetItem(TVqVariant()); }), "The requested item could not be found!");
  EXPECT_THROW(list.FindItem(2), EListError);
  EXPECT_THROW(list.GetItem(-1), EListError);
}

TEST(PropertyList, CreatesByNameOfTheMemberOrOfTheRow) {
  TMessage message("<t:Message/>", kMailTable);
  EXPECT_EQ(message.Properties.CreateItem("Subject").GetName(), "PR_SUBJECT");
  EXPECT_EQ(&message.Properties.CreateItem("Subject"), &message.Properties.CreateItem(PR_SUBJECT));
  EXPECT_EQ(message.Properties.CreateItem("common_private").GetName(), "EPR_COMMON_PRIVATE");
  EXPECT_EQ(MessageOf([&] { message.Properties.CreateItem("Nothing"); }),
            "There is no property definition for \"TEwsMessage:Nothing\"!");
  EXPECT_EQ(MessageOf([&] { message.Properties.CreateItem(TVqEWSPropDef{.NodeName = "Some"}); }),
            "Failed to locate the Property Definition for \"Some\"!");
}

TEST(PropertyList, ARecordWithARowsKeyIsTheRow) {
  TMessage message("<t:Message/>");
  const TVqEWSPropDef key{.PropDefName = "PR_SUBJECT"};
  TVqEWSProperty& subject = message.Properties.CreateItem(key);
  EXPECT_EQ(subject.GetPath(), "Subject");
  EXPECT_EQ(message.Properties.FindProperty(PR_SUBJECT), &subject);
  EXPECT_EQ(&message.Properties.PropertyByName(key), &subject);
}

TEST(PropertyList, GettingWhatIsMissingMakesItWithAnEmptyValue) {
  TMessage message("<t:Message/>");
  TVqEWSProperties& list = message.Properties;
  EXPECT_EQ(list.PropertyByName(PR_SIZE).GetAsString(), "0");
  EXPECT_EQ(list.PropertyByName(PR_SIZE).GetUpdateStatus(), dusInserted);
  EXPECT_EQ(list.PropertyByName(PR_ISREAD).GetAsString(), "false");
  EXPECT_EQ(list.PropertyByName(PR_ISREAD).GetUpdateStatus(), dusInserted);
  EXPECT_EQ(list.PropertyByName(PR_DATETIMESENT).GetAsDateTime(), 0.0);
  EXPECT_EQ(list.PropertyByName(PR_DATETIMESENT).GetUpdateStatus(), dusInserted);
  EXPECT_EQ(list.PropertyByName(PR_SUBJECT).GetAsString(), "");
  EXPECT_EQ(list.PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);  // a text is empty, and so no change
  const TVqEWSPropDef number{
      .PropDefName = "TEST_DOUBLE", .Extended = true, .PropType = ptDouble, .PropertyTag = 0x6FF2};
  EXPECT_EQ(list.PropertyByName(number).GetAsString(), "0");
  EXPECT_EQ(list.PropertyByName(number).GetUpdateStatus(), dusInserted);
  EXPECT_EQ(list.PropertyByName(PR_BODY).GetUpdateStatus(), dusUnmodified);
}

TEST(PropertyList, GettingWhatIsThereChangesNothing) {
  TMessage message("<t:Message><t:Size>3</t:Size></t:Message>");
  EXPECT_EQ(message.Properties.PropertyByName(PR_SIZE).GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(message.Properties.GetItem("Size").GetAsInteger(), 3);
}

TEST(PropertyList, HasPropertyMeansMembershipForMembersOfTheSchema) {
  TMessage message("<t:Message/>");
  message.Answer(nullptr);
  EXPECT_TRUE(message.Properties.HasProperty(PR_SUBJECT));
  EXPECT_FALSE(message.Properties.HasProperty(PR_GIVENNAME));
  EXPECT_FALSE(message.Properties.HasProperty(PR_COMPLETENAME_TITLE));
  EXPECT_TRUE(message.Asked.empty());

  // Not even when the server has sent it.
  test::TPropertyObject<TEwsItemId> id("<t:ItemId><t:Subject>a</t:Subject></t:ItemId>");
  EXPECT_FALSE(id.Properties.HasProperty(PR_SUBJECT));
  id.Properties.Add(PR_SUBJECT);
  EXPECT_TRUE(id.Properties.HasProperty(PR_SUBJECT));
}

TEST(PropertyList, HasPropertyAsksForExtendedProperties) {
  TMessage message("<t:Message/>");
  bool bring = false;
  message.Answer([&](const string&) {
    if (bring)
      message.AddToBoth(
          ExtendedProperty(std::string(kCommonSet) + " PropertyId=\"34054\" PropertyType=\"Boolean\"", "true"));
  });
  EXPECT_FALSE(message.Properties.HasProperty(EPR_COMMON_PRIVATE));
  EXPECT_EQ(message.Element().ElementCount(), 0);
  bring = true;
  EXPECT_TRUE(message.Properties.HasProperty(EPR_COMMON_PRIVATE));
  EXPECT_EQ(message.Asked, (std::vector<std::string>{"PROPDEF:EPR_COMMON_PRIVATE", "PROPDEF:EPR_COMMON_PRIVATE"}));
  EXPECT_TRUE(message.Properties.HasProperty(EPR_COMMON_PRIVATE));  // there by now: no further round trip
  EXPECT_EQ(message.Asked.size(), 2u);

  TMessage silent("<t:Message/>");
  EXPECT_FALSE(silent.Properties.HasProperty(EPR_COMMON_PRIVATE));
}

TEST(PropertyList, NeedsAnOwnerForMembersOfTheSchema) {
  TMessage message("<t:Message/>");
  TVqEWSProperties orphan(static_cast<const IVqEWSFieldSource*>(nullptr),
                          [&](TVqEWSGetDataElmSource, bool) { return message.New.get(); });
  EXPECT_THROW(orphan.Add(PR_SUBJECT), EAssertionFailed);
  EXPECT_NO_THROW(orphan.Add(MPR_SUBJECT));
}

TEST(PropertyList, WithoutDataRaises) {
  TMessage message("<t:Message/>");
  message.New.reset();
  EXPECT_THROW(message.Properties.Count(), EVqException);
  EXPECT_THROW(message.Properties.Add(PR_SUBJECT), EVqException);
}

TEST(PropertyList, IsSerialisedAsItsObjectsRecord) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  EXPECT_EQ(message.Properties.AsXML(), "<t:Message><t:Subject>a</t:Subject></t:Message>");
}

}  // namespace
}  // namespace velmore
