// When notifications leave, on a stepped clock.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <random>

#include "platform/agent/Config.h"
#include "runtime/kit/Trace.h"
#include "runtime/reflection/ActivityManagerConfig.h"
#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::ParentIndex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr U32 firstPort = 200001;

class Traps : public testing::Test {
 protected:
  // A switch with so many ports, every notification about its coming gone.
  void startWith(unsigned ports) {
    bench.start();
    {
      Zef::Batch const batch;
      auto const system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
      for (unsigned key = 1; key <= ports; ++key) {
        publish([&] { return system->newPort(ParentIndex(key)); }, "Ethernet", std::to_string(key).c_str());
      }
      bench.status->fixedSystemIs(system);
    }
    bench.pass(60);
    bench.notifications.take();
  }
  // To just behind a trap tick.
  void passTick() {
    U32 const before = ticks();
    while (ticks() == before) bench.pass(0.5);
  }
  void report(U32 port, U32 operState) { bench.root->doAppendStateTrap(firstPort + port, operState, 4); }
  std::vector<U32> takeIndexes() {
    std::vector<U32> indexes;
    for (auto const& sent : bench.notifications.take()) indexes.push_back(sent.index);
    return indexes;
  }
  U32 ticks() {
    auto const lines = tracing.take();
    count += static_cast<U32>(std::count_if(lines.begin(), lines.end(), [](std::string const& line) {
      return line.find("##########StateTrapCount:") != std::string::npos;
    }));
    return count;
  }

  Bench bench;
  Tracing tracing{1U << 9U};
  U32 count = 0;
};

TEST_F(Traps, LeaveInOrderAndAtMost21ATick) {
  startWith(40);
  passTick();
  for (U32 port = 0; port < 25; ++port) report(port, 3);
  passTick();
  auto const first = takeIndexes();
  ASSERT_EQ(first.size(), 21U);
  EXPECT_TRUE(std::is_sorted(first.begin(), first.end()));
  EXPECT_EQ(first.front(), firstPort);
  passTick();
  EXPECT_THAT(takeIndexes(), ElementsAre(firstPort + 21, firstPort + 22, firstPort + 23, firstPort + 24));
  EXPECT_EQ(bench.root->stateTrapCounter(), 25U);
  EXPECT_EQ(bench.root->lastStateTrap()->index(), firstPort + 24);

  // States without a notification are consumed, and do not count.
  for (U32 port = 0; port < 40; ++port) report(port, port < 10 ? 1 : 2);
  passTick();
  EXPECT_EQ(takeIndexes().size(), 21U);
  EXPECT_EQ(bench.root->pendingStateTrapCount(), 9U);
  EXPECT_EQ(bench.root->stateTrapCounter(), 46U);
}

TEST_F(Traps, SpeakOfARowOnceWithItsLastState) {
  startWith(3);
  passTick();
  report(0, 3);
  report(1, 3);
  report(0, 2);
  EXPECT_EQ(bench.root->pendingStateTrapMetadata().next - bench.root->pendingStateTrapMetadata().head, 2U);
  passTick();
  auto const sent = bench.notifications.take();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].name, "entStateOperEnabled");
  EXPECT_EQ(sent[0].index, firstPort + 1);
  EXPECT_EQ(sent[1].name, "entStateOperDisabled");
  EXPECT_THAT(sent[1].varbinds,
              ElementsAre("1.3.6.1.2.1.131.1.1.1.2.200001 2 4", "1.3.6.1.2.1.131.1.1.1.5.200001 4 \x80",
                          "1.3.6.1.2.1.47.1.1.1.1.2.200001 4 Ethernet 1"));
  EXPECT_DEATH(bench.root->doAppendStateTrap(999999, 3, 4), "physEntity");
}

