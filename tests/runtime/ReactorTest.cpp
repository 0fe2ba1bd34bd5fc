// The kit that reactors are written on: birth, re-pointing, suspension, zombies, and children that follow.

#include <map>
#include <stdexcept>

#include "tests/Support.h"
#include "tests/runtime/Keeper.h"

namespace {

using Depot::Box;
using Depot::Lid;
using Depot::Shelf;
using Zef::make;
using Zef::Name;
using Zef::Ptr;

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
        return watching<Slot{Lid::colourAttr, &Lid::NotifieeConst::onColour}>();
      }
      void onColour() override { react(Lid::colourAttr, *this, &ZefLid::handleColour); }
      void handleColour() { owner().owner().log("colour " + std::to_string(notifier()->colour())); }
    };

    class ZefBox final : public Zef::Reactor<Box>, public Zef::KeyedReactor<Name>, public Zef::Owned<ZefShelf> {
     public:
      ZefBox(ZefShelf& owner, Name key) : KeyedReactor(std::move(key)), Owned(owner) {}
      void handleAll() override { handleWeight(); }
      std::span<Slot const> slots() const override {
        return watching<Slot{Box::weightAttr, &Box::NotifieeConst::onWeight}>();
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
      for (auto at = notifier()->boxIteratorConst(); at; ++at) handleBox(at.key());
    }
    std::span<Slot const> slots() const override {
      return watching<Slot{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel},
                      Slot{Shelf::lidAttr, &Shelf::NotifieeConst::onLid}>();
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
                                                 for (auto at = self.notifier()->boxIteratorConst(); at; ++at)
                                                   visit(at.ptr());
                                               }};
  };

  void log(std::string line) {
    lines.push_back(std::move(line));
    auto const found = deeds.find(lines.back());
    if (found == deeds.end()) return;
    if (auto const deed = std::exchange(found->second, nullptr)) deed();
  }
  Lines take() { return ::take(lines); }

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
  // One with c in the place of a.
  static Ptr<Shelf> restocked() {
    auto const shelf = stocked("t");
    shelf->boxDel("a");
    shelf->newBox("c");
    return shelf;
  }
  void start() {
    machine_->shelf_.is(shelf_);
    machine_->take();
  }
  void startAnew() {
    machine_ = make<Stocktaking>();
    shelf_ = stocked("s");
  }
  Stocktaking::ZefShelf& reactor() const { return *machine_->shelf_.get(); }
  Lines heard() { return machine_->take(); }
  // What is heard when each attribute of the shelf, its lid and its boxes changes.
  Lines poke() {
    int const next = shelf_->level() + 1;
    shelf_->levelIs(next);
    shelf_->lid()->colourIs(next);
    for (auto at = shelf_->boxIterator(); at; ++at) at->weightIs(next);
    return heard();
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
  machine_->deeds["level 0"] = [&] {
    look();
    shelf_->levelIs(5);  // a handler's own write does not come back
  };
  machine_->deeds["colour 7"] = look;
  machine_->shelf_.is(shelf_);
  EXPECT_EQ(heard(), (Lines{"level 0", "lid", "box a", "box b", "colour 7", "a weighs 0", "b weighs 0"}));
  EXPECT_EQ(registered, (std::vector<bool>{false, false, true, true}));
  EXPECT_EQ(reactor().name(), "s");
  EXPECT_EQ(poke(), (Lines{"level 6", "colour 6", "a weighs 6", "b weighs 6"}));
}

TEST_F(Reactors, WhatABirthCausesComesAfterIt) {
  start();
  auto const other = make<Stocktaking>();
  other->deeds["level 0"] = [&] {
    shelf_->levelIs(3);
    EXPECT_EQ(heard(), Lines()) << "while the handler runs";
  };
  other->shelf_.is(make<Shelf>("part"));
  EXPECT_EQ(heard(), (Lines{"level 3"}));
  other->deeds["level 0"] = [&] {
    shelf_->levelIs(4);
    throw std::runtime_error("no");
  };
  EXPECT_THROW(other->shelf_->notifierIs(make<Shelf>("another")), std::runtime_error);
  EXPECT_EQ(heard(), (Lines{"level 4"}));
  EXPECT_EQ(poke(), (Lines{"level 5", "colour 5", "a weighs 5", "b weighs 5"})) << "at once again";
}

