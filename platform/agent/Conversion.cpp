#include "platform/agent/Conversion.h"

#include <sys/time.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "runtime/kit/Exception.h"

namespace {

int writeLong(long value, unsigned char* buffer, int capacity) noexcept {
  if (capacity < static_cast<int>(sizeof value)) return -1;
  std::memcpy(buffer, &value, sizeof value);
  return sizeof value;
}

// The next component of a dotted OID, taken off the front of the text together with its dot.
std::optional<oid> cutComponent(std::string_view& text) noexcept {
  std::size_t const end = std::min(text.find('.'), text.size());
  U32 component = 0;
  auto const [stop, error] = std::from_chars(text.data(), text.data() + end, component);
  if (error != std::errc() || stop != text.data() + end) return std::nullopt;
  text.remove_prefix(std::min(end + 1, text.size()));
  return component;
}

constexpr std::int64_t microsPerTick = 10'000;

std::int64_t micros(timeval const& time) { return time.tv_sec * 1'000'000LL + time.tv_usec; }

std::int64_t monotonicMicros() {
  timeval now{};
  netsnmp_get_monotonic_clock(&now);
  return micros(now);
}

// The moment, in microseconds of the monotonic clock, at which sysUpTime was 0. The agent keeps it to itself: it tells
// its start by the wall clock, and its uptime in whole ticks. The first gives the moment exactly, unless the wall clock
// has been set since; the second bounds it, and shows whether that is so.
std::int64_t findUptimeOrigin(timeval const& start) {
  timeval wall{};
  gettimeofday(&wall, nullptr);
  std::int64_t const before = monotonicMicros();
  auto const ticks = static_cast<std::int64_t>(netsnmp_get_agent_uptime());
  std::int64_t const latest = monotonicMicros() - ticks * microsPerTick;
  std::int64_t const earliest = before - (ticks + 1) * microsPerTick;
  std::int64_t const origin = before - (micros(wall) - micros(start));
  return origin > earliest && origin <= latest ? origin : latest;
}

// Found once for each start that the agent is given, so that one moment always reads as the same tick. A subagent is
// given its master's anew with every answer of the master, in whole ticks and late by the way that the answer took:
// what is later by less than a second is the same start.
std::int64_t uptimeOrigin() {
  static timeval known{-1, 0};
  static std::int64_t origin = 0;
  timeval const start = *static_cast<timeval const*>(netsnmp_get_agent_starttime());
  if (start.tv_sec != known.tv_sec || start.tv_usec != known.tv_usec) {
    std::int64_t const later = findUptimeOrigin(start) - origin;
    if (known.tv_sec < 0 || later < -microsPerTick || later > 1'000'000) origin += later;
    known = start;
  }
  return origin;
}

}  // namespace

int S32ToAsnIntegerF::operator()(int value, unsigned char* buffer, int capacity) const noexcept {
  return writeLong(value, buffer, capacity);
}

int U32ToAsnUnsignedF::operator()(unsigned value, unsigned char* buffer, int capacity) const noexcept {
  return writeLong(value, buffer, capacity);
}

int BoolToAsnIntegerF::operator()(bool value, unsigned char* buffer, int capacity) const noexcept {
  return writeLong(value ? 1 : 2, buffer, capacity);
}

int StringToAsnOctetStringF::operator()(Zef::String8 const& value, unsigned char* buffer, int capacity) const noexcept {
  std::string_view const text = value.view();
  if (!text.empty())
    std::memcpy(buffer, text.data(), std::min(text.size(), static_cast<std::size_t>(std::max(capacity, 0))));
  return static_cast<int>(text.size());
}

int StringToAsnOidF::operator()(Zef::String8 const& value, unsigned char* buffer, int capacity) const noexcept {
  oid parts[MAX_OID_LEN];
  std::size_t length = 0;
  std::string_view text = value.view();
  if (text.starts_with('.')) text.remove_prefix(1);
  if (text.empty() || text.ends_with('.')) return -1;
  while (!text.empty()) {
    auto const part = cutComponent(text);
    if (!part || length == MAX_OID_LEN) return -1;
    parts[length++] = *part;
  }
  if (length == 1) parts[length++] = 0;
  if (parts[0] > 2 || (parts[0] < 2 && parts[1] > 39)) return -1;
  auto const size = static_cast<int>(length * sizeof(oid));
  if (size > capacity) return -1;
  std::memcpy(buffer, parts, static_cast<std::size_t>(size));
  return size;
}

int SecondsToTimeTicksF::operator()(double value, unsigned char* buffer, int capacity) const noexcept {
  if (!(std::abs(value) < 1e12)) return -1;
  std::int64_t const uptime = std::llround(value * 1e6) - uptimeOrigin();
  return writeLong(static_cast<U32>(std::max<std::int64_t>(uptime, 0) / microsPerTick), buffer, capacity);
}

int SecondsToAsnDateAndTimeF::operator()(double value, unsigned char* buffer, int capacity) const noexcept {
  using namespace std::chrono;
  using DeciSeconds = duration<std::int64_t, std::deci>;
  constexpr auto first = sys_seconds(sys_days(year(0) / January / 1)).time_since_epoch().count();
  constexpr auto end = sys_seconds(sys_days(year::max() / December / 31) + days(1)).time_since_epoch().count();
  constexpr int size = 11;
  if (!(value >= static_cast<double>(first) && value < static_cast<double>(end)) || capacity < size) return -1;
  sys_time<DeciSeconds> const time{DeciSeconds(static_cast<std::int64_t>(std::floor(value * 10)))};
  auto const day = floor<days>(time);
  year_month_day const date(day);
  hh_mm_ss const clock(time - day);
  int const yearNumber = static_cast<int>(date.year());
  auto const byte = [](auto number) { return static_cast<unsigned char>(number); };
  unsigned char const octets[size] = {byte(yearNumber >> 8),
                                      byte(yearNumber),
                                      byte(static_cast<unsigned>(date.month())),
                                      byte(static_cast<unsigned>(date.day())),
                                      byte(clock.hours().count()),
                                      byte(clock.minutes().count()),
                                      byte(clock.seconds().count()),
                                      byte(clock.subseconds().count()),
                                      '+',
                                      0,
                                      0};
  std::memcpy(buffer, octets, size);
  return size;
}

S32 AsnIntegerToS32(void const* value) {
  long const number = *static_cast<long const*>(value);
  if (number < std::numeric_limits<S32>::min() || number > std::numeric_limits<S32>::max()) {
    throw Zef::RangeException(std::to_string(number) + " does not fit into 32 bits",
                              Zef::Exception::IdBitArray().add(Zef::RangeException::id));
  }
  return static_cast<S32>(number);
}

namespace Snmp {

int AppendToOid(unsigned long* oid, int length, int size, int subidentifier) {
  if (static_cast<std::size_t>(length + 1) * sizeof *oid > static_cast<std::size_t>(size)) {
    Zef::throwRangeException("no room for another sub-identifier");
  }
  oid[length] = static_cast<U32>(subidentifier);
  return length + 1;
}

}  // namespace Snmp
