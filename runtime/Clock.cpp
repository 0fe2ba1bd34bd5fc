#include "runtime/Clock.h"

#include <algorithm>

#include "runtime/Type.h"

namespace Zef {

double Clock::timeMin() const {
  double earliest = never;
  for (auto* at = notifiees().first(); at != nullptr; at = ListRaw<PtrInterface::NotifieeConst>::next(at)) {
    if (auto const* timer = dynamic_cast<NotifieeConst const*>(at)) earliest = std::min(earliest, timer->timeMin());
  }
  return earliest;
}

void Clock::run() {
  double const now = time();
  notify<NotifieeConst>(timeAttr, [now](NotifieeConst& timer) {
    if (timer.timeMin_ > now) return;
    timer.timeMin_ = never;
    timer.onTime();
  });
}

void Clock::NotifieeConst::timeMinIs(double const& timeMin) {
  timeMin_ = timeMin;
  if (isRegisteredNotifiee() && notifier()->sink_) notifier()->sink_();
}

void Clock::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  NotifieeOf::isRegisteredNotifieeIs(registered);
  if (isRegisteredNotifiee() && notifier()->sink_) notifier()->sink_();
}

Ptr<Clock> processClock() {
  Ptr<Entity> manager = Entity::singletonExists(typeName<ActivityManagerConfig>());
  if (!manager) manager = Entity::singletonIs(ActivityManagerConfig::_fwkType());
  return static_cast<ActivityManagerConfig&>(*manager).clock();
}

}  // namespace Zef
