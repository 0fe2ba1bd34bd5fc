#include "collect/linux/Sysfs.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>
#include <string_view>
#include <system_error>

namespace Collect {

namespace fs = std::filesystem;

std::optional<std::string> sysText(fs::path const& file) {
  int const fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return std::nullopt;
  std::array<char, 4096> buffer;
  ssize_t const size = read(fd, buffer.data(), buffer.size());
  close(fd);
  if (size < 0) return std::nullopt;
  std::string_view text(buffer.data(), static_cast<std::size_t>(size));
  auto const isBlank = [](char character) {
    return character == '\0' || std::isspace(static_cast<unsigned char>(character)) != 0;
  };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return std::string(text);
}

bool naturallyBefore(std::string_view one, std::string_view other) {
  auto const number = [](std::string_view text) {
    auto const end = std::find_if(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) == 0; });
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
  };
  auto const significant = [](std::string_view digits) {
    auto const zeros = digits.find_first_not_of('0');
    return zeros == std::string_view::npos ? std::string_view() : digits.substr(zeros);
  };
  std::string_view const wholeOne = one, wholeOther = other;
  while (!one.empty() && !other.empty()) {
    auto const digits = number(one), otherDigits = number(other);
    if (!digits.empty() && !otherDigits.empty()) {
      auto const a = significant(digits), b = significant(otherDigits);
      if (a != b) return a.size() != b.size() ? a.size() < b.size() : a < b;
      one.remove_prefix(digits.size());
      other.remove_prefix(otherDigits.size());
    } else {
      if (one.front() != other.front()) return one.front() < other.front();
      one.remove_prefix(1);
      other.remove_prefix(1);
    }
  }
  if (one.empty() != other.empty()) return one.empty();
  return wholeOne < wholeOther;
}

std::vector<fs::path> entries(fs::path const& folder) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    found.push_back(entry->path());
  std::sort(found.begin(), found.end(), [](fs::path const& one, fs::path const& other) {
    return naturallyBefore(one.filename().native(), other.filename().native());
  });
  return found;
}

namespace {

// A step of a device's way that has a number of the kernel's, and what tells it from its siblings instead.
struct Numbered {
  std::regex name;
  std::string shown;  // what stands for it, as std::regex_replace has it
  bool hasSiblings;   // of which there are several below one device, so that a name or an order is needed
};

std::vector<Numbered> const& numbered() {
  static std::vector<Numbered> const table{
      {std::regex(R"(i2c-\d+)"), "i2c", true},            // an adapter
      {std::regex(R"(\d+-([0-9a-f]{4}))"), "$1", false},  // what is on it, by its address
      {std::regex(R"(spi\d+\.(\d+))"), "spi.$1", false},  // what is on an SPI bus, by its chip select
      {std::regex(R"((spi|ata|usb|mdio|host)\d+)"), "$1", true},
      {std::regex(R"((nvme|hwmon|thermal_zone|cooling_device|phy|virtio|hidraw)\d+)"), "$1", true},
      {std::regex(R"((target)?\d+(:\d+:\d+(:\d+)?))"), "$1$2", false},  // SCSI, without the number of its host
  };
  return table;
}

// "channel 2" of a multiplexer, or the name that an adapter's driver gave it.
std::string nameOf(fs::path const& adapter) {
  auto const name = sysText(adapter / "name").value_or("");
  static std::regex const channel(R"(chan_id (\d+))");
  std::smatch match;
  return std::regex_search(name, match, channel) ? "channel " + match[1].str() : name;
}

std::string stepOf(fs::path const& device) {
  std::string step = device.filename();
  for (auto const& [pattern, shown, hasSiblings] : numbered()) {
    if (!std::regex_match(step, pattern)) continue;
    std::string name = std::regex_replace(step, pattern, shown);
    if (!hasSiblings) return name;
    // Its own name is always there, whoever else is; only those of one name are told apart by their order.
    auto const own = nameOf(device);
    unsigned before = 0;
    for (auto const& sibling : entries(device.parent_path())) {
      if (sibling == device) break;
      if (std::regex_match(sibling.filename().native(), pattern) && nameOf(sibling) == own) ++before;
    }
    if (!own.empty()) name.append("(").append(own).append(")");
    if (before != 0) name.append(".").append(std::to_string(before));
    return name;
  }
  return step;
}

}  // namespace

std::string whereIs(fs::path const& device) {
  fs::path const root = "/sys/devices";
  auto const way = device.lexically_relative(root);
  bool const isBelow = !way.empty() && *way.begin() != "..";
  fs::path at = isBelow ? root : "/";
  std::string where;
  for (auto const& step : isBelow ? way : device.relative_path()) {
    at /= step;
    where += (where.empty() ? "" : "/") + stepOf(at);
  }
  // It is kept in a file and shown to people.
  std::replace_if(
      where.begin(), where.end(), [](unsigned char c) { return c < 0x20 || c > 0x7e; }, '?');
  return where;
}

}  // namespace Collect
