#include "host/publishers/OneSwitch.h"

#include <cctype>
#include <string>
#include <unordered_map>

#include "host/publishers/Inventory.h"
#include "model/Constants.h"
#include "model/input/EntityMib.h"
#include "model/input/Helper.h"
#include "sm/SensorUpdates.h"
#include "sm/States.h"

namespace Host {

namespace {

using EntityMib::PhysicalEntity;
using Zef::String8;

std::string placeOf(PhysicalEntity const& part) {
  auto const parent = part.parent();
  auto const* above = dynamic_cast<PhysicalEntity const*>(parent.get());
  std::string const place = (above == nullptr ? "status" : placeOf(*above)) + "." + part.parentAttr().charPtr();
  U32 const key = part.parentIndex().value();
  return key == 0 ? place : place + "." + std::to_string(key);
}

// The name spaces of rows. A fan has one besides: what counts of its name is what finds its sensor.
enum class Space : char { component = 'c', card = 'l', xcvr = 'x', fanSensor = 'f' };

class Names {
 public:
  void enterAll(Zef::Entity const& owner);

 private:
  struct Holder {
    PhysicalEntity const* part;
    bool isMeant;
  };

  void enter(PhysicalEntity const& part);
  // Null, unless another part has the name and a record can mean one of the two.
  PhysicalEntity const* rival(Space space, String8 const& name, Holder const& holder);

  EntityMib::Helper const helper_;
  std::unordered_map<std::string, Holder> holders_;
};

// Whether a record can mean a part of that name. An interface's begins with a letter, and a sensor has readings by its
// tag. All others are rows and nothing more, as what has no tag is: they may share a name.
bool canBeMeant(PhysicalEntity const& part, Space space, String8 const& name) {
  if (space != Space::component) return !name.empty();
  Zef::ZefType const* const type = part.fwkType();
  if (type == EntityMib::Sensor::_fwkType()) return Orvane::sensorKindOf(part.tag()) != nullptr;
  if (type == EntityMib::Port::_fwkType())
    return !name.empty() && std::isalpha(static_cast<unsigned char>(name.view().front())) != 0;
  return (type == EntityMib::Fan::_fwkType() || type == EntityMib::PowerSupply::_fwkType()) && !part.tag().empty();
}

void Names::enterAll(Zef::Entity const& owner) {
  Zef::forEachChild(owner, [this](Zef::Entity& child, Zef::ZefAttr const& /*attribute*/, String8 const& /*key*/) {
    if (auto const* part = dynamic_cast<PhysicalEntity const*>(&child)) enter(*part);
    enterAll(child);
  });
}

// Under the name by which Orvane::Root knows the row.
void Names::enter(PhysicalEntity const& part) {
  if (part.fwkType() == EntityMib::StorageDevices::_fwkType()) return;  // has no row
  bool const isCard = part.fwkType() == EntityMib::Card::_fwkType();
  Space const space = part.tag() == "Xcvr" ? Space::xcvr : isCard ? Space::card : Space::component;
  auto const* const fru = dynamic_cast<EntityMib::Fru const*>(&part);
  String8 const name = space == Space::xcvr && fru != nullptr && !fru->alias().empty() ? fru->alias()
                       : isCard ? Orvane::constantsFactory()->cardName(&part)
                                : helper_.componentName(&part);
  Holder const holder{&part, canBeMeant(part, space, name)};
  if (auto const* other = rival(space, name, holder)) {
    throw InventoryError(placeOf(part),
                         std::string("its name is ") + name.charPtr() + ", as is that of " + placeOf(*other));
  }
  if (part.fwkType() != EntityMib::Fan::_fwkType() || !holder.isMeant) return;
  String8 const sensor = Orvane::fanSensorName(name);
  if (auto const* other = rival(Space::fanSensor, sensor, holder)) {
    throw InventoryError(placeOf(part), std::string("its name is ") + name.charPtr() + ", so that " + sensor.charPtr() +
                                            " would show its speed and that of " + placeOf(*other));
  }
}

PhysicalEntity const* Names::rival(Space space, String8 const& name, Holder const& holder) {
  auto const [at, isNew] = holders_.try_emplace(static_cast<char>(space) + std::string(name.view()), holder);
  return !isNew && (holder.isMeant || at->second.isMeant) ? at->second.part : nullptr;
}

}  // namespace

void requireOneSwitch(Zef::Dir const& inputs) {
  auto const status = Zef::dynamicCast<EntityMib::Status>(inputs.entity("status"));
  if (!status) return;
  if (status->fixedSystem() && status->chassis()) {
    throw InventoryError("status", "it has both fixedSystem and chassis, and a switch is one of the two");
  }
  Names().enterAll(*status);
}

}  // namespace Host
