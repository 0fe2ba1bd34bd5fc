#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/kit/String8.h"

// Paths of the inspection and of claims: names with "/" between them, where %2F stands for a "/" within one and %25 for
// a "%", and a lone % is an empty name.
namespace Host {

// A name as a step of a path: what would be taken for something else has its number instead.
std::string stepOf(std::string_view name);

// The steps of a path.
std::vector<Zef::String8> stepsOf(std::string_view path);

}  // namespace Host
