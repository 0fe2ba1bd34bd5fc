#include "host/publishers/OneSwitch.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <tuple>
#include <vector>

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

// The name spaces of rows. A fan has one besides: what finds its sensor is not all of its name.
enum class Space { component, card, xcvr, fanSensor };

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

class Names {
 public:
  // The object, when it is a part, and all that it owns.
  void enterAll(Zef::PtrInterface const& object);
  void requireDifferent();

 private:
  // Names are made again for the few whose hashes are equal: to keep a hundred thousand of them costs more.
  struct Entry {
    Space space;
    U32 hash;
    bool isMeant;
    PhysicalEntity const* part;

    auto order() const { return std::tie(space, hash); }
  };
  using At = std::vector<Entry>::const_iterator;

  void enter(PhysicalEntity const& part);
  String8 nameOf(PhysicalEntity const& part, Space space) const;
  // Those between them have equal hashes.
  void requireDifferent(At begin, At end) const;

  EntityMib::Helper helper_;
  std::vector<Entry> entries_;
};

void Names::enterAll(Zef::PtrInterface const& object) {
  if (auto const* part = dynamic_cast<PhysicalEntity const*>(&object)) enter(*part);
  Zef::forEachChild(object, [this](Zef::PtrInterface& child, Zef::ZefAttr const&, String8 const&) { enterAll(child); });
}

void Names::enter(PhysicalEntity const& part) {
  Zef::ZefType const* const type = part.fwkType();
  if (type == EntityMib::StorageDevices::_fwkType()) return;  // has no row
  Space const space = part.tag() == "Xcvr"                  ? Space::xcvr
                      : type == EntityMib::Card::_fwkType() ? Space::card
                                                            : Space::component;
  String8 const name = nameOf(part, space);
  bool const isMeant = canBeMeant(part, space, name);
  entries_.push_back({space, name.hash(), isMeant, &part});
  if (type == EntityMib::Fan::_fwkType() && isMeant) {
    entries_.push_back({Space::fanSensor, Orvane::fanSensorName(name).hash(), true, &part});
  }
}

// As Orvane::Root knows the row.
String8 Names::nameOf(PhysicalEntity const& part, Space space) const {
  if (space == Space::fanSensor) return Orvane::fanSensorName(helper_.componentName(&part));
  auto const* const fru = space == Space::xcvr ? dynamic_cast<EntityMib::Fru const*>(&part) : nullptr;
  if (fru != nullptr && !fru->alias().empty()) return fru->alias();
  bool const isCard = part.fwkType() == EntityMib::Card::_fwkType();
  return isCard ? Orvane::constantsFactory()->cardName(&part) : helper_.componentName(&part);
}

void Names::requireDifferent() {
  std::sort(entries_.begin(), entries_.end(),
            [](Entry const& one, Entry const& other) { return one.order() < other.order(); });
  for (auto begin = entries_.cbegin(); begin != entries_.end();) {
    auto const end =
        std::find_if(begin, entries_.cend(), [&](Entry const& entry) { return entry.order() != begin->order(); });
    if (end - begin > 1 && std::any_of(begin, end, [](Entry const& entry) { return entry.isMeant; }))
      requireDifferent(begin, end);
    begin = end;
  }
}

void Names::requireDifferent(At begin, At end) const {
  struct Named {
    String8 name;
    U32 index;
    Entry const* entry;

    auto order() const { return std::tie(name, index); }
  };
  std::vector<Named> names;
  for (auto at = begin; at != end; ++at) {
    names.push_back({nameOf(*at->part, at->space), at->part->physicalIndex().value(), &*at});
  }
  std::sort(names.begin(), names.end(),
            [](Named const& one, Named const& other) { return one.order() < other.order(); });
  auto const first = std::adjacent_find(names.begin(), names.end(), [](Named const& one, Named const& other) {
    return one.name == other.name && (one.entry->isMeant || other.entry->isMeant);
  });
  if (first == names.end()) return;
  Entry const& second = *(first + 1)->entry;
  std::string const name = first->name.charPtr();
  std::string const place = placeOf(*first->entry->part);
  throw InventoryError(placeOf(*second.part), second.space == Space::fanSensor
                                                  ? name + " would show its speed and that of " + place
                                                  : "its name is " + name + ", as is that of " + place);
}

}  // namespace

void requireOneSwitch(Zef::Dir const& inputs) {
  auto const status = Zef::dynamicCast<EntityMib::Status>(inputs.entity("status"));
  if (!status) return;
  if (status->fixedSystem() && status->chassis()) {
    throw InventoryError("status", "it has both fixedSystem and chassis, and a switch is one of the two");
  }
  Names names;
  names.enterAll(*status);
  names.requireDifferent();
}

}  // namespace Host
