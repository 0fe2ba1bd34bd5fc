#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/mib/Tables.h"

// The same walk over every table: each instance once, in order, whatever happens to the rows meanwhile.

namespace {

std::vector<Oid> names(std::vector<Answer> const& answers) {
  std::vector<Oid> result;
  for (auto const& answer : answers) result.push_back(answer.name);
  return result;
}

class Walk : public testing::TestWithParam<TableCase> {
 protected:
  void SetUp() override {
    for (auto const& each : tableCases()) each.clear();
    for (auto const& index : table.indexes()) table.add(index);
  }
  void TearDown() override { table.clear(); }

  // Empty at the end of everything.
  Oid next(Oid const& name) {
    auto const response = agent.next({name});
    EXPECT_EQ(response.error, SNMP_ERR_NOERROR);
    Answer const& answer = response.answers.at(0);
    return answer.type == SNMP_ENDOFMIBVIEW ? Oid() : answer.name;
  }
  // What a walk of one column gives from a name on.
  std::vector<Oid> rest(Oid at) {
    std::vector<Oid> result;
    Oid const column = table.instance(table.columns[0], {});
    while (isBelow(at = next(at), column)) result.push_back(at);
    return result;
  }
  Oid instance(std::size_t row) const { return table.instance(table.columns[0], table.indexes()[row]); }

  TableCase const& table = GetParam();
  Agent& agent = Agent::instance();
};

INSTANTIATE_TEST_SUITE_P(Tables, Walk, testing::ValuesIn(tableCases()),
                         [](auto const& each) { return each.param.name; });

TEST_P(Walk, EveryInstanceOnceInOrderAndAsGetAnswersIt) {
  std::vector<Oid> expected;
  for (oid const column : table.columns) {
    for (auto const& index : table.indexes()) expected.push_back(table.instance(column, index));
  }
  auto const answers = agent.walk(table.root);
  EXPECT_EQ(names(answers), expected);

  auto const got = agent.get(expected);
  EXPECT_EQ(got.error, SNMP_ERR_NOERROR);
  auto const bulk = agent.bulk({table.root}, static_cast<int>(expected.size()));
  ASSERT_EQ(got.answers.size(), answers.size());
  ASSERT_EQ(bulk.answers.size(), answers.size());
  Oid const timeStamp = tableCases()[2].instance(7, {});  // of a sensor's value: the time of the request
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (isBelow(expected[i], timeStamp)) continue;
    EXPECT_EQ(got.answers[i], answers[i]);
    EXPECT_EQ(bulk.answers[i], answers[i]);
  }
}

TEST_P(Walk, WhatIsNotThere) {
  oid const column = table.columns.front();
  std::pair<Oid, int> const cases[] = {
      {table.instance(column, table.hole(0)), SNMP_NOSUCHINSTANCE},
      {table.instance(column, table.indexes().back() + Oid{0}), SNMP_NOSUCHINSTANCE},
      {table.instance(column, {}), SNMP_NOSUCHINSTANCE},
      {table.instance(table.columns.back() + 1, table.indexes()[0]), SNMP_NOSUCHOBJECT},
      {table.instance(0, table.indexes()[0]), SNMP_NOSUCHOBJECT},
      {table.root + Oid{2, column} + table.indexes()[0], SNMP_NOSUCHOBJECT},
  };
  for (auto const& [name, type] : cases) {
    auto const response = agent.get({name});
    EXPECT_EQ(response.error, SNMP_ERR_NOERROR);
    EXPECT_EQ(response.answers.at(0).type, type) << text(name);
  }
}

