#pragma once

#include <functional>
#include <limits>

#include "runtime/kit/System.h"
#include "runtime/reactors/Notifier.h"

namespace Zef {

// The process's clock. Its time is System::currentTime(), read anew whenever it is asked. Whoever owns the event loop
// calls run() when timeMin() has come.
class Clock : public Notifier {
 public:
  class NotifieeConst;

  static constexpr AttributeId timeAttr = firstAttributeId;
  static constexpr double never = std::numeric_limits<double>::infinity();
  static constexpr double retryInterval = 6.0;  // seconds; as long as any timer's own period

  explicit Clock(Name name) : name_(std::move(name)) {}

  Name const& name() const { return name_; }
  double time() const { return System::currentTime(); }
  // When the next registered notifiee is due; `never` when none is.
  double timeMin() const;
  // Fires every registered notifiee whose time has come, once each, in the order in which they became due. What one of
  // them causes is delivered before the next one fires.
  void run();
  // Called whenever timeMin() may have become earlier, so that the event loop can arm itself anew.
  void timeMinSinkIs(std::function<void()> sink) { sink_ = std::move(sink); }

 private:
  friend class NotifieeConst;

  // For each registered one, in the order of registration; the call must not change who is registered.
  template <class Call>
  void forEachTimer(Call const& call) const;

  Name name_;
  std::function<void()> sink_;
};

class Clock::NotifieeConst : public NotifieeOf<Clock, PtrInterface::NotifieeConst> {
 public:
  // Once the clock's time reaches `timeMin`, onTime() fires, and then not again until timeMinIs is called anew; but one
  // that throws before it has armed itself is due again retryInterval later. Infinity disarms. A fresh notifiee stands
  // at 0.0: it is due at once.
  void timeMinIs(double const& timeMin);
  double timeMin() const { return timeMin_; }

  virtual void onTime() {}

  Name name() const override { return notifier() == nullptr ? Name() : notifier()->name(); }
  void isRegisteredNotifieeIs(bool registered) override;
  void onNotificationException(AttributeId attribute) override;

 private:
  friend class Clock;
  double timeMin_ = 0.0;
};

}  // namespace Zef
