#pragma once

#include "mib/Table.h"
#include "model/OrvaneLib.h"

namespace Mib {

// The rows of both sensor tables: one for each sensor, whether it has thresholds or not.
struct SensorRows {
  using Model = Orvane::OrvaneSensorMib;
  using Iterator = Orvane::OrvaneSensorMib::SensorEntityIteratorConst;
  using Key = U32;
  using Row = Orvane::Sensor;
  static constexpr char const* path = "snmp/sensor/entitysensormib";
  static constexpr char const* modelType = "Orvane::OrvaneSensorMib";
  static constexpr char const* keyType = "U32";
  static constexpr int modes = HANDLER_CAN_GETANDGETNEXT;
  static Iterator walk(Model const& model) { return model.sensorEntityIteratorConst(); }
  static Iterator startAt(Model const& model, Key const& key) { return model.sensorEntityStartAt(key); }

  static constexpr IndexPart<Row> index[] = {indexPart<&Row::index>("entPhysicalIndex", "index")};
};

}  // namespace Mib
