#pragma once

/// Watching folders of many mailboxes: one reader carries the mailboxes that live on one back end of the server, pinned
/// to that back end by the first of them, the anchor.

#include "ews/events/uVqEWSNotifications.h"

namespace velmore {

/// A subscription that knows its part in a group of several mailboxes. See TVqEWSEventSubscription.
class TVqEWSEventSubscriptionEx : public TVqEWSEventSubscription {
 public:
  using TVqEWSEventSubscription::TVqEWSEventSubscription;

  /// Of the anchor: what the server named its back end by; empty otherwise. Worked out by each Start.
  const string& GetBackendOverrideCookie() const noexcept { return FBackendOverrideCookie; }
  void SetBackendOverrideCookie(const string& AValue) { FBackendOverrideCookie = AValue; }
  /// True for the first subscription of its group.
  bool GetIsAnchor() const noexcept { return FIsAnchor; }
  void SetIsAnchor(bool AValue) noexcept { FIsAnchor = AValue; }

 private:
  string FBackendOverrideCookie;
  bool FIsAnchor = false;
};

/// The reader of a group with an anchor, in whose name it asks for the events of all. See TVqEWSGetEvents. Keeps the
/// anchor and its cookie over all its connections.
class TVqEWSGetAnchorEvents : public TVqEWSGetEvents {
 public:
  /// The first subscription of the group is the anchor; it must be a TVqEWSEventSubscriptionEx.
  TVqEWSGetAnchorEvents(TVqEWSSingleStoreFolderEvents& AOwner, TVqEWSEventGroup& AGroup);

 protected:
  void InitializeHTTPClient(IVqHTTPClient& AClient) override;
  void InitializeHTTPRequest(IVqHTTPRequestEx& ARequest) override;
  void InitializeSOAPRequest(TVqEWSEventGroup& AGroup, IVqSOAPRequest& ARequest) override;
  void BeforeResubscribe() override;
  void AfterResubscribed(TVqEWSEventSubscription& ASubscription, const IVqHTTPResponse& AResponse) override;

 private:
  string FAnchorMailBox;
  string FBackendOverrideCookie;
};

/// The component behind TVqEWSFolderEvents: groups the stores by what Autodiscover tells of their servers. See
/// TVqEWSSingleStoreFolderEvents.
class TVqEWSMultipleStoreFolderEvents : public TVqEWSSingleStoreFolderEvents {
 public:
  using TVqEWSSingleStoreFolderEvents::TVqEWSSingleStoreFolderEvents;

  std::unique_ptr<TVqEWSEventSubscription> EventSubscriptionClass(TVqEWSEventGroup& AGroup,
                                                                  const string& AStoreSmtpAddress) override;
  /// With one store, as the base; else every group is anchored on its first mailbox by address. The account needs the
  /// right to impersonate the others.
  void Start() override;
  /// The hook is not called, on purpose: groups follow the servers. On Exchange2013 and later the first folder of a
  /// store asks Autodiscover for its place, and raises what that raises; EVqXMLError when the answer does not tell it.
  void Subscribe(const TVqRef<IVqEWSFolder>& AFolder,
                 const TVqEWSFolderEventsGetEventGroup& AGetEventGroup = nullptr) override;

 protected:
  /// Leads the request of a subscription to the back end of its group's anchor, in the name of its own mailbox. Raises
  /// a plain exception when the request goes through no HTTP client.
  static void AnchorRequest(TVqEWSEventSubscription& ASubscription, IVqSOAPRequest& ARequest);

 private:
  string GroupOf(const string& AStoreSmtpAddress) const;
};

}  // namespace velmore
