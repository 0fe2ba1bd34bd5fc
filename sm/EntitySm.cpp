#include "sm/EntitySm.h"

#include <array>

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "sm/ChassisSm.h"
#include "sm/FixedSystemSm.h"
#include "sm/Handling.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

using EntityMib::ParentIndex;

namespace {

constexpr std::array<Handling::Container, 6> fixedSystemContainers = {
    {{"PowerSupplySlot", 6}, {"FanTraySlot", 7}, {"XcvrSlot", 3}, {"Sensor", 1}, {"Port", 2}, {"Chip", 4}}};
constexpr std::array<Handling::Container, 3> chassisContainers = {
    {{"PowerSupplySlot", 1}, {"FanTraySlot", 3}, {"CardSlot", 2}}};

// The trap tick's period, and how long the tables must have been quiet before entConfigChange leaves; in seconds.
constexpr double trapInterval = 6.0;
constexpr unsigned trapsBeforeLast = 20;

// The index of a system's own row.
U32 indexOf(Root const& root, char const* system) {
  return root.constants()->helperIs()->physicalIndex(nullptr, system, 0, "");
}

template <class Containers>
void createContainers(Root& root, Zef::Ptr<EntityMib::PhysicalEntity const> const& system,
                      Containers const& containers) {
  // Before all else, so that every child finds its own.
  for (Handling::Container const& container : containers) {
    root.doCreateVirtualContainer(system, container.type, ParentIndex(container.relPos));
  }
}

// Get or create, in the place of a reactor that follows another system.
template <class Sm, class System>
Zef::Ptr<Sm> systemSmIs(Zef::Ptr<Sm>& held, Root& root, Zef::Ptr<Zef::ActivityConfig> const& activity,
                        Zef::Ptr<System const> const& system) {
  if (!held || held->observed() != system.get()) {
    if (held) held->zefDoZombieReactors(true);
    auto const made = Zef::make<Sm>(root);
    try {
      made->start(system);
    } catch (...) {
      made->zefDoZombieReactors(true);  // the reactors of transceiver slots may hold it
      throw;
    }
    held = made;
  }
  held->zefFwkActivityIs(activity);
  return held;
}

template <class Sm>
Zef::Ptr<Sm> systemSmDel(Zef::Ptr<Sm>& held) {
  if (held) held->zefDoZombieReactors(true);
  return std::move(held);
}

// Signed, as entPhySensorValue is. A value on a threshold is within it.
U8 alarmStatusOf(Sensor const& sensor, U32 value) {
  auto const below = [&](U32 threshold) { return static_cast<S32>(value) < static_cast<S32>(threshold); };
  auto const above = [&](U32 threshold) { return static_cast<S32>(value) > static_cast<S32>(threshold); };
  if (below(sensor.lowCritThreshold()) || above(sensor.highCritThreshold())) return Constants::alarmStatusCritical;
  if (below(sensor.lowWarnThreshold()) || above(sensor.highWarnThreshold())) return Constants::alarmStatusWarning;
  return Constants::alarmStatusNone;
}

}  // namespace

EntitySm::EntitySm(Root& root, Zef::Ptr<EntityMib::Status const> const& status,
                   Zef::Ptr<Zef::Clock const> const& pollerClock, Zef::Ptr<Zef::Clock const> const& sensorPollerClock)
    : root_(root) {
  status_.is(status);
  // Their handlers return at once until this reactor is initialized.
  poller_.is(pollerClock);
  sensorPoller_.is(sensorPollerClock);
  handleFixedSystem();
  handleChassis();
  handleInitialized();
}

EntitySm::~EntitySm() = default;

bool EntitySm::isFor(EntityMib::Status const* status, Zef::Clock const* pollerClock,
                     Zef::Clock const* sensorPollerClock) const {
  auto const clock = [](auto const& poller) { return poller ? poller->notifier() : nullptr; };
  return this->status() == status && clock(poller_) == pollerClock && clock(sensorPoller_) == sensorPollerClock;
}

SystemSm* EntitySm::systemSm() const {
  if (fixedSystemSm_) return fixedSystemSm_.get();
  return chassisSm_.get();
}

Zef::Ptr<FixedSystemSm> EntitySm::fixedSystemSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem) {
  return systemSmIs(fixedSystemSm_, root_, activity, fixedSystem);
}

