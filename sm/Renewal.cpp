#include "sm/Renewal.h"

#include <map>
#include <string_view>

#include "sm/EnvironmentStatusSm.h"
#include "sm/IntfSensorStatusSm.h"
#include "sm/SensorUpdates.h"
#include "sm/States.h"
#include "sm/XcvrSensorStatusSm.h"

namespace Orvane {

namespace {

// What a row shows and asks for before it is renewed.
struct Before {
  Zef::Ptr<State> state;
  U32 operState;
  U32 adminState;
  U32 standbyStatus;
  U8 alarmStatus;
  double lastChanged;
  bool hadThresholds;
  bool waited;
};

// The rows that are there, and for each fan or sensor of a fan the others that go with it.
std::set<U32> withTheirFans(Root const& root, std::set<U32> const& rows) {
  auto const& mib = *root.entityMib();
  std::set<U32> all;
  for (U32 const index : rows) {
    auto row = mib.physicalEntity(index);
    if (!row || !row->phyAttr()) continue;
    all.insert(index);
    if (row->tag() == "FanSensor") row = mib.physicalEntity(row->containedIn());
    if (!row || row->zefTypeName() != "Fan") continue;
    all.insert(row->index());
    for (auto at = mib.containsStartAt({row->index(), 0}); at && at.key().container == row->index(); ++at)
      all.insert(at.key().containee);
  }
  return all;
}

Before reset(Root& root, PhysicalEntity const& row, Zef::Ptr<State> const& state) {
  U32 const index = row.index();
  auto& sensors = *root.sensorMib();
  Before before{state,
                state->operState(),
                state->adminState(),
                state->standbyStatus(),
                state->alarmStatus(),
                state->lastChanged(),
                static_cast<bool>(sensors.thresholdEntity(index)),
                static_cast<bool>(root.pendingStateTrapBy(index))};
  initialStates(*state, row.zefTypeName());
  sensors.thresholdEntityDel(index);
  return before;
}

// A supply's status goes by the name of its component, or by its number alone.
void offerSupply(PowerSensorStatusSm& supplies, Zef::String8 const& component) {
  supplies.handlePowerSupplyStatus(component);
  auto const [slot, number] = std::pair(component.pos(0, "P", 1), component.lastPos(-1, "/", 1));
  if (slot < 0 || number < 0) return;
  Zef::String8 const byNumber = "PowerSupply" + component.substr(number + 1, -1);
  if (supplyComponent(byNumber) == component) supplies.handlePowerSupplyStatus(byNumber);
}

// Every record that may go by the name of a row in the map of components.
void offerComponent(Root& root, PhysicalEntity const& row) {
  Zef::String8 const& name = row.componentName();
  if (root.sensorMib()->sensorEntity(row.index())) makeSensor(root, row, name);
  if (row.tag() == "FanSensor") {
    // It is bound by the name of its fan; the record may be that of a fan with its own number.
    constexpr std::string_view prefix = "FanSensor";
    Zef::String8 const fan = "Fan" + name.substr(prefix.size(), -1);
    if (root.coolingStatus() && root.coolingStatus()->fan(fan)) root.updateFanSensor(fan);
  }
  if (root.intfStatusSm()) {
    try {
      root.intfStatusSm()->handleIntfStatus(Morvet::IntfId(name));
    } catch (Zef::RangeException const&) {  // no name of an interface, so none goes by it
    }
  }
  if (root.powerStatusSm()) offerSupply(*root.powerStatusSm(), name);
}

void offer(Root& root, Zef::Ptr<PhysicalEntity> const& row) {
  Zef::String8 const name = identifierOf(root, row);
  if (row->tag() == "Xcvr") {
    if (root.xcvrStatusSm()) root.xcvrStatusSm()->handleXcvrStatus(name);
  } else if (row->zefTypeName() == "Card") {
    root.updateCardSensor(name);
  } else {
    offerComponent(root, *row);
  }
}

void settle(Root& root, U32 index, Before const& before) {
  State& state = *before.state;
  // An alarm that stands has been told.
  if (before.hadThresholds && root.sensorMib()->thresholdEntity(index)) state.alarmStatusIs(before.alarmStatus);
  if (state.operState() != before.operState || state.adminState() != before.adminState ||
      state.standbyStatus() != before.standbyStatus) {
    return;
  }
  state.lastChangedIs(before.lastChanged);
  if (!before.waited) root.pendingStateTrapDelBy(index);
}

}  // namespace

void renew(Root& root, std::set<U32> const& rows, std::function<void()> const& then) {
  std::map<U32, Before> befores;
  for (U32 const index : withTheirFans(root, rows)) {
    auto const row = root.entityMib()->physicalEntity(index);
    if (auto const fru = Zef::dynamicCast<EntityMib::Fru const>(row->phyAttr())) row->aliasIs(fru->alias());
    if (auto const state = root.stateMib()->stateEntity(index)) befores.emplace(index, reset(root, *row, state));
  }
  for (auto const& [index, before] : befores) offer(root, root.entityMib()->physicalEntity(index));
  if (then) then();
  for (auto const& [index, before] : befores) settle(root, index, before);
}

}  // namespace Orvane
