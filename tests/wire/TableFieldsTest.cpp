// Tables: which fields are asked for, the filter in the request, calendar views.

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class TableFields : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  /// What stands in the shape of the last m:FindItem.
  std::string Shape() {
    const std::string body = Request("FindItem");
    const std::size_t from = body.find("<m:ItemShape>") + 13;
    return body.substr(from, body.find("</m:ItemShape>") - from);
  }
  /// The view of the last m:FindItem.
  std::string View() {
    const std::string body = Request("FindItem");
    const std::size_t from = body.find("</m:ItemShape>") + 14;
    return body.substr(from, body.find("/>", from) + 2 - from);
  }
};

TEST_F(TableFields, WithoutFieldsTheDefaultShapeIsAskedFor) {
  AddMessage("Hello");
  auto items = Inbox()->GetItems();
  items->Open();
  EXPECT_EQ(Shape(), "<t:BaseShape>Default</t:BaseShape>");
  EXPECT_FALSE(items->GetItemId().Id.empty());
  EXPECT_FALSE(items->GetItemId().ChangeKey.empty());
  // What the rows have is not a field of the table for that.
  EXPECT_EQ(items->FindField(FLD_ITEM_SUBJECT), nullptr);
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT); }),
            "The requested item (FLD_ITEM_SUBJECT) could not be found!");
}

TEST_F(TableFields, ExtendedFieldsComeFirstAndIndexedOnesLast) {
  auto items = Folder(dfincontacts)->GetItems();
  auto& fields = items->GetFields();
  fields.Add(FLD_CONTACTS_PHONENUMBER_BUSINESSPHONE);
  fields.Add(FLD_ITEM_SUBJECT);
  fields.Add(EFLD_COMMON_PRIVATE);
  fields.Add(FLD_ITEM_ITEMID);  // comes with the shape
  fields.Add(MFLD_SENSITIVITY);
  fields.Add(FLD_ITEM_SIZE);
  items->Open();
  EXPECT_EQ(Shape(),
            "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
            "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\" "
            "PropertyType=\"Boolean\"/>"
            "<t:ExtendedFieldURI PropertyTag=\"0x36\" PropertyType=\"Integer\"/>"
            "<t:FieldURI FieldURI=\"item:Subject\"/><t:FieldURI FieldURI=\"item:Size\"/>"
            "<t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"BusinessPhone\"/>"
            "</t:AdditionalProperties>");
}

TEST_F(TableFields, IdAsTheOnlyFieldAsksForNothing) {
  AddMessage("Hello");
  auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_ITEMID);
  items->Open();
  EXPECT_EQ(Shape(), "<t:BaseShape>IdOnly</t:BaseShape>");
  EXPECT_EQ(items->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>().Id, items->GetItemId().Id);
}

