#include "sm/SystemSm.h"

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

using EntityMib::ParentIndex;

SystemSm::SystemSm(Root& root) : root_(root) {}

// Rows.

namespace {

// The role of a port is part of its index and went with it, so every role's place is swept.
void removePort(Root& root, EntityMib::PhysicalEntity const* parent, ParentIndex key) {
  for (char const* role : {"ethernet", "management", "test", "internal", ""}) {
    U32 const index = root.constants()->helperIs()->physicalIndex(parent, handling::port.word, key.value(), role);
    if (root.entityMib()->physicalEntity(index)) root.doRemoveEntity(index);
  }
}

}  // namespace

void handleObject(Root& root, SystemSm* system, Handling const& handling, EntityMib::PhysicalEntity const* parent,
                  ParentIndex key, Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  if (object) {
    auto const row = root.doAddEntity(object, handling.state, handling.sensor);
    ORVANE_TRACE(9) << "ComponentName::" << row->componentName();
    if (system != nullptr) {
      if (handling.ofXcvr) {
        ORVANE_TRACE(9) << system->kindText();
      }
      system->mirror(row, object, handling.hardwareMirror, handling.fruMirror);
    }
    for (Handling::Container const& container : handling.containers) {
      if (container.type == nullptr) break;
      root.doCreateVirtualContainer(object, container.type, ParentIndex(container.relPos));
    }
  } else if (handling.removal == nullptr) {
    removePort(root, parent, key);
  } else {
    U32 const index = root.constants()->helperIs()->physicalIndex(parent, handling.word, key.value(), "");
    ORVANE_TRACE(9) << handling.removal << index;
    root.doRemoveEntity(index);
  }
}

void SystemSm::handleObject(Handling const& handling, EntityMib::PhysicalEntity const* parent, ParentIndex key,
                            Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  Orvane::handleObject(root_, this, handling, parent, key, object);
}

void SystemSm::mirror(Zef::Ptr<PhysicalEntity> const& row, Zef::Ptr<EntityMib::PhysicalEntity const> const& object,
                      bool hardware, bool fru) {
  physicalAttributesIs(nullptr, row->index(), row, object, root_);
  if (hardware) {
    hardwareAttributesIs(nullptr, row->index(), row, Zef::dynamicCast<EntityMib::Hardware const>(object), root_);
  }
  if (fru) fruAttributesIs(nullptr, row->index(), row, Zef::dynamicCast<EntityMib::Fru const>(object), root_);
}

void SystemSm::handleInitialized(char const* className, Zef::Ptr<EntityMib::Fru const> const& system) {
  ORVANE_ENTRY(className);
  auto const row = root_.doAddEntity(system, true, false);
  ORVANE_TRACE(9) << "ComponentName::" << row->componentName();
  mirror(row, system, true, true);
  initializedIs(true);
}

// Mirrors.

Zef::Ptr<PhysicalAttributesSm> SystemSm::physicalAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                                              Zef::Ptr<PhysicalEntity> const& row,
                                                              Zef::Ptr<EntityMib::PhysicalEntity const> const& input,
                                                              Root& root) {
  return physicalAttributes_.is(activity, index, row, input, root);
}

Zef::Ptr<HardwareAttributesSm> SystemSm::hardwareAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                                              Zef::Ptr<PhysicalEntity> const& row,
                                                              Zef::Ptr<EntityMib::Hardware const> const& input,
                                                              Root& root) {
  return hardwareAttributes_.is(activity, index, row, input, root);
}

Zef::Ptr<FruAttributesSm> SystemSm::fruAttributesIs(Zef::Ptr<Zef::ActivityConfig> const& activity, U32 index,
                                                    Zef::Ptr<PhysicalEntity> const& row,
                                                    Zef::Ptr<EntityMib::Fru const> const& input, Root& root) {
  return fruAttributes_.is(activity, index, row, input, root);
}

void SystemSm::doRemoveAttributeSm(U32 index) {
  ORVANE_ENTRY(index);
  physicalAttributes_.del(index);
  hardwareAttributes_.del(index);
  fruAttributes_.del(index);
}

unsigned SystemSm::mirrorCount() const {
  return physicalAttributes_.count() + hardwareAttributes_.count() + fruAttributes_.count();
}

// Slots.

void SystemSm::powerSupplySlotIs(Zef::Ptr<EntityMib::PowerSupplySlot const> const& slot) { powerSupplySlot_.is(slot); }
void SystemSm::powerSupplySlotDel(ParentIndex key) { powerSupplySlot_.del(key); }
void SystemSm::fanTraySlotIs(Zef::Ptr<EntityMib::FanTraySlot const> const& slot) { fanTraySlot_.is(slot); }
void SystemSm::fanTraySlotDel(ParentIndex key) { fanTraySlot_.del(key); }

// A power supply slot: the supply's rows first, then its reactor, which adds what is in it.

