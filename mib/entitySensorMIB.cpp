#include "mib/Modules.h"
#include "mib/SensorRows.h"
#include "mib/Table.h"

// ENTITY-SENSOR-MIB: what each sensor measures, at the moment of the request.

namespace {

struct EntPhySensorTable : Mib::SensorRows {
  static constexpr char const* name = "entPhySensorTable";
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 99, 1, 1};

  using Integer = S32ToAsnIntegerF;
  static constexpr Mib::Column<Row> columns[] = {
      {1, "entPhySensorType", Mib::via<Integer, &Row::sensorType>, "sensorType"},
      {2, "entPhySensorScale", Mib::via<Integer, &Row::scale>, "scale"},
      {3, "entPhySensorPrecision", Mib::via<Integer, &Row::precision>, "precision"},
      {4, "entPhySensorValue", Mib::via<Integer, &Row::value>, "value"},
      {5, "entPhySensorOperStatus", Mib::via<Integer, &Row::operStatus>, "operStatus"},
      {6, "entPhySensorUnitsDisplay", Mib::via<StringToAsnOctetStringF, &Row::unitsDisplay>, "unitsDisplay",
       Mib::atMost(255)},
      {7, "entPhySensorValueTimeStamp", Mib::via<NowSecondsToUptimeTimeTicksF, &Row::valueTimeStamp>, "valueTimeStamp"},
      {8, "entPhySensorValueUpdateRate", Mib::via<U32ToAsnUnsignedF, &Row::valueUpdateRate>, "valueUpdateRate"},
  };
};

}  // namespace

MIB_TABLE(entPhySensorTable, EntPhySensorTable)

void init_entitySensorMIB() {
  Mib::traceHandle();
  DEBUGMSGTL(("entitySensorMIB", "Initializing\n"));
  initialize_table_entPhySensorTable();
}

MIB_MODULE(entitySensorMIB)
