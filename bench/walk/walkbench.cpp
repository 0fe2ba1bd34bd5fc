// A module for snmpd with two tables to compare ours with, each filled from a dump that the walker took of ours: same
// rows, same columns, same values.
//
//   walkMemoryTable FILE   1.3.6.1.4.1.8072.9999.9999.1: Net-SNMP's own sorted in-memory table (the tdata helper)
//   walkBareHandler FILE   1.3.6.1.4.1.8072.9999.9999.2: a handler that answers GETNEXT itself and knows where it
//   stood, the floor
//
// A line of the dump is "COLUMN INDEX TYPE HEX": the last sub-identifiers, the ASN.1 type and the bytes of the value.

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr std::array<oid, 10> memoryTable = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1};
constexpr std::array<oid, 10> bareTable = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 2};
constexpr oid firstColumn = 2;
constexpr oid lastColumn = 18;

struct Cell {
  u_char type = ASN_NULL;
  std::string bytes;

  void answer(netsnmp_variable_list* variable) const {
    snmp_set_var_typed_value(variable, type, bytes.data(), bytes.size());
  }
};

struct Row {
  oid index = 0;
  std::array<Cell, lastColumn - firstColumn + 1> cells;

  Cell const& cell(oid column) const { return cells[column - firstColumn]; }
};

std::vector<Row> load(char const* file) {
  std::ifstream dump(file);
  std::map<oid, Row> rows;
  oid column = 0;
  oid index = 0;
  int type = 0;
  std::string hex;
  while (dump >> column >> index >> type >> hex) {
    if (column < firstColumn || column > lastColumn) continue;
    Cell& cell = rows[index].cells[column - firstColumn];
    cell.type = static_cast<u_char>(type);
    for (std::size_t i = 1; i + 1 < hex.size(); i += 2) {  // a dash stands in front, so that no value is empty
      cell.bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
  }
  if (rows.empty()) netsnmp_config_error("no rows in %s", file);
  std::vector<Row> sorted;
  sorted.reserve(rows.size());
  for (auto& [key, row] : rows) {
    row.index = key;
    sorted.push_back(std::move(row));
  }
  return sorted;
}

int handleMemoryTable(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* /*registration*/,
                      netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  if (info->mode != MODE_GET) return SNMP_ERR_GENERR;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    auto const* row = static_cast<Row const*>(netsnmp_tdata_extract_entry(request));
    if (row == nullptr) {
      netsnmp_set_request_error(info, request, SNMP_NOSUCHINSTANCE);
      continue;
    }
    row->cell(netsnmp_extract_table_info(request)->colnum).answer(request->requestvb);
  }
  return SNMP_ERR_NOERROR;
}

void registerMemoryTable(char const* /*token*/, char* file) {
  static std::vector<Row> const rows = load(file);
  netsnmp_tdata* const table = netsnmp_tdata_create_table("walkMemoryTable", 0);
  for (Row const& row : rows) {
    netsnmp_tdata_row* const entry = netsnmp_tdata_create_row();
    entry->data = const_cast<Row*>(&row);
    int const index = static_cast<int>(row.index);
    netsnmp_tdata_row_add_index(entry, ASN_INTEGER, &index, sizeof index);
    netsnmp_tdata_add_row(table, entry);
  }
  auto* const info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  netsnmp_table_helper_add_indexes(info, ASN_INTEGER, 0);
  info->min_column = firstColumn;
  info->max_column = lastColumn;
  netsnmp_tdata_register(netsnmp_create_handler_registration("walkMemoryTable", handleMemoryTable, memoryTable.data(),
                                                             memoryTable.size(), HANDLER_CAN_RONLY),
                         table, info);
}

std::vector<Row> bareRows;

// The first row after the index, usually the one after the row that was asked for last.
std::vector<Row>::const_iterator after(oid index) {
  static std::size_t last = 0;
  if (last >= bareRows.size() || bareRows[last].index != index) {
    auto const found = std::upper_bound(bareRows.begin(), bareRows.end(), index,
                                        [](oid value, Row const& row) { return value < row.index; });
    last = static_cast<std::size_t>(found - bareRows.begin());
  } else {
    ++last;
  }
  return bareRows.begin() + static_cast<std::ptrdiff_t>(last);
}

int handleBareTable(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* /*registration*/,
                    netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  if (info->mode != MODE_GETNEXT) return SNMP_ERR_GENERR;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    netsnmp_variable_list* const variable = request->requestvb;
    std::array<oid, bareTable.size() + 3> name{};  // table, entry (1), column, index
    std::size_t const given = std::min(variable->name_length, name.size());
    std::copy(bareTable.begin(), bareTable.end(), name.begin());
    if (given > bareTable.size()) std::copy(variable->name, variable->name + given, name.begin());
    name[bareTable.size()] = 1;
    oid& column = name[bareTable.size() + 1];
    oid& index = name[bareTable.size() + 2];
    auto row = bareRows.cbegin();
    if (column < firstColumn) {
      column = firstColumn;
    } else if ((row = after(index)) == bareRows.cend()) {
      row = bareRows.cbegin();
      ++column;
    }
    if (column > lastColumn) continue;
    index = row->index;
    snmp_set_var_objid(variable, name.data(), name.size());
    row->cell(column).answer(variable);
  }
  return SNMP_ERR_NOERROR;
}

void registerBareHandler(char const* /*token*/, char* file) {
  bareRows = load(file);
  netsnmp_register_handler(netsnmp_create_handler_registration("walkBareHandler", handleBareTable, bareTable.data(),
                                                               bareTable.size(), HANDLER_CAN_RONLY));
}

}  // namespace

extern "C" void init_walkbench() {
  snmpd_register_config_handler("walkMemoryTable", registerMemoryTable, nullptr, "FILE");
  snmpd_register_config_handler("walkBareHandler", registerBareHandler, nullptr, "FILE");
}
