// The order of rows, and tables that end after so many.

#include "ews/idioms/uVqEWSRanges.h"
#include "ews/schema/uVqEWSPropsEFLD.h"
#include "tests/wire/BothForms.h"

namespace velmore::testing {
namespace {

class TableOrder : public BothFormsTest {
 protected:
  /// What the rows of a table have as their subjects, from the first to the last.
  static Names Subjects(const TVqRef<IVqEWSItems>& items) {
    Names subjects;
    for (const auto row : items) subjects.push_back(row[FLD_ITEM_SUBJECT].GetAsString().utf8());
    return subjects;
  }
  /// What stands between the tags of the order in the last request; empty for none.
  std::string Order() {
    const std::string request = Request("FindItem");
    const std::size_t from = request.find("<m:SortOrder>");
    if (from == std::string::npos) return "";
    return request.substr(from + 13, request.find("</m:SortOrder>") - from - 13);
  }
  /// The numbers of rows that the requests asked for.
  Names Asked() {
    Names asked;
    for (const std::string& body : Requests("FindItem")) {
      const std::size_t at = body.find("MaxEntriesReturned=\"") + 20;
      asked.push_back(body.substr(at, body.find('"', at) - at));
    }
    return asked;
  }
  TVqRef<IVqEWSItems> Items() { return VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT); }
  void AddWithImportance(const std::string& subject, const std::string& importance) {
    AddItem("inbox", "<t:Message><t:Subject>" + subject + "</t:Subject><t:Importance>" + importance +
                         "</t:Importance></t:Message>");
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, TableOrder, ::testing::Bool(), FormOf);

TEST_P(TableOrder, StandsBehindTheFilterAndBeforeTheFolder) {
  AddMessage("b");
  AddMessage("a");
  const auto items = Items();
  const auto filter = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  items->Filter(filter);
  items->SetSortOrder(FLD_ITEM_SUBJECT);
  EXPECT_EQ(Subjects(items), (Names{"a", "b"}));
  const std::string request = Request("FindItem");
  EXPECT_NE(request.find("</m:Restriction><m:SortOrder><t:FieldOrder Order=\"Ascending\"><t:FieldURI "
                         "FieldURI=\"item:Subject\"/></t:FieldOrder></m:SortOrder><m:ParentFolderIds>"),
            std::string::npos)
      << request;
}

TEST_P(TableOrder, OneColumnEitherWayAndNone) {
  for (const char* subject : {"b", "c", "a"}) AddMessage(subject);
  const auto items = Items();
  EXPECT_EQ(Subjects(items), (Names{"a", "c", "b"})) << "the newest first";
  EXPECT_EQ(Order(), "");
  items->SetSortOrder(FLD_ITEM_SUBJECT, sdDescending);
  EXPECT_EQ(Subjects(items), (Names{"a", "c", "b"})) << "a page that is there stays";
  items->SetActive(false);
  EXPECT_EQ(Subjects(items), (Names{"c", "b", "a"}));
  EXPECT_EQ(items->GetSortOrder().size(), 1u);
  items->SetSortOrder({});
  items->SetActive(false);
  EXPECT_EQ(Subjects(items), (Names{"a", "c", "b"}));
  EXPECT_EQ(Order(), "");
}

TEST_P(TableOrder, TheFirstColumnCountsMost) {
  AddWithImportance("b", "Low");
  AddWithImportance("c", "High");
  AddWithImportance("a", "High");
  const auto items = Items();
  items->SetSortOrder({{FLD_ITEM_IMPORTANCE, sdDescending}, FLD_ITEM_SUBJECT});
  EXPECT_EQ(Subjects(items), (Names{"a", "c", "b"}));
  EXPECT_EQ(Order(),
            "<t:FieldOrder Order=\"Descending\"><t:FieldURI FieldURI=\"item:Importance\"/></t:FieldOrder>"
            "<t:FieldOrder Order=\"Ascending\"><t:FieldURI FieldURI=\"item:Subject\"/></t:FieldOrder>");
}

TEST_P(TableOrder, ByPropertiesOfMapiAndByEntriesOfDictionaries) {
  AddMessage("a");
  const auto items = Items();
  items->SetSortOrder(EFLD_BILLING);
  items->Open();
  EXPECT_NE(Order().find("<t:ExtendedFieldURI "), std::string::npos) << Order();
  const auto people = VqItemsOf(*Folder(dfincontacts), FLD_CONTACTS_DISPLAYNAME);
  people->SetSortOrder(FLD_CONTACTS_PHONENUMBER_HOMEPHONE, sdDescending);
  people->Open();
  EXPECT_EQ(Order(),
            "<t:FieldOrder Order=\"Descending\"><t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" "
            "FieldIndex=\"HomePhone\"/></t:FieldOrder>");
}

TEST_P(TableOrder, HoldsForEveryPage) {
  for (const char* subject : {"d", "b", "e", "a", "c"}) AddMessage(subject);
  const auto items = Items();
  items->SetSortOrder(FLD_ITEM_SUBJECT);
  items->SetMaxEntriesPerPage(2);
  EXPECT_EQ(Subjects(items), (Names{"a", "b", "c", "d", "e"}));
  EXPECT_EQ(Asked(), (Names{"2", "2", "2"}));
}

TEST_P(TableOrder, ACalendarViewHasAnOrderOfItsOwn) {
  const auto view = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar))->GetCalendarView(46000.0, 46010.0, 5);
  view->SetSortOrder(FLD_ITEM_SUBJECT);
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { view->Open(); }), "A calendar view is ordered by the start of its items.");
  EXPECT_TRUE(Operations().empty());
}

