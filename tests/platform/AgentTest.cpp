#include <gtest/gtest.h>
#include <sys/time.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "platform/agent/Conversion.h"
#include "tests/Support.h"
#include "tests/Varbinds.h"

// The agent's own variable behind netsnmp_get_agent_starttime().
extern "C" timeval starttime;

// The agent's clocks, and those of the conversion, are taken from Zef's, which a test steps.
namespace {
void tell(timeval* time, double seconds) {
  auto const micros = std::llround(seconds * 1e6);
  *time = {micros / 1'000'000, micros % 1'000'000};
}
}  // namespace
extern "C" void netsnmp_get_monotonic_clock(timeval* time) { tell(time, Zef::System::currentTime()); }
extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept {
  tell(time, Zef::System::currentTimeUtc());
  return 0;
}

namespace {

using Bytes = std::vector<unsigned char>;

// What a functor wrote; nothing when it failed. Fails the test when it wrote past the capacity.
template <class F>
std::optional<Bytes> converted(auto const& value, int capacity = 1024) {
  constexpr unsigned char untouched = 0xa5;
  Bytes buffer(2048, untouched);
  int const count = SnmpConvert<decltype(value), F>(value, buffer.data(), capacity);
  for (auto i = static_cast<std::size_t>(capacity); i < buffer.size(); ++i) EXPECT_EQ(buffer[i], untouched) << i;
  if (count < 0) return std::nullopt;
  buffer.resize(static_cast<std::size_t>(std::min(count, capacity)));
  return buffer;
}

template <class F>
long convertedLong(auto value) {
  long number = 0;
  auto const bytes = converted<F>(value).value_or(Bytes());
  EXPECT_EQ(bytes.size(), sizeof number);
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<unsigned char*>(&number));
  return number;
}

TEST(Conversion, TextIsCutInTheBufferAndCountedWhole) {
  EXPECT_EQ(converted<StringToAsnOctetStringF>("fan"), (Bytes{'f', 'a', 'n'}));
  EXPECT_EQ((converted<StringToAsnOctetStringF>(Zef::String8())), Bytes());
  EXPECT_EQ(converted<StringToAsnOctetStringF>("fan", 2), (Bytes{'f', 'a'}));
  unsigned char buffer[2];
  EXPECT_EQ(StringToAsnOctetStringF()("fan", buffer, 2), 3);
}

TEST(Conversion, Oid) {
  std::string deep = "1.3";
  for (int i = 2; i < MAX_OID_LEN; ++i) deep += ".1";
  auto const read = [](std::string const& dotted, int capacity = 1024) -> std::string {
    auto const bytes = converted<StringToAsnOidF>(dotted.c_str(), capacity);
    if (!bytes) return "refused";
    Oid parts(bytes->size() / sizeof(oid));
    std::memcpy(parts.data(), bytes->data(), bytes->size());
    return text(parts);
  };
  for (std::string const& dotted :
       {deep, std::string("1.3.6.1.4.1.59871"), std::string("2.999"), std::string("1.3.4294967295")}) {
    EXPECT_EQ(read(dotted), dotted);
  }
  EXPECT_EQ(read("0"), "0.0");
  EXPECT_EQ(read(".1.3"), "1.3");
  EXPECT_EQ(read(deep + ".1"), "refused");
  for (char const* none : {"1.3.4294967296", "", ".", "1..3", "1.3.", "1.3x", "1.-3", "3.1", "1.40"}) {
    EXPECT_EQ(read(none), "refused") << none;
  }
  EXPECT_EQ(read("1.3.6", 2 * sizeof(oid)), "refused") << "an OID is never cut";
}

