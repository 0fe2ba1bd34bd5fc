// Notifiees and the delivery of what they hear.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "runtime/kit/Trace.h"
#include "runtime/reactors/Reactor.h"
#include "tests/runtime/Depot.h"

namespace {

using Depot::Shelf;
using Depot::TallShelf;
using Zef::make;
using Zef::Ptr;
using Lines = std::vector<std::string>;

// Hears of a shelf at once, and does in its place what a test says.
template <class T>
class Listener : public T::NotifieeConst {
 public:
  Listener(std::string word, Lines& log) : word_(std::move(word)), log_(log) {}

  void follow(Ptr<T const> const& shelf) {
    this->notifierIs(shelf);
    this->isRegisteredNotifieeIs(true);
  }
  void onLevel() override { heard("level"); }
  void onSign() override { heard("sign"); }
  void onLid() override { heard("lid"); }
  void onParent() override { heard("parent"); }
  void onIsNondestructing() override { heard("isNondestructing"); }
  void onZeroReferences() override { heard("zeroReferences"); }

  std::function<void()> deed;

 protected:
  void heard(char const* what) {
    log_.push_back(word_ + " " + what);
    if (deed) deed();
  }

 private:
  std::string word_;
  Lines& log_;
};

class ShelfListener final : public Listener<Shelf> {
 public:
  using Listener::Listener;
};

class TallListener final : public Listener<TallShelf> {
 public:
  using Listener::Listener;
  void onHeight() override { heard("height"); }
};

// Watches a shelf as reactors do: what arises while a handler runs comes later.
class Keeper final : public Zef::Reactor<Shelf> {
 public:
  Keeper(std::string word, Lines& log) : word_(std::move(word)), log_(log) {}

  std::span<Slot const> slots() const override {
    static Slot const all[] = {{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel},
                               {Shelf::signAttr, &Shelf::NotifieeConst::onSign}};
    return all;
  }
  void onLevel() override {
    if (zefOnAttribute(Shelf::levelAttr, nullptr)) return;
    run("level " + std::to_string(notifier()->level()));
  }
  void onSign() override {
    if (zefOnAttribute(Shelf::signAttr, nullptr)) return;
    run("sign " + std::to_string(notifier()->sign()));
  }
  void onBox(Zef::Name name) override {
    if (zefOnKey(Shelf::boxAttr, name, &Keeper::onBox)) return;
    run((notifier()->box(name) ? "box " : "no box ") + std::string(name.view()));
  }
  void onNotificationException(Zef::AttributeId attribute) override {
    log_.push_back(word_ + " exception " + std::to_string(attribute));
    if (inException) inException();
  }

  std::function<void()> deed;
  std::function<void()> inException;

 private:
  void run(std::string const& what) {
    ASSERT_TRUE(alive());
    log_.push_back(word_ + " " + what);
    if (deed) std::exchange(deed, nullptr)();
    log_.push_back(word_ + " done");
  }

  std::string word_;
  Lines& log_;
};

Lines take(Lines& log) { return std::exchange(log, {}); }

TEST(Notifiees, HearInTheOrderOfRegistration) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  ShelfListener a("a", log);
  ShelfListener b("b", log);
  shelf->levelIs(1);
  b.follow(shelf);
  a.follow(shelf);
  shelf->levelIs(2);
  shelf->levelIs(2);
  EXPECT_EQ(take(log), (Lines{"b level", "a level"})) << "an equal value is no event";
  b.isRegisteredNotifieeIs(false);
  b.isRegisteredNotifieeIs(true);
  shelf->signIs(1);
  EXPECT_EQ(take(log), (Lines{"a sign", "b sign"}));
  shelf->isNondestructingIs(true);
  shelf->isNondestructingIs(false);
  shelf->parentIs(nullptr);
  EXPECT_EQ(take(log), (Lines{"a isNondestructing", "b isNondestructing", "a isNondestructing", "b isNondestructing",
                              "a parent", "b parent"}));
}

