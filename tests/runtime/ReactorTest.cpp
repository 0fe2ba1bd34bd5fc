// The kit that reactors are written on: birth, re-pointing, suspension, zombies, and children that follow.

#include <map>
#include <stdexcept>

#include "tests/runtime/Keeper.h"

namespace {

using Depot::Box;
using Depot::Lid;
using Depot::Shelf;
using Zef::make;
using Zef::Name;
using Zef::Ptr;

// A state machine that follows a shelf, its lid and its boxes, and writes down what its handlers hear.
struct Stocktaking final : Zef::StateMachine {
  struct ZefShelf;

  struct ZefLid final : Zef::Reactor<Lid>, Zef::Owned<ZefShelf> {
    using Owned::Owned;
    std::span<Slot const> slots() const override {
      return watching<Slot{Lid::colourAttr, &Lid::NotifieeConst::onColour}>();
    }
    void onColour() override { react(Lid::colourAttr, *this, &ZefLid::handleAll); }
    void handleAll() override { owner().owner().log("colour " + std::to_string(notifier()->colour())); }
  };

  struct ZefBox final : Zef::Reactor<Box>, Zef::KeyedReactor<Name>, Zef::Owned<ZefShelf> {
    ZefBox(ZefShelf& owner, Name key) : KeyedReactor(std::move(key)), Owned(owner) {}
    std::span<Slot const> slots() const override {
      return watching<Slot{Box::weightAttr, &Box::NotifieeConst::onWeight}>();
    }
    void onWeight() override { react(Box::weightAttr, *this, &ZefBox::handleAll); }
    void handleAll() override {
      owner().owner().log(std::string(fwkKey().view()) + " weighs " + std::to_string(notifier()->weight()));
    }
  };

  struct ZefShelf final : Zef::Reactor<Shelf>, Zef::Owned<Stocktaking> {
    using Owned::Owned;
    static Zef::String8 classPath() { return "Depot::Stocktaking::ZefShelf"; }
    std::span<Slot const> slots() const override {
      return watching<Slot{Shelf::levelAttr, &Shelf::NotifieeConst::onLevel},
                      Slot{Shelf::lidAttr, &Shelf::NotifieeConst::onLid}>();
    }
    void handleAll() override {
      owner().handleLevel();
      handleLid();
      for (auto at = notifier()->boxIteratorConst(); at; ++at) handleBox(at.key());
    }
    void onLevel() override { react(Shelf::levelAttr, owner(), &Stocktaking::handleLevel); }
    void onLid() override {
      if (zefOnAttribute(Shelf::lidAttr, nullptr)) return;
      if (alive()) handleLid();
      if (notifier() != nullptr) lid.is(notifier()->lid());
    }
    void onBox(Name name) override {
      if (zefOnKey(Shelf::boxAttr, name, &ZefShelf::onBox)) return;
      if (alive()) handleBox(name);
      if (notifier() != nullptr) box.follow(name, notifier()->box(name));
    }
    void handleLid() { owner().log(notifier()->lid() ? "lid" : "no lid"); }
    void handleBox(Name const& name) {
      owner().log((notifier()->box(name) ? "box " : "no box ") + std::string(name.view()));
    }

    Zef::Child<ZefLid, ZefShelf> lid{*this,
                                     [](ZefShelf const& self) -> Ptr<Lid const> { return self.notifier()->lid(); }};
    Zef::Children<ZefBox, Name, ZefShelf> box{*this, "box", [](ZefShelf const& self, auto const& visit) {
                                                for (auto at = self.notifier()->boxIteratorConst(); at; ++at)
                                                  visit(at.ptr());
                                              }};
  };

  void log(std::string const& line) {
    lines.push_back(line);
    if (auto const deed = std::exchange(deeds[line], nullptr)) deed();
  }
  void handleLevel() {
    log("level " + std::to_string(shelf->notifier()->level()));
    ++levels;  // in a machine that stays until then, even when it is dropped
  }

