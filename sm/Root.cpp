#include "sm/Root.h"

#include "model/Constants.h"
#include "runtime/reflection/ActivityManagerConfig.h"
#include "sm/AttributesSm.h"
#include "sm/Trace.h"

namespace Orvane {

namespace {

// Keeps a reactor that was made from the very same inputs; another one takes its place otherwise.
template <class Sm, class... Inputs>
Zef::Ptr<Sm> keepOrMake(Zef::Ptr<Sm>& held, Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
                        Inputs const&... inputs) {
  if (!held || !held->isFor(inputs.get()...)) {
    if (held) held->zefDoZombieReactors(true);
    held = nullptr;
    held = Zef::make<Sm>(*root, inputs...);
  }
  held->zefFwkActivityIs(activity);
  return held;
}

}  // namespace

Root::~Root() {
  constantsDel();
  entitySmDel();
  redundancySmDel();
  xcvrStatusSmDel();
  intfStatusSmDel();
  powerStatusSmDel();
  tempStatusSmDel();
  tempThresholdSmDel();
  fanStatusSmDel();
  cardStatusSmDel();
  xcvrSlotSmDelAll();
  xcvrDelAll();
  componentDelAll();
  cardDelAll();
}

void Root::handleInitialized() {
  ORVANE_ENTRY();
  constantsIs();
  Zef::Ptr<Zef::Clock> const clock = Zef::processClock();
  Zef::Ptr<Root> const self(this);
  // The rows first: the status reactors look them up by name.
  entitySmIs(nullptr, self, status(), clock, clock);
  xcvrStatusSmIs(nullptr, self, xcvrStatusDir(), xcvrConfigDir());
  intfStatusSmIs(nullptr, self, intfStatusDir(), intfConfigDir());
  fanStatusSmIs(nullptr, self, coolingStatus());
  powerStatusSmIs(nullptr, self, powerStatus(), powerConfig());
  tempStatusSmIs(nullptr, self, tempStatus(), tempConfig());
  tempThresholdSmIs(nullptr, self, tempConfig());
  cardStatusSmIs(nullptr, self, cardStatus());
  ORVANE_TRACE(8) << "Exiting Root::handleInitialized";
}

void Root::handleRedundancy(Zef::Ptr<Election::Status> const& status) {
  ORVANE_ENTRY(status);
  constantsIs();  // this may come before handleInitialized
  redundancySmIs(nullptr, Zef::Ptr<Root>(this), this->status()->chassis(), status, Zef::processClock());
}

Zef::Ptr<EntitySm> Root::entitySmIs(Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
                                    Zef::Ptr<EntityMib::Status> const& status, Zef::Ptr<Zef::Clock> const& pollerClock,
                                    Zef::Ptr<Zef::Clock> const& sensorPollerClock) {
  return keepOrMake(entitySm_, activity, root, status, pollerClock, sensorPollerClock);
}

Zef::Ptr<RedundancySm> Root::redundancySmIs(Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
                                            Zef::Ptr<EntityMib::Chassis> const& chassis,
                                            Zef::Ptr<Election::Status> const& status,
                                            Zef::Ptr<Zef::Clock> const& clock) {
  return keepOrMake(redundancySm_, activity, root, chassis, status, clock);
}

Zef::Ptr<XcvrSensorStatusSm> Root::xcvrStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<Root> const& root,
                                                  Zef::Ptr<Xcvr::AllStatusDir const> const& xcvrStatusDir,
                                                  Zef::Ptr<Xcvr::AllConfigDir const> const& xcvrConfigDir) {
  return keepOrMake(xcvrStatusSm_, activity, root, xcvrStatusDir, xcvrConfigDir);
}

Zef::Ptr<IntfSensorStatusSm> Root::intfStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<Root> const& root,
                                                  Zef::Ptr<Interface::AllIntfStatusDir const> const& intfStatusDir,
                                                  Zef::Ptr<Interface::AllIntfConfigDir const> const& intfConfigDir) {
  return keepOrMake(intfStatusSm_, activity, root, intfStatusDir, intfConfigDir);
}

Zef::Ptr<PowerSensorStatusSm> Root::powerStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                    Zef::Ptr<Root> const& root,
                                                    Zef::Ptr<Environment::Power::Status const> const& powerStatus,
                                                    Zef::Ptr<Environment::Power::Config const> const& powerConfig) {
  return keepOrMake(powerStatusSm_, activity, root, powerStatus, powerConfig);
}

Zef::Ptr<TempSensorStatusSm> Root::tempStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<Root> const& root,
                                                  Zef::Ptr<Environment::Temperature::Status const> const& tempStatus,
                                                  Zef::Ptr<Environment::Temperature::Config const> const& tempConfig) {
  return keepOrMake(tempStatusSm_, activity, root, tempStatus, tempConfig);
}

Zef::Ptr<TempSensorThresholdSm> Root::tempThresholdSmIs(
    Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
    Zef::Ptr<Environment::Temperature::Config const> const& tempConfig) {
  return keepOrMake(tempThresholdSm_, activity, root, tempConfig);
}

Zef::Ptr<FanSensorStatusSm> Root::fanStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                Zef::Ptr<Root> const& root,
                                                Zef::Ptr<Environment::Cooling::Status const> const& coolingStatus) {
  return keepOrMake(fanStatusSm_, activity, root, coolingStatus);
}

Zef::Ptr<CardSensorStatusSm> Root::cardStatusSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                                  Zef::Ptr<Root> const& root,
                                                  Zef::Ptr<Hardware::Card::Status const> const& cardStatus) {
  return keepOrMake(cardStatusSm_, activity, root, cardStatus);
}

Zef::Ptr<XcvrSlotSm> Root::xcvrSlotSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity, Zef::Ptr<Root> const& root,
                                        Zef::Ptr<EntityMib::XcvrSlot const> const& xcvrSlot,
                                        Zef::Ptr<FixedSystemSm> const& fixedSystemSm,
                                        Zef::Ptr<ChassisSm> const& chassisSm) {
  auto const index = xcvrSlot->physicalIndex();
  Zef::Ptr<XcvrSlotSm> slot = xcvrSlotSm(index);
  if (slot) {
    refuseReinstantiation("_xcvrSlot", xcvrSlot.get(), slot->xcvrSlot());
    refuseReinstantiation("_root", root.get(), &slot->root());
    refuseReinstantiation("_fixedSystemSm", fixedSystemSm.get(), slot->fixedSystemSm().get());
    refuseReinstantiation("_chassisSm", chassisSm.get(), slot->chassisSm().get());
  } else {
    slot = Zef::make<XcvrSlotSm>(*root, xcvrSlot, fixedSystemSm, chassisSm);
    xcvrSlotSm_.insert(slot);
    xcvrSlotSmNotify(index, slot);
  }
  slot->zefFwkActivityIs(activity);
  return slot;
}

}  // namespace Orvane
