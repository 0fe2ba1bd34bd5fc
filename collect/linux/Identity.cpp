#include "collect/linux/Identity.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "collect/linux/Sysfs.h"

namespace Collect {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::string_view onieSignature{"TlvInfo\0", 8};
constexpr std::size_t headerSize = 11;  // signature, version, total length
constexpr std::size_t mostOnie = 2048;
constexpr std::uint8_t onieVersion = 1;

// The TLVs that are shown, each as an attribute of the system.
struct Tlv {
  std::uint8_t type;
  char const* attribute;
};
constexpr std::uint8_t manufacturer = 0x2b, vendor = 0x2d, macBase = 0x24, deviceVersion = 0x26, macCount = 0x2a,
                       crc = 0xfe;
constexpr std::array<Tlv, 7> texts{{{0x21, "modelName"},
                                    {0x22, "vendorType"},  // the part number
                                    {0x23, "serialNum"},
                                    {0x25, "mfgDate"},
                                    {0x27, "hardwareRev"},  // the label revision
                                    {0x29, "firmwareRev"},  // ONIE's own version
                                    {manufacturer, "mfgName"}}};

std::string macText(std::uint64_t address) {
  std::array<char, 18> text;
  std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x",
                static_cast<unsigned>(address >> 40U & 0xffU), static_cast<unsigned>(address >> 32U & 0xffU),
                static_cast<unsigned>(address >> 24U & 0xffU), static_cast<unsigned>(address >> 16U & 0xffU),
                static_cast<unsigned>(address >> 8U & 0xffU), static_cast<unsigned>(address & 0xffU));
  return text.data();
}

std::uint64_t bigEndian(std::span<std::uint8_t const> bytes) {
  std::uint64_t number = 0;
  for (auto const byte : bytes) number = number << 8U | byte;
  return number;
}

std::string textOf(std::span<std::uint8_t const> bytes) {
  std::string text;
  for (auto const byte : bytes) {
    if (byte == 0) break;
    text += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '?';
  }
  auto const end = text.find_last_not_of(' ');
  return text.substr(0, end == std::string::npos ? 0 : end + 1);
}

}  // namespace

json readOnie(std::span<std::uint8_t const> eeprom) {
  auto const wrong = [](std::string const& reason) -> std::runtime_error { return std::runtime_error(reason); };
  if (eeprom.size() < headerSize || !std::equal(onieSignature.begin(), onieSignature.end(), eeprom.begin()))
    throw wrong("it does not begin with TlvInfo");
  if (eeprom[8] != onieVersion) throw wrong("it has version " + std::to_string(eeprom[8]) + ", and 1 is known");
  auto const size = headerSize + bigEndian(eeprom.subspan(9, 2));
  if (size > eeprom.size() || size > mostOnie) throw wrong("it ends before its " + std::to_string(size) + " bytes do");
  auto left = eeprom.subspan(headerSize, size - headerSize);
  json found = json::object();
  std::string byVendor;
  std::uint64_t base = 0, count = 1;
  std::optional<std::uint32_t> sum;
  while (!left.empty()) {
    if (sum) throw wrong("its CRC does not stand last");
    if (left.size() < 2 || left.size() < 2U + left[1]) throw wrong("a field ends behind the end");
    auto const type = left[0];
    auto const value = left.subspan(2, left[1]);
    if (type == crc) {
      if (value.size() != 4) throw wrong("its CRC has " + std::to_string(value.size()) + " bytes");
      sum = static_cast<std::uint32_t>(bigEndian(value));
    } else if (type == macBase && value.size() == 6) {
      base = bigEndian(value);
    } else if (type == macCount && value.size() == 2) {
      count = bigEndian(value);
    } else if (type == deviceVersion && value.size() == 1) {
      if (!found.contains("hardwareRev")) found["hardwareRev"] = std::to_string(value[0]);
    } else if (type == vendor) {
      byVendor = textOf(value);
    } else {
      for (auto const& [known, attribute] : texts) {
        if (known != type) continue;
        if (auto const text = textOf(value); !text.empty()) found[attribute] = text;
      }
    }
    left = left.subspan(2 + value.size());
  }
  auto const own = crc32(0, eeprom.data(), static_cast<uInt>(size - 4));
  if (!sum) throw wrong("it has no CRC");
  if (*sum != own) throw wrong("its CRC is wrong");
  if (!found.contains("mfgName") && !byVendor.empty()) found["mfgName"] = byVendor;
  if (base != 0) {
    found["systemMacAddr"] = found["minAddr"] = macText(base);
    if (count > 0) found["maxAddr"] = macText(base + count - 1);
  }
  return found;
}