TEST_F(Traps, ATickWithinABatchComesAtItsEnd) {
  startWith(1);
  passTick();
  report(0, 3);
  {
    Zef::Batch const batch;
    bench.pass(60);
    EXPECT_THAT(takeIndexes(), IsEmpty());
  }
  EXPECT_THAT(takeIndexes(), ElementsAre(firstPort));
}

// entConfigChange waits for more than six quiet seconds, goes first, and takes one place of the tick.
TEST_F(Traps, AnnounceTheConfigurationFirstOnceItIsQuiet) {
  startWith(30);
  passTick();
  bench.system().port(ParentIndex(1))->serialNumIs("x");  // half a second or less behind a tick
  double const changed = bench.time.now();
  for (U32 port = 0; port < 25; ++port) report(port, 3);
  passTick();  // less than six seconds later: not due
  EXPECT_THAT(bench.notifications.take(), testing::Each(testing::Field(&Sent::name, "entStateOperEnabled")));
  for (U32 port = 0; port < 25; ++port) report(port, 3);
  passTick();
  auto const sent = bench.notifications.take();
  ASSERT_EQ(sent.size(), 21U);
  EXPECT_EQ(sent[0].name, "entConfigChange");
  EXPECT_THAT(sent[0].varbinds, IsEmpty());
  EXPECT_GT(sent[0].time, changed + 6);
  EXPECT_LE(sent[0].time, changed + 12);
  EXPECT_EQ(bench.root->pendingStateTrapCount(), 5U);
  EXPECT_EQ(bench.root->configTrapCounter(), 2U);
  EXPECT_FALSE(bench.root->configTrapFlag());
}

// At a cold start every row with a status asks for a notification; they trail out over many ticks.
TEST_F(Traps, TrailOutAfterAColdStart) {
  constexpr unsigned ports = 500;
  {
    auto const system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
    for (unsigned key = 1; key <= ports; ++key) {
      std::string const label = std::to_string(key);
      publish([&] { return system->newPort(ParentIndex(key)); }, "Ethernet", label.c_str());
      bench.intfStatusDir->newIntfStatus(Morvet::IntfId(Zef::String8("Ethernet") + label.c_str()))
          ->operStatusIs(Interface::IntfOperStatus::up);
    }
    bench.status->fixedSystemIs(system);
  }
  bench.start();
  std::vector<U32> order;
  for (auto at = bench.root->pendingStateTrapIteratorConst(); at; ++at) order.push_back(at->index());
  ASSERT_EQ(order.size(), ports);
  std::map<double, std::vector<Sent>> ticksTaken;
  bench.pass(200);
  for (Sent const& sent : bench.notifications.take()) ticksTaken[sent.time].push_back(sent);
  std::vector<U32> left;
  double configTime = 0;
  for (auto const& [time, sent] : ticksTaken) {
    EXPECT_LE(sent.size(), 21U) << time;
    for (Sent const& each : sent) {
      if (each.name == "entConfigChange") {
        EXPECT_EQ(&each, sent.data()) << "the first of its tick";
        configTime = time;
      } else {
        left.push_back(each.index);
      }
    }
  }
  EXPECT_EQ(left, order);
  EXPECT_EQ(configTime, 1000.0 + 12) << "six seconds is not yet more than six seconds";
  EXPECT_EQ(ticksTaken.size(), 24U) << "501 notifications";
  EXPECT_EQ(bench.root->lastTrapTimestamp(), static_cast<U32>(ticksTaken.rbegin()->first));
}

TEST_F(Traps, ADisabledNotificationStaysAwayAndSaysWhy) {
  startWith(1);
  Snmp::theConfig()->notificationConfig("entity")->notification("entStateOperEnabled")->reasonIs("not wanted");
  Zef::TraceHandle::levelsIs("Snmp", 1U << 4U);
  passTick();
  report(0, 3);
  tracing.take();
  bench.pass(6);
  EXPECT_THAT(tracing.take(),
              testing::Contains(
                  HasSubstr("entStateOperEnabled notification not sent. notificationStatus returned not wanted")));
  EXPECT_THAT(takeIndexes(), IsEmpty());
  // It counts as made: nothing is tried again.
  EXPECT_EQ(bench.root->pendingStateTrapCount(), 0U);
  Zef::TraceHandle::levelsIs("Snmp", 0);
}

