#include "sm/TrapScheduling.h"

#include <cmath>

#include "mib/Notifications.h"
#include "model/Constants.h"
#include "runtime/kit/Assert.h"
#include "runtime/kit/System.h"
#include "sm/Trace.h"

namespace Orvane {

namespace {

// The trap tick's period, and how long the tables must have been quiet before entConfigChange leaves; in seconds.
constexpr double trapInterval = 6.0;
constexpr unsigned trapsBeforeLast = 20;

U32 wholeSeconds(double time) { return static_cast<U32>(std::trunc(time)); }

// Signed, as entPhySensorValue is. A value on a threshold is within it.
U8 alarmStatusOf(Sensor const& sensor, U32 value) {
  auto const below = [&](U32 threshold) { return static_cast<S32>(value) < static_cast<S32>(threshold); };
  auto const above = [&](U32 threshold) { return static_cast<S32>(value) > static_cast<S32>(threshold); };
  if (below(sensor.lowCritThreshold()) || above(sensor.highCritThreshold())) return Constants::alarmStatusCritical;
  if (below(sensor.lowWarnThreshold()) || above(sensor.highWarnThreshold())) return Constants::alarmStatusWarning;
  return Constants::alarmStatusNone;
}

// A sensor whose transceiver offers no thresholds is classified no more, until its row is made anew. Without a status
// there is no telling yet.
void forgetSensorsWithoutThresholds(Root& root) {
  for (auto at = root.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    auto const* const sensor = dynamic_cast<DomSensor const*>(at.ptr().get());
    if (sensor == nullptr || !sensor->status() || sensor->status()->domThresholdValid()) continue;
    root.sensorMib()->thresholdEntityDel(sensor->index());
  }
}

void classifySensors(Root& root) {
  for (auto at = root.sensorMib()->thresholdEntityIteratorConst(); at; ++at) {
    U32 const index = at.key();
    auto const entity = root.entityMib()->physicalEntity(index);
    auto const sensor = root.sensorMib()->sensorEntity(index);
    auto const state = root.stateMib()->stateEntity(index);
    if (!entity || !sensor || !state) {
      ORVANE_TRACE(0) << "Cannot find physical entity for " << index;
      continue;
    }
    U32 const value = sensor->value();
    U8 const previous = state->alarmStatus();
    state->alarmStatusIs(alarmStatusOf(*sensor, value));
    root.checkSendSensorAlarmTrap(entity, state, previous, value);
  }
}

}  // namespace

void entityTablesChanged(Root& root) {
  root.entityMib()->lastChangeTimeIs(Zef::System::currentTime());
  root.configTrapFlagIs(true);
}

void EntitySm::handleOutStandingTrap() {
  ZEF_BLOCK_TIMER();
  if (!initialized()) return;
  Zef::Clock const& clock = *poller_->notifier();
  bool const due = root_.configTrapFlag() && clock.time() - root_.entityMib()->lastChangeTime() > trapInterval;
  unsigned sent = 0;
  if (due) {
    root_.doSendConfigChangeTrap();
    root_.configTrapFlagIs(false);
    sent = 1;
  }
  // Log readers match this text, and those of what is sent, with their spelling and blanks.
  ORVANE_TRACE(9) << "##########StateTrapCount:" << root_.pendingStateTrapCount() << " ######";
  while (root_.pendingStateTrapCount() != 0 && sent <= trapsBeforeLast) {
    if (root_.doSendOperStateChangeTrap(root_.pendingStateTrapDeq()) != 0) ++sent;
  }
  poller_->timeMinIs(clock.time() + trapInterval);
}

void EntitySm::handleCheckSensorValue() {
  ZEF_BLOCK_TIMER();
  if (!initialized()) return;
  forgetSensorsWithoutThresholds(root_);
  classifySensors(root_);
  sensorPoller_->timeMinIs(sensorPoller_->notifier()->time() + sensorPollInterval_);
}

void Root::doAppendStateTrap(U32 index, U32 operState, U32 adminState) {
  ZEF_BLOCK_TIMER();
  // One for a row: a newer report takes the place of the older one, at the tail.
  pendingStateTrapDelBy(index);
  ORVANE_TRACE(9) << objectText(*this) << "::doAppendStateTrap( " << index << " )";
  auto const physEntity = entityMib()->physicalEntity(index);
  // Log readers know this failure by its source, OrvaneSm, whatever this file is called.
  if (!physEntity) Zef::assertionFailed("physEntity", "OrvaneSm", __LINE__, __PRETTY_FUNCTION__);
  pendingStateTrapEnq(Zef::make<StateTrap>(physEntity->description(), index, operState, adminState));
}

void Root::doSendConfigChangeTrap() {
  ORVANE_ENTRY();
  int const rc = Snmp::entConfigChangeNotify();
  configTrapCounterIs(configTrapCounter() + 1);
  lastTrapTimestampIs(wholeSeconds(Zef::System::currentTime()));
  ORVANE_TRACE(5) << objectText(*this) << "::doSendConfigChangeTrap()Error Code:" << rc;
}

U32 Root::doSendOperStateChangeTrap(Zef::Ptr<StateTrap> const& trap) {
  U32 const index = trap->index();
  ORVANE_ENTRY(index);
  auto const tell = [&](char const* what) {
    return Zef::format("%s::doSendOperStateChangeTrap( %u, %s )", objectText(*this).c_str(), index, what);
  };
  int rc = 0;
  switch (trap->operState()) {
    case Constants::operStateEnabled:
      ORVANE_TRACE(9) << tell("State Enabled") << " Time:" << Zef::System::currentTime()
                      << "Description: " << trap->descr();
      rc = Snmp::entStateOperEnabledNotify(static_cast<S32>(trap->adminState()), trap->alarmStatus(), trap->descr(),
                                           static_cast<S32>(index));
      break;
    case Constants::operStateDisabled:
      ORVANE_TRACE(9) << tell("State Disabled") << " Time:" << Zef::System::currentTime();
      rc = Snmp::entStateOperDisabledNotify(static_cast<S32>(trap->adminState()), trap->alarmStatus(), trap->descr(),
                                            static_cast<S32>(index));
      break;
    default:
      // Log readers match this text as it is spelled.
      ORVANE_TRACE(9) << tell("Uknown state");
      return 0;
  }
  lastStateTrapIs(trap);
  lastTrapTimestampIs(wholeSeconds(Zef::System::currentTime()));
  stateTrapCounterIs(stateTrapCounter() + 1);
  ORVANE_TRACE(5) << objectText(*this) << "::doSendOperStateChangeTrap()Error Code:" << rc;
  return 1;
}

void Root::checkSendSensorAlarmTrap(Zef::Ptr<PhysicalEntity const> const& entity, Zef::Ptr<State const> const& state,
                                    U8 previousAlarmStatus, U32 value) {
  ORVANE_ENTRY();
  constexpr U8 unknown = Constants::alarmStatusUnknown;
  U8 const alarm = state->alarmStatus();
  if (alarm == previousAlarmStatus || alarm == unknown) return;
  // A row that comes up healthy is no alarm, and no clearing either.
  if (previousAlarmStatus == unknown && alarm == Constants::alarmStatusNone) return;
  int const rc = Snmp::kelvraEntSensorAlarmNotify(entity->description(), value, alarm, entity->index());
  ORVANE_TRACE(5) << objectText(*this) << "::checkSendSensorAlarmTrap()Error Code:" << rc;
}

}  // namespace Orvane