TEST_F(TableFields, ValuesOfAllKinds) {
  AddItem("inbox",
          "<t:Message><t:Subject>Grüße &amp; &lt;mehr&gt;</t:Subject><t:Importance>High</t:Importance>"
          "<t:ExtendedProperty><t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" "
          "PropertyId=\"34054\" PropertyType=\"Boolean\"/><t:Value>true</t:Value></t:ExtendedProperty></t:Message>");
  auto items = Inbox()->GetItems();
  auto& fields = items->GetFields();
  for (auto* field : {&FLD_ITEM_SUBJECT, &FLD_ITEM_IMPORTANCE, &FLD_ITEM_SIZE, &FLD_ITEM_DATETIMECREATED,
                      &FLD_MESSAGE_ISREAD, &FLD_ITEM_INREPLYTO, &EFLD_COMMON_PRIVATE})
    fields.Add(*field);
  items->Open();
  Forget();
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Grüße & <mehr>");
  EXPECT_EQ(items->FieldByName(FLD_ITEM_IMPORTANCE).GetValue<TImportanceChoices>(), icHigh);
  EXPECT_GT(items->FieldByName(FLD_ITEM_SIZE).GetAsInteger(), 0);
  EXPECT_GT(items->FieldByName(FLD_ITEM_DATETIMECREATED).GetAsDateTime(), TDateTime());
  EXPECT_TRUE(items->FieldByName(EFLD_COMMON_PRIVATE).GetAsBoolean());
  EXPECT_TRUE(items->HasField(EFLD_COMMON_PRIVATE));
  EXPECT_TRUE(items->HasField(FLD_ITEM_SUBJECT));
  // A field that the row lacks is not there; reading it gives empty text and asks nobody.
  EXPECT_FALSE(items->HasField(FLD_ITEM_INREPLYTO));
  EXPECT_EQ(items->FieldByName(FLD_ITEM_INREPLYTO).GetAsString(), "");
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(TableFields, WhatARowLacksIsEmptyInEveryForm) {
  AddItem("inbox", "<t:Message><t:Subject>draft</t:Subject></t:Message>");
  auto items = Inbox()->GetItems();
  auto& fields = items->GetFields();
  // Absent, complex, an id, of another kind of item, extended, of a dictionary.
  const TVqEWSFieldDef* const absent[] = {
      &FLD_ITEM_INREPLYTO,          &FLD_MESSAGE_FROM,         &FLD_ITEM_PARENTFOLDERID,
      &FLD_CALENDAR_START,          &FLD_TASK_PERCENTCOMPLETE, &FLD_CONTACTS_COMPLETENAME,
      &FLD_FOLDER_SEARCHPARAMETERS, &EFLD_COMMON_PRIVATE,      &FLD_CONTACTS_PHONENUMBER_HOMEPHONE};
  for (const auto* field : absent) fields.Add(*field);
  AnswerNext("FindItem", ReplyOf("FindItem",
                                 "<m:RootFolder TotalItemsInView=\"1\" IncludesLastItemInRange=\"true\"><t:Items>"
                                 "<t:Message><t:ItemId Id=\"I\"/></t:Message></t:Items></m:RootFolder>"));
  items->Open();
  Forget();
  for (const auto* row : absent) {
    const std::string name = row->FieldDefName.ToString().utf8();
    TVqEWSField& field = items->FieldByName(*row);
    EXPECT_FALSE(field.GetValue<IVqDOMElement>()) << name;
    EXPECT_FALSE(field.GetValue<IVqDOMNode>()) << name;
    EXPECT_EQ(field.GetValue<TItemId>().Id, "") << name;
    for (int pass = 0; pass < 2; ++pass) {  // reading makes the value, and it stays empty
      EXPECT_FALSE(items->HasField(*row)) << name;
      EXPECT_EQ(field.GetAsString(), "") << name;
      EXPECT_EQ(field.GetAsInteger(), 0) << name;
      EXPECT_FALSE(field.GetAsBoolean()) << name;
      EXPECT_EQ(field.GetAsDateTime(), TDateTime()) << name;
      EXPECT_EQ(field.GetValue<string>(), "") << name;
      EXPECT_EQ(field.GetValue<std::int32_t>(), 0) << name;
      EXPECT_EQ(field.GetValue<std::int64_t>(), 0) << name;
      EXPECT_EQ(field.GetValue<double>(), 0) << name;
      EXPECT_FALSE(field.GetValue<bool>()) << name;
      EXPECT_EQ(field.GetValue<TDateTime>(), TDateTime()) << name;
      EXPECT_EQ(field.GetValue<TGUID>(), TGUID()) << name;
      EXPECT_EQ(field.GetValue<TImportanceChoices>(), TImportanceChoices{}) << name;
    }
    EXPECT_EQ(field.GetValue<IVqDOMElement>().GetText(), "") << name;
  }
  EXPECT_EQ(Operations(), Names{});
  // What a row has and cannot be what was asked for is still told.
  EXPECT_TRUE(items->GetItemId().Id == "I");
}

TEST_F(TableFields, HasFieldTellsWhatTheServerGave) {
  AnswerNext("FindItem",
             ReplyOf("FindItem",
                     "<m:RootFolder TotalItemsInView=\"2\" IncludesLastItemInRange=\"true\"><t:Items>"
                     "<t:Message><t:Subject/></t:Message><t:Message><t:ItemId Id=\"I\"/></t:Message></t:Items>"
                     "</m:RootFolder>"));
  auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->GetFields().Add(FLD_ITEM_ITEMID);
  items->Open();
  EXPECT_TRUE(items->HasField(FLD_ITEM_SUBJECT));  // there, and empty
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "");
  EXPECT_TRUE(items->HasField(FLD_ITEM_SUBJECT));
  EXPECT_FALSE(items->HasField(FLD_ITEM_ITEMID));
  items->Next();
  EXPECT_FALSE(items->HasField(FLD_ITEM_SUBJECT));
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "");
  EXPECT_FALSE(items->HasField(FLD_ITEM_SUBJECT));
  EXPECT_TRUE(items->HasField(FLD_ITEM_ITEMID));
  items->First();
  items->Next();
  EXPECT_FALSE(items->HasField(FLD_ITEM_SUBJECT));  // as long as the page is there
  items->FieldByName(FLD_ITEM_SUBJECT).SetAsString("written");
  EXPECT_TRUE(items->HasField(FLD_ITEM_SUBJECT));
}

