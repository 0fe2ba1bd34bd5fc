#include "runtime/kit/System.h"

#include <ctime>

namespace Zef {

namespace {
double read(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

class MachineTime final : public TimeSource {
 public:
  double now() const override { return read(CLOCK_MONOTONIC); }
  double utc() const override { return read(CLOCK_REALTIME); }
};

MachineTime const machineTime;
TimeSource const* timeSource = &machineTime;
}  // namespace

double System::currentTime() { return timeSource->now(); }
double System::currentTimeUtc() { return timeSource->utc(); }
void System::timeSourceIs(TimeSource const* source) { timeSource = source == nullptr ? &machineTime : source; }

}  // namespace Zef