TEST(Notifiees, HearAsFarDownTheTypeChainAsTheyObserve) {
  Lines log;
  auto const shelf = make<TallShelf>("t");
  class EntityListener final : public Zef::Entity::NotifieeConst {
   public:
    void onParent() override { ++heard; }
    int heard = 0;
  } entity;
  entity.notifierIs(shelf);
  entity.isRegisteredNotifieeIs(true);
  ShelfListener base("base", log);
  base.follow(shelf);
  TallListener tall("tall", log);
  tall.follow(shelf);
  shelf->heightIs(3);
  EXPECT_EQ(take(log), (Lines{"tall height"}));
  shelf->levelIs(3);
  EXPECT_EQ(take(log), (Lines{"base level", "tall level"}));
  shelf->parentIs(nullptr);
  EXPECT_EQ(take(log), (Lines{"base parent", "tall parent"}));
  EXPECT_EQ(entity.heard, 1);
  EXPECT_EQ(entity.name(), "t");
  tall.notifierIs(make<Shelf>("flat"));
  EXPECT_EQ(tall.notifier(), nullptr) << "another type counts as none";
  EXPECT_FALSE(tall.isRegisteredNotifiee());
  tall.isRegisteredNotifieeIs(true);
  EXPECT_FALSE(tall.isRegisteredNotifiee());
}

TEST(Notifiees, MayDisruptTheDelivery) {
  struct Scene {
    Lines log;
    Ptr<Shelf> shelf = make<Shelf>("s");
    Ptr<ShelfListener> a = make<ShelfListener>("a", log);
    Ptr<ShelfListener> b = make<ShelfListener>("b", log);
    Ptr<ShelfListener> c = make<ShelfListener>("c", log);
    Ptr<ShelfListener> late = make<ShelfListener>("late", log);
    Ptr<Shelf> other = make<Shelf>("other");
  };
  struct Case {
    char const* what;
    std::function<void(Scene&)> deed;  // of b, the middle one, once
    Lines first;
    Lines second;  // of a further change
  };
  for (Case const& c : std::vector<Case>{
           {"drops itself",
            [](Scene& s) { s.b->isRegisteredNotifieeIs(false); },
            {"a level", "b level", "c level"},
            {"a sign", "c sign"}},
           {"ends itself", [](Scene& s) { s.b = nullptr; }, {"a level", "b level", "c level"}, {"a sign", "c sign"}},
           {"drops one that comes",
            [](Scene& s) { s.c->notifierIs(nullptr); },
            {"a level", "b level"},
            {"a sign", "b sign"}},
           {"ends one that comes",
            [](Scene& s) { s.c = nullptr; },
            {"a level", "b level", "c level"},
            {"a sign", "b sign"}},
           {"ends one that was told",
            [](Scene& s) { s.a = nullptr; },
            {"a level", "b level", "c level"},
            {"b sign", "c sign"}},
           {"takes one that comes off the list",
            [](Scene& s) { s.c->isRegisteredNotifieeIs(false); },
            {"a level", "b level"},
            {"a sign", "b sign"}},
           {"adds one",
            [](Scene& s) { s.late->follow(s.shelf); },
            {"a level", "b level", "c level"},
            {"a sign", "b sign", "c sign", "late sign"}},
           {"points one that comes at another object",
            [](Scene& s) { s.c->follow(s.other); },
            {"a level", "b level"},
            {"a sign", "b sign"}},
           {"drops one that comes, and takes it back",
            [](Scene& s) {
              s.c->isRegisteredNotifieeIs(false);
              s.c->isRegisteredNotifieeIs(true);
            },
            {"a level", "b level", "c level"},
            {"a sign", "b sign", "c sign"}},
           {"sets again from within",
            [](Scene& s) { s.shelf->levelIs(99); },
            {"a level", "b level", "a level", "b level", "c level", "c level"},
            {"a sign", "b sign", "c sign"}},
       }) {
    SCOPED_TRACE(c.what);
    Scene scene;
    for (auto const& notifiee : {scene.a, scene.b, scene.c}) notifiee->follow(scene.shelf);
    auto* const b = scene.b.get();
    b->deed = [&, b] {
      auto const deed = std::exchange(b->deed, nullptr);  // keeps what it captures while it runs
      c.deed(scene);
    };
    scene.shelf->levelIs(1);
    EXPECT_EQ(take(scene.log), c.first);
    scene.shelf->signIs(1);
    EXPECT_EQ(take(scene.log), c.second);
  }
}

