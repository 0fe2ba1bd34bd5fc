#include "runtime/reactors/Clock.h"

#include <algorithm>

namespace Zef {

template <class Call>
void Clock::forEachTimer(Call const& call) const {
  for (auto* at = notifiees().first(); at != nullptr; at = ListRaw<PtrInterface::NotifieeConst>::next(at)) {
    auto* const timer = dynamic_cast<NotifieeConst*>(at);
    if (timer != nullptr && timer->isRegisteredNotifiee()) call(*timer);
  }
}

double Clock::timeMin() const {
  double earliest = never;
  forEachTimer([&](NotifieeConst const& timer) { earliest = std::min(earliest, timer.timeMin()); });
  return earliest;
}

void Clock::run() {
  double const now = time();
  std::vector<Ptr<NotifieeConst>> due;
  forEachTimer([&](NotifieeConst& timer) {
    if (timer.timeMin() <= now) due.emplace_back(&timer);
  });
  std::stable_sort(due.begin(), due.end(),
                   [](auto const& left, auto const& right) { return left->timeMin() < right->timeMin(); });
  for (Ptr<NotifieeConst> const& timer : due) {
    // An earlier one may have dropped it, or put it off.
    if (!timer->isRegisteredNotifiee() || timer->notifier() != this || timer->timeMin() > now) continue;
    timer->timeMin_ = never;
    Delivery const delivery;
    guarded(*timer, timeAttr, [&] { timer->onTime(); });
  }
}

void Clock::NotifieeConst::timeMinIs(double const& timeMin) {
  timeMin_ = timeMin;
  if (isRegisteredNotifiee() && notifier()->sink_) notifier()->sink_();
}

void Clock::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  NotifieeOf::isRegisteredNotifieeIs(registered);
  if (isRegisteredNotifiee() && notifier()->sink_) notifier()->sink_();
}

void Clock::NotifieeConst::onNotificationException(AttributeId attribute) {
  if (attribute == timeAttr && timeMin_ == never && notifier() != nullptr)
    timeMinIs(notifier()->time() + retryInterval);
  NotifieeOf::onNotificationException(attribute);
}

}  // namespace Zef
