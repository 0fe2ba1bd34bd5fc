// The kit that reactors are written on: birth, re-pointing, suspension, zombies, and children that follow.

#include "runtime/reactors/Reactor.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/runtime/Depot.h"

namespace {

using Depot::Box;
using Depot::Lid;
using Depot::Shelf;
using Zef::make;
using Zef::Name;
using Zef::Ptr;
using Lines = std::vector<std::string>;

// A state machine that follows a shelf, its lid and its boxes, and writes down what its handlers hear.
class Stocktaking final : public Zef::StateMachine {
 public:
  class ZefShelf final : public Zef::Reactor<Shelf>, public Zef::Owned<Stocktaking> {
   public:
    class ZefLid final : public Zef::Reactor<Lid>, public Zef::Owned<ZefShelf> {
     public:
      explicit ZefLid(ZefShelf& owner) : Owned(owner) {}
      void handleAll() override { handleColour(); }
      std::span<Slot const> slots() const override {
        static Slot const all[] = {{Lid::colourAttr, &Lid::NotifieeConst::onColour}};
        return all;
      }
      void onColour() override { react(Lid::colourAttr, *this, &ZefLid::handleColour); }
      void handleColour() { owner().owner().log("colour " + std::to_string(notifier()->colour())); }
    };

    class ZefBox final : public Zef::Reactor<Box>, public Zef::KeyedReactor<Name>, public Zef::Owned<ZefShelf> {
     public:
      ZefBox(ZefShelf& owner, Name key) : KeyedReactor(std::move(key)), Owned(owner) {}
      void handleAll() override { handleWeight(); }
      std::span<Slot const> slots() const override {
        static Slot const all[] = {{Box::weightAttr, &Box::NotifieeConst::onWeight}};
        return all;
      }
      void onWeight() override { react(Box::weightAttr, *this, &ZefBox::handleWeight); }
      void handleWeight() {
        owner().owner().log(std::string(fwkKey().view()) + " weighs " + std::to_string(notifier()->weight()));
      }
    };

    explicit ZefShelf(Stocktaking& owner) : Owned(owner) {}
    static Zef::String8 classPath() { return "Depot::Stocktaking::ZefShelf"; }

    void handleAll() override {
      handleLevel();
      handleLid();
      for (auto at = notifier()->boxIterator(); at; ++at) handleBox(at.key());
    }
    std::span<Slot const> slots() const override {
      static Slot const all[] = {{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel},
                                 {Shelf::lidAttr, &Shelf::NotifieeConst::onLid}};
      return all;
    }
    void onLevel() override { react(Shelf::levelAttr, *this, &ZefShelf::handleLevel); }
    void onLid() override {
      if (zefOnAttribute(Shelf::lidAttr, nullptr)) return;
      if (alive()) handleLid();
      if (notifier() != nullptr) lid_.is(notifier()->lid());
    }
    void onBox(Name name) override {
      if (zefOnKey(Shelf::boxAttr, name, &ZefShelf::onBox)) return;
      if (alive()) handleBox(name);
      if (notifier() != nullptr) box_.follow(name, notifier()->box(name));
    }
    void handleLevel() { owner().log("level " + std::to_string(notifier()->level())); }
    void handleLid() { owner().log(notifier()->lid() ? "lid" : "no lid"); }
    void handleBox(Name const& name) {
      owner().log((notifier()->box(name) ? "box " : "no box ") + std::string(name.view()));
    }

    Zef::Child<ZefLid, ZefShelf> lid_{*this,
                                      [](ZefShelf const& self) { return Ptr<Lid const>(self.notifier()->lid()); }};
    Zef::Children<ZefBox, Name, ZefShelf> box_{*this, "box", [](ZefShelf const& self, auto const& visit) {
                                                 for (auto at = self.notifier()->boxIterator(); at; ++at)
                                                   visit(at.ptr());
                                               }};
  };

  Stocktaking() = default;

  void log(std::string line) {
    lines.push_back(std::move(line));
    auto const found = deeds.find(lines.back());
    if (found == deeds.end()) return;
    if (auto const deed = std::exchange(found->second, nullptr)) deed();
  }
  Lines take() { return std::exchange(lines, {}); }

