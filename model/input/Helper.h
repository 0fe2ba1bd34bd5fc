#pragma once

#include "runtime/kit/String8.h"
#include "runtime/reflection/Entity.h"

namespace EntityMib {

class PhysicalEntity;

// The rules by which a place in the inventory gets its path, its name and its physical index. Every join by name and
// every index rest on them, on the publisher's side and on the reader's.
class Helper : public Zef::PtrInterface {
 public:
  // The attribute names from the top of the inventory to the entity, in lower case and joined by "/":
  // "powersupplyslot/powersupply" for a power supply, empty for the top entity itself. An entity is at the top when its
  // parent is no PhysicalEntity.
  Zef::String8 getPath(Zef::Ptr<Zef::Entity const> const& entity) const;

  // The entity's tag, the label of the nearest card, fan tray or power supply slot above it and a "/" if there is one,
  // then its own label: "Ethernet5" on a fixed system, "Ethernet3/5" on the card in slot 3.
  Zef::String8 componentName(Zef::Ptr<PhysicalEntity const> const& entity) const;

  // The physical index of the child of `parent` (null: at the top of the inventory) with that word, key and role. The
  // word is the attribute's name, in whatever case. Members of collections have keys from 1; key 0 is for an object
  // that stands alone under its parent, and for a collection itself, whose number is no member's. The role is one of
  // "ethernet", "management", "test", "internal" and the empty text, and empty for all but ports.
  //
  // The number follows from the position alone: the same arguments always give the same number, and no two positions
  // share one. RangeException, with the bound in words, for a place that does not exist.
  U32 physicalIndex(Zef::Ptr<PhysicalEntity const> const& parent, Zef::String8 const& word, unsigned key,
                    Zef::String8 const& role) const;
};

// The index of an entity that is given that place by its key and its tag; 0 below a parent that is in no tree yet.
// RangeException for a place that does not exist.
U32 placedIndex(PhysicalEntity const* parent, Zef::String8 const& word, unsigned key, Zef::String8 const& tag);

}  // namespace EntityMib