TEST_F(TableFields, ValuesOfAnotherTypeAreTold) {
  AddItem("inbox", "<t:Message><t:Subject>s</t:Subject></t:Message>");
  auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->GetFields().Add(FLD_ITEM_PARENTFOLDERID);
  items->Open();
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetValue<std::int32_t>(); }),
            "Failed to get the value for Subject!\r\nType std::int32_t expected, but type string returned!");
  EXPECT_THROW(items->FieldByName(FLD_ITEM_PARENTFOLDERID).GetValue<string>(), EVqException);
}

TEST_F(TableFields, IndexedEntriesHaveTheirStepTwice) {
  // The path of the entry is asked for once by its field, and once more by the property's own path: the row has it, and
  // its column does not.
  AddItem(
      "contacts",
      "<t:Contact><t:DisplayName>Ann</t:DisplayName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">ann@example.com"
      "</t:Entry></t:EmailAddresses><t:PhysicalAddresses><t:Entry Key=\"Home\"><t:City>Lund</t:City></t:Entry>"
      "</t:PhysicalAddresses><t:PhoneNumbers><t:Entry Key=\"BusinessPhone\">123</t:Entry>"
      "<t:Entry Key=\"HomePhone\">456</t:Entry></t:PhoneNumbers></t:Contact>");
  const std::string page =
      ReplyOf("FindItem",
              "<m:RootFolder TotalItemsInView=\"1\" IncludesLastItemInRange=\"true\"><t:Items>"
              "<t:Contact><t:ItemId Id=\"I\"/><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">"
              "ann@example.com</t:Entry></t:EmailAddresses><t:PhysicalAddresses><t:Entry "
              "Key=\"Home\"><t:City>Lund</t:City></t:Entry></t:PhysicalAddresses><t:PhoneNumbers>"
              "<t:Entry Key=\"BusinessPhone\">123</t:Entry><t:Entry Key=\"HomePhone\">456</t:Entry>"
              "</t:PhoneNumbers></t:Contact></t:Items></m:RootFolder>");
  for (const bool byServer : {true, false}) {
    auto items = Folder(dfincontacts)->GetItems();
    for (auto* field : {&FLD_CONTACTS_PHONENUMBER_HOMEPHONE, &FLD_CONTACTS_EMAILADDRESS1})
      items->GetFields().Add(*field);
    if (!byServer) AnswerNext("FindItem", page);
    items->Open();
    ASSERT_EQ(items->Count(), 1);
    EXPECT_FALSE(items->HasField(FLD_CONTACTS_PHONENUMBER_HOMEPHONE));
    const IVqDOMElement row = items->GetRowElement();
    EXPECT_EQ(VqEntryOf(row, FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetText(), "456");
    EXPECT_EQ(VqEntryOf(row, FLD_CONTACTS_EMAILADDRESS1).GetText(), "ann@example.com");
    EXPECT_EQ(items->FieldByName(FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetAsString(), "");
    EXPECT_EQ(VqEntryOf(row, FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetText(), "456");  // not what reading made
    EXPECT_FALSE(VqEntryOf(row, FLD_CONTACTS_PHONENUMBER_PAGER));
    if (byServer) continue;
    EXPECT_EQ(VqEntryOf(row, FLD_CONTACTS_PHONENUMBER_BUSINESSPHONE).GetText(), "123");
    EXPECT_EQ(VqEntryOf(row, FLD_CONTACTS_PHYSICALADDRESS_HOME).SelectSingleElement("City", kSelectQuiet).GetText(),
              "Lund");
    TEwsContactItem contact(row);
    EXPECT_EQ(contact.GetPhoneNumbers().GetEntry(pnkHomePhone).GetValue(), "456");
    items->Next();
    EXPECT_TRUE(items->GetRowElement());  // behind the end the last row stays
    items->SetActive(false);
    EXPECT_FALSE(items->GetRowElement());
    EXPECT_FALSE(VqEntryOf(items->GetRowElement(), FLD_CONTACTS_EMAILADDRESS1));
  }
  static constexpr TVqEWSFieldDef noProperty{.FieldDefName = "TEST_NOPROPERTY"};
  EXPECT_EQ(MessageOf<EVqException>([&] { VqEntryOf({}, noProperty); }),
            "The field definition \"TEST_NOPROPERTY\" has no property!");
}

// ---- Filters

TEST_F(TableFields, FilterIsWrittenAnewForEachPage) {
  for (int i = 0; i < 4; ++i) AddMessage("Hello");
  const auto inbox = Inbox();
  auto items = inbox->GetItems();
  items->SetMaxEntriesPerPage(2);
  auto all = Supports<IVqEWSRestrictionAnd>(items->CreateRestriction(rtAnd));
  auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  exists->SetFieldDef(FLD_ITEM_SUBJECT);
  auto not1 = Supports<IVqEWSRestrictionNot>(items->CreateRestriction(rtNot));
  auto mask = Supports<IVqEWSRestrictionBitMask>(items->CreateRestriction(rtBitmask));
  mask->SetFieldDef(FLD_ITEM_SIZE);
  mask->SetBitMask(0);
  all->AddRestriction(exists);
  all->AddRestriction(mask);
  items->Filter(all);
  items->Open();
  const std::string restriction =
      "<m:Restriction><t:And><t:Exists><t:FieldURI FieldURI=\"item:Subject\"/></t:Exists>"
      "<t:Excludes><t:FieldURI FieldURI=\"item:Size\"/><t:Bitmask Value=\"0\"/></t:Excludes>"
      "</t:And></m:Restriction>";
  EXPECT_EQ(Request("FindItem"),
            "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>Default</t:BaseShape></m:ItemShape>"
            "<m:IndexedPageItemView MaxEntriesReturned=\"2\" Offset=\"0\" BasePoint=\"Beginning\"/>" +
                restriction + "<m:ParentFolderIds>" + IdElement("FolderId", inbox->GetID()) +
                "</m:ParentFolderIds></m:FindItem>");
  all->RemoveRestriction(mask);
  items->Next();
  items->Next();
  EXPECT_NE(Request("FindItem").find("<t:And><t:Exists><t:FieldURI FieldURI=\"item:Subject\"/></t:Exists></t:And>"),
            std::string::npos);
  EXPECT_NE(Request("FindItem").find("Offset=\"2\""), std::string::npos);
}

TEST_F(TableFields, FilterOnAnOpenTableCountsFromTheNextRequest) {
  for (int i = 0; i < 4; ++i) AddMessage(i % 2 == 0 ? "even" : "odd");
  auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->Open();
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  filter->SetValue(string("odd"));
  Forget();
  items->Filter(filter);
  int rows = 0;
  for (; !items->Eof(); items->Next()) ++rows;
  EXPECT_EQ(rows, 4);
  EXPECT_EQ(Operations(), Names{});
  items->SetActive(true);
  EXPECT_EQ(items->Count(), 2);
  items->Filter({});
  items->SetActive(true);
  EXPECT_EQ(items->Count(), 4);
}

TEST_F(TableFields, ATypedQuoteCannotAddACondition) {
  AddMessage("public");
  AddMessage("secret");
  auto items = Inbox()->GetItems();
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  items->Filter(filter);
  const string typed =
      "x\"/></t:FieldURIOrConstant></t:IsEqualTo><t:Exists><t:FieldURI FieldURI=\"item:Subject\"/></t:Exists>"
      "<t:IsEqualTo><t:FieldURI FieldURI=\"item:Subject\"/><t:FieldURIOrConstant><t:Constant Value=\"x";
  EXPECT_EQ(MessageOf<EVqXMLError>([&] { filter->SetValue(typed); }),
            "The value of the filter on FLD_ITEM_SUBJECT has a quote: set it as text with SetTextValue, or escape it "
            "with VqEscapeXML.");
  filter->SetTextValue(typed);
  items->Open();
  EXPECT_EQ(items->Count(), 0);
  filter->SetValue(VqEscapeXML(typed));
  items->SetActive(true);
  EXPECT_EQ(items->Count(), 0);
}

TEST_F(TableFields, TextIsFoundWhateverStandsInIt) {
  const Names subjects = {"Birch & Sons", "a<b>c", "say \"yes\"", "it's",
                          "&amp;",        "&#65;", "100 %",       "\xF0\x9F\x98\x80 ok"};
  for (const std::string& subject : subjects)
    AddItem("inbox", "<t:Message><t:Subject>" + VqEscapeXML(subject).utf8() + "</t:Subject></t:Message>");
  for (const bool strict : {false, true}) {
    Session().SetStrictSchema(strict);
    for (const std::string& subject : subjects) {
      auto items = Inbox()->GetItems();
      items->GetFields().Add(FLD_ITEM_SUBJECT);
      auto compare = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
      compare->SetFieldDef(FLD_ITEM_SUBJECT);
      compare->SetTextValue(subject);
      auto content = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
      content->SetFieldDef(FLD_ITEM_SUBJECT);
      content->SetContainmentMode(cmPrefixed);
      content->SetTextValue(subject);
      for (const TVqRef<IVqEWSRestriction>& filter :
           {TVqRef<IVqEWSRestriction>(compare), TVqRef<IVqEWSRestriction>(content)}) {
        items->Filter(filter);
        items->SetActive(true);
        ASSERT_EQ(items->Count(), 1) << subject << (strict ? " in the schema's form" : " in the library's form");
        EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), string(subject));
      }
    }
  }
}

TEST_F(TableFields, ReferencesInAValueAreMarkup) {
  AddMessage("a<b");
  auto items = Inbox()->GetItems();
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  items->Filter(filter);
  for (const char* reference : {"a&lt;b", "a&#60;b", "a&#x3C;b"}) {
    filter->SetValue(string(reference));
    items->SetActive(true);
    EXPECT_EQ(items->Count(), 1) << reference;
  }
}

TEST_F(TableFields, RestrictionOutlivesNothingButItsReferences) {
  TVqRef<IVqEWSRestriction> filter;
  {
    auto items = Inbox()->GetItems();
    filter = items->CreateRestriction(rtAnd);
  }
  EXPECT_EQ(filter->GetRestrictionType(), rtAnd);  // the table is gone: restrictions do not keep it
  EXPECT_EQ(filter->GetCreatedBy(), nullptr);
}

TEST_F(TableFields, RefusedFilterIsTheServersError) {
  AddMessage("Hello");
  auto items = Inbox()->GetItems();
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SIZE);
  filter->SetValue(string("big"));
  items->Filter(filter);
  EXPECT_EQ(CodeOf([&] { items->Open(); }), "ErrorInvalidValueForProperty");
}

