#include "platform/common/uVqClasses.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <unordered_map>

namespace velmore {
namespace {

class IShelf : public virtual IVqObject {
 public:
  virtual int Books() const = 0;
};

class ILamp : public virtual IVqObject {
 public:
  virtual bool Lit() const = 0;
};

class ILadder : public virtual IVqObject {};

class TRoom : public TVqObject, public virtual IShelf, public virtual ILamp {
 public:
  explicit TRoom(int books, std::function<void(TRoom&)> atEnd = {}) : FBooks(books), FAtEnd(std::move(atEnd)) {
    if (books < 0) throw EVqException("no such room");
  }
  int Books() const override { return FBooks; }
  bool Lit() const override { return true; }

 protected:
  ~TRoom() override {
    if (FAtEnd) FAtEnd(*this);
  }

 private:
  int FBooks;
  std::function<void(TRoom&)> FAtEnd;
};

TEST(References, TheLastOneDestroysTheObject) {
  const std::int64_t before = VqLiveObjectCount();
  int ended = 0;
  {
    TVqRef<TRoom> room = MakeRef<TRoom>(3, [&](TRoom&) { ++ended; });
    EXPECT_EQ(VqLiveObjectCount(), before + 1);
    TVqRef<TRoom> second = room;
    TVqRef<IShelf> shelf = room;
    room = nullptr;
    second = {};
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(shelf->Books(), 3);
  }
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(VqLiveObjectCount(), before);
}

TEST(References, CountIsTold) {
  TVqRef<TRoom> room = MakeRef<TRoom>(0);
  EXPECT_EQ(room->_AddRef(), 2);
  EXPECT_EQ(room->_Release(), 1);
  TVqRef<TRoom> moved = std::move(room);
  EXPECT_EQ(moved->_AddRef(), 2) << "moving does not count";
  moved->_Release();
  EXPECT_FALSE(room);  // NOLINT(bugprone-use-after-move): a moved-from reference is an empty one
}

TEST(References, EmptyOnesRaiseWhenUsed) {
  TVqRef<TRoom> none;
  EXPECT_FALSE(none);
  EXPECT_TRUE(none == nullptr);
  EXPECT_EQ(none.get(), nullptr);
  try {
    none->Books();
    FAIL();
  } catch (const EVqException& error) {
    EXPECT_STREQ(error.what(), "An empty reference to TRoom was used.");
  }
  EXPECT_THROW(static_cast<void>(*none), EVqException);
}

TEST(References, AssignmentKeepsWhatBothSidesHold) {
  int ended = 0;
  TVqRef<TRoom> a = MakeRef<TRoom>(1, [&](TRoom&) { ++ended; });
  TVqRef<TRoom>& self = a;
  a = self;
  EXPECT_EQ(a->Books(), 1);
  a = std::move(self);
  EXPECT_EQ(a->Books(), 1);
  TVqRef<TRoom> b = MakeRef<TRoom>(2);
  EXPECT_FALSE(a == b);
  a = b;
  EXPECT_EQ(ended, 1);
  EXPECT_TRUE(a == b);
}

TEST(References, AdoptTakesOverACountedReference) {
  TVqRef<TRoom> room = MakeRef<TRoom>(1);
  room->_AddRef();
  TVqRef<TRoom> adopted = TVqRef<TRoom>::Adopt(room.get());
  EXPECT_EQ(room->_AddRef(), 3);
  room->_Release();
}

TEST(References, AnObjectMayReferToItselfInItsDestructor) {
  int ended = 0;
  {
    TVqRef<TRoom> room = MakeRef<TRoom>(1, [&](TRoom& self) {
      ++ended;
      TVqRef<TRoom> again(&self);
      TVqRef<IVqObject> another = again;
    });
  }
  EXPECT_EQ(ended, 1);
}

TEST(References, AnObjectThatCannotBeMadeLeavesNothingBehind) {
  const std::int64_t before = VqLiveObjectCount();
  EXPECT_THROW(MakeRef<TRoom>(-1), EVqException);
  EXPECT_EQ(VqLiveObjectCount(), before);
}

TEST(References, CountIsAtomic) {
  int ended = 0;
  {
    TVqRef<TRoom> room = MakeRef<TRoom>(1, [&](TRoom&) { ++ended; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([room] {
        for (int k = 0; k < 10000; ++k) {
          TVqRef<IShelf> shelf = room;
          TVqRef<IShelf> copy = shelf;
        }
      });
    }
    room = nullptr;
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(ended, 1);
}

TEST(Interfaces, SupportsFindsOtherInterfacesOfOneObject) {
  TVqRef<IShelf> shelf = MakeRef<TRoom>(2);
  TVqRef<ILamp> lamp = Supports<ILamp>(shelf);
  ASSERT_TRUE(lamp);
  EXPECT_TRUE(lamp->Lit());
  TVqRef<TRoom> room = Supports<TRoom>(lamp);
  EXPECT_EQ(room->_AddRef(), 4) << "each answer is a reference of its own";
  room->_Release();
  EXPECT_FALSE(Supports<ILadder>(shelf));
  EXPECT_FALSE(Supports<ILamp>(TVqRef<IShelf>()));
  IVqObject* plain = shelf.get();
  EXPECT_TRUE(Supports<IShelf>(plain) == shelf);
}

// ---- Components

class TPart : public TVqComponent, public virtual IShelf {
 public:
  explicit TPart(TVqComponent* AOwner = nullptr, std::vector<string>* log = nullptr, const string& name = "")
      : TVqComponent(AOwner), FLog(log) {
    SetName(name);
    if (name == "refused") throw EVqException("no such part");
  }
  ~TPart() override {
    if (FLog) FLog->push_back("end " + GetName());
  }
  int Books() const override { return 1; }

  std::function<void(TVqComponent*)> OnGone;

 protected:
  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override {
    EXPECT_EQ(AOperation, TVqOperation::opRemove);
    if (FLog) FLog->push_back("told " + GetName());
    if (OnGone) OnGone(AComponent);
  }

 private:
  std::vector<string>* FLog;
};

TEST(Components, OwnersDestroyTheirsLastMadeFirst) {
  std::vector<string> log;
  {
    TPart owner(nullptr, &log, "owner");
    new TPart(&owner, &log, "first");
    auto* second = new TPart(&owner, &log, "second");
    new TPart(second, &log, "inner");
    new TPart(&owner, &log, "third");
    EXPECT_EQ(second->GetOwner(), &owner);
  }
  EXPECT_EQ(log, (std::vector<string>{"end owner", "end third", "end second", "end inner", "end first"}));
}

TEST(Components, AnOwnedOneMayGoFirst) {
  std::vector<string> log;
  {
    TPart owner(nullptr, &log, "owner");
    auto* part = new TPart(&owner, &log, "part");
    delete part;
    EXPECT_EQ(log, std::vector<string>{"end part"});
  }
  EXPECT_EQ(log.size(), 2u);
}

TEST(Components, AConstructorThatRaisesLeavesNoTraceInTheOwner) {
  TPart owner;
  EXPECT_THROW(TPart(&owner, nullptr, "refused"), EVqException);
}

TEST(Components, OnTheStackAndByOwnerTheCountDestroysNothing) {
  std::vector<string> log;
  {
    TPart part(nullptr, &log, "part");
    EXPECT_FALSE(part.GetAutoDestroy());
    {
      TVqRef<IShelf> shelf(&part);
      EXPECT_EQ(shelf->Books(), 1);
    }
    EXPECT_TRUE(log.empty());
    new TPart(&part, &log, "owned");
    TVqRef<TPart> made = MakeRef<TPart>(&part, &log, "made");
    EXPECT_FALSE(made->GetAutoDestroy()) << "its owner decides";
    made = nullptr;
    EXPECT_TRUE(log.empty());
  }
  EXPECT_EQ(log.size(), 3u);
}

TEST(Components, WithAutoDestroyTheLastReferenceEndsThem) {
  std::vector<string> log;
  TVqRef<TPart> part = MakeRef<TPart>(nullptr, &log, "part");
  EXPECT_TRUE(part->GetAutoDestroy()) << "made without an owner, nobody else would end it";
  TVqRef<IShelf> shelf = Supports<IShelf>(part);
  part = nullptr;
  EXPECT_TRUE(log.empty());
  shelf = nullptr;
  EXPECT_EQ(log, std::vector<string>{"end part"});
}

TEST(Components, AutoDestroyCanBeSwitchedOffAgain) {
  std::vector<string> log;
  TVqRef<TPart> part = MakeRef<TPart>(nullptr, &log, "part");
  part->SetAutoDestroy(false);
  TPart* raw = part.get();
  part = nullptr;
  EXPECT_TRUE(log.empty());
  delete raw;
}

TEST(Components, FreeNotificationTellsWhoAsked) {
  std::vector<string> log;
  TPart watcher(nullptr, &log, "watcher");
  TVqComponent* gone = nullptr;
  watcher.OnGone = [&](TVqComponent* component) { gone = component; };
  auto watched = std::make_unique<TPart>(nullptr, &log, "watched");
  TVqComponent* address = watched.get();
  watched->FreeNotification(&watcher);
  watched->FreeNotification(&watcher);
  watched.reset();
  EXPECT_EQ(log, (std::vector<string>{"end watched", "told watcher"})) << "once, however often it asked";
  EXPECT_EQ(gone, address);
}

TEST(Components, FreeNotificationIsMutual) {
  std::vector<string> log;
  TPart watched(nullptr, &log, "watched");
  {
    TPart watcher(nullptr, &log, "watcher");
    watched.FreeNotification(&watcher);
  }
  EXPECT_EQ(log, (std::vector<string>{"end watcher", "told watched"}));
}

TEST(Components, FreeNotificationCanBeWithdrawnFromEitherSide) {
  std::vector<string> log;
  TPart watcher(nullptr, &log, "watcher");
  {
    TPart watched;
    watched.FreeNotification(&watcher);
    watched.RemoveFreeNotification(&watcher);
  }
  {
    TPart watched;
    watched.FreeNotification(&watcher);
    watcher.RemoveFreeNotification(&watched);
  }
  {
    TPart watched;
    watched.FreeNotification(nullptr);
    watched.FreeNotification(&watched);
    watched.RemoveFreeNotification(nullptr);
    watched.RemoveFreeNotification(&watcher);
  }
  EXPECT_TRUE(log.empty());
}

TEST(Components, WhoeverIsToldMayDestroyOthersThatWaitToBeTold) {
  std::vector<string> log;
  auto first = std::make_unique<TPart>(nullptr, &log, "first");
  auto second = std::make_unique<TPart>(nullptr, &log, "second");
  TPart third(nullptr, &log, "third");
  third.OnGone = [&](TVqComponent*) {
    first.reset();
    second.reset();
  };
  {
    TPart watched;
    watched.FreeNotification(first.get());
    watched.FreeNotification(&third);
    watched.FreeNotification(second.get());
  }
  EXPECT_EQ(std::ranges::count(log, string("told third")), 1);
  EXPECT_EQ(std::ranges::count(log, string("end first")), 1);
  EXPECT_EQ(std::ranges::count(log, string("end second")), 1);
  EXPECT_EQ(log.size() - static_cast<std::size_t>(std::ranges::count(log, string("told second"))), 3u)
      << "who was gone before its turn is not told";
}

TEST(Components, AskingOneInDestructionChangesNothing) {
  TPart watcher;
  int told = 0;
  watcher.OnGone = [&](TVqComponent* component) {
    ASSERT_LT(++told, 2);
    component->FreeNotification(&watcher);
  };
  {
    TPart watched;
    watched.FreeNotification(&watcher);
  }
  EXPECT_EQ(told, 1);
}

TEST(Components, ANotificationThatRaisesDoesNotStopTheOthers) {
  std::vector<string> log;
  TPart first(nullptr, &log, "first");
  first.OnGone = [](TVqComponent*) { throw EVqException("not now"); };
  TPart second(nullptr, &log, "second");
  {
    TPart watched;
    watched.FreeNotification(&first);
    watched.FreeNotification(&second);
  }
  std::ranges::sort(log);
  EXPECT_EQ(log, (std::vector<string>{"told first", "told second"}));
}

TEST(Components, PairsOfAnyPatternAreToldOnce) {
  // Against a plain model: a matrix of who watches whom.
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    constexpr std::size_t kCount = 8;
    std::vector<std::vector<TVqComponent*>> told(kCount);
    std::vector<std::unique_ptr<TPart>> parts;
    bool pairs[kCount][kCount] = {};
    for (std::size_t i = 0; i < kCount; ++i) {
      parts.push_back(std::make_unique<TPart>());
      parts[i]->OnGone = [&told, i](TVqComponent* component) { told[i].push_back(component); };
    }
    for (int step = 0; step < 60; ++step) {
      const std::size_t a = random() % kCount, b = random() % kCount;
      if (!parts[a] || !parts[b]) continue;
      switch (random() % 8) {
        case 0: {
          const TVqComponent* address = parts[a].get();
          parts[a].reset();
          for (std::size_t i = 0; i < kCount; ++i) {
            ASSERT_EQ(told[i].size(), i != a && pairs[i][a] ? 1u : 0u);
            if (!told[i].empty()) {
              ASSERT_EQ(told[i][0], address);
            }
            told[i].clear();
            pairs[i][a] = pairs[a][i] = false;
          }
          break;
        }
        case 1:
        case 2:
          parts[a]->RemoveFreeNotification(parts[b].get());
          pairs[a][b] = pairs[b][a] = false;
          break;
        default:
          parts[a]->FreeNotification(parts[b].get());
          pairs[a][b] = pairs[b][a] = a != b;
      }
    }
  }
}

TEST(Components, ManyWatchersCostTheSameEach) {
  // Square growth would take minutes here.
  TPart watched;
  std::vector<std::unique_ptr<TPart>> watchers;
  for (int i = 0; i < 200000; ++i) {
    watchers.push_back(std::make_unique<TPart>());
    watched.FreeNotification(watchers.back().get());
  }
  for (std::unique_ptr<TPart>& watcher : watchers) watcher.reset();
}

TEST(Components, AssignToSaysThatItDoesNotKnowTheDestination) {
  TPart source, destination;
  try {
    source.AssignTo(&destination);
    FAIL();
  } catch (const EVqException& error) {
    EXPECT_STREQ(error.what(), "The component cannot be assigned to a component of this class.");
  }
  try {
    source.AssignTo(nullptr);
    FAIL();
  } catch (const EVqException& error) {
    EXPECT_STREQ(error.what(), "The component cannot be assigned to an empty reference.");
  }
}

TEST(Components, AreCountedAmongTheLiveObjects) {
  const std::int64_t before = VqLiveObjectCount();
  {
    TPart owner;
    new TPart(&owner);
    EXPECT_EQ(VqLiveObjectCount(), before + 2);
  }
  EXPECT_EQ(VqLiveObjectCount(), before);
}

// ---- Lists of texts

TEST(Strings, KeepTheirOrder) {
  TVqStrings list;
  EXPECT_EQ(list.Add("b"), 0);
  EXPECT_EQ(list.Add("a"), 1);
  EXPECT_EQ(list.Add("b"), 2);
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.GetItem(1), "a");
  EXPECT_EQ(list.IndexOf("b"), 0);
  list.Delete(0);
  EXPECT_EQ(list.IndexOf("b"), 1);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.IndexOf("b"), -1);
}

TEST(Strings, CaseCountsUnlessToldOtherwise) {
  TVqStrings exact;
  exact.Add("Inbox");
  EXPECT_EQ(exact.IndexOf("inbox"), -1);
  TVqStrings loose(false);
  loose.Assign(exact);
  EXPECT_EQ(loose.IndexOf("inbox"), 0);
}

TEST(Strings, PositionsThatAreNotThereRaise) {
  TVqStrings list;
  list.Add("a");
  for (const std::int32_t at : {-1, 1, std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_THROW(list.GetItem(at), EListError);
    EXPECT_THROW(list.Delete(at), EListError);
  }
  try {
    list.GetItem(1);
  } catch (const EListError& error) {
    EXPECT_STREQ(error.what(), "There is no text at position 1.");
  }
  EXPECT_EQ(list.Count(), 1);
}

TEST(Strings, TextSplitsAtEveryKindOfLineBreak) {
  TVqStrings list;
  list.SetText("a\r\nb\nc\rd\n\ne");
  ASSERT_EQ(list.Count(), 6);
  EXPECT_EQ(list.GetItem(3), "d");
  EXPECT_EQ(list.GetItem(4), "");
  EXPECT_EQ(list.GetText(), "a\r\nb\r\nc\r\nd\r\n\r\ne\r\n");
  list.SetText("one\r\n");
  EXPECT_EQ(list.Count(), 1) << "the last line break ends the last line";
  list.SetText("\n\r");
  EXPECT_EQ(list.Count(), 2);
  list.SetText("");
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.GetText(), "");
}

TEST(Strings, MayBeSetAndAddedFromTheirOwnItems) {
  TVqStrings list;
  list.Add("a\nb");
  list.SetText(list.GetItem(0));
  EXPECT_EQ(list.GetText(), "a\r\nb\r\n");
  for (int i = 0; i < 100; ++i) list.Add(list.GetItem(0));
  EXPECT_EQ(list.GetItem(101), "a");
  list.Assign(list);
  EXPECT_EQ(list.Count(), 102);
  std::int32_t seen = 0;
  for (const string& text : list) seen += text == "a";
  EXPECT_EQ(seen, 101);
}

TEST(Reference, IsAKey) {
  const auto room = MakeRef<TRoom>(1), other = MakeRef<TRoom>(1);
  std::unordered_map<TVqRef<IShelf>, int> visits;
  ++visits[room];
  ++visits[Supports<IShelf>(room)];
  ++visits[other];
  ++visits[nullptr];
  EXPECT_EQ(visits.size(), 3u);
  EXPECT_EQ(visits[room], 2) << "by the object, not by what it holds";
}

}  // namespace
}  // namespace velmore
