#include "sm/RedundancySm.h"

#include <sstream>

#include "model/Constants.h"
#include "platform/fru/Fru.h"
#include "runtime/kit/System.h"
#include "sm/Root.h"
#include "sm/Trace.h"

namespace Orvane {

using Election::PeerState;
using Election::RedundancyMode;

namespace {

constexpr double retryInterval = 5.0;

struct PeerRow {
  States states;
  U32 standbyStatus;
};

PeerRow peerRowOf(RedundancyMode mode) {
  switch (mode) {
    case RedundancyMode::standby:
      return {{Constants::operStateEnabled, Constants::adminStateUnlocked}, Constants::standbyStatusHotStandby};
    case RedundancyMode::disabled:
      return {{Constants::operStateDisabled, Constants::adminStateLocked}, Constants::standbyStatusUnknown};
    default:
      return {{Constants::operStateUnknown, Constants::adminStateUnknown}, Constants::standbyStatusUnknown};
  }
}

}  // namespace

RedundancySm::RedundancySm(Root& root, Zef::Ptr<EntityMib::Chassis> chassis, Zef::Ptr<Election::Status> const& status,
                           Zef::Ptr<Zef::Clock> const& clock)
    : root_(root), chassis_(std::move(chassis)) {
  status_.is(status);
  poller_.is(clock);
  handleInitialized();
}

bool RedundancySm::isFor(EntityMib::Chassis const* chassis, Election::Status const* status,
                         Zef::Clock const* clock) const {
  return chassis_ == chassis && this->status() == status && (poller_ ? poller_->notifier() : nullptr) == clock;
}

void RedundancySm::handleRedundancyMode() {
  ORVANE_ENTRY();
  doRedundancyStatus();
}

void RedundancySm::handlePeerState() {
  ORVANE_ENTRY();
  doRedundancyStatus();
}

void RedundancySm::handlePeerRedundancyMode() {
  ORVANE_ENTRY();
  doRedundancyStatus();
}

void RedundancySm::handlePoller() {
  ORVANE_ENTRY();
  if (initialized()) doRedundancyStatus();
}

void RedundancySm::handleInitialized() {
  ORVANE_ENTRY("redundancySm");
  initializedIs(true);
  doRedundancyStatus();
}

void RedundancySm::doRedundancyStatus() {
  ORVANE_ENTRY();
  if (status() == nullptr || status()->redundancyMode() != RedundancyMode::active) return;
  Supervisors const cards = findSupervisors();
  if (!agrees(cards)) {
    ORVANE_TRACE(5) << "Scheduled another status Check for Redundancy";
    tryAgainIn(retryInterval);
    return;
  }
  if (redundancyMode_ != status()->redundancyMode()) reportMine(*cards.mine);
  bool const peerChanged = peerState_ != status()->peerState() || peerRedundancyMode_ != status()->peerRedundancyMode();
  if (cards.peer && peerChanged) reportPeer(*cards.peer);
  peerState_ = status()->peerState();
  peerRedundancyMode_ = status()->peerRedundancyMode();
  tryAgainIn(Zef::Clock::never);
}

RedundancySm::Supervisors RedundancySm::findSupervisors() const {
  Zef::String8 const myName = Zef::format("Supervisor%d", static_cast<int>(Fru::slotId()));
  ORVANE_TRACE(9) << "RedundancyCardName:" << myName;
  Supervisors found;
  if (!chassis_) return found;
  for (auto at = chassis_->cardSlotIteratorConst(); at; ++at) {
    auto const card = at->card();
    if (!card || !(card->tag() == "Supervisor")) continue;
    Zef::String8 const name = root_.constants()->cardName(card);
    if (auto const entry = root_.card(name)) (name == myName ? found.mine : found.peer) = entry->entity();
  }
  return found;
}

bool RedundancySm::agrees(Supervisors const& cards) const {
  return cards.mine && (status()->peerState() == PeerState::present) == static_cast<bool>(cards.peer);
}

void RedundancySm::reportMine(PhysicalEntity const& card) {
  redundancyMode_ = status()->redundancyMode();
  std::ostringstream trace;
  // Log readers match this text, with the blank and the line break in it.
  trace << "Scheduling State Trap for my Redundancy Card \nRedundancy Mode: " << redundancyMode_;
  report(card, {Constants::operStateEnabled, Constants::adminStateUnlocked}, nullptr, trace.str().c_str());
}

void RedundancySm::reportPeer(PhysicalEntity const& card) {
  PeerRow const row = peerRowOf(status()->peerRedundancyMode());
  report(card, row.states, &row.standbyStatus, "Scheduling State Trap for peer Redundancy Card");
}

// The row is written before the notification is queued.
void RedundancySm::report(PhysicalEntity const& card, States states, U32 const* standbyStatus,
                          Zef::String8 const& trace) {
  auto const state = root_.stateMib()->stateEntity(card.index());
  if (!state) {
    ORVANE_TRACE(0) << "Cannot find State entity for " << card.componentName();
    return;
  }
  state->operStateIs(states.operState);
  state->adminStateIs(states.adminState);
  if (standbyStatus != nullptr) state->standbyStatusIs(*standbyStatus);
  state->lastChangedIs(Zef::System::currentTimeUtc());
  ORVANE_TRACE(9) << trace;
  root_.doAppendStateTrap(card.index(), states.operState, states.adminState);
}

void RedundancySm::tryAgainIn(double seconds) {
  if (poller_) poller_->timeMinIs(poller_->notifier()->time() + seconds);
}

std::span<RedundancySm::ZefStatus::Slot const> RedundancySm::ZefStatus::slots() const {
  static constexpr Slot watched[] = {
      {Watched::redundancyModeAttr, &Watched::NotifieeConst::onRedundancyMode},
      {Watched::peerStateAttr, &Watched::NotifieeConst::onPeerState},
      {Watched::peerRedundancyModeAttr, &Watched::NotifieeConst::onPeerRedundancyMode},
  };
  return watched;
}

}  // namespace Orvane