// Random reports, changes of the configuration and pauses, against a model of queue, budget and quiet period that knows
// nothing of the code: every notification must leave at the tick, and in the order, that the model says.
TEST_F(Traps, FollowTheModelForHours) {
  startWith(60);
  passTick();
  double nextTick = Zef::processClock()->timeMin();  // whichever timer; the traps' is found at its first tick
  while (true) {
    U32 const before = ticks();
    bench.pass(nextTick - bench.time.now());
    if (ticks() != before) break;
    nextTick = Zef::processClock()->timeMin();
  }
  nextTick = bench.time.now() + 6;
  bench.notifications.take();

  struct Waiting {
    U32 index;
    U32 operState;
  };
  std::deque<Waiting> queue;
  bool changed = false;
  double lastChange = 0;
  std::mt19937 random(131);
  std::vector<std::string> wanted;
  auto const tick = [&] {
    unsigned sent = 0;
    if (changed && nextTick - lastChange > 6.0) {
      wanted.push_back("entConfigChange 0");
      changed = false;
      sent = 1;
    }
    while (!queue.empty() && sent <= 20) {
      Waiting const trap = queue.front();
      queue.pop_front();
      if (trap.operState != 2 && trap.operState != 3) continue;
      wanted.push_back((trap.operState == 3 ? "entStateOperEnabled " : "entStateOperDisabled ") +
                       std::to_string(trap.index));
      ++sent;
    }
    nextTick += 6;
  };
  for (int round = 0; round < 4000; ++round) {
    auto const reports = static_cast<unsigned>(random() % 8 == 0 ? random() % 60 : random() % 3);
    for (unsigned i = 0; i < reports; ++i) {
      U32 const index = firstPort + static_cast<U32>(random() % 60);
      U32 const operState = 1 + static_cast<U32>(random() % 4);
      bench.root->doAppendStateTrap(index, operState, 4);
      std::erase_if(queue, [&](Waiting const& each) { return each.index == index; });
      queue.push_back({index, operState});
    }
    if (random() % 6 == 0) {
      bench.system().port(ParentIndex(1 + static_cast<U32>(random() % 60)))->serialNumIs(std::to_string(round).c_str());
      changed = true;
      lastChange = bench.time.now();
    }
    double const pause = static_cast<double>(1 + random() % 16) / 2;  // exact in binary, so that six seconds are six
    double const until = bench.time.now() + pause;
    while (nextTick <= until) tick();
    bench.pass(pause);
    std::vector<std::string> sent;
    for (auto const& each : bench.notifications.take()) sent.push_back(each.name + " " + std::to_string(each.index));
    ASSERT_EQ(sent, wanted) << "round " << round;
    wanted.clear();
    ASSERT_EQ(bench.root->pendingStateTrapCount(), queue.size());
  }
}

// Alarms.

class Alarms : public testing::Test {
 protected:
  static constexpr U32 row = 100001;

