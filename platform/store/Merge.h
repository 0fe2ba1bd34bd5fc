#pragma once

#include "runtime/Entity.h"

namespace Vorlin {

// Makes what a live directory holds equal to a wanted one, changing only what differs. The wanted tree is left as it
// is, and nothing of it enters the live one; a reference between two of its objects becomes one between their
// counterparts.
//
// What stands at the same place in both keeps its identity, unless it has become another thing: an object of another
// type, with another fixed attribute, or a part of the inventory with another `tag`. Such an object leaves, and a new
// one comes in its place. Those who watch hear of all that leaves first, and then of all the rest at once, when it is
// all there; of what changed in the entity `first` before anything else.
void merge(Zef::Dir& live, Zef::Dir const& wanted, Zef::Name const& first = {});

}  // namespace Vorlin
