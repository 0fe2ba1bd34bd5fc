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
