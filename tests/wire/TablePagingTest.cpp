// Tables: the cursor and its pages.

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class TablePaging : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  void Fill(int count) {
    for (int i = 0; i < count; ++i) AddMessage("Message " + std::to_string(i));
  }
  TVqRef<IVqEWSItems> Items() {
    auto items = Inbox()->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    return items;
  }
  /// The offsets that the requests of a table asked for.
  Names Offsets(const std::string& operation = "FindItem") {
    Names offsets;
    for (const std::string& body : Requests(operation)) {
      const std::size_t at = body.find("Offset=\"") + 8;
      offsets.push_back(body.substr(at, body.find('"', at) - at));
    }
    return offsets;
  }
  static std::string Page(const std::string& attributes, int rows, const std::string& prefix = "R") {
    std::string content = "<m:RootFolder " + attributes + "><t:Items>";
    for (int i = 0; i < rows; ++i)
      content += "<t:Message><t:ItemId Id=\"" + prefix + std::to_string(i) + "\"/></t:Message>";
    return ReplyOf("FindItem", content + "</t:Items></m:RootFolder>");
  }
};

TEST_F(TablePaging, RequestOfAPageToTheLetter) {
  Fill(1);
  const auto inbox = Inbox();
  auto items = inbox->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  EXPECT_EQ(Sent([&] { items->Open(); }), Names{"FindItem"});
  EXPECT_EQ(Request("FindItem"),
            "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
            "<t:FieldURI FieldURI=\"item:Subject\"/></t:AdditionalProperties></m:ItemShape><m:IndexedPageItemView "
            "MaxEntriesReturned=\"50\" Offset=\"0\" BasePoint=\"Beginning\"/><m:ParentFolderIds>" +
                IdElement("FolderId", inbox->GetID()) + "</m:ParentFolderIds></m:FindItem>");
}

TEST_F(TablePaging, HundredAndTwentyItemsAreThreePages) {
  Fill(120);
  auto items = Items();
  Forget();
  EXPECT_FALSE(items->GetActive());
  items->Open();
  int rows = 0;
  std::set<std::string> subjects;
  for (; !items->Eof(); items->Next()) {
    EXPECT_EQ(Operations().size(), static_cast<std::size_t>(1 + rows / 50)) << rows;  // nothing is fetched ahead
    EXPECT_EQ(items->Count(), 120);
    EXPECT_EQ(Supports<TVqEWSTable>(items)->RowCount(), rows < 100 ? 50 : 20);
    subjects.insert(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8());
    ++rows;
  }
  EXPECT_EQ(rows, 120);
  EXPECT_EQ(subjects.size(), 120u);
  EXPECT_EQ(Offsets(), (Names{"0", "50", "100"}));
  // Behind the end the last row stays readable, however often Next is called.
  const string last = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
  items->Next();
  items->Next();
  EXPECT_TRUE(items->Eof());
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), last);
  EXPECT_EQ(Operations().size(), 3u);
  // Back to the first page, which is gone.
  items->First();
  EXPECT_EQ(Offsets(), (Names{"0", "50", "100", "0"}));
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Message 119");
}

TEST_F(TablePaging, FirstWithinTheFirstPageSendsNothing) {
  Fill(60);
  auto items = Items();
  Forget();
  items->First();  // opens
  EXPECT_EQ(Operations(), Names{"FindItem"});
  const string first = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
  for (int i = 0; i < 30; ++i) items->Next();
  EXPECT_NE(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), first);
  items->First();
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), first);
  items->Open();  // is open
  EXPECT_EQ(Operations(), Names{"FindItem"});
}

TEST_F(TablePaging, FirstKnowsWhereThePageInHandBegins) {
  auto items = Items();
  // A second page although the server's pages are shorter than what was asked for: its first row is not the table's.
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"30\" IndexedPagingOffset=\"20\" IncludesLastItemInRange=\"false\"", 1, "A"));
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"30\" IndexedPagingOffset=\"30\" IncludesLastItemInRange=\"true\"", 2, "B"));
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"30\" IndexedPagingOffset=\"20\" IncludesLastItemInRange=\"false\"", 1, "C"));
  Forget();
  items->Open();
  items->Next();
  EXPECT_EQ(items->GetItemId().Id, "B0");
  items->Next();
  items->First();
  EXPECT_EQ(items->GetItemId().Id, "C0");
  EXPECT_EQ(Offsets(), (Names{"0", "20", "0"}));
}

