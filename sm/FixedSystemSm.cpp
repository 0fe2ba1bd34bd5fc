#include "sm/FixedSystemSm.h"

#include "sm/Root.h"

namespace Orvane {

using EntityMib::ParentIndex;

void FixedSystemSm::start(Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem) {
  fixedSystem_.is(fixedSystem);
  handlePowerSupplySlot();
  handleFanTraySlot();
  handleStorageDevices();
  handleSensor();
  handlePort();
  handleXcvrSlot();
  handleChip();
  for (auto at = fixedSystem->powerSupplySlotIteratorConst(); at; ++at) powerSupplySlotIs(at.ptr());
  for (auto at = fixedSystem->fanTraySlotIteratorConst(); at; ++at) fanTraySlotIs(at.ptr());
  handleInitialized("FixedSystemSm", fixedSystem);
}

void FixedSystemSm::followXcvrSlot(Zef::Ptr<EntityMib::XcvrSlot const> const& slot) {
  root().xcvrSlotSmIs(nullptr, Zef::Ptr<Root>(&root()), slot, Zef::Ptr<FixedSystemSm>(this), nullptr);
}

void FixedSystemSm::handleStorageDevices(ParentIndex key) { ORVANE_ENTRY(key); }

void FixedSystemSm::handleStorageDevices() {
  ORVANE_ENTRY();
  if (observed() != nullptr)
    walk(observed()->storageDevicesIteratorConst(), [this](ParentIndex key) { handleStorageDevices(key); });
}

void FixedSystemSm::ZefFixedSystem::onStorageDevices(ParentIndex key) {
  if (zefOnKey(Watched::storageDevicesAttr, key, &ZefFixedSystem::onStorageDevices)) return;
  if (alive()) owner().handleStorageDevices(key);
}

}  // namespace Orvane