Zef::Ptr<FixedSystemSm> EntitySm::fixedSystemSmDel() { return systemSmDel(fixedSystemSm_); }

Zef::Ptr<ChassisSm> EntitySm::chassisSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                          Zef::Ptr<EntityMib::Chassis const> const& chassis) {
  return systemSmIs(chassisSm_, root_, activity, chassis);
}

Zef::Ptr<ChassisSm> EntitySm::chassisSmDel() { return systemSmDel(chassisSm_); }

void EntitySm::zefDoZombieReactors(bool on) {
  if (fixedSystemSm_) fixedSystemSm_->zefDoZombieReactors(on);
  if (chassisSm_) chassisSm_->zefDoZombieReactors(on);
  StateMachine::zefDoZombieReactors(on);
}

void EntitySm::handleFixedSystem() {
  ORVANE_ENTRY();
  if (Zef::Ptr<EntityMib::FixedSystem const> const fixedSystem = status()->fixedSystem()) {
    createContainers(root_, fixedSystem, fixedSystemContainers);
    fixedSystemSmIs(nullptr, fixedSystem);
  } else if (fixedSystemSm_) {
    U32 const index = indexOf(root_, "fixedSystem");
    ORVANE_TRACE(9) << "FixedSystem being deleted. Index:" << index;
    // The row goes before the reactor, which gives up the mirrors on the way.
    root_.doRemoveEntity(index);
    fixedSystemSmDel();
  }
}

void EntitySm::handleChassis() {
  ORVANE_ENTRY();
  if (Zef::Ptr<EntityMib::Chassis const> const chassis = status()->chassis()) {
    createContainers(root_, chassis, chassisContainers);
    chassisSmIs(nullptr, chassis);
  } else if (chassisSm_) {
    U32 const index = indexOf(root_, "Chassis");
    ORVANE_TRACE(9) << "Chassis being deleted. Index:" << index;
    root_.doRemoveEntity(index);
    chassisSmDel();
  }
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
  ORVANE_TRACE(9) << "##########StateTrapCount:" << root_.pendingStateTrapCount() << " ######";
  while (root_.pendingStateTrapCount() != 0 && sent <= trapsBeforeLast) {
    if (root_.doSendOperStateChangeTrap(root_.pendingStateTrapDeq()) != 0) ++sent;
  }
  poller_->timeMinIs(clock.time() + trapInterval);
}

void EntitySm::handleCheckSensorValue() {
  ZEF_BLOCK_TIMER();
  if (!initialized()) return;
  forgetSensorsWithoutThresholds();
  classifySensors();
  sensorPoller_->timeMinIs(sensorPoller_->notifier()->time() + sensorPollInterval_);
}

// A sensor whose transceiver offers no thresholds is classified no more, until its row is made anew. Without a status
// there is no telling yet.
void EntitySm::forgetSensorsWithoutThresholds() {
  for (auto at = root_.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    auto const* const sensor = dynamic_cast<DomSensor const*>(at.ptr().get());
    if (sensor == nullptr || !sensor->status() || sensor->status()->domThresholdValid()) continue;
    root_.sensorMib()->thresholdEntityDel(sensor->index());
  }
}

void EntitySm::classifySensors() {
  for (auto at = root_.sensorMib()->thresholdEntityIteratorConst(); at; ++at) {
    U32 const index = at.key();
    auto const entity = root_.entityMib()->physicalEntity(index);
    auto const sensor = root_.sensorMib()->sensorEntity(index);
    auto const state = root_.stateMib()->stateEntity(index);
    if (!entity || !sensor || !state) {
      ORVANE_TRACE(0) << "Cannot find physical entity for " << index;
      continue;
    }
    U32 const value = sensor->value();
    U8 const previous = state->alarmStatus();
    state->alarmStatusIs(alarmStatusOf(*sensor, value));
    root_.checkSendSensorAlarmTrap(entity, state, previous, value);
  }
}

void EntitySm::handleInitialized() {
  ORVANE_ENTRY("EntitySm");
  initializedIs(true);
}

std::span<EntitySm::ZefStatus::Slot const> EntitySm::ZefStatus::slots() const {
  static constexpr Slot watched[] = {{Watched::fixedSystemAttr, &Watched::NotifieeConst::onFixedSystem},
                                     {Watched::chassisAttr, &Watched::NotifieeConst::onChassis}};
  return watched;
}

}  // namespace Orvane
