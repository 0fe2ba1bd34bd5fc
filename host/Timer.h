#pragma once

#include <algorithm>
#include <functional>
#include <utility>

#include "runtime/reactors/Clock.h"

namespace Host {

// Calls back once, when the clock has reached timeMin(); it starts disarmed.
class Timer final : public Zef::Clock::NotifieeConst {
 public:
  Timer(Zef::Ptr<Zef::Clock> const& clock, std::function<void()> due) : due_(std::move(due)) {
    timeMinIs(Zef::Clock::never);
    notifierIs(clock);
    isRegisteredNotifieeIs(true);
  }

  void onTime() override { due_(); }

  // Due in so many seconds, or sooner if it is already.
  void withinIs(double seconds) { timeMinIs(std::min(timeMin(), notifier()->time() + seconds)); }

 private:
  std::function<void()> due_;
};

}  // namespace Host
