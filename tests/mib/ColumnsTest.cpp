// What each column answers, when it cannot, and what a SET gets.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <stdexcept>

#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "tests/mib/Tables.h"

namespace {

using testing::Contains;
using testing::HasSubstr;

Oid const physicalEntry = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1};
Oid const containsEntry = {1, 3, 6, 1, 2, 1, 47, 1, 3, 3, 1};
Oid const sensorEntry = {1, 3, 6, 1, 2, 1, 99, 1, 1, 1};
Oid const stateEntry = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1};
Oid const thresholdEntry = {1, 3, 6, 1, 4, 1, 59871, 3, 12, 1, 1, 1};

// An INTEGER as its number, a string in quotes, or in hexadecimal where it is no text, and all else with its type.
std::string inWords(Answer const& answer) {
  if (answer.type == ASN_INTEGER) return answer.value;
  if (answer.type != ASN_OCTET_STR) return std::to_string(answer.type) + ":" + answer.value;
  if (std::all_of(answer.value.begin(), answer.value.end(), [](unsigned char each) { return std::isprint(each); }))
    return "'" + answer.value + "'";
  std::string hex;
  for (unsigned char const byte : answer.value) hex += Zef::format("%02x", byte).charPtr();
  return hex;
}

class Columns : public testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }
  void clear() {
    for (auto const& table : tableCases()) table.clear();
  }

  // Columns of a row.
  std::string row(Oid const& entry, std::vector<oid> const& columns, Oid const& index) {
    std::vector<Oid> names;
    for (oid const column : columns) names.push_back(entry + Oid{column} + index);
    std::string words;
    auto const answers = agent.get(names).answers;
    for (auto const& answer : answers) words += (words.empty() ? "" : " ") + inWords(answer);
    return words;
  }
  std::string value(Oid const& name) { return agent.get({name}).answers.at(0).value; }

  Models& models = Models::instance();
  Agent& agent = Agent::instance();
};

Zef::Ptr<EntityMib::FixedSystem> fixedSystem() {
  auto system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
  system->descriptionIs("48-port switch");
  system->hardwareRevIs("11.02");
  system->firmwareRevIs("f1");
  system->softwareRevIs("s2");
  system->serialNumIs("KV0042");
  system->mfgNameIs("Kelvra");
  system->modelNameIs("K-48");
  system->assetIdIs("asset 7");
  system->mfgDateIs("2020-02-02");
  system->swappabilityIs(EntityMib::Fru::Swappability::hotSwappable);
  return system;
}

TEST_F(Columns, PhysicalRowOfAReplaceableUnit) {
  auto const unit = models.entityMib->physicalEntityIs(1);
  unit->descriptionIs("not this one");
  unit->containedInIs(650000001);
  unit->physicalClassIs(3);
  unit->relPosIs(9);
  unit->consoleNameIs("name");
  unit->aliasIs("alias");
  unit->phyAttrIs(fixedSystem());
  EXPECT_EQ(row(physicalEntry, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18}, {1}),
            "'48-port switch' 6:0.0 650000001 3 9 'name' '11.02' 'f1' 's2' 'KV0042' 'Kelvra' 'K-48' 'alias' 'asset 7' "
            "1 0000000000000000000000 ''");
}

// A row without an object, one whose object is no hardware, hardware that is no unit, and a unit that cannot be
// swapped.
TEST_F(Columns, PhysicalRowsByTheTypeOfTheirObject) {
  auto const fan = Zef::make<EntityMib::Fan>("fan");
  fan->descriptionIs("A fan");
  fan->serialNumIs("F1");
  fan->hardwareRevIs("2");
  auto const fixed = fixedSystem();
  fixed->swappabilityIs(EntityMib::Fru::Swappability::notSwappable);
  auto const slot = Zef::make<EntityMib::FanTraySlot>("slot");
  slot->descriptionIs("A slot");
  struct {
    Zef::Ptr<EntityMib::PhysicalEntity const> object;
    char const* shown;
  } const cases[] = {
      {nullptr, "'stored' '' '' '' 2 0000000000000000000000 ''"},
      {slot, "'A slot' '' '' '' 2 0000000000000000000000 ''"},
      {fan, "'A fan' '2' 'F1' '' 2 0000000000000000000000 ''"},
      {fixed, "'48-port switch' '11.02' 'KV0042' 'asset 7' 2 0000000000000000000000 ''"},
  };
  auto const part = models.entityMib->physicalEntityIs(5);
  part->descriptionIs("stored");
  for (auto const& [object, shown] : cases) {
    part->phyAttrIs(object);
    EXPECT_EQ(row(physicalEntry, {2, 8, 11, 15, 16, 17, 18}, {5}), shown);
  }
}

