#include "sm/TempSensorThresholdSm.h"

#include "sm/Root.h"
#include "sm/SensorUpdates.h"
#include "sm/Trace.h"

namespace Orvane {

TempSensorThresholdSm::TempSensorThresholdSm(Root& root, Zef::Ptr<Config const> const& tempConfig)
    : StatusSm(root),
      thresholdConfig_(*this, "thresholdConfig", [](TempSensorThresholdSm const& self, auto const& visit) {
        for (auto at = self.tempConfig()->tempSensorIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  tempConfig_.is(tempConfig);
  handleInitialized("TempSensorThresholdSm");
}

void TempSensorThresholdSm::ZefTempConfig::onTempSensor(Zef::Name name) {
  if (zefOnKey(Watched::tempSensorAttr, name, &ZefTempConfig::onTempSensor)) return;
  owner().thresholdConfig_.follow(name, notifier()->tempSensor(name));
}

std::span<TempSensorThresholdSm::ZefThresholdConfig::Slot const> TempSensorThresholdSm::ZefThresholdConfig::slots()
    const {
  static constexpr Slot watched[] = {
      {Watched::overheatThresholdAttr, &Watched::NotifieeConst::onOverheatThreshold},
      {Watched::criticalThresholdAttr, &Watched::NotifieeConst::onCriticalThreshold},
  };
  return watched;
}

void TempSensorThresholdSm::ZefThresholdConfig::handleTempThreshold() {
  // Log readers match this entry, which tells the handler's name for an argument.
  ORVANE_ENTRY("TempSensorThresholdSm::handleTempThreshold");
  if (notifier() == nullptr) {
    ORVANE_TRACE(0) << "Cannot find config entity";
  }
  RecordReactor::handle();
}

void TempSensorThresholdSm::handle(Record const& config) {
  auto const entry = root().component(config.name());
  if (!entry) {
    ORVANE_TRACE(0) << "Cannot find physical entity for " << config.name();
    return;
  }
  U32 const index = entry->entity()->index();
  OrvaneSensorMib& mib = *root().sensorMib();
  auto const sensor = mib.sensorEntity(index);
  if (!sensor || !hasThreshold(*sensor)) {
    mib.thresholdEntityDel(index);
  } else if (!mib.thresholdEntity(index)) {
    static Scrivo::MsgId record = 0;
    mib.thresholdEntityIs(sensor);
    Scrivo::RingBuf::record(record, __FILE__, __LINE__, "Added Temperature Sensor as thresholds changed", index);
  }
}

}  // namespace Orvane