using ZefPowerSupplySlot = SystemSm::ZefPowerSupplySlot;
using ZefPowerSupply = ZefPowerSupplySlot::ZefPowerSupply;

SystemSm::ZefPowerSupplySlot::ZefPowerSupplySlot(SystemSm& owner, ParentIndex key)
    : KeyedReactor(key), Owned(owner), powerSupply_(*this, [](ZefPowerSupplySlot const& self) {
        return Zef::Ptr<EntityMib::PowerSupply const>(self.notifier()->powerSupply());
      }) {}

std::span<ZefPowerSupplySlot::Slot const> ZefPowerSupplySlot::slots() const {
  static constexpr Slot watched[] = {{Watched::powerSupplyAttr, &Watched::NotifieeConst::onPowerSupply}};
  return watched;
}

void ZefPowerSupplySlot::onPowerSupply() {
  if (zefOnAttribute(Watched::powerSupplyAttr, nullptr)) return;
  if (alive()) handlePowerSupply();
  powerSupply_.reconcile();
}

void ZefPowerSupplySlot::handlePowerSupply() {
  ORVANE_ENTRY();
  system().handleObject(handling::powerSupply, notifier(), ParentIndex(0), notifier()->powerSupply());
}

ZefPowerSupply::ZefPowerSupply(ZefPowerSupplySlot& owner)
    : Owned(owner), fan_(*this, "fan", [](ZefPowerSupply const& self, auto const& visit) {
        for (auto at = self.notifier()->fanIteratorConst(); at; ++at) visit(at.ptr());
      }) {}

void ZefPowerSupply::handleAll() {
  handleFan();
  handleSensor();
}

void ZefPowerSupply::onFan(ParentIndex key) {
  if (zefOnKey(Watched::fanAttr, key, &ZefPowerSupply::onFan)) return;
  if (alive()) handleFan(key);
  if (notifier() != nullptr) fan_.follow(key, notifier()->fan(key));
}

void ZefPowerSupply::handleFan(ParentIndex key) {
  ORVANE_ENTRY(key);
  project(handling::supplyFan, key, notifier()->fan(key));
}

void ZefPowerSupply::handleFan() {
  ORVANE_ENTRY();
  if (notifier() != nullptr) walk(notifier()->fanIteratorConst(), [this](ParentIndex key) { handleFan(key); });
}

void ZefPowerSupply::project(Handling const& handling, ParentIndex key,
                             Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  system().handleObject(handling, notifier(), key, object);
}

// A fan tray slot, likewise.

using ZefFanTraySlot = SystemSm::ZefFanTraySlot;
using ZefFanTray = ZefFanTraySlot::ZefFanTray;

SystemSm::ZefFanTraySlot::ZefFanTraySlot(SystemSm& owner, ParentIndex key)
    : KeyedReactor(key), Owned(owner), fanTray_(*this, [](ZefFanTraySlot const& self) {
        return Zef::Ptr<EntityMib::FanTray const>(self.notifier()->fanTray());
      }) {}

std::span<ZefFanTraySlot::Slot const> ZefFanTraySlot::slots() const {
  static constexpr Slot watched[] = {{Watched::fanTrayAttr, &Watched::NotifieeConst::onFanTray}};
  return watched;
}

void ZefFanTraySlot::onFanTray() {
  if (zefOnAttribute(Watched::fanTrayAttr, nullptr)) return;
  if (alive()) handleFanTray();
  fanTray_.reconcile();
}

void ZefFanTraySlot::handleFanTray() {
  ORVANE_ENTRY();
  system().handleObject(handling::fanTray, notifier(), ParentIndex(0), notifier()->fanTray());
}

ZefFanTray::ZefFanTray(ZefFanTraySlot& owner)
    : Owned(owner), fan_(*this, "fan", [](ZefFanTray const& self, auto const& visit) {
        for (auto at = self.notifier()->fanIteratorConst(); at; ++at) visit(at.ptr());
      }) {}

void ZefFanTray::onFan(ParentIndex key) {
  if (zefOnKey(Watched::fanAttr, key, &ZefFanTray::onFan)) return;
  if (alive()) handleFan(key);
  if (notifier() != nullptr) fan_.follow(key, notifier()->fan(key));
}

void ZefFanTray::handleFan(ParentIndex key) {
  ORVANE_ENTRY(key);
  system().handleObject(handling::trayFan, notifier(), key, notifier()->fan(key));
}

void ZefFanTray::handleFan() {
  ORVANE_ENTRY();
  if (notifier() != nullptr) walk(notifier()->fanIteratorConst(), [this](ParentIndex key) { handleFan(key); });
}

// A fan in either.

template <class Owner>
void FanReactor<Owner>::project(Handling const& handling, ParentIndex key,
                                Zef::Ptr<EntityMib::PhysicalEntity const> const& object) {
  this->owner().system().handleObject(handling, this->notifier(), key, object);
}

template class FanReactor<ZefPowerSupply>;
template class FanReactor<ZefFanTray>;

}  // namespace Orvane
