#include "ews/schema/uVqEWSTypes.h"

#include <gtest/gtest.h>

#include <random>

using namespace velmore;

namespace {

IVqDOMElement Parse(std::string_view markup) {
  return VqCreateDOM(markup).GetDocumentElement();
}

// ---- Members whose names collide

TEST(EWSTypes, MemberNamedValueLivesBesideTheGenericForm) {
  TEwsExtendedProperty property(Parse("<t:ExtendedProperty/>"));
  property.SetValue("text");
  EXPECT_EQ(property.GetValue(), "text");
  const std::int32_t index = property.FindSchemaInfo("t:Value")->GetIndex();
  EXPECT_EQ(property.GetValue<string>(index), "text");
  property.SetValue<string>(index, "other");
  property.SetValue(index, "literal");
  EXPECT_EQ(property.GetValue(), "literal");
  property.TVqXMLSchemaElement::SetValue(index, "base");
  EXPECT_EQ(property.GetValue(), "base");
}

TEST(EWSTypes, ValueOfAClassLivesBesideTheGenericForm) {
  TEwsBodyContentAttributedValue content(Parse("<t:C/>"));
  content.GetValue().SetValue("<p>");
  content.GetValue().SetBodyType(btText);
  EXPECT_EQ(content.GetXML(),
            "<t:C><t:Value><t:Value>&lt;p&gt;</t:Value><t:BodyType>Text</t:BodyType></t:Value></t:C>");
  const std::int32_t index = content.FindSchemaInfo("t:Value")->GetIndex();
  EXPECT_EQ(&content.GetValue<TEwsBodyContent>(index), &content.GetValue());
}

TEST(EWSTypes, TextOfABodyLivesBesideTheGenericForm) {
  TEwsBody body(Parse("<t:Body BodyType=\"HTML\">x</t:Body>"));
  EXPECT_EQ(body.GetValue(), "x");
  EXPECT_EQ(body.GetValue<TBodyType>(body.FindSchemaInfo("BodyType")->GetIndex()), btHTML);
  EXPECT_EQ(body.GetBodyType(), btHTML);
}

TEST(EWSTypes, WordsOfCodeHaveAnUnderscoreBehind) {
  TEwsPhone phone(Parse("<t:Phone/>"));
  phone.SetType_("Home");
  TEwsArrayOfStrings texts(Parse("<t:L/>"));
  texts.GetString_().Add("a");
  TEwsCalendarItem event(Parse("<t:CalendarItem/>"));
  event.SetEnd_(TDateTime(2));
  event.SetStart_(TDateTime(1));
  TEwsTransition transition(Parse("<t:Transition/>"));
  transition.GetTo_().SetKind(ttkGroup);
  TEwsInboxReminder reminder(Parse("<t:R/>"));
  reminder.SetMessage_("soon");
  EXPECT_EQ(phone.GetXML(), "<t:Phone><t:Type>Home</t:Type></t:Phone>");
  EXPECT_EQ(texts.GetXML(), "<t:L><t:String>a</t:String></t:L>");
  EXPECT_EQ(
      event.GetXML(),
      "<t:CalendarItem><t:Start>1899-12-31T00:00:00Z</t:Start><t:End>1900-01-01T00:00:00Z</t:End></t:CalendarItem>");
  EXPECT_EQ(transition.GetXML(), "<t:Transition><t:To Kind=\"Group\"/></t:Transition>");
  EXPECT_EQ(reminder.GetXML(), "<t:R><t:Message>soon</t:Message></t:R>");
}

TEST(EWSTypes, NamesThatAreNoNamesOfCodeAreReachedAllTheSame) {
  TEwsArrayOfSenderAddIns addIns(Parse("<t:A/>"));
  addIns.GetMicrosoft_OutlookServices_SenderApp().Add().SetExtensionId("x");
  EXPECT_EQ(addIns.GetXML(),
            "<t:A><t:Microsoft.OutlookServices.SenderApp><t:ExtensionId>x</t:ExtensionId>"
            "</t:Microsoft.OutlookServices.SenderApp></t:A>");
  TEwsReplyBody body(Parse("<t:ReplyBody/>"));
  body.SetLang("de");
  EXPECT_EQ(body.GetXML(), "<t:ReplyBody xml:lang=\"de\"/>");
}

TEST(EWSTypes, AlternateIdsStandInTheMessagesNamespace) {
  TEwsNonEmptyArrayOfAlternateIds ids(
      Parse("<m:Ids><m:AlternateId Format=\"OwaId\" Id=\"1\"/><t:AlternateId/></m:Ids>"));
  ASSERT_EQ(ids.GetAlternateId().Count(), 1);
  EXPECT_EQ(ids.GetAlternateId().GetItem(0).GetFormat(), ifOwaId);
  EXPECT_EQ(ids.GetAlternateId().GetItem(0).GetId(), "1");
}

// ---- Records

TEST(EWSTypes, MessageIsBuiltInSchemaOrder) {
  TEwsMessage message(Parse("<t:Message/>"));
  message.SetIsRead(true);
  message.GetToRecipients().GetMailbox().Add().SetEmailAddress("ann@example.com");
  message.SetImportance(icHigh);
  message.GetBody().SetBodyType(btHTML);
  message.GetBody().SetValue("<p>hi</p>");
  message.SetSubject("Hello");
  EXPECT_EQ(message.GetXML(),
            "<t:Message><t:Subject>Hello</t:Subject><t:Body BodyType=\"HTML\">&lt;p&gt;hi&lt;/p&gt;</t:Body>"
            "<t:Importance>High</t:Importance><t:ToRecipients><t:Mailbox>"
            "<t:EmailAddress>ann@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients><t:IsRead>true</t:IsRead>"
            "</t:Message>");
}

TEST(EWSTypes, MemberDeclaredAgainTakesThePlaceOfTheDerivedClass) {
  // A reply lists body and recipients in an order of its own, which the base's accessors follow, too.
  TEwsReplyToItem reply(Parse("<t:ReplyToItem/>"));
  reply.GetReferenceItemId().SetId("1");
  reply.GetToRecipients().GetMailbox().Add();
  TEwsItem& item = reply;
  item.SetSubject("Re: x");
  reply.GetNewBodyContent().SetValue("y");
  EXPECT_EQ(reply.GetXML(),
            "<t:ReplyToItem><t:Subject>Re: x</t:Subject><t:ToRecipients><t:Mailbox/></t:ToRecipients>"
            "<t:ReferenceItemId Id=\"1\"/><t:NewBodyContent>y</t:NewBodyContent></t:ReplyToItem>");
  for (int i = 0; i < 5; ++i) {  // from the third on they are read where they were found to stand
    EXPECT_EQ(reply.GetSubject(), "Re: x");
    EXPECT_EQ(item.GetSubject(), "Re: x");
  }
}

TEST(EWSTypes, MembersAreReadWhereTheyStandWhateverBecomesOfTheTree) {
  const IVqDOMElement element = Parse("<t:Contact/>");
  TEwsContactItem contact(element);
  contact.GetCompleteName();  // a record with children remembers where its members stand
  const std::vector<std::string> names{"t:CompleteName", "t:Subject",  "t:DisplayName", "t:GivenName",
                                       "t:JobTitle",     "t:Nickname", "x:Subject",     "Subject"};
  const auto first = [&](std::string_view name) {
    for (const IVqDOMElement& child : element.GetChildElements())
      if (child.GetQualifiedName() == name) return child;
    return IVqDOMElement();
  };
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    const std::int32_t count = element.ElementCount();
    const IVqDOMElement some = count == 0 ? IVqDOMElement()
                                          : element.GetChildElements().GetItem(static_cast<std::int32_t>(
                                                random() % static_cast<std::uint32_t>(count)));
    const std::string& name = names[random() % names.size()];
    switch (random() % 5) {
      case 0:
      case 1:
        element.InsertElement(name, random() % 2 ? TVqDOMPosition::dpFirst : TVqDOMPosition::dpLast)
            .SetText(std::to_string(round));
        break;
      case 2:
        if (some) element.RemoveChild(some);
        break;
      case 3:
        if (some) some.SetQualifiedName(name);
        break;
      default:
        if (some) some.SetText("text " + std::to_string(round));
    }
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(contact.GetSubject(), first("t:Subject").GetText()) << round;
      EXPECT_EQ(contact.GetDisplayName(), first("t:DisplayName").GetText()) << round;
      EXPECT_EQ(contact.GetGivenName(), first("t:GivenName").GetText()) << round;
      EXPECT_EQ(contact.GetJobTitle(), first("t:JobTitle").GetText()) << round;
      EXPECT_EQ(contact.GetNickname(), first("t:Nickname").GetText()) << round;
      EXPECT_EQ(contact.FindNode("t:CompleteName"), IVqDOMNode(first("t:CompleteName"))) << round;
    }
  }
}

