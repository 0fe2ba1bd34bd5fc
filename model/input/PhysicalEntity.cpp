// What EntityMib::PhysicalEntity does by hand: it takes its index from its place.

#include "model/input/EntityMib.h"
#include "model/input/Helper.h"

namespace EntityMib {

// Below a parent that is in no tree yet an entity has no index either; it gets one with the parent.
void PhysicalEntity::zefPlacedIs(Zef::Entity const* parent, Zef::Name const& attribute, Zef::String8 const& /*key*/) {
  PhysicalIndex const index(
      placedIndex(dynamic_cast<PhysicalEntity const*>(parent), attribute, parentIndex_.value(), tag_));
  if (index == physicalIndex_) return;
  physicalIndex_ = index;
  Zef::forEachChild(*this, [this](PtrInterface& child, Zef::ZefAttr const& childAttribute, Zef::String8 const& key) {
    auto* const part = dynamic_cast<Zef::Entity*>(&child);
    if (part != nullptr) part->zefPlacedIs(this, childAttribute.name(), key);
  });
}

// Of all parts, only a port's index depends on its tag.
void PhysicalEntity::handleTag() {
  if (dynamic_cast<Port const*>(this) == nullptr || !parent()) return;
  zefPlacedIs(parent().get(), parentAttr(), Zef::String8());
}

}  // namespace EntityMib
