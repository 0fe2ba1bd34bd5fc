#pragma once

#include "sm/Board.h"
#include "sm/SystemSm.h"

namespace Orvane {

// Projects a fixed system: a board that is at once chassis and card. The system's own row is the last to come.
class FixedSystemSm final : public SystemSm, public SystemHandlers<FixedSystemSm>, public BoardHandlers<FixedSystemSm> {
 public:
  explicit FixedSystemSm(Root& root) : SystemSm(root) {}
  // Projects the system, once. It stands apart from the constructor because transceiver slots come to hold this
  // reactor: they must not be left with a dead one when a handler throws.
  void start(Zef::Ptr<EntityMib::FixedSystem const> const& fixedSystem);

  Zef::String8 classPath() const override { return "Orvane::FixedSystemSm"; }
  char const* kindText() const override { return "System is Fixed."; }
  SystemSm& system() { return *this; }
  EntityMib::FixedSystem const* observed() const { return fixedSystem_ ? fixedSystem_->notifier() : nullptr; }
  EntityMib::FixedSystem const* board() const { return observed(); }
  void followXcvrSlot(Zef::Ptr<EntityMib::XcvrSlot const> const& slot);

  // Storage devices make no rows.
  void handleStorageDevices(EntityMib::ParentIndex key);
  void handleStorageDevices();

 private:
  class ZefFixedSystem final
      : public BoardReactor<ZefFixedSystem, SystemReactor<FixedSystemSm, EntityMib::FixedSystem>> {
   public:
    using BoardReactor::BoardReactor;
    FixedSystemSm& boardHandlers() { return owner(); }
    void onStorageDevices(EntityMib::ParentIndex key) override;
    void onStorageDevices() override {
      if (alive()) owner().handleStorageDevices();
    }
  };

  Zef::Child<ZefFixedSystem, FixedSystemSm> fixedSystem_{*this};
};

}  // namespace Orvane
