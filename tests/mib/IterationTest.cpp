#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "mib/SensorRows.h"
#include "tests/mib/Tables.h"

// The callbacks of a table as the agent holds them, called with what the agent passes seldom or never.

namespace {

using testing::ElementsAre;

struct Hint {
  std::vector<long> components;
  unsigned numberIndexes;
  u_char type = ASN_INTEGER;
};

class Iteration : public testing::TestWithParam<TableCase> {
 protected:
  void SetUp() override {
    Agent::instance();
    for (auto const& each : tableCases()) each.clear();
    auto* const handler = netsnmp_find_handler_by_name(&Agent::registration(table.root), "table_iterator");
    info = static_cast<netsnmp_iterator_info*>(handler->myvoid);
    index = snmp_clone_varbind(info->indexes);
  }
  void TearDown() override {
    snmp_free_varbind(index);
    table.clear();
  }

  Oid indexOf(netsnmp_variable_list const* variable) const {
    Oid result;
    for (; variable != nullptr; variable = variable->next_variable) {
      EXPECT_EQ(variable->type, ASN_INTEGER);
      result.push_back(static_cast<oid>(*variable->val.integer));
    }
    return result;
  }

  // The row at which get-first begins; empty at the end.
  Oid first(Hint const& hint) {
    netsnmp_table_request_info request{};
    request.number_indexes = hint.numberIndexes;
    for (long const& component : hint.components) {
      snmp_varlist_add_variable(&request.indexes, nullptr, 0, hint.type, &component, sizeof component);
    }
    return first(&request);
  }
  Oid first(netsnmp_table_request_info* request) {
    void* loop = request;
    void* data = nullptr;
    auto const* const found = info->get_first_data_point(&loop, &data, index, info);
    EXPECT_EQ(data, nullptr);
    EXPECT_TRUE(found == nullptr || found == index);
    Oid const result = indexOf(found);
    info->free_loop_context_at_end(loop, info);
    if (request != nullptr) snmp_free_varbind(request->indexes);
    return result;
  }

