#pragma once

namespace Zef {

// Where the present time comes from. Tests put their own in its place and step through hours without a sleep.
class TimeSource {
 public:
  virtual ~TimeSource() = default;
  // Seconds since some moment of the past; never goes back.
  virtual double now() const = 0;
  // Seconds since 1970-01-01 00:00 UTC.
  virtual double utc() const = 0;
};

class System {
 public:
  // The present time in seconds, on a scale that never goes back (CLOCK_MONOTONIC). Zef::Clock shares it.
  static double currentTime();
  // The wall clock in seconds since 1970-01-01 00:00 UTC.
  static double currentTimeUtc();
  // Replaces the source of both; null brings back the machine's. The source must outlive its use.
  static void timeSourceIs(TimeSource const* source);
};

}  // namespace Zef