TEST_F(Reactors, PointAtAnotherObject) {
  start();
  auto* const before = &reactor();
  auto const lid = reactor().lid_.get();
  auto const dropped = reactor().box_.find("a");
  auto const kept = reactor().box_.find("b");
  reactor().notifierIs(shelf_);
  EXPECT_EQ(heard(), Lines()) << "the same object";

  auto const next = restocked();
  next->levelIs(20);
  reactor().notifierIs(next);
  EXPECT_EQ(heard(), (Lines{"level 20", "lid", "box c", "box b", "colour 7", "c weighs 0", "b weighs 0"}))
      << "a full fresh sync";
  EXPECT_EQ(&reactor(), before);
  EXPECT_EQ(reactor().lid_.get(), lid) << "re-pointed, not made anew";
  EXPECT_EQ(reactor().box_.find("b"), kept);
  EXPECT_EQ(reactor().box_.count(), 2U);
  EXPECT_TRUE(dropped->zefMarkedForDeletion());
  EXPECT_EQ(poke(), Lines()) << "the old object is not heard any more";
  next->levelIs(21);
  EXPECT_EQ(heard(), (Lines{"level 21"}));

  for (Ptr<Zef::Entity> const& nothing : {Ptr<Zef::Entity>(make<Lid>("another type")), Ptr<Zef::Entity>()}) {
    auto const last = reactor().lid_.get();
    reactor().notifierIs(nothing);
    EXPECT_EQ(reactor().notifier(), nullptr);
    EXPECT_FALSE(reactor().isRegisteredNotifiee());
    EXPECT_FALSE(reactor().lid_);
    EXPECT_EQ(reactor().box_.count(), 0U);
    EXPECT_TRUE(last->zefMarkedForDeletion());
    EXPECT_EQ(poke(), Lines());
    reactor().notifierIs(shelf_);
    EXPECT_EQ(heard().size(), 7U);
  }
}

TEST_F(Reactors, ChildrenFollowAfterTheHandler) {
  start();
  auto const lid = shelf_->lid();
  auto const lidReactor = reactor().lid_.get();
  machine_->deeds["no lid"] = [&] { EXPECT_EQ(reactor().lid_.get(), lidReactor); };
  shelf_->lidIs(nullptr);
  EXPECT_FALSE(reactor().lid_);
  lid->colourIs(99);
  EXPECT_EQ(heard(), (Lines{"no lid"}));
  shelf_->lidIs(lid);
  shelf_->lidIs(make<Lid>("another"));
  EXPECT_EQ(heard(), (Lines{"lid", "colour 99", "lid", "colour 0"}));

  auto const boxReactor = reactor().box_.find("a");
  machine_->deeds["no box a"] = [&] { EXPECT_EQ(reactor().box_.find("a"), boxReactor); };
  auto const box = shelf_->boxDel("a");
  EXPECT_FALSE(reactor().box_.find("a"));
  box->weightIs(9);
  EXPECT_EQ(heard(), (Lines{"no box a"}));
  shelf_->newBox("a");
  shelf_->newBox("a");  // another object of the same key
  EXPECT_EQ(heard(), (Lines{"box a", "a weighs 0", "box a", "a weighs 0"}));
  EXPECT_EQ(reactor().box_.count(), 2U);
  {
    Zef::Batch const batch;
    shelf_->newBox("c");
    shelf_->boxDel("c");
    shelf_->boxDel("a");
  }
  EXPECT_EQ(heard(), (Lines{"no box c", "no box a"})) << "gone again before the delivery";
  EXPECT_EQ(reactor().box_.count(), 1U);
}

// Suspended, and marked as zombies.
TEST_F(Reactors, TreesRejoinExactlyWhereTheyWere) {
  start();
  reactor().box_.find("a")->isRegisteredNotifieeIs(false);
  int level = 0;
  for (bool const zombie : {false, true, false, true}) {
    auto const restIs = [&](bool rests) {
      if (zombie) {
        machine_->zefDoZombieReactors(rests);
      } else {
        machine_->hasNotificationActiveIs(!rests);
      }
    };
    for (bool const rests : {true, true, false, false}) {
      restIs(rests);
      EXPECT_EQ(machine_->zefIsZombie(), zombie && rests);
      for (Zef::PtrInterface const* part : std::initializer_list<Zef::PtrInterface const*>{
               &reactor(), reactor().lid_.get().get(), reactor().box_.find("b").get()}) {
        EXPECT_EQ(part->zefMarkedForDeletion(), zombie && rests);
        EXPECT_EQ(part->hasNotificationActive(), !rests);
      }
      EXPECT_EQ(shelf_->notifiees().count(), rests ? 0U : 1U);
      auto const now = std::to_string(++level);
      EXPECT_EQ(poke(), rests ? Lines() : (Lines{"level " + now, "colour " + now, "b weighs " + now}))
          << "a was not on the list before";
    }
  }
}

TEST_F(Reactors, ZombiesRunNoHandler) {
  start();
  machine_->zefDoZombieReactors(true);
  reactor().onLevel();
  reactor().onBox("a");
  EXPECT_EQ(heard(), Lines()) << "called all the same";
  auto const next = make<Shelf>("t");
  reactor().notifierIs(next);
  EXPECT_EQ(reactor().notifier(), next.get());
  next->levelIs(1);
  EXPECT_EQ(heard(), Lines());

  startAnew();
  machine_->zefMarkedForDeletionIs(true);
  machine_->shelf_.is(shelf_);
  EXPECT_TRUE(reactor().zefIsZombie()) << "born below one";
  EXPECT_EQ(poke(), Lines());

  startAnew();
  start();
  machine_->deeds["box c"] = [&] { machine_->zefDoZombieReactors(true); };
  shelf_->newBox("c");
  EXPECT_EQ(heard(), (Lines{"box c"}));
  ASSERT_TRUE(reactor().box_.find("c"));
  machine_->zefDoZombieReactors(false);
  EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "a weighs 1", "c weighs 1", "b weighs 1"}));
}

