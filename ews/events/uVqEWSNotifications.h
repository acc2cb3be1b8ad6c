#pragma once

/// Watching folders: which folder belongs to which subscription, which subscription to which group, the thread that
/// reads what the server streams for a group, and the component that holds all of it. Most programs use
/// TVqEWSFolderEvents (uVqEWSFolderEvents.h), the front of what is here.
///
///     events.SetOnNewMail([](const TVqRef<IVqEWSFolder>& folder, TDateTime at, const TItemId& item, const TItemId&) {
///     ... }); events.Subscribe(inbox); events.Start(); while (running) VqProcessMainThreadQueue(100ms);   // handlers
///     run here
///
/// Threads: docs/decisions/events.md tells which object may be touched from which thread, and why it is safe.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <thread>

#include "ews/events/uVqEWSEventSettings.h"
#include "ews/session/uVqEWS.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "platform/soap/uVqSOAPStreamCutter.h"

namespace velmore {

class TVqEWSEventGroup;
class TVqEWSEventGroups;
class TVqEWSGetEvents;
class TVqEWSSingleStoreFolderEvents;

/// One subscription on the server: the watched folders of one mailbox. Folders are told apart by the text of their ids,
/// never as objects.
///
/// Owns a share of each folder. No copies. Belongs to the application's thread, and changes only while nothing is
/// running; readers look folders and the subscription's id up meanwhile.
class TVqEWSEventSubscription {
 public:
  /// `AGroup` must outlive it; the address is the store's.
  TVqEWSEventSubscription(TVqEWSEventGroup& AGroup, const string& AStoreSmtpAddress);
  virtual ~TVqEWSEventSubscription();
  TVqEWSEventSubscription(const TVqEWSEventSubscription&) = delete;
  TVqEWSEventSubscription& operator=(const TVqEWSEventSubscription&) = delete;

  /// The group that owns it.
  TVqEWSEventGroup& GetGroup() const noexcept { return FGroup; }
  /// The SMTP address of the mailbox.
  const string& GetStoreIdentity() const noexcept { return FSmtpAddress; }
  /// The id that the server gave; empty before `Start` and after `Stop`. Any thread may ask: with `Resubscribe` a
  /// reader may bring another one.
  string GetSubscriptionId() const;
  void SetSubscriptionId(const string& AValue);

  /// Number of folders, and the folder at a position. Raises EListError when there is none.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FFolders.size()); }
  const TVqRef<IVqEWSFolder>& GetItem(std::int32_t AIndex) const;
  /// True when a folder with the same id is in the list.
  bool HasFolder(const TVqRef<IVqEWSFolder>& AFolder) const {
    return static_cast<bool>(FindFolder(AFolder->GetID().Id));
  }
  /// The folder with that id, or an empty reference. Searched from the last to the first.
  TVqRef<IVqEWSFolder> FindFolder(const string& AFolderId) const;
  /// Appends a folder unless it is there.
  void Add(const TVqRef<IVqEWSFolder>& AFolder);
  /// Takes out the last one with the same id.
  void Remove(const TVqRef<IVqEWSFolder>& AFolder);

 private:
  friend class TVqEWSGetEvents;
  friend class TVqEWSSingleStoreFolderEvents;

  struct TWatched {
    TVqRef<IVqEWSFolder> Folder;
    string Id;  // the folder object is the application thread's, so readers compare this
  };

  TVqEWSEventGroup& FGroup;
  string FSmtpAddress;
  std::vector<TWatched> FFolders;
  std::string FRequest;         // as it went out, where it may have to be sent again
  mutable std::mutex FIdMutex;  // protects the next
  string FSubscriptionId;
};

/// Subscriptions that share one connection, at most 200 of them where `TVqEWSEventGroups` fills the group. One
/// subscription a store.
///
/// Owns its subscriptions. No copies. Threads as TVqEWSEventSubscription.
class TVqEWSEventGroup {
 public:
  /// `AOwner` says of which class subscriptions are, and must outlive the group's use.
  TVqEWSEventGroup(TVqEWSSingleStoreFolderEvents& AOwner, const string& AGroupCode);