  Lines lines;
  // Each done once, when its line is written.
  std::map<std::string, std::function<void()>> deeds;
  Zef::Child<ZefShelf, Stocktaking> shelf_{*this};
};

class Reactors : public testing::Test {
 protected:
  // A shelf with a lid of colour 7 and boxes a and b.
  static Ptr<Shelf> stocked(char const* name) {
    auto const shelf = make<Shelf>(name);
    shelf->lidIs(make<Lid>("lid"));
    shelf->lid()->colourIs(7);
    for (char const* box : {"a", "b"}) shelf->newBox(box);
    return shelf;
  }
  void start() {
    machine_->shelf_.is(shelf_);
    machine_->take();
  }
  Stocktaking::ZefShelf& reactor() const { return *machine_->shelf_.get(); }
  // What is heard when each attribute of the shelf, its lid and its boxes changes.
  Lines poke() {
    int const next = shelf_->level() + 1;
    shelf_->levelIs(next);
    shelf_->lid()->colourIs(next);
    for (auto at = shelf_->boxIterator(); at; ++at) at->weightIs(next);
    return machine_->take();
  }

  Ptr<Stocktaking> machine_ = make<Stocktaking>();
  Ptr<Shelf> shelf_ = stocked("s");
};

TEST_F(Reactors, AreBornHandlersFirstThenRegistrationThenChildren) {
  std::vector<bool> registered;
  auto const look = [&] {
    registered.push_back(reactor().isRegisteredNotifiee());
    registered.push_back(static_cast<bool>(reactor().lid_));
  };
  machine_->deeds["level 0"] = look;
  machine_->deeds["colour 7"] = look;
  machine_->shelf_.is(shelf_);
  EXPECT_EQ(machine_->take(), (Lines{"level 0", "lid", "box a", "box b", "colour 7", "a weighs 0", "b weighs 0"}));
  EXPECT_EQ(registered, (std::vector<bool>{false, false, true, true}));
  EXPECT_EQ(reactor().name(), "s");
  EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "a weighs 1", "b weighs 1"}));
}

TEST_F(Reactors, AHandlersOwnWritesAtBirthDoNotComeBack) {
  machine_->deeds["level 0"] = [&] { shelf_->levelIs(5); };
  machine_->shelf_.is(shelf_);
  EXPECT_EQ(machine_->take(), (Lines{"level 0", "lid", "box a", "box b", "colour 7", "a weighs 0", "b weighs 0"}));
}

TEST_F(Reactors, WhatABirthCausesComesAfterIt) {
  start();
  auto const other = make<Stocktaking>();
  auto const part = make<Shelf>("part");
  other->deeds["level 0"] = [&] {
    shelf_->levelIs(3);
    EXPECT_EQ(machine_->take(), Lines()) << "while the handler runs";
  };
  other->shelf_.is(part);
  EXPECT_EQ(machine_->take(), (Lines{"level 3"}));
  other->deeds["level 0"] = [&] {
    shelf_->levelIs(4);
    throw std::runtime_error("no");
  };
  EXPECT_THROW(other->shelf_->notifierIs(make<Shelf>("another")), std::runtime_error);
  EXPECT_EQ(machine_->take(), (Lines{"level 4"}));
  EXPECT_EQ(poke(), (Lines{"level 5", "colour 5", "a weighs 5", "b weighs 5"})) << "at once again";
}

TEST_F(Reactors, NotifierIs) {
  start();
  auto* const before = machine_->shelf_.get().get();
  auto const lidReactor = reactor().lid_.get();
  reactor().notifierIs(shelf_);
  EXPECT_EQ(machine_->take(), Lines()) << "the same object";

  auto const next = stocked("t");
  next->boxDel("a");
  next->newBox("c");
  next->levelIs(20);
  auto const dropped = reactor().box_.find("a");
  auto const kept = reactor().box_.find("b");
  reactor().notifierIs(next);
  EXPECT_EQ(machine_->take(), (Lines{"level 20", "lid", "box c", "box b", "colour 7", "c weighs 0", "b weighs 0"}))
      << "a full fresh sync";
  EXPECT_EQ(machine_->shelf_.get().get(), before);
  EXPECT_EQ(reactor().lid_.get(), lidReactor) << "re-pointed, not made anew";
  EXPECT_EQ(reactor().box_.find("b"), kept);
  EXPECT_EQ(reactor().box_.count(), 2U);
  EXPECT_TRUE(dropped->zefMarkedForDeletion());
  EXPECT_EQ(poke(), Lines()) << "the old object is not heard any more";
  next->levelIs(21);
  EXPECT_EQ(machine_->take(), (Lines{"level 21"}));

  reactor().notifierIs(make<Lid>("another type"));
  EXPECT_EQ(reactor().notifier(), nullptr);
  EXPECT_FALSE(reactor().isRegisteredNotifiee());
  EXPECT_EQ(machine_->take(), Lines());
  EXPECT_FALSE(reactor().lid_);
  EXPECT_EQ(reactor().box_.count(), 0U);
  EXPECT_TRUE(lidReactor->zefMarkedForDeletion());

  reactor().notifierIs(shelf_);
  EXPECT_EQ(machine_->take().size(), 7U);
  reactor().notifierIs(nullptr);
  EXPECT_EQ(reactor().box_.count(), 0U);
  EXPECT_EQ(poke(), Lines());
}

