#include "mib/Conversions.h"
#include "mib/Modules.h"
#include "mib/Table.h"
#include "model/OrvaneLib.h"

// ENTITY-STATE-MIB: the state of each entity that has one.

namespace {

struct EntStateTable {
  using Model = Orvane::OrvaneStateMib;
  using Iterator = Orvane::OrvaneStateMib::StateEntityIteratorConst;
  using Key = U32;
  using Row = Orvane::State;
  static constexpr char const* name = "entStateTable";
  static constexpr char const* path = "snmp/state/entitystatemib";
  static constexpr char const* modelType = "Orvane::OrvaneStateMib";
  static constexpr char const* keyType = "U32";
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 131, 1, 1};
  static constexpr int modes = HANDLER_CAN_RWRITE;
  static Iterator walk(Model const& model) { return model.stateEntityIteratorConst(); }
  static Iterator startAt(Model const& model, Key const& key) { return model.stateEntityStartAt(key); }

  static constexpr Mib::IndexPart<Row> index[] = {Mib::indexPart<&Row::index>("entPhysicalIndex", "index")};

  // BITS with its bit 0 in the most significant place, which is the one octet as it is stored.
  static constexpr Mib::Conversion<Row> alarmBits = {"U8ToAsnOctetString", ASN_OCTET_STR,
                                                     [](Row const& row, unsigned char* buffer, int capacity) {
                                                       return U8ToAsnOctetString(row.alarmStatus(), buffer, capacity);
                                                     }};

  using Integer = S32ToAsnIntegerF;
  static constexpr Mib::Length any = {};
  static constexpr Mib::Column<Row> columns[] = {
      {1, "entStateLastChanged", Mib::via<SecondsToAsnDateAndTimeF, &Row::lastChanged>, "lastChanged",
       Mib::dateAndTime},
      {2, "entStateAdmin", Mib::via<Integer, &Row::adminState>, "adminState", any, Mib::Access::readWriteInMib},
      {3, "entStateOper", Mib::via<Integer, &Row::operState>, "operState"},
      {4, "entStateUsage", Mib::via<Integer, &Row::usageState>, "usageState"},
      {5, "entStateAlarm", alarmBits, "alarmStatus"},
      {6, "entStateStandby", Mib::via<Integer, &Row::standbyStatus>, "standbyStatus"},
  };
};

}  // namespace

MIB_TABLE(entStateTable, EntStateTable)

void init_entityStateMIB() {
  Mib::traceHandle();
  DEBUGMSGTL(("entityStateMIB", "Initializing\n"));
  initialize_table_entStateTable();
}

MIB_MODULE(entityStateMIB)
