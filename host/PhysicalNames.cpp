#include "host/PhysicalNames.h"

#include <utility>

namespace Host {

void PhysicalNames::areShown(bool shown) {
  if (std::exchange(shown_, shown) != shown) rebuild();
}

void PhysicalNames::name(Orvane::PhysicalEntity& row) const {
  row.consoleNameIs(shown_ ? row.componentName() : Zef::String8());
}

void PhysicalNames::rebuild() {
  changed_.clear();
  for (auto at = entityMib_->physicalEntityIteratorConst(); at; ++at) name(*at.ptr());
}

void PhysicalNames::settle() {
  for (U32 const index : changed_) {
    if (auto const row = entityMib_->physicalEntity(index)) name(*row);
    for (auto at = entityMib_->virtualContainerStartAt({index, ""}); at && at.key().containedIn == index; ++at)
      name(*at->entity());
  }
  changed_.clear();
}

void PhysicalNames::came(Zef::PtrInterface const& object) {
  auto const* const part = dynamic_cast<EntityMib::PhysicalEntity const*>(&object);
  if (shown_ && part != nullptr) changed_.push_back(part->physicalIndex().value());
}

void PhysicalNames::staying(Zef::PtrInterface const& live, Zef::PtrInterface const& /*wanted*/) { came(live); }

}  // namespace Host
