// Many items marked, moved, copied, deleted and sent by their ids.

#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using Sizes = std::vector<std::int32_t>;
using TItems = std::vector<TVqRef<IVqEWSItem>>;

class BulkIds : public BulkTest {
 protected:
  std::size_t CountIn(TDistinguishedFolderIdName name) {
    return static_cast<std::size_t>(Folder(name)->GetTotalCount());
  }
  std::vector<TItemId> WithOneUnknown(std::size_t count, std::size_t which) {
    auto ids = AddMessages(count);
    RemoveFromServer(ids[which]);
    return ids;
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkIds, kBothForms, NameOfForm);

// ---- Read and unread

TEST_P(BulkIds, AThousandAreMarkedInTwoRequests) {
  const auto ids = AddMessages(1000);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOf("UpdateItem", "ItemChanges/ItemChange"), (Sizes{500, 500}));
  EXPECT_EQ(CountOf(results), 1000u);
  EXPECT_EQ(Folder(dfininbox)->GetUnreadCount(), 0);
}

TEST_P(BulkIds, MarkingTellsTheNewChangeKeys) {
  const auto ids = WithOneUnknown(3, 1);
  auto bulk = Bulk();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(CodesOf(results), (Names{"", "ErrorItemNotFound", ""}));
  for (const std::size_t i : {0u, 2u}) {
    EXPECT_EQ(results[i].Value().Id, ids[i].Id);
    EXPECT_NE(results[i].Value().ChangeKey, ids[i].ChangeKey);
    EXPECT_EQ(results[i].Value(), Store().GetItem(ids[i])->GetID());
    EXPECT_TRUE(Mail(ids[i])->GetIsRead());
  }
  EXPECT_EQ(CodesOf(bulk.MarkAsRead(ids, false)), (Names{"", "ErrorItemNotFound", ""}));
  EXPECT_FALSE(Mail(ids[0])->GetIsRead());
}

TEST_P(BulkIds, MarkingNeedsNoChangeKeyAndHeedsNoOtherChanges) {
  auto ids = AddMessages(2);
  ids[0].ChangeKey = {};
  const auto theirs = Store().GetItem(ids[1]);
  theirs->SetSubject("Theirs");
  theirs->SaveChanges(soAutoResolve);
  EXPECT_EQ(CountOf(Bulk().MarkAsRead(ids)), 2u);
  EXPECT_EQ(Attribute("UpdateItem", "ItemChanges/ItemChange/ItemId", "ChangeKey"), "");
  EXPECT_EQ(Mail(ids[1])->GetSubject(), "Theirs");
}

TEST_P(BulkIds, ReceiptsAreSuppressedOnRequest) {
  const auto ids = AddMessages(1);
  auto bulk = Bulk();
  bulk.MarkAsRead(ids);
  EXPECT_FALSE(VqCreateDOM(LastExchange("UpdateItem").request_body)
                   .SelectSingleElement("//UpdateItem", kSelectRequired)
                   .HasAttribute("SuppressReadReceipts"));
  bulk.MarkAsRead(ids, true, true);
  EXPECT_EQ(Attribute("UpdateItem", "", "SuppressReadReceipts"), "true");
}

TEST_P(BulkIds, ItemsInHandAreMarkedWithoutALoad) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  TItems items;
  for (const auto& result : bulk.GetItems(ids)) items.push_back(result.Value());
  items[1]->SetSubject("Unsaved");
  Forget();
  EXPECT_EQ(CountOf(bulk.MarkAsRead(items)), 2u);
  EXPECT_EQ(Operations(), Names{"UpdateItem"});
  for (const auto& item : items) {
    EXPECT_TRUE(Supports<IVqEWSEMail>(item)->GetIsRead());
    EXPECT_EQ(item->GetID(), Store().GetItem(item->GetID())->GetID());
  }
  items[1]->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Unsaved</t:Subject>"));
}

// ---- Moving, copying, deleting

