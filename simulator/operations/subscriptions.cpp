#include "simulator/operations/subscriptions.h"

#include <algorithm>

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

constexpr std::size_t kMostSubscriptions = 20000;  // of one account

const char* EventName(StoreChange::Kind kind) {
  switch (kind) {
    case StoreChange::Kind::kNewMail:
      return "NewMailEvent";
    case StoreChange::Kind::kCreated:
      return "CreatedEvent";
    case StoreChange::Kind::kModified:
      return "ModifiedEvent";
    case StoreChange::Kind::kMoved:
      return "MovedEvent";
    case StoreChange::Kind::kCopied:
      return "CopiedEvent";
    case StoreChange::Kind::kDeleted:
      break;
  }
  return "DeletedEvent";
}

Element IdElement(const char* name, const std::string& id, const std::string& key) {
  Element element = Types(name);
  element.Set("Id", id);
  if (!key.empty()) element.Set("ChangeKey", key);
  return element;
}

Element EventElement(const StoreChange& change, std::uint64_t number, bool pull) {
  Element event = Types(EventName(change.kind));
  if (pull) event.Add("Watermark", Watermark(number));
  event.Add("TimeStamp", TimeText(change.time));
  event.Add(IdElement(change.of_folder ? "FolderId" : "ItemId", change.now.id, change.now.key));
  event.Add(IdElement("ParentFolderId", change.now.parent, change.now.parent_key));
  if (change.kind == StoreChange::Kind::kModified && change.of_folder) {
    event.Add("UnreadCount", std::to_string(change.Unread()));
  }
  if (change.kind == StoreChange::Kind::kMoved || change.kind == StoreChange::Kind::kCopied) {
    event.Add(IdElement(change.of_folder ? "OldFolderId" : "OldItemId", change.before.id, change.before.key));
    event.Add(IdElement("OldParentFolderId", change.before.parent, change.before.parent_key));
  }
  return event;
}

Element Status(const char* status) {
  return Messages("ConnectionStatus", status);
}

}  // namespace

std::string Watermark(std::uint64_t number) {
  return EncodeBase64("mark " + std::to_string(number));
}

Element StreamingResponse(std::vector<Element> content) {
  Element response = Messages("GetStreamingEventsResponse");
  Element& message = response.Add(Messages("ResponseMessages")).Add(Messages("GetStreamingEventsResponseMessage"));
  message.Set("ResponseClass", "Success");
  message.Add(Messages("ResponseCode", "NoError"));
  for (Element& element : content) message.Add(std::move(element));
  return response;
}

Element RefusedStream(const EwsError& error, const std::vector<std::string>& ids) {
  Element response = Messages("GetStreamingEventsResponse");
  Element& message = response.Add(Messages("ResponseMessages")).Add(Messages("GetStreamingEventsResponseMessage"));
  message.Set("ResponseClass", "Error");
  message.Add(Messages("MessageText", error.what()));
  message.Add(Messages("ResponseCode", error.code));
  message.Add(Messages("DescriptiveLinkKey", "0"));
  Element& named = message.Add(Messages("ErrorSubscriptionIds"));
  for (const std::string& id : ids) named.Add("SubscriptionId", id);
  return response;
}

// ---- The subscriptions

Subscriptions::Subscriptions(Store& store, const Options& options) : store_(store), options_(options) {}

Subscriptions::~Subscriptions() {
  if (observer_ != 0) store_.GetObservers().Remove(observer_);
}

void Subscriptions::Told(const StoreChange& change) {
  const std::string type = EventName(change.kind);
  const auto of_mailbox = by_mailbox_.find(change.mailbox.guid);
  if (of_mailbox == by_mailbox_.end()) return;
  for (Subscription* const each : of_mailbox->second) {
    Subscription& subscription = *each;
    if (!subscription.types.contains(type)) continue;
    const auto watches = [&](const std::string& folder) { return subscription.folders.contains(folder); };
    const bool told = subscription.all_folders || watches(change.now.parent) || watches(change.before.parent) ||
                      (change.of_folder && watches(change.now.id));
    if (!told) continue;
    ++subscription.last;
    if (subscription.events.size() >= options_.kept_events) {
      subscription.missed = true;
      subscription.events.clear();
    } else if (!subscription.missed) {
      subscription.events.push_back({subscription.last, EventElement(change, subscription.last, subscription.pull)});
    }
    if (subscription.stream != nullptr) subscription.stream->Wake();
  }
}

void Subscriptions::Expire() {
  const Clock::time_point now = Clock::now();
  if (now - swept_ < std::chrono::seconds(1)) return;
  swept_ = now;
  for (auto at = subscriptions_.begin(); at != subscriptions_.end();) {
    const auto next = std::next(at);
    if (HasExpired(at->second)) Erase(at);
    at = next;
  }
}

bool Subscriptions::HasExpired(const Subscription& subscription) {
  return subscription.streams == 0 && Clock::now() - subscription.heard > subscription.lifetime;
}

void Subscriptions::Erase(std::map<std::string, Subscription>::iterator at) {
  by_mailbox_[at->second.mailbox].erase(&at->second);
  --by_account_[at->second.account];
  subscriptions_.erase(at);
}

std::string Subscriptions::Add(Subscription subscription) {
  Expire();
  if (by_account_[subscription.account] >= kMostSubscriptions)
    throw EwsError("ErrorExceededSubscriptionCount",
                   "You have exceeded the available subscriptions for your account. Remove unnecessary subscriptions "
                   "and try your request again.");
  subscription.id = EncodeBase64("backend-" + std::to_string(subscription.back_end) + " " + NewGuid() + " " +
                                 std::to_string(++last_id_));
  // Nobody pays for the telling in a store that nobody watches.
  if (observer_ == 0) observer_ = store_.GetObservers().Add([this](const StoreChange& change) { Told(change); });
  subscription.heard = Clock::now();
  std::string id = subscription.id;
  Subscription& added = subscriptions_.emplace(id, std::move(subscription)).first->second;
  by_mailbox_[added.mailbox].insert(&added);
  ++by_account_[added.account];
  return id;
}

