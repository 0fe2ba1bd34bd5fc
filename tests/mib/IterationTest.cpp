#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "mib/SensorRows.h"
#include "tests/mib/Tables.h"

// The callbacks of a table as the agent holds them, called with what the agent passes seldom or never.

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::Ne;

struct Hint {
  std::vector<long> components;
  std::size_t numberIndexes;
  char const* told = "";  // in a trace, of what is wrong with it, and on which level
  unsigned level = 2;
  u_char type = ASN_INTEGER;
};

class Iteration : public testing::TestWithParam<TableCase> {
 protected:
  void SetUp() override {
    Agent::instance();
    for (auto const& each : tableCases()) each.clear();
    for (auto const& each : table.indexes()) table.add(each);
    auto* const iterator = netsnmp_find_handler_by_name(&Agent::registration(table.root), "table_iterator");
    info = static_cast<netsnmp_iterator_info*>(iterator->myvoid);
    handler = netsnmp_find_handler_by_name(&Agent::registration(table.root), table.name.c_str())->access_method;
    index = snmp_clone_varbind(info->indexes);
    info->get_first_data_point(&row, &none, index, info);
  }
  void TearDown() override {
    info->free_data_context(row, info);
    snmp_free_varbind(index);
    table.clear();
  }

  Oid indexOf(netsnmp_variable_list const* variable) const {
    Oid result;
    for (; variable != nullptr; variable = variable->next_variable)
      result.push_back(static_cast<oid>(*variable->val.integer));
    return result;
  }
  // The row at which get-first begins.
  Oid first(Hint const& hint) {
    netsnmp_table_request_info request{};
    request.number_indexes = static_cast<unsigned>(hint.numberIndexes);
    for (long const& component : hint.components) {
      snmp_varlist_add_variable(&request.indexes, nullptr, 0, hint.type, &component, sizeof component);
    }
    void* loop = &request;
    Oid result = indexOf(info->get_first_data_point(&loop, &none, index, info));
    info->free_loop_context_at_end(loop, info);
    snmp_free_varbind(request.indexes);
    return result;
  }

  TableCase const& table = GetParam();
  netsnmp_iterator_info* info = nullptr;
  netsnmp_variable_list* index = nullptr;
  Netsnmp_Node_Handler* handler = nullptr;
  void* row = nullptr;  // the first one's context
  void* none = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Tables, Iteration, testing::ValuesIn(tableCases()),
                         [](auto const& each) { return each.param.name; });

TEST_P(Iteration, AHintSaysWhereToBegin) {
  auto const indexes = table.indexes();
  std::size_t const parts = table.indexParts;
  for (auto const& each : indexes) EXPECT_EQ(first({{each.begin(), each.end()}, parts}), each);

  // Every other hint leaves the walk to begin at the first row.
  std::vector<Hint> hints = {
      {{}, 0},
      {{300, 7}, parts + 1},
      {{}, parts, "components, found only 0"},
      {parts == 2 ? std::vector<long>{1, 6} : std::vector<long>{2}, parts, "not found in table"},
      {{300, 7}, parts, "hint for entPhysicalIndex has incorrect type! Expecting 2 but got 4", 0, ASN_OCTET_STR},
      {{4294967295L, 7}, parts, "is out of range! 4294967295 does not fit into 32 bits", 0},
      {{-1, -1}, parts, "ctor threw exception: an index is not negative", 0},
  };
  if (parts == 2) {
    hints.push_back({{300}, 1});
    hints.push_back({{300}, 2, "components, found only 1"});
    hints.push_back(
        {{300, 2147483648L}, 2, "hint for index entPhysicalChildIndex of entPhysicalContainsTable is out", 0});
  }
  for (auto const& hint : hints) {
    Tracing const tracing;
    EXPECT_EQ(first(hint), indexes[0]);
    EXPECT_THAT(tracing.lines(),
                Contains(AllOf(Field(&TraceLine::level, hint.level), Field(&TraceLine::text, HasSubstr(hint.told)))));
  }
}

TEST_P(Iteration, AContextOutlivesItsRowAndFollowsTheLoop) {
  auto const indexes = table.indexes();
  void* loop = nullptr;
  info->get_first_data_point(&loop, &none, index, info);
  void* data = info->make_data_context(loop, info);
  table.remove(indexes[0]);
  table.remove(indexes[1]);
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &data, index, info)), indexes[2]);
  void* const copy = info->make_data_context(data, info);  // the data context stands where the loop stands
  info->free_data_context(data, info);
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &none, index, info)), indexes[3]);
  loop = (info->free_loop_context_at_end(loop, info), copy);
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &none, index, info)), indexes[3]);
  table.clear();
  EXPECT_EQ(info->get_next_data_point(&loop, &none, index, info), nullptr);
  EXPECT_EQ(info->get_next_data_point(&loop, &none, index, info), nullptr);
  info->free_data_context(copy, info);
  info->free_data_context(nullptr, info);
}

