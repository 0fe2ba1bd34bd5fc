#pragma once

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "collect/door/Journal.h"
#include "collect/door/MergePatch.h"
#include "collect/linux/Map.h"
#include "collect/linux/Places.h"

namespace Collect {

enum class What { temperature, voltage, current, fan, supply, port };

// One thing of the machine that becomes a part.
struct Found {
  What what;
  std::string source;  // where it is; it has its number by this
  std::string name;    // as the usual tools call it
  std::string chip;    // where that is what it stands on, and how it is called; empty for the machine itself
  std::string chipName;
  bool isOnSupply = false;  // the chip is a power supply
  unsigned number = 0;      // that it has by nature (fan 3 of its chip), 0 for none
  nlohmann::json attributes = nlohmann::json::object();
  bool isPresent = true;  // a supply that is not leaves an empty slot
};

// What was found, each at its place: the inventory that is published. All of it in the inventory file's form.
class Tree {
 public:
  // Takes what stands at a path now; null for nothing any more.
  using Sink = std::function<void(Path const& path, nlohmann::json content)>;

  Tree(Map const& map, Places& places, Journal& journal, Sink sink);

  // Attributes of the system, and systemMacAddr.
  void identityIs(nlohmann::json identity);
  // All that one finder has found, in the order in which what is new among it is numbered.
  void foundIs(std::string const& finder, std::vector<Found> found);
  // The status record and, unless it is null, the configuration record of a thing, as they are now.
  void readingIs(std::string const& source, nlohmann::json status, nlohmann::json config = nullptr);
  // The transceiver in a port's cage, as Transceivers tells it; null where there is no cage.
  void transceiverIs(std::string const& port, nlohmann::json transceiver);

  nlohmann::json const& transceiver(std::string const& port) { return transceivers_[port]; }

  // Where each thing stands, by its source.
  std::map<std::string, Path> places() const;
  std::map<std::string, std::vector<Found>> const& found() const { return found_; }

 private:
  struct Reading {
    nlohmann::json status, config;
  };
  struct Placed {
    What what;
    Path place;
    std::string name;  // by which records find it
  };

  void arrange();
  Path placeOf(Found const& found, Rule const& rule);
  void put(nlohmann::json& system, Found const& found, Rule const& rule, Path const& place) const;
  void putTransceiver(nlohmann::json& system, Placed const& port, nlohmann::json const& transceiver) const;
  void tell(Placed const& placed, Reading const& reading) const;
  void tellTransceiver(Placed const& port, nlohmann::json const& transceiver) const;
  void withdraw(Placed const& placed) const;

  Map const& map_;
  Places& places_;
  Journal& journal_;
  Sink sink_;
  nlohmann::json identity_ = nlohmann::json::object();
  std::map<std::string, std::vector<Found>> found_;  // by finder
  std::map<std::string, Reading> readings_;
  std::map<std::string, nlohmann::json> transceivers_;
  std::map<std::string, Placed> placed_;
};

}  // namespace Collect
