#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Collect {

// The way to an object, from the top of what is published on.
using Path = std::vector<std::string>;

// The merge patch (RFC 7396) that makes `to` of `from`; an empty object when they are the same. Both are objects.
nlohmann::json mergePatch(nlohmann::json const& from, nlohmann::json const& to);

// What stands there, or nullptr.
nlohmann::json const* at(nlohmann::json const& document, Path const& path);
// The same to be written: objects on the way are made.
nlohmann::json& made(nlohmann::json& document, Path const& path);
// Takes away what stands there, and objects on the way that have nothing else.
void erase(nlohmann::json& document, Path const& path);

}  // namespace Collect
