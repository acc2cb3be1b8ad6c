// Many items and folders loaded at once: the same objects as one by one, in few requests.

#include "ews/items/uVqEWSContact.h"
#include "ews/items/uVqEWSMessageEx.h"
#include "ews/items/uVqEWSTask.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

class BulkLoad : public BulkTest {
 protected:
  /// One item of each kind that a mailbox has.
  std::vector<TItemId> OneOfEach() {
    return {AddMessage("Mail"),
            AddItem("calendar",
                    "<t:CalendarItem><t:Subject>Meet</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                    "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>"),
            AddItem("contacts", "<t:Contact><t:DisplayName>Ann</t:DisplayName></t:Contact>"),
            AddItem("contacts", "<t:DistributionList><t:DisplayName>All</t:DisplayName></t:DistributionList>"),
            AddItem("tasks", "<t:Task><t:Subject>Do</t:Subject></t:Task>"),
            AddItem("inbox", "<t:PostItem><t:Subject>Post</t:Subject></t:PostItem>")};
  }
  static TVqEWSItemCore& Core(const TVqRef<IVqEWSItem>& item) { return dynamic_cast<TVqEWSItemCore&>(*item); }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkLoad, kBothForms, NameOfForm);

TEST_P(BulkLoad, ObjectsAreThoseOfOneByOne) {
  const auto ids = OneOfEach();
  auto bulk = Bulk();
  const auto results = bulk.GetItems(ids);
  ASSERT_EQ(results.size(), ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const auto& many = results[i].Value();
    const auto one = Store().GetItem(ids[i]);
    EXPECT_EQ(typeid(*many), typeid(*one)) << i;
    EXPECT_EQ(many->GetItemType(), one->GetItemType());
    EXPECT_EQ(many->GetID(), one->GetID());
    EXPECT_FALSE(many->GetIsNewItem());
    EXPECT_EQ(many->AsElement().GetXMLAsUtf8(), one->AsElement().GetXMLAsUtf8());
    EXPECT_TRUE(many->GetMsgStore());
    ASSERT_EQ(many->GetProperties().Count(), one->GetProperties().Count());
    for (std::int32_t p = 0; p < one->GetProperties().Count(); ++p)
      EXPECT_EQ(many->GetProperties().GetItem(p).GetUpdateStatus(), dusUnmodified);
  }
}

TEST_P(BulkLoad, TwoRequestsForTwoHundred) {
  const auto ids = AddMessages(200);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(SizesOfGetItem(), (std::vector<std::int32_t>{100, 100}));
  for (std::size_t i = 0; i < ids.size(); ++i) {
    EXPECT_EQ(results[i].Value()->GetSubject().utf8(), "Message " + std::to_string(i));
    EXPECT_EQ(results[i].Value()->GetID(), ids[i]);
  }
}

TEST_P(BulkLoad, RequestsAreFilledToTheirSize) {
  const auto ids = AddMessages(101);
  auto bulk = Bulk();
  const std::span<const TItemId> all(ids);
  const auto sizes = [&](std::size_t count, std::size_t size) {
    bulk.SetRequestSize(size);
    Forget();
    EXPECT_EQ(CountOf(bulk.GetItems(all.first(count))), count);
    return SizesOfGetItem();
  };
  using Sizes = std::vector<std::int32_t>;
  EXPECT_EQ(sizes(0, 0), Sizes{});
  EXPECT_EQ(sizes(1, 0), Sizes{1});
  EXPECT_EQ(sizes(99, 0), Sizes{99});
  EXPECT_EQ(sizes(100, 0), Sizes{100});
  EXPECT_EQ(sizes(101, 0), (Sizes{100, 1}));
  EXPECT_EQ(sizes(7, 3), (Sizes{3, 3, 1}));
  EXPECT_EQ(sizes(3, 1), (Sizes{1, 1, 1}));
  EXPECT_EQ(sizes(101, 1000), Sizes{101});
}

TEST_P(BulkLoad, EachHasTheFailureThatItAloneWouldHave) {
  auto ids = AddMessages(4);
  ids.insert(ids.begin() + 1, TItemId{"no id", ""});
  ids.push_back({});
  const TItemId gone = ids[3];
  RemoveFromServer(gone);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(Operations(), Names{"GetItem"});
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (results[i]) {
      EXPECT_EQ(results[i].Value()->GetID(), ids[i]);
      EXPECT_EQ(results[i].FailureText(), "");
      continue;
    }
    EXPECT_TRUE(results[i].WasSent());
    EXPECT_EQ(RefusalOf([&] { results[i].Value(); }), RefusalOf([&] { Store().GetItem(ids[i]); })) << i;
  }
  EXPECT_EQ(CodesOf(results),
            (Names{"", "ErrorInvalidIdMalformed", "", "ErrorItemNotFound", "", "ErrorInvalidIdEmpty"}));
}

