#pragma once

#include "model/input/Interface.h"
#include "sm/StatusSm.h"

namespace Orvane {

// Keeps the state rows of ports in step with the status of their interface and with what the operator wants of it. An
// interface without a configuration counts as enabled.
class IntfSensorStatusSm final : public StatusSm {
 public:
  using StatusDir = Interface::AllIntfStatusDir;
  using ConfigDir = Interface::AllIntfConfigDir;

  IntfSensorStatusSm(Root& root, Zef::Ptr<StatusDir const> const& intfStatusDir,
                     Zef::Ptr<ConfigDir const> const& intfConfigDir);
  bool isFor(StatusDir const* intfStatusDir, ConfigDir const* intfConfigDir) const;
  StatusDir const* intfStatusDir() const { return intfStatusDir_ ? intfStatusDir_->notifier() : nullptr; }
  ConfigDir const* intfConfigDir() const { return intfConfigDir_ ? intfConfigDir_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::IntfSensorStatusSm"; }

  void intfStatusIs(Zef::Ptr<Interface::IntfStatus const> const& record) { intfStatus_.is(record); }
  void intfStatusDel(Morvet::IntfId const& id) { intfStatus_.del(id); }
  void intfConfigIs(Zef::Ptr<Interface::IntfConfig const> const& record) { intfConfig_.is(record); }
  void intfConfigDel(Morvet::IntfId const& id) { intfConfig_.del(id); }

  void handleIntfStatus(Morvet::IntfId const& id);
  void handleIntfStatus();
  void handle(Interface::IntfStatus const& status);
  void handle(Interface::IntfConfig const& config);

 private:
  class ZefIntfStatus final : public RecordReactor<IntfSensorStatusSm, Interface::IntfStatus, Morvet::IntfId> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onOperStatus() override { react(Watched::operStatusAttr, *this, &ZefIntfStatus::handleOperStatus); }
    void handleOperStatus();
  };
  class ZefIntfConfig final : public RecordReactor<IntfSensorStatusSm, Interface::IntfConfig, Morvet::IntfId> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onAdminEnabledStateLocal() override {
      react(Watched::adminEnabledStateLocalAttr, *this, &ZefIntfConfig::handleAdminEnabled);
    }
    void handleAdminEnabled();
  };
  class ZefIntfStatusDir final : public Zef::Reactor<StatusDir>, public Zef::Owned<IntfSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onIntfStatus(Morvet::IntfId id) override;
  };
  class ZefIntfConfigDir final : public Zef::Reactor<ConfigDir>, public Zef::Owned<IntfSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override { owner().intfConfig_.reconcile(); }
    void onIntfConfig(Morvet::IntfId id) override;
  };

  void write(Interface::IntfStatus const& status, bool adminEnabled);

  Zef::Children<ZefIntfStatus, Morvet::IntfId, IntfSensorStatusSm> intfStatus_;
  Zef::Children<ZefIntfConfig, Morvet::IntfId, IntfSensorStatusSm> intfConfig_;
  Zef::Child<ZefIntfStatusDir, IntfSensorStatusSm> intfStatusDir_{*this};
  Zef::Child<ZefIntfConfigDir, IntfSensorStatusSm> intfConfigDir_{*this};
};

}  // namespace Orvane
