// The clock, under a source of time that is stepped by hand.

#include "runtime/Clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Reactor.h"
#include "tests/Support.h"
#include "tests/runtime/Depot.h"

namespace {

using Zef::Clock;
using Zef::make;
using Zef::Ptr;
using Lines = std::vector<std::string>;

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
    static Slot const all[] = {{Clock::timeAttr, &Clock::NotifieeConst::onTime}};
    return all;
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
    return std::exchange(log_, {});
  }

  SteppedTime time_;
  Lines log_;
  Ptr<Clock> clock_ = make<Clock>("clock");
};

TEST_F(Clocks, ReadTheTimeAnew) {
  EXPECT_EQ(clock_->time(), 1000.0);
  time_.seconds = 1000.25;
  EXPECT_EQ(clock_->time(), 1000.25);
  EXPECT_EQ(Zef::System::currentTime(), 1000.25);
  EXPECT_EQ(Zef::System::currentTimeUtc(), 1.0e9 + 1000.25);
  Zef::System::timeSourceIs(nullptr);
  double const machine = Zef::System::currentTime();
  EXPECT_GE(Zef::System::currentTime(), machine);
  EXPECT_GT(Zef::System::currentTimeUtc(), 1.7e9);
}

TEST_F(Clocks, AFreshTimerIsDueAtOnceAndThenNotAgain) {
  auto const fresh = make<Timer>("t", log_);
  fresh->start(clock_);
  EXPECT_EQ(clock_->timeMin(), 0.0);
  EXPECT_EQ(log_, Lines()) << "not at birth";
  EXPECT_EQ(runAt(1000), (Lines{"t"}));
  EXPECT_EQ(clock_->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1e9), Lines());
}

TEST_F(Clocks, FireWhenTheTimeIsReached) {
  auto const t = timer("t", 1006.0);
  EXPECT_EQ(clock_->timeMin(), 1006.0);
  EXPECT_EQ(runAt(1005.999), Lines());
  EXPECT_EQ(runAt(1006.0), (Lines{"t"}));
  t->timeMinIs(Clock::never);
  EXPECT_EQ(runAt(1e18), Lines());
  t->timeMinIs(0.0);
  EXPECT_EQ(runAt(1e18), (Lines{"t"}));
}

TEST_F(Clocks, HoursPassInATest) {
  auto const tick = timer("six", 0.0);
  int early = 0;
  double last = 0.0;
  tick->deed = [&](Timer& self) {
    if (time_.seconds - last < 6.0) ++early;
    last = time_.seconds;
    self.timeMinIs(clock_->time() + 6.0);
  };
  std::size_t ticks = 0;
  for (int quarters = 0; quarters < 10 * 3600 * 4; ++quarters) ticks += runAt(1000.0 + quarters * 0.25).size();
  EXPECT_EQ(ticks, 10U * 600U);
  EXPECT_EQ(early, 0);
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
  class Watcher final : public Zef::Reactor<Depot::Shelf> {
   public:
    explicit Watcher(Lines& log) : log_(log) {}
    std::span<Slot const> slots() const override {
      static Slot const all[] = {{Depot::Shelf::levelAttr, &Depot::Shelf::NotifieeConst::onLevel}};
      return all;
    }
    void onLevel() override {
      if (!zefOnAttribute(Depot::Shelf::levelAttr, nullptr)) log_.emplace_back("level");
    }

   private:
    Lines& log_;
  };
  auto const shelf = make<Depot::Shelf>("s");
  auto const watcher = make<Watcher>(log_);
  watcher->start(shelf);
  auto const a = timer("a", 1001.0);
  auto const b = timer("b", 1002.0);
  a->deed = [&](Timer&) {
    shelf->levelIs(1);
    log_.emplace_back("a ends");
  };
  EXPECT_EQ(runAt(1010.0), (Lines{"a", "a ends", "level", "b"}));
}

TEST_F(Clocks, AnExceptionOutOfATickLeavesTheRestServed) {
  auto const a = timer("a", 1001.0);
  auto const b = timer("b", 1002.0);
  a->deed = [](Timer&) { throw Zef::RangeException("no"); };
  EXPECT_EQ(runAt(1010.0), (Lines{"a", "b"}));
  EXPECT_EQ(clock_->timeMin(), 1010.0 + Clock::retryInterval) << "the next tick comes";
  {
    Zef::Batch const batch;
    EXPECT_EQ(runAt(1020.0), Lines());
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

TEST_F(Clocks, ATickWithinABatchComesAtItsEnd) {
  auto const t = timer("t", 1001.0);
  {
    Zef::Batch const batch;
    EXPECT_EQ(runAt(1010.0), Lines());
    EXPECT_EQ(runAt(1020.0), Lines());
  }
  EXPECT_EQ(log_, (Lines{"t"}));
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
