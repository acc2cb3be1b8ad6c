// A table's fields read from pages in memory: whatever a row looks like, a field reads what its selection finds.

#include <gtest/gtest.h>

#include <random>

#include "ews/model/uVqEWSBase.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSTypes.h"
#include "ews/stores/uVqEWSTable.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {
namespace {

class TPageSession : public TVqEWSBaseSession {
 public:
  TPageSession() : TVqEWSBaseSession(nullptr) {}

  TVqCredentials& GetCredentials() override { throw EVqException("none"); }
  string GetServiceURL() override { return {}; }
  TServerVersion GetServerVersion() override { return Exchange2016; }
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool) override { return {}; }
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>&) override { return nullptr; }
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient*, const string&, const string&) override { return {}; }
  void CheckResponseError(const IVqDOMElement&) override {}
};

/// A table over pages in memory.
class TPageTable : public TVqEWSTable {
 public:
  TPageTable(TVqComponent* creator, std::vector<std::string> pages)
      : TVqEWSTable(creator, true), FPages(std::move(pages)) {}

  using TVqEWSTable::GetRowElement;

 protected:
  void GetNextPage() override {
    const std::string& rows = FPages.at(FNext++);
    const bool last = FNext == FPages.size();
    const TVqDOMDocument document("<m:RootFolder TotalItemsInView=\"9\" IndexedPagingOffset=\"" +
                                  std::to_string(FNext) + "\" IncludesLastItemInRange=\"" +
                                  std::string(last ? "true" : "false") + "\"><t:Items>" + rows +
                                  "</t:Items></m:RootFolder>");
    SetData(std::make_unique<TEwsArrayOfRealItems>(document.GetDocumentElement().GetFirstChildElement()));
  }

 private:
  std::vector<std::string> FPages;
  std::size_t FNext = 0;
};

class TableCells : public ::testing::Test {
 protected:
  TVqRef<TPageTable> Table(std::vector<std::string> pages) {
    const auto table = MakeRef<TPageTable>(&FSession, std::move(pages));
    for (auto* field : {&FLD_ITEM_SUBJECT, &FLD_ITEM_SIZE, &FLD_ITEM_CULTURE, &FLD_ITEM_DISPLAYTO})
      table->GetFields().Add(*field);
    return table;
  }
  static std::string Row(TPageTable& table) {
    std::string row;
    for (std::int32_t i = 0; i < table.GetFields().Count(); ++i)
      row += table.GetFields().GetItem(i).GetAsString().utf8() + ";";
    return row;
  }

  TPageSession FSession;
};

