#pragma once

#include "runtime/reactors/Clock.h"
#include "runtime/reflection/Entity.h"

namespace Zef {

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
