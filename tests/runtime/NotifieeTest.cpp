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
class Listener : public T::NotifieeConst {
 public:
  Listener(std::string word, Lines& log) : word_(std::move(word)), log_(log) {}

  void follow(Ptr<T const> const& shelf) {
    this->notifierIs(shelf);
    this->isRegisteredNotifieeIs(true);
  }
  void onLevel() override { heard("level"); }
  void onSign() override { heard("sign"); }
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

using ShelfListener = Listener<Shelf>;

class TallListener final : public Listener<TallShelf> {
 public:
  using Listener::Listener;
  void onHeight() override { heard("height"); }
};

struct Notifiees : testing::Test {
  Lines log;
  Ptr<Shelf> shelf = make<Shelf>("s");
};

TEST_F(Notifiees, HearInTheOrderOfRegistration) {
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
  shelf->isNondestructingIs(true);
  shelf->isNondestructingIs(false);
  shelf->parentIs(nullptr);
  EXPECT_EQ(take(log), (Lines{"a sign", "b sign", "a isNondestructing", "b isNondestructing", "a isNondestructing",
                              "b isNondestructing", "a parent", "b parent"}));
}

TEST_F(Notifiees, HearAsFarDownTheTypeChainAsTheyObserve) {
  auto const high = make<TallShelf>("t");
  class EntityListener final : public Zef::Entity::NotifieeConst {
   public:
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
  high->levelIs(3);
  high->parentIs(nullptr);
  EXPECT_EQ(take(log), (Lines{"tall height", "base level", "tall level", "base parent", "tall parent"}));
  EXPECT_EQ(entity.heard, 1);
  EXPECT_EQ(entity.name(), "t");
  tall.notifierIs(shelf);
  EXPECT_EQ(tall.notifier(), nullptr) << "another type counts as none";
  EXPECT_FALSE(tall.isRegisteredNotifiee());
  tall.isRegisteredNotifieeIs(true);
  EXPECT_FALSE(tall.isRegisteredNotifiee());
}

TEST_F(Notifiees, MayDisruptTheDelivery) {
  struct Scene {
    Lines log;
    Ptr<Shelf> shelf = make<Shelf>("s");
    Ptr<ShelfListener> a = make<ShelfListener>("a", log);
    Ptr<ShelfListener> b = make<ShelfListener>("b", log);
    Ptr<ShelfListener> c = make<ShelfListener>("c", log);
    Ptr<ShelfListener> late = make<ShelfListener>("late", log);
    Ptr<Shelf> other = make<Shelf>("other");
  };
  Lines const allHear = {"a level", "b level", "c level"};
  Lines const abHear = {"a level", "b level"};
  struct Case {
    char const* what;
    std::function<void(Scene&)> deed;  // of b, the middle one, once
    Lines first;
    Lines second;  // of a further change
  };
  for (Case const& c : std::vector<Case>{
           {"drops itself", [](Scene& s) { s.b->isRegisteredNotifieeIs(false); }, allHear, {"a sign", "c sign"}},
           {"ends itself", [](Scene& s) { s.b = nullptr; }, allHear, {"a sign", "c sign"}},
           {"ends one that was told", [](Scene& s) { s.a = nullptr; }, allHear, {"b sign", "c sign"}},
           {"ends one that comes", [](Scene& s) { s.c = nullptr; }, allHear, {"a sign", "b sign"}},
           {"drops one that comes", [](Scene& s) { s.c->notifierIs(nullptr); }, abHear, {"a sign", "b sign"}},
           {"takes one that comes off the list",
            [](Scene& s) { s.c->isRegisteredNotifieeIs(false); },
            abHear,
            {"a sign", "b sign"}},
           {"points one that comes at another object",
            [](Scene& s) { s.c->follow(s.other); },
            abHear,
            {"a sign", "b sign"}},
           {"adds one",
            [](Scene& s) { s.late->follow(s.shelf); },
            allHear,
            {"a sign", "b sign", "c sign", "late sign"}},
           {"drops one that comes, and takes it back",
            [](Scene& s) {
              s.c->isRegisteredNotifieeIs(false);
              s.c->isRegisteredNotifieeIs(true);
            },
            allHear,
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

TEST_F(Notifiees, MayLoseTheNotifierWhileItTellsThem) {
  auto* const raw = shelf.get();
  ShelfListener a("a", log);
  ShelfListener b("b", log);
  for (auto* notifiee : {&a, &b}) {
    notifiee->isWeakReferenceIs(true);
    notifiee->follow(shelf);
  }
  a.deed = [&] {
    if (!shelf) throw std::runtime_error("of its zero references");
    shelf = nullptr;  // its last pointer
  };
  raw->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level", "a zeroReferences", "b zeroReferences"}));
  EXPECT_EQ(b.notifier(), nullptr);
}

TEST_F(Notifiees, KeepTheirNotifierUnlessTheyAreWeak) {
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

TEST_F(Notifiees, MayLookAtAParentThatGoes) {
  auto dir = make<Zef::Dir>("dir");
  auto const next = make<Shelf>("t");
  dir->entityIs(shelf);
  dir->entityIs(next);
  ShelfListener listener("s", log);
  listener.follow(shelf);
  listener.deed = [&] { log.emplace_back(next->parent() ? "t's parent is there" : "t has no parent"); };
  dir = nullptr;  // tells s first, while t still points at it
  EXPECT_EQ(log, (Lines{"s parent", "t's parent is there"}));
  EXPECT_FALSE(next->parent());
}

// Two keepers of one shelf.
struct Deferral : Notifiees {
  Deferral() {
    for (auto const& keeper : {a, b}) keeper->start(shelf);
  }
  Ptr<Shelf> const other = make<Shelf>("o");
  Ptr<Keeper> const a = make<Keeper>("a", log);
  Ptr<Keeper> const b = make<Keeper>("b", log);
};

TEST_F(Deferral, WhatAHandlerCausesComesAfterItOnce) {
  auto const c = make<Keeper>("c", log);
  c->start(other);
  ShelfListener immediate("immediate", log);
  immediate.follow(other);
  a->deed = [&] {
    other->levelIs(5);
    shelf->signIs(6);  // a's own object
    shelf->signIs(7);
    log.emplace_back("a goes on");
  };
  shelf->levelIs(1);
  EXPECT_EQ(log, (Lines{"a level 1", "immediate level", "a goes on", "a done", "b level 1", "b done", "c level 5",
                        "c done", "a sign 7", "a done", "b sign 7", "b done"}));
  EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 0U);
}

TEST_F(Deferral, OnePendingIdTurnsIntoAllAttributes) {
  b->zefDoZombieReactors(true);
  {
    Zef::Batch const batch;
    int value = 0;
    for (Zef::AttributeId const pending : {Shelf::signAttr, Shelf::signAttr}) {
      shelf->signIs(++value);
      EXPECT_EQ(a->pendingAttribute(), pending);
    }
    for (int level : {1, 2}) {
      shelf->levelIs(level);
      EXPECT_EQ(a->pendingAttribute(), Zef::allAttributes);
    }
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

TEST_F(Deferral, WhatNoHandlerTakesEndsInTheDefault) {
  class Plain final : public Zef::Reactor<Shelf> {
   public:
    explicit Plain(bool hasSlots) : hasSlots_(hasSlots) {}
    std::span<Slot const> slots() const override {
      if (!hasSlots_) return {};
      return watching<Slot{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel}>();
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

TEST_F(Deferral, BetweenTwoOfAllAttributesRunsWhatIsPending) {
  for (Zef::AttributeId const all : {Zef::allAttributes, Zef::allAttributesAlso}) {
    auto const config = make<Zef::ActivityConfig>("config");
    auto const part = make<Shelf>("p");
    auto const c = make<Keeper>("c", log);
    c->start(part, c->zefActivitySmFor(config));
    EXPECT_EQ(c->zefFwkActivity(), config.get());
    EXPECT_EQ(b->zefFwkActivity(), nullptr);
    c->deed = [&] { shelf->levelIs(all); };
    {
      Zef::Batch const batch;
      part->levelIs(1);
      c->pendingAttributeIs(all);
    }
    auto const level = " level " + std::to_string(all);
    EXPECT_EQ(take(log),
              (Lines{"c level 1", "c done", "a" + level, "a done", "b" + level, "b done", "c sign 0", "c done"}));
  }
}

TEST_F(Deferral, AKeyChangesOncePerKey) {
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

TEST_F(Deferral, TheOutermostBatchDelivers) {
  b->zefDoZombieReactors(true);
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

TEST_F(Deferral, WhatIsQueuedForOneThatLeftRunsNothing) {
  auto gone = make<Keeper>("gone", log);
  gone->start(shelf);
  {
    Zef::Batch const batch;
    shelf->levelIs(1);
    shelf->newBox("x");
    a->isRegisteredNotifieeIs(false);
    b->zefDoZombieReactors(true);
    gone->zefDoZombieReactors(true);
    gone = nullptr;
  }
  EXPECT_EQ(take(log), Lines());
  EXPECT_EQ(a->pendingAttribute(), 0);
  a->isRegisteredNotifieeIs(true);
  shelf->levelIs(2);
  EXPECT_EQ(take(log), (Lines{"a level 2", "a done"})) << "what was missed stays missed";
  EXPECT_EQ(shelf->word(), 3U) << "the queue holds nobody";
}

TEST_F(Deferral, AnExceptionOutOfAHandlerLeavesTheRestServed) {
  for (bool const queued : {false, true}) {
    for (bool const twice : {false, true}) {
      SCOPED_TRACE(testing::Message() << queued << twice);
      auto const throwing = [&](auto const& change) {
        a->deed = [] { throw std::runtime_error("no"); };
        a->inException = [=] {
          if (twice) throw 1;
        };
        std::unique_ptr<Zef::Batch> const batch(queued ? new Zef::Batch : nullptr);
        change();
      };
      throwing([&] { shelf->levelIs(1); });
      EXPECT_EQ(take(log), (Lines{"a level 1", "a exception 258", "b level 1", "b done"}));
      throwing([&] { shelf->newBox("x"); });
      EXPECT_EQ(take(log), (Lines{"a box x", "a exception 261", "b box x", "b done"}));
      a->deed = [&] { shelf->signIs(1); };
      shelf->levelIs(2);
      EXPECT_EQ(take(log),
                (Lines{"a level 2", "a done", "b level 2", "b done", "a sign 1", "a done", "b sign 1", "b done"}))
          << "and it goes on as before";
      shelf->boxDel("x");
      shelf->signIs(0);
      take(log);
    }
  }
}

TEST_F(Notifiees, WhatTheyThrowIsTracedWithWhereItCameFrom) {
  class Thrower final : public Shelf::NotifieeConst {
   public:
    void onLevel() override { throw std::runtime_error("out of paint"); }
    void onLid() override { throw 7; }
  } thrower;
  thrower.notifierIs(shelf);
  thrower.isRegisteredNotifieeIs(true);
  TraceCapture tracing("Zef", 1);
  shelf->levelIs(1);
  shelf->lidIs(make<Depot::Lid>("l"));
  EXPECT_EQ(tracing.take(), (Lines{"exception in a handler of s, attribute 258: out of paint",
                                   "exception in a handler of s, attribute 260: not a std::exception"}));
}

}  // namespace
