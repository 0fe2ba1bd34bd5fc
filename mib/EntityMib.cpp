#include "mib/Conversions.h"
#include "mib/Modules.h"
#include "mib/Table.h"
#include "model/OrvaneLib.h"

// ENTITY-MIB: what the switch is made of, and when that last changed.

namespace {

using Orvane::OrvaneEntityMib;

constexpr char const* entityMibPath = "snmp/fru/entitymib";
constexpr char const* entityMibType = "Orvane::OrvaneEntityMib";

// A helper on the live object of a row.
template <int (*helper)(PhysicalObject const&, unsigned char*, int)>
constexpr Mib::Conversion<Orvane::PhysicalEntity> object(char const* name, u_char type = ASN_OCTET_STR) {
  return {name, type, [](Orvane::PhysicalEntity const& row, unsigned char* buffer, int capacity) {
            return helper(row.phyAttr(), buffer, capacity);
          }};
}

// entPhysicalUris: no entity has any.
constexpr Mib::Conversion<Orvane::PhysicalEntity> noUris = {
    StringToAsnOctetStringF::name, StringToAsnOctetStringF::type,
    [](Orvane::PhysicalEntity const&, unsigned char* buffer, int capacity) {
      return SnmpConvert<Zef::String8 const&, StringToAsnOctetStringF>(Zef::String8(), buffer, capacity);
    }};

struct EntPhysicalTable {
  using Model = OrvaneEntityMib;
  using Iterator = OrvaneEntityMib::PhysicalEntityIteratorConst;
  using Key = U32;
  using Row = Orvane::PhysicalEntity;
  static constexpr char const* name = "entPhysicalTable";
  static constexpr char const* path = entityMibPath;
  static constexpr char const* modelType = entityMibType;
  static constexpr char const* keyType = "U32";
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1};
  static constexpr int modes = HANDLER_CAN_RWRITE;
  static Iterator walk(Model const& model) { return model.physicalEntityIteratorConst(); }
  static Iterator startAt(Model const& model, Key const& key) { return model.physicalEntityStartAt(key); }

  static constexpr Mib::IndexPart<Row> index[] = {Mib::indexPart<&Row::index>("entPhysicalIndex", "index")};

  using Text = StringToAsnOctetStringF;
  using Integer = S32ToAsnIntegerF;
  static constexpr auto writable = Mib::Access::readWriteInMib;
  static constexpr Mib::Length any = {};
  static constexpr Mib::Column<Row> columns[] = {
      {2, "entPhysicalDescr", Mib::via<Text, &Row::description>, "description", Mib::atMost(255)},
      {3, "entPhysicalVendorType", object<PhysicalVendorType>("PhysicalVendorType", ASN_OBJECT_ID), "phyAttr"},
      {4, "entPhysicalContainedIn", Mib::via<Integer, &Row::containedIn>, "containedIn"},
      {5, "entPhysicalClass", Mib::via<Integer, &Row::physicalClass>, "physicalClass"},
      {6, "entPhysicalParentRelPos", Mib::via<Integer, &Row::relPos>, "relPos"},
      {7, "entPhysicalName", Mib::via<Text, &Row::consoleName>, "consoleName", Mib::atMost(255)},
      {8, "entPhysicalHardwareRev", object<PhysicalHardwareRevision>("PhysicalHardwareRevision"), "phyAttr",
       Mib::atMost(255)},
      {9, "entPhysicalFirmwareRev", object<PhysicalFirmwareRevision>("PhysicalFirmwareRevision"), "phyAttr",
       Mib::atMost(255)},
      {10, "entPhysicalSoftwareRev", object<PhysicalSoftwareRevision>("PhysicalSoftwareRevision"), "phyAttr",
       Mib::atMost(255)},
      {11, "entPhysicalSerialNum", object<PhysicalSerialNum>("PhysicalSerialNum"), "phyAttr", Mib::atMost(32),
       writable},
      {12, "entPhysicalMfgName", object<PhysicalMfgName>("PhysicalMfgName"), "phyAttr", Mib::atMost(255)},
      {13, "entPhysicalModelName", object<PhysicalModelName>("PhysicalModelName"), "phyAttr", Mib::atMost(255)},
      {14, "entPhysicalAlias", Mib::via<Text, &Row::alias>, "alias", Mib::atMost(32), writable},
      {15, "entPhysicalAssetID", object<PhysicalAssetId>("PhysicalAssetId"), "phyAttr", Mib::atMost(32), writable},
      {16, "entPhysicalIsFRU", object<PhysicalIsFru>("PhysicalIsFru", ASN_INTEGER), "phyAttr"},
      {17, "entPhysicalMfgDate", object<PhysicalMfgDate>("PhysicalMfgDate"), "phyAttr", Mib::dateAndTime},
      {18, "entPhysicalUris", noUris, "", any, writable},
  };
};

