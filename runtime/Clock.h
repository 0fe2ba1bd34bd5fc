#pragma once

#include <functional>
#include <limits>

#include "runtime/Notifiee.h"
#include "runtime/System.h"

namespace Zef {

// The process's clock. Its time is System::currentTime(), read anew whenever it is asked. Whoever owns the event loop
// calls run() when timeMin() has come.
class Clock : public Entity {
 public:
  class NotifieeConst;

  static constexpr AttributeId timeAttr = firstAttributeId;
  static constexpr double never = std::numeric_limits<double>::infinity();
  static constexpr double retryInterval = 6.0;  // seconds; as long as any timer's own period

  using Entity::Entity;

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

  std::function<void()> sink_;
};

class Clock::NotifieeConst : public NotifieeOf<Clock, Entity::NotifieeConst> {
 public:
  // Once the clock's time reaches `timeMin`, onTime() fires, and then not again until timeMinIs is called anew; but one
  // that throws before it has armed itself is due again retryInterval later. Infinity disarms. A fresh notifiee stands
  // at 0.0: it is due at once.
  void timeMinIs(double const& timeMin);
  double timeMin() const { return timeMin_; }

  virtual void onTime() {}

  void isRegisteredNotifieeIs(bool registered) override;
  void onNotificationException(AttributeId attribute) override;

 private:
  friend class Clock;
  double timeMin_ = 0.0;
};

// The singleton that holds the process's clock.
class ActivityManagerConfig : public Entity {
 public:
  explicit ActivityManagerConfig(Name name) : Entity(std::move(name)), clock_(make<Clock>("clock")) {}
  static ZefType const* _fwkType();
  ZefType const* fwkType() const override { return _fwkType(); }
  Ptr<Clock> const& clock() const { return clock_; }

 private:
  Ptr<Clock> clock_;
};

// The clock of the ActivityManagerConfig singleton, which is created when it does not exist yet.
Ptr<Clock> processClock();

}  // namespace Zef
