#include "mib/Modules.h"
#include "mib/SensorRows.h"
#include "mib/Table.h"

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

}  // namespace

MIB_TABLE(kelvraEntSensorThresholdTable, KelvraEntSensorThresholdTable)

void init_kelvraEntSensorMIB() {
  Mib::traceHandle();
  DEBUGMSGTL(("kelvraEntSensorMIB", "Initializing\n"));
  initialize_table_kelvraEntSensorThresholdTable();
}

MIB_MODULE(kelvraEntSensorMIB)
