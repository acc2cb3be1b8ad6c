// From an envelope of the stream to the handlers.

#include <gmock/gmock.h>

#include "EventsTestSupport.h"

namespace velmore::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using FolderRef = TVqRef<IVqEWSFolder>;

class Dispatch : public EventsTest {
 protected:
  Dispatch() {
    const auto both = [](const TItemId& id) { return id.Id.utf8() + "/" + id.ChangeKey.utf8(); };
    const auto changed = [this, both](const char* what) {
      return [this, both, what](const TVqRef<IVqEWSFolder>& folder, TDateTime at, const TItemId& item,
                                const TItemId& parent) {
        Log.Add(std::string(what) + " " + Where(folder) + " " + When(at) + " " + both(item) + " " + Key(parent));
      };
    };
    const auto moved = [this, both](const char* what) {
      return [this, both, what](const TVqRef<IVqEWSFolder>& folder, TDateTime at, const TItemId& item,
                                const TItemId& parent, const TItemId& oldItem, const TItemId& oldParent) {
        Log.Add(std::string(what) + " " + Where(folder) + " " + When(at) + " " + both(item) + " " + Key(parent) + " " +
                both(oldItem) + " " + both(oldParent));
      };
    };
    Events.SetThreadedEvents(true);
    Events.SetOnNewMail(changed("new mail"));
    Events.SetOnItemCreated(changed("created"));
    Events.SetOnItemDeleted(changed("deleted"));
    Events.SetOnItemCopied(moved("copied"));
    Events.SetOnItemMoved(moved("moved"));
    Events.SetOnItemModified([this, both](const TVqRef<IVqEWSFolder>& folder, TDateTime at, const TItemId& item,
                                          const TItemId& parent, std::int32_t unread) {
      Log.Add("modified " + Where(folder) + " " + When(at) + " " + both(item) + " " + Key(parent) + " " +
              std::to_string(unread));
    });
    FInbox = Inbox();
    Events.GetEventGroups().AddFolder("G", kAlice, FInbox);
    Events.GetEventGroups().GetGroup("G").GetItem(0).SetSubscriptionId("sub");
  }

  std::string Where(const TVqRef<IVqEWSFolder>& folder) const { return folder == FInbox ? "inbox" : "elsewhere"; }
  static std::string When(TDateTime at) { return static_cast<double>(at) == 0 ? "never" : VqDateTimeToXML(at).utf8(); }
  /// The watched folder's id stands in every event; what is told apart is the key beside it.
  std::string Key(const TItemId& parent) const {
    return (parent.Id == FInbox->GetID().Id ? "" : "other ") + parent.ChangeKey.utf8();
  }
  std::string Parent() const { return "<t:ParentFolderId Id=\"" + FInbox->GetID().Id.utf8() + "\" ChangeKey=\"pk\"/>"; }
  std::string Event(const std::string& name, const std::string& rest = {}) const {
    return "<t:" + name + "><t:TimeStamp>2026-03-02T10:00:00Z</t:TimeStamp><t:ItemId Id=\"i\" ChangeKey=\"k\"/>" +
           Parent() + rest + "</t:" + name + ">";
  }
  void Process(const std::string& envelope) { Events.ProcessEvents(TVqDOMDocument(envelope)); }
  static std::string Old() { return "<t:OldItemId Id=\"oi\" ChangeKey=\"ok\"/><t:OldParentFolderId Id=\"op\"/>"; }

  TLog Log;
  TVqEWSSingleStoreFolderEvents Events;
  FolderRef FInbox;
};

TEST_F(Dispatch, EachKindGoesToItsHandlerInTheOrderOfTheEnvelope) {
  Process(EnvelopeOf("sub", Event("ModifiedEvent", "<t:UnreadCount>7</t:UnreadCount>") + Event("CreatedEvent") +
                                Event("CopiedEvent", Old()) + Event("MovedEvent", Old()) + Event("NewMailEvent")));
  EXPECT_THAT(
      Log.Entries(),
      ElementsAre("modified inbox 2026-03-02T10:00:00Z i/k pk 7", "created inbox 2026-03-02T10:00:00Z i/k pk",
                  "copied inbox 2026-03-02T10:00:00Z i/k pk oi/ok op/",
                  "moved inbox 2026-03-02T10:00:00Z i/k pk oi/ok op/", "new mail inbox 2026-03-02T10:00:00Z i/k pk"));
}

TEST_F(Dispatch, DeletionsTakeTheRoadOfCopies) {
  Process(EnvelopeOf("sub", Event("DeletedEvent") + Event("DeletedEvent", Old())));
  EXPECT_THAT(Log.Entries(), ElementsAre("copied inbox 2026-03-02T10:00:00Z i/k pk / /",
                                         "copied inbox 2026-03-02T10:00:00Z i/k pk oi/ok op/"));
}

