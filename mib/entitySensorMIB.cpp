#include "mib/Modules.h"
#include "mib/SensorRows.h"
#include "mib/Table.h"
#include "platform/agent/Registration.h"

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

using SensorTable = Mib::Table<EntPhySensorTable>;
constexpr auto entPhySensorTable_get_first_data_point = SensorTable::getFirstDataPoint;
constexpr auto entPhySensorTable_get_next_data_point = SensorTable::getNextDataPoint;
constexpr auto entPhySensorTable_make_data_context = SensorTable::makeDataContext;
constexpr auto entPhySensorTable_free_data_context = SensorTable::freeDataContext;
constexpr auto entPhySensorTable_free_loop_context_at_end = SensorTable::freeLoopContextAtEnd;

}  // namespace

int entPhySensorTable_handler(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* /*registration*/,
                              netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  return SensorTable::handle(info, requests);
}

void initialize_table_entPhySensorTable() {
  SensorTable::initialize({entPhySensorTable_get_first_data_point, entPhySensorTable_get_next_data_point,
                           entPhySensorTable_make_data_context, entPhySensorTable_free_data_context,
                           entPhySensorTable_free_loop_context_at_end, entPhySensorTable_handler});
}

void init_entitySensorMIB() {
  Mib::traceHandle();
  DEBUGMSGTL(("entitySensorMIB", "Initializing\n"));
  initialize_table_entPhySensorTable();
}

namespace {

class entitySensorMIB_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
  void init() override { init_entitySensorMIB(); }
};

entitySensorMIB_HandlerRegistration registration;
Snmp::AutoRegistree const autoRegistree(&registration);

}  // namespace
