#pragma once

#include "runtime/kit/String8.h"
#include "runtime/kit/Types.h"

// The notifications of these MIBs. Each function builds one from its arguments and hands it to the agent, unless the
// agent's configuration disables it; it reads no model, so the message says what the caller held when it called. All
// return 0, whether or not anything was sent. A notification that is not registered with the agent is a program error.
namespace Snmp {

// ENTITY-MIB entConfigChange.
int entConfigChangeNotify();

// ENTITY-STATE-MIB entStateOperEnabled and entStateOperDisabled, with entStateAdmin, entStateAlarm (the low byte of
// alarmStatus) and, beyond what the MIB asks for, entPhysicalDescr.
int entStateOperEnabledNotify(S32 adminState, U32 alarmStatus, Zef::String8 description, S32 index);
int entStateOperDisabledNotify(S32 adminState, U32 alarmStatus, Zef::String8 description, S32 index);

// kelvraEntSensorAlarm, with entPhysicalDescr, entPhySensorValue and entStateAlarm.
int kelvraEntSensorAlarmNotify(Zef::String8 description, U32 value, U8 alarmStatus, U32 index);

}  // namespace Snmp
