// The clock, under a source of time that is stepped by hand.

#include "runtime/reactors/Clock.h"

#include <stdexcept>

#include "tests/Support.h"
#include "tests/runtime/Keeper.h"

namespace {

using Zef::Clock;
using Zef::make;
using Zef::Ptr;

class Timer final : public Zef::Reactor<Clock> {
 public:
  Timer(std::string word, Lines& log) : word_(std::move(word)), log_(log) {}
  void onTime() override {
    if (zefOnAttribute(Clock::timeAttr, nullptr)) return;
    if (!alive()) return;
    log_.push_back(word_);
    if (deed) deed(*this);
  }
  std::span<Slot const> slots() const override {
    return watching<Slot{Clock::timeAttr, &Clock::NotifieeConst::onTime}>();
  }
  std::function<void(Timer&)> deed;

 private:
  std::string word_;
  Lines& log_;
};

class Clocks : public testing::Test {
 protected:
  Ptr<Timer> timer(std::string word, double due) {
    auto const made = make<Timer>(std::move(word), log_);
    made->timeMinIs(due);
    made->start(clock_);
    return made;
  }
  Lines runAt(double seconds) {
    time_.seconds = seconds;
    clock_->run();
    return take(log_);
  }

  SteppedTime time_;
  Lines log_;
  Ptr<Clock> clock_ = make<Clock>("clock");
};

TEST_F(Clocks, ReadTheTimeAnew) {
  time_.seconds = 1000.25;
  EXPECT_EQ(clock_->time(), 1000.25);
  EXPECT_EQ(Zef::System::currentTimeUtc(), 1.0e9 + 1000.25);
  Zef::System::timeSourceIs(nullptr);
  double const machine = Zef::System::currentTime();
  EXPECT_NE(machine, 1000.25);
  EXPECT_GE(Zef::System::currentTime(), machine);
  EXPECT_GT(Zef::System::currentTimeUtc(), 1.7e9);
}

TEST_F(Clocks, FireOnceWhenTheTimeIsReached) {
  auto const t = make<Timer>("t", log_);
  t->start(clock_);
  EXPECT_EQ(log_, Lines()) << "not at birth";
  EXPECT_EQ(clock_->timeMin(), 0.0) << "a fresh one is due at once";
  EXPECT_EQ(runAt(1000), (Lines{"t"}));
  EXPECT_EQ(clock_->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1e9), Lines());
  t->timeMinIs(1e9 + 6.0);
  EXPECT_EQ(clock_->timeMin(), 1e9 + 6.0);
  EXPECT_EQ(runAt(1e9 + 5.999), Lines());
  EXPECT_EQ(runAt(1e9 + 6.0), (Lines{"t"}));
}

TEST_F(Clocks, ATickThatTakesLongArmsTheNextFromItsEnd) {
  auto const t = timer("t", 1000.0);
  t->deed = [&](Timer& self) {
    time_.seconds += 4.0;
    self.timeMinIs(clock_->time() + 6.0);
  };
  EXPECT_EQ(runAt(1000.0), (Lines{"t"}));
  EXPECT_EQ(clock_->timeMin(), 1010.0);
}

TEST_F(Clocks, EachFiresOnceInTheOrderOfItsDueTime) {
  auto const late = timer("late", 1005.0);
  auto const early = timer("early", 1003.0);
  auto const same = timer("same", 1005.0);
  auto const future = timer("future", 1011.0);
  for (auto const& t : {late, early}) t->deed = [](Timer& self) { self.timeMinIs(0.0); };  // due again already
  EXPECT_EQ(runAt(1010.0), (Lines{"early", "late", "same"}));
  EXPECT_EQ(clock_->timeMin(), 0.0);
  EXPECT_EQ(runAt(1010.0), (Lines{"late", "early"})) << "not before the next run";
}

TEST_F(Clocks, ATimerMayDropOrPutOffAnotherOne) {
  auto const first = timer("first", 1001.0);
  auto const dropped = timer("dropped", 1002.0);
  auto const putOff = timer("putOff", 1003.0);
  auto const moved = timer("moved", 1004.0);
  auto const other = make<Clock>("other");
  Ptr<Timer> added;
  first->deed = [&](Timer&) {
    dropped->zefDoZombieReactors(true);
    putOff->timeMinIs(2000.0);
    moved->notifierIs(other);
    added = timer("added", 0.0);
  };
  EXPECT_EQ(runAt(1010.0), (Lines{"first"}));
  EXPECT_EQ(runAt(1010.0), (Lines{"added"}));
  EXPECT_EQ(runAt(3000.0), (Lines{"putOff"}));
  other->run();
  EXPECT_EQ(log_, (Lines{"moved"}));
}

TEST_F(Clocks, WhatATickCausesComesBeforeTheNextTick) {
  auto const shelf = make<Depot::Shelf>("s");
  auto const keeper = make<Keeper>("keeper", log_);
  keeper->start(shelf);
  auto const a = timer("a", 1001.0);
  auto const b = timer("b", 1002.0);
  a->deed = [&](Timer&) {
    shelf->levelIs(1);
    log_.emplace_back("a ends");
  };
  EXPECT_EQ(runAt(1010.0), (Lines{"a", "a ends", "keeper level 1", "keeper done", "b"}));
}

TEST_F(Clocks, AnExceptionOutOfATickLeavesTheRestServed) {
  auto const a = timer("a", 1001.0);
  auto const b = timer("b", 1002.0);
  a->deed = [](Timer&) { throw Zef::RangeException("no"); };
  EXPECT_EQ(runAt(1010.0), (Lines{"a", "b"}));
  EXPECT_EQ(clock_->timeMin(), 1010.0 + Clock::retryInterval) << "the next tick comes";
  {
    Zef::Batch const batch;
    for (double const now : {1019.0, 1020.0}) EXPECT_EQ(runAt(now), Lines());
  }
  EXPECT_EQ(log_, (Lines{"a"}));
  EXPECT_EQ(clock_->timeMin(), 1020.0 + Clock::retryInterval) << "after one that waited too";
  a->deed = [](Timer& self) {
    self.timeMinIs(1100.0);
    throw Zef::RangeException("no");
  };
  runAt(1030.0);
  EXPECT_EQ(clock_->timeMin(), 1100.0) << "it had said when";
}

TEST_F(Clocks, SuspendedTimersRest) {
  auto const t = timer("t", 1001.0);
  t->hasNotificationActiveIs(false);
  EXPECT_EQ(clock_->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1010.0), Lines());
  t->hasNotificationActiveIs(true);
  EXPECT_EQ(clock_->timeMin(), 1001.0);
  EXPECT_EQ(runAt(1010.0), (Lines{"t"}));
  auto const weak = make<Timer>("weak", log_);
  weak->isWeakReferenceIs(true);
  weak->start(clock_);
  weak->isRegisteredNotifieeIs(false);
  EXPECT_EQ(clock_->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1010.0), Lines());
}

TEST_F(Clocks, TellTheEventLoopWhenTheNextTimerMayComeEarlier) {
  int told = 0;
  clock_->timeMinSinkIs([&] { ++told; });
  auto const t = timer("t", 1500.0);
  EXPECT_EQ(std::exchange(told, 0), 1) << "at registration";
  t->timeMinIs(1200.0);
  EXPECT_EQ(std::exchange(told, 0), 1);
  t->hasNotificationActiveIs(false);
  t->timeMinIs(1100.0);
  EXPECT_EQ(std::exchange(told, 0), 0) << "not on the list";
  t->hasNotificationActiveIs(true);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(clock_->timeMin(), 1100.0);
}

}  // namespace
