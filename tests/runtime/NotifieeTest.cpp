// Notifiees and the delivery of what they hear.

#include <memory>
#include <stdexcept>

#include "tests/Support.h"
#include "tests/runtime/Keeper.h"

namespace {

using Depot::Shelf;
using Depot::TallShelf;
using Zef::make;
using Zef::Ptr;

// Hears of a shelf at once, and does in its place what a test says.
template <class T>
struct Listener : T::NotifieeConst {
  Listener(std::string theWord, Lines& theLog) : word(std::move(theWord)), log(theLog) {}

  void follow(Ptr<Zef::PtrInterface const> const& shelf) {
    this->notifierIs(shelf);
    this->isRegisteredNotifieeIs(true);
  }
  void heard(char const* what) {
    log.push_back(word + " " + what);
    if (auto const now = std::exchange(deed, nullptr)) now();
  }
  void onLevel() override { heard("level"); }
  void onSign() override { heard("sign"); }
  void onParent() override { heard("parent"); }
  void onIsNondestructing() override { heard("isNondestructing"); }
  void onZeroReferences() override { heard("zeroReferences"); }

  std::string word;
  Lines& log;
  std::function<void()> deed;  // once
};
using ShelfListener = Listener<Shelf>;

struct TallListener final : Listener<TallShelf> {
  using Listener::Listener;
  void onHeight() override { heard("height"); }
};

struct Notifiees : testing::Test {
  std::string who() {
    std::string letters;
    for (std::string const& line : take(log)) letters += line[0];
    return letters;
  }
  Lines log;
  Ptr<Shelf> shelf = make<Shelf>("s");
};

TEST_F(Notifiees, HearAsFarDownTheTypeChainAsTheyObserve) {
  auto const high = make<TallShelf>("t");
  struct : Zef::Entity::NotifieeConst {
    void onParent() override { ++heard; }
    int heard = 0;
  } entity;
  entity.notifierIs(high);
  entity.isRegisteredNotifieeIs(true);
  ShelfListener base("base", log);
  base.follow(high);
  TallListener tall("tall", log);
  tall.follow(high);
  high->heightIs(3);
  for (int const level : {0, 3, 3}) high->levelIs(level);  // an equal value is no event
  high->parentIs(nullptr);
  for (bool const on : {false, true, true}) high->isNondestructingIs(on);
  high->isNondestructingIs(false);
  EXPECT_EQ(log,
            (Lines{"tall height", "base level", "tall level", "base parent", "tall parent", "base isNondestructing",
                   "tall isNondestructing", "base isNondestructing", "tall isNondestructing"}));
  EXPECT_EQ(entity.heard, 1);
  EXPECT_EQ(entity.name(), "t");
  tall.follow(make<Shelf>("another type, which counts as none"));
  EXPECT_EQ(tall.notifier(), nullptr);
  EXPECT_FALSE(tall.isRegisteredNotifiee());
}

TEST_F(Notifiees, MayDisruptTheDelivery) {
  Ptr<ShelfListener> a, b, c, d;
  auto const other = make<Shelf>("other");
  // What b does once, who of a, b and c hears then, and who of a further change.
  using Case = std::tuple<char const*, std::function<void()>, char const*, char const*>;
  for (auto const& [what, deed, first, second] :
       {Case{"drops itself", [&] { b->isRegisteredNotifieeIs(false); }, "abc", "ac"},
        Case{"ends itself", [&] { b = nullptr; }, "abc", "ac"},
        Case{"ends one that was told", [&] { a = nullptr; }, "abc", "bc"},
        Case{"ends one that comes", [&] { c = nullptr; }, "abc", "ab"},
        Case{"drops one that comes", [&] { c->notifierIs(nullptr); }, "ab", "ab"},
        Case{"takes one off the list", [&] { c->isRegisteredNotifieeIs(false); }, "ab", "ab"},
        Case{"points one at another object", [&] { c->follow(other); }, "ab", "ab"},
        Case{"adds one", [&] { d->follow(shelf); }, "abc", "abcd"},
        Case{"sets again from within", [&] { shelf->levelIs(99); }, "ababcc", "abc"},
        Case{"drops one and takes it back", [&] { c->follow(other), c->follow(shelf); }, "abc", "abc"}}) {
    SCOPED_TRACE(what);
    shelf = make<Shelf>("s");
    char word = 'a';
    for (auto* listener : {&a, &b, &c, &d}) *listener = make<ShelfListener>(std::string(1, word++), log);
    for (auto const& listener : {a, b, c}) listener->follow(shelf);
    b->deed = deed;
    shelf->levelIs(1);
    EXPECT_EQ(who(), first);
    shelf->signIs(1);
    EXPECT_EQ(who(), second);
  }
}

TEST_F(Notifiees, WhatTheyThrowIsTracedWithWhereItCameFrom) {
  ShelfListener listener("l", log);
  listener.follow(shelf);
  TraceCapture tracing("Zef", 1);
  listener.deed = [] { throw std::runtime_error("out of paint"); };
  shelf->levelIs(1);
  listener.deed = [] { throw 7; };
  shelf->signIs(1);
  EXPECT_EQ(tracing.take(), (Lines{"exception in a handler of s, attribute 258: out of paint",
                                   "exception in a handler of s, attribute 259: not a std::exception"}));
}

TEST_F(Notifiees, MayLoseTheNotifierWhileItTellsThem) {
  auto* const raw = shelf.get();
  ShelfListener a("a", log), b("b", log);
  for (auto* notifiee : {&a, &b}) {
    notifiee->isWeakReferenceIs(true);
    notifiee->follow(shelf);
  }
  a.deed = [&] {
    a.deed = [] { throw std::runtime_error("of its zero references"); };
    shelf = nullptr;  // its last pointer
  };
  raw->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level", "a zeroReferences", "b zeroReferences"}));
  EXPECT_EQ(b.notifier(), nullptr);
}

TEST_F(Notifiees, KeepTheirNotifierUnlessTheyAreWeak) {
  ShelfListener strong("strong", log), weak("weak", log), suspended("suspended", log), silent("silent", log);
  ShelfListener late("late", log);  // says so behind its registration
  for (auto* notifiee : {&weak, &suspended, &silent}) notifiee->isWeakReferenceIs(true);
  silent.notifierIs(shelf);
  for (auto* notifiee : {&strong, &weak, &suspended, &late}) notifiee->follow(shelf);
  EXPECT_EQ(shelf->word(), 3U);
  late.isWeakReferenceIs(true);
  for (bool const on : {true, false}) strong.isWeakReferenceIs(on);
  EXPECT_EQ(shelf->word(), 2U);
  suspended.hasNotificationActiveIs(false);
  shelf->levelIs(1);
  EXPECT_EQ(take(log), (Lines{"strong level", "weak level", "late level"}));
  shelf = nullptr;
  EXPECT_EQ(strong.notifier()->level(), 1);
  EXPECT_EQ(log, Lines());
  strong.notifierIs(nullptr);
  EXPECT_EQ(log, (Lines{"weak zeroReferences", "late zeroReferences"}));
  for (auto* notifiee : {&weak, &suspended, &silent, &late}) {
    EXPECT_EQ(notifiee->notifier(), nullptr);
    EXPECT_FALSE(notifiee->isRegisteredNotifiee());
    notifiee->hasNotificationActiveIs(true);
    notifiee->follow(make<Shelf>("new"));
    EXPECT_EQ(notifiee->notifier(), nullptr) << "nobody else held it";
  }
}

TEST_F(Notifiees, MayLookAtAParentThatGoes) {
  auto dir = make<Zef::Dir>("dir");
  auto const next = make<Shelf>("t");
  for (auto const& child : {shelf, next}) dir->entityIs(child);
  ShelfListener listener("s", log);
  listener.follow(shelf);
  listener.deed = [&] { EXPECT_TRUE(next->parent()); };
  dir = nullptr;  // tells s first, while t still points at it
  EXPECT_EQ(log, (Lines{"s parent"}));
  EXPECT_FALSE(next->parent());
}

// Two keepers of one shelf.
struct Deferral : Notifiees {
  Deferral() {
    for (auto const& keeper : {a, b}) keeper->start(shelf);
  }
  static std::size_t pending() { return Zef::ActivitySm::process().pendingCount(); }
  Ptr<Shelf> const other = make<Shelf>("o");
  Ptr<Keeper> const a = make<Keeper>("a", log), b = make<Keeper>("b", log), c = make<Keeper>("c", log);
};

TEST_F(Deferral, WhatAHandlerCausesComesAfterItOnce) {
  c->start(other);
  ShelfListener immediate("immediate", log);
  immediate.follow(other);
  a->deed = [&] {
    other->levelIs(5);
    for (int const sign : {6, 7}) shelf->signIs(sign);  // a's own object
  };
  shelf->levelIs(1);
  EXPECT_EQ(log,
            (Lines{"a level 1", "immediate level", "a goes on", "b level 1", "c level 5", "a sign 7", "b sign 7"}));
  EXPECT_EQ(pending(), 0U);
}

TEST_F(Deferral, OnePendingIdTurnsIntoAllAttributes) {
  b->zefDoZombieReactors(true);
  a->deed = [] { throw std::runtime_error("no"); };
  batched([&] {
    for (int const value : {1, 2}) {
      shelf->signIs(value);
      EXPECT_EQ(a->pendingAttribute(), Shelf::signAttr);
    }
    for (int const value : {1, 2}) {
      shelf->levelIs(value);
      EXPECT_EQ(a->pendingAttribute(), Zef::allAttributes);
    }
    EXPECT_EQ(pending(), 1U);
  });
  EXPECT_EQ(log, (Lines{"a level 2", "a exception 258", "a sign 2"})) << "in the order of declaration";
  EXPECT_EQ(a->pendingAttribute(), 0);
}

TEST_F(Deferral, BetweenTwoOfAllAttributesRunsWhatIsPending) {
  auto const config = make<Zef::ActivityConfig>("config");
  c->start(other, c->zefActivitySmFor(config));
  EXPECT_EQ(c->zefFwkActivity(), config.get());
  c->deed = [&] { shelf->levelIs(2); };
  batched([&] {
    other->levelIs(1);
    other->signIs(1);
  });
  EXPECT_EQ(log, (Lines{"c level 1", "c goes on", "a level 2", "b level 2", "c sign 1"}));
}

TEST_F(Deferral, AKeyChangesOncePerKey) {
  shelf->newBox("x");
  EXPECT_EQ(take(log), (Lines{"a box x", "b box x"})) << "at once, outside handlers";
  batched([&] {
    shelf->newBox("y");
    shelf->boxDel("x");
    shelf->newBox("z");
    shelf->boxDel("y");
    shelf->newBox("x");
    EXPECT_EQ(pending(), 6U);
  });
  EXPECT_EQ(take(log), (Lines{"a no box y", "b no box y", "a box x", "b box x", "a box z", "b box z"}));
  batched([&] { shelf->boxDel("z"); });
  EXPECT_EQ(log, (Lines{"a no box z", "b no box z"})) << "the same key again";
}

TEST_F(Deferral, TheOutermostBatchDelivers) {
  b->zefDoZombieReactors(true);
  batched([&] {
    batched([&] { shelf->levelIs(1); });
    Zef::ActivitySm::process().run();
    EXPECT_EQ(log, Lines());
  });
  EXPECT_EQ(take(log), (Lines{"a level 1"}));
  a->deed = [&] { batched([&] { shelf->signIs(1); }); };
  shelf->levelIs(2);
  EXPECT_EQ(log, (Lines{"a level 2", "a goes on", "a sign 1"})) << "a handler's batch ends, its handler goes on";
}

TEST_F(Deferral, WhatIsQueuedForOneThatLeftRunsNothing) {
  auto gone = make<Keeper>("gone", log);
  gone->start(shelf);
  batched([&] {
    shelf->levelIs(1);
    shelf->newBox("x");
    a->isRegisteredNotifieeIs(false);
    for (auto const& keeper : {b, gone}) keeper->zefDoZombieReactors(true);
    gone = nullptr;
  });
  EXPECT_EQ(log, Lines());
  a->isRegisteredNotifieeIs(true);
  shelf->levelIs(2);
  EXPECT_EQ(log, (Lines{"a level 2"})) << "what was missed stays missed";
  EXPECT_EQ(a->pendingAttribute(), 0);
  EXPECT_EQ(shelf->word(), 3U) << "the queue holds nobody";
}

TEST_F(Deferral, AnExceptionOutOfAHandlerLeavesTheRestServed) {
  for (bool const queued : {false, true}) {
    for (bool const twice : {false, true}) {
      SCOPED_TRACE(testing::Message() << queued << twice);
      auto const throwing = [&](auto const& change) {
        a->deed = [] { throw std::runtime_error("no"); };
        a->throwsTwice = twice;
        std::unique_ptr<Zef::Batch> const batch(queued ? new Zef::Batch : nullptr);
        change();
      };
      throwing([&] { shelf->signIs(shelf->sign() == 0 ? 1 : 0); });
      auto const sign = " sign " + std::to_string(shelf->sign());
      EXPECT_EQ(take(log), (Lines{"a" + sign, "a exception 259", "b" + sign}));
      throwing([&] { shelf->newBox("x"); });
      EXPECT_EQ(take(log), (Lines{"a box x", "a exception 261", "b box x"}));
    }
  }
}

}  // namespace
