// What sensors answer: bound to their records, without them, and against their limits.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "model/Constants.h"
#include "tests/Support.h"

namespace {

using Environment::Temperature::TempSensorConfig;
using Environment::Temperature::TempSensorStatus;
using Orvane::Sensor;
using Zef::make;
using Zef::Ptr;

constexpr S32 none = 1000000000;  // a high limit that is not there; a low one is its negative

template <class T>
Ptr<T> sensor() {
  return make<T>(7U);
}

struct Limits {
  S32 lowCrit = -none, lowWarn = -none, highWarn = none, highCrit = none;
};

// What the columns of a sensor say.
std::string text(S32 value, U32 operStatus, U32 rate, Limits const& limits = {}) {
  return Zef::format("value %d, status %u, rate %u, limits %d %d %d %d", value, operStatus, rate, limits.lowCrit,
                     limits.lowWarn, limits.highWarn, limits.highCrit)
      .charPtr();
}

std::string answers(Sensor const& s) {
  auto const number = [](U32 bits) { return static_cast<S32>(bits); };
  return text(number(s.value()), s.operStatus(), s.valueUpdateRate(),
              {number(s.lowCritThreshold()), number(s.lowWarnThreshold()), number(s.highWarnThreshold()),
               number(s.highCritThreshold())});
}

// What is measured, by the value and by what the sensor says of its unit: thousandths of it at scale 8.
double measured(Sensor const& s) {
  return static_cast<S32>(s.value()) * std::pow(10.0, -static_cast<double>(s.precision())) *
         std::pow(1000.0, static_cast<double>(s.scale()) - 9);
}

// What is stored in a row is served where the class computes nothing, and nowhere else.
TEST(Sensor, AnswersWithoutARecord) {
  struct Row {
    Ptr<Sensor> sensor;
    std::string fresh, stored;
  };
  for (Row const& row : {
           Row{sensor<Sensor>(), text(0, 0, 0), text(11, 12, 13)},
           Row{sensor<Orvane::FanSensor>(), text(0, 2, 2000), text(0, 2, 13)},
           Row{sensor<Orvane::VoltageSensor>(), text(0, 2, 0), text(0, 2, 0)},
           Row{sensor<Orvane::CurrentSensor>(), text(0, 2, 5000), text(0, 2, 13)},
           Row{sensor<Orvane::TemperatureSensor>(), text(0, 2, 0), text(0, 2, 0)},
           Row{sensor<Orvane::DomSensor>(), text(0, 2, 6000), text(11, 2, 13)},
           Row{sensor<Orvane::DomRxPowerSensor>(), text(0, 2, 6000), text(0, 2, 13)},
       }) {
    Sensor& sensor = *row.sensor;
    EXPECT_EQ(answers(sensor), row.fresh) << sensor.fwkType()->name();
    sensor.valueIs(11);
    sensor.operStatusIs(12);
    sensor.valueUpdateRateIs(13);
    sensor.lowWarnThresholdIs(14);
    sensor.lowCritThresholdIs(15);
    sensor.highWarnThresholdIs(16);
    sensor.highCritThresholdIs(17);
    sensor.thresholdDescriptionIs("stored");
    EXPECT_EQ(answers(sensor), row.stored) << sensor.fwkType()->name();
    EXPECT_EQ(sensor.thresholdDescription(), "No thresholds are defined");
  }
}

TEST(Sensor, ReadsItsRecordWhenItIsAsked) {
  using Environment::Cooling::FanStatus;
  Ptr<Orvane::FanSensor> const fan = sensor<Orvane::FanSensor>();
  Ptr<FanStatus> const fanStatus = make<FanStatus>(
      "Fan1/1", Ptr<Environment::Cooling::FanProperties const>(make<Environment::Cooling::FanProperties>(12000U)));
  fanStatus->hwStatusIs(FanStatus::HwStatus::ok);
  fanStatus->speedIs(50.0F);
  fan->statusIs(fanStatus);
  EXPECT_EQ(answers(*fan), text(6000, 1, 2000));
  EXPECT_EQ(measured(*fan), 6000);
  fanStatus->speedIs(-1.0F);
  fanStatus->hwStatusIs(FanStatus::HwStatus::failed);
  EXPECT_EQ(answers(*fan), text(-none, 3, 2000));
  fanStatus->hwStatusIs(FanStatus::HwStatus::unknown);
  EXPECT_EQ(answers(*fan), text(0, 2, 2000));
  fanStatus->speedIs(50.0F);
  fan->statusIs(nullptr);
  EXPECT_EQ(answers(*fan), text(0, 2, 2000));
}

// So does one whose record has nothing but a reading and its state.
template <class T, class Status>
void expectReading(void (Status::*readingIs)(float), float reading, S32 value, double inUnits) {
  Ptr<T> const bound = sensor<T>();
  Ptr<Status> const record = make<Status>("S");
  record->hwStatusIs(Status::HwStatus::ok);
  ((*record).*readingIs)(reading);
  bound->statusIs(record);
  EXPECT_EQ(answers(*bound), text(value, 1, 5000));
  EXPECT_NEAR(measured(*bound), inUnits, 1e-9);
  record->hwStatusIs(Status::HwStatus::failed);
  EXPECT_EQ(bound->operStatus(), 3U);
}

TEST(Sensor, ReadsVoltagesCurrentsAndTemperatures) {
  using Environment::Power::CurrentSensorStatus;
  using Environment::Power::VoltageRailStatus;
  expectReading<Orvane::VoltageSensor>(&VoltageRailStatus::voltageIs, 3.31F, 331, 3.31);
  expectReading<Orvane::CurrentSensor>(&CurrentSensorStatus::currentIs, 4.25F, 425, 4.25);
  expectReading<Orvane::TemperatureSensor>(&TempSensorStatus::temperatureIs, 21.5F, 215, 21.5);
}

// The rate in milliseconds by the configured interval, of whole seconds.
template <class T, class Config, class Status>
void expectRateByConfiguration() {
  Ptr<T> const polled = sensor<T>();
  Ptr<Config> const config = make<Config>("S");
  polled->configDataIs(config);
  EXPECT_EQ(polled->valueUpdateRate(), 0U) << "without a status";
  polled->statusIs(make<Status>("S"));
  EXPECT_EQ(polled->valueUpdateRate(), 5000U) << "a configuration that names no interval";
  for (auto const& [seconds, rate] : {std::pair(2.9, 2000U), std::pair(0.5, 0U), std::pair(60.0, 60000U)}) {
    config->sensorPollIntervalIs(seconds);
    EXPECT_EQ(polled->valueUpdateRate(), rate) << seconds;
  }
}

TEST(Sensor, UpdateRateByConfiguration) {
  expectRateByConfiguration<Orvane::VoltageSensor, Environment::Power::VoltageRailConfig,
                            Environment::Power::VoltageRailStatus>();
  expectRateByConfiguration<Orvane::TemperatureSensor, TempSensorConfig, TempSensorStatus>();
}

TEST(Sensor, LimitsOfATemperature) {
  Ptr<Orvane::TemperatureSensor> const temperature = sensor<Orvane::TemperatureSensor>();
  Ptr<TempSensorConfig> const config = make<TempSensorConfig>("T");
  temperature->configDataIs(config);
  EXPECT_EQ(answers(*temperature), text(0, 2, 0)) << "a configuration that names no limit";
  struct Row {
    double degrees;
    S32 tenths;
  };
  for (Row const& row : {Row{78.25, 783}, Row{78.24, 782}, Row{0.0, 0}, Row{-12.25, -123}, Row{-0.04, 0}, Row{1e300, 0},
                         Row{std::numeric_limits<double>::quiet_NaN(), 0}}) {
    config->overheatThresholdIs(row.degrees);
    config->criticalThresholdIs(85.0);
    EXPECT_EQ(answers(*temperature), text(0, 2, 0, {-none, -none, row.tenths, 850})) << row.degrees;
    config->overheatThresholdIs(75.0);
    config->criticalThresholdIs(row.degrees);
    EXPECT_EQ(answers(*temperature), text(0, 2, 0, {-none, -none, 750, row.tenths})) << row.degrees;
  }
  temperature->configDataIs(nullptr);
  EXPECT_EQ(answers(*temperature), text(0, 2, 0));
}

TEST(DomSensor, ReadsItsLane) {
  using Xcvr::DomInfo;
  using Xcvr::LaneId;
  Ptr<Xcvr::XcvrStatus> const status = make<Xcvr::XcvrStatus>("Ethernet5");
  status->domInfoIs(LaneId(0), DomInfo{31.25, 3.3, 6.5, -2.1, -3.4});
  status->domInfoIs(LaneId(2), DomInfo{-1.0, 3.29, 6.6, 0.0, -30.0});
  Xcvr::DomThreshold threshold;
  threshold.temperature = {75.05, -5.0, 70.0, 0.0};
  threshold.voltage = {3.6, 3.0, 3.5, 3.1};
  threshold.txBias = {12.0, 2.0, 11.0, 3.0};
  threshold.txPower = {1.0, -9.0, 0.0, -8.0};
  threshold.rxPower = {2.0, -14.0, 0.0, -12.0};

  struct Row {
    Ptr<Orvane::DomSensor> sensor;
    S32 value, otherLane;
    Limits limits;
    double measured;  // in degrees, volts, amperes and watts
  };
  for (Row const& row : {
           Row{sensor<Orvane::DomTemperatureSensor>(), 313, -none, {-50, 0, 700, 751}, 31.3},
           Row{sensor<Orvane::DomVoltageSensor>(), 330, 329, {300, 310, 350, 360}, 3.3},
           Row{sensor<Orvane::DomTxBiasSensor>(), 650, 660, {200, 300, 1100, 1200}, 0.0065},
           Row{sensor<Orvane::DomTxPowerSensor>(), 6166, 10000, {1259, 1585, 10000, 12589}, 0.0006166},
           Row{sensor<Orvane::DomRxPowerSensor>(), 4571, 10, {398, 631, 10000, 15849}, 0.0004571},
       }) {
    Orvane::DomSensor& sensor = *row.sensor;
    SCOPED_TRACE(sensor.fwkType()->name());
    status->domThresholdIs(threshold);
    sensor.statusIs(status);
    EXPECT_EQ(answers(sensor), text(row.value, 1, 6000, row.limits));
    EXPECT_NEAR(measured(sensor), row.measured, 1e-9);
    sensor.laneIdIs(LaneId(2));
    EXPECT_EQ(answers(sensor), text(row.otherLane, 1, 6000, row.limits));
    // A lane without readings, with limits all the same: those are the transceiver's.
    sensor.laneIdIs(LaneId(1));
    EXPECT_EQ(answers(sensor), text(0, 2, 6000, row.limits));
    status->domThresholdDel();
    EXPECT_EQ(answers(sensor), text(0, 2, 6000));
    sensor.statusIs(nullptr);
    EXPECT_EQ(answers(sensor), text(0, 2, 6000));
  }
}

// A sensor whose answers are given.
class Given : public Sensor {
 public:
  Given(S32 value, Limits const& limits) : Sensor(1), value_(value), limits_(limits) {}
  U32 value() const override { return static_cast<U32>(value_); }
  U32 lowCritThreshold() const override { return static_cast<U32>(limits_.lowCrit); }
  U32 lowWarnThreshold() const override { return static_cast<U32>(limits_.lowWarn); }
  U32 highWarnThreshold() const override { return static_cast<U32>(limits_.highWarn); }
  U32 highCritThreshold() const override { return static_cast<U32>(limits_.highCrit); }

