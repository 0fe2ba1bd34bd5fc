#pragma once

#include "sm/Board.h"
#include "sm/SystemSm.h"

namespace Orvane {

// Projects a modular chassis: card slots with cards in them, and one card plane. Sensors, ports, chips and transceiver
// slots stand on the cards. The chassis's own row is the last to come.
class ChassisSm final : public SystemSm, public SystemHandlers<ChassisSm> {
 public:
  class ZefCardSlot final : public Zef::Reactor<EntityMib::CardSlot>,
                            public Zef::KeyedReactor<EntityMib::ParentIndex>,
                            public Zef::Owned<ChassisSm> {
   public:
    class ZefCard final : public BoardReactor<ZefCard, Zef::Reactor<EntityMib::Card>>,
                          public BoardHandlers<ZefCard>,
                          public Zef::Owned<ZefCardSlot> {
     public:
      using Owned::Owned;
      SystemSm& system() const { return owner().owner(); }
      EntityMib::Card const* board() const { return notifier(); }
      void followXcvrSlot(Zef::Ptr<EntityMib::XcvrSlot const> const& slot);
      ZefCard& boardHandlers() { return *this; }

      void handleAll() override;
    };

    ZefCardSlot(ChassisSm& owner, EntityMib::ParentIndex key);

    void handleAll() override { handleCard(); }
    std::span<Slot const> slots() const override;
    void onCard() override;
    void handleCard();
    void cardIs(Zef::Ptr<EntityMib::Card const> const& card) { card_.is(card); }

   private:
    Zef::Child<ZefCard, ZefCardSlot> card_;
  };

  explicit ChassisSm(Root& root) : SystemSm(root) {}
  // Projects the system, once. It stands apart from the constructor because transceiver slots come to hold this
  // reactor: they must not be left with a dead one when a handler throws.
  void start(Zef::Ptr<EntityMib::Chassis const> const& chassis);

  Zef::String8 classPath() const override { return "Orvane::ChassisSm"; }
  char const* kindText() const override { return "System is Chassis."; }
  EntityMib::Chassis const* observed() const { return chassis_ ? chassis_->notifier() : nullptr; }

  // A null slot is refused with a RangeException.
  void cardSlotIs(Zef::Ptr<EntityMib::CardSlot const> const& slot) { cardSlot_.is(slot); }
  void cardSlotDel(EntityMib::ParentIndex key) { cardSlot_.del(key); }
  void cardSlotDelAll() { cardSlot_.delAll(); }

  void handleCardSlot(EntityMib::ParentIndex key);
  void handleCardSlot();
  void handleCardPlane();

 private:
  class ZefChassis final : public SystemReactor<ChassisSm, EntityMib::Chassis> {
   public:
    using SystemReactor::SystemReactor;
    std::span<Slot const> slots() const override;
    void onCardSlot(EntityMib::ParentIndex key) override;
    void onCardSlot() override {
      if (alive()) owner().handleCardSlot();
    }
    void onCardplane() override { react(Watched::cardplaneAttr, owner(), &ChassisSm::handleCardPlane); }
  };

  Zef::Child<ZefChassis, ChassisSm> chassis_{*this};
  Zef::Children<ZefCardSlot, EntityMib::ParentIndex, ChassisSm> cardSlot_{*this, "cardSlot"};
};

}  // namespace Orvane
