// When a notification leaves: Root's operations that queue and send. EntitySm's two timers call them.

#include <cmath>

#include "mib/Notifications.h"
#include "model/Constants.h"
#include "runtime/kit/Assert.h"
#include "runtime/kit/System.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

namespace {

U32 wholeSeconds(double time) { return static_cast<U32>(std::trunc(time)); }

}  // namespace

void Root::doAppendStateTrap(U32 index, U32 operState, U32 adminState) {
  ZEF_BLOCK_TIMER();
  // One for a row: a newer report takes the place of the older one, at the tail.
  pendingStateTrapDelBy(index);
  ORVANE_TRACE(9) << objectText(*this) << "::doAppendStateTrap( " << index << " )";
  auto const physEntity = entityMib()->physicalEntity(index);
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
