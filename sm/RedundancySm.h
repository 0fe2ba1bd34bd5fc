#pragma once

#include "model/OrvaneLib.h"
#include "model/input/Election.h"
#include "model/input/EntityMib.h"
#include "runtime/reactors/Reactor.h"
#include "sm/States.h"

namespace Orvane {

class Root;

// Shows the result of the supervisor election in the state rows of the two supervisor cards, while this supervisor is
// the active one: its own card as enabled, the peer's as hot standby, disabled or unknown. It reports changes only.
// When the inventory lags behind the election it tries again every 5 s.
class RedundancySm final : public Zef::StateMachine {
 public:
  RedundancySm(Root& root, Zef::Ptr<EntityMib::Chassis> chassis, Zef::Ptr<Election::Status> const& status,
               Zef::Ptr<Zef::Clock> const& clock);
  bool isFor(EntityMib::Chassis const* chassis, Election::Status const* status, Zef::Clock const* clock) const;
  Zef::Ptr<EntityMib::Chassis> const& chassis() const { return chassis_; }
  Election::Status const* status() const { return status_ ? status_->notifier() : nullptr; }

  // At the last completed pass.
  Election::RedundancyMode redundancyMode() const { return redundancyMode_; }
  Election::PeerState peerState() const { return peerState_; }
  Election::RedundancyMode peerRedundancyMode() const { return peerRedundancyMode_; }

  void handleRedundancyMode();
  void handlePeerState();
  void handlePeerRedundancyMode();
  void handlePoller();
  void handleInitialized();
  void doRedundancyStatus();

 private:
  // The rows of the supervisors' cards; null for one that is not in the inventory.
  struct Supervisors {
    Zef::Ptr<PhysicalEntity> mine;
    Zef::Ptr<PhysicalEntity> peer;
  };

  class ZefStatus final : public Zef::Reactor<Election::Status>, public Zef::Owned<RedundancySm> {
   public:
    using Owned::Owned;
    std::span<Slot const> slots() const override;
    void onRedundancyMode() override {
      react(Watched::redundancyModeAttr, owner(), &RedundancySm::handleRedundancyMode);
    }
    void onPeerState() override { react(Watched::peerStateAttr, owner(), &RedundancySm::handlePeerState); }
    void onPeerRedundancyMode() override {
      react(Watched::peerRedundancyModeAttr, owner(), &RedundancySm::handlePeerRedundancyMode);
    }
  };
  using ZefPoller = Zef::Poller<RedundancySm, &RedundancySm::handlePoller>;

  Supervisors findSupervisors() const;
  // Whether the inventory shows the supervisors that the election speaks of.
  bool agrees(Supervisors const& cards) const;
  void reportMine(PhysicalEntity const& card);
  void reportPeer(PhysicalEntity const& card);
  // `trace` is what a level 9 trace tells.
  void report(PhysicalEntity const& card, States states, U32 const* standbyStatus, Zef::String8 const& trace);
  void tryAgainIn(double seconds);

  Root& root_;
  Zef::Ptr<EntityMib::Chassis> chassis_;
  Zef::Child<ZefStatus, RedundancySm> status_{*this};
  Zef::Child<ZefPoller, RedundancySm> poller_{*this};
  Election::RedundancyMode redundancyMode_ = Election::RedundancyMode::unknown;
  Election::PeerState peerState_ = Election::PeerState::unknown;
  Election::RedundancyMode peerRedundancyMode_ = Election::RedundancyMode::unknown;
};

}  // namespace Orvane
