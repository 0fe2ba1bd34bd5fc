#include <cmath>

#include "model/Constants.h"
#include "model/Low32.h"
#include "model/OrvaneLib.h"
#include "runtime/kit/System.h"

// What sensors compute when they are asked. A sensor holds its status record and its configuration and reads them at
// that moment; without them it has an answer all the same.

namespace Orvane {

namespace {

using Zef::Ptr;
using Zef::String8;

constexpr U32 millisecondsPerSecond = 1000;

// The status of a sensor, as the class's function of Constants reads its status record.
template <class Status>
U32 operStatusOf(Ptr<Status const> const& status, U32 (Constants::*convert)(typename Status::HwStatus) const) {
  return status ? ((*constantsFactory()).*convert)(status->hwStatus()) : Constants::sensorOperStatusUnavailable;
}

// The value of a sensor whose status record has one reading.
template <class Sensor, class Status>
U32 valueOf(Sensor const& sensor, float (Status::*reading)() const, U32 (Constants::*convert)(float, U32) const) {
  Ptr<Status const> const& status = sensor.status();
  return status ? ((*constantsFactory()).*convert)((*status.*reading)(), sensor.operStatus()) : 0;
}

// The update rate of a sensor whose poll interval is configured.
template <class Sensor>
U32 valueUpdateRateOf(Sensor const& sensor) {
  if (!sensor.status()) return 0;
  if (!sensor.configData()) return Constants::defaultPollInterval * millisecondsPerSecond;
  return low32(std::trunc(sensor.configData()->sensorPollInterval())) * millisecondsPerSecond;
}

// A temperature limit in tenths of a degree.
using TempConfig = Environment::Temperature::TempSensorConfig;
U32 tempLimitOf(Ptr<TempConfig const> const& config, double (TempConfig::*limit)() const) {
  return config ? low32(std::round((*config.*limit)() * 10.0)) : Constants::defaultHighThreshold;
}

// What a transceiver's sensor measures.
struct DomKind {
  double Xcvr::DomInfo::*reading;
  U32 (Constants::*value)(float, U32) const;
  Xcvr::DomLimits Xcvr::DomThreshold::*limits;
  double (*threshold)(double limit);
};

double tenths(double limit) { return 10.0 * limit; }
double hundredths(double limit) { return 100.0 * limit; }
double tenthsOfMicrowatts(double dBm) { return 10000.0 * std::pow(10.0, dBm / 10.0); }

U32 domValue(DomSensor const& sensor, DomKind const& kind) {
  if (!sensor.status()) return 0;
  Xcvr::DomInfo const info = sensor.status()->domInfo(sensor.laneId());
  return ((*constantsFactory()).*kind.value)(static_cast<float>(info.*kind.reading), sensor.operStatus());
}

U32 domLimit(DomSensor const& sensor, DomKind const& kind, double Xcvr::DomLimits::*limit, U32 noLimit) {
  if (!sensor.status() || !sensor.status()->domThresholdValid()) return noLimit;
  Xcvr::DomThreshold const threshold = sensor.status()->domThreshold();
  return low32(std::round(kind.threshold(threshold.*kind.limits.*limit)));
}

}  // namespace

U32 Sensor::lowWarnThreshold() const { return Constants::defaultLowThreshold; }
U32 Sensor::lowCritThreshold() const { return Constants::defaultLowThreshold; }
U32 Sensor::highWarnThreshold() const { return Constants::defaultHighThreshold; }
U32 Sensor::highCritThreshold() const { return Constants::defaultHighThreshold; }

double Sensor::valueTimeStamp() const { return Zef::System::currentTime(); }

String8 Sensor::thresholdDescription() const {
  constexpr S32 noLow = static_cast<S32>(Constants::defaultLowThreshold);
  constexpr S32 noHigh = static_cast<S32>(Constants::defaultHighThreshold);
  S32 const at = static_cast<S32>(value());
  S32 const lowCrit = static_cast<S32>(lowCritThreshold());
  S32 const lowWarn = static_cast<S32>(lowWarnThreshold());
  S32 const highCrit = static_cast<S32>(highCritThreshold());
  S32 const highWarn = static_cast<S32>(highWarnThreshold());
  if (lowCrit == noLow && lowWarn == noLow && highCrit == noHigh && highWarn == noHigh) {
    return "No thresholds are defined";
  }
  if (at < lowCrit) return Zef::format("Sensor value %d is below the low critical threshold (%d)", at, lowCrit);
  if (at > highCrit) return Zef::format("Sensor value %d is over the high critical threshold (%d)", at, highCrit);
  if (at < lowWarn) return Zef::format("Sensor value %d is below the low warning threshold (%d)", at, lowWarn);
  if (at > highWarn) return Zef::format("Sensor value %d is over the high warning threshold (%d)", at, highWarn);
  return Zef::format("Sensor value %d is within bounds", at);
}

U32 FanSensor::operStatus() const { return operStatusOf(status(), &Constants::hwStatusToSensorOperStatus); }
U32 FanSensor::value() const {
  return status() ? constantsFactory()->valueFromFanSpeed(status()->properties(), status()->speed(), operStatus()) : 0;
}

U32 VoltageSensor::operStatus() const { return operStatusOf(status(), &Constants::voltageHwStatusToSensorOperStatus); }
U32 VoltageSensor::value() const {
  return valueOf(*this, &Environment::Power::VoltageRailStatus::voltage, &Constants::valueFromVoltage);
}
U32 VoltageSensor::valueUpdateRate() const { return valueUpdateRateOf(*this); }

U32 CurrentSensor::operStatus() const { return operStatusOf(status(), &Constants::currentHwStatusToSensorOperStatus); }
U32 CurrentSensor::value() const {
  return valueOf(*this, &Environment::Power::CurrentSensorStatus::current, &Constants::valueFromOutputCurrent);
}

U32 TemperatureSensor::operStatus() const {
  return operStatusOf(status(), &Constants::temperatureHwStatusToSensorOperStatus);
}
U32 TemperatureSensor::value() const {
  return valueOf(*this, &Environment::Temperature::TempSensorStatus::temperature, &Constants::valueFromTemperature);
}
U32 TemperatureSensor::valueUpdateRate() const { return valueUpdateRateOf(*this); }
U32 TemperatureSensor::highWarnThreshold() const { return tempLimitOf(configData(), &TempConfig::overheatThreshold); }
U32 TemperatureSensor::highCritThreshold() const { return tempLimitOf(configData(), &TempConfig::criticalThreshold); }

U32 DomSensor::operStatus() const {
  bool const valid = status() && status()->domInfoValid(laneId());
  return constantsFactory()->domInfoToOperStatus(valid);
}

// A row for each class: what it reads, how that becomes a value, its limits and how they do.
#define DOM_SENSOR(Sensor, ...)                                                                             \
  static constexpr DomKind kindOf##Sensor{__VA_ARGS__};                                                     \
  U32 Sensor::value() const { return domValue(*this, kindOf##Sensor); }                                     \
  U32 Sensor::lowWarnThreshold() const {                                                                    \
    return domLimit(*this, kindOf##Sensor, &Xcvr::DomLimits::lowWarning, Constants::defaultLowThreshold);   \
  }                                                                                                         \
  U32 Sensor::lowCritThreshold() const {                                                                    \
    return domLimit(*this, kindOf##Sensor, &Xcvr::DomLimits::lowAlarm, Constants::defaultLowThreshold);     \
  }                                                                                                         \
  U32 Sensor::highWarnThreshold() const {                                                                   \
    return domLimit(*this, kindOf##Sensor, &Xcvr::DomLimits::highWarning, Constants::defaultHighThreshold); \
  }                                                                                                         \
  U32 Sensor::highCritThreshold() const {                                                                   \
    return domLimit(*this, kindOf##Sensor, &Xcvr::DomLimits::highAlarm, Constants::defaultHighThreshold);   \
  }

using Info = Xcvr::DomInfo;
using Limits = Xcvr::DomThreshold;
DOM_SENSOR(DomTemperatureSensor, &Info::temperature, &Constants::valueFromTemperature, &Limits::temperature, tenths)
DOM_SENSOR(DomVoltageSensor, &Info::voltage, &Constants::valueFromVoltage, &Limits::voltage, hundredths)
DOM_SENSOR(DomTxBiasSensor, &Info::txBias, &Constants::valueFromOutputCurrent, &Limits::txBias, hundredths)
DOM_SENSOR(DomTxPowerSensor, &Info::txPower, &Constants::valueFromOpticalPower, &Limits::txPower, tenthsOfMicrowatts)
DOM_SENSOR(DomRxPowerSensor, &Info::rxPower, &Constants::valueFromOpticalPower, &Limits::rxPower, tenthsOfMicrowatts)

}  // namespace Orvane