  /// What the group is known by.
  const string& GetGroupCode() const noexcept { return FGroupCode; }
  /// Number of subscriptions, and the one at a position. Raises EListError when there is none.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FSubscriptions.size()); }
  TVqEWSEventSubscription& GetItem(std::int32_t AIndex) const;
  /// The position of a subscription, or -1.
  std::int32_t IndexOf(const TVqEWSEventSubscription& ASubscription) const noexcept;
  /// The subscription that has the folder, or null.
  TVqEWSEventSubscription* FindFolder(const TVqRef<IVqEWSFolder>& AFolder) const;
  /// Adds the folder to the store's subscription, which is made when it is missing; nothing when it has the folder.
  /// Addresses are compared exactly.
  void AddFolder(const string& AStoreSmtpAddress, const TVqRef<IVqEWSFolder>& AFolder);
  /// Takes the folder out; a subscription without a folder goes.
  void RemoveFolder(const TVqRef<IVqEWSFolder>& AFolder);
  /// Takes a subscription out and destroys it.
  void Remove(const TVqEWSEventSubscription& ASubscription);
  /// Sorts the subscriptions by address, code unit by code unit.
  void SortByAddress();

 private:
  TVqEWSSingleStoreFolderEvents& FOwner;
  string FGroupCode;
  std::vector<std::unique_ptr<TVqEWSEventSubscription>> FSubscriptions;
};

/// All groups of a component, by their codes, in the order of these.
///
/// Owns the groups. No copies. Threads as TVqEWSEventSubscription.
class TVqEWSEventGroups {
 public:
  /// As for a group.
  explicit TVqEWSEventGroups(TVqEWSSingleStoreFolderEvents& AOwner) : FOwner(AOwner) {}

  /// The most subscriptions that a group gets.
  static constexpr std::int32_t kMostSubscriptions = 200;

  /// Number of groups.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FGroups.size()); }
  /// Number of the subscriptions of all groups.
  std::int32_t SubscriptionCount() const noexcept;
  /// Looks all groups through for a subscription of the server's id, compared exactly. False, and null, when there is
  /// none.
  bool FindSubscription(const string& ASubscriptionId, TVqEWSEventSubscription*& ASubscription) const;
  /// Takes the subscription of that id out of every group that has one.
  void RemoveSubscription(const string& ASubscriptionId);
  /// The group of a code, made when it is missing.
  TVqEWSEventGroup& GetGroup(const string& ACode);
  /// Adds a folder to the group of that code, unless some group has it. A full group overflows into the group of the
  /// code with a number behind it, from 1.
  void AddFolder(const string& AGroupCode, const string& AStoreSmtpAddress, const TVqRef<IVqEWSFolder>& AFolder);
  /// Forgets all groups.
  void Clear() noexcept { FGroups.clear(); }

  /// For loops over pairs of code and group.
  auto begin() const noexcept { return FGroups.begin(); }
  auto end() const noexcept { return FGroups.end(); }

 private:
  TVqEWSSingleStoreFolderEvents& FOwner;
  std::map<string, std::unique_ptr<TVqEWSEventGroup>> FGroups;
};

/// A session as the component uses it. Does not keep the session alive; raises "There is no active EWS Session!" once
/// it is gone.
///
/// Owns the template client. Lives by its reference count (see TVqEWSObject). One thread at a time, the session's; but
/// the settings of the template are read by readers, which is why nothing changes it while they run.
class TVqSessionWrapper : public TVqEWSImpersonatedObject {
 public:
  /// Makes the template client; raises "You must logon first!" before logon.
  explicit TVqSessionWrapper(TVqEWSBaseSession* ACreator);

  /// The session's own, each time it is asked.
  TServerVersion GetServerVersion() const { return ActiveSession().GetServerVersion(); }
  string GetServiceURL() const { return ActiveSession().GetServiceURL(); }
  string GetExchangeCookie() const { return ActiveSession().GetExchangeCookie(); }
  TVqOAuthAccessToken GetAccessToken() const { return ActiveSession().GetAccessToken(); }

  /// The client from which readers copy their settings.
  const TVqRef<IVqHTTPClient>& GetDefaultClient() const noexcept { return FDefaultClient; }
  /// Makes it anew with the settings that the session has now. Not while readers run.
  void RenewDefaultClient() { FDefaultClient = CreateHTTPClient(true); }