TEST_F(Reactors, ChildrenFollowAfterTheHandler) {
  start();
  auto const lid = shelf_->lid();
  auto const lidReactor = reactor().lid_.get();
  machine_->deeds["no lid"] = [&] { EXPECT_EQ(reactor().lid_.get(), lidReactor); };
  shelf_->lidIs(nullptr);
  EXPECT_EQ(machine_->take(), (Lines{"no lid"}));
  EXPECT_FALSE(reactor().lid_);
  lid->colourIs(99);
  EXPECT_EQ(machine_->take(), Lines());
  shelf_->lidIs(lid);
  EXPECT_EQ(machine_->take(), (Lines{"lid", "colour 99"}));
  auto const another = make<Lid>("another");
  shelf_->lidIs(another);
  EXPECT_EQ(machine_->take(), (Lines{"lid", "colour 0"}));

  auto const boxReactor = reactor().box_.find("a");
  machine_->deeds["no box a"] = [&] { EXPECT_EQ(reactor().box_.find("a"), boxReactor); };
  auto const box = shelf_->boxDel("a");
  EXPECT_EQ(machine_->take(), (Lines{"no box a"}));
  EXPECT_FALSE(reactor().box_.find("a"));
  box->weightIs(9);
  EXPECT_EQ(machine_->take(), Lines());
  shelf_->newBox("a");
  EXPECT_EQ(machine_->take(), (Lines{"box a", "a weighs 0"}));
  shelf_->newBox("a");  // another object of the same key
  EXPECT_EQ(machine_->take(), (Lines{"box a", "a weighs 0"}));
  EXPECT_EQ(reactor().box_.count(), 2U);
}

TEST_F(Reactors, AKeyThatHasGoneAgainBeforeItsDeliveryDeletesTheChild) {
  start();
  {
    Zef::Batch const batch;
    shelf_->newBox("c");
    shelf_->boxDel("c");
    shelf_->boxDel("a");
  }
  EXPECT_EQ(machine_->take(), (Lines{"no box c", "no box a"}));
  EXPECT_EQ(reactor().box_.count(), 1U);
}

TEST_F(Reactors, SuspendedTreesRejoinExactlyWhereTheyWere) {
  start();
  reactor().box_.find("a")->isRegisteredNotifieeIs(false);
  machine_->hasNotificationActiveIs(false);
  EXPECT_EQ(poke(), Lines());
  for (auto const& [off, name] :
       {std::pair{reactor().isRegisteredNotifiee(), "shelf"}, std::pair{reactor().lid_->isRegisteredNotifiee(), "lid"},
        std::pair{reactor().box_.find("b")->isRegisteredNotifiee(), "b"}}) {
    EXPECT_FALSE(off) << name;
  }
  EXPECT_TRUE(shelf_->notifiees().empty());
  machine_->hasNotificationActiveIs(false);
  machine_->hasNotificationActiveIs(true);
  machine_->hasNotificationActiveIs(true);
  EXPECT_EQ(poke(), (Lines{"level 2", "colour 2", "b weighs 2"})) << "a was not on the list before";
  EXPECT_EQ(shelf_->notifiees().count(), 1U);
  machine_->hasNotificationActiveIs(false);
  machine_->hasNotificationActiveIs(true);
  EXPECT_EQ(poke(), (Lines{"level 3", "colour 3", "b weighs 3"}));
}