namespace {

std::vector<std::uint8_t> bytesOf(fs::path const& file) {
  auto const fail = [] { throw std::system_error(errno, std::generic_category()); };
  int const fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) fail();
  std::vector<std::uint8_t> bytes(mostOnie);
  std::size_t size = 0;
  ssize_t more = 1;
  // The kernel gives out an EEPROM in pieces.
  while (more > 0 && size < bytes.size()) {
    more = read(fd, bytes.data() + size, bytes.size() - size);
    if (more > 0) size += static_cast<std::size_t>(more);
  }
  int const error = errno;
  close(fd);
  errno = error;
  if (more < 0) fail();
  bytes.resize(size);
  return bytes;
}

// What makers leave in DMI when they have nothing to say.
bool isFiller(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  static constexpr std::array<std::string_view, 13> fillers{"to be filled by o.e.m.",
                                                            "default string",
                                                            "not specified",
                                                            "not applicable",
                                                            "none",
                                                            "n/a",
                                                            "0123456789",
                                                            "system manufacturer",
                                                            "unknown",
                                                            "system version",
                                                            "oem",
                                                            "invalid",
                                                            "not available"};
  return text.empty() || text.starts_with("system product name") || text.starts_with("system serial number") ||
         text.find_first_not_of("0. x-") == std::string::npos ||
         std::find(fillers.begin(), fillers.end(), text) != fillers.end();
}

json fromDmi() {
  json found = json::object();
  for (auto const& [file, attribute] : {std::pair{"sys_vendor", "mfgName"},
                                        {"board_vendor", "mfgName"},
                                        {"product_name", "modelName"},
                                        {"board_name", "modelName"},
                                        {"product_serial", "serialNum"},
                                        {"chassis_serial", "serialNum"},
                                        {"board_serial", "serialNum"},
                                        {"product_version", "hardwareRev"},
                                        {"board_version", "hardwareRev"},
                                        {"product_sku", "vendorType"},
                                        {"bios_version", "firmwareRev"}}) {
    auto const text = sysText(fs::path("/sys/class/dmi/id") / file);
    if (text && !isFiller(*text) && !found.contains(attribute)) found[attribute] = *text;
  }
  return found;
}

json fromDeviceTree() {
  json found = json::object();
  fs::path const base = "/sys/firmware/devicetree/base";
  // The first of "compatible" is "maker,board".
  if (auto const text = sysText(base / "compatible"); text && text->find(',') != std::string::npos)
    found["mfgName"] = text->substr(0, text->find(','));
  if (auto const text = sysText(base / "model"); text && !text->empty()) found["modelName"] = *text;
  if (auto const text = sysText(base / "serial-number"); text && !text->empty()) found["serialNum"] = *text;
  return found;
}

std::string systemName() {
  std::ifstream release("/etc/os-release");
  for (std::string line; std::getline(release, line);) {
    if (!line.starts_with("PRETTY_NAME=")) continue;
    auto name = line.substr(12);
    std::erase(name, '"');
    return name;
  }
  return "";
}

}  // namespace

json machineIdentity(std::string const& eeprom) {
  json found = json::object(), complaints = json::array();
  std::vector<fs::path> candidates;
  if (eeprom.empty()) {
    for (auto const& device : entries("/sys/bus/i2c/drivers/at24")) candidates.push_back(device / "eeprom");
  } else if (eeprom != "none") {
    candidates.emplace_back(eeprom);
  }
  for (auto const& file : candidates) {
    try {
      auto const bytes = bytesOf(file);
      // Of those that nobody named, most are something else.
      bool const isOnie =
          bytes.size() >= onieSignature.size() && std::equal(onieSignature.begin(), onieSignature.end(), bytes.begin());
      if (eeprom.empty() && !isOnie) continue;
      found = readOnie(bytes);
      break;
    } catch (std::system_error const& error) {
      if (!eeprom.empty()) complaints.push_back(file.native() + ": " + error.code().message());
    } catch (std::runtime_error const& error) {
      complaints.push_back(file.native() + ": " + error.what());
    }
  }
  for (auto const& other : {fromDmi(), fromDeviceTree()}) {
    for (auto const& [attribute, text] : other.items()) {
      if (!found.contains(attribute)) found[attribute] = text;
    }
  }
  utsname kernel{};
  uname(&kernel);
  auto const name = systemName();
  found["softwareRev"] = (name.empty() ? "" : name + ", ") + kernel.sysname + " " + kernel.release;
  std::string description = found.value("modelName", std::string(kernel.machine) + " machine");
  if (found.contains("mfgName") && !description.starts_with(found["mfgName"].get<std::string>()))
    description = found["mfgName"].get<std::string>() + " " + description;
  if (found.contains("vendorType")) description += " (" + found["vendorType"].get<std::string>() + ")";
  found["description"] = description;
  if (!complaints.empty()) found["complaints"] = complaints;
  return found;
}

}  // namespace Collect
