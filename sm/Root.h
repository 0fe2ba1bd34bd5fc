#pragma once

// Orvane::Root, the top of the projection: declared in OrvaneSm.yaml, its operations written in Root.cpp (birth, death
// and the reactors) and EntityRegistry.cpp (rows in and out of the entity tables).
#include "sm/OrvaneSm.h"  // IWYU pragma: export