 protected:
  ~TVqSessionWrapper() override = default;

 private:
  TVqRef<IVqHTTPClient> FDefaultClient;
};

// ---- Hooks

/// Gives the code of the group for a store, by its SMTP address.
using TVqEWSFolderEventsGetEventGroup = std::function<string(const string& AStoreSmtpAddress)>;
/// Called for a group before its subscriptions are created.
using TVqEWSFolderEventsStart_Group = std::function<void(TVqEWSEventGroup& AGroup)>;
/// Called for a subscription with the request that creates it, before that is sent.
using TVqEWSFolderEventsStart_Request =
    std::function<void(TVqEWSEventSubscription& ASubscription, IVqSOAPRequest& ARequest)>;
/// Makes the reader of a group.
using TVqEWSFolderEventsStart_Listener = std::function<std::shared_ptr<TVqEWSGetEvents>(TVqEWSEventGroup& AGroup)>;

/// The operations of a component that watches folders: what a reader calls for each event, and what the application
/// calls.
class IVqEWSFolderEvents : public virtual IVqObject {
 public:
  /// Each hands an event to its handler: at once with `ThreadedEvents`, else through the queue of the main thread. Does
  /// nothing when there is no handler.
  virtual void ItemCopied(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                          const TItemId& AParentFolderId, const TItemId& AOldItemId,
                          const TItemId& AOldParentFolderId) = 0;
  virtual void ItemCreated(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                           const TItemId& AParentFolderId) = 0;
  virtual void ItemDeleted(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                           const TItemId& AParentFolderId) = 0;
  virtual void ItemModified(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                            const TItemId& AParentFolderId, std::int32_t AUnreadCount) = 0;
  virtual void ItemMoved(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                         const TItemId& AParentFolderId, const TItemId& AOldItemId,
                         const TItemId& AOldParentFolderId) = 0;
  virtual void NewMail(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                       const TItemId& AParentFolderId) = 0;

  /// See TVqEWSSingleStoreFolderEvents.
  virtual void Start() = 0;
  virtual void Stop() = 0;
  virtual void Subscribe(const TVqRef<IVqEWSFolder>& AFolder,
                         const TVqEWSFolderEventsGetEventGroup& AGetEventGroup = nullptr) = 0;
  virtual void Unsubscribe(const TVqRef<IVqEWSFolder>& AFolder) = 0;

 protected:
  ~IVqEWSFolderEvents() = default;
};

/// The thread that holds the streaming request (m:GetStreamingEvents) of one group. Connects again for ever, whatever
/// happens, until it is terminated: docs/guide/events.md has the table of delays.
///
/// Owns its thread, its client of the moment and the composed request. Held by the component and, while it runs, by its
/// thread. `StartListening`, `Terminate` and `WaitFor` belong to the application's thread; the rest runs on the
/// reader's own, and touches nothing of the application but what it is given to share
/// (docs/decisions/events.md).
class TVqEWSGetEvents : public std::enable_shared_from_this<TVqEWSGetEvents> {
 public:
  /// What connections are timed by.
  using TClock = std::chrono::steady_clock;

  /// Starts nothing yet: the component calls `Prepare` once the object is whole.
  TVqEWSGetEvents(TVqEWSSingleStoreFolderEvents& AOwner, TVqEWSEventGroup& AGroup);
  virtual ~TVqEWSGetEvents();
  TVqEWSGetEvents(const TVqEWSGetEvents&) = delete;
  TVqEWSGetEvents& operator=(const TVqEWSGetEvents&) = delete;

  /// Composes the request, once for all connections, and starts the thread, which waits for `StartListening`.
  void Prepare();
  /// Lets the thread connect.
  void StartListening();
  /// Has the thread end: cancels what it has under way and cuts its wait short, without waiting for it.
  virtual void Terminate();
  /// Waits until the thread has ended.
  void WaitFor();
  /// Leaves the thread to itself: it ends as soon as the handler that called this returns.
  void Leave();
  /// The reader whose thread this is; null on any other thread.
  static TVqEWSGetEvents* Current() noexcept;
  /// True once the thread was told to end.
  bool GetTerminated() const noexcept { return FTerminated; }
  /// True when the reader belongs to this component.
  bool IsOf(const TVqEWSSingleStoreFolderEvents& AOwner) const noexcept;

