// The only way in or out of the entity tables: Root's operations that add and remove a component's rows as one thing.

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "runtime/kit/Assert.h"
#include "runtime/kit/System.h"
#include "sm/EntitySm.h"
#include "sm/SensorUpdates.h"
#include "sm/States.h"
#include "sm/SystemSm.h"
#include "sm/Trace.h"
#include "sm/TrapScheduling.h"

namespace Orvane {

namespace {

Zef::String8 identifierOf(PhysicalEntity const& row, Zef::String8 const& cardName) {
  if (row.tag() == "Xcvr" && !row.alias().empty()) return row.alias();
  return row.zefTypeName() == "Card" ? cardName : row.componentName();
}

// A card's name is not always to be had from its component name: either part may have a "/" of its own.
Zef::String8 cardNameOf(Root const& root, Zef::Ptr<PhysicalEntity> const& row) {
  for (auto at = root.cardIteratorConst(); at; ++at) {
    if (at->entity() == row) return at->identifier();
  }
  return root.constants()->cardNameFromComponentName(row);
}

}  // namespace

Zef::String8 identifierOf(Root const& root, Zef::Ptr<PhysicalEntity> const& row) {
  return identifierOf(*row, row->zefTypeName() == "Card" ? cardNameOf(root, row) : Zef::String8());
}

Zef::Ptr<PhysicalEntity> Root::doAddEntity(Zef::Ptr<EntityMib::PhysicalEntity const> const& entity, bool addState,
                                           bool addSensor) {
  ORVANE_ENTRY(entity, addState, addSensor);
  U32 const index = entity->physicalIndex().value();
  ORVANE_TRACE(9) << "index is: " << index;
  if (entityMib()->physicalEntityIteratorConst().isMemberOf(index)) {
    // Log readers match this text; it is no condition of the code here.
    Zef::assertionFailed("!entityMib()->physicalEntityIteratorConst().isMemberOf( index )", __FILE__, __LINE__,
                         __PRETTY_FUNCTION__);
  }
  Zef::String8 const& type = entity->fwkType()->name().stringValue();
  auto const parent = Zef::dynamicCast<EntityMib::PhysicalEntity const>(Zef::Ptr<Zef::Entity const>(entity->parent()));
  auto row = entityMib()->physicalEntityIs(index);

  // Below the virtual container for its class, where the parent has one, and else below the parent itself.
  U32 containedIn = 0;
  if (parent) {
    containedIn = parent->physicalIndex().value();
    auto const container = entityMib()->virtualContainer({containedIn, type});
    if (container && container->entity()->index() != index) containedIn = container->entity()->index();
  }
  row->containedInIs(containedIn);
  row->componentNameIs(constants()->helperIs()->componentName(entity));
  row->physicalClassIs(constants()->entityPhysicalClass(type));
  row->relPosIs(entity->parentIndex().value());
  row->tagIs(entity->tag());
  row->zefTypeNameIs(type);
  row->phyAttrIs(entity);
  if (auto const fru = Zef::dynamicCast<EntityMib::Fru const>(entity)) row->aliasIs(fru->alias());
  if (containedIn != 0) entityMib()->containsIs({containedIn, index});

  // The transceiver is known by its tag, the card by its class.
  Zef::String8 const identifier = identifierOf(*row, type == "Card" ? constants()->cardName(entity) : Zef::String8());
  ORVANE_TRACE(9) << "identifier is: " << identifier;
  if (row->tag() == "Xcvr") {
    xcvrIs(identifier)->entityIs(row);
  } else if (type == "Card") {
    cardIs(identifier)->entityIs(row);
  } else {
    componentIs(identifier)->entityIs(row);
  }

  if (addState) {
    initialStates(*stateMib()->stateEntityIs(index), type);
  }
  if (type == "Card") updateCardSensor(identifier);
  if (addSensor) makeSensor(*this, *row, identifier);
  entityTablesChanged(*this);
  return row;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as the model declares it
void Root::doCreateVirtualContainer(Zef::Ptr<EntityMib::PhysicalEntity const> const& entity, Zef::String8 type,
                                    EntityMib::ParentIndex relPos) {
  ORVANE_ENTRY(entity, type);
  // Callers pass 0 where a grouping is not wanted in the tables.
  if (relPos.value() == 0) return;
  VirtualContainer const info = constants()->virtualContainerInfo(entity, type);
  auto const row = entityMib()->physicalEntityIs(info.index);
  row->containedInIs(entity->physicalIndex().value());
  row->componentNameIs(info.name);
  row->descriptionIs(info.description);
  row->relPosIs(relPos.value());
  row->physicalClassIs(Constants::physicalClassContainer);
  entityMib()->containsIs({row->containedIn(), row->index()});
  row->zefTypeNameIs(type);
  entityMib()->virtualContainerIs({row->containedIn(), type})->entityIs(row);
  entityMib()->lastChangeTimeIs(Zef::System::currentTime());
}

void Root::doRemoveEntity(U32 index) {
  ORVANE_ENTRY(index);
  auto const row = entityMib()->physicalEntity(index);
  if (!row) return;
  // The notification speaks of the row's description, so it is queued while the row still stands.
  if (stateMib()->stateEntity(index))
    doAppendStateTrap(index, Constants::operStateDisabled, Constants::adminStateUnknown);

  Zef::String8 const identifier = identifierOf(*this, row);
  ORVANE_TRACE(9) << "Deleting component Entry for " << identifier;
  // Unless another row has taken the name over.
  auto const isOurs = [&](Zef::Ptr<ComponentEntry> const& entry) { return entry && entry->entity() == row; };
  if (row->tag() == "Xcvr") {
    if (isOurs(xcvr(identifier))) xcvrDel(identifier);
  } else if (row->zefTypeName() == "Card") {
    if (isOurs(card(identifier))) cardDel(identifier);
  } else {
    if (isOurs(component(identifier))) componentDel(identifier);
  }
  if (SystemSm* const system = entitySm() ? entitySm()->systemSm() : nullptr) system->doRemoveAttributeSm(index);

  // Both collections are ordered by the containing row first, so what concerns this row stands together.
  OrvaneEntityMib& mib = *entityMib();
  for (auto at = mib.virtualContainerStartAt({index, ""}); at && at.key().containedIn == index; ++at) {
    ORVANE_TRACE(9) << "Deleting virtual container for " << at.key().containerType;
    mib.virtualContainerDel(at.key());
  }
  ContainsEntry const own{row->containedIn(), index};
  auto const leaveContainer = [&] {
    if (!mib.containsDel(own)) return;
    // Log readers match this text, with the blank at its end.
    ORVANE_TRACE(9) << "Deleting entry from containerContainee ";
  };
  // In key order: the row's own entry and those of its children, each child with all that is below it.
  if (own.container < index) leaveContainer();
  for (auto at = mib.containsStartAt({index, 0}); at && at.key().container == index; ++at) {
    doRemoveEntity(at.key().containee);
  }
  if (own.container > index) leaveContainer();

  ORVANE_TRACE(9) << "Deleting XcvrSlotSm for " << index;
  xcvrSlotSmDel(EntityMib::PhysicalIndex(index));
  mib.physicalEntityDel(index);
  stateMib()->stateEntityDel(index);
  sensorMib()->sensorEntityDel(index);
  sensorMib()->thresholdEntityDel(index);
  entityTablesChanged(*this);
}

}  // namespace Orvane