TEST(Conversion, DateAndTime) {
  std::pair<double, std::optional<Bytes>> const cases[] = {
      {0.0, {{7, 178, 1, 1, 0, 0, 0, 0, '+', 0, 0}}},
      {1709210096.75, {{7, 232, 2, 29, 12, 34, 56, 7, '+', 0, 0}}},
      {1700000000.3, {{7, 231, 11, 14, 22, 13, 20, 3, '+', 0, 0}}},
      {-0.15, {{7, 177, 12, 31, 23, 59, 59, 8, '+', 0, 0}}},
      {std::nan(""), {}},
      {-1e300, {}},
      {1e12, {}},
  };
  for (auto const& [seconds, octets] : cases) {
    EXPECT_EQ(converted<SecondsToAsnDateAndTimeF>(seconds), octets) << seconds;
  }
  EXPECT_FALSE(converted<SecondsToAsnDateAndTimeF>(0.0, 10));
}

// On the machine's clock as the agent reads it, which is stepped here.
struct TimeTicks : testing::Test {
  // Each start is another one than the last, which the conversion remembers.
  void uptimeIs(u_long ticks) {
    time_.seconds = (starts_ += 1e8);
    netsnmp_set_agent_uptime(ticks);
    time_.step(0.0042);  // somewhere within a tick
  }
  double now() const { return time_.seconds; }
  static long ticks(double seconds) {
    long const result = convertedLong<SecondsToTimeTicksF>(seconds);
    EXPECT_EQ(result, convertedLong<NowSecondsToUptimeTimeTicksF>(seconds));
    return result;
  }
  static inline double starts_ = 0;
  SteppedTime time_;
};

TEST_F(TimeTicks, StandOnTheScaleOfSysUpTime) {
  for (u_long const uptime : {4294967295UL, 12345UL, 201UL, 0UL}) {
    uptimeIs(uptime);
    double const first = now();
    for (int i = 0; i < 200; ++i) {
      EXPECT_EQ(ticks(now()), static_cast<long>(static_cast<U32>(netsnmp_get_agent_uptime())));
      EXPECT_EQ(ticks(first), static_cast<long>(static_cast<U32>(uptime))) << "one moment is one tick";
      time_.step(0.00137);
    }
    EXPECT_EQ(ticks(first + 12.34) - ticks(first), uptime == 4294967295UL ? 1234 - 4294967296 : 1234);
  }
}

// A subagent's master tells its uptime with every answer, in whole ticks and a little late.
TEST_F(TimeTicks, StayWhateverTheMasterTells) {
  constexpr u_long uptime = 200000;
  uptimeIs(uptime);
  double const start = now();
  EXPECT_EQ(ticks(start), static_cast<long>(uptime));
  for (int i = 0; i < 50; ++i) {
    auto const passed = static_cast<u_long>((now() - start) * 100);
    time_.step(0.003331);
    netsnmp_set_agent_uptime(uptime + passed);
    EXPECT_EQ(ticks(start), static_cast<long>(uptime));
  }
  netsnmp_set_agent_uptime(7);
  EXPECT_EQ(ticks(start), 0) << "another master, which has just started";
  netsnmp_set_agent_uptime(uptime + 1000);
  EXPECT_EQ(ticks(now()), static_cast<long>(uptime + 1000)) << "one that has run for longer";
}

TEST_F(TimeTicks, AreNeverNegativeNorOfAWallClockThatWasSet) {
  uptimeIs(50);
  for (double const before : {0.0, now() - 10}) EXPECT_EQ(ticks(before), 0);
  for (double const none : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    EXPECT_FALSE(converted<SecondsToTimeTicksF>(none));
  }
  for (long const step : {-86400L, 86400L}) {
    starttime.tv_sec += step;
    EXPECT_EQ(ticks(now()), static_cast<long>(netsnmp_get_agent_uptime()));
  }
}

TEST(AppendToOid, FillsTheArrayAndNoMore) {
  unsigned long oid[3] = {1, 3, 99};
  EXPECT_EQ(Snmp::AppendToOid(oid, 2, sizeof oid, -1), 3);
  EXPECT_EQ(oid[2], 4294967295UL);
  EXPECT_THROW(Snmp::AppendToOid(oid, 3, sizeof oid, 1), Zef::RangeException);
}

}  // namespace
