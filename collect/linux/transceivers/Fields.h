#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "collect/linux/transceivers/Transceiver.h"

namespace Collect {

// Halves of a module's memory as they were read: offsets stay those of the standards, 0 to 255.
using Page = std::array<std::uint8_t, 256>;

constexpr unsigned word(Page const& page, std::uint8_t at) {
  return static_cast<unsigned>(page[at] << 8U) | page[static_cast<std::uint8_t>(at + 1)];
}
constexpr int signedWord(Page const& page, std::uint8_t at) { return static_cast<std::int16_t>(word(page, at)); }

// What a measurement's two bytes count in all three standards.
struct Unit {
  double step;  // of one count, in the reading's unit
  bool isSigned;
  bool isPower;  // the step is in milliwatts, and the reading in dBm
};
constexpr Unit temperatureUnit{1.0 / 256, true, false};  // degrees Celsius
constexpr Unit voltageUnit{0.0001, false, false};        // volts
constexpr Unit biasUnit{0.002, false, false};            // milliamperes
constexpr Unit powerUnit{0.0001, false, true};           // of 0.1 uW

// A reading of so many counts. No light is -40 dBm, as on the usual instruments: a count is at least that.
double readingOf(double counts, Unit unit);
double readingAt(Page const& page, std::uint8_t at, Unit unit);

// Four limits in a row, in the order of all three standards: high and low alarm, high and low warning.
Limits limitsAt(Page const& page, std::uint8_t at, Unit unit);

// A text of the maker's: printable, without the blanks around it.
struct TextField {
  std::string Transceiver::*member;
  std::uint8_t at, size;
};
void takeTexts(Transceiver& module, Page const& page, std::span<TextField const> fields);

// The low eight bits of a sum over all bytes of a range.
struct Checksum {
  char const* name;
  std::uint8_t first, last, at;
};
// Empty when it is right.
std::string complaintOf(Checksum const& checksum, Page const& page);

// SFF-8024: the form of a module, nullptr for one that is not known; what it transmits, by the extended
// compliance codes, "" for one that is not known.
char const* formOf(std::uint8_t identifier);
char const* extendedCompliance(std::uint8_t code, bool isQuad);

// "QSFP28 copper cable, 3 m"
std::string copperCable(std::string const& kind, bool isActive, double metres);

}  // namespace Collect