TEST_F(TablePaging, FirstRewindsAFirstPageWhateverItsOffsetAndThePageSize) {
  auto items = Items();
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"900\" IndexedPagingOffset=\"777\" IncludesLastItemInRange=\"false\"", 3, "A"));
  Forget();
  items->Open();
  items->Next();
  items->SetMaxEntriesPerPage(1);
  items->First();
  EXPECT_EQ(items->GetItemId().Id, "A0");
  EXPECT_EQ(Operations(), Names{"FindItem"});
}

TEST_F(TablePaging, PageThatDoesNotMoveOnIsTold) {
  // The second one comes behind a page that did move on, and would lead back into it.
  const std::pair<const char*, const char*> stuck[] = {
      {"TotalItemsInView=\"9\"", "at row 0 does not move on: more rows follow, says the server, and begin at 0."},
      {"IndexedPagingOffset=\"0\" IncludesLastItemInRange=\"false\"", "begin at 0."},
      {"IndexedPagingOffset=\"-5\" IncludesLastItemInRange=\"false\"", "begin at -5."}};
  for (const auto& [attributes, text] : stuck) {
    auto items = Items();
    AnswerNext("FindItem", Page(attributes, 2, "A"));
    items->Open();
    items->Next();
    Forget();
    const std::string failure = MessageOf<EVqException>([&] { items->Next(); });
    EXPECT_TRUE(failure.ends_with(text)) << failure;
    EXPECT_EQ(Operations(), Names{});
    EXPECT_EQ(items->GetItemId().Id, "A1");  // the rows that came stay
    EXPECT_FALSE(items->Eof());
  }
  auto items = Items();
  AnswerNext("FindItem", Page("IndexedPagingOffset=\"2\" IncludesLastItemInRange=\"false\"", 1, "A"));
  AnswerNext("FindItem", Page("IndexedPagingOffset=\"1\" IncludesLastItemInRange=\"false\"", 2, "B"));
  items->Open();
  items->Next();
  EXPECT_EQ(items->GetItemId().Id, "B0");
  items->Next();
  EXPECT_EQ(MessageOf<EVqException>([&] { items->Next(); }),
            "The page at row 2 does not move on: more rows follow, says the server, and begin at 1.");
}

TEST_F(TablePaging, EmptyPageThatStaysEmptyIsTold) {
  auto items = Items();
  const std::string empty =
      Page("TotalItemsInView=\"5\" IndexedPagingOffset=\"0\" IncludesLastItemInRange=\"false\"", 0);
  AnswerNext("FindItem", empty);
  AnswerNext("FindItem", empty);
  Forget();
  items->Open();
  EXPECT_FALSE(items->Eof());
  EXPECT_EQ(MessageOf<EVqException>([&] { items->Next(); }),
            "The page at row 0 does not move on: more rows follow, says the server, and begin at 0.");
  EXPECT_EQ(Offsets(), (Names{"0", "0"}));
}

TEST_F(TablePaging, RefreshThatFailsLeavesTheTableAsItWas) {
  Fill(5);
  auto items = Items();
  items->SetMaxEntriesPerPage(2);
  std::vector<string> expected, seen;
  for (items->Open(); !items->Eof(); items->Next()) expected.push_back(items->GetItemId().Id);
  items->First();
  for (int i = 0; i < 3; ++i, items->Next()) seen.push_back(items->GetItemId().Id);
  for (const char* body : {"<html/>", ""}) {
    if (*body)
      AnswerNext("FindItem", body);
    else
      RefuseNext("FindItem", "ErrorServerBusy");
    EXPECT_THROW(items->SetActive(true), EVqException);
    EXPECT_TRUE(items->GetActive());
    EXPECT_EQ(items->Count(), 5);
    EXPECT_EQ(items->GetItemId().Id, expected[3]);
  }
  RefuseNext("FindItem", "ErrorServerBusy");
  EXPECT_THROW(items->First(), EEWSException);
  for (; !items->Eof(); items->Next()) seen.push_back(items->GetItemId().Id);
  EXPECT_EQ(seen, expected);  // every row once
}