TEST_F(Reactors, ZombiesRunNoHandler) {
  start();
  machine_->zefDoZombieReactors(true);
  EXPECT_TRUE(machine_->zefIsZombie());
  for (Zef::PtrInterface const* marked : {static_cast<Zef::PtrInterface const*>(&reactor()),
                                          static_cast<Zef::PtrInterface const*>(reactor().lid_.get().get()),
                                          static_cast<Zef::PtrInterface const*>(reactor().box_.find("a").get())}) {
    EXPECT_TRUE(marked->zefMarkedForDeletion());
    EXPECT_FALSE(marked->hasNotificationActive());
  }
  EXPECT_EQ(poke(), Lines());
  reactor().onLevel();
  reactor().onBox("a");
  EXPECT_EQ(machine_->take(), Lines()) << "called all the same";
  auto const next = make<Shelf>("t");
  reactor().notifierIs(next);
  EXPECT_EQ(machine_->take(), Lines());
  EXPECT_EQ(reactor().notifier(), next.get());
  next->levelIs(1);
  EXPECT_EQ(machine_->take(), Lines());
}

TEST_F(Reactors, AZombieComesBackAsItWas) {
  start();
  reactor().box_.find("a")->isRegisteredNotifieeIs(false);
  machine_->zefDoZombieReactors(true);
  machine_->zefDoZombieReactors(false);
  EXPECT_FALSE(machine_->zefIsZombie());
  EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "b weighs 1"}));
}

TEST_F(Reactors, ChildrenOfAZombieAreZombies) {
  start();
  machine_->zefMarkedForDeletionIs(true);
  machine_->shelf_.is(shelf_);
  EXPECT_TRUE(reactor().zefIsZombie());
  EXPECT_EQ(poke(), Lines());
}

TEST_F(Reactors, AQueuedNotificationThatReachesADroppedChildRunsNothing) {
  start();
  struct Case {
    char const* what;
    std::function<void()> drop;
  };
  for (Case const& c :
       {Case{"the tree", [&] { machine_->shelf_.del(); }}, Case{"its machine", [&] { machine_ = make<Stocktaking>(); }},
        Case{"the children", [&] {
               reactor().lid_.is(nullptr);
               for (char const* box : {"a", "b"}) reactor().box_.del(box);
               reactor().isRegisteredNotifieeIs(false);
             }}}) {
    SCOPED_TRACE(c.what);
    start();
    auto const watched = reactor().lid_.get();  // so that the object itself stays
    {
      Zef::Batch const batch;
      EXPECT_EQ(poke(), Lines());
      shelf_->newBox("c");
      EXPECT_GE(Zef::ActivitySm::process().pendingCount(), 5U);
      c.drop();
    }
    EXPECT_EQ(machine_->take(), Lines());
    EXPECT_TRUE(watched->zefMarkedForDeletion());
    machine_ = make<Stocktaking>();
    shelf_ = stocked("s");
  }
}

TEST_F(Reactors, AHandlerMayDropItsOwnReactorAndItsMachine) {
  struct Case {
    char const* line;
    std::function<void()> cause;
  };
  auto const next = stocked("t");
  next->levelIs(50);
  for (Case const& c : std::vector<Case>{Case{"level 0", [&] { machine_->shelf_.is(shelf_); }},
                                         Case{"colour 7", [&] { machine_->shelf_.is(shelf_); }},
                                         Case{"b weighs 0", [&] { machine_->shelf_.is(shelf_); }},
                                         Case{"level 50",
                                              [&] {
                                                machine_->shelf_.is(shelf_);
                                                machine_->shelf_.is(next);
                                              }},
                                         Case{"level 9",
                                              [&] {
                                                machine_->shelf_.is(shelf_);
                                                shelf_->levelIs(9);
                                              }},
                                         Case{"box c",
                                              [&] {
                                                machine_->shelf_.is(shelf_);
                                                shelf_->newBox("c");
                                              }},
                                         Case{"c weighs 0", [&] {
                                                machine_->shelf_.is(shelf_);
                                                shelf_->newBox("c");
                                              }}}) {
    for (bool const all : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.line << (all ? " drops the machine" : " drops the reactor"));
      bool done = false;
      machine_->deeds[c.line] = [&] {
        done = true;
        if (all) {
          machine_ = make<Stocktaking>();
        } else {
          machine_->shelf_.del();
        }
      };
      c.cause();
      EXPECT_TRUE(done);
      EXPECT_FALSE(machine_->shelf_);
      machine_->take();
      EXPECT_EQ(poke(), Lines());
      EXPECT_TRUE(shelf_->notifiees().empty());
      EXPECT_TRUE(next->notifiees().empty());
      machine_->deeds.clear();
      shelf_ = stocked("s");
    }
  }
}

