#include "mib/Modules.h"
#include "mib/SensorRows.h"
#include "mib/Table.h"
#include "platform/agent/Registration.h"

// The vendor's sensor threshold MIB: the bounds of each sensor, and where its value stands between them.

namespace {

struct KelvraEntSensorThresholdTable : Mib::SensorRows {
  static constexpr char const* name = "kelvraEntSensorThresholdTable";
  static constexpr oid root[] = {1, 3, 6, 1, 4, 1, 59871, 3, 12, 1, 1};

  using Integer = S32ToAsnIntegerF;
  static constexpr Mib::Column<Row> columns[] = {
      {1, "kelvraEntSensorThresholdLowWarning", Mib::via<Integer, &Row::lowWarnThreshold>, "lowWarnThreshold"},
      {2, "kelvraEntSensorThresholdLowCritical", Mib::via<Integer, &Row::lowCritThreshold>, "lowCritThreshold"},
      {3, "kelvraEntSensorThresholdHighWarning", Mib::via<Integer, &Row::highWarnThreshold>, "highWarnThreshold"},
      {4, "kelvraEntSensorThresholdHighCritical", Mib::via<Integer, &Row::highCritThreshold>, "highCritThreshold"},
      {5, "kelvraEntSensorStatusDescr", Mib::via<StringToAsnOctetStringF, &Row::thresholdDescription>,
       "thresholdDescription", Mib::atMost(255)},
  };
};

using ThresholdTable = Mib::Table<KelvraEntSensorThresholdTable>;
constexpr auto kelvraEntSensorThresholdTable_get_first_data_point = ThresholdTable::getFirstDataPoint;
constexpr auto kelvraEntSensorThresholdTable_get_next_data_point = ThresholdTable::getNextDataPoint;
constexpr auto kelvraEntSensorThresholdTable_make_data_context = ThresholdTable::makeDataContext;
constexpr auto kelvraEntSensorThresholdTable_free_data_context = ThresholdTable::freeDataContext;
constexpr auto kelvraEntSensorThresholdTable_free_loop_context_at_end = ThresholdTable::freeLoopContextAtEnd;

}  // namespace

int kelvraEntSensorThresholdTable_handler(netsnmp_mib_handler* /*handler*/,
                                          netsnmp_handler_registration* /*registration*/,
                                          netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  return ThresholdTable::handle(info, requests);
}

void initialize_table_kelvraEntSensorThresholdTable() {
  ThresholdTable::initialize(
      {kelvraEntSensorThresholdTable_get_first_data_point, kelvraEntSensorThresholdTable_get_next_data_point,
       kelvraEntSensorThresholdTable_make_data_context, kelvraEntSensorThresholdTable_free_data_context,
       kelvraEntSensorThresholdTable_free_loop_context_at_end, kelvraEntSensorThresholdTable_handler});
}

void init_kelvraEntSensorMIB() {
  Mib::traceHandle();
  DEBUGMSGTL(("kelvraEntSensorMIB", "Initializing\n"));
  initialize_table_kelvraEntSensorThresholdTable();
}

namespace {

class kelvraEntSensorMIB_HandlerRegistration : public Snmp::HandlerRegistration {
 public:
  void init() override { init_kelvraEntSensorMIB(); }
};

kelvraEntSensorMIB_HandlerRegistration registration;
Snmp::AutoRegistree const autoRegistree(&registration);

}  // namespace
