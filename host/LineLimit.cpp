#include "host/LineLimit.h"

namespace Host {

LineLimit::LineLimit(Zef::Ptr<Zef::Clock> const& clock, unsigned mostInASecond, Tell tell)
    : most_(mostInASecond),
      tell_(std::move(tell)),
      timer_(Zef::make<Timer>(clock, [this] { tellBefore(timer_->notifier()->time()); })) {}

LineLimit::~LineLimit() {
  timer_->isRegisteredNotifieeIs(false);
  tellBefore(Zef::Clock::never);
}

bool LineLimit::passes(std::string const& kind) {
  auto const [second, isNew] = kinds_.try_emplace(kind, Second{timer_->notifier()->time(), 0});
  if (isNew) timer_->withinIs(1);
  return ++second->second.lines <= most_;
}

void LineLimit::tellBefore(double now) {
  for (auto at = kinds_.begin(); at != kinds_.end();) {
    auto const& [kind, second] = *at;
    if (now - second.began < 1) {
      timer_->withinIs(second.began + 1 - now);
      ++at;
      continue;
    }
    if (second.lines > most_) tell_(kind, second.lines - most_);
    at = kinds_.erase(at);
  }
}

}  // namespace Host