TEST_F(Dispatch, WithoutAHandlerOfCopiesDeletionsArriveNowhere) {
  Events.SetOnItemCopied(nullptr);
  Process(EnvelopeOf("sub", Event("DeletedEvent")));
  EXPECT_THAT(Log.Entries(), IsEmpty());
}

TEST_F(Dispatch, WhatIsAbsentHasItsValue) {
  const std::string bare = "<t:ModifiedEvent>" + Parent() + "</t:ModifiedEvent><t:MovedEvent>" + Parent() +
                           "</t:MovedEvent><t:NewMailEvent>" + Parent() + "</t:NewMailEvent>";
  Process(EnvelopeOf("sub", bare));
  EXPECT_THAT(Log.Entries(),
              ElementsAre("modified inbox never / pk -1", "moved inbox never / pk / /", "new mail inbox never / pk"));
}

TEST_F(Dispatch, AFolderThatChangedHasNoItemId) {
  Process(EnvelopeOf("sub",
                     "<t:ModifiedEvent><t:TimeStamp>2026-03-02T10:00:00.123456789Z</t:TimeStamp>"
                     "<t:FolderId Id=\"f\" ChangeKey=\"fk\"/>" +
                         Parent() + "<t:UnreadCount>3</t:UnreadCount></t:ModifiedEvent>"));
  EXPECT_THAT(Log.Entries(), ElementsAre("modified inbox 2026-03-02T10:00:00.123Z / pk 3"));
}

TEST_F(Dispatch, NotificationsOfUnknownSubscriptionsAreSkippedWhole) {
  Process(EnvelopeOf("Sub", Event("NewMailEvent")));
  Process(EnvelopeOf("", Event("NewMailEvent")));
  EXPECT_THAT(Log.Entries(), IsEmpty());
}

TEST_F(Dispatch, EventsOfFoldersThatAreNotWatchedAreSkipped) {
  const std::string elsewhere =
      "<t:NewMailEvent><t:TimeStamp>2026-03-02T10:00:00Z</t:TimeStamp><t:ParentFolderId Id=\"x\"/></t:NewMailEvent>";
  const std::string sign = "<t:StatusEvent><t:Watermark>AAAA</t:Watermark></t:StatusEvent>";
  Process(EnvelopeOf("sub", elsewhere + sign + Event("CreatedEvent")));
  EXPECT_THAT(Log.Entries(), ElementsAre("created inbox 2026-03-02T10:00:00Z i/k pk"));
}

TEST_F(Dispatch, NamesAreComparedExactlyAndOthersIgnored) {
  Process(EnvelopeOf("sub", Event("newmailevent") + Event("FreeBusyChangedEvent") + Event("NewMailEventX")));
  EXPECT_THAT(Log.Entries(), IsEmpty());
}

TEST_F(Dispatch, AnyPrefixesDo) {
  std::string envelope = EnvelopeOf("sub", Event("NewMailEvent"));
  for (const auto& [from, to] : {std::pair<std::string, std::string>{"s:", "soap-env:"}, {"m:", "n1:"}, {"t:", "x:"}}) {
    for (std::size_t at = 0; (at = envelope.find(from, at)) != std::string::npos; at += to.size()) {
      const char before = envelope[at - 1];
      if (before == '<' || before == '/') envelope.replace(at, from.size(), to);
    }
    const std::string declared = "xmlns:" + from.substr(0, from.size() - 1) + "=";
    const std::size_t at = envelope.find(declared);
    envelope.replace(at, declared.size(), "xmlns:" + to.substr(0, to.size() - 1) + "=");
  }
  Process(envelope);
  EXPECT_EQ(Log.Count(), 1u) << envelope;
}

TEST_F(Dispatch, SeveralNotificationsGoInTheOrderOfTheDocument) {
  Events.GetEventGroups().AddFolder("H", kBob, Folder(dfindrafts));
  Events.GetEventGroups().GetGroup("H").GetItem(0).SetSubscriptionId("other");
  std::string envelope = EnvelopeOf("sub", Event("NewMailEvent"));
  const std::string drafts =
      "<m:Notification><t:SubscriptionId>other</t:SubscriptionId><t:CreatedEvent>"
      "<t:ParentFolderId Id=\"" +
      Folder(dfindrafts)->GetID().Id.utf8() + "\"/></t:CreatedEvent></m:Notification>";
  const std::size_t at = envelope.find("<m:Notification>");
  envelope.insert(at, drafts);
  Process(envelope);
  ASSERT_EQ(Log.Count(), 2u);
  EXPECT_TRUE(Log.Entries()[0].starts_with("created elsewhere")) << Log.Entries()[0];
  EXPECT_TRUE(Log.Entries()[1].starts_with("new mail inbox"));
}

