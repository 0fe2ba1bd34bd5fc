#include <net/if.h>

#include <cstring>
#include <ostream>

#include "mib/Modules.h"
#include "mib/Table.h"
#include "model/OrvaneLib.h"
#include "model/input/Interface.h"

// ENTITY-MIB, RFC 6933: which interface of IF-MIB a port is. It is found when it is asked for, by the kernel's name in
// the status of the port: nothing here follows interfaces as they come and go.

namespace {

using Orvane::Constants;
using Orvane::OrvaneEntityMib;
using Interfaces = Interface::AllIntfStatusDir;

// The index of a row. Its logical entity is 0 always: one mapping for all of them.
struct AliasEntry {
  U32 physical = 0;
  U32 logical = 0;
  bool operator==(AliasEntry const& other) const = default;
};

std::ostream& operator<<(std::ostream& out, AliasEntry const& entry) {
  return out << entry.physical << "/" << entry.logical;
}

struct Alias {
  AliasEntry entry;
  unsigned ifIndex = 0;  // 0: the part is none of the kernel's interfaces

  U32 physical() const { return entry.physical; }
  U32 logical() const { return entry.logical; }
  AliasEntry const& fwkKey() const { return entry; }
};

// The name of the status that speaks for a part: a port has its own, and a transceiver that of the port whose name is
// its alias.
Zef::String8 interfaceOf(Orvane::PhysicalEntity const& row) {
  if (row.physicalClass() == Constants::physicalClassPort) return row.componentName();
  return row.tag() == "Xcvr" ? row.alias() : Zef::String8();
}

// Over those rows of entPhysicalTable that have an interface.
class AliasIterator {
 public:
  explicit AliasIterator(OrvaneEntityMib::PhysicalEntityIteratorConst at)
      : interfaces_(Zef::dynamicCast<Interfaces>(SnmpUtil::getEntityRelative("input/intfStatusDir"))),
        at_(std::move(at)) {
    settle();
  }

  explicit operator bool() const { return static_cast<bool>(at_); }
  bool operator!() const { return !at_; }
  Alias const& operator*() const { return alias_; }
  AliasEntry const& key() const { return alias_.entry; }
  void advance() {
    at_.advance();
    settle();
  }

 private:
  // On to a row that has one.
  void settle() {
    for (; interfaces_ && at_; at_.advance()) {
      Zef::String8 const name = interfaceOf(*at_);
      auto const status = name.empty() ? nullptr : interfaces_->intfStatus(Morvet::IntfId(name));
      if (!status || status->deviceName().empty()) continue;
      alias_ = {{at_->index(), 0}, if_nametoindex(status->deviceName().charPtr())};
      if (alias_.ifIndex != 0) return;
    }
  }

  Zef::Ptr<Interfaces const> interfaces_;
  OrvaneEntityMib::PhysicalEntityIteratorConst at_;
  Alias alias_;
};

// ifIndex.N of IF-MIB.
constexpr Mib::Conversion<Alias> ifIndex = {"IfIndexToAsnOid", ASN_OBJECT_ID,
                                            [](Alias const& row, unsigned char* buffer, int capacity) {
                                              oid const name[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1, row.ifIndex};
                                              if (capacity < static_cast<int>(sizeof name)) return -1;
                                              std::memcpy(buffer, name, sizeof name);
                                              return static_cast<int>(sizeof name);
                                            }};

struct EntAliasMappingTable {
  using Model = OrvaneEntityMib;
  using Iterator = AliasIterator;
  using Key = AliasEntry;
  using Row = Alias;
  static constexpr char const* name = "entAliasMappingTable";
  static constexpr char const* path = "snmp/fru/entitymib";
  static constexpr char const* modelType = "Orvane::OrvaneEntityMib";
  static constexpr char const* keyType = "AliasEntry";
  static constexpr oid root[] = {1, 3, 6, 1, 2, 1, 47, 1, 3, 2};
  static constexpr int modes = HANDLER_CAN_GETANDGETNEXT;
  static Iterator walk(Model const& model) { return Iterator(model.physicalEntityIteratorConst()); }
  static Iterator startAt(Model const& model, Key const& key) {
    return Iterator(model.physicalEntityStartAt(key.physical));
  }

  static constexpr Mib::IndexPart<Row> index[] = {
      Mib::indexPart<&Row::physical>("entPhysicalIndex", "physical"),
      Mib::indexPart<&Row::logical>("entAliasLogicalIndexOrZero", "logical"),
  };
  static constexpr Mib::Column<Row> columns[] = {{2, "entAliasMappingIdentifier", ifIndex, "ifIndex"}};
};

}  // namespace

MIB_TABLE(entAliasMappingTable, EntAliasMappingTable)

void init_EntityAlias() {
  DEBUGMSGTL(("EntityAlias", "Initializing\n"));
  initialize_table_entAliasMappingTable();
}

MIB_MODULE(EntityAlias)