Subscriptions::Subscription& Subscriptions::Get(const std::string& id, const std::string& account, int back_end) {
  Expire();
  auto found = subscriptions_.find(id);
  if (found != subscriptions_.end() && HasExpired(found->second)) {
    Erase(found);
    found = subscriptions_.end();
  }
  // What lives on another back end is known there alone.
  if (found == subscriptions_.end() || found->second.back_end != back_end)
    throw EwsError("ErrorSubscriptionNotFound", "The specified subscription was not found.");
  if (found->second.account != account)
    throw EwsError("ErrorSubscriptionAccessDenied",
                   "Access is denied. Only the subscription owner may access the subscription.");
  found->second.heard = Clock::now();
  return found->second;
}

void Subscriptions::Remove(const std::string& id) {
  const auto found = subscriptions_.find(id);
  if (found == subscriptions_.end()) return;
  ReplyStream* const stream = found->second.stream;
  Erase(found);
  if (stream != nullptr) stream->Wake();
}

std::size_t Subscriptions::Count() {
  swept_ = {};
  Expire();
  return subscriptions_.size();
}

void Subscriptions::Forget() {
  while (!subscriptions_.empty()) Remove(subscriptions_.begin()->first);
}

std::optional<Element> Subscriptions::Take(Subscription& subscription) {
  if (subscription.events.empty()) return std::nullopt;
  Element notification = Types("Notification");
  notification.Add("SubscriptionId", subscription.id);
  for (Event& event : subscription.events) notification.Add(std::move(event.element));
  subscription.events.clear();
  return notification;
}

// ---- Streams

StreamBody Subscriptions::Open(std::vector<std::string> ids, const std::string& user, std::chrono::milliseconds time,
                               Writer writer) {
  if (open_[user] >= options_.streams_per_user) throw SoapFault("ErrorExceededConnectionCount");
  // Counted here and not in the stream, so that two requests at once cannot both be the last one allowed.
  struct Share {
    Subscriptions& owner;
    std::string user;
    Share(Subscriptions& all, std::string whose) : owner(all), user(std::move(whose)) { ++owner.open_[user]; }
    ~Share() {
      const std::lock_guard lock(owner.store_.mutex);
      --owner.open_[user];
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;
  };
  return [this, ids = std::move(ids), time, writer = std::move(writer),
          share = std::make_shared<Share>(*this, user)](ReplyStream& stream) { Run(stream, ids, time, writer); };
}

void Subscriptions::Run(ReplyStream& stream, const std::vector<std::string>& ids, std::chrono::milliseconds time,
                        const Writer& writer) {
  const Clock::time_point end = Clock::now() + time;
  Clock::time_point sign = Clock::now() + options_.stream_keep_alive;
  const auto each = [&](const auto& what) {
    for (const std::string& id : ids) {
      const auto found = subscriptions_.find(id);
      if (found != subscriptions_.end()) what(found->second);
    }
  };
  {
    const std::lock_guard lock(store_.mutex);
    each([&](Subscription& subscription) {
      ++subscription.streams;
      subscription.stream = &stream;
    });
  }
  bool open = stream.Write(writer(StreamingResponse({Messages("Notifications"), Status("OK")}), true));
  while (open) {
    Element notifications = Messages("Notifications");
    std::vector<std::string> gone, missed;
    {
      const std::lock_guard lock(store_.mutex);
      for (const std::string& id : ids) {
        const auto found = subscriptions_.find(id);
        if (found == subscriptions_.end()) {
          gone.push_back(id);
          continue;
        }
        found->second.heard = Clock::now();
        if (found->second.missed) missed.push_back(id);
        if (std::optional<Element> notification = Take(found->second)) notifications.Add(std::move(*notification));
      }
    }
    if (!notifications.children.empty()) {
      open = stream.Write(writer(StreamingResponse({std::move(notifications)}), false));
      sign = Clock::now() + options_.stream_keep_alive;
    }
    if (open && !missed.empty()) {
      stream.Write(writer(RefusedStream(EwsError("ErrorMissedNotificationEvents",
                                                 "Some events were lost because more happened than is kept."),
                                        missed),
                          false));
      break;
    }
    if (open && !gone.empty()) {
      stream.Write(writer(
          RefusedStream(EwsError("ErrorSubscriptionNotFound", "The specified subscription was not found."), gone),
          false));
      break;
    }
    const Clock::time_point now = Clock::now();
    if (open && now >= end) {
      stream.Write(writer(StreamingResponse({Status("Closed")}), false));
      break;
    }
    if (open && now >= sign) {
      Element signs = Messages("Notifications");
      for (const std::string& id : ids) {
        Element& notification = signs.Add(Types("Notification"));
        notification.Add("SubscriptionId", id);
        notification.Add("StatusEvent");
      }
      open = stream.Write(writer(StreamingResponse({std::move(signs)}), false));
      sign = now + options_.stream_keep_alive;
    }
    if (open) {
      open = stream.Wait(std::chrono::ceil<std::chrono::milliseconds>(std::min(end, sign) - now));
    }
  }
  const std::lock_guard lock(store_.mutex);
  each([&](Subscription& subscription) {
    --subscription.streams;
    subscription.heard = Clock::now();
    if (subscription.stream == &stream) subscription.stream = nullptr;
  });
}

}  // namespace velmore::simulator