  void SetUp() override {
    bench.publishSystem();
    bench.start();
    config = bench.tempConfig->newTempSensor("TempSensor1");
    config->overheatThresholdIs(80);
    config->criticalThresholdIs(90);
    status = bench.tempStatus->newTempSensor("TempSensor1");
    status->hwStatusIs(Environment::Temperature::TempSensorStatus::HwStatus::ok);
    // A configuration that comes as a whole does not make the sensor a member: a changed threshold does.
    config->criticalThresholdIs(95);
    bench.pass(6);
    EXPECT_THAT(take(), IsEmpty()) << "a first pass that is healthy is silent";
  }
  // What the next sensor ticks announce at that temperature: the alarm bits of each notification.
  std::vector<int> at(float temperature) {
    status->temperatureIs(temperature);
    bench.pass(5);
    return take();
  }
  std::vector<int> take() {
    std::vector<int> alarms;
    for (auto const& sent : bench.notifications.take()) {
      if (sent.name != "kelvraEntSensorAlarm") continue;
      EXPECT_EQ(sent.varbinds.size(), 3U);
      EXPECT_EQ(sent.varbinds[1], "1.3.6.1.2.1.99.1.1.1.4.100001 2 " +
                                      std::to_string(static_cast<S32>(bench.sensorMib->sensorEntity(row)->value())));
      alarms.push_back(static_cast<unsigned char>(sent.varbinds[2].back()));
    }
    return alarms;
  }
  int alarmStatus() const { return bench.stateMib->stateEntity(row)->alarmStatus(); }

  Bench bench;
  Zef::Ptr<Environment::Temperature::TempSensorConfig> config;
  Zef::Ptr<Environment::Temperature::TempSensorStatus> status;
};

TEST_F(Alarms, AnnounceEachCrossingOnce) {
  EXPECT_EQ(alarmStatus(), 0) << "the first pass was healthy, and silent";
  auto const changed = bench.stateOf(row);
  struct {
    float temperature;
    std::vector<int> announced;
    int status;
  } const steps[] = {
      {80, {}, 0},        // on a threshold is within it
      {80.1F, {4}, 4},    // warning
      {81, {}, 4},        // still
      {95, {}, 4},        // on the critical one
      {95.1F, {32}, 32},  // critical
      {79, {0}, 0},       // straight back
      {120, {32}, 32},    // and straight up
      {85, {4}, 4},       // down by one
      {20, {0}, 0},
  };
  for (auto const& [temperature, announced, bits] : steps) {
    EXPECT_EQ(at(temperature), announced) << temperature;
    EXPECT_EQ(alarmStatus(), bits) << temperature;
  }
  EXPECT_EQ(bench.stateOf(row), changed) << "an alarm is no change of state";
}

TEST_F(Alarms, ComeAndGoWithTheThresholds) {
  auto const isMember = [&] { return static_cast<bool>(bench.sensorMib->thresholdEntity(row)); };
  EXPECT_TRUE(isMember());
  at(100);
  EXPECT_EQ(alarmStatus(), 32);
  config->overheatThresholdIs(100000000);
  EXPECT_TRUE(isMember()) << "one is left";
  config->criticalThresholdIs(100000000);
  EXPECT_FALSE(isMember());
  EXPECT_THAT(at(20), IsEmpty());
  EXPECT_EQ(alarmStatus(), 32) << "nobody looks any more";
  config->overheatThresholdIs(50);
  EXPECT_TRUE(isMember());
  EXPECT_THAT(at(20), ElementsAre(0));
  // A configuration that goes, or comes, as a whole changes nothing by itself.
  bench.tempConfig->tempSensorDel("TempSensor1");
  EXPECT_TRUE(isMember());
  // A first pass at a critical value is announced.
  bench.system().sensorDel(ParentIndex(1));
  EXPECT_FALSE(isMember());
  config = bench.tempConfig->newTempSensor("TempSensor1");
  config->criticalThresholdIs(60);
  status->temperatureIs(61);
  publish([&] { return bench.system().newSensor(ParentIndex(1)); }, "TempSensor", "1");
  EXPECT_TRUE(isMember()) << "a new row looks for itself";
  EXPECT_THAT(at(61), ElementsAre(32));
}

TEST_F(Alarms, KeepThePeriodThatTheyAreGiven) {
  bench.root->entitySm()->sensorPollIntervalIs(0.5);
  bench.pass(5);
  take();
  status->temperatureIs(100);
  bench.pass(0.5);
  EXPECT_THAT(take(), ElementsAre(32));
}

}  // namespace
}  // namespace Orvane
