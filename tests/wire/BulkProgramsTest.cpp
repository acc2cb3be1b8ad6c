// Whole programs over the operations on many and the short style: what each is to leave behind, and in how many
// requests.

#include <map>
#include <set>

#include "ews/idioms/uVqEWSFilters.h"
#include "ews/idioms/uVqEWSFolderTree.h"
#include "ews/idioms/uVqEWSRanges.h"
#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

class BulkPrograms : public BulkTest {
 protected:
  std::map<std::string, int> Counted() {
    std::map<std::string, int> counted;
    for (const std::string& operation : Operations()) ++counted[operation];
    return counted;
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkPrograms, kBothForms, NameOfForm);

void MoveDoublesAway(IVqEWSMsgStore& store) {
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, ""), FLD_MESSAGE_INTERNETMESSAGEID);
  items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED);
  std::set<string> seen;
  std::vector<TItemId> doubles;
  for (const auto row : items) {
    if (!row.Has(FLD_MESSAGE_INTERNETMESSAGEID)) continue;
    if (!seen.insert(row[FLD_MESSAGE_INTERNETMESSAGEID].GetAsString()).second) doubles.push_back(row.Id());
  }
  VqCheckResults(TVqEWSBulk(store).MoveItems(doubles, VqMakeFolder(store, "Doubles")->GetID()));
}

TEST_P(BulkPrograms, DoublesAreMovedAway) {
  for (int i = 0; i < 12; ++i)
    Server().AddMessage(kAlice, "inbox",
                        "Message-ID: <" + std::to_string(i % 5) + "@example.com>\r\n" + MimeOf(std::to_string(i)));
  auto& store = Store();
  Forget();
  MoveDoublesAway(store);
  EXPECT_EQ(Counted()["MoveItem"], 1);
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 5u);
  EXPECT_EQ(Server().CountItems(kAlice, "Doubles"), 7u);
  MoveDoublesAway(store);
  EXPECT_EQ(Server().CountItems(kAlice, "Doubles"), 7u) << "there are none any more";
}

/// Texts pass through memory, a request's worth at a time.
void CopyTree(IVqEWSMsgStore& store, const string& from, const string& to) {
  TVqEWSBulk bulk(store);
  constexpr std::size_t kAtOnce = 4;
  for (const TVqEWSFolderNode& node : VqFolderTree(*store.GetFolder(from))) {
    const auto target = VqMakeFolder(store, to + "/" + node.Path, node.Type);
    const auto ids = VqIdsOf(*VqItemsOf(*store.GetFolder(node.Id)));
    for (std::size_t at = 0; at < ids.size(); at += kAtOnce) {
      std::vector<std::string> texts;
      const auto keep = [&](std::size_t, const TVqEWSMimeText& mime) {
        TVqMemoryStream text;
        mime.SaveToStream(text);
        texts.push_back(text.TakeBytes());
      };
      VqCheckResults(bulk.ExportItems(std::span(ids).subspan(at, std::min(kAtOnce, ids.size() - at)), keep));
      const auto open = [&](std::size_t i) { return std::make_unique<TVqMemoryStream>(texts[i]); };
      VqCheckResults(bulk.ImportItems(*target, texts.size(), open));
    }
  }
}

TEST_P(BulkPrograms, ATreeIsCopiedThroughTheProgram) {
  for (int i = 0; i < 6; ++i) AddMessage("In May " + std::to_string(i), "Projects/2026/May");
  AddMessage("Early", "Projects/2026");
  auto& store = Store();
  Forget();
  CopyTree(store, "Projects", "Copies/Of projects");
  EXPECT_EQ(Server().CountItems(kAlice, "Copies/Of projects/2026/May"), 6u);
  EXPECT_EQ(Server().CountItems(kAlice, "Copies/Of projects/2026"), 1u);
  auto counted = Counted();
  EXPECT_EQ(counted["GetItem"], 3);
  EXPECT_EQ(counted["CreateItem"], 3);
  EXPECT_EQ(counted["CreateFolder"], 4);
}

/// What could not be saved and certainly was not is saved again, `attempts` times in all. The number that is left.
std::size_t RenameCategory(IVqEWSMsgStore& store, const string& from, const string& to, int attempts) {
  TVqEWSBulk bulk(store);
  std::vector<TVqRef<IVqEWSItem>> changed;
  for (const TVqEWSFolderNode& node : VqFolderTree(store)) {
    const auto items = VqItemsOf(*store.GetFolder(node.Id));
    VqFilter(*items, VqField(FLD_ITEM_CATEGORIES) == from);
    for (const auto& result : bulk.GetItems(VqIdsOf(*items))) {
      auto& categories = result.Value()->GetCategories();
      categories.SetItem(categories.IndexOf(from), to);
      changed.push_back(result.Value());
    }
  }
  for (; attempts > 0 && !changed.empty(); --attempts) {
    const auto saved = bulk.SaveItems(changed);
    std::vector<TVqRef<IVqEWSItem>> again;
    for (std::size_t i = 0; i < saved.size(); ++i)
      if (!saved[i] && !saved[i].MayHaveHappened()) again.push_back(changed[i]);
    changed = again;
  }
  return changed.size();
}

TEST_P(BulkPrograms, ACategoryIsRenamedEverywhereThoughTheServerRefusesAtFirst) {
  const auto add = [&](const std::string& folder, const std::string& category) {
    return AddItem(folder, "<t:Message><t:Subject>x</t:Subject><t:Categories><t:String>Home</t:String><t:String>" +
                               category + "</t:String></t:Categories></t:Message>");
  };
  AddMessage("Another", "Projects");
  const std::vector<TItemId> ids = {add("inbox", "Kitchen"), add("inbox", "Garden"), add("Projects", "Kitchen")};
  auto& store = Store();
  simulator::Fault fault;  // as a whole, for all that are in it, and then for each
  fault.operation = "UpdateItem";
  fault.http_status = 400;
  fault.times = 3;
  Server().AddFault(fault);
  EXPECT_EQ(RenameCategory(store, "Kitchen", "Cellar", 2), 0u);
  EXPECT_EQ(store.GetItem(ids[0])->GetCategories().AsString(","), "Home,Cellar");
  EXPECT_EQ(store.GetItem(ids[1])->GetCategories().AsString(","), "Home,Garden");
  EXPECT_EQ(store.GetItem(ids[2])->GetCategories().AsString(","), "Home,Cellar");
}

}  // namespace
}  // namespace velmore::testing
