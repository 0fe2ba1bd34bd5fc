#include "collect/linux/Dump.h"

#include <yaml-cpp/yaml.h>

#include "collect/linux/Layout.h"

namespace Collect {

std::string dumpedMap(Map const& map, Tree const& tree) {
  auto const places = tree.places();
  YAML::Emitter out;
  out << YAML::Comment("What was found on this machine, and where it stands. Rules that change nothing may go.")
      << YAML::BeginMap << YAML::Key << "found" << YAML::Value << YAML::BeginSeq;
  for (auto const& [finder, things] : tree.found()) {
    for (auto const& found : things) {
      Rule const rule = map.ruleFor(found.name, found.source);
      auto const place = places.find(found.source);
      out << YAML::BeginMap << YAML::Key << "match" << YAML::Value << YAML::DoubleQuoted << found.source
          << YAML::Comment(found.name);
      if (place != places.end()) {
        // Where a fan or a sensor stands on what has a place of its own, that place is enough.
        out << YAML::Key << "at" << YAML::Value << textOfPath(place->second);
      } else if (rule.isLeftOut) {
        out << YAML::Key << "leave" << YAML::Value << true;
      }
      auto attributes = found.attributes;
      attributes.update(rule.attributes);
      for (auto const& [name, value] : attributes.items())
        out << YAML::Key << name << YAML::Value << YAML::DoubleQuoted << value.get<std::string>();
      if (rule.maxRpm) out << YAML::Key << "maxRpm" << YAML::Value << *rule.maxRpm;
      if (rule.warning) out << YAML::Key << "warning" << YAML::Value << *rule.warning;
      if (rule.critical) out << YAML::Key << "critical" << YAML::Value << *rule.critical;
      if (!rule.eeprom.empty()) out << YAML::Key << "eeprom" << YAML::Value << rule.eeprom;
      if (!rule.present.empty()) out << YAML::Key << "present" << YAML::Value << rule.present;
      if (rule.isSupply) out << YAML::Key << "supply" << YAML::Value << *rule.isSupply;
      out << YAML::EndMap;
    }
  }
  out << YAML::EndSeq << YAML::EndMap;
  return out.c_str();
}

}  // namespace Collect
