#include "collect/linux/Map.h"

#include <fnmatch.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "collect/linux/Layout.h"

namespace Collect {

using nlohmann::json;

namespace {

[[noreturn]] void refuse(YAML::Node const& node, std::string const& reason) {
  throw MapError(std::to_string(node.Mark().line + 1) + ": " + reason);
}

std::string textOf(YAML::Node const& node) {
  if (!node.IsScalar()) refuse(node, "a text is needed");
  if (node.Scalar().size() > 255) refuse(node, "a text of at most 255 bytes is needed");
  return node.Scalar();
}

double numberOf(YAML::Node const& node, double least, double most) {
  double number = 0;
  if (!node.IsScalar() || !YAML::convert<double>::decode(node, number) || !(number >= least && number <= most)) {
    auto const shown = [](double bound) { return json(bound).dump(); };
    refuse(node, "a number from " + shown(least) + " to " + shown(most) + " is needed");
  }
  return number;
}

bool flagOf(YAML::Node const& node) {
  bool flag = false;
  if (!node.IsScalar() || !YAML::convert<bool>::decode(node, flag)) refuse(node, "yes or no is needed");
  return flag;
}

std::string fileOf(YAML::Node const& node) {
  auto file = textOf(node);
  if (file != "none" && !file.starts_with('/')) refuse(node, "an absolute path, or none, is needed");
  return file;
}

using Take = std::function<void(YAML::Node const& value)>;

// Each key of a mapping to who takes it; those that nobody knows to `other`, which is given the key too.
void take(YAML::Node const& node, std::string const& what, std::map<std::string, Take> const& known,
          std::function<bool(std::string const& key, YAML::Node const& value)> const& other = nullptr) {
  if (node.IsNull()) return;
  if (!node.IsMap()) refuse(node, what + " has keys and values");
  std::set<std::string> seen;
  for (auto const& member : node) {
    std::string const key = textOf(member.first);
    if (!seen.insert(key).second) refuse(member.first, key + " stands there twice");
    if (auto const taker = known.find(key); taker != known.end()) {
      taker->second(member.second);
    } else if (!other || !other(key, member.second)) {
      refuse(member.first, std::string(what).append(" has no ").append(key));
    }
  }
}

// A part in the inventory file's form; what is wrong with it is said at its line.
json partOf(YAML::Node const& node, std::string_view kind, std::string const& what) {
  json part = json::object();
  take(node, what, {}, [&](std::string const& key, YAML::Node const& value) {
    Holding const* const rule = holding(kind, key);
    if (rule == nullptr) {
      part[key] = textOf(value);
      if (auto const reason = refusal({{key, part[key]}}, kind, ""); !reason.empty()) refuse(value, reason);
    } else if (rule->most == 0) {
      part[key] = partOf(value, rule->kind, key);
    } else {
      part[key] = json::object();
      take(value, key, {}, [&](std::string const& number, YAML::Node const& member) {
        json const checked{{key, {{number, json::object()}}}};
        if (auto const reason = refusal(checked, kind, ""); !reason.empty()) refuse(value, reason);
        part[key][number] = partOf(member, rule->kind, rule->kind);
        return true;
      });
    }
    return true;
  });
  return part;
}

Rule ruleOf(YAML::Node const& node) {
  Rule rule;
  rule.line = node.Mark().line + 1;
  rule.attributes = json::object();
  take(node, "a rule",
       {{"match",
         [&](YAML::Node const& value) {
           if (value.IsSequence()) {
             for (auto const& one : value) rule.match.push_back(textOf(one));
           } else {
             rule.match.push_back(textOf(value));
           }
         }},
        {"leave", [&](YAML::Node const& value) { rule.isLeftOut = flagOf(value); }},
        {"supply", [&](YAML::Node const& value) { rule.isSupply = flagOf(value); }},
        {"at",
         [&](YAML::Node const& value) {
           rule.at = pathOfText(textOf(value));
           auto const kind = kindAt(*rule.at);
           static std::set<std::string> const ends{"sensor", "port", "fan", "powerSupplySlot"};
           if (!kind || !ends.contains(*kind))
             refuse(value,
                    "a place such as sensor/3, fanTraySlot/2/fanTray/fan/1, powerSupplySlot/1 or port/12 is needed");
         }},
        {"maxRpm", [&](YAML::Node const& value) { rule.maxRpm = static_cast<unsigned>(numberOf(value, 1, 1e6)); }},
        {"warning", [&](YAML::Node const& value) { rule.warning = numberOf(value, -1e8, 1e8); }},
        {"critical", [&](YAML::Node const& value) { rule.critical = numberOf(value, -1e8, 1e8); }},
        {"eeprom", [&](YAML::Node const& value) { rule.eeprom = fileOf(value); }},
        {"present", [&](YAML::Node const& value) { rule.present = fileOf(value); }}},
       [&](std::string const& key, YAML::Node const& value) {
         // A supply is exchanged in the field, so its kind has all attributes that any of these parts has.
         json const one{{key, value.IsScalar() ? json(value.Scalar()) : json::array()}};
         if (!refusal(one, "powerSupply", "").empty() || holding("powerSupply", key) != nullptr) return false;
         rule.attributes[key] = textOf(value);
         return true;
       });
  if (rule.match.empty()) refuse(node, "a rule needs match: the name or the place of what it is for");
  return rule;
}

Map mapOf(YAML::Node const& root) {
  Map map;
  take(root, "the map",
       {{"system",
         [&](YAML::Node const& node) {
           take(node, "system", {{"eeprom", [&](YAML::Node const& value) { map.eeprom = fileOf(value); }}},
                [&](std::string const& key, YAML::Node const& value) {
                  if (holding("", key) != nullptr) return false;
                  map.system[key] = textOf(value);
                  if (auto const reason = refusal({{key, map.system[key]}}, "", ""); !reason.empty())
                    refuse(value, reason);
                  return true;
                });
         }},
        {"parts", [&](YAML::Node const& node) { map.parts = partOf(node, "", "parts"); }},
        {"periods",
         [&](YAML::Node const& node) {
           take(node, "periods",
                {{"sensors", [&](YAML::Node const& value) { map.sensorPeriod = numberOf(value, 0.01, 3600); }},
                 {"transceivers", [&](YAML::Node const& value) { map.transceiverPeriod = numberOf(value, 0.1, 3600); }},
                 {"patience", [&](YAML::Node const& value) { map.patience = numberOf(value, 0.1, 3600); }}});
         }},
        {"found", [&](YAML::Node const& node) {
           if (node.IsNull()) return;
           if (!node.IsSequence()) refuse(node, "found is a list of rules");
           std::map<Path, int> lines;
           for (auto const& one : node) {
             map.rules.push_back(ruleOf(one));
             Rule const& rule = map.rules.back();
             if (!rule.at) continue;
             auto const [other, isNew] = lines.emplace(*rule.at, rule.line);
             if (!isNew)
               refuse(one,
                      textOfPath(*rule.at) + " is given away in line " + std::to_string(other->second) + " already");
           }
         }}});
  for (auto const& [name, value] : map.parts.items()) {
    if (!value.is_structured()) refuse(root["parts"], name + ": attributes of the system stand under system");
  }
  return map;
}

}  // namespace

Map Map::read(std::filesystem::path const& file) {
  if (!std::filesystem::exists(file)) return {};
  auto const where = file.native() + ":";
  try {
    return mapOf(YAML::LoadFile(file));
  } catch (MapError const& error) {
    throw MapError(where + error.what());
  } catch (YAML::BadFile const&) {
    throw MapError(where + " it cannot be read");
  } catch (YAML::Exception const& error) {
    throw MapError(where + std::to_string(error.mark.line + 1) + ": " + error.msg);
  }
}

bool matches(Rule const& rule, std::string const& name, std::string const& source) {
  return std::any_of(rule.match.begin(), rule.match.end(), [&](std::string const& pattern) {
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0 || fnmatch(pattern.c_str(), source.c_str(), 0) == 0;
  });
}

Rule Map::ruleFor(std::string const& name, std::string const& source) const {
  Rule all;
  all.attributes = json::object();
  for (auto const& rule : rules) {
    if (!matches(rule, name, source)) continue;
    all.line = rule.line;
    all.isLeftOut = rule.isLeftOut;
    if (rule.isSupply) all.isSupply = rule.isSupply;
    if (rule.at) all.at = rule.at;
    if (rule.maxRpm) all.maxRpm = rule.maxRpm;
    if (rule.warning) all.warning = rule.warning;
    if (rule.critical) all.critical = rule.critical;
    if (!rule.eeprom.empty()) all.eeprom = rule.eeprom;
    if (!rule.present.empty()) all.present = rule.present;
    all.attributes.update(rule.attributes);
  }
  return all;
}

}  // namespace Collect
