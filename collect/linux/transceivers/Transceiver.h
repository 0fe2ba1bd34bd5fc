#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collect/linux/transceivers/ModuleMemory.h"

namespace Collect {

// What a module measures; nothing where it does not, or not now. Powers are in dBm, the bias in milliamperes.
struct LaneReadings {
  std::optional<double> temperature, voltage;  // of the whole module, in degrees Celsius and volts: on lane 0
  std::optional<double> txBias, txPower, rxPower;
};

struct Limits {
  double highAlarm, lowAlarm, highWarning, lowWarning;
};

struct ModuleLimits {
  Limits temperature, voltage, txBias, txPower, rxPower;
};

// A module as it tells of itself, by SFF-8472, SFF-8636 or CMIS.
struct Transceiver {
  std::string kind;         // SFF-8024's name of the form, such as QSFP28
  std::string description;  // the form and what it is, such as "QSFP28 100GBASE-LR4" or "SFP copper cable, 3 m"
  std::string mfgName, modelName, serialNum, hardwareRev, mfgDate;
  unsigned lanes = 0;  // with readings; none for copper cables and what measures nothing
  std::vector<LaneReadings> readings;
  std::optional<ModuleLimits> limits;
  std::vector<std::string> complaints;  // what is wrong with it: "CC_BASE is 3fh and should be 41h"
};

// Reads one cage's module again and again. What does not change is read when the module is another one.
class Module {
 public:
  explicit Module(std::unique_ptr<ModuleMemory> memory);
  ~Module();
  Module(Module const&) = delete;
  Module& operator=(Module const&) = delete;

  // A std::system_error of the memory when the module's identity cannot be read. When only its readings cannot, it has
  // none, and a complaint.
  Transceiver read();

 private:
  struct Known;

  // Limits and what readings are made with. Its complaints are the identity's.
  void readConstants(std::array<std::uint8_t, 256> const& page);

  std::unique_ptr<ModuleMemory> memory_;
  std::unique_ptr<Known> known_;
  bool isWhole_ = false;  // all that stays the same has been read
  Transceiver identity_;
};

}  // namespace Collect
