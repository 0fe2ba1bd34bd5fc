#include "sm/ChassisSm.h"

#include "sm/Root.h"

namespace Orvane {

using EntityMib::ParentIndex;
using ZefCardSlot = ChassisSm::ZefCardSlot;
using ZefCard = ZefCardSlot::ZefCard;

void ChassisSm::start(Zef::Ptr<EntityMib::Chassis const> const& chassis) {
  chassis_.is(chassis);
  handlePowerSupplySlot();
  handleFanTraySlot();
  handleCardSlot();
  handleCardPlane();
  for (auto at = chassis->powerSupplySlotIteratorConst(); at; ++at) powerSupplySlotIs(at.ptr());
  for (auto at = chassis->fanTraySlotIteratorConst(); at; ++at) fanTraySlotIs(at.ptr());
  for (auto at = chassis->cardSlotIteratorConst(); at; ++at) cardSlotIs(at.ptr());
  handleInitialized("ChassisSm", chassis);
}

void ChassisSm::handleCardSlot(ParentIndex key) {
  ORVANE_ENTRY(key);
  handleObject(handling::cardSlot, observed(), key, observed()->cardSlot(key));
}

void ChassisSm::handleCardSlot() {
  ORVANE_ENTRY();
  if (observed() != nullptr)
    walk(observed()->cardSlotIteratorConst(), [this](ParentIndex key) { handleCardSlot(key); });
}

void ChassisSm::handleCardPlane() {
  ORVANE_ENTRY();
  if (observed() != nullptr) handleObject(handling::cardPlane, observed(), ParentIndex(0), observed()->cardplane());
}

std::span<ChassisSm::ZefChassis::Slot const> ChassisSm::ZefChassis::slots() const {
  static constexpr Slot watched[] = {{Watched::cardplaneAttr, &Watched::NotifieeConst::onCardplane}};
  return watched;
}

void ChassisSm::ZefChassis::onCardSlot(ParentIndex key) {
  if (zefOnKey(Watched::cardSlotAttr, key, &ZefChassis::onCardSlot)) return;
  if (auto const slot = notifier()->cardSlot(key)) {
    owner().cardSlotIs(slot);
  } else {
    owner().cardSlotDel(key);
  }
  if (alive()) owner().handleCardSlot(key);
}

// A card slot: the card's row first, then its reactor, which adds what is on it.

ChassisSm::ZefCardSlot::ZefCardSlot(ChassisSm& owner, ParentIndex key)
    : KeyedReactor(key),
      Owned(owner),
      card_(*this, [](ZefCardSlot const& self) { return Zef::Ptr<EntityMib::Card const>(self.notifier()->card()); }) {}

std::span<ZefCardSlot::Slot const> ZefCardSlot::slots() const {
  static constexpr Slot watched[] = {{Watched::cardAttr, &Watched::NotifieeConst::onCard}};
  return watched;
}

void ZefCardSlot::onCard() {
  if (zefOnAttribute(Watched::cardAttr, nullptr)) return;
  if (alive()) handleCard();
  cardIs(notifier()->card());
}

void ZefCardSlot::handleCard() {
  ORVANE_ENTRY();
  owner().handleObject(handling::card, notifier(), ParentIndex(0), notifier()->card());
}

void ZefCard::handleAll() {
  handleSensor();
  handlePort();
  handleXcvrSlot();
  handleChip();
}

void ZefCard::followXcvrSlot(Zef::Ptr<EntityMib::XcvrSlot const> const& slot) {
  ChassisSm& chassis = owner().owner();
  chassis.root().xcvrSlotSmIs(nullptr, Zef::Ptr<Root>(&chassis.root()), slot, nullptr, Zef::Ptr<ChassisSm>(&chassis));
}

}  // namespace Orvane
