#pragma once

#include "model/input/Xcvr.h"
#include "sm/StatusSm.h"

namespace Orvane {

// Keeps the state rows of transceivers in step with whether they are in use. Their sensors are bound elsewhere.
class XcvrSensorStatusSm final : public StatusSm {
 public:
  using StatusDir = Xcvr::AllStatusDir;
  using ConfigDir = Xcvr::AllConfigDir;

  XcvrSensorStatusSm(Root& root, Zef::Ptr<StatusDir const> const& xcvrStatusDir,
                     Zef::Ptr<ConfigDir const> const& xcvrConfigDir);
  bool isFor(StatusDir const* xcvrStatusDir, ConfigDir const* xcvrConfigDir) const;
  StatusDir const* xcvrStatusDir() const { return xcvrStatusDir_ ? xcvrStatusDir_->notifier() : nullptr; }
  ConfigDir const* xcvrConfigDir() const { return xcvrConfigDir_ ? xcvrConfigDir_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::XcvrSensorStatusSm"; }

  void xcvrConfigIs(Zef::Ptr<Xcvr::XcvrConfig const> const& record) { xcvrConfig_.is(record); }
  void xcvrConfigDel(Zef::Name const& name) { xcvrConfig_.del(name); }

  void handleXcvrStatus(Zef::String8 const& name);
  void handleXcvrStatus();
  void handle(Xcvr::XcvrConfig const& config) { write(config.name()); }

 private:
  class ZefXcvrConfig final : public RecordReactor<XcvrSensorStatusSm, Xcvr::XcvrConfig, Zef::Name> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onXcvrState() override { react(Watched::xcvrStateAttr, *this, &ZefXcvrConfig::handleXcvrState); }
    void handleXcvrState();
  };
  class ZefXcvrStatusDir final : public Zef::Reactor<StatusDir>, public Zef::Owned<XcvrSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override { owner().handleXcvrStatus(); }
    void onXcvrStatus(Zef::Name name) override;
  };
  class ZefXcvrConfigDir final : public Zef::Reactor<ConfigDir>, public Zef::Owned<XcvrSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override { owner().xcvrConfig_.reconcile(); }
    void onXcvrConfig(Zef::Name name) override;
  };

  void write(Zef::String8 const& name);

  Zef::Children<ZefXcvrConfig, Zef::Name, XcvrSensorStatusSm> xcvrConfig_;
  Zef::Child<ZefXcvrStatusDir, XcvrSensorStatusSm> xcvrStatusDir_{*this};
  Zef::Child<ZefXcvrConfigDir, XcvrSensorStatusSm> xcvrConfigDir_{*this};
};

}  // namespace Orvane