TEST(EWSTypes, DaysOfTheWeekAreASetOnTheWire) {
  TEwsWeeklyRecurrencePattern pattern(Parse("<t:WeeklyRecurrence/>"));
  pattern.SetDaysOfWeek({dowTuesday, dowMonday});
  EXPECT_EQ(pattern.GetXML(), "<t:WeeklyRecurrence><t:DaysOfWeek>Monday Tuesday</t:DaysOfWeek></t:WeeklyRecurrence>");
  EXPECT_TRUE(pattern.GetDaysOfWeek().Contains(dowTuesday));
  EXPECT_FALSE(pattern.GetDaysOfWeek().Contains(dowSunday));
}

TEST(EWSTypes, GuidsAndBase64AreText) {
  TEwsInboxReminder reminder(Parse("<t:R><t:Id>00020328-0000-0000-C000-000000000046</t:Id></t:R>"));
  EXPECT_EQ(reminder.GetId(), TGUID("00020328-0000-0000-c000-000000000046"));
  TEwsRetentionTag tag(Parse("<t:PolicyTag IsExplicit=\"true\">00020328-0000-0000-c000-000000000046</t:PolicyTag>"));
  EXPECT_EQ(tag.GetValue(), TGUID("00020328-0000-0000-c000-000000000046"));
  EXPECT_TRUE(tag.GetIsExplicit());
  TEwsMessageType_MailboxGuids guids(
      Parse("<t:M><t:MailboxGuid>00020328-0000-0000-c000-000000000046</t:MailboxGuid></t:M>"));
  EXPECT_EQ(guids.GetMailboxGuid().GetItem(0), tag.GetValue());
  TEwsFileAttachment attachment(Parse("<t:FileAttachment><t:Content>AQI=</t:Content></t:FileAttachment>"));
  EXPECT_EQ(attachment.GetContent(), "AQI=");
  EXPECT_EQ(attachment.GetValue<TBytes>(attachment.FindSchemaInfo("Content")->GetIndex()), (TBytes{1, 2}));
}