  Lines lines;
  int levels = 0;
  std::map<std::string, std::function<void()>> deeds;  // each done once, when its line is written
  Zef::Child<ZefShelf, Stocktaking> shelf{*this};
};

struct Reactors : testing::Test {
  // A shelf with a lid of colour 7 and boxes.
  static Ptr<Shelf> stocked(std::initializer_list<char const*> boxes = {"a", "b"}) {
    auto const shelf = make<Shelf>("s");
    shelf->lidIs(make<Lid>("lid"));
    shelf->lid()->colourIs(7);
    for (char const* box : boxes) shelf->newBox(box);
    return shelf;
  }
  void start() {
    machine->shelf.is(shelf);
    heard();
  }
  void startAnew() {
    machine = make<Stocktaking>();
    shelf = stocked();
  }
  // The reactor, or all of the machine.
  void drop(bool all) { all ? void(machine = make<Stocktaking>()) : void(machine->shelf.del()); }
  Stocktaking::ZefShelf& reactor() const { return *machine->shelf.get(); }
  Lines heard() const { return take(machine->lines); }
  // What is heard when each attribute of the shelf, its lid and its boxes changes.
  Lines poke() const {
    int const next = shelf->level() + 1;
    shelf->levelIs(next);
    shelf->lid()->colourIs(next);
    for (auto at = shelf->boxIterator(); at; ++at) at->weightIs(next);
    return heard();
  }

