// The clock, under a source of time that is stepped by hand.

#include "runtime/reactors/Clock.h"

#include "tests/Support.h"
#include "tests/runtime/Keeper.h"

namespace {

using Zef::Clock;
using Zef::make;
using Zef::Ptr;

struct Timer final : Zef::Reactor<Clock> {
  Timer(char const* theWord, Lines& theLog) : word(theWord), log(theLog) {}
  std::span<Slot const> slots() const override {
    return watching<Slot{Clock::timeAttr, &Clock::NotifieeConst::onTime}>();
  }
  void onTime() override {
    if (zefOnAttribute(Clock::timeAttr, nullptr) || !alive()) return;
    log.emplace_back(word);
    if (deed) deed(*this);
  }
  char const* word;
  Lines& log;
  std::function<void(Timer&)> deed;
};

struct Clocks : testing::Test {
  Ptr<Timer> timer(char const* word, double due) {
    auto const made = make<Timer>(word, log);
    made->timeMinIs(due);
    made->start(clock);
    return made;
  }
  Lines runAt(double seconds) {
    time.seconds = seconds;
    clock->run();
    return take(log);
  }

  SteppedTime time;
  Lines log;
  Ptr<Clock> clock = make<Clock>("clock");
};

TEST_F(Clocks, FireOnceWhenTheTimeIsReached) {
  auto const t = make<Timer>("t", log);
  t->start(clock);
  EXPECT_EQ(clock->timeMin(), 0.0) << "a fresh one is due at once";
  EXPECT_EQ(runAt(1000), (Lines{"t"}));
  EXPECT_EQ(clock->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1e9), Lines());
  t->timeMinIs(1e9 + 6.0);
  EXPECT_EQ(runAt(1e9 + 5.999), Lines());
  EXPECT_EQ(runAt(1e9 + 6.0), (Lines{"t"}));
}

TEST_F(Clocks, EachFiresOnceInTheOrderOfItsDueTime) {
  auto const late = timer("late", 1005.0);
  auto const early = timer("early", 1003.0);
  auto const same = timer("same", 1005.0);
  auto const future = timer("future", 1011.0);
  for (auto const& t : {late, early}) t->deed = [](Timer& self) { self.timeMinIs(0.0); };  // due again already
  EXPECT_EQ(runAt(1010.0), (Lines{"early", "late", "same"}));
  EXPECT_EQ(clock->timeMin(), 0.0);
  EXPECT_EQ(runAt(1010.0), (Lines{"late", "early"})) << "not before the next run";
}

TEST_F(Clocks, ATickAndWhatItCausesComeBeforeTheNextTick) {
  auto const first = timer("first", 1001.0);
  auto const dropped = timer("dropped", 1002.0);
  auto const putOff = timer("putOff", 1003.0);
  auto const moved = timer("moved", 1004.0);
  auto const last = timer("last", 1005.0);
  auto const other = make<Clock>("other");
  auto const caused = make<Timer>("caused", log);
  caused->start(other);
  Ptr<Timer> added;
  first->deed = [&](Timer&) {
    dropped->zefDoZombieReactors(true);
    putOff->timeMinIs(2000.0);
    other->run();
    moved->notifierIs(other);
    added = timer("added", 0.0);
    log.emplace_back("first ends");
  };
  EXPECT_EQ(runAt(1010.0), (Lines{"first", "first ends", "caused", "last"}));
  EXPECT_EQ(runAt(1010.0), (Lines{"added"}));
  EXPECT_EQ(runAt(3000.0), (Lines{"putOff"}));
  other->run();
  EXPECT_EQ(log, (Lines{"moved"}));
}

TEST_F(Clocks, OneThatThrowsIsDueAgainAndTheRestIsServed) {
  auto const a = timer("a", 1001.0);
  auto const b = timer("b", 1002.0);
  a->deed = [](Timer&) { throw Zef::RangeException("no"); };
  EXPECT_EQ(runAt(1010.0), (Lines{"a", "b"}));
  EXPECT_EQ(clock->timeMin(), 1010.0 + Clock::retryInterval);
  {
    Zef::Batch const batch;
    for (double const now : {1019.0, 1020.0}) EXPECT_EQ(runAt(now), Lines());
  }
  EXPECT_EQ(take(log), (Lines{"a"}));
  EXPECT_EQ(clock->timeMin(), 1020.0 + Clock::retryInterval) << "after one that waited too";
  a->deed = [](Timer& self) {
    self.timeMinIs(1100.0);
    throw Zef::RangeException("no");
  };
  runAt(1030.0);
  EXPECT_EQ(clock->timeMin(), 1100.0) << "it had said when";
}

// A weak one stays on the list of notifiees.
TEST_F(Clocks, SuspendedTimersRestAndTheEventLoopIsToldOfEarlierOnes) {
  int told = 0;
  clock->timeMinSinkIs([&] { ++told; });
  auto const t = timer("t", 1500.0);
  EXPECT_EQ(std::exchange(told, 0), 1) << "at registration";
  t->timeMinIs(1200.0);
  EXPECT_EQ(std::exchange(told, 0), 1);
  t->isWeakReferenceIs(true);
  t->hasNotificationActiveIs(false);
  t->timeMinIs(1001.0);
  EXPECT_EQ(clock->timeMin(), Clock::never);
  EXPECT_EQ(runAt(1010.0), Lines());
  EXPECT_EQ(std::exchange(told, 0), 0);
  t->hasNotificationActiveIs(true);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(clock->timeMin(), 1001.0);
  EXPECT_EQ(runAt(1010.0), (Lines{"t"}));
}

}  // namespace
