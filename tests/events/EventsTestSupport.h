#pragma once

// What the tests of events share: a simulator with watched folders, readers whose time the test moves, and what
// handlers were called with.

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "ews/events/uVqEWSFolderEvents.h"
#include "ews/events/uVqEWSNotificationsEx.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/stores/uVqEWSFolder.h"
#include "platform/common/uVqMainThread.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/// What came, in order, from whatever thread.
class TLog {
 public:
  void Add(std::string entry) {
    {
      const std::scoped_lock lock(FMutex);
      FEntries.push_back(std::move(entry));
    }
    FChanged.notify_all();
  }
  Names Entries() const {
    const std::scoped_lock lock(FMutex);
    return FEntries;
  }
  std::size_t Count() const { return Entries().size(); }
  bool Has(const std::string& entry) const {
    const Names entries = Entries();
    return std::find(entries.begin(), entries.end(), entry) != entries.end();
  }
  void Clear() {
    const std::scoped_lock lock(FMutex);
    FEntries.clear();
  }
  /// Waits until there are so many; false after half a minute.
  bool WaitFor(std::size_t count) const {
    std::unique_lock lock(FMutex);
    return FChanged.wait_for(lock, 30s, [&] { return FEntries.size() >= count; });
  }

 private:
  mutable std::mutex FMutex;
  mutable std::condition_variable FChanged;
  Names FEntries;
};

/// Waits until `condition` holds, while the main thread's queue is processed; false after half a minute.
inline bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + 30s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    VqProcessMainThreadQueue(5ms);
  }
  return true;
}

/// The time of a test's readers.
struct TTestTime {
  std::mutex Mutex;  // protects all
  std::condition_variable Changed;
  std::deque<std::chrono::milliseconds> Durations;  // of the next connections; 0 when there are no more
  std::vector<std::int64_t> Waits;                  // what was to be waited, in milliseconds
  std::size_t Free = 1'000'000;                     // so many waits end at once; further ones last until Stop
  bool Started = false;
  TVqEWSGetEvents::TClock::time_point Clock{};

  std::vector<std::int64_t> AllWaits() {
    const std::scoped_lock lock(Mutex);
    return Waits;
  }
  bool WaitForWaits(std::size_t count) {
    std::unique_lock lock(Mutex);
    return Changed.wait_for(lock, 30s, [&] { return Waits.size() >= count; });
  }
};

/// A reader whose clock stands still but for what the test says, and whose waits end at once.
class TTestReader : public TVqEWSGetEvents {
 public:
  TTestReader(TVqEWSSingleStoreFolderEvents& owner, TVqEWSEventGroup& group, std::shared_ptr<TTestTime> time)
      : TVqEWSGetEvents(owner, group), FTime(std::move(time)) {}

  using TVqEWSGetEvents::InitializeHTTPClient;
  using TVqEWSGetEvents::OnDataReceived;

  std::int32_t ReceiveTimeOut = 0;  // in place of the reader's own, when not 0

 protected:
  void InitializeHTTPClient(IVqHTTPClient& AClient) override {
    TVqEWSGetEvents::InitializeHTTPClient(AClient);
    if (ReceiveTimeOut != 0) AClient.GetTimeOuts().SetReceive(ReceiveTimeOut);
  }
  TClock::time_point Now() const override {
    const std::scoped_lock lock(FTime->Mutex);
    FTime->Started = !FTime->Started;
    if (!FTime->Started && !FTime->Durations.empty()) {
      FTime->Clock += FTime->Durations.front();
      FTime->Durations.pop_front();
    }
    return FTime->Clock;
  }
  void WaitBeforeNext(std::chrono::milliseconds ATime) override {
    bool last = false;
    {
      const std::scoped_lock lock(FTime->Mutex);
      FTime->Started = false;
      FTime->Waits.push_back(ATime.count());
      last = FTime->Waits.size() >= FTime->Free;
    }
    FTime->Changed.notify_all();
    if (last) WaitUntilTerminated(1h);
  }

 private:
  std::shared_ptr<TTestTime> FTime;
};

/// A component with readers of the test's own.
class TTestEvents : public TVqEWSSingleStoreFolderEvents {
 public:
  using TVqEWSSingleStoreFolderEvents::DoStart;
  using TVqEWSSingleStoreFolderEvents::GetWrapper;
  using TVqEWSSingleStoreFolderEvents::TVqEWSSingleStoreFolderEvents;