  Ptr<Stocktaking> machine = make<Stocktaking>();
  Ptr<Shelf> shelf = stocked();
};

TEST_F(Reactors, AreBornHandlersFirstThenRegistrationThenChildren) {
  std::vector<bool> stages;
  auto const look = [&] {
    for (bool const stage : {reactor().isRegisteredNotifiee(), bool(reactor().lid)}) stages.push_back(stage);
  };
  machine->deeds["level 0"] = [&] {
    look();
    shelf->levelIs(5);  // a handler's own write does not come back
  };
  machine->deeds["colour 7"] = look;
  machine->shelf.is(shelf);
  EXPECT_EQ(heard(), (Lines{"level 0", "lid", "box a", "box b", "colour 7", "a weighs 0", "b weighs 0"}));
  EXPECT_EQ(stages, (std::vector<bool>{false, false, true, true}));
  EXPECT_EQ(poke(), (Lines{"level 6", "colour 6", "a weighs 6", "b weighs 6"}));
}

TEST_F(Reactors, WhatABirthCausesComesAfterIt) {
  start();
  auto const other = make<Stocktaking>();
  other->deeds["level 0"] = [&] {
    shelf->levelIs(3);
    EXPECT_EQ(heard(), Lines()) << "while the handler runs";
  };
  other->shelf.is(make<Shelf>("part"));
  EXPECT_EQ(heard(), (Lines{"level 3"}));
  other->deeds["level 0"] = [&] {
    shelf->levelIs(4);
    throw std::runtime_error("no");
  };
  EXPECT_THROW(other->shelf->notifierIs(make<Shelf>("another")), std::runtime_error);
  EXPECT_EQ(heard(), (Lines{"level 4"}));
}

TEST_F(Reactors, PointAtAnotherObject) {
  start();
  auto const lid = reactor().lid.get();
  auto const dropped = reactor().box.find("a");
  auto const kept = reactor().box.find("b");
  reactor().notifierIs(shelf);
  EXPECT_EQ(heard(), Lines()) << "the same object";

  auto const next = stocked({"b", "c"});
  next->levelIs(20);
  machine->shelf.is(next);
  EXPECT_EQ(heard(), (Lines{"level 20", "lid", "box c", "box b", "colour 7", "c weighs 0", "b weighs 0"}))
      << "a full fresh sync";
  EXPECT_EQ(reactor().lid.get(), lid) << "re-pointed, not made anew";
  EXPECT_EQ(reactor().box.find("b"), kept);
  EXPECT_EQ(reactor().box.count(), 2U);
  EXPECT_TRUE(dropped->zefMarkedForDeletion());
  EXPECT_EQ(poke(), Lines()) << "the old object is not heard any more";
  next->levelIs(21);
  EXPECT_EQ(heard(), (Lines{"level 21"}));

  for (Ptr<Zef::Entity> const& nothing : {Ptr<Zef::Entity>(make<Lid>("another type")), Ptr<Zef::Entity>()}) {
    auto const last = reactor().lid.get();
    reactor().notifierIs(nothing);
    EXPECT_EQ(reactor().notifier(), nullptr);
    EXPECT_FALSE(reactor().lid);
    EXPECT_EQ(reactor().box.count(), 0U);
    EXPECT_TRUE(last->zefMarkedForDeletion());
    reactor().notifierIs(shelf);
    EXPECT_EQ(heard().size(), 7U);
  }
}

TEST_F(Reactors, ChildrenFollowAfterTheHandler) {
  start();
  auto const lid = shelf->lid();
  machine->deeds["no lid"] = [&] { EXPECT_TRUE(reactor().lid); };
  shelf->lidIs(nullptr);
  EXPECT_FALSE(reactor().lid);
  lid->colourIs(99);
  EXPECT_EQ(heard(), (Lines{"no lid"}));
  for (auto const& lids : {lid, make<Lid>("another")}) shelf->lidIs(lids);
  EXPECT_EQ(heard(), (Lines{"lid", "colour 99", "lid", "colour 0"}));

  machine->deeds["no box a"] = [&] { EXPECT_TRUE(reactor().box.find("a")); };
  auto const box = shelf->boxDel("a");
  EXPECT_FALSE(reactor().box.find("a"));
  box->weightIs(9);
  EXPECT_EQ(heard(), (Lines{"no box a"}));
  for (int i = 0; i < 2; ++i) shelf->newBox("a");  // the second is another object of the same key
  EXPECT_EQ(heard(), (Lines{"box a", "a weighs 0", "box a", "a weighs 0"}));
  EXPECT_EQ(reactor().box.count(), 2U);
  batched([&] {
    shelf->newBox("c");
    for (char const* gone : {"c", "a"}) shelf->boxDel(gone);
  });
  EXPECT_EQ(heard(), (Lines{"no box c", "no box a"})) << "gone again before the delivery";
  EXPECT_EQ(reactor().box.count(), 1U);
}

// Suspended, and marked as zombies.
TEST_F(Reactors, TreesRejoinExactlyWhereTheyWere) {
  start();
  reactor().box.find("a")->isRegisteredNotifieeIs(false);
  for (bool const zombie : {false, true, false, true}) {
    for (bool const rests : {true, true, false, false}) {
      zombie ? machine->zefDoZombieReactors(rests) : machine->hasNotificationActiveIs(!rests);
      EXPECT_EQ(machine->zefIsZombie(), zombie && rests);
      EXPECT_EQ(shelf->notifiees().count(), rests ? 0U : 1U);
      auto const now = std::to_string(shelf->level() + 1);
      EXPECT_EQ(poke(), rests ? Lines() : (Lines{"level " + now, "colour " + now, "b weighs " + now}))
          << "a was not on the list before";
    }
  }
}

TEST_F(Reactors, ZombiesRunNoHandler) {
  start();
  machine->zefDoZombieReactors(true);
  reactor().onLevel();
  reactor().onBox("a");
  EXPECT_EQ(heard(), Lines()) << "called all the same";
  auto const next = make<Shelf>("t");
  reactor().notifierIs(next);
  EXPECT_EQ(reactor().notifier(), next.get());
  next->levelIs(1);
  EXPECT_EQ(heard(), Lines());

  startAnew();
  machine->zefMarkedForDeletionIs(true);
  machine->shelf.is(shelf);
  EXPECT_TRUE(reactor().zefIsZombie()) << "born below one";
  EXPECT_EQ(poke(), Lines());

  startAnew();
  start();
  machine->deeds["box c"] = [&] { machine->zefDoZombieReactors(true); };
  shelf->newBox("c");
  EXPECT_EQ(heard(), (Lines{"box c"}));
  ASSERT_TRUE(reactor().box.find("c"));
  machine->zefDoZombieReactors(false);
  EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "a weighs 1", "c weighs 1", "b weighs 1"}));
}