TEST_P(Walk, NextOfAHoleAndOfOddIndexes) {
  oid const column = table.columns.front();
  auto const indexes = table.indexes();
  Oid const past = table.instance(column, Oid(table.indexParts, 4294967295U));
  Oid const following = table.columns.size() > 1 ? table.instance(table.columns[1], indexes[0]) : next(past);
  std::pair<Oid, Oid> const cases[] = {
      {table.instance(column, {}), instance(0)},
      {table.instance(column, {0}), instance(0)},
      {table.instance(column, table.hole(1)), instance(2)},
      {table.instance(column, indexes[1] + Oid{0, 9}), instance(2)},
      {table.instance(column, {indexes[4][0]}), table.indexParts == 2 ? instance(4) : following},
      {table.instance(column, indexes.back()), following},
      {table.instance(column, Oid(table.indexParts, 2147483648U)), following},
      {past, following},
      {table.instance(0, {5}), instance(0)},
      {table.root + Oid{0, 7}, instance(0)},
  };
  for (auto const& [after, expected] : cases) EXPECT_EQ(next(after), expected) << text(after);
  Oid const behind = next(table.instance(table.columns.back(), indexes.back()));
  EXPECT_FALSE(isBelow(behind, table.root)) << text(behind);
}

TEST_P(Walk, RowsComeAndGoInMidWalk) {
  auto const add = [this](std::size_t place) { table.add(table.indexes()[place]); };
  auto const remove = [this](std::size_t place) { table.remove(table.indexes()[place]); };
  struct {
    char const* what;
    std::function<void()> change;
    std::vector<std::size_t> expected;  // rows after the second
  } const cases[] = {
      {"the current row goes", [&] { remove(1); }, {2, 3, 4}},
      {"the row ahead goes", [&] { remove(2); }, {3, 4}},
      {"the row behind goes", [&] { remove(0); }, {2, 3, 4}},
      {"a row comes behind", [this] { table.add(table.hole(0)); }, {2, 3, 4}},
      {"the current row is made anew",
       [&] {
         remove(1);
         add(1);
       },
       {2, 3, 4}},
      {"all go", [this] { table.clear(); }, {}},
  };
  for (auto const& [what, change, expected] : cases) {
    table.clear();
    for (auto const& index : table.indexes()) table.add(index);
    ASSERT_EQ(next(next(table.root)), instance(1));
    change();
    std::vector<Oid> following;
    for (std::size_t const row : expected) following.push_back(instance(row));
    EXPECT_EQ(rest(instance(1)), following) << what;
  }
  for (auto const& index : table.indexes()) table.add(index);
  Oid const ahead = table.hole(3);
  table.add(ahead);
  EXPECT_THAT(rest(instance(1)),
              testing::ElementsAre(instance(2), instance(3), table.instance(table.columns[0], ahead), instance(4)));
}

// A manager that may not see all of a table sees the rest, however it asks.
TEST_P(Walk, WhatIsOutOfViewIsLeftOut) {
  auto const whole = names(agent.walk(table.root));
  for (Oid const& hidden : {instance(2), instance(4), table.instance(table.columns.front(), {}),
                            table.instance(table.columns.back(), {})}) {
    auto expected = whole;
    std::erase_if(expected, [&](Oid const& name) { return name == hidden || isBelow(name, hidden); });
    agent.hiddenIs(hidden);
    auto const walked = names(agent.walk(table.root));
    auto const bulk = names(agent.bulk({table.root}, static_cast<int>(expected.size())).answers);
    agent.hiddenIs({});
    EXPECT_EQ(walked, expected) << text(hidden);
    EXPECT_EQ(bulk, expected) << text(hidden);
  }
}

// Every sensor has a row among the thresholds, whether it is entered as one that has any or not.
TEST(Thresholds, HaveTheRowsOfTheSensors) {
  auto const sensorMib = Models::instance().sensorMib;
  sensorMib->sensorEntityIs(Zef::make<Orvane::FanSensor>(3));
  sensorMib->thresholdEntityIs(Zef::make<Orvane::FanSensor>(4));
  EXPECT_THAT(names(Agent::instance().walk(tableCases()[4].instance(1, {}))),
              testing::ElementsAre(tableCases()[4].instance(1, {3})));
  sensorMib->sensorEntityDelAll();
  sensorMib->thresholdEntityDelAll();
}

}  // namespace