TEST_F(Columns, ContainedIndex) {
  models.entityMib->containsIs({650000001, 1000000007});
  EXPECT_EQ(row(containsEntry, {1}, {650000001, 1000000007}), "1000000007");
}

TEST_F(Columns, StateAsItIsMadeAndAsItIsWritten) {
  auto const state = models.stateMib->stateEntityIs(7);
  EXPECT_EQ(row(stateEntry, {1, 2, 3, 4, 5, 6}, {7}), "07b20101000000002b0000 1 1 3 80 4");
  state->lastChangedIs(1709210096.75);
  state->adminStateIs(4);
  state->operStateIs(3);
  state->usageStateIs(2);
  state->alarmStatusIs(0);
  state->standbyStatusIs(1);
  EXPECT_EQ(row(stateEntry, {1, 2, 3, 4, 5, 6}, {7}), "07e8021d0c2238072b0000 4 3 2 00 1");
}

TEST_F(Columns, SensorAndItsThresholdsAreReadAtTheRequest) {
  auto const sensor = Zef::make<Orvane::TemperatureSensor>(100001);
  models.sensorMib->sensorEntityIs(sensor);
  auto const reading = [&] { return row(sensorEntry, {1, 2, 3, 4, 5, 6, 8}, {100001}); };
  auto const thresholds = [&] { return row(thresholdEntry, {1, 2, 3, 4, 5}, {100001}); };
  EXPECT_EQ(reading(), "8 9 1 0 2 'Celsius' 66:0");
  EXPECT_EQ(thresholds(), "-1000000000 -1000000000 1000000000 1000000000 'No thresholds are defined'");

  auto const status = Zef::make<Environment::Temperature::TempSensorStatus>("TempSensor1");
  auto const config = Zef::make<Environment::Temperature::TempSensorConfig>("TempSensor1");
  status->hwStatusIs(Environment::Temperature::TempSensorStatus::HwStatus::ok);
  status->temperatureIs(-0.5F);
  config->overheatThresholdIs(78.25);
  config->criticalThresholdIs(85.0);
  config->sensorPollIntervalIs(7.0);
  sensor->statusIs(status);
  sensor->configDataIs(config);
  EXPECT_EQ(reading(), "8 9 1 -1000000000 1 'Celsius' 66:7000");
  EXPECT_EQ(thresholds(), "-1000000000 -1000000000 783 850 'Sensor value -1000000000 is within bounds'");

  status->temperatureIs(79.0F);
  EXPECT_EQ(reading(), "8 9 1 790 1 'Celsius' 66:7000");
  EXPECT_EQ(thresholds(),
            "-1000000000 -1000000000 783 850 'Sensor value 790 is over the high warning threshold (783)'");
}

TEST_F(Columns, TimeStampOfAReadingIsTheUptimeOfTheRequest) {
  models.sensorMib->sensorEntityIs(Zef::make<Orvane::FanSensor>(1));
  for (long const uptime : {4711L, 8000000L}) {
    netsnmp_set_agent_uptime(uptime);
    auto const answer = agent.get({sensorEntry + Oid{7, 1}}).answers.at(0);
    EXPECT_EQ(answer.type, ASN_TIMETICKS);
    EXPECT_GE(std::stol(answer.value), uptime);
    EXPECT_LE(std::stol(answer.value), static_cast<long>(netsnmp_get_agent_uptime()));
  }
}

