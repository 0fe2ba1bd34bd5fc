#include "sm/AttributesSm.h"

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "sm/States.h"
#include "sm/Trace.h"
#include "sm/TrapScheduling.h"

namespace Orvane {

void refuseReinstantiation(char const* parameter, void const* given, void const* current) {
  if (given == current) return;
  Zef::throwNameInUseException(Zef::format(
      "Reinstantiating the pointer interface where constructor parameter attribute %s has a different value of "
      "%s than the current value of %s not allowed",
      parameter, Zef::valueToStrepOfRawPtr(given).charPtr(), Zef::valueToStrepOfRawPtr(current).charPtr()));
}

void AttributesSm::handleInitialized(char const* className) {
  ORVANE_ENTRY(className);
  initializedIs(true);
}

bool AttributesSm::isOurs(Zef::Ptr<ComponentEntry> const& entry) const { return entry->entity() == entity_; }

// The handler of an attribute that no row holds.
#define ORVANE_MIRROR(Sm, handler) \
  void Sm::handler() {             \
    ORVANE_ENTRY();                \
    entityTablesChanged(root());   \
  }

// Physical.

PhysicalAttributesSm::PhysicalAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity,
                                           Zef::Ptr<Input const> const& input, Root& root)
    : AttributesSm(index, entity, root) {
  physicalEntity_.is(input);
  handleInitialized("PhysicalAttributesSm");
}

std::span<PhysicalAttributesSm::ZefPhysicalEntity::Slot const> PhysicalAttributesSm::ZefPhysicalEntity::slots() const {
  static constexpr Slot watched[] = {
      {Input::descriptionAttr, &Input::NotifieeConst::onDescription},
      {Input::labelAttr, &Input::NotifieeConst::onLabel},
  };
  return watched;
}

ORVANE_MIRROR(PhysicalAttributesSm, handleDescription)

void PhysicalAttributesSm::handleLabel() {
  ORVANE_ENTRY();
  PhysicalEntity& row = *entity();
  Zef::Ptr<Input const> const live(input());
  Zef::String8 const newName = root().constants()->helperIs()->componentName(live);
  Zef::String8 const oldName = row.componentName();
  Zef::String8 identifier = newName;
  if (auto const entry = root().component(oldName)) {
    if (isOurs(entry)) root().componentDel(oldName);
    root().componentIs(newName)->entityIs(entity());
  } else if (row.tag() == "Xcvr" && row.alias().empty()) {
    if (auto const own = root().xcvr(oldName)) {
      if (isOurs(own)) root().xcvrDel(oldName);
      root().xcvrIs(newName)->entityIs(entity());
    }
  } else if (row.zefTypeName() == "Card") {
    identifier = identifierOf(root(), entity());
    if (auto const own = root().card(identifier)) {
      if (isOurs(own)) root().cardDel(identifier);
      identifier = root().constants()->cardName(live);
      root().cardIs(identifier)->entityIs(entity());
    }
  }
  row.componentNameIs(newName);
  root().updateSensorStatus(identifier);
  entityTablesChanged(root());
}

// Hardware.

HardwareAttributesSm::HardwareAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity,
                                           Zef::Ptr<Input const> const& input, Root& root)
    : AttributesSm(index, entity, root) {
  hardware_.is(input);
  handleInitialized("HardwareAttributesSm");
}

std::span<HardwareAttributesSm::ZefHardware::Slot const> HardwareAttributesSm::ZefHardware::slots() const {
  static constexpr Slot watched[] = {
      {Input::hardwareRevAttr, &Input::NotifieeConst::onHardwareRev},
      {Input::firmwareRevAttr, &Input::NotifieeConst::onFirmwareRev},
      {Input::softwareRevAttr, &Input::NotifieeConst::onSoftwareRev},
      {Input::serialNumAttr, &Input::NotifieeConst::onSerialNum},
      {Input::mfgNameAttr, &Input::NotifieeConst::onMfgName},
      {Input::modelNameAttr, &Input::NotifieeConst::onModelName},
      {Input::mfgDateAttr, &Input::NotifieeConst::onMfgDate},
  };
  return watched;
}

ORVANE_MIRROR(HardwareAttributesSm, handleModelName)
ORVANE_MIRROR(HardwareAttributesSm, handleMfgName)
ORVANE_MIRROR(HardwareAttributesSm, handleMfgDate)
ORVANE_MIRROR(HardwareAttributesSm, handleSerialNum)
ORVANE_MIRROR(HardwareAttributesSm, handleSoftwareRev)
ORVANE_MIRROR(HardwareAttributesSm, handleFirmwareRev)
ORVANE_MIRROR(HardwareAttributesSm, handleHardwareRev)

// Fru.

FruAttributesSm::FruAttributesSm(U32 index, Zef::Ptr<PhysicalEntity> const& entity, Zef::Ptr<Input const> const& input,
                                 Root& root)
    : AttributesSm(index, entity, root) {
  fru_.is(input);
  handleInitialized("FruAttributesSm");
}

std::span<FruAttributesSm::ZefFru::Slot const> FruAttributesSm::ZefFru::slots() const {
  static constexpr Slot watched[] = {
      {Input::aliasAttr, &Input::NotifieeConst::onAlias},
      {Input::assetIdAttr, &Input::NotifieeConst::onAssetId},
      {Input::swappabilityAttr, &Input::NotifieeConst::onSwappability},
  };
  return watched;
}

void FruAttributesSm::handleAlias() {
  ORVANE_ENTRY();
  PhysicalEntity& row = *entity();
  Zef::String8 const alias = input()->alias();
  if (row.tag() == "Xcvr") {
    Zef::String8 const oldKey = row.alias().empty() ? row.componentName() : row.alias();
    if (auto const own = root().xcvr(oldKey)) {
      if (isOurs(own)) root().xcvrDel(oldKey);
      root().xcvrIs(alias.empty() ? row.componentName() : alias)->entityIs(entity());
    }
  }
  row.aliasIs(alias);
  entityTablesChanged(root());
}

ORVANE_MIRROR(FruAttributesSm, handleAssetId)
ORVANE_MIRROR(FruAttributesSm, handleSwappability)

}  // namespace Orvane