TEST_F(Reactors, AQueuedNotificationThatReachesADroppedChildRunsNothing) {
  std::function<void()> const drops[] = {[&] { machine_->shelf_.del(); }, [&] { machine_ = make<Stocktaking>(); },
                                         [&] {
                                           reactor().lid_.is(nullptr);
                                           for (char const* box : {"a", "b"}) reactor().box_.del(box);
                                           reactor().isRegisteredNotifieeIs(false);
                                         }};
  for (auto const& drop : drops) {
    SCOPED_TRACE(testing::Message() << "drop " << &drop - drops);
    startAnew();
    start();
    auto const watched = reactor().lid_.get();  // so that the object itself stays
    {
      Zef::Batch const batch;
      EXPECT_EQ(poke(), Lines());
      shelf_->newBox("c");
      EXPECT_GE(Zef::ActivitySm::process().pendingCount(), 5U);
      drop();
    }
    EXPECT_EQ(heard(), Lines());
    EXPECT_TRUE(watched->zefMarkedForDeletion());
  }
}

TEST_F(Reactors, AHandlerMayDropItsOwnReactorAndItsMachine) {
  auto const next = stocked("t");
  next->levelIs(50);
  struct Case {
    char const* line;
    std::function<void()> cause;  // behind the birth
  };
  for (Case const& c :
       {Case{"level 0", nullptr}, Case{"colour 7", nullptr}, Case{"b weighs 0", nullptr},
        Case{"level 50", [&] { machine_->shelf_.is(next); }}, Case{"level 9", [&] { shelf_->levelIs(9); }},
        Case{"box c", [&] { shelf_->newBox("c"); }}, Case{"c weighs 0", [&] { shelf_->newBox("c"); }}}) {
    for (bool const all : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.line << (all ? " drops the machine" : " drops the reactor"));
      startAnew();
      bool done = false;
      machine_->deeds[c.line] = [&] {
        done = true;
        if (all) {
          machine_ = make<Stocktaking>();
        } else {
          machine_->shelf_.del();
        }
      };
      machine_->shelf_.is(shelf_);
      if (c.cause) c.cause();
      EXPECT_TRUE(done);
      EXPECT_FALSE(machine_->shelf_);
      heard();
      EXPECT_EQ(poke(), Lines());
      EXPECT_TRUE(shelf_->notifiees().empty());
      EXPECT_TRUE(next->notifiees().empty());
    }
  }
}

TEST_F(Reactors, AHandlerMayPointItsReactorAtAnotherObject) {
  for (char const* line : {"level 0", "colour 7", "a weighs 0"}) {
    SCOPED_TRACE(line);
    startAnew();
    auto const next = restocked();
    machine_->deeds[line] = [&] { machine_->shelf_.is(next); };
    start();
    EXPECT_EQ(reactor().box_.count(), 2U);
    EXPECT_EQ(poke(), Lines()) << "the walk over the old object ended";
    EXPECT_TRUE(shelf_->notifiees().empty());
    shelf_ = next;
    EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "c weighs 1", "b weighs 1"}));
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
    auto const change = [&] {
      shelf_->newBox("a");
      shelf_->lidIs(make<Lid>("lid"));
      return heard();
    };
    for (char const* line : {"a weighs 0", "colour 0"}) machine_->deeds[line] = fail;
    change();
    EXPECT_FALSE(reactor().box_.find("a"));
    EXPECT_FALSE(reactor().lid_);
    EXPECT_EQ(change(), (Lines{"box a", "a weighs 0", "lid", "colour 0"}));
    shelf_->boxDel("a");
    shelf_->lidIs(nullptr);
  }
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
  heard();
  EXPECT_EQ(poke(), (Lines{"level 1", "a weighs 1"}));
}

TEST_F(Reactors, ANullMemberIsRefused) {
  start();
  EXPECT_EQ(refusal([&] { reactor().box_.is(nullptr); }),
            "null _box parameter to mutator for Depot::Stocktaking::ZefShelf::box not allowed\"");
  EXPECT_EQ(reactor().box_.count(), 2U);
}

TEST_F(Reactors, LeaveTheObjectsFree) {
  start();
  machine_ = nullptr;
  EXPECT_EQ(shelf_->word(), 1U);
  EXPECT_EQ(shelf_->lid()->word(), 1U);
  EXPECT_TRUE(shelf_->notifiees().empty());
  EXPECT_TRUE(shelf_->box("a")->notifiees().empty());
}

}  // namespace