TEST_F(TableCells, AreReadInAnyOrder) {
  const auto table =
      Table({"<t:Message><t:Subject>a</t:Subject><t:Size>1</t:Size><t:Culture>en</t:Culture><t:DisplayTo>x</"
             "t:DisplayTo></t:Message>"
             "<t:Message><t:DisplayTo>y</t:DisplayTo><t:Culture>de</t:Culture><t:Size>2</t:Size><t:Subject>b</"
             "t:Subject></t:Message>"
             "<t:Message><t:ItemId Id=\"1\"/><t:Culture>fr</t:Culture><t:Subject>c</t:Subject></t:Message>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;1;en;x;");
  table->Next();
  EXPECT_EQ(Row(*table), "b;2;de;y;");
  table->Next();
  EXPECT_EQ(Row(*table), "c;;fr;;");
  table->First();
  EXPECT_EQ(table->FieldByName(FLD_ITEM_DISPLAYTO).GetAsString(), "x");
  EXPECT_EQ(table->FieldByName(FLD_ITEM_SIZE).GetAsInteger(), 1);
}

TEST_F(TableCells, AreTheFirstOfTheirNameWhateverPrefixAndCase) {
  const auto table = Table(
      {"<t:Message><t:Size>1</t:Size><x:subject>a</x:subject><t:Subject>b</t:Subject><t:Size>2</t:Size></t:Message>"
       "<t:Message><t:Subject>c</t:Subject><t:Extra><t:Size>8</t:Size></t:Extra><SIZE>3</SIZE></t:Message>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;1;;;");
  table->Next();
  EXPECT_EQ(Row(*table), "c;3;;;");
}

TEST_F(TableCells, AreNotWhatOnlyEndsInTheirName) {
  const auto table =
      Table({"<t:Message><t:Subject>a</t:Subject><t:BodySize>9</t:BodySize><t:Size>1</t:Size></t:Message>"
             "<t:Message><NoSubject>9</NoSubject><t:Subject>b</t:Subject><t:x:Size>9</t:x:Size><y:Size>2</y:Size></"
             "t:Message>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;1;;;");
  table->Next();
  EXPECT_EQ(Row(*table), "b;2;;;");
}

TEST_F(TableCells, MissingOnesAreMadeOnceAndOthersStay) {
  const auto table = Table({"<t:Message><t:Subject>a</t:Subject></t:Message>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;;;;");
  EXPECT_EQ(Row(*table), "a;;;;");
  EXPECT_EQ(table->GetRowElement().GetInnerXML(), "<t:Subject>a</t:Subject><t:Size/><t:Culture/><t:DisplayTo/>");
  table->FieldByName(FLD_ITEM_CULTURE).SetAsString("en");
  EXPECT_EQ(Row(*table), "a;;en;;");
}

TEST_F(TableCells, FollowTheRowWhenElementsComeAndGo) {
  const auto table = Table({"<t:Message><t:Subject>a</t:Subject><t:Size>1</t:Size></t:Message>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;1;;;");
  const IVqDOMElement row = table->GetRowElement();
  row.RemoveChild(row.SelectSingleElement("Subject", kSelectQuiet));
  row.InsertElement("t:Size", TVqDOMPosition::dpFirst).SetText("2");
  EXPECT_EQ(Row(*table), ";2;;;");
  row.SelectSingleElement("Culture", kSelectQuiet).SetQualifiedName("t:Other");
  table->FieldByName(FLD_ITEM_CULTURE).SetAsString("made");
  EXPECT_EQ(Row(*table), ";2;made;;");
  row.SetInnerXML("<t:Subject>z</t:Subject>");
  EXPECT_EQ(Row(*table), "z;;;;");
}

TEST_F(TableCells, AreThoseOfTheCurrentPage) {
  const auto table = Table({"<t:Message><t:Subject>a</t:Subject></t:Message>",
                            "<t:Contact><t:Subject>b</t:Subject></t:Contact><t:Task><t:Size>4</t:Size></t:Task>"});
  table->Open();
  EXPECT_EQ(Row(*table), "a;;;;");
  table->Next();
  EXPECT_EQ(Row(*table), "b;;;;");
  table->Next();
  EXPECT_EQ(Row(*table), ";4;;;");
  table->SetActive(false);
  EXPECT_THROW(Row(*table), EVqException);
}

TEST_F(TableCells, FollowColumnsThatComeAndGo) {
  const std::string row =
      "<t:Message><t:Subject>a</t:Subject><t:Importance>High</t:Importance><t:Size>1</t:Size></t:Message>";
  const auto table = Table({row + row + row});
  table->Open();
  EXPECT_EQ(Row(*table), "a;1;;;");
  table->GetFields().Add(FLD_ITEM_IMPORTANCE);
  EXPECT_EQ(Row(*table), "a;1;;;High;");
  table->Next();
  EXPECT_EQ(Row(*table), "a;1;;;High;");
  TVqEWSField& gone = table->FieldByName(FLD_ITEM_SUBJECT);
  table->GetFields().Clear();
  EXPECT_THROW(gone.GetAsString(), EVqException);
  EXPECT_EQ(Row(*table), "");
  table->GetFields().Add(FLD_ITEM_SIZE);
  table->GetFields().Add(FLD_ITEM_SUBJECT);
  EXPECT_EQ(Row(*table), "1;a;");
  table->Next();
  EXPECT_EQ(Row(*table), "1;a;");
  EXPECT_THROW(gone.GetAsString(), EVqException);
}

TEST_F(TableCells, RowsOfATableWithoutColumnsAreRead) {
  const auto table =
      MakeRef<TPageTable>(&FSession, std::vector<std::string>{"<t:Message><t:Subject>a</t:Subject></t:Message>"});
  table->Open();
  EXPECT_FALSE(table->HasField(FLD_ITEM_SUBJECT));
  table->GetFields().Add(FLD_ITEM_SUBJECT);
  EXPECT_TRUE(table->HasField(FLD_ITEM_SUBJECT));
  EXPECT_EQ(Row(*table), "a;");
}

TEST_F(TableCells, OfRandomRowsAreWhatTheirSelectionsFind) {
  const std::vector<std::string> names = {"t:Subject", "t:size", "Culture", "t:DisplayTo", "x:DISPLAYTO", "t:Other"};
  std::mt19937 random(4711);
  std::string page;
  for (int row = 0; row < 500; ++row) {
    page += "<t:Message>";
    for (auto count = random() % 9; count > 0; --count) {
      const std::string& name = names[random() % names.size()];
      page += "<" + name + ">" + std::to_string(random() % 100) + "</" + name + ">";
    }
    page += "</t:Message>";
  }
  const auto table = Table({page});
  for (table->Open(); !table->Eof(); table->Next()) {
    std::vector<std::int32_t> columns = {0, 1, 2, 3};
    std::shuffle(columns.begin(), columns.end(), random);
    for (const std::int32_t column : columns) {
      TVqEWSField& field = table->GetFields().GetItem(column);
      const IVqDOMElement found = table->GetRowElement().SelectSingleElement(field.GetPath(), kSelectQuiet);
      EXPECT_EQ(field.GetAsString(), found.GetText()) << table->GetRowElement().GetXML();
      if (found) {
        EXPECT_EQ(field.GetValueNode(), found);
      }
    }
  }
}

}  // namespace
}  // namespace velmore