TEST_F(Reactors, AHandlerMayPointItsReactorAtAnotherObject) {
  for (char const* line : {"level 0", "colour 7", "a weighs 0"}) {
    SCOPED_TRACE(line);
    auto const next = stocked("t");
    next->boxDel("a");
    next->newBox("c");
    machine_->deeds[line] = [&] { machine_->shelf_.is(next); };
    machine_->shelf_.is(shelf_);
    machine_->take();
    EXPECT_EQ(reactor().box_.count(), 2U);
    EXPECT_EQ(poke(), Lines()) << "the walk over the old object ended";
    EXPECT_TRUE(shelf_->notifiees().empty());
    shelf_ = next;
    EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "c weighs 1", "b weighs 1"}));
    machine_ = make<Stocktaking>();
    shelf_ = stocked("s");
  }
}

TEST_F(Reactors, AChildThatThrewIsMadeAnewLater) {
  auto const fail = [] { throw std::runtime_error("no"); };
  machine_->deeds["b weighs 0"] = fail;
  EXPECT_THROW(machine_->shelf_.is(shelf_), std::runtime_error);
  EXPECT_FALSE(machine_->shelf_) << "half of it would be there";
  EXPECT_TRUE(shelf_->notifiees().empty());
  start();
  for (char const* what : {"pointed at another object", "born"}) {
    SCOPED_TRACE(what);
    machine_->deeds["a weighs 0"] = fail;
    machine_->deeds["colour 0"] = fail;
    shelf_->newBox("a");
    shelf_->lidIs(make<Lid>("lid"));
    EXPECT_FALSE(reactor().box_.find("a"));
    EXPECT_FALSE(reactor().lid_);
    machine_->take();
    shelf_->newBox("a");
    shelf_->lidIs(make<Lid>("lid"));
    EXPECT_EQ(machine_->take(), (Lines{"box a", "a weighs 0", "lid", "colour 0"}));
    shelf_->boxDel("a");
    shelf_->lidIs(nullptr);
  }
}

TEST_F(Reactors, NoHandlerRunsBelowAZombie) {
  start();
  machine_->deeds["box c"] = [&] { machine_->zefDoZombieReactors(true); };
  shelf_->newBox("c");
  EXPECT_EQ(machine_->take(), (Lines{"box c"}));
  ASSERT_TRUE(reactor().box_.find("c"));
  machine_->zefDoZombieReactors(false);
  EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "a weighs 1", "c weighs 1", "b weighs 1"}));
}

TEST_F(Reactors, AChildThatItsOwnHandlerDropsStaysDropped) {
  start();
  Ptr<Stocktaking::ZefShelf::ZefBox> box;
  for (char const* name : {"c", "b"}) {  // born, and pointed at another box
    machine_->deeds[name + std::string(" weighs 0")] = [&] { box = reactor().box_.del(name); };
    shelf_->newBox(name);
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->zefMarkedForDeletion());
    EXPECT_FALSE(box->isRegisteredNotifiee());
  }
  Ptr<Stocktaking::ZefShelf::ZefLid> lid;
  machine_->deeds["colour 0"] = [&] { lid = reactor().lid_.del(); };
  shelf_->lidIs(make<Lid>("another"));
  EXPECT_TRUE(lid->zefMarkedForDeletion());
  machine_->take();
  EXPECT_EQ(poke(), (Lines{"level 1", "a weighs 1"}));
}

TEST_F(Reactors, ANullMemberIsRefused) {
  start();
  try {
    reactor().box_.is(nullptr);
    FAIL();
  } catch (Zef::RangeException const& exception) {
    EXPECT_STREQ(exception.what(),
                 "null _box parameter to mutator for Depot::Stocktaking::ZefShelf::box not allowed\"");
  }
  EXPECT_EQ(reactor().box_.count(), 2U);
}

TEST_F(Reactors, AReactorGoesWithItsMachineAndLeavesTheObjectsFree) {
  start();
  machine_ = nullptr;
  EXPECT_EQ(shelf_->word(), 1U);
  EXPECT_EQ(shelf_->lid()->word(), 1U);
  EXPECT_TRUE(shelf_->notifiees().empty());
  EXPECT_TRUE(shelf_->box("a")->notifiees().empty());
}

}  // namespace
