#pragma once

// Subscriptions and what they are told: the state behind Subscribe, Unsubscribe, GetEvents and GetStreamingEvents.

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulator/mailbox/model.h"
#include "simulator/types/reply_stream.h"

namespace velmore::simulator {

/// All subscriptions, and the streams that are open on them. Protected by the lock of the store, as the store is; the
/// streams take it while they collect what they write.
class Subscriptions {
 public:
  using Clock = std::chrono::steady_clock;
  /// Writes a response element as an envelope, with or without an XML declaration.
  using Writer = std::function<std::string(const Element& response, bool declaration)>;

  Subscriptions(Store& store, const Options& options);
  ~Subscriptions();
  Subscriptions(const Subscriptions&) = delete;
  Subscriptions& operator=(const Subscriptions&) = delete;

  struct Event {
    std::uint64_t number = 0;
    Element element;
  };
  struct Subscription {
    std::string id;
    std::string account;  // who logged on
    std::string mailbox;  // GUID
    int back_end = 0;
    bool pull = false;
    bool all_folders = false;
    std::set<std::string> folders;  // as clients see their ids
    std::set<std::string> types;    // "NewMailEvent"
    std::chrono::milliseconds lifetime{};
    Clock::time_point heard{};  // when its client was here last
    std::deque<Event> events;   // that its client does not know yet
    std::uint64_t last = 0;     // number of the newest event
    bool missed = false;        // more happened than is kept
    int streams = 0;
    ReplyStream* stream = nullptr;  // the newest one that is open on it
  };

  /// Gives its id. Throws EwsError when the account has too many.
  std::string Add(Subscription subscription);
  /// The subscription of an account on a back end, as long as it has not expired. Throws EwsError otherwise.
  Subscription& Get(const std::string& id, const std::string& account, int back_end);
  void Remove(const std::string& id);
  std::size_t Count();
  /// The server forgets all of them, as one that was started anew.
  void Forget();

  /// The body of a reply that stays open, for subscriptions that were looked up. `user` is whose budget it counts on.
  /// Throws SoapFault when that is used up.
  StreamBody Open(std::vector<std::string> ids, const std::string& user, std::chrono::milliseconds time, Writer writer);

  /// "t:Notification" with everything that waits; nothing when nothing does.
  static std::optional<Element> Take(Subscription& subscription);

 private:
  void Told(const StoreChange& change);
  void Run(ReplyStream& stream, const std::vector<std::string>& ids, std::chrono::milliseconds time,
           const Writer& writer);
  void Expire();
  static bool HasExpired(const Subscription& subscription);
  void Erase(std::map<std::string, Subscription>::iterator at);

  Store& store_;
  const Options& options_;
  std::uint64_t observer_ = 0;  // 0 before the first subscription
  std::uint64_t last_id_ = 0;
  std::map<std::string, Subscription> subscriptions_;
  std::map<std::string, std::set<Subscription*>> by_mailbox_;  // so that a change is told to a few of ten thousand
  std::map<std::string, std::size_t> by_account_;
  Clock::time_point swept_{};        // when what has expired was last looked for
  std::map<std::string, int> open_;  // streams by user
};

/// How far a subscription that is asked has been told.
std::string Watermark(std::uint64_t number);
/// A response of GetStreamingEvents with one message; and one that names the subscriptions that are refused.
Element StreamingResponse(std::vector<Element> content);
Element RefusedStream(const EwsError& error, const std::vector<std::string>& ids);

}  // namespace velmore::simulator
