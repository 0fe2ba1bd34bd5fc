#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/Bootstrap.h"
#include "host/Timer.h"
#include "host/publishers/Inventory.h"
#include "platform/store/Merge.h"
#include "platform/store/Vorlin.h"

// Described switches, and how tests get at what stands in them.

// Holds one of everything that a file can say.
inline constexpr char everything[] = R"({
  "status": { "fixedSystem": {
      "tag": "FixedSystem", "label": "1", "description": "48-port switch", "serialNum": "KV0042",
      "swappability": "hotSwappable", "defaultChildTags": { "sensor": "TempSensor" },
      "sensor": { "1": { "tag": "TempSensor", "label": "1", "description": "Board sensor" } },
      "port":   { "1": { "tag": "Ethernet", "label": "1" }, "2": { "tag": "Management", "label": "1" } },
      "fanTraySlot": { "1": { "tag": "FanTraySlot", "label": "1", "fanTray": {
          "tag": "FanTray", "label": "1", "fan": { "1": { "tag": "Fan", "label": "1",
             "sensor": { "1": { "tag": "FanSensor", "label": "1" } } } } } } } } },
  "tempStatus":    { "tempSensor": { "TempSensor1": { "hwStatus": "ok", "temperature": 34.5 } } },
  "tempConfig":    { "tempSensor": { "TempSensor1": { "overheatThreshold": 75.0, "criticalThreshold": 85.0 } } },
  "coolingStatus": { "fan": { "Fan1/1": { "hwStatus": 1, "speed": 42.0, "properties": { "maxRpm": 18000 } } } },
  "powerStatus":   { "powerSupply": { "PowerSupply1": { "state": 3 } } },
  "intfStatusDir": { "intfStatus": { "Ethernet1": { "operStatus": "up",
      "intfConfig": ["intfConfigDir", "intfConfig", "Ethernet1"] } } },
  "intfConfigDir": { "intfConfig": { "Ethernet1": { "adminEnabledStateLocal": true } } },
  "cardStatus":    { "cardStatus": { "Linecard3": { "state": 3 } } },
  "xcvrConfigDir": { "xcvrConfig": { "Ethernet3/5": { "xcvrState": true, "intfName": { "0": "Ethernet3/5" } } } },
  "xcvrStatusDir": { "xcvrStatus": { "Ethernet3/5": { "presence": 17,
      "xcvrConfig": ["xcvrConfigDir", "xcvrConfig", "Ethernet3/5"],
      "domInfo": { "0": { "temperature": 31.25, "voltage": 3.3, "txBias": 6.5, "txPower": -2.1, "rxPower": -3.4 } },
      "domThreshold": { "temperature": { "highAlarm": 75, "lowAlarm": -5, "highWarning": 70, "lowWarning": 0 } } } } },
  "redundancy":    { "election": { "redundancyMode": 2, "peerState": 2 } }
})";

inline Zef::Ptr<Zef::Dir> read(std::string const& text) { return Host::readInventory(text, Host::inputTypes()); }

using Steps = std::vector<Zef::String8>;

template <class T>
Zef::Ptr<T> at(Zef::Ptr<Zef::Dir> const& inputs, Steps const& steps) {
  return Zef::dynamicCast<T>(Vorlin::find(inputs, steps));
}

// Whether a record of that name speaks of a part.
inline bool isOfAPart(Orvane::Root const& root, Zef::String8 const& name) {
  return root.component(name) || root.card(name) || root.xcvr(name) || root.component(Orvane::supplyComponent(name));
}

// All that a publisher can say about an object and what stands below it, an attribute a line; equal texts are equal
// trees.
inline std::string dump(Zef::Value const& value) {
  if (auto const* record = value.get<Zef::Value::Record>()) {
    std::string text = "{";
    for (auto const& [name, field] : *record) text += std::string(name.view()) + ":" + dump(field) + " ";
    return text + "}";
  }
  if (auto const* object = value.get<Zef::Ptr<Zef::PtrInterface>>()) {
    auto const entity = Zef::dynamicCast<Zef::Entity>(*object);
    return entity ? "-> " + std::string(entity->name().view()) : "-> object";
  }
  return std::string(value.description().view());
}

inline void dump(Zef::PtrInterface const& object, std::string const& path, std::vector<std::string>& lines) {
  using Kind = Zef::ZefAttr::Kind;
  lines.push_back(path + " is a " + std::string(object.fwkType()->qualifiedName().view()));
  if (auto const* dir = dynamic_cast<Zef::Dir const*>(&object)) {
    for (auto const& entity : dir->entities()) dump(*entity, path + "/" + std::string(entity->name().view()), lines);
  }
  for (Zef::ZefAttr const* attribute : object.fwkType()->allAttributes()) {
    std::string const here = path + "/" + std::string(attribute->name().view());
    if (attribute->kind() == Kind::entity) {
      if (auto const child = attribute->child(object)) dump(*child, here, lines);
    } else if (attribute->kind() == Kind::collection || attribute->kind() == Kind::valueMap) {
      for (Zef::String8 const& key : attribute->keys(object)) {
        std::string const there = here + "/" + std::string(key.view());
        if (attribute->kind() == Kind::valueMap) {
          lines.push_back(there + " = " + dump(attribute->entry(object, key)));
        } else {
          dump(*attribute->member(object, key), there, lines);
        }
      }
    } else if (attribute->kind() != Kind::function) {
      lines.push_back(here + " = " + dump(attribute->get(object)));
    }
  }
}

inline std::string dump(Zef::Ptr<Zef::Dir> const& inputs) {
  std::vector<std::string> lines;
  dump(*inputs, "", lines);
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (std::string const& line : lines) text += line + "\n";
  return text;
}
