// Status records, and what they do to sensors and states.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::ParentIndex;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using FanStatus = Environment::Cooling::FanStatus;
using VoltageStatus = Environment::Power::VoltageRailStatus;
using CurrentStatus = Environment::Power::CurrentSensorStatus;
using SupplyStatus = Environment::Power::SupplyStatus;
using TempStatus = Environment::Temperature::TempSensorStatus;

constexpr U32 tempSensor = 100001;
constexpr U32 currentSensor = 100002;
constexpr U32 trayFan = 1021100;
constexpr U32 trayFanSensor = 1021101;
constexpr U32 supply = 2010001;
constexpr U32 voltageSensor = 2010101;

class StatusRecords : public testing::Test {
 protected:
  void SetUp() override {
    bench.publishSystem();
    publish([&] { return bench.system().newSensor(ParentIndex(2)); }, "CurrentSensor", "2");
    bench.start();
    drain();
    bench.time.step(100);
  }
  void TearDown() override { EXPECT_THAT(bench.disagreements(), IsEmpty()); }

  // The rows of the notifications that wait, in order; forgets them.
  std::vector<U32> drain() {
    std::vector<U32> waiting;
    while (auto const trap = bench.root->pendingStateTrapDeq()) waiting.push_back(trap->index());
    return waiting;
  }
  template <class T>
  T& sensor(U32 index) {
    return dynamic_cast<T&>(*bench.sensorMib->sensorEntity(index));
  }

  Bench bench;
};

// One kind of record: how it comes, changes and goes, the row that its notification speaks of, the rows that it writes.
struct Kind {
  char const* name;
  std::function<void(Bench&)> come;
  std::function<void(Bench&, U32 status)> change;
  std::function<void(Bench&)> go;
  U32 notified;
  std::vector<U32> written;
  bool stampedWhenBound;
  std::vector<std::string> states;  // by the number of the status, from 0
};

std::vector<std::string> const hwStates{"1,1", "3,4", "2,2", "2,2"};

Kind const kinds[] = {
    {"temperature",
     [](Bench& b) { b.tempStatus->newTempSensor("TempSensor1"); },
     [](Bench& b, U32 s) { b.tempStatus->tempSensor("TempSensor1")->hwStatusIs(TempStatus::HwStatus(s)); },
     [](Bench& b) { b.tempStatus->tempSensorDel("TempSensor1"); },
     tempSensor,
     {tempSensor},
     true,
     hwStates},
    {"voltage",
     [](Bench& b) { b.powerStatus->newVoltageSensor("VoltageSensorP1/1"); },
     [](Bench& b, U32 s) { b.powerStatus->voltageSensor("VoltageSensorP1/1")->hwStatusIs(VoltageStatus::HwStatus(s)); },
     [](Bench& b) { b.powerStatus->voltageSensorDel("VoltageSensorP1/1"); },
     voltageSensor,
     {voltageSensor},
     true,
     hwStates},
    {"current",
     [](Bench& b) { b.powerStatus->newCurrentSensor("CurrentSensor2"); },
     [](Bench& b, U32 s) { b.powerStatus->currentSensor("CurrentSensor2")->hwStatusIs(CurrentStatus::HwStatus(s)); },
     [](Bench& b) { b.powerStatus->currentSensorDel("CurrentSensor2"); },
     currentSensor,
     {currentSensor},
     false,
     hwStates},
    {"fan",
     [](Bench& b) { b.coolingStatus->newFan("Fan2/1"); },
     [](Bench& b, U32 s) { b.coolingStatus->fan("Fan2/1")->hwStatusIs(FanStatus::HwStatus(s)); },
     [](Bench& b) { b.coolingStatus->fanDel("Fan2/1"); },
     trayFan,
     {trayFanSensor, trayFan},
     true,
     hwStates},
    {"supply by number",
     [](Bench& b) { b.powerStatus->newPowerSupply("PowerSupply1"); },
     [](Bench& b, U32 s) { b.powerStatus->powerSupply("PowerSupply1")->stateIs(SupplyStatus::State(s)); },
     [](Bench& b) { b.powerStatus->powerSupplyDel("PowerSupply1"); },
     supply,
     {supply},
     true,
     {"1,1", "2,2", "2,2", "3,4", "2,2"}},
    {"supply by slot",
     [](Bench& b) { b.powerStatus->newPowerSupply("PowerSupplyP1/1"); },
     [](Bench& b, U32 s) { b.powerStatus->powerSupply("PowerSupplyP1/1")->stateIs(SupplyStatus::State(s)); },
     [](Bench& b) { b.powerStatus->powerSupplyDel("PowerSupplyP1/1"); },
     supply,
     {supply},
     true,
     {"1,1", "2,2", "2,2", "3,4", "2,2"}},
};