TEST_F(TablePaging, TableThatFailedToOpenIsClosed) {
  Fill(1);
  auto items = Items();
  RefuseNext("FindItem", "ErrorServerBusy");
  EXPECT_THROW(items->Open(), EEWSException);
  EXPECT_FALSE(items->GetActive());
  EXPECT_EQ(items->Count(), 0);
  items->Open();
  EXPECT_EQ(items->Count(), 1);
}

TEST_F(TablePaging, RefreshAfterTheLastPageBeginsAnewAndGoesOn) {
  Fill(4);
  auto items = Items();
  items->SetMaxEntriesPerPage(2);
  for (items->Open(); !items->Eof(); items->Next()) continue;
  Forget();
  items->SetActive(true);  // what the last page said of being the last is forgotten
  int rows = 0;
  for (; !items->Eof(); items->Next()) ++rows;
  EXPECT_EQ(rows, 4);
  EXPECT_EQ(Offsets(), (Names{"0", "2"}));
  // Nor does a table that was closed on its last page begin as one at its end.
  items->SetActive(false);
  EXPECT_FALSE(items->GetActive());
  EXPECT_EQ(items->Count(), 0);
  rows = 0;
  for (items->Open(); !items->Eof(); items->Next()) ++rows;
  EXPECT_EQ(rows, 4);
}

TEST_F(TablePaging, OnlyTheServersFlagDecidesWhetherThereIsMore) {
  auto items = Items();
  // A full count and a last offset say nothing; the offset of the next request is the server's.
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"2\" IndexedPagingOffset=\"777\" IncludesLastItemInRange=\"false\"", 2, "A"));
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"9\" IndexedPagingOffset=\"2\" IncludesLastItemInRange=\"true\"", 1, "B"));
  Forget();
  items->Open();
  items->Next();
  EXPECT_FALSE(items->Eof());
  items->Next();
  EXPECT_EQ(items->GetItemId().Id, "B0");
  EXPECT_EQ(items->Count(), 9);
  items->Next();
  EXPECT_TRUE(items->Eof());
  EXPECT_EQ(Offsets(), (Names{"0", "777"}));
}

TEST_F(TablePaging, PagesThatComeShortGoOn) {
  auto items = Items();
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"5\" IndexedPagingOffset=\"2\" IncludesLastItemInRange=\"false\"", 2, "A"));
  AnswerNext("FindItem", Page("TotalItemsInView=\"5\" IndexedPagingOffset=\"2\" IncludesLastItemInRange=\"false\"", 0));
  AnswerNext("FindItem",
             Page("TotalItemsInView=\"5\" IndexedPagingOffset=\"5\" IncludesLastItemInRange=\"true\"", 3, "C"));
  std::vector<string> ids;
  Forget();
  items->Open();
  // An empty page with more behind it: not at the end, and no row.
  items->Next();
  items->Next();
  EXPECT_FALSE(items->Eof());
  EXPECT_EQ(items->GetItemId().Id, "");
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }), "There is no data!");
  for (items->Next(); !items->Eof(); items->Next()) ids.push_back(items->GetItemId().Id);
  EXPECT_EQ(ids, (std::vector<string>{"C0", "C1", "C2"}));
  EXPECT_EQ(Offsets(), (Names{"0", "2", "2"}));
}

TEST_F(TablePaging, EmptyFolderIsAtItsEndAtOnce) {
  auto items = Items();
  items->Open();
  EXPECT_TRUE(items->GetActive());
  EXPECT_TRUE(items->Eof());
  EXPECT_EQ(items->Count(), 0);
  EXPECT_EQ(items->GetItemId().Id, "");
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }), "There is no data!");
  EXPECT_FALSE(items->HasField(FLD_ITEM_SUBJECT));
  items->Next();
  EXPECT_TRUE(items->Eof());
  items->First();
  EXPECT_TRUE(items->Eof());
}

TEST_F(TablePaging, FieldsOfAClosedTableHaveNoData) {
  auto items = Items();
  EXPECT_TRUE(items->HasField(FLD_ITEM_SUBJECT));
  EXPECT_FALSE(items->HasField(FLD_ITEM_SIZE));
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }), "There is no data!");
  Fill(1);
  items->Open();
  items->SetActive(false);
  EXPECT_FALSE(items->GetActive());
  EXPECT_EQ(items->Count(), 0);
  EXPECT_EQ(MessageOf<EVqException>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }), "There is no data!");
}