TEST_P(BulkIds, MovingIsTheServersOwn) {
  const auto ids = WithOneUnknown(4, 2);
  const TItemId drafts = Store().GetFolderId(dfindrafts);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.MoveItems(ids, drafts);
  EXPECT_EQ(Operations(), Names{"MoveItem"});
  EXPECT_EQ(CodesOf(results), (Names{"", "", "ErrorItemNotFound", ""}));
  EXPECT_EQ(CountIn(dfininbox), 0u);
  EXPECT_EQ(CountIn(dfindrafts), 3u);
  EXPECT_EQ(Store().GetItem(results[3].Value())->GetSubject(), "Message 3");
}

TEST_P(BulkIds, CopyingLeavesTheOriginals) {
  const auto ids = AddMessages(3);
  const auto results = Bulk().CopyItems(ids, Store().GetFolderId(dfindrafts));
  EXPECT_EQ(SizesOf("CopyItem", "ItemIds/ItemId"), Sizes{3});
  EXPECT_EQ(CountIn(dfininbox), 3u);
  EXPECT_EQ(CountIn(dfindrafts), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NE(results[i].Value().Id, ids[i].Id);
    EXPECT_EQ(Store().GetItem(results[i].Value())->GetSubject().utf8(), "Message " + std::to_string(i));
  }
}

TEST_P(BulkIds, ATargetThatIsNotThereIsEverybodysFailure) {
  const auto ids = AddMessages(2);
  EXPECT_EQ(CodesOf(Bulk().MoveItems(ids, {"no id", ""})),
            (Names{"ErrorInvalidIdMalformed", "ErrorInvalidIdMalformed"}));
  EXPECT_EQ(CountIn(dfininbox), 2u);
}

TEST_P(BulkIds, AnAnswerWithoutTheNewIdsSaysThatTheItemsAreMoved) {
  const auto ids = AddMessages(1);
  const TItemId drafts = Store().GetFolderId(dfindrafts);
  auto bulk = Bulk();
  simulator::Fault fault;
  fault.operation = "MoveItem";
  fault.execute = true;
  fault.replace_body = true;
  fault.content_type = "text/xml; charset=utf-8";
  fault.body = ReplyOf("MoveItem", "<m:Items/>");
  Server().AddFault(fault);
  const auto results = bulk.MoveItems(ids, drafts);
  EXPECT_THROW(results[0].Value(), EVqEWSIdNotTold);
  EXPECT_EQ(CountIn(dfindrafts), 1u);
}