TEST_F(StatusRecords, WriteTheirRowsAndAskForOneNotification) {
  for (Kind const& kind : kinds) {
    SCOPED_TRACE(kind.name);
    auto const stamped = [&](U32 status, bool now, long before) {
      return kind.states[status] + " at " + std::to_string(now ? static_cast<long>(bench.time.now()) : before);
    };
    std::string const first = bench.stateOf(kind.written[0]);
    long const before = std::stol(first.substr(first.rfind(' ') + 1));
    kind.come(bench);
    EXPECT_THAT(drain(), ElementsAre(kind.notified));
    for (U32 row : kind.written) EXPECT_EQ(bench.stateOf(row), stamped(0, kind.stampedWhenBound, before)) << row;
    for (U32 status = 1; status != kind.states.size(); ++status) {
      bench.time.step(10);
      kind.change(bench, status);
      EXPECT_THAT(drain(), ElementsAre(kind.notified));
      for (U32 row : kind.written) EXPECT_EQ(bench.stateOf(row), stamped(status, true, 0)) << row;
    }
    // A record that goes leaves the state as it was.
    std::string const last = bench.stateOf(kind.written[0]);
    bench.time.step(10);
    kind.go(bench);
    EXPECT_THAT(drain(), IsEmpty());
    EXPECT_EQ(bench.stateOf(kind.written[0]), last);
  }
}

TEST_F(StatusRecords, BindTheSensorWhicheverComesFirst) {
  auto const record = bench.tempStatus->newTempSensor("TempSensor1");
  auto const config = bench.tempConfig->newTempSensor("TempSensor1");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), record);
  EXPECT_FALSE(sensor<TemperatureSensor>(tempSensor).configData()) << "it came behind the record";
  bench.system().sensorDel(ParentIndex(1));
  publish([&] { return bench.system().newSensor(ParentIndex(1)); }, "TempSensor", "1");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), record);
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).configData(), config);
  bench.tempStatus->tempSensorDel("TempSensor1");
  EXPECT_FALSE(sensor<TemperatureSensor>(tempSensor).status());

  auto const rail = bench.powerConfig->newVoltageSensor("VoltageSensorP1/1");
  bench.powerStatus->newVoltageSensor("VoltageSensorP1/1");
  EXPECT_EQ(sensor<VoltageSensor>(voltageSensor).configData(), rail);

  // A fan's sensor goes by the fan's name, in the tray and in the supply.
  auto const fan = bench.coolingStatus->newFan("FanP1/1");
  EXPECT_EQ(sensor<FanSensor>(2011101).status(), fan);
  auto const tray = bench.system().fanTraySlot(ParentIndex(2))->fanTray();
  auto const early = bench.coolingStatus->newFan("Fan2/7");
  auto const part = publish([&] { return tray->newFan(ParentIndex(7)); }, "Fan", "7");
  publish([&] { return part->newSensor(ParentIndex(1)); }, "FanSensor", "7");
  EXPECT_EQ(sensor<FanSensor>(1021701).status(), early);

  // A record that is replaced by another of its name.
  bench.coolingStatus->fanDel("Fan2/7");
  auto const next = bench.coolingStatus->newFan("Fan2/7");
  EXPECT_EQ(sensor<FanSensor>(1021701).status(), next);
  next->hwStatusIs(FanStatus::HwStatus::ok);
  EXPECT_THAT(bench.stateOf(1021700), HasSubstr("3,4"));
}