TEST(EWSTypes, DayIsReadWithATimeZoneBehindIt) {
  TEwsEndDateRecurrenceRange range(Parse("<t:R><t:StartDate>2024-02-29+13:00</t:StartDate></t:R>"));
  EXPECT_EQ(range.GetStartDate(), 45351.0);
  range.SetEndDate(45352.0);
  EXPECT_EQ(range.GetXML(), "<t:R><t:StartDate>2024-02-29+13:00</t:StartDate><t:EndDate>2024-03-01</t:EndDate></t:R>");
}

// ---- Choices

TEST(EWSTypes, RecurrenceTellsItsPatternAndItsRange) {
  TEwsRecurrence recurrence(Parse("<t:Recurrence/>"));
  EXPECT_EQ(recurrence.GetRecurrenceType(), rRelativeYearlyRecurrence) << "the first value, as nothing is there";
  EXPECT_EQ(recurrence.GetRecurrenceType22(), rtNoEndRecurrence);
  recurrence.GetNumberedRecurrence();
  recurrence.GetWeeklyRecurrence();
  EXPECT_EQ(recurrence.GetRecurrenceType(), rWeeklyRecurrence);
  EXPECT_EQ(recurrence.GetRecurrenceType22(), rtNumberedRecurrence);
}

template <typename TRecord, typename TValue>
void ExpectSelector(TValue (TRecord::*get)() const) {
  const TVqEnumInfo& info = VqEnumInfoOf(TValue{});
  for (std::int32_t i = 0; i < info.Count; ++i) {
    TRecord record(Parse("<t:Any/>"));
    EXPECT_EQ((record.*get)(), static_cast<TValue>(0));
    ASSERT_TRUE(record.GetNode("t:" + std::string(info.Texts[i]))) << info.Name << ' ' << info.Texts[i];
    EXPECT_EQ((record.*get)(), static_cast<TValue>(i)) << info.Name << ' ' << info.Texts[i];
  }
}

TEST(EWSTypes, EverySelectorKnowsAllItsAlternatives) {
  ExpectSelector(&TEwsRecurrence::GetRecurrenceType);
  ExpectSelector(&TEwsRecurrence::GetRecurrenceType22);
  ExpectSelector(&TEwsTaskRecurrence::GetTaskRecurrenceType);
  ExpectSelector(&TEwsTaskRecurrence::GetTaskRecurrenceType22);
  ExpectSelector(&TEwsItemChange::GetItemChangeType);
  ExpectSelector(&TEwsFolderChange::GetFolderChangeType);
  ExpectSelector(&TEwsSetItemField::GetSetItemFieldType);
  ExpectSelector(&TEwsAppendToItemField::GetAppendToItemFieldType);
  ExpectSelector(&TEwsSetFolderField::GetSetFolderFieldType);
  ExpectSelector(&TEwsAppendToFolderField::GetAppendToFolderFieldType);
  ExpectSelector(&TEwsExtendedProperty::GetExtendedPropertyType);
  ExpectSelector(&TEwsTimeChange::GetTimeChangeType);
  ExpectSelector(&TEwsItemAttachment::GetItemAttachmentType);
  ExpectSelector(&TEwsConnectingSID::GetConnectingSIDType);
  ExpectSelector(&TEwsFindItemParent::GetFindItemParentType);
}