 protected:
  /// Sets a client up for streaming: its time-outs (connect 1,000, send 5,000, receive 120,000 ms), its cookies, its
  /// data event. For each connection, on the reader's thread.
  virtual void InitializeHTTPClient(IVqHTTPClient& AClient);
  /// Sets the cookies of a request. For each connection, on the reader's thread.
  virtual void InitializeHTTPRequest(IVqHTTPRequestEx& ARequest);
  /// Fills the request (m:GetStreamingEvents) that all connections send. Once, on the application's thread.
  virtual void InitializeSOAPRequest(TVqEWSEventGroup& AGroup, IVqSOAPRequest& ARequest);
  /// Before the subscriptions of the group are made anew, and with the reply that made one of them.
  virtual void BeforeResubscribe() {}
  virtual void AfterResubscribed(TVqEWSEventSubscription& ASubscription, const IVqHTTPResponse& AResponse);

  /// The time by which connections are timed; tests move it.
  virtual TClock::time_point Now() const { return TClock::now(); }
  /// Waits so long, or until the reader is terminated.
  virtual void WaitBeforeNext(std::chrono::milliseconds ATime);

  /// The body of the thread.
  virtual void Execute();
  /// Takes at most one envelope out of what has arrived, or all with `EagerDispatch`.
  void OnDataReceived(TVqComponent& ASender, TVqHTTPReplyStream& AStream);
  /// The ground that it shares with the application.
  TVqEWSReaderGround& Ground() const noexcept { return *FGround; }
  /// Waits until this was told to end, or so long.
  void WaitUntilTerminated(std::chrono::milliseconds ATime);

 private:
  void Connect();
  void Perform(const TVqRef<IVqHTTPClient>& AClient);
  TVqRef<IVqHTTPClient> NewClient() const;
  void SetRequest(const TVqRef<IVqHTTPRequestEx>& ARequest);
  void ClearRequest() noexcept;
  void TakeEnvelope(std::string AEnvelope);
  void LookAtAnswer(const IVqDOMDocument& ADocument);
  void Refused(const string& ACode, const string& AText, std::vector<string> AIds);
  void Tell(TVqEWSConnectionReport AReport);
  void TellLost(const string& AText);
  bool CanResubscribe() const;
  void Resubscribe();
  string SubscribeAgain(IVqHTTPClient& AClient, TVqEWSEventSubscription& ASubscription);
  void WriteSubscriptionIds();