  TableCase const& table = GetParam();
  netsnmp_iterator_info* info = nullptr;
  netsnmp_variable_list* index = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Tables, Iteration, testing::ValuesIn(tableCases()),
                         [](auto const& each) { return each.param.name; });

TEST_P(Iteration, AHintSaysWhereToBegin) {
  for (auto const& each : table.indexes()) table.add(each);
  auto const indexes = table.indexes();
  for (auto const& each : indexes) {
    EXPECT_EQ(first({{each.begin(), each.end()}, static_cast<unsigned>(table.indexParts)}), each);
  }

  // Every other hint leaves the walk to begin at the first row, and some say why.
  struct Case {
    Hint hint;
    std::vector<TraceLine> lines;
  };
  std::string const name = table.name;
  std::string const get = name + "_get_first_data_point - ";
  bool const two = table.indexParts == 2;
  unsigned const parts = two ? 2 : 1;
  std::string const needed = get + "needed " + std::to_string(parts) + " components, found only ";
  auto const is = [](char const* variable, long key) {
    return TraceLine{2, std::string("hint component ") + variable + " is '" + std::to_string(key) + "'"};
  };
  std::string const keyType = two ? "Orvane::ContainsEntry" : "U32";
  std::string const missing = two ? "Value('Orvane::ContainsEntry', ** {'container': 1, 'containee': 6})" : "2";
  std::vector<TraceLine> notFound = {is("entPhysicalIndex", two ? 1 : 2)};
  if (two) notFound.push_back(is("entPhysicalChildIndex", 6));
  notFound.push_back({2, get + "key '" + missing + "' not found in table"});
  std::vector<TraceLine> negative = {is("entPhysicalIndex", -1)};
  if (two) negative.push_back(is("entPhysicalChildIndex", -1));
  negative.push_back({0, "Bad hint for " + name + ": " + keyType + " ctor threw exception: an index is not negative"});
  std::vector<Case> cases = {
      {{{}, 0}, {}},
      {{{1, 5}, parts + 1}, {}},
      {{{}, parts}, {{2, needed + "0"}}},
      {{two ? std::vector<long>{1, 6} : std::vector<long>{2}, parts}, notFound},
      {{{300, 7}, parts, ASN_OCTET_STR},
       {{0, "hint for entPhysicalIndex has incorrect type! Expecting 2 but got 4"}, {2, needed + "0"}}},
      {{{4294967295L, 7}, parts},
       {{0, "hint for index entPhysicalIndex of " + name + " is out of range! 4294967295 does not fit into 32 bits"},
        {2, needed + "0"}}},
      {{{-1, -1}, parts}, negative},
  };
  if (two) {
    cases.push_back({{{300}, 1}, {}});
    cases.push_back({{{300}, 2}, {is("entPhysicalIndex", 300), {2, needed + "1"}}});
    cases.push_back({{{300, 2147483648L}, 2},
                     {is("entPhysicalIndex", 300),
                      {0, "hint for index entPhysicalChildIndex of " + name +
                              " is out of range! 2147483648 does not fit into 32 bits"},
                      {2, needed + "1"}}});
  }
  for (auto const& [hint, lines] : cases) {
    Tracing const tracing;
    EXPECT_EQ(first(hint), indexes[0]);
    auto const isOfTheHint = [](TraceLine const& line) {
      return line.level == 0 || line.text.starts_with("hint") || line.text.find("components") != std::string::npos ||
             line.text.find("not found") != std::string::npos;
    };
    std::vector<TraceLine> said;
    std::copy_if(tracing.lines().begin(), tracing.lines().end(), std::back_inserter(said), isOfTheHint);
    EXPECT_EQ(said, lines);
  }
  EXPECT_EQ(first(nullptr), indexes[0]);
}

TEST_P(Iteration, TheFlowIsTraced) {
  for (auto const& each : table.indexes()) table.add(each);
  Oid const last = table.indexes().back();
  Tracing const tracing;
  netsnmp_table_request_info hint{};
  hint.number_indexes = static_cast<unsigned>(table.indexParts);
  for (oid const part : last) {
    auto const component = static_cast<long>(part);
    snmp_varlist_add_variable(&hint.indexes, nullptr, 0, ASN_INTEGER, &component, sizeof component);
  }
  void* loop = &hint;
  void* data = nullptr;
  ASSERT_NE(info->get_first_data_point(&loop, &data, index, info), nullptr);
  data = info->make_data_context(loop, info);
  EXPECT_EQ(info->get_next_data_point(&loop, &data, index, info), nullptr);
  EXPECT_EQ(info->get_next_data_point(&loop, &data, index, info), nullptr);
  info->free_data_context(data, info);
  info->free_loop_context_at_end(loop, info);
  info->free_data_context(nullptr, info);
  snmp_free_varbind(hint.indexes);

  std::string const name = table.name;
  bool const two = table.indexParts == 2;
  std::vector<TraceLine> expected = {
      {2, name + "_get_first_data_point - *hint = PTR, number_indexes = " + std::to_string(table.indexParts)}};
  expected.push_back({2, "hint component entPhysicalIndex is '" + std::to_string(last[0]) + "'"});
  if (two) expected.push_back({2, "hint component entPhysicalChildIndex is '7'"});
  expected.push_back({2, name + "_get_first_data_point - allocated new loop context PTR, hintMatched=1"});
  std::string const value = name + "IterationHelper - iterator has another value: ";
  expected.push_back({2, value + (two ? "containerIndex=" : "index=") + std::to_string(last[0])});
  if (two) expected.push_back({2, value + "containeeIndex=7"});
  expected.push_back({2, name + "_make_data_context - allocated data context PTR for loop context PTR"});
  expected.push_back({2, name + "_get_next_data_point - advancing loop context PTR ; data context PTR"});
  expected.push_back({2, name + "IterationHelper - iterator is at end"});
  expected.push_back({2, name + "_get_next_data_point - at end of loop context PTR"});
  expected.push_back({2, name + "_free_data_context PTR"});
  expected.push_back({2, name + "_free_loop_context_at_end PTR"});
  expected.push_back({2, name + "_free_data_context 0"});
  EXPECT_EQ(tracing.lines(), expected);
}

TEST_P(Iteration, AContextOutlivesItsRowAndFollowsTheLoop) {
  for (auto const& each : table.indexes()) table.add(each);
  auto const indexes = table.indexes();
  void* loop = nullptr;
  void* data = nullptr;
  info->get_first_data_point(&loop, &data, index, info);
  data = info->make_data_context(loop, info);
  table.remove(indexes[0]);
  table.remove(indexes[1]);
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &data, index, info)), indexes[2]);
  void* const copy = info->make_data_context(data, info);  // the data context stands where the loop stands
  info->free_data_context(data, info);
  data = nullptr;
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &data, index, info)), indexes[3]);
  EXPECT_EQ(data, nullptr);
  loop = (info->free_loop_context_at_end(loop, info), copy);
  EXPECT_EQ(indexOf(info->get_next_data_point(&loop, &data, index, info)), indexes[3]);
  table.clear();
  EXPECT_EQ(info->get_next_data_point(&loop, &data, index, info), nullptr);
  info->free_data_context(copy, info);
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