TEST_P(BulkLoad, WhatTheLoadLeftOutIsFetchedForTheItemAlone) {
  const auto ids = AddMessages(3);
  const auto results = Bulk().GetItems(ids);
  const auto mail = Supports<IVqEWSEMail>(results[1].Value());
  Forget();
  EXPECT_FALSE(mail->GetMimeContent().GetValue().empty());
  EXPECT_EQ(SizesOfGetItem(), std::vector<std::int32_t>{1});
  EXPECT_EQ(Attribute("GetItem", "ItemIds/ItemId", "Id"), ids[1].Id.utf8());
  Forget();
  mail->GetMimeContent();
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(mail->PropertyByName(MPR_BODY).GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(results[0].Value()->AsElement().SelectSingleElement("MimeContent", kSelectQuiet).GetText(), "");
}

TEST_P(BulkLoad, AnItemsChangesAreItsOwn) {
  const auto ids = AddMessages(3);
  const auto results = Bulk().GetItems(ids);
  results[1].Value()->SetSubject("Changed");
  EXPECT_EQ(results[0].Value()->GetSubject(), "Message 0");
  results[0].Value()->GetCategories().Add("Red");
  Forget();
  results[1].Value()->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Changed</t:Subject>"));
  results[0].Value()->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("item:Categories", "<t:Categories><t:String>Red</t:String></t:Categories>"));
  EXPECT_EQ(results[1].Value()->GetSubject(), "Changed");
  EXPECT_EQ(results[2].Value()->GetSubject(), "Message 2");
}

TEST_P(BulkLoad, AnItemOutlivesTheOthersAndTheOperation) {
  const auto ids = AddMessages(3);
  TVqRef<IVqEWSItem> kept;
  {
    auto results = Bulk().GetItems(ids);
    kept = results[2].Value();
  }
  EXPECT_EQ(kept->GetSubject(), "Message 2");
  kept->SetSubject("New");
  kept->SaveChanges(soAutoResolve);
  EXPECT_EQ(Again(*kept)->GetSubject(), "New");
}

TEST_P(BulkLoad, TheHandlerGetsThemInOrderWhileNoMoreThanOneAnswerIsHeld) {
  const auto ids = AddMessages(40);
  auto bulk = Bulk(10);
  const std::int64_t before = VqLiveObjectCount();
  std::int64_t most = 0;
  std::size_t next = 0;
  bulk.GetItems(ids, [&](std::size_t index, const TVqEWSItemResult& result) {
    EXPECT_EQ(index, next++);
    EXPECT_EQ(result.Value()->GetID(), ids[index]);
    most = std::max(most, VqLiveObjectCount() - before);
  });
  EXPECT_EQ(next, ids.size());
  EXPECT_EQ(VqLiveObjectCount(), before);
  std::int64_t mostOfTen = 0;
  bulk.GetItems(std::span(ids).first(10), [&](std::size_t, const TVqEWSItemResult&) {
    mostOfTen = std::max(mostOfTen, VqLiveObjectCount() - before);
  });
  EXPECT_EQ(most, mostOfTen);
}

TEST_P(BulkLoad, WhatTheHandlerRaisesComesOut) {
  const auto ids = AddMessages(5);
  auto bulk = Bulk(2);
  Forget();
  std::size_t told = 0;
  EXPECT_EQ(MessageOf<EVqException>([&] {
              bulk.GetItems(ids, [&](std::size_t, const TVqEWSItemResult&) {
                if (++told == 3) throw EVqException("Enough.");
              });
            }),
            "Enough.");
  EXPECT_EQ(told, 3u);
  EXPECT_EQ(SizesOfGetItem(), (std::vector<std::int32_t>{2, 2}));
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 5u);
}

TEST_P(BulkLoad, FoldersAreThoseOfOneByOne) {
  std::vector<TItemId> ids;
  for (const auto name : {dfininbox, dfincalendar, dfincontacts, dfintasks, dfindrafts})
    ids.push_back(Store().GetFolderId(name));
  ids.push_back({"no id", ""});
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.GetFolders(ids);
  EXPECT_EQ(Operations(), Names{"GetFolder"});
  EXPECT_EQ(CodesOf(results), (Names{"", "", "", "", "", "ErrorInvalidIdMalformed"}));
  for (std::size_t i = 0; i < 5; ++i) {
    const auto& many = results[i].Value();
    const auto one = Store().GetFolder(ids[i]);
    EXPECT_EQ(typeid(*many), typeid(*one)) << i;
    EXPECT_EQ(many->GetID(), one->GetID());
    EXPECT_EQ(many->GetDisplayName(), one->GetDisplayName());
    EXPECT_EQ(many->GetFolderFieldType(), one->GetFolderFieldType());
    EXPECT_TRUE(many->GetMsgStore());
  }
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(results[1].Value()));
  const auto items = results[0].Value()->GetItems();
  items->Open();
  EXPECT_TRUE(items->Eof());
}

// ---- Healing

class BulkHeals : public MailboxTest {
 protected:
  BulkHeals() : MailboxTest(Refusing("Exchange2016")) {}
};

TEST_F(BulkHeals, ARequestThatIsRefusedForItsFormGoesOutInTheOther) {
  std::vector<TItemId> ids;
  for (int i = 0; i < 5; ++i) ids.push_back(AddMessage("Message"));
  TVqEWSBulk bulk(Session().OpenDefaultMsgStore());
  bulk.SetRequestSize(2);
  Forget();
  for (const auto& result : bulk.GetItems(ids)) EXPECT_TRUE(result) << result.FailureText().utf8();
  EXPECT_EQ(Operations(), (Names{"GetItem", "GetItem", "GetItem", "GetItem"}));  // the first one twice
  EXPECT_EQ(Session().GetWireForm(), TVqEWSWireForm::schema);
}

}  // namespace
}  // namespace velmore::testing