 private:
  S32 value_;
  Limits limits_;
};

TEST(Sensor, ThresholdDescriptions) {
  Limits const limits{-50, 5, 700, 750};
  struct Row {
    S32 value;
    Limits limits;
    char const* text;
  };
  for (Row const& row : {
           Row{-none, {}, "No thresholds are defined"},
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
           Row{-none, {-none, -none, none, 1}, "Sensor value -1000000000 is within bounds"},
           // The critical limits are looked at first, wherever the warnings lie.
           Row{10, {20, 30, 5, 8}, "Sensor value 10 is below the low critical threshold (20)"},
           Row{10, {0, 20, 5, 8}, "Sensor value 10 is over the high critical threshold (8)"},
           Row{10, {0, 20, 5, 80}, "Sensor value 10 is below the low warning threshold (20)"},
       }) {
    EXPECT_EQ(make<Given>(row.value, row.limits)->thresholdDescription(), row.text);
  }
}

TEST(Sensor, ItsTimeIsTheTimeOfTheRequest) {
  SteppedTime time;
  Ptr<Sensor> const temperature = sensor<Orvane::TemperatureSensor>();
  temperature->valueTimeStampIs(5.0);
  time.step(1.5);
  EXPECT_EQ(temperature->valueTimeStamp(), 1001.5);
}

}  // namespace
