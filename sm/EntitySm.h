#pragma once

#include "model/input/EntityMib.h"
#include "runtime/reactors/Clock.h"
#include "runtime/reactors/Reactor.h"

namespace Orvane {

class ChassisSm;
class FixedSystemSm;
class Root;
class SystemSm;

// The reactor at the top of the hardware tree: follows which system the inventory shows, makes that system's first
// virtual containers and its projection. The whole inventory is projected before the constructor ends.
//
// It owns the two timers besides. The trap tick, every 6 s, sends what waits: at most 21 notifications, the
// configuration's first. The sensor tick, every sensorPollInterval, compares sensors with their thresholds. Both are
// due at once, and each arms itself anew when it has done its work.
class EntitySm final : public Zef::StateMachine {
 public:
  EntitySm(Root& root, Zef::Ptr<EntityMib::Status const> const& status, Zef::Ptr<Zef::Clock const> const& pollerClock,
           Zef::Ptr<Zef::Clock const> const& sensorPollerClock);
  ~EntitySm() override;

  Root& root() const { return root_; }
  EntityMib::Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  // Whether this reactor was built from these inputs.
  bool isFor(EntityMib::Status const* status, Zef::Clock const* pollerClock, Zef::Clock const* sensorPollerClock) const;

  // Seconds from one sensor tick to the next.
  double sensorPollInterval() const { return sensorPollInterval_; }
  void sensorPollIntervalIs(double const& seconds) { sensorPollInterval_ = seconds; }

  Zef::Ptr<FixedSystemSm> const& fixedSystemSm() const { return fixedSystemSm_; }
  Zef::Ptr<ChassisSm> const& chassisSm() const { return chassisSm_; }
  // The system whose mirrors a removed row leaves: the fixed system when there is one. Null when there is no system.
  SystemSm* systemSm() const;

  // Get or create; a reactor that holds another system is replaced.
  Zef::Ptr<FixedSystemSm> fixedSystemSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                          Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem);
  Zef::Ptr<FixedSystemSm> fixedSystemSmDel();
  Zef::Ptr<ChassisSm> chassisSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                  Zef::Ptr<EntityMib::Chassis const> const& chassis);
  Zef::Ptr<ChassisSm> chassisSmDel();

  // With the system's reactors, which others may hold as well. No row is removed.
  void zefDoZombieReactors(bool on) override;

  void handleFixedSystem();
  void handleChassis();
  void handleInitialized();
  // The two ticks, in TrapScheduling.cpp.
  void handleOutStandingTrap();
  void handleCheckSensorValue();

 private:
  class ZefStatus final : public Zef::Reactor<EntityMib::Status>, public Zef::Owned<EntitySm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onFixedSystem() override { react(Watched::fixedSystemAttr, owner(), &EntitySm::handleFixedSystem); }
    void onChassis() override { react(Watched::chassisAttr, owner(), &EntitySm::handleChassis); }
  };

  using ZefPoller = Zef::Poller<EntitySm, &EntitySm::handleOutStandingTrap>;
  using ZefSensorPoller = Zef::Poller<EntitySm, &EntitySm::handleCheckSensorValue>;

  Root& root_;
  Zef::Child<ZefStatus, EntitySm> status_{*this};
  Zef::Child<ZefPoller, EntitySm> poller_{*this};
  Zef::Child<ZefSensorPoller, EntitySm> sensorPoller_{*this};
  double sensorPollInterval_ = 5.0;
  Zef::Ptr<FixedSystemSm> fixedSystemSm_;
  Zef::Ptr<ChassisSm> chassisSm_;
};

}  // namespace Orvane
