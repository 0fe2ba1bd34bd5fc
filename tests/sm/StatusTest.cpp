// Status records, and what they do to sensors and states.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "sm/Renewal.h"
#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using FanStatus = Environment::Cooling::FanStatus;
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
    bench.put("fixedSystem.sensor.2", "CurrentSensor");
    bench.start();
    bench.time.step(100);
  }
  void TearDown() override { EXPECT_THAT(bench.disagreements(), IsEmpty()); }

  template <class T>
  T& sensor(U32 index) {
    return dynamic_cast<T&>(*bench.sensorMib->sensorEntity(index));
  }

  Bench bench;
};

// One kind of record: its name, where it stands, the attribute that holds its status, the row that its notification
// speaks of, the rows that it writes, and their states by the number of the status, from 0.
struct Kind {
  char const* record;
  Zef::Ptr<Zef::Entity> input;
  char const* collection;
  char const* attribute;
  U32 notified;
  std::vector<U32> written;
  std::vector<std::string> states;
  bool stampedWhenBound = true;

  Zef::ZefAttr const& records() const { return *input->fwkType()->attr(Zef::Name(collection)); }
  void statusIs(U32 status) const {
    auto const object = records().memberIs(*input, record);
    object->fwkType()->attr(Zef::Name(attribute))->set(*object, Zef::Value(std::int64_t{status}));
  }
};

std::vector<Kind> kinds(Bench const& bench) {
  std::vector<std::string> const hardware = {"1,1", "3,4", "2,2", "2,2"};
  std::vector<std::string> const supplies = {"1,1", "2,2", "2,2", "3,4", "2,2"};
  return {
      {"TempSensor1", bench.tempStatus, "tempSensor", "hwStatus", tempSensor, {tempSensor}, hardware},
      {"VoltageSensorP1/1", bench.powerStatus, "voltageSensor", "hwStatus", voltageSensor, {voltageSensor}, hardware},
      {"CurrentSensor2",
       bench.powerStatus,
       "currentSensor",
       "hwStatus",
       currentSensor,
       {currentSensor},
       hardware,
       false},
      {"Fan2/1", bench.coolingStatus, "fan", "hwStatus", trayFan, {trayFanSensor, trayFan}, hardware},
      {"PowerSupply1", bench.powerStatus, "powerSupply", "state", supply, {supply}, supplies},
      {"PowerSupplyP1/1", bench.powerStatus, "powerSupply", "state", supply, {supply}, supplies},
  };
}

TEST_F(StatusRecords, WriteTheirRowsAndAskForOneNotification) {
  for (Kind const& each : kinds(bench)) {
    SCOPED_TRACE(each.record);
    auto const expect = [&](U32 status, double time) {
      EXPECT_THAT(bench.takeWaiting(), ElementsAre(std::to_string(each.notified) + " " + each.states[status]));
      for (U32 row : each.written) {
        EXPECT_EQ(bench.stateOf(row), each.states[status] + " at " + std::to_string(static_cast<long>(time))) << row;
      }
    };
    double const before = bench.stateMib->stateEntity(each.notified)->lastChanged() - 1.0e9;
    each.records().memberIs(*each.input, each.record);
    expect(0, each.stampedWhenBound ? bench.time.now() : before);
    for (U32 status = 1; status != each.states.size(); ++status) {
      bench.time.step(10);
      each.statusIs(status);
      expect(status, bench.time.now());
    }
    // A record that goes leaves the state as it was.
    std::string const last = bench.stateOf(each.notified);
    bench.time.step(10);
    each.records().memberDel(*each.input, each.record);
    EXPECT_THAT(bench.takeWaiting(), IsEmpty());
    EXPECT_EQ(bench.stateOf(each.notified), last);
  }
}