// A text at its limit is served; one byte more is an error and cuts nothing.
TEST_F(Columns, TextsHaveTheirLimits) {
  auto const part = models.entityMib->physicalEntityIs(1);
  auto const object = fixedSystem();
  part->phyAttrIs(object);
  auto const sensor = Zef::make<Orvane::FanSensor>(1);
  models.sensorMib->sensorEntityIs(sensor);
  using Text = Zef::String8 const&;
  struct {
    Oid column;
    unsigned limit;
    char const* attribute;  // as the refusal names it
    std::function<void(Text)> set;
  } const cases[] = {
      {physicalEntry + Oid{2}, 255, "description", [&](Text text) { object->descriptionIs(text); }},
      {physicalEntry + Oid{7}, 255, "consoleName", [&](Text text) { part->consoleNameIs(text); }},
      {physicalEntry + Oid{8}, 255, "phyAttr", [&](Text text) { object->hardwareRevIs(text); }},
      {physicalEntry + Oid{9}, 255, "phyAttr", [&](Text text) { object->firmwareRevIs(text); }},
      {physicalEntry + Oid{10}, 255, "phyAttr", [&](Text text) { object->softwareRevIs(text); }},
      {physicalEntry + Oid{11}, 32, "phyAttr", [&](Text text) { object->serialNumIs(text); }},
      {physicalEntry + Oid{12}, 255, "phyAttr", [&](Text text) { object->mfgNameIs(text); }},
      {physicalEntry + Oid{13}, 255, "phyAttr", [&](Text text) { object->modelNameIs(text); }},
      {physicalEntry + Oid{14}, 32, "alias", [&](Text text) { part->aliasIs(text); }},
      {physicalEntry + Oid{15}, 32, "phyAttr", [&](Text text) { object->assetIdIs(text); }},
      {sensorEntry + Oid{6}, 255, "unitsDisplay", [&](Text text) { sensor->unitsDisplayIs(text); }},
  };
  for (auto const& [column, limit, attribute, set] : cases) {
    SCOPED_TRACE(text(column));
    Oid const name = column + Oid{1};
    std::string const longest(limit, 'x');
    set(longest.c_str());
    EXPECT_EQ(value(name), longest);
    set((longest + "y").c_str());
    Tracing tracing;
    auto const response = agent.get({{1, 3, 6, 1, 2, 1, 47, 1, 4, 1, 0}, name});
    EXPECT_EQ(response.error, SNMP_ERR_GENERR);
    EXPECT_EQ(response.errorIndex, 2);
    auto const refusal = std::string("length out of range: ") + attribute + " (" + std::to_string(limit + 1) + ")";
    EXPECT_THAT(tracing.take(), Contains(HasSubstr(refusal)));
    set("");
    EXPECT_EQ(value(name), "");
  }
}

// Times that have no wire form; nothing else can fail to convert.
TEST_F(Columns, ValuesWithoutAWireForm) {
  models.stateMib->stateEntityIs(3)->lastChangedIs(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(agent.get({stateEntry + Oid{1, 3}}).error, SNMP_ERR_GENERR);
  models.stateMib->stateEntityIs(2);
  auto const response = agent.bulk({stateEntry + Oid{1}}, 5);
  EXPECT_EQ(response.error, SNMP_ERR_GENERR);
  EXPECT_EQ(response.errorIndex, 1);
}

// A reader that throws is this process's trouble, not the agent's.
TEST_F(Columns, WhatAReaderThrowsIsAnError) {
  struct Broken : Orvane::Sensor {
    using Sensor::Sensor;
    U32 value() const override { throw std::runtime_error("broken sensor"); }
  };
  models.sensorMib->sensorEntityIs(Zef::make<Broken>(8));
  Tracing tracing;
  auto const response = agent.get({sensorEntry + Oid{5, 8}, sensorEntry + Oid{4, 8}});
  EXPECT_EQ(response.error, SNMP_ERR_GENERR);
  EXPECT_EQ(response.errorIndex, 2);
  EXPECT_THAT(tracing.take(), Contains("entPhySensorTable - broken sensor"));
}

// Columns that their modules make writable refuse in words of their own.
TEST_F(Columns, NothingCanBeSet) {
  for (auto const& table : tableCases()) {
    SCOPED_TRACE(table.name);
    table.add(table.indexes()[0]);
    Oid const name = table.root + Oid{1};
    auto const first = row(name, {table.columns[0]}, table.indexes()[0]);
    for (oid const column : table.columns) {
      auto const response = agent.set(name + Oid{column} + table.indexes()[0], ASN_OCTET_STR, "changed");
      EXPECT_EQ(response.error, SNMP_ERR_NOTWRITABLE);
      EXPECT_EQ(response.errorIndex, 1);
    }
    EXPECT_EQ(row(name, {table.columns[0]}, table.indexes()[0]), first);
  }
  auto const told = [&](Oid const& name) {
    Tracing tracing;
    agent.set(name, ASN_OCTET_STR, "changed");
    return tracing.take();
  };
  for (oid const column : {11U, 14U, 15U, 18U})
    EXPECT_THAT(told(physicalEntry + Oid{column, 1}), Contains(HasSubstr("SET is not configured for column ent")));
  EXPECT_THAT(told(physicalEntry + Oid{12, 1}), Contains("entPhysicalTable invalid column 12"));
  EXPECT_THAT(told(stateEntry + Oid{2, 1}), Contains(HasSubstr("SET is not configured for column entStateAdmin")));
}

}  // namespace
