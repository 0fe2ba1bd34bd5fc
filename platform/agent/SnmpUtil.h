#pragma once

#include "runtime/reflection/Entity.h"

namespace SnmpUtil {

// The directory that relative paths start from. Null, the initial state, means that there is nothing to find.
void systemRootIs(Zef::Ptr<Zef::Dir> const& root);

// The entity at a path below the system root, names joined by "/"; null when there is none.
Zef::Ptr<Zef::Entity> getEntityRelative(char const* path);

}  // namespace SnmpUtil