TEST_F(StatusRecords, BindTheSensorWhicheverComesFirst) {
  auto const record = bench.tempStatus->newTempSensor("TempSensor1");
  auto const config = bench.tempConfig->newTempSensor("TempSensor1");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), record);
  EXPECT_FALSE(sensor<TemperatureSensor>(tempSensor).configData()) << "it came behind the record";
  bench.drop("fixedSystem.sensor.1");
  bench.put("fixedSystem.sensor.1", "TempSensor");
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
  auto const early = bench.coolingStatus->newFan("Fan2/7");
  std::string const fan7 = "fixedSystem.fanTraySlot.2.fanTray.fan.7";
  bench.put({{fan7, "Fan"}, {fan7 + ".sensor.1", "FanSensor", "7"}});
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
  bench.put("fixedSystem.sensor.1", "TempSensor", "9");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), nine);
  bench.put("fixedSystem.sensor.1", "TempSensor", "1");
  EXPECT_EQ(sensor<TemperatureSensor>(tempSensor).status(), one);
  bench.takeWaiting();
  renew(*bench.root, {tempSensor}, nullptr);
  EXPECT_THAT(bench.takeWaiting(), IsEmpty()) << "it shows what it showed before";
  // A fan sensor's label: the record is still found by the fan that holds it, under the name that its sensor must have.
  auto const fan = bench.coolingStatus->newFan("Fan2/1");
  sensor<FanSensor>(trayFanSensor).statusIs(nullptr);
  bench.root->updateSensorStatus("FanSensor2/1");
  EXPECT_EQ(sensor<FanSensor>(trayFanSensor).status(), fan);
}

TEST_F(StatusRecords, TellWhatHasNoPartnerAndChangeNothing) {
  Tracing tracing{1};
  auto const rows = bench.rows();
  std::string const noRow = "Cannot find physical entity for ";
  struct {
    std::function<void()> publish;
    std::string told;
  } const cases[] = {
      {[&] { bench.tempStatus->newTempSensor("TempSensor77"); }, noRow + "TempSensor77"},
      {[&] { bench.tempStatus->tempSensor("TempSensor77")->hwStatusIs(TempStatus::HwStatus::ok); },
       noRow + "TempSensor77"},
      {[&] { bench.coolingStatus->newFan("Fan9/9"); }, noRow + "FanSensor9/9"},
      {[&] { bench.powerStatus->newPowerSupply("PowerSupply8"); }, "Cannot find power supply for PowerSupply8"},
      {[&] { bench.powerStatus->newPowerSupply("Supply1"); }, "Cannot find power supply for Supply1"},
      {[&] { bench.cardStatus->newCardStatus("Linecard3"); }, noRow + "Linecard3"},
      {[&] { bench.intfStatusDir->newIntfStatus(Morvet::IntfId("Ethernet77")); }, noRow + "Ethernet77"},
      {[&] { bench.tempStatus->newTempSensor("CurrentSensor2"); }, "Sensor is not TemperatureSensor "},
      {[&] { bench.tempStatus->newTempSensor("Chip1"); }, "Sensor is not TemperatureSensor "},
      {[&] { bench.tempConfig->newTempSensor("TempSensor77")->criticalThresholdIs(3); }, noRow + "TempSensor77"},
      {[&] {
         bench.stateMib->stateEntityDel(tempSensor);
         bench.tempStatus->newTempSensor("TempSensor1");
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
  bench.takeWaiting();
  auto const state = bench.stateOf(tempSensor);
  Tracing tracing{0x3ff};
  for (int i = 0; i < 10000; ++i) {
    temperature->temperatureIs(static_cast<float>(i));
    fan->speedIs(static_cast<float>(i % 100));
    rail->voltageIs(static_cast<float>(i % 13));
  }
  EXPECT_THAT(tracing.take(), IsEmpty());
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
  EXPECT_EQ(Zef::ActivitySm::process().pendingCount(), 0U);
  EXPECT_EQ(bench.stateOf(tempSensor), state);
  EXPECT_EQ(static_cast<S32>(sensor<TemperatureSensor>(tempSensor).value()), 99990);
}

TEST_F(StatusRecords, AreFoundAndFollowedByReactorsThatStartLater) {
  for (Kind const& each : kinds(bench)) each.statusIs(1);
  bench.tempConfig->newTempSensor("TempSensor1")->criticalThresholdIs(90);
  bench.intfStatusDir->newIntfStatus(Morvet::IntfId("Ethernet1"))->operStatusIs(Interface::IntfOperStatus::up);
  bench.start();
  EXPECT_THAT(bench.stateOf(200001), HasSubstr("3,4"));
  EXPECT_TRUE(bench.sensorMib->thresholdEntity(tempSensor));
  EXPECT_EQ(bench.takeWaiting().size(), 6U);
  for (U32 const status : {1U, 3U}) {
    for (Kind const& each : kinds(bench)) {
      each.statusIs(status);
      EXPECT_THAT(bench.stateOf(each.notified), HasSubstr(each.states[status])) << each.record;
    }
  }
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
  EXPECT_EQ(refusal([&] { bench.root->intfStatusSm()->intfConfigIs(nullptr); }),
            "null _intfConfig parameter to mutator for Orvane::IntfSensorStatusSm::intfConfig not allowed\"");
}

TEST_F(StatusRecords, AnInterfaceFollowsStatusAndSetting) {
  using Interface::IntfOperStatus;
  constexpr U32 port = 200001;
  Morvet::IntfId const id("Ethernet1");
  auto const status = bench.intfStatusDir->newIntfStatus(id);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("1,4")) << "without a configuration it counts as enabled";
  status->operStatusIs(IntfOperStatus::down);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("2,4"));
  bench.takeWaiting();
  auto const before = bench.stateOf(port);
  bench.time.step(5);
  auto const config = bench.intfConfigDir->newIntfConfig(id);
  EXPECT_EQ(bench.stateOf(port), before) << "a configuration alone rewrites nothing";
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
  config->adminEnabledStateLocalIs(false);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("3,2"));
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("200001 3,2"));
  status->operStatusIs(IntfOperStatus::lowerLayerDown);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("2,2"));
  config->adminEnabledStateLocalIs(true);
  status->operStatusIs(IntfOperStatus::up);
  bench.takeWaiting();
  bench.intfStatusDir->intfStatusDel(id);
  config->adminEnabledStateLocalIs(false);
  EXPECT_THAT(bench.stateOf(port), HasSubstr("3,4")) << "without a status a setting does nothing";
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
}

