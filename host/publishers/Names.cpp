#include "host/publishers/Names.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <tuple>

#include "host/publishers/Document.h"
#include "model/Constants.h"
#include "sm/SensorUpdates.h"
#include "sm/States.h"

namespace Host {

namespace {

using EntityMib::PhysicalEntity;
using Zef::PtrInterface;
using Zef::String8;

std::string placeOf(PhysicalEntity const& part) {
  auto const parent = part.parent();
  auto const* above = dynamic_cast<PhysicalEntity const*>(parent.get());
  std::string const place = (above == nullptr ? "status" : placeOf(*above)) + "." + part.parentAttr().charPtr();
  U32 const key = part.parentIndex().value();
  return key == 0 ? place : place + "." + std::to_string(key);
}

// Whether a record can mean a part of that name. An interface's begins with a letter, and a sensor has readings by its
// tag. All others are rows and nothing more, as what has no tag is: they may share a name.
bool canBeMeant(PhysicalEntity const& part, bool isComponent, String8 const& name) {
  if (!isComponent) return !name.empty();
  Zef::ZefType const* const type = part.fwkType();
  if (type == EntityMib::Sensor::_fwkType()) return Orvane::sensorKindOf(part.tag()) != nullptr;
  if (type == EntityMib::Port::_fwkType())
    return !name.empty() && std::isalpha(static_cast<unsigned char>(name.view().front())) != 0;
  return (type == EntityMib::Fan::_fwkType() || type == EntityMib::PowerSupply::_fwkType()) && !part.tag().empty();
}

// Calls back for the object and all that it owns.
void forEachBelow(PtrInterface const& object, std::function<void(PtrInterface const& part)> const& call) {
  call(object);
  Zef::forEachChild(object,
                    [&call](PtrInterface& child, Zef::ZefAttr const&, String8 const&) { forEachBelow(child, call); });
}

PhysicalEntity const* partOf(PtrInterface const& object) { return dynamic_cast<PhysicalEntity const*>(&object); }

// Of one thing; all else that a name is made of makes another thing when it changes.
bool isRenamed(PtrInterface const& live, PtrInterface const& wanted) {
  PhysicalEntity const* const part = partOf(live);
  if (part == nullptr) return false;
  if (!(part->label() == partOf(wanted)->label())) return true;
  auto const* const fru = dynamic_cast<EntityMib::Fru const*>(part);
  return fru != nullptr && !(fru->alias() == dynamic_cast<EntityMib::Fru const&>(wanted).alias());
}

// How many systems there will be once the merge is done.
int systemsAfter(Vorlin::Merge const& merge) {
  EntityMib::Status const* status = nullptr;
  int systems = 0;
  auto const count = [&](PtrInterface const& owner, int by) {
    auto const* const top = dynamic_cast<EntityMib::Status const*>(&owner);
    if (top == nullptr) return;
    if (status == nullptr) systems = (top->fixedSystem() ? 1 : 0) + (top->chassis() ? 1 : 0);
    status = top;
    systems += by;
  };
  for (auto const& removal : merge.removals()) count(*removal.owner, -1);
  for (auto const& step : merge.steps()) {
    if (step.isNew) count(*step.live, 1);
  }
  return systems;
}

}  // namespace

void Names::check(Vorlin::Merge const& merge) {
  if (systemsAfter(merge) > 1)
    throw InventoryError("status", "it has both fixedSystem and chassis, and a switch is one of the two");
  Parts going;
  for (auto const& removal : merge.removals()) {
    if (partOf(*removal.object) != nullptr)
      forEachBelow(*removal.object, [&going](PtrInterface const& part) { going.insert(&part); });
  }
  std::vector<Entry> coming;
  auto const comes = [&](PtrInterface const& part) {
    forEachEntry(part, [&coming](Entry const& entry) { coming.push_back(entry); });
  };
  for (auto const& step : merge.steps()) {
    if (step.isNew) {
      forEachBelow(*step.wanted, comes);
    } else if (isRenamed(*step.live, *step.wanted)) {
      going.insert(step.live.get());
      comes(*step.wanted);
    }
  }
  std::sort(coming.begin(), coming.end(), [](Entry const& one, Entry const& other) { return one.hash < other.hash; });
  for (auto begin = coming.cbegin(); begin != coming.end();) {
    auto const end = std::find_if(begin, coming.cend(), [&](Entry const& entry) { return entry.hash != begin->hash; });
    auto const [first, last] = entries_.equal_range(begin->hash);
    if (end - begin > 1 || first != last) {
      std::vector<Entry> alike(begin, end);
      for (auto at = first; at != last; ++at) {
        if (!going.contains(at->second.part)) alike.push_back(at->second);
      }
      if (std::any_of(alike.begin(), alike.end(), [](Entry const& entry) { return entry.isMeant; }))
        requireDifferent(alike);
    }
    begin = end;
  }
}

void Names::rebuild(Zef::Entity const& status) {
  entries_.clear();
  renamed_.clear();
  forEachBelow(status, [this](PtrInterface const& part) { enter(part); });
}

void Names::settle() {
  for (auto const& part : renamed_) enter(*part);
  renamed_.clear();
}

void Names::going(PtrInterface const& object) {
  if (partOf(object) != nullptr) forEachBelow(object, [this](PtrInterface const& part) { leave(part); });
}

void Names::came(PtrInterface const& object) { enter(object); }

void Names::staying(PtrInterface const& live, PtrInterface const& wanted) {
  if (!isRenamed(live, wanted)) return;
  leave(live);
  renamed_.emplace_back(&live);
}

template <class Call>
void Names::forEachEntry(PtrInterface const& object, Call const& call) const {
  PhysicalEntity const* const part = partOf(object);
  Zef::ZefType const* const type = object.fwkType();
  if (part == nullptr || type == EntityMib::StorageDevices::_fwkType()) return;  // which has no row
  Space const space = part->tag() == "Xcvr"                 ? Space::xcvr
                      : type == EntityMib::Card::_fwkType() ? Space::card
                                                            : Space::component;
  auto const entryOf = [&](Space in, String8 const& name, bool isMeant) {
    return Entry{(std::uint64_t{static_cast<unsigned>(in)} << 32U) | name.hash(), isMeant, in, part};
  };
  String8 const name = nameOf(*part, space);
  bool const isMeant = canBeMeant(*part, space == Space::component, name);
  call(entryOf(space, name, isMeant));
  if (type == EntityMib::Fan::_fwkType() && isMeant) call(entryOf(Space::fanSensor, Orvane::fanSensorName(name), true));
}

void Names::enter(PtrInterface const& part) {
  forEachEntry(part, [this](Entry const& entry) { entries_.emplace(entry.hash, entry); });
}

void Names::leave(PtrInterface const& part) {
  forEachEntry(part, [this](Entry const& entry) {
    auto const [first, last] = entries_.equal_range(entry.hash);
    auto const found = std::find_if(first, last, [&](auto const& each) { return each.second.part == entry.part; });
    if (found != last) entries_.erase(found);
  });
}

// As Orvane::Root knows the row.
String8 Names::nameOf(PhysicalEntity const& part, Space space) const {
  if (space == Space::fanSensor) return Orvane::fanSensorName(helper_.componentName(&part));
  auto const* const fru = space == Space::xcvr ? dynamic_cast<EntityMib::Fru const*>(&part) : nullptr;
  if (fru != nullptr && !fru->alias().empty()) return fru->alias();
  bool const isCard = part.fwkType() == EntityMib::Card::_fwkType();
  return isCard ? Orvane::constantsFactory()->cardName(&part) : helper_.componentName(&part);
}

void Names::requireDifferent(std::vector<Entry> const& entries) const {
  struct Named {
    String8 name;
    U32 index;
    Entry const* entry;

    auto order() const { return std::tie(name, index); }
  };
  std::vector<Named> names;
  names.reserve(entries.size());
  for (Entry const& entry : entries) {
    names.push_back({nameOf(*entry.part, entry.space), entry.part->physicalIndex().value(), &entry});
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

}  // namespace Host
