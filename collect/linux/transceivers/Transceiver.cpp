#include "collect/linux/transceivers/Transceiver.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "collect/linux/transceivers/Fields.h"

namespace Collect {

namespace {

constexpr std::uint8_t a0 = 0x50, a2 = 0x51;

enum class Standard { none, sff8472, sff8636, cmis };

Standard standardOf(std::uint8_t identifier) {
  switch (identifier) {
    case 0x03:
    case 0x0b:
      return Standard::sff8472;
    case 0x0c:
    case 0x0d:
    case 0x11:
    case 0x17:
      return Standard::sff8636;
    case 0x1a:  // SFP-DD without CMIS has a standard of its own
      return Standard::none;
    default:
      return formOf(identifier) != nullptr ? Standard::cmis : Standard::none;
  }
}

void read(ModuleMemory& memory, Page& page, std::uint8_t first, unsigned size, std::uint8_t number = 0,
          std::uint8_t device = a0, std::uint8_t bank = 0) {
  memory.read({device, number, bank, first}, std::span(page).subspan(first, size));
}

bool verified(Transceiver& module, Checksum const& checksum, Page const& page) {
  auto complaint = complaintOf(checksum, page);
  if (complaint.empty()) return true;
  module.complaints.push_back(std::move(complaint));
  return false;
}

// ---- SFF-8472: A0h says what it is, A2h what it measures.

constexpr std::array<TextField, 5> sfpTexts{{{&Transceiver::mfgName, 20, 16},
                                             {&Transceiver::modelName, 40, 16},
                                             {&Transceiver::hardwareRev, 56, 4},
                                             {&Transceiver::serialNum, 68, 16},
                                             {&Transceiver::mfgDate, 84, 8}}};
constexpr Checksum sfpBase{"CC_BASE", 0, 62, 63}, sfpExt{"CC_EXT", 64, 94, 95}, sfpDmi{"CC_DMI", 0, 94, 95};

// Byte and bit of the compliance codes, in the order in which one is shown.
struct Bit {
  std::uint8_t at, bit;
  char const* name;
};
constexpr std::array<Bit, 8> sfpCompliance{{{3, 7, "10GBASE-ER"},
                                            {3, 6, "10GBASE-LRM"},
                                            {3, 5, "10GBASE-LR"},
                                            {3, 4, "10GBASE-SR"},
                                            {6, 3, "1000BASE-T"},
                                            {6, 2, "1000BASE-CX"},
                                            {6, 1, "1000BASE-LX"},
                                            {6, 0, "1000BASE-SX"}}};
constexpr std::array<Bit, 6> qsfpCompliance{{{131, 6, "10GBASE-LRM"},
                                             {131, 5, "10GBASE-LR"},
                                             {131, 4, "10GBASE-SR"},
                                             {131, 3, "40GBASE-CR4"},
                                             {131, 2, "40GBASE-SR4"},
                                             {131, 1, "40GBASE-LR4"}}};

template <std::size_t size>
std::string complianceOf(std::array<Bit, size> const& table, Page const& page) {
  for (auto const& [at, bit, name] : table) {
    if ((page[at] >> bit & 1U) != 0) return name;
  }
  return "";
}

std::string described(std::string const& kind, std::string const& what) {
  return what.empty() ? kind + " transceiver" : kind + " " + what;
}

Transceiver sfpIdentity(Page const& base) {
  Transceiver module;
  takeTexts(module, base, sfpTexts);
  verified(module, sfpBase, base);
  verified(module, sfpExt, base);
  // The nominal rate tells the forms of one identifier apart.
  unsigned const rate = base[12] == 0xff ? base[66] * 250U : base[12] * 100U;  // in MBd
  module.kind = rate >= 50'000 ? "SFP56" : rate >= 20'000 ? "SFP28" : rate >= 8'000 ? "SFP+" : formOf(base[0]);
  bool const isPassive = (base[8] >> 2U & 1U) != 0, isActive = (base[8] >> 3U & 1U) != 0;
  if (isPassive || isActive) {
    module.description = copperCable(module.kind, isActive, base[18]);
    return module;
  }
  std::string const extended = extendedCompliance(base[36], false);
  module.description = described(module.kind, extended.empty() ? complianceOf(sfpCompliance, base) : extended);
  bool const isMeasured = (base[92] >> 6U & 1U) != 0, isElsewhere = (base[92] >> 2U & 1U) != 0;
  // Where the bus's address must be switched first, no driver reads them.
  module.lanes = isMeasured && !isElsewhere ? 1 : 0;
  return module;
}

double floatAt(Page const& page, std::uint8_t at) {
  auto const bits = static_cast<std::uint32_t>(word(page, at)) << 16U | word(page, static_cast<std::uint8_t>(at + 2));
  return std::bit_cast<float>(bits);
}

// The counts of a measurement, from those that the converter gave: the maker's constants apply where the calibration is
// external (SFF-8472, table 9-6).
struct Calibration {
  Calibration(Page const& page, bool external) : constants(page), isExternal(external) {}