// Transceivers, with their sensors.

class Transceivers : public testing::Test {
 protected:
  static constexpr U32 xcvrRow = 34050001;
  static constexpr U32 domTemperature = 34050101;
  static constexpr U32 domRxPower = 34051101;

  void SetUp() override {
    bench.publishChassis();
    bench.start();
  }
  Zef::Ptr<Xcvr::XcvrStatus> publishStatus() {
    Zef::Batch const batch;
    auto const config = bench.xcvrConfigDir->newXcvrConfig("Ethernet3/5");
    auto const status = bench.xcvrStatusDir->newXcvrStatus("Ethernet3/5");
    status->xcvrConfigIs(config);
    status->presenceIs(Xcvr::XcvrStatus::Presence::present);
    Xcvr::DomInfo info;
    info.temperature = 41.5;
    status->domInfoIs(Xcvr::LaneId(0), info);
    info.rxPower = -3;
    status->domInfoIs(Xcvr::LaneId(1), info);
    return status;
  }
  void plugAnew() {
    bench.drop(bench.xcvrSlot() + ".xcvr");
    bench.put(bench.xcvr());
  }
  DomSensor& sensor(U32 row) { return dynamic_cast<DomSensor&>(*bench.sensorMib->sensorEntity(row)); }
  bool isClassified() const { return static_cast<bool>(bench.sensorMib->thresholdEntity(domTemperature)); }

  Bench bench;
};