TEST(Notifiees, MayLoseTheNotifierWhileItTellsThem) {
  Lines log;
  auto shelf = make<Shelf>("s");
  auto* const raw = shelf.get();
  ShelfListener a("a", log);
  ShelfListener b("b", log);
  for (auto* notifiee : {&a, &b}) {
    notifiee->isWeakReferenceIs(true);
    notifiee->follow(shelf);
  }
  a.deed = [&] { shelf = nullptr; };  // its last pointer
  raw->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level", "a zeroReferences", "b zeroReferences"}));
  EXPECT_EQ(b.notifier(), nullptr);
}

TEST(Notifiees, KeepTheirNotifierUnlessTheyAreWeak) {
  Lines log;
  auto shelf = make<Shelf>("s");
  ShelfListener strong("strong", log);
  ShelfListener weak("weak", log);
  ShelfListener suspended("suspended", log);
  ShelfListener silent("silent", log);  // never registered
  for (auto* notifiee : {&weak, &suspended, &silent}) notifiee->isWeakReferenceIs(true);
  silent.notifierIs(shelf);
  ShelfListener late("late", log);  // says so only now
  for (auto* notifiee : {&strong, &weak, &suspended, &late}) notifiee->follow(shelf);
  EXPECT_EQ(shelf->word(), 3U);
  late.isWeakReferenceIs(true);
  strong.isWeakReferenceIs(true);
  strong.isWeakReferenceIs(false);
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

TEST(Notifiees, AnExceptionAtZeroReferencesLeavesTheRestTold) {
  Lines log;
  auto shelf = make<Shelf>("s");
  ShelfListener a("a", log);
  ShelfListener b("b", log);
  for (auto* notifiee : {&a, &b}) {
    notifiee->isWeakReferenceIs(true);
    notifiee->follow(shelf);
  }
  a.deed = [] { throw std::runtime_error("no"); };
  shelf = nullptr;
  EXPECT_EQ(log, (Lines{"a zeroReferences", "b zeroReferences"}));
}

TEST(Notifiees, AParentThatGoesMayBeLookedAt) {
  Lines log;
  auto dir = make<Zef::Dir>("dir");
  auto const a = make<Shelf>("a");
  auto const b = make<Shelf>("b");
  dir->entityIs(a);
  dir->entityIs(b);
  EXPECT_EQ(b->fullName(), "/dir/b");
  ShelfListener listener("a", log);
  listener.follow(a);
  listener.deed = [&] { log.emplace_back(b->parent() ? "b's parent is there" : "b has no parent"); };
  dir = nullptr;  // tells a first, while b still points at it
  EXPECT_EQ(log, (Lines{"a parent", "b's parent is there"}));
  EXPECT_FALSE(b->parent());
}

TEST(Deferral, WhatAHandlerCausesComesAfterIt) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const other = make<Shelf>("o");
  auto const a = make<Keeper>("a", log);
  auto const b = make<Keeper>("b", log);
  auto const c = make<Keeper>("c", log);
  a->start(shelf);
  b->start(shelf);
  c->start(other);
  ShelfListener immediate("immediate", log);
  immediate.follow(other);
  a->deed = [&] {
    other->levelIs(5);
    shelf->signIs(7);  // a's own object
    log.emplace_back("a goes on");
  };
  shelf->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level 1", "immediate level", "a goes on", "a done", "b level 1", "b done", "c level 5",
                        "c done", "a sign 7", "a done", "b sign 7", "b done"}));
  EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 0U);
}

TEST(Deferral, AReactorIsNotReentered) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const a = make<Keeper>("a", log);
  a->start(shelf);
  a->deed = [&] {
    shelf->levelIs(2);
    shelf->levelIs(3);
  };
  shelf->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level 1", "a done", "a level 3", "a done"})) << "once, with the last value";
}

TEST(Deferral, OnePendingIdTurnsIntoAllAttributes) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const a = make<Keeper>("a", log);
  a->start(shelf);
  {
    Zef::Batch const batch;
    shelf->signIs(1);
    EXPECT_EQ(a->pendingAttribute(), Shelf::signAttr);
    shelf->signIs(2);
    EXPECT_EQ(a->pendingAttribute(), Shelf::signAttr);
    shelf->levelIs(1);
    EXPECT_EQ(a->pendingAttribute(), Zef::allAttributes);
    shelf->levelIs(2);
    EXPECT_EQ(a->pendingAttribute(), Zef::allAttributes);
    EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 1U);
  }
  EXPECT_EQ(take(log), (Lines{"a level 2", "a done", "a sign 2", "a done"})) << "in the order of declaration";
  EXPECT_EQ(a->pendingAttribute(), 0);
  a->deed = [] { throw std::runtime_error("no"); };
  {
    Zef::Batch const batch;
    shelf->signIs(3);
    shelf->levelIs(3);
  }
  EXPECT_EQ(log, (Lines{"a level 3", "a exception 258", "a sign 3", "a done"})) << "one that throws is alone in that";
}