TEST_F(StatusRecords, RebindUnderANewLabel) {
  auto const one = bench.tempStatus->newTempSensor("TempSensor1");
  auto const nine = bench.tempStatus->newTempSensor("TempSensor9");
  bench.system().sensor(ParentIndex(1))->labelIs("9");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), nine);
  bench.system().sensor(ParentIndex(1))->labelIs("1");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), one);
  // A fan sensor's label: the record is still found by the fan that holds it, under the name that its sensor must have.
  auto const fan = bench.coolingStatus->newFan("Fan2/1");
  sensor<FanSensor>(trayFanSensor).statusIs(nullptr);
  bench.root->updateSensorStatus("FanSensor2/1");
  EXPECT_EQ(sensor<FanSensor>(trayFanSensor).status(), fan);
}

TEST_F(StatusRecords, TellWhatHasNoPartnerAndChangeNothing) {
  Tracing tracing{1};
  auto const rows = bench.rows();
  struct {
    std::function<void()> publish;
    char const* told;
  } const cases[] = {
      {[&] { bench.tempStatus->newTempSensor("TempSensor77"); }, "Cannot find physical entity for TempSensor77"},
      {[&] { bench.tempStatus->tempSensor("TempSensor77")->hwStatusIs(TempStatus::HwStatus::ok); },
       "Cannot find physical entity for TempSensor77"},
      {[&] { bench.powerStatus->newVoltageSensor("Volt"); }, "Cannot find physical entity for Volt"},
      {[&] { bench.powerStatus->newCurrentSensor("Amp"); }, "Cannot find physical entity for Amp"},
      {[&] { bench.coolingStatus->newFan("Fan9/9"); }, "Cannot find physical entity for FanSensor9/9"},
      {[&] { bench.powerStatus->newPowerSupply("PowerSupply8"); }, "Cannot find power supply for PowerSupply8"},
      {[&] { bench.powerStatus->newPowerSupply("Supply1"); }, "Cannot find power supply for Supply1"},
      {[&] { bench.cardStatus->newCardStatus("Linecard3"); }, "Cannot find physical entity for Linecard3"},
      {[&] { bench.tempStatus->newTempSensor("CurrentSensor2"); }, "Sensor is not TemperatureSensor "},
      {[&] { bench.tempStatus->newTempSensor("Chip1"); }, "Sensor is not TemperatureSensor "},
      {[&] { bench.tempConfig->newTempSensor("TempSensor77")->criticalThresholdIs(3); },
       "Cannot find physical entity for TempSensor77"},
      {[&] {
         bench.tempStatus->newTempSensor("TempSensor1");
         bench.stateMib->stateEntityDel(tempSensor);
         bench.tempStatus->tempSensor("TempSensor1")->hwStatusIs(TempStatus::HwStatus::ok);
         bench.stateMib->stateEntityIs(tempSensor);
       },
       "Cannot find State entity for TempSensor1"},
  };
  for (auto const& [publish, told] : cases) {
    tracing.take();
    publish();
    EXPECT_THAT(tracing.take(), Contains(HasSubstr(told)));
  }
  EXPECT_EQ(bench.rows(), rows);
}

// Readings are read where they stand: a change of one is no work here.
TEST_F(StatusRecords, AReadingCausesNoReaction) {
  auto const temperature = bench.tempStatus->newTempSensor("TempSensor1");
  auto const fan = bench.coolingStatus->newFan("Fan2/1");
  auto const rail = bench.powerStatus->newVoltageSensor("VoltageSensorP1/1");
  temperature->hwStatusIs(TempStatus::HwStatus::ok);
  drain();
  auto const state = bench.stateOf(tempSensor);
  Tracing tracing{0x3ff};
  for (int i = 0; i < 10000; ++i) {
    temperature->temperatureIs(static_cast<float>(i));
    fan->speedIs(static_cast<float>(i % 100));
    rail->voltageIs(static_cast<float>(i % 13));
  }
  EXPECT_THAT(tracing.take(), IsEmpty());
  EXPECT_THAT(drain(), IsEmpty());
  EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 0U);
  EXPECT_EQ(bench.stateOf(tempSensor), state);
  EXPECT_EQ(static_cast<S32>(sensor<TemperatureSensor>(tempSensor).value()), 99990);
}

