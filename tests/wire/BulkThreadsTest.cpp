// Operations on many with several connections at a time, and their end from another thread.

#include <atomic>
#include <thread>

#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using std::chrono::seconds;

class BulkThreads : public BulkTest {
 protected:
  void DelayAll(const std::string& operation, std::chrono::milliseconds time, int times) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.delay = time;
    fault.times = times;
    Server().AddFault(fault);
  }
  void WaitForFaults() {
    while (Server().PendingFaults() > 0) std::this_thread::yield();
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkThreads, kBothForms, NameOfForm);

TEST_P(BulkThreads, ResultsKeepTheirOrder) {
  const auto ids = AddMessages(60);
  auto bulk = Bulk(7, 4);
  for (int round = 0; round < 3; ++round) {
    std::size_t next = 0;
    bulk.GetItems(ids, [&](std::size_t index, const TVqEWSItemResult& result) {
      EXPECT_EQ(index, next++);
      EXPECT_EQ(result.Value()->GetID(), ids[index]);
      EXPECT_EQ(result.Value()->GetSubject().utf8(), "Message " + std::to_string(index));
    });
    EXPECT_EQ(next, ids.size());
  }
}

TEST_P(BulkThreads, RequestsAreUnderWayTogether) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk(1, 4);
  // Each answer is held back; all four requests reach the server before the first answer leaves it.
  DelayAll("GetItem", seconds(2), 4);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 4u);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(7));
}

TEST_P(BulkThreads, WritesOfEveryKind) {
  const auto ids = AddMessages(40);
  auto bulk = Bulk(6, 3);
  EXPECT_EQ(CountOf(bulk.MarkAsRead(ids)), ids.size());
  std::vector<TVqRef<IVqEWSItem>> items;
  for (const auto& result : bulk.GetItems(ids)) items.push_back(result.Value());
  for (const auto& item : items) item->SetSubject("Changed");
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), ids.size());
  for (const auto& item : items) EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
  std::vector<std::string> texts(ids.size());
  bulk.ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) {
    TVqMemoryStream stream;
    mime.SaveToStream(stream);
    texts[index] = stream.TakeBytes();
  });
  const auto drafts = Folder(dfindrafts);
  EXPECT_EQ(CountOf(bulk.ImportItems(*drafts, texts.size(),
                                     [&](std::size_t i) { return std::make_unique<TVqMemoryStream>(texts[i]); })),
            ids.size());
  EXPECT_EQ(CountOf(bulk.DeleteItems(ids, dtHardDelete)), ids.size());
  EXPECT_EQ(Folder(dfininbox)->GetTotalCount(), 0);
  EXPECT_EQ(Folder(dfindrafts)->GetTotalCount(), 40);
}

TEST_P(BulkThreads, ABusyServerGetsFewerConnections) {
  const auto ids = AddMessages(32);
  auto bulk = Bulk(4, 4);
  BusyNext("GetItem", 5, 2, 1);
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(CountOf(results), 32u);
  for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(results[i].Value()->GetID(), ids[i]);
}

TEST_P(BulkThreads, WhatWasUnderWayAtAStopIsNotSentAgain) {
  const auto ids = AddMessages(3);
  auto bulk = Bulk(1, 2);
  bulk.SetOnProgress([](const TVqEWSBulkProgress&) { return false; });
  BusyNext("UpdateItem", 1, 2);
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOf("UpdateItem", "ItemChanges/ItemChange"), (std::vector<std::int32_t>{1, 1}));
  for (const auto& result : results) {
    EXPECT_THROW(result.Value(), EAbort);
    EXPECT_FALSE(result.WasSent()) << "nothing was done to it";
  }
}

TEST_P(BulkThreads, ABusyServerHasDoneNothingTwice) {
  const auto drafts = Folder(dfindrafts);
  std::vector<TVqRef<IVqEWSItem>> items;
  for (int i = 0; i < 24; ++i) {
    items.push_back(drafts->CreateItem(tMessage));
    items.back()->SetSubject("New");
  }
  auto bulk = Bulk(4, 3);
  BusyNext("CreateItem", 2, 3, 2);
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), items.size());
  EXPECT_EQ(Folder(dfindrafts)->GetTotalCount(), 24);
}

TEST_P(BulkThreads, CancelEndsAllConnections) {
  const auto ids = AddMessages(12);
  auto bulk = Bulk(2, 3);
  DelayAll("GetItem", seconds(60), 3);
  auto& session = Session();
  std::jthread other([&] {
    WaitForFaults();
    session.Cancel();
  });
  const auto begin = std::chrono::steady_clock::now();
  const auto results = bulk.GetItems(ids);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(20));
  EXPECT_EQ(CountOf(results), 0u);
  for (const auto& result : results) {
    try {
      result.Value();
    } catch (const EVqHTTPApiException& failure) {
      EXPECT_EQ(failure.GetNumber(), 6u);
    }
  }
  EXPECT_TRUE(results[0].WasSent());
  EXPECT_FALSE(results[11].WasSent());
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 12u);
}

TEST_P(BulkThreads, CancelEndsTheOnlyConnection) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk(2);
  DelayAll("GetItem", seconds(60), 1);
  auto& session = Session();
  std::jthread other([&] {
    WaitForFaults();
    session.Cancel();
  });
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(CountOf(results), 0u);
  EXPECT_FALSE(results[2].WasSent());
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 4u);
}

TEST_P(BulkThreads, CancelEndsAWait) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  BusyNext("GetItem", 100000);
  auto& session = Session();
  std::atomic<bool> waits{false};
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    if (at.Waiting.count() > 0) waits = true;
    return true;
  });
  std::jthread other([&] {
    while (!waits) std::this_thread::yield();
    session.Cancel();
  });
  const auto begin = std::chrono::steady_clock::now();
  const auto results = bulk.GetItems(ids);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(20));
  EXPECT_EQ(results[0].FailureText(), "The operation was cancelled.");
  EXPECT_FALSE(results[0].WasSent());
}

TEST_P(BulkThreads, TheSessionsStopTokenEndsIt) {
  const auto ids = AddMessages(12);
  auto bulk = Bulk(2, 2);
  std::stop_source stop;
  Session().SetStopToken(stop.get_token());
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    if (at.Done >= 4) stop.request_stop();
    return true;
  });
  const auto results = bulk.GetItems(ids);
  EXPECT_TRUE(results[3]);
  EXPECT_FALSE(results[11]);
  Session().SetStopToken({});
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 12u);
}

TEST_P(BulkThreads, WhatTheHandlerRaisesComesOutWhenNothingIsUnderWayAnyMore) {
  const auto ids = AddMessages(12);
  auto bulk = Bulk(2, 3);
  EXPECT_EQ(MessageOf<EVqException>([&] {
              bulk.GetItems(ids, [](std::size_t, const TVqEWSItemResult&) { throw EVqException("Enough."); });
            }),
            "Enough.");
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 12u);
}

}  // namespace
}  // namespace velmore::testing
