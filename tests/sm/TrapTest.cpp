// When notifications leave, on a stepped clock.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr U32 firstPort = 200001;
constexpr char operEnabled[] = "1.3.6.1.2.1.131.0.1";
constexpr char operDisabled[] = "1.3.6.1.2.1.131.0.2";
constexpr char sensorAlarm[] = "1.3.6.1.4.1.59871.3.12.0.1";

class Traps : public testing::Test {
 protected:
  static constexpr unsigned ports = 60;

  // Ends just behind a trap tick, every notification about what came gone.
  void SetUp() override {
    bench.put("fixedSystem", "FixedSystem");
    for (unsigned key = 1; key <= ports; ++key) bench.put(port(key), "Ethernet");
    bench.start();
    bench.pass(60);
    report(0, Constants::operStateUnknown);
    while (bench.root->pendingStateTrapCount() != 0) bench.pass(0.5);
    bench.sent.clear();
  }
  std::string port(unsigned key) const { return "fixedSystem.port." + std::to_string(key); }
  void report(U32 port, U32 operState) { bench.root->doAppendStateTrap(firstPort + port, operState, 4); }
  std::vector<std::string> take() {
    std::vector<std::string> taken;
    for (auto const& varbinds : std::exchange(bench.sent, {}))
      taken.push_back(varbinds.front().value + " " + std::to_string(varbinds.back().name.back()));
    return taken;
  }

  Bench bench;
};

// Random reports, changes of the configuration and pauses, against a model of queue, budget and quiet period that knows
// nothing of the code: every notification must leave at the tick, and in the order, that the model says.
TEST_F(Traps, FollowTheModelForHours) {
  double nextTick = bench.time.now() + 6;

  struct Waiting {
    U32 index;
    U32 operState;
  };
  std::deque<Waiting> queue;
  U32 stateTraps = bench.root->stateTrapCounter();
  U32 configTraps = bench.root->configTrapCounter();
  bool changed = false;
  double lastChange = 0;
  std::mt19937 random(131);
  std::vector<std::string> wanted;
  auto const tick = [&] {
    unsigned sent = 0;
    if (changed && nextTick - lastChange > 6.0) {
      wanted.push_back("1.3.6.1.2.1.47.2.0.1 0");
      changed = false;
      sent = 1;
    }
    while (!queue.empty() && sent <= 20) {
      Waiting const trap = queue.front();
      queue.pop_front();
      if (trap.operState != 2 && trap.operState != 3) continue;
      wanted.push_back((trap.operState == 3 ? operEnabled : operDisabled) + (" " + std::to_string(trap.index)));
      ++sent;
    }
    nextTick += 6;
  };
  for (int round = 0; round < 4000; ++round) {
    auto const reports = static_cast<unsigned>(random() % 8 == 0 ? random() % 60 : random() % 3);
    for (unsigned i = 0; i < reports; ++i) {
      U32 const index = firstPort + static_cast<U32>(random() % ports);
      U32 const operState = 1 + static_cast<U32>(random() % 4);
      bench.root->doAppendStateTrap(index, operState, 4);
      std::erase_if(queue, [&](Waiting const& each) { return each.index == index; });
      queue.push_back({index, operState});
    }
    if (random() % 6 == 0) {
      auto const changing = bench.part<EntityMib::Port>(port(1 + static_cast<U32>(random() % ports)));
      changing->serialNumIs(std::to_string(round).c_str());
      changed = true;
      lastChange = bench.time.now();
    }
    double const pause = static_cast<double>(1 + random() % 16) / 2;  // exact in binary, so that six seconds are six
    double const until = bench.time.now() + pause;
    while (nextTick <= until) tick();
    bench.pass(pause);
    ASSERT_EQ(take(), wanted) << "round " << round;
    for (auto const& each : wanted) each.ends_with(" 0") ? ++configTraps : ++stateTraps;
    wanted.clear();
    ASSERT_EQ(bench.root->pendingStateTrapCount(), queue.size());
  }
  EXPECT_EQ(bench.root->stateTrapCounter(), stateTraps);
  EXPECT_EQ(bench.root->configTrapCounter(), configTraps);
  EXPECT_GT(bench.root->lastTrapTimestamp() + 60, static_cast<U32>(bench.time.now()));
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
    for (auto const& varbinds : std::exchange(bench.sent, {})) {
      if (varbinds.front().value != sensorAlarm) continue;
      EXPECT_EQ(text(varbinds.at(2).name), "1.3.6.1.2.1.99.1.1.1.4.100001");
      EXPECT_EQ(varbinds.at(2).value, std::to_string(static_cast<S32>(bench.sensorMib->sensorEntity(row)->value())));
      alarms.push_back(static_cast<unsigned char>(varbinds.at(3).value.front()));
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
  bench.drop("fixedSystem.sensor.1");
  EXPECT_FALSE(isMember());
  config = bench.tempConfig->newTempSensor("TempSensor1");
  config->criticalThresholdIs(60);
  status->temperatureIs(61);
  bench.put("fixedSystem.sensor.1", "TempSensor");
  EXPECT_TRUE(isMember()) << "a new row looks for itself";
  EXPECT_THAT(at(61), ElementsAre(32));
}

}  // namespace
}  // namespace Orvane
