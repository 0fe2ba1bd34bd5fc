#pragma once

#include <string>

#include "collect/linux/Map.h"
#include "collect/linux/Tree.h"

namespace Collect {

// A map to start from (YAML): a rule for each thing that was found, with the place where it stands.
std::string dumpedMap(Map const& map, Tree const& tree);

}  // namespace Collect