TEST_F(TablePaging, PageSizeMayChangeOnTheWay) {
  Fill(10);
  auto items = Items();
  EXPECT_EQ(items->GetMaxEntriesPerPage(), 50);
  items->SetMaxEntriesPerPage(3);
  Forget();
  items->Open();
  items->SetMaxEntriesPerPage(5);
  int rows = 0;
  for (; !items->Eof(); items->Next()) ++rows;
  EXPECT_EQ(rows, 10);
  EXPECT_EQ(Offsets(), (Names{"0", "3", "8"}));
  EXPECT_NE(Requests("FindItem")[0].find("MaxEntriesReturned=\"3\""), std::string::npos);
  EXPECT_NE(Requests("FindItem")[1].find("MaxEntriesReturned=\"5\""), std::string::npos);
}

TEST_F(TablePaging, PageThatFailsLeavesTheOldOneAndCanBeTriedAgain) {
  Fill(4);
  auto items = Items();
  items->SetMaxEntriesPerPage(2);
  items->Open();
  items->Next();
  const string last = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
  RefuseNext("FindItem", "ErrorServerBusy");
  EXPECT_EQ(CodeOf([&] { items->Next(); }), "ErrorServerBusy");
  EXPECT_FALSE(items->Eof());
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), last);
  AnswerNext("FindItem", "<html/>");
  EXPECT_THROW(items->Next(), EVqException);
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), last);
  AnswerNext("FindItem", Page("TotalItemsInView=\"many\" IncludesLastItemInRange=\"true\"", 1));
  EXPECT_THROW(items->Next(), EConvertError);
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), last);
  items->Next();
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Message 1");
  items->Next();
  items->Next();
  EXPECT_TRUE(items->Eof());
}

TEST_F(TablePaging, RowsOfAllKindsAreRead) {
  auto items = Items();
  AnswerNext("FindItem",
             ReplyOf("FindItem",
                     "<m:RootFolder TotalItemsInView=\"5\" IndexedPagingOffset=\"5\" IncludesLastItemInRange=\"true\">"
                     "<t:Items><t:Message><t:Subject>m1</t:Subject></t:Message><t:Contact><t:Subject>c</t:Subject>"
                     "</t:Contact><t:Message><t:Subject>m2</t:Subject></t:Message><t:MeetingRequest><t:Subject>r"
                     "</t:Subject></t:MeetingRequest><t:PostItem><t:Subject>p</t:Subject></t:PostItem></t:Items>"
                     "</m:RootFolder>"));
  std::string subjects;
  for (items->Open(); !items->Eof(); items->Next()) {
    subjects += items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8() + " ";
  }
  EXPECT_EQ(subjects, "m1 c m2 r p ");
}

TEST_F(TablePaging, ElementsThatAreNoKindOfItemAreReadPast) {
  const auto page = [](const std::string& attributes, const std::string& rows) {
    return ReplyOf("FindItem", "<m:RootFolder " + attributes + "><t:Items>" + rows + "</t:Items></m:RootFolder>");
  };
  const std::string novelty = "<t:Novelty><t:ItemId Id=\"N\"/><t:Subject>n</t:Subject></t:Novelty>";
  const auto message = [](const std::string& subject) {
    return "<t:Message><t:Subject>" + subject + "</t:Subject></t:Message>";
  };
  auto items = Items();
  AnswerNext("FindItem", page("TotalItemsInView=\"8\" IndexedPagingOffset=\"4\" IncludesLastItemInRange=\"false\"",
                              novelty + message("a") + novelty + novelty + message("b") + novelty));
  // A page of nothing else does not stop the walk at a row that is not there.
  AnswerNext("FindItem", page("TotalItemsInView=\"8\" IndexedPagingOffset=\"6\" IncludesLastItemInRange=\"false\"",
                              novelty + novelty));
  AnswerNext("FindItem", page("TotalItemsInView=\"8\" IndexedPagingOffset=\"8\" IncludesLastItemInRange=\"true\"",
                              message("c") + novelty));
  Forget();
  std::string subjects;
  for (items->Open(); !items->Eof(); items->Next())
    subjects += items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8() + " ";
  EXPECT_EQ(subjects, "a b c ");
  EXPECT_EQ(Offsets(), (Names{"0", "4", "6"}));
  EXPECT_EQ(Supports<TVqEWSTable>(items)->RowCount(), 1);
  // At the end of a table, too.
  AnswerNext("FindItem", page("TotalItemsInView=\"1\" IncludesLastItemInRange=\"true\"", novelty));
  items->SetActive(true);
  EXPECT_TRUE(items->Eof());
}

