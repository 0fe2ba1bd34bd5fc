#include "sm/States.h"

#include "model/Constants.h"
#include "runtime/kit/System.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

namespace {

Zef::Ptr<PhysicalEntity> rowOf(Zef::Ptr<ComponentEntry> const& entry, Zef::String8 const& name) {
  if (entry) return entry->entity();
  ORVANE_TRACE(0) << "Cannot find physical entity for " << name;
  return nullptr;
}

// Null, with a level 0 trace, when the row has none.
Zef::Ptr<State> stateOf(Root const& root, PhysicalEntity const& row, Zef::String8 const& name) {
  auto state = root.stateMib()->stateEntity(row.index());
  if (!state) {
    ORVANE_TRACE(0) << "Cannot find State entity for " << name;
  }
  return state;
}

void write(State& state, States states, Stamp stamp) {
  state.operStateIs(states.operState);
  state.adminStateIs(states.adminState);
  if (stamp == Stamp::moves) state.lastChangedIs(Zef::System::currentTimeUtc());
}

template <class Status>
States read(Status status, U32 (Constants::*operState)(Status) const, U32 (Constants::*adminState)(Status) const) {
  Constants const& constants = *constantsFactory();
  return {(constants.*operState)(status), (constants.*adminState)(status)};
}

}  // namespace

void initialStates(State& state, Zef::String8 const& type) {
  bool const isSystem = type == "Chassis" || type == "FixedSystem";
  State const fresh(state.index());
  state.operStateIs(isSystem ? Constants::operStateEnabled : fresh.operState());
  state.adminStateIs(isSystem ? Constants::adminStateUnlocked : fresh.adminState());
  state.usageStateIs(fresh.usageState());
  state.alarmStatusIs(fresh.alarmStatus());
  state.standbyStatusIs(fresh.standbyStatus());
  state.lastChangedIs(Zef::System::currentTimeUtc());
}

using C = Constants;

States statesOf(Environment::Cooling::FanStatus const& status) {
  return read(status.hwStatus(), &C::hwStatusToOperState, &C::hwStatusToAdminState);
}

States statesOf(Environment::Power::SupplyStatus const& status) {
  return read(status.state(), &C::supplyStateToOperState, &C::supplyStateToAdminState);
}

States statesOf(Environment::Power::VoltageRailStatus const& status) {
  return read(status.hwStatus(), &C::voltageHwStatusToOperState, &C::voltageHwStatusToAdminState);
}

States statesOf(Environment::Power::CurrentSensorStatus const& status) {
  return read(status.hwStatus(), &C::currentHwStatusToOperState, &C::currentHwStatusToAdminState);
}

States statesOf(Environment::Temperature::TempSensorStatus const& status) {
  return read(status.hwStatus(), &C::temperatureHwStatusToOperState, &C::temperatureHwStatusToAdminState);
}

States statesOf(Hardware::Card::CardStatus const& status) {
  return read(status.state(), &C::cardStateToOperState, &C::cardStateToAdminState);
}

void reportStates(Root& root, PhysicalEntity const& row, Zef::String8 const& name, States states, Stamp stamp) {
  auto const state = stateOf(root, row, name);
  if (!state) return;
  root.doAppendStateTrap(row.index(), states.operState, states.adminState);
  write(*state, states, stamp);
}

void reportFanStates(Root& root, PhysicalEntity const& sensor, States states) {
  auto const fan = root.entityMib()->physicalEntity(sensor.containedIn());
  if (!fan) {
    ORVANE_TRACE(0) << "Cannot find physical entity for " << sensor.containedIn();
    return;
  }
  auto const sensorState = stateOf(root, sensor, sensor.componentName());
  auto const fanState = stateOf(root, *fan, fan->componentName());
  if (!sensorState || !fanState) return;
  root.doAppendStateTrap(fan->index(), states.operState, states.adminState);
  write(*sensorState, states, Stamp::moves);
  write(*fanState, states, Stamp::moves);
}

Zef::Ptr<PhysicalEntity> componentOf(Root const& root, Zef::String8 const& name) {
  return rowOf(root.component(name), name);
}

Zef::Ptr<PhysicalEntity> cardOf(Root const& root, Zef::String8 const& name) { return rowOf(root.card(name), name); }

Zef::String8 supplyComponent(Zef::String8 const& name) {
  Zef::String8 const inSlot = "PowerSupplyP";
  Zef::String8 const byNumber = "PowerSupply";
  if (name.view().starts_with(inSlot.view())) return name;
  if (!name.view().starts_with(byNumber.view())) return {};
  Zef::String8 const number = name.substr(static_cast<long long>(byNumber.view().size()), -1);
  return inSlot + number + "/" + number;
}

Zef::String8 fanSensorName(Zef::String8 const& fan) {
  constexpr int prefix = 3;  // what a fan's name begins with, whatever it is
  return "FanSensor" + fan.substr(prefix, -1);
}

}  // namespace Orvane
