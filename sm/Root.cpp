#include "sm/Root.h"

#include "model/Constants.h"
#include "sm/EntitySm.h"
#include "sm/Trace.h"

namespace Orvane {

Root::~Root() {
  constantsDel();
  if (Zef::Ptr<EntitySm> const reactor = entitySmDel()) reactor->stop();
  xcvrDelAll();
  componentDelAll();
  cardDelAll();
}

void Root::handleInitialized() {
  ORVANE_ENTRY();
  constantsIs();
  Zef::Ptr<Zef::Clock> const clock = Zef::processClock();
  entitySmIs(nullptr, Zef::Ptr<Root>(this), status(), clock, clock);
  ORVANE_TRACE(8) << "Exiting Root::handleInitialized";
}

Zef::Ptr<EntitySm> Root::entitySmIs(Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
                                    Zef::Ptr<EntityMib::Status> const& status, Zef::Ptr<Zef::Clock> const& pollerClock,
                                    Zef::Ptr<Zef::Clock> const& sensorPollerClock) {
  if (!entitySm_ || !entitySm_->isFor(status.get(), pollerClock.get(), sensorPollerClock.get())) {
    entitySm_ = Zef::make<EntitySm>(*root, status, pollerClock, sensorPollerClock);
  }
  entitySm_->zefFwkActivityIs(activity);
  return entitySm_;
}

// No notification is scheduled yet: the call sites stand where the queue will hear of a row.
void Root::doAppendStateTrap(U32 index, U32 operState, U32 adminState) { ORVANE_ENTRY(index, operState, adminState); }

// No status record is bound yet: the call sites stand where a row comes to its name.
// NOLINTNEXTLINE(performance-unnecessary-value-param): as the model declares it
void Root::updateSensorStatus(Zef::String8 name) { ORVANE_ENTRY(name); }

}  // namespace Orvane