// Requests to the handler itself, past the helpers that would keep them from it.
class Requests {
 public:
  struct Column {
    oid number;
    void* row = nullptr;  // the data context, if the iterator has found one
    bool isProcessed = false;
  };
  explicit Requests(std::vector<Column> const& columns) : tables_(columns.size()), requests_(columns.size()) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      netsnmp_request_info& request = requests_[i];
      request.requestvb = SNMP_MALLOC_TYPEDEF(netsnmp_variable_list);
      request.requestvb->type = ASN_NULL;
      request.agent_req_info = &info_;
      request.processed = columns[i].isProcessed ? 1 : 0;
      if (i > 0) requests_[i - 1].next = &request;
      tables_[i].colnum = static_cast<unsigned>(columns[i].number);
      netsnmp_request_add_list_data(&request, netsnmp_create_data_list(TABLE_HANDLER_NAME, &tables_[i], nullptr));
      if (columns[i].row != nullptr) {
        netsnmp_request_add_list_data(&request, netsnmp_create_data_list(TABLE_ITERATOR_NAME, columns[i].row, nullptr));
      }
    }
  }
  ~Requests() {
    for (auto& request : requests_) {
      netsnmp_free_request_data_sets(&request);
      snmp_free_varbind(request.requestvb);
    }
  }
  Requests(Requests const&) = delete;
  Requests& operator=(Requests const&) = delete;

  int call(Netsnmp_Node_Handler* handler, int mode) {
    info_.mode = mode;
    return handler(nullptr, nullptr, &info_, requests_.data());
  }
  std::vector<int> types() const {
    std::vector<int> result;
    for (auto const& request : requests_) result.push_back(request.requestvb->type);
    return result;
  }
  std::vector<int> errors() const {
    std::vector<int> result;
    for (auto const& request : requests_) result.push_back(request.status);
    return result;
  }

 private:
  netsnmp_agent_request_info info_{};
  std::vector<netsnmp_table_request_info> tables_;
  std::vector<netsnmp_request_info> requests_;
};

class Handler : public Iteration {
 protected:
  void SetUp() override {
    Iteration::SetUp();
    handler = netsnmp_find_handler_by_name(&Agent::registration(table.root), table.name.c_str())->access_method;
    table.add(table.indexes()[0]);
    void* none = nullptr;
    info->get_first_data_point(&row, &none, index, info);
  }
  void TearDown() override {
    info->free_data_context(row, info);
    Iteration::TearDown();
  }

  Netsnmp_Node_Handler* handler = nullptr;
  void* row = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Tables, Handler, testing::ValuesIn(tableCases()),
                         [](auto const& each) { return each.param.name; });

TEST_P(Handler, ProcessedRequestsAreLeftAlone) {
  oid const column = table.columns.front();
  Requests requests({{column, row}, {column, row, true}, {column, row}});
  Tracing const tracing;
  EXPECT_EQ(requests.call(handler, MODE_GET), SNMP_ERR_NOERROR);
  EXPECT_THAT(requests.types(), ElementsAre(testing::Ne(ASN_NULL), ASN_NULL, testing::Ne(ASN_NULL)));
  EXPECT_THAT(tracing.lines(), testing::Contains(TraceLine{2, table.name + "_handler: request PTR already processed"}));
}

TEST_P(Handler, ARequestWithoutARowEndsTheList) {
  oid const column = table.columns.front();
  Requests requests({{column, row}, {column}, {column, row}});
  Tracing const tracing;
  EXPECT_EQ(requests.call(handler, MODE_GET), SNMP_ERR_NOERROR);
  EXPECT_THAT(requests.types(), ElementsAre(testing::Ne(ASN_NULL), ASN_NULL, ASN_NULL));
  EXPECT_THAT(requests.errors(), ElementsAre(0, 0, 0));
  EXPECT_THAT(tracing.lines(), testing::Contains(TraceLine{2, table.name + "_handler: null data context in request"}));
}

TEST_P(Handler, UnknownColumns) {
  for (oid const column : {table.columns.front() - 1, table.columns.back() + 1, oid{4294967295U}}) {
    Requests requests({{column, row}, {table.columns.front(), row}});
    Tracing const tracing;
    EXPECT_EQ(requests.call(handler, MODE_GET), SNMP_ERR_NOERROR);
    EXPECT_THAT(requests.types(), ElementsAre(SNMP_NOSUCHOBJECT, ASN_NULL));
    EXPECT_THAT(tracing.handlerLines(table.name),
                ElementsAre(TraceLine{2, table.name + "_handler: request mode 160"},
                            TraceLine{0, table.name + " invalid column " + std::to_string(column)}));
  }
}

TEST_P(Handler, EveryPhaseOfASetIsRefusedAtItsFirstOpenRequest) {
  for (int mode = MODE_SET_RESERVE1; mode <= MODE_SET_UNDO; ++mode) {
    Requests requests({{1, nullptr, true}, {1}, {1}});
    Tracing const tracing;
    EXPECT_EQ(requests.call(handler, mode), SNMP_ERR_NOERROR);
    EXPECT_THAT(requests.errors(), ElementsAre(0, SNMP_ERR_NOTWRITABLE, 0));
    EXPECT_THAT(requests.types(), testing::Each(ASN_NULL));
    EXPECT_THAT(tracing.lines(), testing::Contains(TraceLine{0, table.name + " invalid column 1"}));
  }
  Requests done({{1, nullptr, true}});
  Tracing const tracing;
  EXPECT_EQ(done.call(handler, MODE_SET_FREE), SNMP_ERR_NOERROR);
  EXPECT_THAT(done.errors(), ElementsAre(0));
  EXPECT_THAT(tracing.lines(), testing::Not(testing::Contains(testing::Field(&TraceLine::level, 0U))));
}

}  // namespace
