#pragma once

#include "sm/Board.h"
#include "sm/SystemSm.h"

namespace Orvane {

// Projects a fixed system: a board that is at once chassis and card. The system's own row is the last to come.
class FixedSystemSm final : public SystemSm, public BoardHandlers<FixedSystemSm> {
 public:
  FixedSystemSm(Root& root, Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem);

  Zef::String8 classPath() const override { return "Orvane::FixedSystemSm"; }
  SystemSm& system() { return *this; }
  EntityMib::FixedSystem const* board() const { return fixedSystem_ ? fixedSystem_->notifier() : nullptr; }
  EntityMib::FixedSystem const* fixedSystem() const { return board(); }

  void handlePowerSupplySlot(EntityMib::ParentIndex key);
  void handlePowerSupplySlot();
  void handleFanTraySlot(EntityMib::ParentIndex key);
  void handleFanTraySlot();
  // Storage devices make no rows.
  void handleStorageDevices(EntityMib::ParentIndex key);
  void handleStorageDevices();

 private:
  class ZefFixedSystem final : public Zef::Reactor<EntityMib::FixedSystem>, public Zef::Owned<FixedSystemSm> {
   public:
    using Owned::Owned;
    // A slot's reactor comes before its row, and goes before it.
    void onPowerSupplySlot(EntityMib::ParentIndex key) override;
    void onFanTraySlot(EntityMib::ParentIndex key) override;
    void onSensor(EntityMib::ParentIndex key) override;
    void onPort(EntityMib::ParentIndex key) override;
    void onXcvrSlot(EntityMib::ParentIndex key) override;
    void onChip(EntityMib::ParentIndex key) override;
    void onStorageDevices(EntityMib::ParentIndex key) override;
  };

  Zef::Child<ZefFixedSystem, FixedSystemSm> fixedSystem_{*this};
};

}  // namespace Orvane