TEST(EWSTypes, BothAlternativesOfAChoiceCanBeWritten) {
  TEwsItemChange change(Parse("<t:ItemChange/>"));
  change.GetOccurrenceItemId();
  change.GetItemId();
  EXPECT_EQ(change.GetXML(), "<t:ItemChange><t:ItemId/><t:OccurrenceItemId/></t:ItemChange>");
}

// ---- Dictionaries

TEST(EWSTypes, AskingForAnEMailEntryMakesItWithTypeAndRouting) {
  TEwsEmailAddressDictionary addresses(Parse("<t:EmailAddresses/>"));
  TEwsEmailAddressDictionaryEntry& entry = addresses.GetEntry(eakEmailAddress1);
  EXPECT_EQ(entry.AsElement().GetAttribute("Key"), "EmailAddress1");
  EXPECT_EQ(entry.AsElement().GetAttribute("MailboxType"), "OneOff");
  EXPECT_EQ(entry.AsElement().GetAttribute("RoutingType"), "SMTP");
  EXPECT_EQ(addresses.Count(), 1);
  EXPECT_EQ(&addresses.GetEntry(eakEmailAddress1), &entry);
  EXPECT_EQ(addresses.Count(), 1);
  entry.SetValue("ann@example.com");
  EXPECT_EQ(addresses.GetItem(0).GetValue(), "ann@example.com");
}

TEST(EWSTypes, OtherDictionariesGiveANewEntryItsKeyAlone) {
  TEwsPhysicalAddressDictionary physical(Parse("<t:A/>"));
  physical.GetEntry(pakHome).SetCity("Bern");
  EXPECT_EQ(physical.GetXML(), "<t:A><t:Entry Key=\"Home\"><t:City>Bern</t:City></t:Entry></t:A>");
  TEwsPhoneNumberDictionary phones(Parse("<t:P/>"));
  phones.GetEntry(pnkPager);
  EXPECT_EQ(phones.GetXML(), "<t:P><t:Entry Key=\"Pager\"/></t:P>");
  TEwsImAddressDictionary im(Parse("<t:I/>"));
  im.GetEntry(iakImAddress3);
  EXPECT_EQ(im.GetXML(), "<t:I><t:Entry Key=\"ImAddress3\"/></t:I>");
}

TEST(EWSTypes, EntriesWithoutAKeyAreLookedUpByTheirType) {
  TEwsContactUrlDictionary urls(Parse("<t:U><t:Url><t:Type>Feed</t:Type><t:Address>a</t:Address></t:Url></t:U>"));
  EXPECT_EQ(urls.GetEntry(cukFeed).GetAddress(), "a");
  urls.GetEntry(cukOther).SetAddress("b");
  EXPECT_EQ(urls.GetXML(),
            "<t:U><t:Url><t:Type>Feed</t:Type><t:Address>a</t:Address></t:Url>"
            "<t:Url><t:Type>Other</t:Type><t:Address>b</t:Address></t:Url></t:U>");
  TEwsAbchEmailAddressDictionary emails(Parse("<t:E/>"));
  emails.GetEmail(aeatPassport).SetAddress("c");
  EXPECT_EQ(emails.GetXML(), "<t:E><t:Email><t:Type>Passport</t:Type><t:Address>c</t:Address></t:Email></t:E>");
  EXPECT_EQ(emails.Count(), 1);
}

TEST(EWSTypes, FirstEntryOfAKeyIsFoundAmongOthers) {
  TEwsPhoneNumberDictionary phones(
      Parse("<t:P><t:Entry>none</t:Entry><t:Entry Key=\"Unknown\">new</t:Entry><t:Entry Key=\"HomePhone\">1</t:Entry>"
            "<t:Entry Key=\"HomePhone\">2</t:Entry></t:P>"));
  EXPECT_EQ(phones.GetEntry(pnkHomePhone).GetValue(), "1");
  // A key that this version does not know is not taken for the first one.
  EXPECT_EQ(phones.GetEntry(pnkAssistantPhone).GetValue(), "");
  EXPECT_EQ(phones.Count(), 5);
}