TEST_F(Reactors, AHandlerMayDropItsOwnReactorAndItsMachine) {
  auto const next = stocked();
  next->levelIs(50);
  // The line of the handler, and what causes it behind the birth.
  using Case = std::pair<char const*, std::function<void()>>;
  for (auto const& [line, cause] :
       {Case{"level 0", [] {}}, Case{"colour 7", [] {}}, Case{"b weighs 0", [] {}},
        Case{"level 50", [&] { machine->shelf.is(next); }}, Case{"level 9", [&] { shelf->levelIs(9); }},
        Case{"box c", [&] { shelf->newBox("c"); }}, Case{"c weighs 0", [&] { shelf->newBox("c"); }}}) {
    for (bool const all : {false, true}) {
      SCOPED_TRACE(testing::Message() << line << (all ? " drops the machine" : " drops the reactor"));
      startAnew();
      machine->deeds[line] = [&] { drop(all); };
      machine->shelf.is(shelf);
      cause();
      EXPECT_FALSE(machine->shelf);
      heard();
      EXPECT_EQ(poke(), Lines());
      for (auto const& left : {shelf.get(), next.get()}) {
        EXPECT_TRUE(left->notifiees().empty());
        EXPECT_EQ(left->word(), 1U);
      }
    }
  }
}

TEST_F(Reactors, AHandlerMayPointItsReactorAtAnotherObject) {
  for (char const* line : {"level 0", "colour 7", "a weighs 0"}) {
    SCOPED_TRACE(line);
    startAnew();
    auto const next = stocked({"b", "c"});
    machine->deeds[line] = [&] { machine->shelf.is(next); };
    start();
    EXPECT_EQ(reactor().box.count(), 2U);
    EXPECT_EQ(poke(), Lines()) << "the walk over the old object ended";
    EXPECT_TRUE(shelf->notifiees().empty());
    shelf = next;
    EXPECT_EQ(poke(), (Lines{"level 1", "colour 1", "c weighs 1", "b weighs 1"}));
  }
}

TEST_F(Reactors, AChildThatThrewIsMadeAnewLater) {
  auto const fail = [] { throw std::runtime_error("no"); };
  machine->deeds["b weighs 0"] = fail;
  EXPECT_THROW(machine->shelf.is(shelf), std::runtime_error);
  EXPECT_FALSE(machine->shelf) << "half of it would be there";
  EXPECT_TRUE(shelf->notifiees().empty());
  start();
  for (char const* what : {"pointed at another object", "born"}) {
    SCOPED_TRACE(what);
    auto const change = [&] {
      shelf->newBox("a");
      shelf->lidIs(make<Lid>("lid"));
      return heard();
    };
    for (char const* line : {"a weighs 0", "colour 0"}) machine->deeds[line] = fail;
    change();
    EXPECT_FALSE(reactor().box.find("a"));
    EXPECT_FALSE(reactor().lid);
    EXPECT_EQ(change(), (Lines{"box a", "a weighs 0", "lid", "colour 0"}));
    shelf->boxDel("a");
    shelf->lidIs(nullptr);
  }
}

TEST_F(Reactors, AChildThatItsOwnHandlerDropsStaysDropped) {
  start();
  Ptr<Zef::PtrInterface::NotifieeConst> dropped;
  for (char const* name : {"c", "b"}) {  // born, and pointed at another box
    machine->deeds[name + std::string(" weighs 0")] = [&] { dropped = reactor().box.del(name); };
    shelf->newBox(name);
    EXPECT_TRUE(dropped->zefMarkedForDeletion());
    EXPECT_FALSE(dropped->isRegisteredNotifiee());
  }
  machine->deeds["colour 0"] = [&] { dropped = reactor().lid.del(); };
  shelf->lidIs(make<Lid>("another"));
  EXPECT_TRUE(dropped->zefMarkedForDeletion());
  heard();
  EXPECT_EQ(poke(), (Lines{"level 1", "a weighs 1"}));
}

}  // namespace
