#include "sm/EntitySm.h"

#include <array>

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "sm/FixedSystemSm.h"
#include "sm/Handling.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

using EntityMib::ParentIndex;

namespace {

constexpr std::array<Handling::Container, 6> fixedSystemContainers = {
    {{"PowerSupplySlot", 6}, {"FanTraySlot", 7}, {"XcvrSlot", 3}, {"Sensor", 1}, {"Port", 2}, {"Chip", 4}}};

}  // namespace

EntitySm::EntitySm(Root& root, Zef::Ptr<EntityMib::Status const> const& status, Zef::Ptr<Zef::Clock const> pollerClock,
                   Zef::Ptr<Zef::Clock const> sensorPollerClock)
    : root_(root), pollerClock_(std::move(pollerClock)), sensorPollerClock_(std::move(sensorPollerClock)) {
  status_.is(status);
  handleFixedSystem();
  handleInitialized();
}

EntitySm::~EntitySm() = default;

bool EntitySm::isFor(EntityMib::Status const* status, Zef::Clock const* pollerClock,
                     Zef::Clock const* sensorPollerClock) const {
  return this->status() == status && pollerClock_ == pollerClock && sensorPollerClock_ == sensorPollerClock;
}

SystemSm* EntitySm::systemSm() const { return fixedSystemSm_.get(); }

Zef::Ptr<FixedSystemSm> EntitySm::fixedSystemSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem) {
  if (!fixedSystemSm_ || fixedSystemSm_->fixedSystem() != fixedSystem.get()) {
    fixedSystemSmDel();
    fixedSystemSm_ = Zef::make<FixedSystemSm>(root_, fixedSystem);
  }
  fixedSystemSm_->zefFwkActivityIs(activity);
  return fixedSystemSm_;
}

Zef::Ptr<FixedSystemSm> EntitySm::fixedSystemSmDel() {
  if (fixedSystemSm_) fixedSystemSm_->zefDoZombieReactors(true);
  return std::move(fixedSystemSm_);
}

void EntitySm::stop() {
  fixedSystemSmDel();
  zefDoZombieReactors(true);
}

void EntitySm::handleFixedSystem() {
  ORVANE_ENTRY();
  if (Zef::Ptr<EntityMib::FixedSystem const> const fixedSystem = status()->fixedSystem()) {
    // Containers first, so that every child finds its own.
    for (Handling::Container const& container : fixedSystemContainers) {
      root_.doCreateVirtualContainer(fixedSystem, container.type, ParentIndex(container.relPos));
    }
    fixedSystemSmIs(nullptr, fixedSystem);
  } else if (fixedSystemSm_) {
    U32 const index = root_.constants()->helperIs()->physicalIndex(nullptr, "fixedSystem", 0, "");
    ORVANE_TRACE(9) << "FixedSystem being deleted. Index:" << index;
    // The row goes before the reactor, which gives up the mirrors on the way.
    root_.doRemoveEntity(index);
    fixedSystemSmDel();
  }
}

void EntitySm::handleInitialized() {
  ORVANE_ENTRY("EntitySm");
  initializedIs(true);
}

std::span<EntitySm::ZefStatus::Slot const> EntitySm::ZefStatus::slots() const {
  static constexpr Slot watched[] = {{Watched::fixedSystemAttr, &Watched::NotifieeConst::onFixedSystem}};
  return watched;
}

}  // namespace Orvane