// ---- Calendar views

class CalendarViews : public TableFields {
 protected:
  TVqRef<IVqEWSCalendarFolder> Calendar() { return Supports<IVqEWSCalendarFolder>(Folder(dfincalendar)); }
  void AddDaily(int count) {
    AddItem(
        "calendar",
        "<t:CalendarItem><t:Subject>Daily</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start><t:End>2026-03-02T10:00:"
        "00Z</t:End><t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence>"
        "<t:NumberedRecurrence><t:StartDate>2026-03-02Z</t:StartDate><t:NumberOfOccurrences>" +
            std::to_string(count) + "</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence></t:CalendarItem>");
  }
  static TDateTime Day(int day) { return VqXMLToDateTime("2026-03-0" + std::to_string(day) + "T00:00:00Z"); }
};

TEST_F(CalendarViews, WindowIsAskedForAndOccurrencesAreExpanded) {
  AddDaily(20);
  const auto calendar = Calendar();
  auto view = calendar->GetCalendarView(Day(3), Day(6), 100);
  view->GetFields().Add(FLD_CALENDAR_START);
  Forget();
  std::string starts;
  for (view->Open(); !view->Eof(); view->Next())
    starts += view->FieldByName(FLD_CALENDAR_START).GetAsString().utf8() + " ";
  EXPECT_EQ(starts, "2026-03-03T09:00:00Z 2026-03-04T09:00:00Z 2026-03-05T09:00:00Z ");
  EXPECT_EQ(view->Count(), 3);
  EXPECT_EQ(Operations(), Names{"FindItem"});
  EXPECT_EQ(Request("FindItem"),
            "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
            "<t:FieldURI FieldURI=\"calendar:Start\"/></t:AdditionalProperties></m:ItemShape><m:CalendarView "
            "MaxEntriesReturned=\"100\" StartDate=\"" +
                VqDateTimeToXML(Day(3)).utf8() + "\" EndDate=\"" + VqDateTimeToXML(Day(6)).utf8() +
                "\"/><m:ParentFolderIds>" + IdElement("FolderId", calendar->GetID()) +
                "</m:ParentFolderIds></m:FindItem>");
}

