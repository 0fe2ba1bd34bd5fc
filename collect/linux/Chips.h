#pragma once

#include <sensors/sensors.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/linux/Map.h"
#include "collect/linux/Tree.h"
#include "collect/linux/Worker.h"

namespace Collect {

// Temperatures, voltages, currents, fans and supplies that the kernel's hwmon drivers know, by libsensors (whose
// sensors3.conf holds: labels, ignored inputs, computations). Each chip is read in a process of its own, so that one
// that hangs holds up no other.
class Chips {
 public:
  // `settled` is called once, when every chip has been read or has had its time.
  Chips(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled);
  ~Chips();
  Chips(Chips const&) = delete;
  Chips& operator=(Chips const&) = delete;

  struct Identity {
    std::uintmax_t number = 0;     // of the kernel's folder, which no later one has
    std::filesystem::path device;  // nothing for a chip that has none
    std::string name;
    bool operator==(Identity const&) const = default;
  };

 private:
  struct Input {
    What what = What::temperature;
    std::string name, source;
    std::string label;
    std::vector<int> now, limits;  // libsensors' numbers, as Chips.cpp orders them; below 0 for what the chip lacks
    Rule rule;
    bool isOfSupply = false;  // one that tells of the whole supply: its input or its output
  };
  struct Chip {
    sensors_chip_name const* chip = nullptr;
    std::string name, source;
    std::string folder;  // of the kernel's
    Identity identity;   // the chip is another one when it changes
    bool isSupply = false;
    bool hasOwnSupply = false;  // which the kernel's class of supplies tells of
    std::vector<Input> inputs;
    nlohmann::json limits;  // as they were read last
    bool isHeard = false;   // has been read, or had its time
    std::unique_ptr<Worker> worker;
  };

  // What is there, by what tells whether anything has come, gone or changed.
  static std::map<std::string, Identity> identities();
  void look();
  void discover();
  void list();
  void release();
  Chip chipOf(sensors_chip_name const& name) const;
  std::vector<Found> found() const;
  std::string read(Chip const& chip, bool isLimits) const;
  void ask(std::string const& source, bool isLimits);
  void hear(Chip& chip, bool isLimits, std::optional<std::string> const& answer);
  void tell(Chip& chip, nlohmann::json const& now);

  Loop& loop_;
  Journal& journal_;
  Map const& map_;
  Tree& tree_;
  std::function<void()> settled_;
  std::map<std::string, Identity> identities_;  // by folder
  bool isSteady_ = false;                       // nothing had changed while these were looked at
  bool isInitialized_ = false;
  std::map<std::string, Chip> chips_;  // by source
  unsigned round_ = 0;
  std::size_t waited_ = 0;  // chips that have not been heard of since the start
  Loop::Source turn_;
};

}  // namespace Collect
