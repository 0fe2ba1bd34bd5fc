#pragma once

#include "model/input/EntityMib.h"
#include "runtime/Reactor.h"

namespace Orvane {

class FixedSystemSm;
class Root;
class SystemSm;

// The reactor at the top of the hardware tree: follows which system the inventory shows, makes that system's first
// virtual containers and its projection. The whole inventory is projected before the constructor ends.
class EntitySm final : public Zef::StateMachine {
 public:
  EntitySm(Root& root, Zef::Ptr<EntityMib::Status const> const& status, Zef::Ptr<Zef::Clock const> pollerClock,
           Zef::Ptr<Zef::Clock const> sensorPollerClock);
  ~EntitySm() override;

  Root& root() const { return root_; }
  EntityMib::Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  // Whether this reactor was built from these inputs.
  bool isFor(EntityMib::Status const* status, Zef::Clock const* pollerClock, Zef::Clock const* sensorPollerClock) const;

  Zef::Ptr<FixedSystemSm> const& fixedSystemSm() const { return fixedSystemSm_; }
  // The system whose mirrors a removed row leaves: the fixed system when there is one. Null when there is no system.
  SystemSm* systemSm() const;

  // Get or create; a reactor that holds another system is replaced.
  Zef::Ptr<FixedSystemSm> fixedSystemSmIs(Zef::Ptr<Zef::ActivityConfig> const& activity,
                                          Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem);
  Zef::Ptr<FixedSystemSm> fixedSystemSmDel();

  // The root goes: whoever still holds a reactor must not reach it any more. No row is removed.
  void stop();

  void handleFixedSystem();
  void handleInitialized();

 private:
  class ZefStatus final : public Zef::Reactor<EntityMib::Status>, public Zef::Owned<EntitySm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onFixedSystem() override { react(Watched::fixedSystemAttr, owner(), &EntitySm::handleFixedSystem); }
  };

  Root& root_;
  Zef::Ptr<Zef::Clock const> pollerClock_;
  Zef::Ptr<Zef::Clock const> sensorPollerClock_;
  Zef::Child<ZefStatus, EntitySm> status_{*this};
  Zef::Ptr<FixedSystemSm> fixedSystemSm_;
};

}  // namespace Orvane