TEST(Deferral, WhatNoHandlerTakesEndsInTheDefault) {
  class Plain final : public Zef::Reactor<Shelf> {
   public:
    explicit Plain(bool hasSlots) : hasSlots_(hasSlots) {}
    std::span<Slot const> slots() const override {
      static Slot const all[] = {{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel}};
      return hasSlots_ ? std::span<Slot const>(all) : std::span<Slot const>();
    }
    void handleDefault(Zef::ActivityConfig* /*activity*/, Zef::AttributeId attribute, bool flag) override {
      said.emplace_back(attribute, flag);
    }
    std::vector<std::pair<Zef::AttributeId, bool>> said;

   private:
    bool hasSlots_;
  };
  Plain withSlots(true);
  Plain without(false);
  for (Plain* plain : {&withSlots, &without}) {
    for (Zef::AttributeId const pending : {Zef::allAttributes, Zef::allAttributesAlso, Shelf::lidAttr}) {
      plain->pendingAttributeIs(pending);
      plain->handleNotification(nullptr);
    }
  }
  using Said = decltype(withSlots.said);
  EXPECT_EQ(withSlots.said, (Said{{-1, false}, {-2, false}, {Shelf::lidAttr, true}}));
  EXPECT_EQ(without.said, (Said{{-1, true}, {-2, false}, {Shelf::lidAttr, false}}));
}

TEST(Deferral, BetweenTwoOfAllAttributesRunsWhatIsPending) {
  for (Zef::AttributeId const all : {Zef::allAttributes, Zef::allAttributesAlso}) {
    Lines log;
    auto const config = make<Zef::ActivityConfig>("config");
    auto const shelf = make<Shelf>("s");
    auto const other = make<Shelf>("o");
    auto const a = make<Keeper>("a", log);
    auto const b = make<Keeper>("b", log);
    a->start(shelf, a->zefActivitySmFor(config));
    EXPECT_EQ(a->zefFwkActivity(), config.get());
    b->start(other);
    EXPECT_EQ(b->zefFwkActivity(), nullptr);
    a->deed = [&] { other->levelIs(1); };
    {
      Zef::Batch const batch;
      shelf->levelIs(1);
      a->pendingAttributeIs(all);
    }
    EXPECT_EQ(log, (Lines{"a level 1", "a done", "b level 1", "b done", "a sign 0", "a done"}));
  }
}

TEST(Deferral, AKeyChangesOncePerKey) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const a = make<Keeper>("a", log);
  auto const b = make<Keeper>("b", log);
  a->start(shelf);
  b->start(shelf);
  shelf->newBox("x");
  EXPECT_EQ(take(log), (Lines{"a box x", "a done", "b box x", "b done"})) << "at once, outside handlers";
  {
    Zef::Batch const batch;
    shelf->newBox("y");
    shelf->boxDel("x");
    shelf->newBox("z");
    shelf->boxDel("y");
    shelf->newBox("x");
    EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 6U);
  }
  EXPECT_EQ(take(log), (Lines{"a no box y", "a done", "b no box y", "b done", "a box x", "a done", "b box x", "b done",
                              "a box z", "a done", "b box z", "b done"}));
  {
    Zef::Batch const batch;
    shelf->boxDel("z");
  }
  EXPECT_EQ(take(log), (Lines{"a no box z", "a done", "b no box z", "b done"})) << "the same key again";
}

TEST(Deferral, ThousandsOfKeysStayLinear) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const a = make<Keeper>("a", log);
  a->start(shelf);
  {
    Zef::Batch const batch;
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < 20000; ++i) {
        Zef::Name const name(Zef::format("Ethernet%d/%d", i / 100, i));
        round == 0 ? shelf->newBox(name) : shelf->boxDel(name);
      }
    }
  }
  EXPECT_EQ(log.size(), 40000U);
  EXPECT_EQ(log.front(), "a no box Ethernet0/0");
}