struct OutOfMemory : Mib::SensorRows {
  static constexpr char const* name = "outOfMemoryTable";
  static constexpr Mib::Column<Row> columns[] = {
      {1, "type", Mib::via<S32ToAsnIntegerF, &Row::sensorType>, "sensorType"}};
  static Iterator walk(Model const& /*model*/) { throw std::bad_alloc(); }
};

// What the loop context holds at the end is freed as the table's.
TEST(FirstDataPoint, LeavesNoHintBehindWhenItFails) {
  netsnmp_table_request_info hint{};
  void* loop = &hint;
  void* data = nullptr;
  netsnmp_iterator_info info{};
  info.myvoid = Models::instance().sensorMib.get();
  EXPECT_EQ(Mib::Table<OutOfMemory>::getFirstDataPoint(&loop, &data, nullptr, &info), nullptr);
  EXPECT_EQ(loop, nullptr);
}

// A request to the handler itself, past the helpers that would keep it from there.
struct Request {
  oid column;
  void* row = nullptr;  // the data context, if the iterator has found one
  bool isProcessed = false;
};

// The type of each answer, or the error where there is one.
std::vector<int> handled(Netsnmp_Node_Handler* handler, int mode, std::vector<Request> const& asked) {
  netsnmp_agent_request_info info{};
  info.mode = mode;
  std::vector<netsnmp_table_request_info> tables(asked.size());
  std::vector<netsnmp_request_info> requests(asked.size());
  for (std::size_t i = 0; i < asked.size(); ++i) {
    netsnmp_request_info& request = requests[i];
    request.requestvb = SNMP_MALLOC_TYPEDEF(netsnmp_variable_list);
    request.requestvb->type = ASN_NULL;
    request.agent_req_info = &info;
    request.processed = asked[i].isProcessed ? 1 : 0;
    if (i > 0) requests[i - 1].next = &request;
    tables[i].colnum = static_cast<unsigned>(asked[i].column);
    netsnmp_request_add_list_data(&request, netsnmp_create_data_list(TABLE_HANDLER_NAME, &tables[i], nullptr));
    if (asked[i].row != nullptr)
      netsnmp_request_add_list_data(&request, netsnmp_create_data_list(TABLE_ITERATOR_NAME, asked[i].row, nullptr));
  }
  EXPECT_EQ(handler(nullptr, nullptr, &info, requests.data()), SNMP_ERR_NOERROR);
  std::vector<int> results;
  for (auto& request : requests) {
    results.push_back(request.status != 0 ? request.status : request.requestvb->type);
    netsnmp_free_request_data_sets(&request);
    snmp_free_varbind(request.requestvb);
  }
  return results;
}

TEST_P(Iteration, TheHandlerAnswersWhatIsLeftAndEndsAtWhatHasNoRowOrColumn) {
  oid const column = table.columns.front();
  EXPECT_THAT(handled(handler, MODE_GET, {{column, row}, {column, row, true}, {column, row}}),
              ElementsAre(Ne(ASN_NULL), ASN_NULL, Ne(ASN_NULL)));
  EXPECT_THAT(handled(handler, MODE_GET, {{column, row}, {column}, {column, row}}),
              ElementsAre(Ne(ASN_NULL), ASN_NULL, ASN_NULL));
  for (oid const other : {column - 1, table.columns.back() + 1, oid{4294967295U}}) {
    EXPECT_THAT(handled(handler, MODE_GET, {{other, row}, {column, row}}), ElementsAre(SNMP_NOSUCHOBJECT, ASN_NULL));
  }
}

TEST_P(Iteration, EveryPhaseOfASetIsRefusedAtItsFirstOpenRequest) {
  for (int mode = MODE_SET_RESERVE1; mode <= MODE_SET_UNDO; ++mode) {
    EXPECT_THAT(handled(handler, mode, {{1, nullptr, true}, {1}, {1}}),
                ElementsAre(ASN_NULL, SNMP_ERR_NOTWRITABLE, ASN_NULL));
  }
  EXPECT_THAT(handled(handler, MODE_SET_FREE, {{1, nullptr, true}}), ElementsAre(ASN_NULL));
}

}  // namespace
