#include "sm/FixedSystemSm.h"

#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

using EntityMib::ParentIndex;

FixedSystemSm::FixedSystemSm(Root& root, Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem) : SystemSm(root) {
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

void FixedSystemSm::handlePowerSupplySlot(ParentIndex key) {
  ORVANE_ENTRY(key);
  handleObject(handling::powerSupplySlot, board(), key, board()->powerSupplySlot(key));
}

void FixedSystemSm::handlePowerSupplySlot() {
  ORVANE_ENTRY();
  if (board() != nullptr)
    walk(board()->powerSupplySlotIteratorConst(), [this](ParentIndex key) { handlePowerSupplySlot(key); });
}

void FixedSystemSm::handleFanTraySlot(ParentIndex key) {
  ORVANE_ENTRY(key);
  handleObject(handling::fanTraySlot, board(), key, board()->fanTraySlot(key));
}

void FixedSystemSm::handleFanTraySlot() {
  ORVANE_ENTRY();
  if (board() != nullptr)
    walk(board()->fanTraySlotIteratorConst(), [this](ParentIndex key) { handleFanTraySlot(key); });
}

void FixedSystemSm::handleStorageDevices(ParentIndex key) { ORVANE_ENTRY(key); }

void FixedSystemSm::handleStorageDevices() {
  ORVANE_ENTRY();
  if (board() != nullptr)
    walk(board()->storageDevicesIteratorConst(), [this](ParentIndex key) { handleStorageDevices(key); });
}

void FixedSystemSm::ZefFixedSystem::onPowerSupplySlot(ParentIndex key) {
  if (zefOnKey(Watched::powerSupplySlotAttr, key, &ZefFixedSystem::onPowerSupplySlot)) return;
  if (auto const slot = notifier()->powerSupplySlot(key)) {
    owner().powerSupplySlotIs(slot);
  } else {
    owner().powerSupplySlotDel(key);
  }
  if (alive()) owner().handlePowerSupplySlot(key);
}

void FixedSystemSm::ZefFixedSystem::onFanTraySlot(ParentIndex key) {
  if (zefOnKey(Watched::fanTraySlotAttr, key, &ZefFixedSystem::onFanTraySlot)) return;
  if (auto const slot = notifier()->fanTraySlot(key)) {
    owner().fanTraySlotIs(slot);
  } else {
    owner().fanTraySlotDel(key);
  }
  if (alive()) owner().handleFanTraySlot(key);
}

void FixedSystemSm::ZefFixedSystem::onSensor(ParentIndex key) {
  if (zefOnKey(Watched::sensorAttr, key, &ZefFixedSystem::onSensor)) return;
  if (alive()) owner().handleSensor(key);
}

void FixedSystemSm::ZefFixedSystem::onPort(ParentIndex key) {
  if (zefOnKey(Watched::portAttr, key, &ZefFixedSystem::onPort)) return;
  if (alive()) owner().handlePort(key);
}

void FixedSystemSm::ZefFixedSystem::onXcvrSlot(ParentIndex key) {
  if (zefOnKey(Watched::xcvrSlotAttr, key, &ZefFixedSystem::onXcvrSlot)) return;
  if (alive()) owner().handleXcvrSlot(key);
}

void FixedSystemSm::ZefFixedSystem::onChip(ParentIndex key) {
  if (zefOnKey(Watched::chipAttr, key, &ZefFixedSystem::onChip)) return;
  if (alive()) owner().handleChip(key);
}

void FixedSystemSm::ZefFixedSystem::onStorageDevices(ParentIndex key) {
  if (zefOnKey(Watched::storageDevicesAttr, key, &ZefFixedSystem::onStorageDevices)) return;
  if (alive()) owner().handleStorageDevices(key);
}

}  // namespace Orvane