TEST_F(CalendarViews, OnePageOnly) {
  AddDaily(20);
  auto view = Calendar()->GetCalendarView(Day(2), Day(9), 3);
  Forget();
  int rows = 0;
  for (view->Open(); !view->Eof(); view->Next()) ++rows;
  EXPECT_EQ(rows, 3);
  EXPECT_EQ(Operations(), Names{"FindItem"});
  view->First();
  EXPECT_FALSE(view->Eof());
  EXPECT_EQ(Operations(), Names{"FindItem"});
}

TEST_F(CalendarViews, EmptyWindowOrNoLimitPagesTheFolderOnce) {
  for (int i = 0; i < 3; ++i)
    AddItem(
        "calendar",
        "<t:CalendarItem><t:Start>2026-03-02T09:00:00Z</t:Start><t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>");
  const std::string paged = "<m:IndexedPageItemView MaxEntriesReturned=\"2\" Offset=\"0\" BasePoint=\"Beginning\"/>";
  const auto calendar = Calendar();
  const auto check = [&](const TVqRef<IVqEWSItems>& view) {
    view->SetMaxEntriesPerPage(2);
    Forget();
    int rows = 0;
    for (view->Open(); !view->Eof(); view->Next()) ++rows;
    EXPECT_EQ(rows, 2);  // although there are more
    EXPECT_EQ(Operations(), Names{"FindItem"});
    EXPECT_EQ(View(), paged);
  };
  check(calendar->GetCalendarView(Day(3), Day(3), 10));
  check(calendar->GetCalendarView(Day(4), Day(3), 10));
  check(calendar->GetCalendarView(Day(2), Day(3), 0));
  check(calendar->GetCalendarView(Day(2), Day(3), -1));
}

TEST_F(CalendarViews, SecondViewChangesWhatTheFirstAsksNext) {
  AddDaily(5);
  const auto calendar = Calendar();
  auto first = calendar->GetCalendarView(Day(2), Day(3), 10);
  first->Open();
  EXPECT_EQ(first->Count(), 1);
  auto second = calendar->GetCalendarView(Day(2), Day(5), 20);
  EXPECT_EQ(first->Count(), 1);
  first->SetActive(true);
  EXPECT_EQ(first->Count(), 3);
  EXPECT_NE(View().find("MaxEntriesReturned=\"20\""), std::string::npos);
}

TEST_F(CalendarViews, ItemsOfACalendarAreAnOrdinaryTable) {
  AddDaily(5);
  const auto calendar = Calendar();
  calendar->GetCalendarView(Day(2), Day(5), 20);
  auto items = calendar->GetItems();
  items->Open();
  EXPECT_EQ(items->Count(), 1);  // the series itself
  EXPECT_EQ(View(), "<m:IndexedPageItemView MaxEntriesReturned=\"50\" Offset=\"0\" BasePoint=\"Beginning\"/>");
}

}  // namespace
}  // namespace velmore::testing