// ---- Tables that end

TEST_P(TableOrder, TheTenNewestAreOneRequestOfTenRows) {
  for (int i = 0; i < 30; ++i) AddMessage("Message " + std::to_string(i));
  const auto items = Items();
  items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  items->SetMaxEntries(10);
  Forget();
  EXPECT_EQ(Subjects(items).size(), 10u);
  EXPECT_EQ(Asked(), Names{"10"});
  EXPECT_EQ(items->Count(), 30);
  EXPECT_TRUE(items->Eof());
  items->Next();
  EXPECT_EQ(Asked(), Names{"10"});
  EXPECT_EQ(Subjects(items).size(), 10u);
  EXPECT_EQ(Asked(), Names{"10"}) << "the page is still there";
}

TEST_P(TableOrder, TheLastPageIsCutToWhatIsMissing) {
  for (int i = 0; i < 30; ++i) AddMessage("Message " + std::to_string(i));
  const auto items = Items();
  items->SetMaxEntries(25);
  items->SetMaxEntriesPerPage(10);
  EXPECT_EQ(Subjects(items).size(), 25u);
  EXPECT_EQ(Asked(), (Names{"10", "10", "5"}));
  EXPECT_EQ(Subjects(items).size(), 25u);
  EXPECT_EQ(Asked(), (Names{"10", "10", "5", "10", "10", "5"}));
  items->SetMaxEntries(0);
  EXPECT_EQ(Subjects(items).size(), 30u);
}

TEST_P(TableOrder, ABoundBeyondWhatThereIsChangesNothing) {
  for (int i = 0; i < 3; ++i) AddMessage("Message " + std::to_string(i));
  const auto items = Items();
  items->SetMaxEntries(100);
  EXPECT_EQ(items->GetMaxEntries(), 100);
  EXPECT_EQ(Subjects(items).size(), 3u);
  EXPECT_EQ(Asked(), Names{"50"});
}

TEST_P(TableOrder, AServerThatGivesMoreIsCut) {
  std::string rows;
  for (int i = 0; i < 5; ++i) rows += "<t:Message><t:ItemId Id=\"R" + std::to_string(i) + "\"/></t:Message>";
  AnswerNext("FindItem", ReplyOf("FindItem",
                                 "<m:RootFolder IndexedPagingOffset=\"5\" TotalItemsInView=\"9\" "
                                 "IncludesLastItemInRange=\"false\"><t:Items>" +
                                     rows + "</t:Items></m:RootFolder>"));
  const auto items = Items();
  items->SetMaxEntries(3);
  Names ids;
  for (const auto row : items) ids.push_back(row.Id().Id.utf8());
  EXPECT_EQ(ids, (Names{"R0", "R1", "R2"}));
}

TEST_P(TableOrder, CalendarViewsAndFoldersEndToo) {
  AddItem("calendar",
          "<t:CalendarItem><t:Subject>One</t:Subject><t:Start>2026-03-02T10:00:00Z</t:Start>"
          "<t:End>2026-03-02T11:00:00Z</t:End></t:CalendarItem>");
  AddItem("calendar",
          "<t:CalendarItem><t:Subject>Two</t:Subject><t:Start>2026-03-03T10:00:00Z</t:Start>"
          "<t:End>2026-03-03T11:00:00Z</t:End></t:CalendarItem>");
  const auto view = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar))->GetCalendarView(46083.0, 46090.0, 50);
  view->GetFields().Add(FLD_ITEM_SUBJECT);
  view->SetMaxEntries(1);
  Forget();
  EXPECT_EQ(Subjects(view), Names{"One"});
  EXPECT_EQ(Asked(), Names{"1"});
  const auto folders = Folder(dfinmsgfolderroot)->GetSubFolders();
  folders->SetMaxEntries(2);
  int rows = 0;
  for ([[maybe_unused]] const auto row : folders) ++rows;
  EXPECT_EQ(rows, 2);
  EXPECT_NE(Request("FindFolder").find("MaxEntriesReturned=\"2\""), std::string::npos);
}

TEST_P(TableOrder, ANegativeBoundIsNone) {
  const auto items = Items();
  EXPECT_EQ(MessageOf<EVqException>([&] { items->SetMaxEntries(-1); }),
            "A table cannot end after a negative number of rows.");
}

TEST_P(TableOrder, ARefusedColumnIsTold) {
  RefuseNext("FindItem", "ErrorUnsupportedPathForSortGroup");
  const auto items = Items();
  items->SetSortOrder(FLD_ITEM_SUBJECT);
  EXPECT_EQ(CodeOf([&] { items->Open(); }), "ErrorUnsupportedPathForSortGroup");
}

}  // namespace
}  // namespace velmore::testing