TEST(Deferral, TheOutermostBatchDelivers) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const a = make<Keeper>("a", log);
  a->start(shelf);
  {
    Zef::Batch const outer;
    {
      Zef::Batch const inner;
      shelf->levelIs(1);
    }
    Zef::ActivitySm::process().run();
    EXPECT_EQ(log, Lines());
  }
  EXPECT_EQ(take(log), (Lines{"a level 1", "a done"}));
  a->deed = [&] {
    Zef::Batch const within;
    shelf->signIs(1);
  };
  shelf->levelIs(2);
  EXPECT_EQ(log, (Lines{"a level 2", "a done", "a sign 1", "a done"})) << "a handler's batch ends, its handler goes on";
}

TEST(Deferral, WhatIsQueuedForOneThatLeftRunsNothing) {
  Lines log;
  auto const shelf = make<Shelf>("s");
  auto const other = make<Shelf>("o");
  auto const scalar = make<Keeper>("scalar", log);
  auto const zombie = make<Keeper>("zombie", log);
  auto gone = make<Keeper>("gone", log);
  for (auto const& keeper : {scalar, zombie, gone}) keeper->start(shelf);
  {
    Zef::Batch const batch;
    shelf->levelIs(1);
    shelf->newBox("x");
    scalar->isRegisteredNotifieeIs(false);
    zombie->zefDoZombieReactors(true);
    gone->zefDoZombieReactors(true);
    gone = nullptr;
  }
  EXPECT_EQ(take(log), Lines());
  EXPECT_EQ(scalar->pendingAttribute(), 0);
  scalar->isRegisteredNotifieeIs(true);
  shelf->levelIs(2);
  EXPECT_EQ(take(log), (Lines{"scalar level 2", "scalar done"})) << "what was missed stays missed";
  EXPECT_EQ(shelf->word(), 3U) << "the queue holds nobody";
}

TEST(Deferral, AnExceptionOutOfAHandlerLeavesTheRestServed) {
  for (bool const queued : {false, true}) {
    for (bool const twice : {false, true}) {
      SCOPED_TRACE(testing::Message() << queued << twice);
      Lines log;
      auto const shelf = make<Shelf>("s");
      auto const a = make<Keeper>("a", log);
      auto const b = make<Keeper>("b", log);
      a->start(shelf);
      b->start(shelf);
      a->deed = [] { throw std::runtime_error("no"); };
      if (twice) a->inException = [] { throw 1; };
      {
        std::unique_ptr<Zef::Batch> const batch(queued ? new Zef::Batch : nullptr);
        shelf->levelIs(1);
      }
      EXPECT_EQ(take(log), (Lines{"a level 1", "a exception 258", "b level 1", "b done"}));
      a->deed = [&] { throw std::runtime_error("no"); };
      {
        std::unique_ptr<Zef::Batch> const batch(queued ? new Zef::Batch : nullptr);
        shelf->newBox("x");
      }
      EXPECT_EQ(take(log), (Lines{"a box x", "a exception 261", "b box x", "b done"}));
      a->deed = [&] { shelf->signIs(1); };
      shelf->levelIs(2);
      EXPECT_EQ(take(log),
                (Lines{"a level 2", "a done", "b level 2", "b done", "a sign 1", "a done", "b sign 1", "b done"}))
          << "and it goes on as before";
    }
  }
}

TEST(Deferral, AnExceptionIsTracedWithItsTextAndWhatItCameFrom) {
  Lines traced;
  Zef::traceSinkIs([&](unsigned level, std::string const& line) { traced.push_back(std::to_string(level) + line); });
  Zef::TraceHandle::levelsIs("Zef", 1);
  class Thrower final : public Shelf::NotifieeConst {
   public:
    void onLevel() override { throw std::runtime_error("out of paint"); }
    void onLid() override { throw 7; }
  } thrower;
  auto const shelf = make<Shelf>("s3");
  thrower.notifierIs(shelf);
  thrower.isRegisteredNotifieeIs(true);
  shelf->levelIs(1);
  shelf->lidIs(make<Depot::Lid>("l"));
  Zef::TraceHandle::levelsIs("Zef", 0);
  Zef::traceSinkIs(nullptr);
  ASSERT_EQ(traced.size(), 2U);
  EXPECT_NE(traced[0].find("exception in a handler of s3, attribute 258: out of paint"), std::string::npos);
  EXPECT_NE(traced[1].find("attribute 260: not a std::exception"), std::string::npos);
}

}  // namespace