struct EntPhysicalContainsTable {
  using Model = OrvaneEntityMib;
  using Iterator = OrvaneEntityMib::ContainsIteratorConst;
  using Key = Orvane::ContainsEntry;
  using Row = Orvane::Contains;
  static constexpr char const* name = "entPhysicalContainsTable";
  static constexpr char const* path = entityMibPath;
  static constexpr char const* modelType = entityMibType;
  static constexpr char const* keyType = "Orvane::ContainsEntry";
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 47, 1, 3, 3};
  static constexpr int modes = HANDLER_CAN_GETANDGETNEXT;
  static Iterator walk(Model const& model) { return model.containsIteratorConst(); }
  static Iterator startAt(Model const& model, Key const& key) { return model.containsStartAt(key); }

  static constexpr Mib::IndexPart<Row> index[] = {
      Mib::indexPart<&Row::containerIndex>("entPhysicalIndex", "containerIndex"),
      Mib::indexPart<&Row::containeeIndex>("entPhysicalChildIndex", "containeeIndex"),
  };
  static constexpr Mib::Column<Row> columns[] = {
      {1, "entPhysicalChildIndex", Mib::via<S32ToAsnIntegerF, &Row::containeeIndex>, "containeeIndex"},
  };
};

int getLastChangeTime(OrvaneEntityMib const* model, netsnmp_request_info& request) {
  if (model == nullptr) {
    ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - entity /<sysname>/" << entityMibPath
                                     << " is not of type " << entityMibType;
    return SNMP_ERR_GENERR;
  }
  ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - reading " << entityMibPath << "->lastChangeTime()";
  alignas(long) unsigned char buffer[Mib::bufferSize];
  int const count = SnmpConvert<double, SecondsToTimeTicksF>(model->lastChangeTime(), buffer, Mib::bufferSize);
  // Log readers match this text, without a blank behind the number.
  ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - SecondsToTimeTicks returned " << count << "bytes for "
                                   << entityMibPath << "->lastChangeTime()";
  if (count < 0) {
    ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - SecondsToTimeTicks failed for: lastChangeTime";
    return SNMP_ERR_GENERR;
  }
  snmp_set_var_typed_value(request.requestvb, ASN_TIMETICKS, buffer, static_cast<std::size_t>(count));
  return SNMP_ERR_NOERROR;
}

void initializeLastChangeTime() {
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 47, 1, 4, 1};
  ZEF_TRACE(Mib::traceHandle(), 1) << "init_EntityMib initializing oid " << Mib::oidText(root, std::size(root));
  netsnmp_handler_registration* const reg_entLastChangeTime = netsnmp_create_handler_registration(
      "entLastChangeTime", handle_entLastChangeTime, root, std::size(root), HANDLER_CAN_GETANDGETNEXT);
  ZEF_ASSERT(reg_entLastChangeTime);
  reg_entLastChangeTime->priority = 64;
  auto const model = Mib::bindModel<OrvaneEntityMib>(*reg_entLastChangeTime, entityMibPath);
  netsnmp_register_scalar(reg_entLastChangeTime);
}

}  // namespace

int handle_entLastChangeTime(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* registration,
                             netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  int result = SNMP_ERR_GENERR;
  if (info->mode >= MODE_SET_RESERVE1 && info->mode <= MODE_SET_UNDO) {
    ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - SET is not configured for entLastChangeTime";
    netsnmp_request_set_error(requests, SNMP_ERR_NOTWRITABLE);
    return SNMP_ERR_NOERROR;
  }
  if (info->mode == MODE_GET) {
    auto const* const model = static_cast<OrvaneEntityMib const*>(registration->my_reg_void);
    result = Mib::guarded(__func__, SNMP_ERR_GENERR, [&] { return getLastChangeTime(model, *requests); });
  } else {
    ZEF_TRACE(Mib::traceHandle(), 2) << "handle_entLastChangeTime - unknown mode from request: " << info->mode;
  }
  if (result != SNMP_ERR_NOERROR) netsnmp_request_set_error(requests, result);
  return result;
}

MIB_TABLE(entPhysicalTable, EntPhysicalTable)
MIB_TABLE(entPhysicalContainsTable, EntPhysicalContainsTable)

void init_EntityMib() {
  DEBUGMSGTL(("EntityMib", "Initializing\n"));
  initializeLastChangeTime();
  initialize_table_entPhysicalTable();
  initialize_table_entPhysicalContainsTable();
}

MIB_MODULE(EntityMib)
