#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "collect/door/MergePatch.h"

namespace Collect {

// What may stand in what below a fixed system, by the inventory's rules (orvane-inventory(5)).
struct Holding {
  char const* holder;  // the kind of part: "" for the system itself
  char const* step;    // the attribute of it
  char const* kind;    // of what stands there
  unsigned most;       // the highest number, 0 for a single part
};

// The rule for that attribute of a part of that kind, or nullptr.
Holding const* holding(std::string_view holder, std::string_view step);

// The kind of part at a place below the system (fanTraySlot/2/fanTray/fan/1), or nothing when nothing can stand there.
std::optional<std::string> kindAt(Path const& place);

// Why the part, given in the inventory file's form, does not fit; empty when it does. `where` leads to it.
std::string refusal(nlohmann::json const& part, std::string_view kind, std::string const& where);

// The part at that place, made with all that it stands in, each with the tag and the label that it usually has.
nlohmann::json& partAt(nlohmann::json& system, Path const& place);

// By which readings and settings find the part at that place: its tag, the label of the slot that it stands in, its
// label.
std::string componentName(nlohmann::json const& system, Path const& place);

// "fanTraySlot/2/fanTray" and back.
Path pathOfText(std::string_view text);
std::string textOfPath(Path const& path);

}  // namespace Collect
