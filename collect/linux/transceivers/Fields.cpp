#include "collect/linux/transceivers/Fields.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Collect {

namespace {

constexpr double leastPower = 0.0001;  // mW

template <class Value>
struct Code {
  std::uint8_t code;
  Value value;
};

// SFF-8024, table 4-1.
constexpr std::array<Code<char const*>, 18> forms{{
    {0x03, "SFP"},
    {0x0b, "DWDM-SFP"},
    {0x0c, "QSFP"},
    {0x0d, "QSFP+"},
    {0x11, "QSFP28"},
    {0x17, "microQSFP"},
    {0x18, "QSFP-DD"},
    {0x19, "OSFP"},
    {0x1a, "SFP-DD"},
    {0x1b, "DSFP"},
    {0x1e, "QSFP"},
    {0x1f, "SFP-DD"},
    {0x20, "SFP"},
    {0x21, "OSFP-XD"},
    {0x22, "OIF-ELSFP"},
    {0x23, "CDFP"},
    {0x24, "CDFP"},
    {0x25, "CDFP"},
}};

// SFF-8024, table 4-4: of modules with four lanes, and of those with one where that is something else.
struct Compliance {
  char const* quad;
  char const* single;
};
constexpr std::array<Code<Compliance>, 44> compliances{{
    {0x01, {"100G AOC", "25G AOC"}},
    {0x02, {"100GBASE-SR4", "25GBASE-SR"}},
    {0x03, {"100GBASE-LR4", "25GBASE-LR"}},
    {0x04, {"100GBASE-ER4", "25GBASE-ER"}},
    {0x05, {"100GBASE-SR10", nullptr}},
    {0x06, {"100G CWDM4", nullptr}},
    {0x07, {"100G PSM4", nullptr}},
    {0x08, {"100G ACC", "25G ACC"}},
    {0x0b, {"100GBASE-CR4", "25GBASE-CR CA-25G-L"}},
    {0x0c, {"25GBASE-CR CA-25G-S", nullptr}},
    {0x0d, {"25GBASE-CR CA-25G-N", nullptr}},
    {0x10, {"40GBASE-ER4", nullptr}},
    {0x11, {"4 x 10GBASE-SR", nullptr}},
    {0x12, {"40G PSM4", nullptr}},
    {0x16, {"10GBASE-T", nullptr}},
    {0x17, {"100G CLR4", nullptr}},
    {0x18, {"100G AOC", "25G AOC"}},
    {0x19, {"100G ACC", "25G ACC"}},
    {0x1a, {"100GE-DWDM2", nullptr}},
    {0x1b, {"100G 1550 nm WDM", nullptr}},
    {0x1c, {"10GBASE-T", nullptr}},
    {0x1d, {"5GBASE-T", nullptr}},
    {0x1e, {"2.5GBASE-T", nullptr}},
    {0x1f, {"40G SWDM4", nullptr}},
    {0x20, {"100G SWDM4", nullptr}},
    {0x21, {"100G PAM4 BiDi", nullptr}},
    {0x25, {"100GBASE-DR", nullptr}},
    {0x26, {"100GBASE-FR1", nullptr}},
    {0x27, {"100GBASE-LR1", nullptr}},
    {0x37, {"10GBASE-BR", nullptr}},
    {0x38, {"25GBASE-BR", nullptr}},
    {0x39, {"50GBASE-BR", nullptr}},
    {0x3a, {"100GBASE-VR", nullptr}},
    {0x40, {"200GBASE-CR4", "50GBASE-CR"}},
    {0x41, {"200GBASE-SR4", "50GBASE-SR"}},
    {0x42, {"200GBASE-DR4", "50GBASE-FR"}},
    {0x43, {"200GBASE-FR4", nullptr}},
    {0x44, {"200G 1550 nm PSM4", nullptr}},
    {0x45, {"50GBASE-LR", nullptr}},
    {0x46, {"200GBASE-LR4", nullptr}},
    {0x47, {"400GBASE-DR4", nullptr}},
    {0x48, {"400GBASE-FR4", nullptr}},
    {0x49, {"400GBASE-LR4-6", nullptr}},
    {0x4a, {"50GBASE-ER", nullptr}},
}};

template <class Value, std::size_t size>
Value const* find(std::array<Code<Value>, size> const& table, std::uint8_t code) {
  auto const* const found =
      std::find_if(table.begin(), table.end(), [code](Code<Value> const& each) { return each.code == code; });
  return found == table.end() ? nullptr : &found->value;
}

}  // namespace

double readingOf(double counts, Unit unit) {
  double const value = counts * unit.step;
  double const reading = unit.isPower ? 10 * std::log10(std::max(value, leastPower)) : value;
  // Four decimals are a count of any of them.
  return std::round(reading * 10'000) / 10'000;
}

double readingAt(Page const& page, std::uint8_t at, Unit unit) {
  return readingOf(unit.isSigned ? signedWord(page, at) : static_cast<double>(word(page, at)), unit);
}

Limits limitsAt(Page const& page, std::uint8_t at, Unit unit) {
  auto const limit = [&](unsigned which) { return readingAt(page, static_cast<std::uint8_t>(at + 2 * which), unit); };
  return {limit(0), limit(1), limit(2), limit(3)};
}

void takeTexts(Transceiver& module, Page const& page, std::span<TextField const> fields) {
  for (auto const& [member, at, size] : fields) {
    std::string text(page.begin() + at, page.begin() + at + size);
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c > 0x7e; }, ' ');
    auto const first = text.find_first_not_of(' ');
    auto const last = text.find_last_not_of(' ');
    module.*member = first == std::string::npos ? "" : text.substr(first, last - first + 1);
  }
}

std::string complaintOf(Checksum const& checksum, Page const& page) {
  unsigned sum = 0;
  for (unsigned at = checksum.first; at <= checksum.last; ++at) sum += page[at];
  sum &= 0xffU;
  if (sum == page[checksum.at]) return "";
  std::array<char, 80> text;
  std::snprintf(text.data(), text.size(), "%s is %02xh and should be %02xh", checksum.name, page[checksum.at], sum);
  return text.data();
}

char const* formOf(std::uint8_t identifier) {
  auto const* const form = find(forms, identifier);
  return form == nullptr ? nullptr : *form;
}

char const* extendedCompliance(std::uint8_t code, bool isQuad) {
  auto const* const found = find(compliances, code);
  if (found == nullptr) return "";
  return isQuad || found->single == nullptr ? found->quad : found->single;
}

std::string copperCable(std::string const& kind, bool isActive, double metres) {
  std::array<char, 32> length{};
  if (metres > 0) std::snprintf(length.data(), length.size(), ", %g m", metres);
  return kind + (isActive ? " active" : "") + " copper cable" + length.data();
}

}  // namespace Collect