TEST_F(StatusRecords, AreFoundByReactorsThatStartLater) {
  bench.coolingStatus->newFan("Fan2/1")->hwStatusIs(FanStatus::HwStatus::ok);
  bench.powerStatus->newPowerSupply("PowerSupply1")->stateIs(SupplyStatus::State::ok);
  bench.tempStatus->newTempSensor("TempSensor1")->hwStatusIs(TempStatus::HwStatus::failed);
  bench.tempConfig->newTempSensor("TempSensor1")->criticalThresholdIs(90);
  bench.root = rootFactory("again");
  bench.entityMib = orvaneEntityMibFactory("entitymib");
  bench.stateMib = orvaneStateMibFactory("entitystatemib");
  bench.sensorMib = orvaneSensorMibFactory("entitysensormib");
  bench.start();
  EXPECT_THAT(bench.stateOf(trayFan), HasSubstr("3,4"));
  EXPECT_THAT(bench.stateOf(supply), HasSubstr("3,4"));
  EXPECT_THAT(bench.stateOf(tempSensor), HasSubstr("2,2"));
  EXPECT_TRUE(bench.sensorMib->thresholdEntity(tempSensor));
  // Reactors with unchanged inputs are kept, others replaced.
  auto const fans = bench.root->fanStatusSm();
  auto const temperatures = bench.root->tempStatusSm();
  bench.root->tempConfigIs(nullptr);
  bench.root->handleInitialized();
  EXPECT_EQ(bench.root->fanStatusSm(), fans);
  EXPECT_NE(bench.root->tempStatusSm(), temperatures);
  EXPECT_FALSE(bench.root->initialized());
  EXPECT_FALSE(bench.root->redundancySm());
}

TEST_F(StatusRecords, ANullRecordIsRefused) {
  auto const refusal = [](auto const& call) -> std::string {
    try {
      call();
    } catch (Zef::RangeException const& error) {
      return error.what();
    }
    return "taken";
  };
  EXPECT_EQ(refusal([&] { bench.root->fanStatusSm()->fanStatusIs(nullptr); }),
            "null _fanStatus parameter to mutator for Orvane::FanSensorStatusSm::fanStatus not allowed\"");
  EXPECT_EQ(refusal([&] { bench.root->intfStatusSm()->intfConfigIs(nullptr); }),
            "null _intfConfig parameter to mutator for Orvane::IntfSensorStatusSm::intfConfig not allowed\"");
  EXPECT_EQ(
      refusal([&] { bench.root->tempThresholdSm()->thresholdConfigIs(nullptr); }),
      "null _thresholdConfig parameter to mutator for Orvane::TempSensorThresholdSm::thresholdConfig not allowed\"");
}

// Interfaces.

class Interfaces : public StatusRecords {
 protected:
  static constexpr U32 port = 200001;
  Morvet::IntfId const id{"Ethernet1"};
};

TEST_F(Interfaces, FollowStatusAndSetting) {
  using Interface::IntfOperStatus;
  auto const status = bench.intfStatusDir->newIntfStatus(id);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("1,4")) << "without a configuration it counts as enabled";
  status->operStatusIs(IntfOperStatus::down);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("2,4"));
  drain();
  auto const before = bench.stateOf(port);
  bench.time.step(5);
  auto const config = bench.intfConfigDir->newIntfConfig(id);
  EXPECT_EQ(bench.stateOf(port), before) << "a configuration alone rewrites nothing";
  EXPECT_THAT(drain(), IsEmpty());
  config->adminEnabledStateLocalIs(false);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("3,2"));
  EXPECT_THAT(drain(), ElementsAre(port));
  status->operStatusIs(IntfOperStatus::lowerLayerDown);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("2,2"));
  config->adminEnabledStateLocalIs(true);
  status->operStatusIs(IntfOperStatus::up);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("3,4"));
  drain();
  bench.intfStatusDir->intfStatusDel(id);
  config->adminEnabledStateLocalIs(false);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("3,4")) << "without a status a setting does nothing";
  EXPECT_THAT(drain(), IsEmpty());

  Tracing tracing{1};
  bench.intfStatusDir->newIntfStatus(Morvet::IntfId("Ethernet77"))->operStatusIs(IntfOperStatus::up);
  EXPECT_THAT(tracing.take(), testing::Each(HasSubstr("Cannot find physical entity for Ethernet77")));
}

}  // namespace
}  // namespace Orvane
