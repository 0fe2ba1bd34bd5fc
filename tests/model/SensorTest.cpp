// What sensors answer: bound to their records, without them, and against their limits.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "model/Constants.h"
#include "tests/Support.h"

namespace {

using Environment::Temperature::TempSensorConfig;
using Environment::Temperature::TempSensorStatus;
using Orvane::Sensor;
using Xcvr::DomInfo;
using Xcvr::DomLimits;
using Xcvr::DomThreshold;
using Xcvr::LaneId;
using Zef::make;
using Zef::Ptr;

constexpr U32 noLow = 0xc4653600U;  // the bits of -1000000000
constexpr U32 noHigh = 1000000000;

template <class T>
Ptr<T> sensor() {
  return make<T>(7U);
}

struct Answers {
  U32 value, operStatus, valueUpdateRate, lowWarn, lowCrit, highWarn, highCrit;
  bool operator==(Answers const&) const = default;
};

std::ostream& operator<<(std::ostream& stream, Answers const& a) {
  return stream << "value " << a.value << ", status " << a.operStatus << ", rate " << a.valueUpdateRate << ", low "
                << a.lowWarn << " " << a.lowCrit << ", high " << a.highWarn << " " << a.highCrit;
}

Answers answers(Ptr<Sensor> const& s) {
  return {s->value(),
          s->operStatus(),
          s->valueUpdateRate(),
          s->lowWarnThreshold(),
          s->lowCritThreshold(),
          s->highWarnThreshold(),
          s->highCritThreshold()};
}

TEST(Sensor, ShapesAndAnswersWithoutRecords) {
  struct Row {
    char const* name;
    Ptr<Sensor> sensor;
    U32 type, scale, precision;
    char const* units;
    U32 operStatus, valueUpdateRate;
  };
  for (Row const& row : {
           Row{"Sensor", sensor<Sensor>(), 0, 9, 0, "", 0, 0},
           Row{"FanSensor", sensor<Orvane::FanSensor>(), 10, 9, 0, "RPM", 2, 2000},
           Row{"VoltageSensor", sensor<Orvane::VoltageSensor>(), 3, 9, 2, "Volts", 2, 0},
           Row{"CurrentSensor", sensor<Orvane::CurrentSensor>(), 5, 9, 2, "Amperes", 2, 5000},
           Row{"TemperatureSensor", sensor<Orvane::TemperatureSensor>(), 8, 9, 1, "Celsius", 2, 0},
           Row{"DomSensor", sensor<Orvane::DomSensor>(), 0, 9, 0, "", 2, 6000},
           Row{"DomTemperatureSensor", sensor<Orvane::DomTemperatureSensor>(), 8, 9, 1, "Celsius", 2, 6000},
           Row{"DomVoltageSensor", sensor<Orvane::DomVoltageSensor>(), 4, 9, 2, "Volts", 2, 6000},
           Row{"DomTxBiasSensor", sensor<Orvane::DomTxBiasSensor>(), 5, 8, 2, "mA", 2, 6000},
           Row{"DomTxPowerSensor", sensor<Orvane::DomTxPowerSensor>(), 6, 8, 4, "mW", 2, 6000},
           Row{"DomRxPowerSensor", sensor<Orvane::DomRxPowerSensor>(), 6, 8, 4, "mW", 2, 6000},
       }) {
    EXPECT_EQ(row.sensor->index(), 7U) << row.name;
    EXPECT_EQ(row.sensor->sensorType(), row.type) << row.name;
    EXPECT_EQ(row.sensor->scale(), row.scale) << row.name;
    EXPECT_EQ(row.sensor->precision(), row.precision) << row.name;
    EXPECT_EQ(row.sensor->unitsDisplay(), row.units) << row.name;
    Answers const expected{0, row.operStatus, row.valueUpdateRate, noLow, noLow, noHigh, noHigh};
    EXPECT_EQ(answers(row.sensor), expected) << row.name;
    EXPECT_EQ(row.sensor->thresholdDescription(), "No thresholds are defined") << row.name;
  }
}

// What is stored is served where the class computes nothing, and nowhere else.
TEST(Sensor, WhatIsStoredAndWhatIsServed) {
  struct Row {
    char const* name;
    Ptr<Sensor> sensor;
    Answers served;
  };
  for (Row const& row : {
           Row{"Sensor", sensor<Sensor>(), {11, 12, 13, noLow, noLow, noHigh, noHigh}},
           Row{"FanSensor", sensor<Orvane::FanSensor>(), {0, 2, 13, noLow, noLow, noHigh, noHigh}},
           Row{"VoltageSensor", sensor<Orvane::VoltageSensor>(), {0, 2, 0, noLow, noLow, noHigh, noHigh}},
           Row{"CurrentSensor", sensor<Orvane::CurrentSensor>(), {0, 2, 13, noLow, noLow, noHigh, noHigh}},
           Row{"TemperatureSensor", sensor<Orvane::TemperatureSensor>(), {0, 2, 0, noLow, noLow, noHigh, noHigh}},
           Row{"DomSensor", sensor<Orvane::DomSensor>(), {11, 2, 13, noLow, noLow, noHigh, noHigh}},
           Row{"DomRxPowerSensor", sensor<Orvane::DomRxPowerSensor>(), {0, 2, 13, noLow, noLow, noHigh, noHigh}},
       }) {
    row.sensor->valueIs(11);
    row.sensor->operStatusIs(12);
    row.sensor->valueUpdateRateIs(13);
    row.sensor->lowWarnThresholdIs(14);
    row.sensor->lowCritThresholdIs(15);
    row.sensor->highWarnThresholdIs(16);
    row.sensor->highCritThresholdIs(17);
    EXPECT_EQ(answers(row.sensor), row.served) << row.name;
  }
}

TEST(Sensor, ReadsItsRecordWhenItIsAsked) {
  Ptr<Orvane::FanSensor> const fan = sensor<Orvane::FanSensor>();
  Ptr<Environment::Cooling::FanStatus> const fanStatus = make<Environment::Cooling::FanStatus>(
      "Fan1/1", Ptr<Environment::Cooling::FanProperties const>(make<Environment::Cooling::FanProperties>(12000U)));
  fanStatus->hwStatusIs(Environment::Cooling::FanStatus::HwStatus::ok);
  fanStatus->speedIs(50.0F);
  fan->statusIs(fanStatus);
  EXPECT_EQ(answers(fan), (Answers{6000, 1, 2000, noLow, noLow, noHigh, noHigh}));
  fanStatus->speedIs(25.0F);
  EXPECT_EQ(fan->value(), 3000U);
  fanStatus->hwStatusIs(Environment::Cooling::FanStatus::HwStatus::failed);
  fanStatus->speedIs(-1.0F);
  EXPECT_EQ(answers(fan), (Answers{noLow, 3, 2000, noLow, noLow, noHigh, noHigh}));
  fanStatus->hwStatusIs(Environment::Cooling::FanStatus::HwStatus::unknown);
  EXPECT_EQ(answers(fan), (Answers{0, 2, 2000, noLow, noLow, noHigh, noHigh}));
  fan->statusIs(nullptr);
  EXPECT_EQ(answers(fan), (Answers{0, 2, 2000, noLow, noLow, noHigh, noHigh}));

  Ptr<Orvane::VoltageSensor> const voltage = sensor<Orvane::VoltageSensor>();
  Ptr<Environment::Power::VoltageRailStatus> const rail = make<Environment::Power::VoltageRailStatus>("VoltageSensor1");
  rail->hwStatusIs(Environment::Power::VoltageRailStatus::HwStatus::ok);
  rail->voltageIs(3.31F);
  voltage->statusIs(rail);
  EXPECT_EQ(answers(voltage), (Answers{331, 1, 5000, noLow, noLow, noHigh, noHigh}));
  rail->hwStatusIs(Environment::Power::VoltageRailStatus::HwStatus::failed);
  EXPECT_EQ(voltage->operStatus(), 3U);

  Ptr<Orvane::CurrentSensor> const current = sensor<Orvane::CurrentSensor>();
  Ptr<Environment::Power::CurrentSensorStatus> const shunt =
      make<Environment::Power::CurrentSensorStatus>("CurrentSensor1");
  shunt->hwStatusIs(Environment::Power::CurrentSensorStatus::HwStatus::ok);
  shunt->currentIs(4.25F);
  current->statusIs(shunt);
  EXPECT_EQ(answers(current), (Answers{425, 1, 5000, noLow, noLow, noHigh, noHigh}));

  Ptr<Orvane::TemperatureSensor> const temperature = sensor<Orvane::TemperatureSensor>();
  Ptr<TempSensorStatus> const probe = make<TempSensorStatus>("TempSensor1");
  probe->hwStatusIs(TempSensorStatus::HwStatus::ok);
  probe->temperatureIs(21.25F);
  temperature->statusIs(probe);
  EXPECT_EQ(answers(temperature), (Answers{213, 1, 5000, noLow, noLow, noHigh, noHigh}));
}

// The rate in milliseconds by the configured interval, of whole seconds.
TEST(Sensor, UpdateRateByConfiguration) {
  struct Row {
    double seconds;
    U32 milliseconds;
  };
  for (Row const& row : {Row{5.0, 5000}, Row{2.9, 2000}, Row{0.5, 0}, Row{60.0, 60000}}) {
    Ptr<Orvane::VoltageSensor> const voltage = sensor<Orvane::VoltageSensor>();
    Ptr<Environment::Power::VoltageRailConfig> const railConfig = make<Environment::Power::VoltageRailConfig>("V");
    railConfig->sensorPollIntervalIs(row.seconds);
    voltage->configDataIs(railConfig);
    EXPECT_EQ(voltage->valueUpdateRate(), 0U) << "without a status";
    voltage->statusIs(make<Environment::Power::VoltageRailStatus>("V"));
    EXPECT_EQ(voltage->valueUpdateRate(), row.milliseconds) << row.seconds;

    Ptr<Orvane::TemperatureSensor> const temperature = sensor<Orvane::TemperatureSensor>();
    Ptr<TempSensorConfig> const config = make<TempSensorConfig>("T");
    config->sensorPollIntervalIs(row.seconds);
    temperature->configDataIs(config);
    EXPECT_EQ(temperature->valueUpdateRate(), 0U) << "without a status";
    temperature->statusIs(make<TempSensorStatus>("T"));
    EXPECT_EQ(temperature->valueUpdateRate(), row.milliseconds) << row.seconds;
  }
  Ptr<Orvane::VoltageSensor> const asModelled = sensor<Orvane::VoltageSensor>();
  asModelled->statusIs(make<Environment::Power::VoltageRailStatus>("V"));
  asModelled->configDataIs(make<Environment::Power::VoltageRailConfig>("V"));
  EXPECT_EQ(asModelled->valueUpdateRate(), 5000U) << "a configuration that names no interval";
}

TEST(Sensor, TemperatureLimits) {
  Ptr<Orvane::TemperatureSensor> const temperature = sensor<Orvane::TemperatureSensor>();
  Ptr<TempSensorConfig> const config = make<TempSensorConfig>("T");
  temperature->configDataIs(config);
  EXPECT_EQ(temperature->highWarnThreshold(), noHigh) << "a configuration that names no limit";
  EXPECT_EQ(temperature->highCritThreshold(), noHigh);
  struct Row {
    double degrees;
    S32 tenths;
  };
  for (Row const& row : {Row{78.25, 783}, Row{78.24, 782}, Row{0.0, 0}, Row{-12.25, -123}, Row{-0.04, 0}, Row{1e300, 0},
                         Row{std::numeric_limits<double>::quiet_NaN(), 0}}) {
    config->overheatThresholdIs(row.degrees);
    config->criticalThresholdIs(85.0);
    EXPECT_EQ(static_cast<S32>(temperature->highWarnThreshold()), row.tenths) << row.degrees;
    EXPECT_EQ(temperature->highCritThreshold(), 850U);
    config->overheatThresholdIs(75.0);
    config->criticalThresholdIs(row.degrees);
    EXPECT_EQ(static_cast<S32>(temperature->highCritThreshold()), row.tenths) << row.degrees;
    EXPECT_EQ(temperature->highWarnThreshold(), 750U);
  }
  EXPECT_EQ(temperature->lowWarnThreshold(), noLow);
  temperature->configDataIs(nullptr);
  EXPECT_EQ(temperature->highWarnThreshold(), noHigh);
}

DomThreshold domThreshold() {
  DomThreshold threshold;
  threshold.temperature = DomLimits{75.05, -5.0, 70.0, 0.0};
  threshold.voltage = DomLimits{3.6, 3.0, 3.5, 3.1};
  threshold.txBias = DomLimits{12.0, 2.0, 11.0, 3.0};
  threshold.txPower = DomLimits{1.0, -9.0, 0.0, -8.0};
  threshold.rxPower = DomLimits{2.0, -14.0, 0.0, -12.0};
  return threshold;
}

TEST(DomSensor, ReadsItsLane) {
  Ptr<Xcvr::XcvrStatus> const status = make<Xcvr::XcvrStatus>("Ethernet5");
  status->domInfoIs(LaneId(0), DomInfo{31.25, 3.3, 6.5, -2.1, -3.4});
  status->domInfoIs(LaneId(2), DomInfo{-1.0, 3.29, 6.6, 0.0, -30.0});
  status->domThresholdIs(domThreshold());

  struct Row {
    char const* name;
    Ptr<Orvane::DomSensor> sensor;
    U32 value, otherLane;
    S32 lowWarn, lowCrit, highWarn, highCrit;
  };
  for (Row const& row : {
           Row{"temperature", sensor<Orvane::DomTemperatureSensor>(), 313, noLow, 0, -50, 700, 751},
           Row{"voltage", sensor<Orvane::DomVoltageSensor>(), 330, 329, 310, 300, 350, 360},
           Row{"bias", sensor<Orvane::DomTxBiasSensor>(), 650, 660, 300, 200, 1100, 1200},
           Row{"transmit power", sensor<Orvane::DomTxPowerSensor>(), 6166, 10000, 1585, 1259, 10000, 12589},
           Row{"receive power", sensor<Orvane::DomRxPowerSensor>(), 4571, 10, 631, 398, 10000, 15849},
       }) {
    row.sensor->statusIs(status);
    auto const low = [](S32 limit) { return static_cast<U32>(limit); };
    Answers expected{row.value, 1, 6000, low(row.lowWarn), low(row.lowCrit), low(row.highWarn), low(row.highCrit)};
    EXPECT_EQ(answers(row.sensor), expected) << row.name;

    row.sensor->laneIdIs(LaneId(2));
    expected.value = row.otherLane;
    EXPECT_EQ(answers(row.sensor), expected) << row.name;

    // A lane without readings, with limits all the same: those are the transceiver's.
    row.sensor->laneIdIs(LaneId(1));
    expected.value = 0;
    expected.operStatus = 2;
    EXPECT_EQ(answers(row.sensor), expected) << row.name;

    row.sensor->statusIs(nullptr);
    EXPECT_EQ(answers(row.sensor), (Answers{0, 2, 6000, noLow, noLow, noHigh, noHigh})) << row.name;
  }

  Ptr<Orvane::DomRxPowerSensor> const without = sensor<Orvane::DomRxPowerSensor>();
  without->statusIs(status);
  status->domThresholdDel();
  EXPECT_EQ(answers(without), (Answers{4571, 1, 6000, noLow, noLow, noHigh, noHigh}));
}

// A sensor whose answers are given.
class Given : public Sensor {
 public:
  Given(S32 value, std::vector<S32> limits) : Sensor(1), value_(value), limits_(std::move(limits)) {}
  U32 value() const override { return static_cast<U32>(value_); }
  U32 lowCritThreshold() const override { return static_cast<U32>(limits_[0]); }
  U32 lowWarnThreshold() const override { return static_cast<U32>(limits_[1]); }
  U32 highWarnThreshold() const override { return static_cast<U32>(limits_[2]); }
  U32 highCritThreshold() const override { return static_cast<U32>(limits_[3]); }