TEST_F(Dispatch, WithoutThreadedEventsHandlersWaitForTheMainThread) {
  Events.SetThreadedEvents(false);
  Process(EnvelopeOf("sub", Event("NewMailEvent") + Event("CreatedEvent")));
  EXPECT_THAT(Log.Entries(), IsEmpty());
  EXPECT_EQ(VqMainThreadQueueLength(), 2);
  VqProcessMainThreadQueue();
  EXPECT_THAT(Log.Entries(),
              ElementsAre("new mail inbox 2026-03-02T10:00:00Z i/k pk", "created inbox 2026-03-02T10:00:00Z i/k pk"));
}

TEST_F(Dispatch, WithoutAHandlerNothingIsQueued) {
  Events.SetThreadedEvents(false);
  Events.SetOnNewMail(nullptr);
  Process(EnvelopeOf("sub", Event("NewMailEvent")));
  EXPECT_EQ(VqMainThreadQueueLength(), 0);
}

TEST_F(Dispatch, AQueuedEventGoesToTheHandlerOfTheMomentAtWhichItRuns) {
  Events.SetThreadedEvents(false);
  Process(EnvelopeOf("sub", Event("NewMailEvent") + Event("CreatedEvent")));
  Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId& item, const TItemId&) {
    Log.Add("another " + item.Id.utf8());
  });
  Events.SetOnItemCreated(nullptr);
  VqProcessMainThreadQueue();
  EXPECT_THAT(Log.Entries(), ElementsAre("another i"));
}

TEST_F(Dispatch, AQueuedEventKeepsItsFolderAlive) {
  TVqRef<IVqEWSFolder> heard;
  {
    TVqEWSSingleStoreFolderEvents events;
    events.SetOnNewMail(
        [&](const TVqRef<IVqEWSFolder>& folder, TDateTime, const TItemId&, const TItemId&) { heard = folder; });
    events.NewMail(Folder(dfindrafts), 1.0, {}, {});
    VqProcessMainThreadQueue();
  }
  ASSERT_TRUE(heard);
  EXPECT_EQ(heard->GetDisplayName(), "Drafts");
}

TEST_F(Dispatch, AnEventWhoseComponentIsGoneCallsNothing) {
  auto events = std::make_unique<TVqEWSSingleStoreFolderEvents>();
  events->SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { Log.Add("called"); });
  events->NewMail(FInbox, 1.0, {}, {});
  events = nullptr;
  EXPECT_EQ(VqProcessMainThreadQueue(), 1);
  EXPECT_THAT(Log.Entries(), IsEmpty());
}

TEST_F(Dispatch, TheOperationsHandOverWhatTheyAreGiven) {
  const TItemId item{"i", "k"}, parent{FInbox->GetID().Id, "pk"}, old{"oi", "ok"}, oldParent{"op", ""};
  Events.ItemDeleted(FInbox, {}, item, parent);
  Events.ItemCopied(FInbox, {}, item, parent, old, oldParent);
  Events.ItemMoved(FInbox, {}, item, parent, old, oldParent);
  Events.ItemModified(FInbox, {}, item, parent, 5);
  Events.ItemCreated(FInbox, {}, item, parent);
  EXPECT_THAT(Log.Entries(), ElementsAre("deleted inbox never i/k pk", "copied inbox never i/k pk oi/ok op/",
                                         "moved inbox never i/k pk oi/ok op/", "modified inbox never i/k pk 5",
                                         "created inbox never i/k pk"));
}

TEST_F(Dispatch, AHandlerMayDestroyTheComponent) {
  auto events = std::make_unique<TVqEWSSingleStoreFolderEvents>();
  events->SetThreadedEvents(true);
  events->GetEventGroups().AddFolder("G", kAlice, FInbox);
  events->GetEventGroups().GetGroup("G").GetItem(0).SetSubscriptionId("sub");
  events->SetOnNewMail([&](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    Log.Add("last");
    events = nullptr;
  });
  events->ProcessEvents(TVqDOMDocument(EnvelopeOf("sub", Event("NewMailEvent") + Event("NewMailEvent"))));
  EXPECT_THAT(Log.Entries(), ElementsAre("last"));
}

TEST_F(Dispatch, AMalformedTimeRaises) {
  EXPECT_THROW(
      Process(EnvelopeOf("sub", "<t:NewMailEvent><t:TimeStamp>soon</t:TimeStamp>" + Parent() + "</t:NewMailEvent>")),
      EConvertError);
}

}  // namespace
}  // namespace velmore::testing
