// Subscribe, Unsubscribe, GetEvents, GetStreamingEvents.

#include <cstdlib>

#include "simulator/operations/operations.h"

namespace velmore::simulator {

Element Subscribe(Context& context, const Element& request) {
  return RespondOnce("Subscribe", [&] {
    const Element& wanted = request.children.front();
    const bool streaming = wanted.name == "StreamingSubscriptionRequest";
    if (wanted.name == "PushSubscriptionRequest")
      throw EwsError("ErrorInvalidSubscriptionRequest", "The simulator sends no notifications by itself.");
    if (streaming && context.version < kExchange2010Sp1)
      throw EwsError("ErrorInvalidSubscriptionRequest", "Streaming subscriptions came with Exchange2010_SP1.");
    Subscriptions::Subscription subscription;
    subscription.pull = !streaming;
    subscription.account = context.account;
    subscription.back_end = context.back_end;
    const std::string& all = wanted.AttributeText("SubscribeToAllFolders");
    subscription.all_folders = all == "true" || all == "1";
    const Element* folders = wanted.Child("FolderIds");
    if ((folders == nullptr) != subscription.all_folders)
      throw EwsError("ErrorInvalidSubscriptionRequest", "Either folders or all folders can be subscribed to.");
    if (folders != nullptr) {
      for (const Element& id : folders->children) {
        const Place place = LocateFolder(context, id);
        Require(place, Access::kReviewer);
        if (!subscription.mailbox.empty() && subscription.mailbox != place.mailbox->guid)
          throw EwsError("ErrorInvalidSubscriptionRequest", "The folders of a subscription are of one mailbox.");
        // Only somebody who is this user, or acts as him, is told.
        if (streaming && place.mailbox != context.home)
          throw EwsError("ErrorSubscriptionDelegateAccessNotSupported",
                         "Subscriptions are not supported for delegate user access.");
        subscription.mailbox = place.mailbox->guid;
        subscription.folders.insert(place.mailbox->IdOf(*place.folder));
      }
    } else {
      if (context.home == nullptr) throw EwsError("ErrorMissingEmailAddress");
      subscription.mailbox = context.home->guid;
    }
    for (const Element& type : wanted.Child("EventTypes")->children) subscription.types.insert(type.text);
    subscription.lifetime = context.options.subscription_lifetime;
    if (!streaming)
      subscription.lifetime = std::chrono::minutes(std::strtol(wanted.ChildText("Timeout").c_str(), nullptr, 10));
    const bool pull = subscription.pull;
    std::vector<Element> content = {Messages("SubscriptionId", context.subscriptions->Add(std::move(subscription)))};
    if (pull) content.push_back(Messages("Watermark", Watermark(0)));
    return content;
  });
}

Element Unsubscribe(Context& context, const Element& request) {
  return RespondOnce("Unsubscribe", [&] {
    const std::string& id = request.ChildText("SubscriptionId");
    context.subscriptions->Get(id, context.account, context.back_end);
    context.subscriptions->Remove(id);
    return std::vector<Element>{};
  });
}

Element GetEvents(Context& context, const Element& request) {
  return RespondOnce("GetEvents", [&] {
    Subscriptions::Subscription& subscription =
        context.subscriptions->Get(request.ChildText("SubscriptionId"), context.account, context.back_end);
    if (!subscription.pull)
      throw EwsError("ErrorInvalidPullSubscriptionId", "The subscription is not one that is asked for its events.");
    const std::string& mark = request.ChildText("Watermark");
    std::uint64_t known = 0;
    while (known <= subscription.last && Watermark(known) != mark) ++known;
    if (known > subscription.last) throw EwsError("ErrorInvalidWatermark", "The watermark is invalid.");
    if (subscription.missed)
      throw EwsError("ErrorMissedNotificationEvents", "Some events were lost because more happened than is kept.");
    // What the client knows is not told again.
    while (!subscription.events.empty() && subscription.events.front().number <= known) subscription.events.pop_front();
    Element notification = Messages("Notification");
    notification.Add("SubscriptionId", subscription.id);
    notification.Add("PreviousWatermark", mark);
    notification.Add("MoreEvents", "false");
    for (const Subscriptions::Event& event : subscription.events) notification.Add(event.element);
    if (subscription.events.empty()) notification.Add("StatusEvent").Add("Watermark", mark);
    return std::vector<Element>{std::move(notification)};
  });
}

Element GetStreamingEvents(Context& context, const Element& request) {
  std::vector<std::string> ids;
  std::vector<std::string> refused;
  std::optional<EwsError> error;
  for (const Element& id : request.Child("SubscriptionIds")->children) {
    try {
      const Subscriptions::Subscription& subscription =
          context.subscriptions->Get(id.text, context.account, context.back_end);
      if (subscription.pull) throw EwsError("ErrorInvalidSubscription", "The subscription is not one that streams.");
      ids.push_back(id.text);
    } catch (const EwsError& failure) {
      if (!error) error = failure;
      refused.push_back(id.text);
    }
  }
  if (error) return RefusedStream(*error, refused);
  const long minutes = std::strtol(request.ChildText("ConnectionTimeout").c_str(), nullptr, 10);
  const std::string user = context.home != nullptr ? context.home->owner.smtp_address : context.account;
  context.stream =
      context.subscriptions->Open(std::move(ids), user, minutes * context.options.stream_minute, context.envelope);
  return {};
}

}  // namespace velmore::simulator
