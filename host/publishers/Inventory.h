#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/reflection/Type.h"

// The text of a described switch: a JSON file that mirrors the model. Its top-level keys name the inputs; below them
// stand attribute names, and a collection is an object keyed by the text of its keys.
namespace Host {

// Which entities a directory may hold, by their path from the directory of the inputs ("status",
// "redundancy/election"). Those at the top are always there, empty when the file leaves them out.
using EntityTypes = std::map<std::string, Zef::ZefType const*>;

// What is wrong with a described switch, and where: "3:14: ..." is a line and a column, "status.fixedSystem.label: ..."
// the names that lead to the place.
class InventoryError : public std::runtime_error {
 public:
  InventoryError(std::string const& place, std::string const& reason);
};

// To be called where something has been caught: what it says, in words for the log, whatever its class.
std::string reasonCaught();

// What one text may cost, besides its size.
struct InventoryLimits {
  std::size_t levels = 64;  // of objects and lists in one another
  std::size_t values = 8'000'000;
};

// The directory of the inputs as the text describes them, in no tree. InventoryError when any of it does not fit.
Zef::Ptr<Zef::Dir> readInventory(std::string_view text, EntityTypes const& types, InventoryLimits const& limits = {});

}  // namespace Host
