#pragma once

#include "sm/SystemSm.h"

namespace Orvane {

class ChassisSm;
class FixedSystemSm;

// Follows one transceiver slot, of a fixed system or of a card: the transceiver that is plugged in, its sensors, its
// lanes and the sensors of its lanes. Root keeps one for each slot, by the slot's index; it goes with the slot's row.
class XcvrSlotSm final : public Zef::StateMachine, public Zef::HashMapLink {
 public:
  class ZefXcvr final : public SensorReactor<ZefXcvr, EntityMib::Xcvr>, public Zef::Owned<XcvrSlotSm> {
   public:
    class ZefLane final : public SensorReactor<ZefLane, EntityMib::Lane>,
                          public Zef::KeyedReactor<EntityMib::ParentIndex>,
                          public Zef::Owned<ZefXcvr> {
     public:
      static constexpr Handling const& sensorHandling = handling::laneSensor;

      ZefLane(ZefXcvr& owner, EntityMib::ParentIndex key) : KeyedReactor(key), Owned(owner) {}
      void handleAll() override { handleSensor(); }
      void project(Handling const& handling, EntityMib::ParentIndex key,
                   Zef::Ptr<EntityMib::PhysicalEntity const> const& object);
    };

    static constexpr Handling const& sensorHandling = handling::xcvrSensor;

    explicit ZefXcvr(XcvrSlotSm& owner);
    Zef::String8 classPath() const { return "Orvane::XcvrSlotSm::ZefXcvr"; }

    void handleAll() override;
    void onLane(EntityMib::ParentIndex key) override;
    void onLane() override {
      if (alive()) handleLane();
    }
    void handleLane(EntityMib::ParentIndex key);
    void handleLane();
    void project(Handling const& handling, EntityMib::ParentIndex key,
                 Zef::Ptr<EntityMib::PhysicalEntity const> const& object);

   private:
    Zef::Children<ZefLane, EntityMib::ParentIndex, ZefXcvr> lane_;
  };

  // One of the last two is null: the owner of the mirrors is the other one.
  XcvrSlotSm(Root& root, Zef::Ptr<EntityMib::XcvrSlot const> const& xcvrSlot, Zef::Ptr<FixedSystemSm> fixedSystemSm,
             Zef::Ptr<ChassisSm> chassisSm);
  ~XcvrSlotSm() override;
  static Zef::ZefType const* _fwkType();
  Zef::ZefType const* fwkType() const override { return _fwkType(); }

  EntityMib::PhysicalIndex fwkKey() const { return physicalIndex_; }
  EntityMib::PhysicalIndex physicalIndex() const { return physicalIndex_; }
  Root& root() const { return root_; }
  EntityMib::XcvrSlot const* xcvrSlot() const { return xcvrSlot_ ? xcvrSlot_->notifier() : nullptr; }
  Zef::Ptr<FixedSystemSm> const& fixedSystemSm() const { return fixedSystemSm_; }
  Zef::Ptr<ChassisSm> const& chassisSm() const { return chassisSm_; }
  SystemSm* system() const;

  void handleXcvr();

 private:
  class ZefXcvrSlot final : public Zef::Reactor<EntityMib::XcvrSlot>, public Zef::Owned<XcvrSlotSm> {
   public:
    using Owned::Owned;
    void handleAll() override { owner().handleXcvr(); }
    std::span<Slot const> slots() const override;
    // The reactor of what is plugged in, and with it the rows of sensors and lanes, comes before its own row.
    void onXcvr() override;
  };

  Root& root_;
  EntityMib::PhysicalIndex physicalIndex_;
  Zef::Ptr<FixedSystemSm> fixedSystemSm_;
  Zef::Ptr<ChassisSm> chassisSm_;
  Zef::Child<ZefXcvrSlot, XcvrSlotSm> xcvrSlot_{*this};
  Zef::Child<ZefXcvr, XcvrSlotSm> xcvr_{*this};
};

}  // namespace Orvane