TEST_P(BulkIds, DeletingTakesItemsOfEveryKind) {
  std::vector<TItemId> ids = WithOneUnknown(3, 0);
  ids.push_back(AddItem("calendar",
                        "<t:CalendarItem><t:Subject>Meet</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                        "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>"));
  ids.push_back(AddItem("tasks", "<t:Task><t:Subject>Do</t:Subject></t:Task>"));
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.DeleteItems(ids, dtMoveToDeletedItems);
  EXPECT_EQ(Operations(), Names{"DeleteItem"});
  EXPECT_EQ(CodesOf(results), (Names{"ErrorItemNotFound", "", "", "", ""}));
  EXPECT_EQ(results[1].Value(), ids[1]);
  EXPECT_EQ(Attribute("DeleteItem", "", "DeleteType"), "MoveToDeletedItems");
  EXPECT_EQ(Attribute("DeleteItem", "", "SendMeetingCancellations"), "SendToNone");
  EXPECT_EQ(CountIn(dfindeleteditems), 4u);
}

TEST_P(BulkIds, AttendeesAreToldOnRequest) {
  const auto ids = AddMessages(1);
  auto bulk = Bulk();
  bulk.DeleteItems(ids, dtHardDelete, smiocSendToAllAndSaveCopy);
  EXPECT_EQ(Attribute("DeleteItem", "", "SendMeetingCancellations"), "SendToAllAndSaveCopy");
  EXPECT_EQ(MessageOf<EVqException>([&] { bulk.DeleteItems(ids, dtHardDelete, smiocSendOnlyToChanged); }),
            "A deletion cannot announce itself to some attendees only.");
}

// ---- Sending

TEST_P(BulkIds, DraftsAreSentByTheirIds) {
  std::vector<TItemId> ids;
  for (int i = 0; i < 3; ++i)
    ids.push_back(AddItem("drafts",
                          "<t:Message><t:Subject>D</t:Subject><t:ToRecipients><t:Mailbox><t:EmailAddress>"
                          "bob@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>"));
  ids.insert(ids.begin(), TItemId{"no id", ids[0].ChangeKey});
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.SendItems(ids, true);
  EXPECT_EQ(Operations(), Names{"SendItem"});
  EXPECT_EQ(CodesOf(results), (Names{"ErrorInvalidIdMalformed", "", "", ""}));
  EXPECT_EQ(CountIn(dfinsentitems), 3u);
  EXPECT_EQ(CountIn(dfindrafts), 0u);
}

TEST_P(BulkIds, AnIdThatNoRequestCanCarryFailsAlone) {
  const TItemId drafts = Store().GetFolderId(dfindrafts);
  auto bulk = Bulk();
  using TWay = std::function<std::vector<TVqEWSIdResult>(const std::vector<TItemId>&)>;
  const std::pair<const char*, TWay> ways[] = {
      {"MarkAsRead", [&](const auto& ids) { return bulk.MarkAsRead(ids); }},
      {"MoveItems", [&](const auto& ids) { return bulk.MoveItems(ids, drafts); }},
      {"CopyItems", [&](const auto& ids) { return bulk.CopyItems(ids, drafts); }},
      {"DeleteItems", [&](const auto& ids) { return bulk.DeleteItems(ids, dtHardDelete); }},
      {"ExportItems", [&](const auto& ids) { return bulk.ExportItems(ids, [](auto, const auto&) {}); }},
      {"GetItems", [&](const auto& ids) {
         std::vector<TVqEWSIdResult> results;
         for (const auto& item : bulk.GetItems(ids))
           results.push_back(item ? TVqEWSIdResult(item.Value()->GetID())
                                  : TVqEWSIdResult(item.Failure(), item.WasSent()));
         return results;
       }}};
  for (const auto& [name, way] : ways) {
    auto ids = AddMessages(3);
    ids[1].Id = u"broken \x0001";
    Forget();
    const auto results = way(ids);
    EXPECT_EQ(CountOf(results), 2u) << name;
    EXPECT_EQ(Operations().size(), 1u) << name;
    EXPECT_THROW(results[1].Value(), EVqXMLError) << name;
    EXPECT_FALSE(results[1].WasSent()) << name;
    EXPECT_EQ(CountOf(way({ids[1]})), 0u) << name;
  }
}

TEST_P(BulkIds, ATargetNeedsNoChangeKey) {
  const auto ids = AddMessages(1);
  const TItemId drafts{Store().GetFolderId(dfindrafts).Id, ""};
  EXPECT_EQ(CountOf(Bulk().CopyItems(ids, drafts)), 1u);
  EXPECT_EQ(LastExchange("CopyItem").request_body.find("ChangeKey=\"\""), std::string::npos);
}

TEST_P(BulkIds, WithoutIdsNothingIsAsked) {
  auto bulk = Bulk();
  const std::span<const TItemId> none;
  Forget();
  EXPECT_TRUE(bulk.MarkAsRead(none).empty());
  EXPECT_TRUE(bulk.MoveItems(none, {}).empty());
  EXPECT_TRUE(bulk.CopyItems(none, {}).empty());
  EXPECT_TRUE(bulk.DeleteItems(none, dtHardDelete).empty());
  EXPECT_TRUE(bulk.SendItems(none, true).empty());
  EXPECT_TRUE(bulk.GetItems(none).empty());
  EXPECT_TRUE(bulk.GetFolders(none).empty());
  EXPECT_TRUE(bulk.SaveItems({}).empty());
  EXPECT_EQ(Operations(), Names{});
}

// A mailbox that is opened in another's name: every request says so.
TEST_P(BulkIds, RequestsGoOutInTheStoresName) {
  const auto ids = AddMessages(2);
  const auto store = Session().OpenMsgStore("bob@example.com");
  TVqEWSBulk bulk(store);
  bulk.MarkAsRead(ids);
  EXPECT_NE(HeaderOf(LastExchange("UpdateItem").request_body).find("bob@example.com"), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
