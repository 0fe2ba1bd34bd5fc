#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "collect/door/MergePatch.h"

namespace Collect {

// A mistake in the map: "FILE:LINE: REASON".
struct MapError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the platform's builder says of things that were found (orvane-linux(8)). What is not said stays as it was found.
struct Rule {
  int line = 0;
  std::vector<std::string> match;  // names or places, with * and ?
  bool isLeftOut = false;
  std::optional<bool> isSupply;             // whether a chip's sensors are those of a supply
  std::optional<Path> at;                   // the place below the system
  nlohmann::json attributes;                // of the part; an object
  std::optional<unsigned> maxRpm;           // a fan's speed at 100 percent
  std::optional<double> warning, critical;  // limits of a temperature, in degrees Celsius
  std::string eeprom;                       // a port's transceiver: the file with its memory, "none" for no cage
  std::string present;                      // the file that says 0 while the cage is empty
};

struct Map {
  // The file may not be there; then all is as it is found.
  static Map read(std::filesystem::path const& file);

  // All that is said of a thing, the later rules over the earlier ones.
  Rule ruleFor(std::string const& name, std::string const& source) const;

  nlohmann::json system = nlohmann::json::object();  // attributes of the system
  nlohmann::json parts = nlohmann::json::object();   // below it, in the inventory file's form
  std::string eeprom;                                // the file with the system's identity, "none" for none
  double sensorPeriod = 5;                           // in seconds
  double transceiverPeriod = 10;
  double patience = 2;  // for which one chip or transceiver is waited for
  std::vector<Rule> rules;
};

bool matches(Rule const& rule, std::string const& name, std::string const& source);

}  // namespace Collect
