#pragma once

#include "model/input/Environment.h"
#include "sm/StatusSm.h"

namespace Orvane {

// Keeps the set of temperature sensors that have thresholds, which the sensor tick classifies: a sensor is in it while
// one of its thresholds is configured. Only a change of a threshold counts; a configuration that comes or goes as a
// whole does not. The values stay in the configuration, where the sensors read them.
class TempSensorThresholdSm final : public StatusSm {
 public:
  using Config = Environment::Temperature::Config;
  using Record = Environment::Temperature::TempSensorConfig;

  TempSensorThresholdSm(Root& root, Zef::Ptr<Config const> const& tempConfig);
  bool isFor(Config const* tempConfig) const { return this->tempConfig() == tempConfig; }
  Config const* tempConfig() const { return tempConfig_ ? tempConfig_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::TempSensorThresholdSm"; }

  void thresholdConfigIs(Zef::Ptr<Record const> const& record) { thresholdConfig_.is(record); }
  void thresholdConfigDel(Zef::Name const& name) { thresholdConfig_.del(name); }

  void handle(Record const& config);

 private:
  class ZefThresholdConfig final : public RecordReactor<TempSensorThresholdSm, Record, Zef::Name> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onOverheatThreshold() override {
      react(Watched::overheatThresholdAttr, *this, &ZefThresholdConfig::handleTempThreshold);
    }
    void onCriticalThreshold() override {
      react(Watched::criticalThresholdAttr, *this, &ZefThresholdConfig::handleTempThreshold);
    }
    void handleTempThreshold();
  };

  class ZefTempConfig final : public Zef::Reactor<Config>, public Zef::Owned<TempSensorThresholdSm> {
   public:
    using Owned::Owned;
    void handleAll() override { owner().thresholdConfig_.reconcile(); }
    void onTempSensor(Zef::Name name) override;
  };

  Zef::Children<ZefThresholdConfig, Zef::Name, TempSensorThresholdSm> thresholdConfig_;
  Zef::Child<ZefTempConfig, TempSensorThresholdSm> tempConfig_{*this};
};

}  // namespace Orvane