  std::shared_ptr<TVqEWSReaderGround> FGround;
  TVqEWSEventGroup& FGroup;
  TVqRef<TVqSessionWrapper> FWrapper;  // for Prepare
  TVqMemoryStream FBody;
  std::mutex FCriticalSection;  // protects nothing
  std::mutex FMutex;            // protects the four below it
  std::condition_variable FChanged;
  TVqRef<IVqHTTPRequestEx> FHTTPRequest;  // the one under way
  bool FStartEvent = false;
  bool FWaitEvent = false;
  std::atomic<bool> FTerminated{false};
  std::atomic<std::int32_t> FWaitTime{0};  // milliseconds
  TVqSOAPStreamCutter FCutter;
  bool FConnected = false;  // this connection brought an envelope that was no refusal
  bool FForgotten = false;  // the server does not know a subscription of the group
  std::thread FThread;
};

/// The component that watches folders of one store, or of several in one group. An application uses
/// TVqEWSFolderEvents, which groups the stores by their servers.
///
/// Owns its groups, its readers while it runs, and the wrapper of its session. No copies. One thread, the one of the
/// session, makes and destroys it and calls Subscribe, Unsubscribe, Start and Stop; any thread may set handlers and
/// options. Handlers run on the main thread (uVqMainThread.h), or with `ThreadedEvents` on the readers' threads.
/// Stop from a handler on a reader's thread raises; to destroy the component there is allowed, and the thread then ends
/// when the handler returns. Raises plain exceptions for misuse, EEWSException for refusals of m:Subscribe, and the
/// transport's own.
class TVqEWSSingleStoreFolderEvents : public TVqComponent,
                                      public TVqEWSEventSettings,
                                      public virtual IVqEWSFolderEvents {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSSingleStoreFolderEvents(TVqComponent* AOwner = nullptr);
  /// Stops; failures of that are lost.
  ~TVqEWSSingleStoreFolderEvents() override;

  // ---- Watching

  /// Makes a subscription of the class of this component.
  virtual std::unique_ptr<TVqEWSEventSubscription> EventSubscriptionClass(TVqEWSEventGroup& AGroup,
                                                                          const string& AStoreSmtpAddress);
  /// Creates all subscriptions on the server (m:Subscribe, one a store and group) and starts a reader a group. Only
  /// what has a handler now is subscribed. Does nothing without a handler; starts anew when it is running. Since
  /// Exchange2010_SP1. After a failure nothing runs.
  void Start() override;
  /// Ends all readers and removes the subscriptions from the server (m:Unsubscribe); folders stay listed. The readers
  /// end within 200 ms, unless a handler holds one of them. What the server says to m:Unsubscribe is not looked at; a
  /// failure of the transport raises when the readers have ended. Raises a plain exception on a reader's thread.
  void Stop() override;
  /// Watches one more folder, in the group that `AGetEventGroup` names for its store, "Default" without it. The first
  /// folder decides about the session. While running, everything is stopped and started again, with new subscriptions.
  /// May ask the server for the owner of the folder's store.
  void Subscribe(const TVqRef<IVqEWSFolder>& AFolder,
                 const TVqEWSFolderEventsGetEventGroup& AGetEventGroup = nullptr) override;
  /// No longer watches a folder; one that is not watched changes nothing. Raises a plain exception while running.
  void Unsubscribe(const TVqRef<IVqEWSFolder>& AFolder) override;

  /// True while readers run.
  bool GetActive() const noexcept { return !FListeners.empty(); }
  /// The session of the watched folders; null before the first `Subscribe` and once the session is gone.
  TVqEWSCustomSession* GetSession() const noexcept;
  /// The groups. To be changed only while nothing runs.
  TVqEWSEventGroups& GetEventGroups() noexcept;
  /// The address of the first store that was subscribed.
  const string& GetFirstStoreName() const noexcept { return FFirstStoreName; }

  // ---- Dispatch. See the interface.

  void ItemCopied(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                  const TItemId& AParentFolderId, const TItemId& AOldItemId,
                  const TItemId& AOldParentFolderId) override;
  void ItemCreated(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                   const TItemId& AParentFolderId) override;
  void ItemDeleted(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                   const TItemId& AParentFolderId) override;
  void ItemModified(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                    const TItemId& AParentFolderId, std::int32_t AUnreadCount) override;
  void ItemMoved(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                 const TItemId& AParentFolderId, const TItemId& AOldItemId, const TItemId& AOldParentFolderId) override;
  void NewMail(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
               const TItemId& AParentFolderId) override;
  /// Calls the handlers for every event of one envelope of the stream, in its order. Events of unknown subscriptions
  /// and of folders that are not watched are skipped. For readers; any thread may call it.
  void ProcessEvents(const IVqDOMDocument& ADocument);

 protected:
  /// Start, with hooks.
  void DoStart(const TVqEWSFolderEventsStart_Group& AGroupHook, const TVqEWSFolderEventsStart_Request& ARequestHook,
               const TVqEWSFolderEventsStart_Listener& AListenerHook);
  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;
  /// The wrapper of the session; empty as `GetSession`.
  const TVqRef<TVqSessionWrapper>& GetWrapper() const noexcept { return FSession; }

 private:
  friend class TVqEWSGetEvents;

  void CheckThread() const;
  void CreateSubscriptions(TVqEWSEventGroup& AGroup, const TVqEWSFolderEventsStart_Request& ARequestHook);
  void CreateSubscription(TVqEWSEventSubscription& ASubscription, TVqSOAPClient& AClient,
                          const TVqEWSFolderEventsStart_Request& ARequestHook);
  void Unsubscribe(TVqEWSEventSubscription& ASubscription);
  void EndListeners();

  std::vector<std::shared_ptr<TVqEWSGetEvents>> FListeners;
  string FFirstStoreName;
  TVqRef<TVqSessionWrapper> FSession;
  TVqComponent* FWrappedSession = nullptr;
};

}  // namespace velmore