TEST_F(TablePaging, ElementsThatAreNoKindOfFolderAreReadPast) {
  auto folders = Folder(dfinmsgfolderroot)->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  AnswerNext("FindFolder",
             ReplyOf("FindFolder",
                     "<m:RootFolder TotalItemsInView=\"3\" IncludesLastItemInRange=\"true\"><t:Folders>"
                     "<t:PlaceFolder><t:DisplayName>p</t:DisplayName></t:PlaceFolder><t:Folder>"
                     "<t:DistinguishedFolderId>somethingnew</t:DistinguishedFolderId>"
                     "<t:DisplayName>f</t:DisplayName><t:Novelty/></t:Folder></t:Folders></m:RootFolder>"));
  folders->Open();
  EXPECT_EQ(folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString(), "f");
  EXPECT_EQ(folders->FolderFieldType(), sffFolder);
  TEwsFolder row(folders->GetRowElement());
  EXPECT_EQ(row.GetDisplayName(), "f");
  EXPECT_EQ(row.AsElement().SelectSingleElement("DistinguishedFolderId", kSelectQuiet).GetText(), "somethingnew");
  folders->Next();
  EXPECT_TRUE(folders->Eof());
}

TEST_F(TablePaging, WhatARowHasBeyondItsRecordIsReadPast) {
  auto items = Items();
  items->GetFields().Add(FLD_ITEM_IMPORTANCE);
  AnswerNext("FindItem",
             ReplyOf("FindItem",
                     "<m:RootFolder TotalItemsInView=\"1\" IncludesLastItemInRange=\"true\"><t:Items><t:Message>"
                     "<t:Novelty><t:Subject>inner</t:Subject></t:Novelty><t:ItemId Id=\"I\" Extra=\"1\"/>"
                     "<t:Subject>s</t:Subject><t:Importance>Utmost</t:Importance></t:Message></t:Items>"
                     "</m:RootFolder>"));
  items->Open();
  EXPECT_EQ(items->GetItemId().Id, "I");
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "s");
  // A choice that is not known reads as the first one, and its text is there.
  EXPECT_EQ(items->FieldByName(FLD_ITEM_IMPORTANCE).GetValue<TImportanceChoices>(), TImportanceChoices{});
  EXPECT_EQ(items->FieldByName(FLD_ITEM_IMPORTANCE).GetAsString(), "Utmost");
  TEwsMessage row(items->GetRowElement());
  EXPECT_EQ(row.GetImportance(), TImportanceChoices{});
  EXPECT_EQ(row.GetSubject(), "s");
}

TEST_F(TablePaging, RowThatTheArrayDoesNotKnowIsAnAssertion) {
  Fill(1);
  auto items = Items();
  items->Open();
  items->GetRowElement().SetQualifiedName("t:Novelty");  // the page had none
  EXPECT_EQ(MessageOf<EAssertionFailed>([&] { items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }),
            "There is no property with the name: Novelty");
}

/// A table whose rows can be asked for from outside.
class TOpenItems : public TVqEWSItems {
 public:
  using TVqEWSItems::TVqEWSItems;
  using TVqEWSTable::GetRowData;
};

TEST_F(TablePaging, RowsHaveOneStateOfTheirData) {
  Fill(2);
  const auto inbox = Inbox();
  const auto items = MakeRef<TOpenItems>(Supports<TVqEWSFolder>(inbox).get(), inbox->GetID());
  EXPECT_EQ(items->GetRowData(desCurrent, false), nullptr);
  EXPECT_EQ(MessageOf<EVqException>([&] { items->GetRowData(desCurrent, true); }), "There is no data!");
  items->Open();
  TVqXMLSchemaElement* row = items->GetRowData(desCurrent, true);
  EXPECT_EQ(items->GetRowData(desCurrent, true), row);  // found once a row
  EXPECT_EQ(MessageOf<EAssertionFailed>([&] { items->GetRowData(desOriginal, true); }),
            "Assertion failure (ews/uVqEWSTable)");
}