 private:
  S32 value_;
  std::vector<S32> limits_;
};

TEST(Sensor, ThresholdDescriptions) {
  constexpr S32 none = 1000000000;
  std::vector<S32> const limits{-50, 5, 700, 750};
  struct Row {
    S32 value;
    std::vector<S32> limits;  // low critical, low warning, high warning, high critical
    char const* text;
  };
  for (Row const& row : {
           Row{5, {-none, -none, none, none}, "No thresholds are defined"},
           Row{-none, {-none, -none, none, none}, "No thresholds are defined"},
           Row{-51, limits, "Sensor value -51 is below the low critical threshold (-50)"},
           Row{-50, limits, "Sensor value -50 is below the low warning threshold (5)"},
           Row{4, limits, "Sensor value 4 is below the low warning threshold (5)"},
           Row{5, limits, "Sensor value 5 is within bounds"},
           Row{700, limits, "Sensor value 700 is within bounds"},
           Row{701, limits, "Sensor value 701 is over the high warning threshold (700)"},
           Row{750, limits, "Sensor value 750 is over the high warning threshold (700)"},
           Row{751, limits, "Sensor value 751 is over the high critical threshold (750)"},
           // Each of the four alone makes that thresholds are defined.
           Row{0, {-1, -none, none, none}, "Sensor value 0 is within bounds"},
           Row{0, {-none, -1, none, none}, "Sensor value 0 is within bounds"},
           Row{0, {-none, -none, 1, none}, "Sensor value 0 is within bounds"},
           Row{0, {-none, -none, none, 1}, "Sensor value 0 is within bounds"},
           Row{-none, {-none, -none, none, 850}, "Sensor value -1000000000 is within bounds"},
           // The critical limits are looked at first, wherever the warnings lie.
           Row{10, {20, 30, 5, 8}, "Sensor value 10 is below the low critical threshold (20)"},
           Row{10, {0, 20, 5, 8}, "Sensor value 10 is over the high critical threshold (8)"},
           Row{10, {0, 20, 5, 80}, "Sensor value 10 is below the low warning threshold (20)"},
       }) {
    EXPECT_EQ(make<Given>(row.value, row.limits)->thresholdDescription(), row.text);
  }
  Ptr<Sensor> const stored = sensor<Sensor>();
  stored->thresholdDescriptionIs("stored");
  EXPECT_EQ(stored->thresholdDescription(), "No thresholds are defined");
}

TEST(Sensor, ItsTimeIsTheTimeOfTheRequest) {
  SteppedTime time;
  Ptr<Sensor> const temperature = sensor<Orvane::TemperatureSensor>();
  temperature->valueTimeStampIs(5.0);
  EXPECT_EQ(temperature->valueTimeStamp(), 1000.0);
  time.seconds = 1001.5;
  EXPECT_EQ(temperature->valueTimeStamp(), 1001.5);
}

TEST(PhysicalEntityRow, DescriptionIsTheLiveObjects) {
  Ptr<Orvane::PhysicalEntity> const row = make<Orvane::PhysicalEntity>(1U);
  row->descriptionIs("stored");
  EXPECT_EQ(row->description(), "stored");
  Ptr<EntityMib::Fan> const fan = make<EntityMib::Fan>("fan");
  row->phyAttrIs(fan);
  EXPECT_EQ(row->description(), "") << "an empty one too";
  fan->descriptionIs("live");
  EXPECT_EQ(row->description(), "live");
  row->phyAttrIs(nullptr);
  EXPECT_EQ(row->description(), "stored");
}

}  // namespace
