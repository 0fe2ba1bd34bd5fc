#pragma once

#include "runtime/reflection/Entity.h"

namespace Host {

// What no attribute can tell by itself of the inputs that a publisher wants: that they describe one switch, in one
// piece or modular, and that every part that a record can mean has a name of its own. InventoryError, with the places,
// when they do not.
void requireOneSwitch(Zef::Dir const& inputs);

}  // namespace Host