TEST_F(TablePaging, FilteredPagesHaveTwoHundredAndFiftyRowsAtMost) {
  for (int i = 0; i < 300; ++i) AddMessage("Wanted");
  auto items = Items();
  items->SetMaxEntriesPerPage(1000);
  auto filter = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  items->Filter(filter);
  Forget();
  items->Open();
  EXPECT_EQ(Supports<TVqEWSTable>(items)->RowCount(), 250);
  EXPECT_EQ(items->Count(), 300);
  int rows = 0;
  for (; !items->Eof(); items->Next()) ++rows;
  EXPECT_EQ(rows, 300);
  EXPECT_EQ(Offsets(), (Names{"0", "250"}));
}

// ---- Subfolders

TEST_F(TablePaging, SubfoldersAskForAllPropertiesWhateverFieldsAndFilterSay) {
  const auto root = Folder(dfinmsgfolderroot);
  auto folders = root->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  auto filter = Supports<IVqEWSRestrictionExists>(folders->CreateRestriction(rtExists));
  filter->SetFieldDef(FLD_FOLDER_DISPLAYNAME);
  folders->Filter(filter);
  folders->SetMaxEntriesPerPage(5);
  Forget();
  folders->Open();
  EXPECT_EQ(
      Request("FindFolder"),
      "<m:FindFolder Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></m:FolderShape>"
      "<m:IndexedPageFolderView MaxEntriesReturned=\"5\" Offset=\"0\" BasePoint=\"Beginning\"/>"
      "<m:ParentFolderIds>" +
          IdElement("FolderId", root->GetID()) + "</m:ParentFolderIds></m:FindFolder>");
  std::map<std::string, TSetFolderFieldType> kinds;
  for (; !folders->Eof(); folders->Next()) {
    kinds[folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString().utf8()] = folders->FolderFieldType();
  }
  EXPECT_EQ(kinds["Inbox"], sffFolder);
  EXPECT_EQ(kinds["Calendar"], sffCalendarFolder);
  EXPECT_EQ(kinds["Contacts"], sffContactsFolder);
  EXPECT_EQ(kinds["Tasks"], sffTasksFolder);
  EXPECT_EQ(static_cast<int>(kinds.size()), folders->Count());
  EXPECT_GT(Offsets("FindFolder").size(), 1u);
}

TEST_F(TablePaging, FolderRowsHaveNoItemId) {
  auto folders = Folder(dfinmsgfolderroot)->GetSubFolders();
  folders->Open();
  EXPECT_GT(folders->Count(), 0);
  EXPECT_EQ(Supports<TVqEWSFolders>(folders)->GetItemId().Id, "");  // looks for an item's id all the same
}

TEST_F(TablePaging, RowsOfAFolderTableGiveTheIdOfTheFolder) {
  auto folders = Folder(dfinmsgfolderroot)->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_FOLDERID);
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  for (folders->Open(); !folders->Eof(); folders->Next()) {
    const auto id = folders->FieldByName(FLD_FOLDER_FOLDERID).GetValue<TItemId>();
    EXPECT_EQ(Store().GetFolder(id)->GetDisplayName(), folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString());
  }
}

// ---- Size

TEST_F(TablePaging, TenThousandRowsHoldOnePage) {
  for (int i = 0; i < 10'000; ++i) Server().AddItem(kAlice, "inbox", "<t:Message><t:Subject>m</t:Subject></t:Message>");
  auto items = Items();
  items->SetMaxEntriesPerPage(1000);
  Forget();
  int rows = 0;
  for (items->Open(); !items->Eof(); items->Next()) {
    EXPECT_EQ(Supports<TVqEWSTable>(items)->RowCount(), 1000);
    if (items->FieldByName(FLD_ITEM_SUBJECT).GetAsString() == "m") ++rows;
  }
  EXPECT_EQ(rows, 10'000);
  EXPECT_EQ(Operations().size(), 10u);
}

TEST_F(TablePaging, FiveHundredFolders) {
  const auto parent = FolderOfFolders(500);
  EXPECT_EQ(parent->GetChildFolderCount(), 500);
  auto folders = parent->GetSubFolders();
  folders->SetMaxEntriesPerPage(100);
  int rows = 0;
  Forget();
  for (folders->Open(); !folders->Eof(); folders->Next()) ++rows;
  EXPECT_EQ(rows, 500);
  EXPECT_EQ(Operations().size(), 5u);
}

}  // namespace
}  // namespace velmore::testing
