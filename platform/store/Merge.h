#pragma once

#include "runtime/reflection/Entity.h"

namespace Vorlin {

// Hears of what a merge does, object by object, while it does it. It must not change either tree.
class Changes {
 public:
  Changes() = default;
  Changes(Changes const&) = delete;
  Changes& operator=(Changes const&) = delete;
  virtual ~Changes() = default;

  // Whether what is wanted is another thing than the one that stands in its place, of the same type and tag.
  virtual bool isAnother(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) const = 0;
  // It is about to leave, and all below it, of which nothing is said.
  virtual void going(Zef::PtrInterface const& object) = 0;
  // It has come, whole but for its references; so has each object below it, of which it is said as well.
  virtual void came(Zef::PtrInterface const& object) = 0;
  // It is about to be made equal to what is wanted in its place, and may be so already.
  virtual void staying(Zef::PtrInterface const& live, Zef::PtrInterface const& wanted) = 0;
};

// Makes what a live directory holds equal to a wanted one, changing only what differs. The wanted tree is left as it
// is, and nothing of it enters the live one; a reference between two of its objects becomes one between their
// counterparts.
//
// What stands at the same place in both keeps its identity, unless it has become another thing: an object of another
// type, with another fixed attribute, a part of the inventory with another `tag`, or what `changes` says is another.
// Such an object leaves, and a new one comes in its place. Those who watch hear of all that leaves first, and then of
// all the rest at once, when it is all there; of what changed in the entity `first` before anything else.
void merge(Zef::Dir& live, Zef::Dir const& wanted, Zef::Name const& first = {}, Changes* changes = nullptr);

}  // namespace Vorlin
