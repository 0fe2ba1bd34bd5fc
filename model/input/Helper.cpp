#include "model/input/Helper.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "model/input/EntityMib.h"

namespace EntityMib {

namespace {

using Zef::String8;

// Physical indexes encode positions. They come in blocks of ten million: block 0 is the fixed system's, block n (1 to
// 64) the card slot's of key n, block 65 the chassis's. Within a block every position has a number of its own, far
// enough from its neighbours for all that can stand below it.
constexpr U32 block = 10'000'000;
constexpr U32 fixedSystemIndex = 1;
constexpr U32 chassisIndex = 65 * block + 1;

enum class From { parent, zero };

// One kind of place. The index of its member `key` is `offset` + `key` * `stride`, counted from the parent's index (or
// from zero), and for a port a thousand more for each role that stands before its own. Offsets below a card, a fixed
// system or a chassis are written as the offset in the block less the index of the block's own entity, which is 1.
struct Place {
  Zef::ZefType const* (*parent)();  // null: at the top of the inventory
  std::string_view word;            // in lower case
  From from;
  U32 offset;
  unsigned maxKey;  // 0: one object that stands alone
  U32 stride;
  bool hasRoles;
};

constexpr std::array places{
    Place{nullptr, "fixedsystem", From::zero, fixedSystemIndex, 0, 0, false},
    Place{nullptr, "chassis", From::zero, chassisIndex, 0, 0, false},

    Place{&Chassis::_fwkType, "cardslot", From::zero, 0, 64, block, false},
    Place{&Chassis::_fwkType, "cardplane", From::parent, 1, 0, 0, false},
    Place{&Chassis::_fwkType, "fantrayslot", From::parent, 1'000'000 - 1, 64, 10'000, false},
    Place{&Chassis::_fwkType, "powersupplyslot", From::parent, 2'000'000 - 1, 32, 10'000, false},
    Place{&FixedSystem::_fwkType, "fantrayslot", From::parent, 1'000'000 - 1, 64, 10'000, false},
    Place{&FixedSystem::_fwkType, "powersupplyslot", From::parent, 2'000'000 - 1, 32, 10'000, false},

    Place{&CardSlot::_fwkType, "card", From::parent, 1, 0, 0, false},
    Place{&Card::_fwkType, "sensor", From::parent, 100'000 - 1, 1024, 1, false},
    Place{&Card::_fwkType, "chip", From::parent, 110'000 - 1, 512, 1, false},
    Place{&Card::_fwkType, "storagedevices", From::parent, 120'000 - 1, 512, 1, false},
    Place{&Card::_fwkType, "port", From::parent, 200'000 - 1, 512, 1, true},
    Place{&Card::_fwkType, "xcvrslot", From::parent, 4'000'000 - 1, 512, 10'000, false},

    Place{&XcvrSlot::_fwkType, "xcvr", From::parent, 1, 0, 0, false},
    Place{&Xcvr::_fwkType, "sensor", From::parent, 100 - 1, 32, 1, false},
    Place{&Xcvr::_fwkType, "lane", From::parent, 1'000 - 1, 16, 100, false},
    Place{&Lane::_fwkType, "sensor", From::parent, 0, 32, 1, false},

    Place{&PowerSupplySlot::_fwkType, "powersupply", From::parent, 1, 0, 0, false},
    Place{&PowerSupply::_fwkType, "sensor", From::parent, 100 - 1, 32, 1, false},
    Place{&PowerSupply::_fwkType, "fan", From::parent, 1'000 - 1, 32, 100, false},

    Place{&FanTraySlot::_fwkType, "fantray", From::parent, 1, 0, 0, false},
    Place{&FanTray::_fwkType, "fan", From::parent, 1'000 - 1, 32, 100, false},
    Place{&Fan::_fwkType, "sensor", From::parent, 0, 32, 1, false},
};

constexpr U32 roleStride = 1'000;
constexpr std::array<std::string_view, 5> roles{"ethernet", "management", "test", "internal",
                                                ""};  // the last: any other

String8 lower(String8 const& text) { return text.lowerCase(-1); }

[[noreturn]] void refuse(std::string const& text) { Zef::throwRangeException(text.c_str()); }

std::string text(std::string_view view) { return std::string(view); }

Place const& placeOf(PhysicalEntity const* parent, String8 const& word) {
  String8 const wanted = lower(word);
  auto const find = [&wanted](Zef::ZefType const* type) {
    return std::find_if(places.begin(), places.end(), [&](Place const& place) {
      return place.word == wanted.view() && (place.parent == nullptr ? nullptr : place.parent()) == type;
    });
  };
  if (parent == nullptr) {
    auto const found = find(nullptr);
    if (found != places.end()) return *found;
    refuse("there is no place for " + text(word.view()) + " at the top of the inventory");
  }
  for (Zef::ZefType const* type = parent->fwkType(); type != nullptr; type = type->base()) {
    auto const found = find(type);
    if (found != places.end()) return *found;
  }
  refuse("there is no place for " + text(word.view()) + " below a " + text(parent->fwkType()->name().view()));
}

U32 roleNumber(Place const& place, String8 const& word, String8 const& role) {
  if (!place.hasRoles) {
    if (!role.empty()) refuse("a " + text(word.view()) + " has no role, such as " + text(role.view()));
    return 0;
  }
  auto const found = std::find(roles.begin(), roles.end(), role.view());
  if (found == roles.end()) {
    refuse(text(role.view()) + " is no role of a " + text(word.view()) +
           ": it is ethernet, management, test, internal or empty");
  }
  return static_cast<U32>(found - roles.begin());
}

// The role that a tag gives: a port's own, in lower case, when it is one of the roles.
U32 tagRole(Place const& place, String8 const& tag) {
  if (!place.hasRoles) return 0;
  auto const found = std::find(roles.begin(), roles.end(), lower(tag).view());
  return static_cast<U32>((found == roles.end() ? roles.end() - 1 : found) - roles.begin());
}

[[noreturn]] void refuseKey(Place const& place, String8 const& word, unsigned key) {
  std::string const member = text(word.view()) + " " + std::to_string(key);
  if (place.maxKey == 0)
    refuse(member + " is outside its bound: there is one " + text(word.view()) + ", without a key");
  refuse(member + " is outside 1 to " + std::to_string(place.maxKey));
}

// Null for the top of the inventory, which counts as placed; an entity outside the tree has no index yet.
bool isPlaced(PhysicalEntity const* parent) { return parent == nullptr || parent->physicalIndex().value() != 0; }

U32 indexAt(Place const& place, PhysicalEntity const* parent, unsigned key, U32 role) {
  U32 const start = place.from == From::parent ? parent->physicalIndex().value() : 0;
  return start + place.offset + role * roleStride + key * place.stride;
}

// Null for a null entity.
PhysicalEntity const* physicalParent(Zef::Entity const* entity) {
  return entity == nullptr ? nullptr : dynamic_cast<PhysicalEntity const*>(entity->parent().get());
}

bool givesItsLabel(PhysicalEntity const* entity) {
  return dynamic_cast<CardSlot const*>(entity) != nullptr || dynamic_cast<FanTraySlot const*>(entity) != nullptr ||
         dynamic_cast<PowerSupplySlot const*>(entity) != nullptr;
}

}  // namespace

String8 Helper::getPath(Zef::Ptr<Zef::Entity const> const& entity) const {
  String8 path;
  Zef::Entity const* at = entity.get();
  while (PhysicalEntity const* const parent = physicalParent(at)) {
    String8 const step = lower(at->parentAttr());
    path = path.empty() ? step : step + "/" + path;
    at = parent;
  }
  return path;
}

String8 Helper::componentName(Zef::Ptr<PhysicalEntity const> const& entity) const {
  PhysicalEntity const* above = physicalParent(entity.get());
  while (above != nullptr && !givesItsLabel(above)) above = physicalParent(above);
  return above == nullptr ? entity->tag() + entity->label() : entity->tag() + above->label() + "/" + entity->label();
}

U32 Helper::physicalIndex(Zef::Ptr<PhysicalEntity const> const& parent, String8 const& word, unsigned key,
                          String8 const& role) const {
  Place const& place = placeOf(parent.get(), word);
  if (key > place.maxKey) refuseKey(place, word, key);
  U32 const number = roleNumber(place, word, role);
  if (place.from == From::parent && !isPlaced(parent.get())) {
    refuse("the parent of " + text(word.view()) + " " + std::to_string(key) + " has no place in the inventory");
  }
  return indexAt(place, parent.get(), key, number);
}

U32 placedIndex(PhysicalEntity const* parent, String8 const& word, unsigned key, String8 const& tag) {
  Place const& place = placeOf(parent, word);
  if (key > place.maxKey || (key == 0 && place.maxKey != 0)) refuseKey(place, word, key);
  return isPlaced(parent) ? indexAt(place, parent, key, tagRole(place, tag)) : 0;
}

}  // namespace EntityMib