  double linear(double counts, std::uint8_t slope) const {
    if (!isExternal) return counts;
    return word(constants, slope) / 256.0 * counts + signedWord(constants, static_cast<std::uint8_t>(slope + 2));
  }
  double rxPower(double counts) const {
    if (!isExternal) return counts;
    double sum = 0;
    // Rx_PWR(4) comes first.
    for (std::uint8_t at = 56; at <= 72; at += 4) sum = sum * counts + floatAt(constants, at);
    return sum;
  }

  Page const& constants;
  bool isExternal;
};

struct Measured {
  std::uint8_t limits, reading;  // where they stand in A2h
  std::uint8_t slope;            // of the external calibration; 0 for that of the received power
  Unit unit;
  std::optional<double> LaneReadings::*member;
  Limits ModuleLimits::*limit;
};
constexpr std::array<Measured, 5> sfpMeasured{{
    {0, 96, 84, temperatureUnit, &LaneReadings::temperature, &ModuleLimits::temperature},
    {8, 98, 88, voltageUnit, &LaneReadings::voltage, &ModuleLimits::voltage},
    {16, 100, 76, biasUnit, &LaneReadings::txBias, &ModuleLimits::txBias},
    {24, 102, 80, powerUnit, &LaneReadings::txPower, &ModuleLimits::txPower},
    {32, 104, 0, powerUnit, &LaneReadings::rxPower, &ModuleLimits::rxPower},
}};

std::optional<double> calibrated(Calibration const& calibration, Page const& page, std::uint8_t at,
                                 Measured const& what) {
  double const raw = what.unit.isSigned ? signedWord(page, at) : static_cast<double>(word(page, at));
  double const counts = what.slope == 0 ? calibration.rxPower(raw) : calibration.linear(raw, what.slope);
  // What is far beyond two bytes comes of constants that are none.
  constexpr double most = 1e6;
  if (!(std::abs(counts) <= most)) return std::nullopt;
  return readingOf(counts, what.unit);
}

void sfpReadings(ModuleMemory& memory, Transceiver& module, bool isExternal, Page& diagnostics) {
  read(memory, diagnostics, 96, 16, 0, a2);
  bool const isRight = complaintOf(sfpDmi, diagnostics).empty();
  constexpr std::uint8_t status = 110;
  bool const isReady = (diagnostics[status] & 1U) == 0;
  Calibration const calibration(diagnostics, isExternal);
  LaneReadings lane;
  ModuleLimits limits{};
  bool hasLimits = isRight;
  for (auto const& what : sfpMeasured) {
    // Readings by constants that are wrong are wrong.
    if (isReady && (isRight || !isExternal))
      lane.*what.member = calibrated(calibration, diagnostics, what.reading, what);
    std::array<double, 4> four{};
    for (unsigned which = 0; which < four.size(); ++which) {
      auto const limit = calibrated(calibration, diagnostics, static_cast<std::uint8_t>(what.limits + 2 * which), what);
      hasLimits = hasLimits && limit.has_value();
      four.at(which) = limit.value_or(0);
    }
    limits.*what.limit = {four[0], four[1], four[2], four[3]};
  }
  module.readings = {lane};
  if (hasLimits) module.limits = limits;
}

// ---- SFF-8636: the lower half measures, page 00h says what it is, page 03h has the limits.

constexpr std::array<TextField, 5> qsfpTexts{{{&Transceiver::mfgName, 148, 16},
                                              {&Transceiver::modelName, 168, 16},
                                              {&Transceiver::hardwareRev, 184, 2},
                                              {&Transceiver::serialNum, 196, 16},
                                              {&Transceiver::mfgDate, 212, 8}}};
constexpr Checksum qsfpBase{"CC_BASE", 128, 190, 191}, qsfpExt{"CC_EXT", 192, 222, 223};

Transceiver qsfpIdentity(Page const& page) {
  Transceiver module;
  takeTexts(module, page, qsfpTexts);
  verified(module, qsfpBase, page);
  verified(module, qsfpExt, page);
  module.kind = formOf(page[0]);
  constexpr std::uint8_t extended = 192, technology = 147, length = 146;
  unsigned const transmitter = page[technology] >> 4U;
  if (transmitter >= 0xa) {
    module.description = copperCable(module.kind, transmitter >= 0xc, page[length]);
    return module;
  }
  bool const isExtended = (page[131] >> 7U & 1U) != 0;
  module.description = described(
      module.kind, isExtended ? extendedCompliance(page[extended], true) : complianceOf(qsfpCompliance, page));
  module.lanes = 4;
  return module;
}

void qsfpReadings(Page const& page, Transceiver& module) {
  constexpr std::uint8_t status = 2, diagnosticType = 220;
  constexpr std::uint8_t temperature = 22, voltage = 26, rxPower = 34, txBias = 42, txPower = 50;
  module.readings.assign(module.lanes, {});
  if ((page[status] & 1U) != 0) return;  // data not ready
  module.readings[0].temperature = readingAt(page, temperature, temperatureUnit);
  module.readings[0].voltage = readingAt(page, voltage, voltageUnit);
  for (unsigned number = 0; number < module.lanes; ++number) {
    auto& lane = module.readings[number];
    auto const at = [number](std::uint8_t first) { return static_cast<std::uint8_t>(first + 2 * number); };
    lane.rxPower = readingAt(page, at(rxPower), powerUnit);
    lane.txBias = readingAt(page, at(txBias), biasUnit);
    if ((page[diagnosticType] >> 2U & 1U) != 0) lane.txPower = readingAt(page, at(txPower), powerUnit);
  }
}

ModuleLimits qsfpLimits(Page const& page) {
  return {limitsAt(page, 128, temperatureUnit), limitsAt(page, 144, voltageUnit), limitsAt(page, 184, biasUnit),
          limitsAt(page, 192, powerUnit), limitsAt(page, 176, powerUnit)};
}

// ---- CMIS: the lower half measures the module, page 11h the lanes, pages 00h, 01h and 02h say what and within what.

constexpr std::array<TextField, 5> cmisTexts{{{&Transceiver::mfgName, 129, 16},
                                              {&Transceiver::modelName, 148, 16},
                                              {&Transceiver::hardwareRev, 164, 2},
                                              {&Transceiver::serialNum, 166, 16},
                                              {&Transceiver::mfgDate, 182, 8}}};
constexpr Checksum cmisIdentityPage{"the checksum of page 00h", 128, 221, 222},
    cmisAdvertising{"the checksum of page 01h", 130, 254, 255},
    cmisThresholds{"the checksum of page 02h", 128, 254, 255};
constexpr unsigned lanesInABank = 8;

bool isFlat(Page const& page, Standard standard) {
  return standard == Standard::cmis ? (page[2] >> 7U & 1U) != 0 : (page[2] >> 2U & 1U) != 0;
}

Transceiver cmisIdentity(Page const& page) {
  Transceiver module;
  takeTexts(module, page, cmisTexts);
  verified(module, cmisIdentityPage, page);
  module.kind = formOf(page[0]);
  constexpr std::uint8_t mediaType = 85, firstApplication = 86, cableLength = 202, technology = 212;
  constexpr std::uint8_t multiMode = 1, singleMode = 2, passiveCopper = 3, activeCable = 4, copper = 0x0a;
  unsigned const type = page[mediaType];
  if (type == passiveCopper || (type == activeCable && page[technology] >= copper)) {
    constexpr std::array<double, 4> multipliers{0.1, 1, 10, 100};
    double const metres = (page[cableLength] & 0x3fU) * multipliers.at(page[cableLength] >> 6U);
    module.description = copperCable(module.kind, type == activeCable, metres);
    return module;
  }
  // An application: its host interface, its media interface, and the lanes of both.
  unsigned const mediaLanes = page[firstApplication + 2] & 0x0fU;
  bool const isUsed = page[firstApplication] != 0xff && mediaLanes != 0;
  char const* const medium = type == singleMode ? "single mode" : type == multiMode ? "multi mode" : "optical";
  module.description = described(module.kind, isUsed ? std::string(medium) + ", " + std::to_string(mediaLanes) +
                                                           (mediaLanes == 1 ? " lane" : " lanes")
                                                     : std::string(medium));
  // Without pages beyond 00h there is nothing that measures a lane.
  if (!isFlat(page, Standard::cmis)) module.lanes = isUsed ? mediaLanes : lanesInABank;
  return module;
}

// By what a count of the bias is multiplied, from page 01h.
double biasScale(Page const& advertised) {
  constexpr std::array<double, 4> scales{1, 2, 4, 1};
  return scales.at(advertised[160] >> 3U & 3U);
}

ModuleLimits cmisLimits(Page const& page, double bias) {
  Unit scaled = biasUnit;
  scaled.step *= bias;
  return {limitsAt(page, 128, temperatureUnit), limitsAt(page, 136, voltageUnit), limitsAt(page, 184, scaled),
          limitsAt(page, 176, powerUnit), limitsAt(page, 192, powerUnit)};
}

void cmisReadings(ModuleMemory& memory, Page const& page, Page const& advertised, Transceiver& module) {
  constexpr std::uint8_t state = 3, temperature = 14, voltage = 16, moduleMonitors = 159, laneMonitors = 160;
  constexpr std::uint8_t lanePage = 0x11, firstMonitor = 154, txPower = 154, txBias = 170, rxPower = 186;
  constexpr unsigned ready = 3;
  module.readings.assign(module.lanes, {});
  if ((advertised[moduleMonitors] & 1U) != 0)
    module.readings[0].temperature = readingAt(page, temperature, temperatureUnit);
  if ((advertised[moduleMonitors] >> 1U & 1U) != 0) module.readings[0].voltage = readingAt(page, voltage, voltageUnit);
  // In low power, or on its way, nothing on a lane is measured.
  if ((page[state] >> 1U & 7U) != ready) return;
  Unit scaled = biasUnit;
  scaled.step *= biasScale(advertised);
  Page lanes{};
  for (unsigned number = 0; number < module.lanes; ++number) {
    unsigned const lane = number % lanesInABank;
    if (lane == 0) {
      auto const bank = static_cast<std::uint8_t>(number / lanesInABank);
      read(memory, lanes, firstMonitor, rxPower + 2 * lanesInABank - firstMonitor, lanePage, a0, bank);
    }
    auto const at = [lane](std::uint8_t first) { return static_cast<std::uint8_t>(first + 2 * lane); };
    auto& reading = module.readings[number];
    if ((advertised[laneMonitors] & 1U) != 0) reading.txBias = readingAt(lanes, at(txBias), scaled);
    if ((advertised[laneMonitors] >> 1U & 1U) != 0) reading.txPower = readingAt(lanes, at(txPower), powerUnit);
    if ((advertised[laneMonitors] >> 2U & 1U) != 0) reading.rxPower = readingAt(lanes, at(rxPower), powerUnit);
  }
}

}  // namespace

// What stays the same while a module does, besides what is shown of it.
struct Module::Known {
  Standard standard = Standard::none;
  Page page{};       // the lower half and page 00h; A0h of SFF-8472
  Page constants{};  // A2h of SFF-8472, page 01h of CMIS
};

Module::Module(std::unique_ptr<ModuleMemory> memory) : memory_(std::move(memory)), known_(std::make_unique<Known>()) {}

Module::~Module() = default;

Transceiver Module::read() {
  auto const readHalf = [this](Page& page, std::uint8_t first, std::uint8_t number = 0, std::uint8_t device = a0) {
    Collect::read(*memory_, page, first, 128, number, device);
  };
  Page page{};
  readHalf(page, 0);
  auto const standard = standardOf(page[0]);
  // Of a SFF-8472 module the lower half of A0h has all of its identity.
  bool const hasUpper = standard == Standard::sff8636 || standard == Standard::cmis;
  if (hasUpper) readHalf(page, 128);
  std::size_t const fixed = hasUpper ? 128 : 0;
  bool const isSame = known_->standard == standard && known_->page[0] == page[0] && isWhole_ &&
                      std::equal(page.begin() + fixed, page.begin() + fixed + 128, known_->page.begin() + fixed);
  if (!isSame) {
    isWhole_ = false;
    *known_ = {standard, page, {}};
    identity_ = standard == Standard::sff8472   ? sfpIdentity(page)
                : standard == Standard::sff8636 ? qsfpIdentity(page)
                : standard == Standard::cmis    ? cmisIdentity(page)
                                                : Transceiver();
    if (standard == Standard::none) {
      std::array<char, 64> text;
      std::snprintf(text.data(), text.size(), "unknown (%02xh)", page[0]);
      identity_.kind = text.data();
      identity_.description = "Transceiver of an unknown form";
      identity_.complaints.push_back("its identifier " + identity_.kind.substr(8) + " is none that is known here");
    }
  }
  if (identity_.lanes == 0) {
    isWhole_ = true;
    return identity_;
  }
  Transceiver module = identity_;
  try {
    if (!isSame) readConstants(page);
    module = identity_;
    if (standard == Standard::sff8472) {
      bool const isExternal = (page[92] >> 4U & 1U) != 0;
      sfpReadings(*memory_, module, isExternal, known_->constants);
    } else if (standard == Standard::sff8636) {
      qsfpReadings(page, module);
    } else {
      cmisReadings(*memory_, page, known_->constants, module);
    }
    isWhole_ = true;
  } catch (std::system_error const& error) {
    module.readings.clear();
    module.complaints.push_back("its readings cannot be read: " + error.code().message());
  }
  return module;
}

void Module::readConstants(Page const& page) {
  auto const standard = known_->standard;
  Page& constants = known_->constants;
  if (standard == Standard::sff8472) {
    Collect::read(*memory_, constants, 0, 96, 0, a2);
    verified(identity_, sfpDmi, constants);
  } else if (!isFlat(page, standard)) {
    Page limits{};
    if (standard == Standard::sff8636) {
      Collect::read(*memory_, limits, 128, 128, 3);
      identity_.limits = qsfpLimits(limits);
      return;
    }
    Collect::read(*memory_, constants, 128, 128, 1);
    // What it does not say rightly that it measures is not measured.
    if (!verified(identity_, cmisAdvertising, constants)) constants = {};
    Collect::read(*memory_, limits, 128, 128, 2);
    if (verified(identity_, cmisThresholds, limits)) identity_.limits = cmisLimits(limits, biasScale(constants));
  }
}

}  // namespace Collect