  void Start() override {
    DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
            [this](TVqEWSEventGroup& group) -> std::shared_ptr<TVqEWSGetEvents> {
              auto reader = std::make_shared<TTestReader>(*this, group, Time);
              reader->ReceiveTimeOut = ReceiveTimeOut;
              Readers.push_back(reader);
              return reader;
            });
  }

  std::shared_ptr<TTestTime> Time = std::make_shared<TTestTime>();
  std::int32_t ReceiveTimeOut = 0;
  std::vector<std::weak_ptr<TTestReader>> Readers;
};

inline std::string TextOf(const TVqEWSConnectionReport& report) {
  switch (report.State) {
    case TVqEWSConnectionState::connected:
      return "connected";
    case TVqEWSConnectionState::lost:
      return "lost: " + report.Text.utf8();
    case TVqEWSConnectionState::waiting:
      return "waiting " + std::to_string(report.Delay);
    case TVqEWSConnectionState::refused:
      return "refused " + report.Code.utf8();
    case TVqEWSConnectionState::resubscribed:
      break;
  }
  return "resubscribed";
}

/// Puts each event into a log: "new mail", "copied", "modified 3".
template <typename TEvents>
void LogEvents(TEvents& events, TLog& log) {
  using Folder = TVqRef<IVqEWSFolder>;
  events.SetOnNewMail([&log](const Folder&, TDateTime, const TItemId&, const TItemId&) { log.Add("new mail"); });
  events.SetOnItemCreated([&log](const Folder&, TDateTime, const TItemId&, const TItemId&) { log.Add("created"); });
  events.SetOnItemDeleted([&log](const Folder&, TDateTime, const TItemId&, const TItemId&) { log.Add("deleted"); });
  events.SetOnItemModified([&log](const Folder&, TDateTime, const TItemId&, const TItemId&, std::int32_t unread) {
    log.Add("modified " + std::to_string(unread));
  });
  const auto moved = [&log](const char* what) {
    return [&log, what](const Folder&, TDateTime, const TItemId&, const TItemId&, const TItemId&, const TItemId&) {
      log.Add(what);
    };
  };
  events.SetOnItemCopied(moved("copied"));
  events.SetOnItemMoved(moved("moved"));
}

inline std::string MimeOf(const std::string& subject) {
  return "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden <alice@example.com>\r\nSubject: " + subject +
         "\r\nDate: Mon, 02 Mar 2026 10:00:00 +0000\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nHello";
}

/// A simulator with Alice's folders at hand.
class EventsTest : public EWSTest {
 protected:
  explicit EventsTest(simulator::Options options = TwoUsers()) : EWSTest(std::move(options)) {}
  ~EventsTest() override { VqClearMainThreadQueue(); }

  IVqEWSMsgStore& Store() {
    if (!FStore) FStore = Session().OpenDefaultMsgStore();
    return *FStore;
  }
  TVqRef<IVqEWSFolder> Folder(TDistinguishedFolderIdName name) { return Store().GetFolder(name, ""); }
  TVqRef<IVqEWSFolder> Inbox() { return Folder(dfininbox); }
  void Deliver(const std::string& subject = "Hello") { Server().Deliver(kAlice, MimeOf(subject)); }
  std::uint64_t CountOf(const std::string& operation) {
    const auto operations = Server().GetCounters().operations;
    const auto found = operations.find(operation);
    return found == operations.end() ? 0 : found->second;
  }
  /// The last stream, once the server has noticed that it has ended: it is kept from then on.
  simulator::Exchange EndedStream() {
    EXPECT_TRUE(Eventually([&] {
      const Names operations = Operations();
      return std::find(operations.begin(), operations.end(), "GetStreamingEvents") != operations.end();
    }));
    return LastExchange("GetStreamingEvents");
  }
  /// A fault for the streaming requests.
  static simulator::Fault StreamFault(int times = 1) {
    simulator::Fault fault;
    fault.operation = "GetStreamingEvents";
    fault.times = times;
    return fault;
  }

 private:
  TVqRef<IVqEWSMsgStore> FStore;
};

/// The envelope of a stream with one notification.
inline std::string EnvelopeOf(const std::string& subscription, const std::string& events) {
  return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:GetStreamingEventsResponse "
         "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
         "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><m:ResponseMessages>"
         "<m:GetStreamingEventsResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>"
         "<m:Notifications><m:Notification><t:SubscriptionId>" +
         subscription + "</t:SubscriptionId>" + events +
         "</m:Notification></m:Notifications></m:GetStreamingEventsResponseMessage></m:ResponseMessages>"
         "</m:GetStreamingEventsResponse></s:Body></s:Envelope>";
}

}  // namespace velmore::testing