TEST_F(Transceivers, GiveTheirSensorsReadings) {
  EXPECT_EQ(sensor(domTemperature).operStatus(), Constants::sensorOperStatusUnavailable);
  bench.time.step(10);
  auto const status = publishStatus();
  // A name in the collection of temperatures that is a transceiver's goes there.
  bench.tempStatus->newTempSensor("DomTemperatureSensor3/5");
  bench.root->updateSensorStatus("DomRxPowerSensor3/5/2");
  for (bool const anew : {false, true}) {
    bench.time.step(10);
    if (anew) plugAnew();
    EXPECT_EQ(sensor(domTemperature).status(), status);
    EXPECT_EQ(static_cast<S32>(sensor(domTemperature).value()), 415);
    EXPECT_EQ(static_cast<S32>(sensor(domRxPower).value()), 5012) << "of its lane";
    EXPECT_EQ(bench.stateOf(domRxPower), anew ? "3,4 at 1030" : "3,4 at 1000") << "binding moves no time";
  }
  EXPECT_FALSE(isClassified()) << "it offers no thresholds";
  status->domInfoDel(Xcvr::LaneId(0));
  bench.root->updateSensorStatus("DomTemperatureSensor3/5");
  EXPECT_EQ(bench.stateOf(domTemperature), "2,2 at 1030");
  // A changed hardware status under its name does.
  bench.time.step(10);
  bench.tempStatus->tempSensor("DomTemperatureSensor3/5")
      ->hwStatusIs(Environment::Temperature::TempSensorStatus::HwStatus::ok);
  EXPECT_EQ(bench.stateOf(domTemperature), "3,4 at 1040");
  bench.xcvrStatusDir->xcvrStatusDel("Ethernet3/5");
  bench.root->updateSensorStatus("DomRxPowerSensor3/5/2");
  EXPECT_FALSE(sensor(domRxPower).status());
}

TEST_F(Transceivers, GiveTheirSensorsThresholds) {
  auto const status = publishStatus();
  Xcvr::DomThreshold threshold;
  threshold.temperature = {75, 5, 70, 10};
  status->domThresholdIs(threshold);
  plugAnew();
  EXPECT_TRUE(isClassified());
  Xcvr::DomInfo info;
  for (auto const& [celsius, alarm] : {std::pair(10.0F, 0), {9.9F, 4}, {5.0F, 4}, {4.9F, 32}, {41.5F, 0}}) {
    info.temperature = celsius;
    status->domInfoIs(Xcvr::LaneId(0), info);
    bench.pass(5);
    EXPECT_EQ(bench.stateMib->stateEntity(domTemperature)->alarmStatus(), alarm) << celsius;
  }
  // A transceiver that offers none any more is classified no more, until its rows are made anew.
  status->domThresholdDel();
  bench.pass(5);
  EXPECT_FALSE(isClassified());
  status->domThresholdIs(threshold);
  bench.pass(5);
  EXPECT_FALSE(isClassified());
  plugAnew();
  EXPECT_TRUE(isClassified());
}

TEST_F(Transceivers, ShowWhetherTheyAreInUse) {
  bench.drop(bench.xcvrSlot() + ".xcvr");
  Tracing tracing{(1U << 0U) | (1U << 3U)};
  auto const status = publishStatus();
  EXPECT_THAT(tracing.take(), Contains(HasSubstr("Cannot find xcvr for status:Ethernet3/5")));
  plugAnew();
  auto const config = bench.xcvrConfigDir->xcvrConfig("Ethernet3/5");
  bench.time.step(3);
  config->xcvrStateIs(true);
  EXPECT_EQ(bench.stateOf(xcvrRow), "3,4 at 1003");
  config->xcvrStateIs(false);
  EXPECT_EQ(bench.stateOf(xcvrRow), "2,2 at 1003");
  tracing.take();
  bench.time.step(3);
  status->presenceIs(Xcvr::XcvrStatus::Presence::absent);
  config->xcvrStateIs(true);
  EXPECT_THAT(tracing.take(), ElementsAre(HasSubstr("Status Entry Ethernet3/5 xcvr does not exist. Skip.")));
  status->presenceIs(Xcvr::XcvrStatus::Presence::present);
  status->xcvrConfigIs(nullptr);
  config->xcvrStateIs(false);
  EXPECT_THAT(tracing.take(), ElementsAre(HasSubstr("Status Entry Ethernet3/5 has no configuration. Skip.")));
  EXPECT_EQ(bench.stateOf(xcvrRow), "2,2 at 1003");
}

}  // namespace
}  // namespace Orvane
