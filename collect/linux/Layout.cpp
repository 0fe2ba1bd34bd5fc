#include "collect/linux/Layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <string_view>

namespace Collect {

using nlohmann::json;

namespace {

constexpr std::array<Holding, 17> holdings{{
    {"", "sensor", "sensor", 1024},
    {"", "port", "port", 512},
    {"", "chip", "chip", 512},
    {"", "storageDevices", "storageDevice", 512},
    {"", "xcvrSlot", "xcvrSlot", 512},
    {"", "fanTraySlot", "fanTraySlot", 64},
    {"", "powerSupplySlot", "powerSupplySlot", 32},
    {"fanTraySlot", "fanTray", "fanTray", 0},
    {"fanTray", "fan", "fan", 32},
    {"fan", "sensor", "sensor", 32},
    {"powerSupplySlot", "powerSupply", "powerSupply", 0},
    {"powerSupply", "fan", "fan", 32},
    {"powerSupply", "sensor", "sensor", 32},
    {"xcvrSlot", "xcvr", "xcvr", 0},
    {"xcvr", "sensor", "sensor", 32},
    {"xcvr", "lane", "lane", 16},
    {"lane", "sensor", "sensor", 32},
}};

// What else a part has, by what it is. Each kind has the attributes of those before it.
constexpr std::array<std::string_view, 3> ofAny{"description", "tag", "label"};
constexpr std::array<std::string_view, 1> ofSlots{"orientation"};
constexpr std::array<std::string_view, 9> ofHardware{"vendorType",  "hardwareRev", "firmwareRev",
                                                     "softwareRev", "serialNum",   "mfgName",
                                                     "modelName",   "mfgDate",     "initStatus"};
constexpr std::array<std::string_view, 3> ofFrus{"alias", "assetId", "swappability"};
constexpr std::array<std::string_view, 2> ofCards{"minAddr", "maxAddr"};
constexpr std::array<std::string_view, 4> frus{"fanTray", "powerSupply", "xcvr", "lane"};

bool contains(auto const& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool isSlot(std::string_view kind) { return kind.ends_with("Slot"); }

bool isAttribute(std::string_view kind, std::string_view name) {
  bool const isFru = kind.empty() || contains(frus, kind);
  return contains(ofAny, name) ||
         (isSlot(kind) && (contains(ofSlots, name) || (kind == "xcvrSlot" && name == "slotType"))) ||
         (!isSlot(kind) && contains(ofHardware, name)) || (isFru && contains(ofFrus, name)) ||
         (kind.empty() && contains(ofCards, name));
}

std::string below(std::string where, std::string const& name) {
  if (!where.empty()) where += '.';
  return where += name;
}

// A number as the keys of the inventory have it, or 0.
unsigned numberOf(std::string_view text) {
  unsigned number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  bool const isNumber = error == std::errc() && end == text.data() + text.size() && text.front() != '0';
  return isNumber ? number : 0;
}

std::string withCapital(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

}  // namespace

Holding const* holding(std::string_view holder, std::string_view step) {
  auto const* const found = std::find_if(holdings.begin(), holdings.end(), [&](Holding const& each) {
    return each.holder == holder && each.step == step;
  });
  return found == holdings.end() ? nullptr : found;
}

std::optional<std::string> kindAt(Path const& place) {
  std::string_view kind;
  for (auto step = place.begin(); step != place.end(); ++step) {
    Holding const* const rule = holding(kind, *step);
    if (rule == nullptr) return std::nullopt;
    kind = rule->kind;
    if (rule->most == 0) continue;
    if (++step == place.end()) return std::nullopt;
    unsigned const number = numberOf(*step);
    if (number < 1 || number > rule->most) return std::nullopt;
  }
  return std::string(kind);
}

std::string refusal(json const& part, std::string_view kind, std::string const& where) {
  if (!part.is_object()) return where + ": attributes of a part are needed";
  for (auto const& [name, value] : part.items()) {
    auto const at = below(where, name);
    Holding const* const rule = holding(kind, name);
    if (rule == nullptr) {
      if (!isAttribute(kind, name)) return at + ": no such attribute";
      if (value.is_structured()) return at + ": a text is needed";
    } else if (rule->most == 0) {
      if (auto reason = refusal(value, rule->kind, at); !reason.empty()) return reason;
    } else {
      if (!value.is_object()) return at + ": parts by number are needed";
      for (auto const& [number, member] : value.items()) {
        auto const one = below(at, number);
        unsigned const key = numberOf(number);
        if (key < 1 || key > rule->most)
          return one + ": a number from 1 to " + std::to_string(rule->most) + " is needed";
        if (auto reason = refusal(member, rule->kind, one); !reason.empty()) return reason;
      }
    }
  }
  return "";
}

json& partAt(json& system, Path const& place) {
  json* part = &system;
  std::string kind, label;
  for (auto step = place.begin(); step != place.end(); ++step) {
    Holding const* const rule = holding(kind, *step);
    part = &(*part)[*step];
    kind = rule->kind;
    // What stands alone in a slot has the slot's number.
    if (rule->most != 0) {
      label = *++step;
      part = &(*part)[label];
    }
    if (part->is_null()) *part = json::object();
    if (!part->contains("tag")) (*part)["tag"] = kind == "port" ? "Ethernet" : withCapital(kind);
    // So that a supply's sensors have other names than a tray's.
    if (!part->contains("label")) (*part)["label"] = kind == "powerSupplySlot" ? "P" + label : label;
  }
  return *part;
}

std::string componentName(json const& system, Path const& place) {
  json const* part = &system;
  std::string kind, slot;
  for (auto step = place.begin(); step != place.end(); ++step) {
    Holding const* const rule = holding(kind, *step);
    if (kind == "fanTraySlot" || kind == "powerSupplySlot") slot = part->value("label", "") + "/";
    part = &part->at(*step);
    kind = rule->kind;
    if (rule->most != 0) part = &part->at(*++step);
  }
  return part->value("tag", "") + slot + part->value("label", "");
}

Path pathOfText(std::string_view text) {
  Path path;
  while (!text.empty()) {
    auto const end = text.find('/');
    path.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return path;
}

std::string textOfPath(Path const& path) {
  std::string text;
  for (auto const& step : path) text += (text.empty() ? "" : "/") + step;
  return text;
}

}  // namespace Collect
