#include "collect/linux/Places.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>
#include <utility>

namespace Collect {

using nlohmann::json;

namespace {

// Tells a file that was written whole from any other.
std::string checksum(std::string const& text) {
  auto const sum = crc32(0, reinterpret_cast<Bytef const*>(text.data()), static_cast<uInt>(text.size()));
  std::array<char, 9> digits;
  std::snprintf(digits.data(), digits.size(), "%08lx", sum);
  return digits.data();
}

void writeWhole(std::filesystem::path const& file, std::string const& text) {
  auto const fail = [] { throw std::system_error(errno, std::generic_category()); };
  auto const beside = std::filesystem::path(file) += ".new";
  int const fd = open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (fd < 0) fail();
  bool isWritten = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
  isWritten = close(fd) == 0 && isWritten;
  if (!isWritten || rename(beside.c_str(), file.c_str()) != 0) fail();
}

}  // namespace

Places::Places(Journal& journal, std::filesystem::path file, bool isKept)
    : journal_(journal), file_(std::move(file)), isKept_(isKept) {
  if (file_.empty()) return;
  errno = 0;
  std::ifstream stream(file_, std::ios::binary);
  if (!stream) {
    if (errno != ENOENT) journal_.trouble(file_.native(), std::strerror(errno));
    return;
  }
  std::ostringstream text;
  text << stream.rdbuf();
  if (!read(text.str())) {
    groups_.clear();
    taken_.clear();
    journal_.say(Severity::warning,
                 file_.native() + ": it is damaged, and is begun anew: parts may get other places than they had");
  }
}

bool Places::read(std::string const& text) {
  // The file has two lines: the numbers, and their checksum.
  auto const end = text.find('\n');
  if (end == std::string::npos || text.substr(end + 1) != checksum(text.substr(0, end)) + "\n") return false;
  json const groups = json::parse(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), nullptr, false);
  if (!groups.is_object()) return false;
  for (auto const& [group, numbers] : groups.items()) {
    if (!numbers.is_object()) return false;
    for (auto const& [source, number] : numbers.items()) {
      if (!number.is_number_unsigned() || !taken_[group].insert(number.get<unsigned>()).second) return false;
      groups_[group][source] = number.get<unsigned>();
    }
  }
  return true;
}

void Places::reserve(std::string const& group, unsigned number) { reserved_[group].insert(number); }

unsigned Places::number(std::string const& group, std::string const& source, unsigned most, unsigned preferred) {
  Numbers& numbers = groups_[group];
  auto& taken = taken_[group];
  auto const& reserved = reserved_[group];
  auto const isFree = [&](unsigned number) {
    return number >= 1 && number <= most && !taken.contains(number) && !reserved.contains(number);
  };
  seen_[group].insert(source);
  if (auto const had = numbers.find(source); had != numbers.end()) {
    if (had->second <= most && !reserved.contains(had->second)) return had->second;
    taken.erase(had->second);
    numbers.erase(had);
    hasNews_ = true;
  }
  unsigned given = isFree(preferred) ? preferred : 1;
  while (given <= most && !isFree(given)) ++given;
  if (given > most) {
    auto const& seen = seen_[group];
    auto longGone = numbers.end();
    for (auto other = numbers.begin(); other != numbers.end(); ++other) {
      bool const isFit = !seen.contains(other->first) && other->second <= most && !reserved.contains(other->second);
      if (isFit && (longGone == numbers.end() || other->second < longGone->second)) longGone = other;
    }
    if (longGone == numbers.end()) return 0;
    given = longGone->second;
    numbers.erase(longGone);
  }
  numbers[source] = given;
  taken.insert(given);
  hasNews_ = true;
  return given;
}

std::string Places::text() const {
  std::string const numbers = json(groups_).dump(-1, ' ', true, json::error_handler_t::replace);
  return numbers + "\n" + checksum(numbers) + "\n";
}

void Places::keep() {
  if (!std::exchange(hasNews_, false) || file_.empty() || !isKept_) return;
  try {
    writeWhole(file_, text());
    journal_.trouble(file_.native(), "");
  } catch (std::system_error const& error) {
    journal_.trouble(file_.native(), std::string("places cannot be kept over a restart: ") + error.code().message());
    hasNews_ = true;
  }
}

}  // namespace Collect