// ---- The complete name

class EWSTypesCompleteName : public testing::Test {
 protected:
  // The contact of a request for that version; none without a header.
  TEwsContactItem& Contact(const std::string& version, const std::string& inside = "<t:CompleteName/>") {
    const std::string header =
        version.empty() ? "" : "<soap:Header><t:RequestServerVersion Version=\"" + version + "\"/></soap:Header>";
    const IVqDOMDocument document = VqCreateDOM("<soap:Envelope>" + header + "<soap:Body><t:Contact>" + inside +
                                                "</t:Contact></soap:Body></soap:Envelope>");
    FContact =
        std::make_unique<TEwsContactItem>(document.SelectSingleElement("/Envelope/Body/Contact", kSelectRequired));
    return *FContact;
  }
  string Inner() { return FContact->AsElement().GetInnerXML(); }

  std::unique_ptr<TEwsContactItem> FContact;
};

TEST_F(EWSTypesCompleteName, FirstNameIsWrittenAboveExchange2013Alone) {
  for (const char* version : {"", "Exchange2007_SP1", "Exchange2013", "Exchange1999"}) {
    Contact(version).GetCompleteName().SetFirstName("Ann");
    EXPECT_EQ(Inner(), "<t:CompleteName/>") << version;
  }
  for (const char* version : {"Exchange2013_SP1", "Exchange2016"}) {
    Contact(version).GetCompleteName().SetFirstName("Ann");
    EXPECT_EQ(Inner(), "<t:GivenName>Ann</t:GivenName><t:CompleteName/>") << version;
  }
}

TEST_F(EWSTypesCompleteName, OtherPartsGoIntoTheContactWhateverTheVersion) {
  TEwsCompleteName& name = Contact("Exchange2007").GetCompleteName();
  name.SetSuffix("jr.");
  name.SetLastName("Example");
  name.SetMiddleName("B.");
  name.SetInitials("A.B.E.");
  EXPECT_EQ(Inner(),
            "<t:Initials>A.B.E.</t:Initials><t:MiddleName>B.</t:MiddleName><t:CompleteName/>"
            "<t:Generation>jr.</t:Generation><t:Surname>Example</t:Surname>");
  EXPECT_EQ(name.GetLastName(), "") << "the complete name itself is not written";
}

TEST_F(EWSTypesCompleteName, ElementThatIsThereIsWrittenOver) {
  Contact("", "<t:Surname>Old</t:Surname><t:CompleteName/>").GetCompleteName().SetLastName("New");
  EXPECT_EQ(Inner(), "<t:Surname>New</t:Surname><t:CompleteName/>");
}

TEST_F(EWSTypesCompleteName, UnchangedValueWritesNothing) {
  TEwsCompleteName& name =
      Contact("Exchange2016",
              "<t:CompleteName><t:Title>Dr.</t:Title><t:FirstName>A</t:FirstName><t:MiddleName>B</t:MiddleName>"
              "<t:LastName>C</t:LastName><t:Suffix>D</t:Suffix><t:Initials>E</t:Initials></t:CompleteName>")
          .GetCompleteName();
  const string before = Inner();
  name.SetTitle("Dr.");
  name.SetFirstName("A");
  name.SetMiddleName("B");
  name.SetLastName("C");
  name.SetSuffix("D");
  name.SetInitials("E");
  EXPECT_EQ(Inner(), before);
}

TEST_F(EWSTypesCompleteName, TitleGoesIntoTheValueFirstAndIntoTheURIElementFromThenOn) {
  // On purpose.
  TEwsCompleteName& name = Contact("").GetCompleteName();
  name.SetTitle("Dr.");
  EXPECT_EQ(Inner(),
            "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x3A45\" PropertyType=\"String\"/>"
            "<t:Value>Dr.</t:Value></t:ExtendedProperty><t:CompleteName/>");
  name.SetTitle("Prof.");
  EXPECT_EQ(Inner(),
            "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x3A45\" PropertyType=\"String\">Prof."
            "</t:ExtendedFieldURI><t:Value>Dr.</t:Value></t:ExtendedProperty><t:CompleteName/>");
}

TEST_F(EWSTypesCompleteName, NameWithoutAContactRaises) {
  TEwsCompleteName name(Parse("<t:CompleteName/>"));
  EXPECT_THROW(name.SetLastName("x"), EVqException);
  EXPECT_THROW(name.SetTitle("x"), EVqException);
}

}  // namespace
