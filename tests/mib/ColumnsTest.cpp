#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <stdexcept>

#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "tests/mib/Tables.h"

// What each column answers, when it cannot, and what a SET gets.

namespace {

using testing::ElementsAre;

Oid const physicalEntry = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1};
Oid const containsEntry = {1, 3, 6, 1, 2, 1, 47, 1, 3, 3, 1};
Oid const sensorEntry = {1, 3, 6, 1, 2, 1, 99, 1, 1, 1};
Oid const stateEntry = {1, 3, 6, 1, 2, 1, 131, 1, 1, 1};
Oid const thresholdEntry = {1, 3, 6, 1, 4, 1, 59871, 3, 12, 1, 1, 1};

std::string octets(std::initializer_list<int> bytes) {
  std::string result;
  for (int const byte : bytes) result += static_cast<char>(byte);
  return result;
}
std::string const unknownDate(11, '\0');

class Columns : public testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }
  void clear() {
    for (auto const& table : tableCases()) table.clear();
  }

  // All columns of a row, from the first on.
  void expectRow(Oid const& entry, oid first, Oid const& index,
                 std::vector<std::pair<int, std::string>> const& expected) {
    std::vector<Oid> names;
    std::vector<Answer> answers;
    for (auto const& [type, value] : expected) {
      names.push_back(entry + Oid{first++} + index);
      answers.push_back({names.back(), type, value});
    }
    EXPECT_EQ(agent.get(names).answers, answers);
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
  auto const row = models.entityMib->physicalEntityIs(1);
  row->descriptionIs("not this one");
  row->containedInIs(650000001);
  row->physicalClassIs(3);
  row->relPosIs(9);
  row->consoleNameIs("name");
  row->aliasIs("alias");
  row->phyAttrIs(fixedSystem());
  expectRow(physicalEntry, 2, {1},
            {{ASN_OCTET_STR, "48-port switch"},
             {ASN_OBJECT_ID, "0.0"},
             {ASN_INTEGER, "650000001"},
             {ASN_INTEGER, "3"},
             {ASN_INTEGER, "9"},
             {ASN_OCTET_STR, "name"},
             {ASN_OCTET_STR, "11.02"},
             {ASN_OCTET_STR, "f1"},
             {ASN_OCTET_STR, "s2"},
             {ASN_OCTET_STR, "KV0042"},
             {ASN_OCTET_STR, "Kelvra"},
             {ASN_OCTET_STR, "K-48"},
             {ASN_OCTET_STR, "alias"},
             {ASN_OCTET_STR, "asset 7"},
             {ASN_INTEGER, "1"},
             {ASN_OCTET_STR, unknownDate},
             {ASN_OCTET_STR, ""}});
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
  struct Case {
    Zef::Ptr<EntityMib::PhysicalEntity const> object;
    char const* description;
    char const* hardwareRev;
    char const* serialNum;
    char const* assetId;
    char const* isFru;
  };
  Case const cases[] = {
      {nullptr, "stored", "", "", "", "2"},
      {slot, "A slot", "", "", "", "2"},
      {fan, "A fan", "2", "F1", "", "2"},
      {fixed, "48-port switch", "11.02", "KV0042", "asset 7", "2"},
  };
  auto const row = models.entityMib->physicalEntityIs(5);
  row->descriptionIs("stored");
  for (auto const& [object, description, hardwareRev, serialNum, assetId, isFru] : cases) {
    row->phyAttrIs(object);
    std::vector<std::string> values;
    for (oid const column : {2U, 8U, 11U, 15U, 16U}) values.push_back(value(physicalEntry + Oid{column, 5}));
    EXPECT_THAT(values, ElementsAre(description, hardwareRev, serialNum, assetId, isFru));
    expectRow(physicalEntry, 17, {5}, {{ASN_OCTET_STR, unknownDate}, {ASN_OCTET_STR, ""}});
  }
}

TEST_F(Columns, ContainedIndex) {
  models.entityMib->containsIs({650000001, 1000000007});
  Tracing const tracing;
  expectRow(containsEntry, 1, {650000001, 1000000007}, {{ASN_INTEGER, "1000000007"}});
  EXPECT_THAT(tracing.handlerLines("entPhysicalContainsTable"),
              testing::Contains(
                  TraceLine{2,
                            "entPhysicalContainsTable_handler: request GET for column entPhysicalChildIndex, key "
                            "Value('Orvane::ContainsEntry', ** {'container': 650000001, 'containee': 1000000007})"}));
}

TEST_F(Columns, StateAsItIsMadeAndAsItIsWritten) {
  auto const state = models.stateMib->stateEntityIs(7);
  expectRow(stateEntry, 1, {7},
            {{ASN_OCTET_STR, octets({7, 178, 1, 1, 0, 0, 0, 0, '+', 0, 0})},
             {ASN_INTEGER, "1"},
             {ASN_INTEGER, "1"},
             {ASN_INTEGER, "3"},
             {ASN_OCTET_STR, octets({0x80})},
             {ASN_INTEGER, "4"}});
  state->lastChangedIs(1709210096.75);
  state->adminStateIs(4);
  state->operStateIs(3);
  state->usageStateIs(2);
  state->alarmStatusIs(0);
  state->standbyStatusIs(1);
  expectRow(stateEntry, 1, {7},
            {{ASN_OCTET_STR, octets({7, 232, 2, 29, 12, 34, 56, 7, '+', 0, 0})},
             {ASN_INTEGER, "4"},
             {ASN_INTEGER, "3"},
             {ASN_INTEGER, "2"},
             {ASN_OCTET_STR, octets({0})},
             {ASN_INTEGER, "1"}});
}

TEST_F(Columns, SensorAndItsThresholdsAreReadAtTheRequest) {
  auto const sensor = Zef::make<Orvane::TemperatureSensor>(100001);
  models.sensorMib->sensorEntityIs(sensor);
  auto const expectReading = [&](char const* value, char const* status, char const* rate) {
    expectRow(sensorEntry, 1, {100001},
              {{ASN_INTEGER, "8"},
               {ASN_INTEGER, "9"},
               {ASN_INTEGER, "1"},
               {ASN_INTEGER, value},
               {ASN_INTEGER, status},
               {ASN_OCTET_STR, "Celsius"}});
    expectRow(sensorEntry, 8, {100001}, {{ASN_GAUGE, rate}});
  };
  auto const expectThresholds = [&](char const* warning, char const* critical, char const* description) {
    expectRow(thresholdEntry, 1, {100001},
              {{ASN_INTEGER, "-1000000000"},
               {ASN_INTEGER, "-1000000000"},
               {ASN_INTEGER, warning},
               {ASN_INTEGER, critical},
               {ASN_OCTET_STR, description}});
  };
  expectReading("0", "2", "0");
  expectThresholds("1000000000", "1000000000", "No thresholds are defined");

  auto const status = Zef::make<Environment::Temperature::TempSensorStatus>("TempSensor1");
  auto const config = Zef::make<Environment::Temperature::TempSensorConfig>("TempSensor1");
  status->hwStatusIs(Environment::Temperature::TempSensorStatus::HwStatus::ok);
  status->temperatureIs(-0.5F);
  config->overheatThresholdIs(78.25);
  config->criticalThresholdIs(85.0);
  config->sensorPollIntervalIs(7.0);
  sensor->statusIs(status);
  sensor->configDataIs(config);
  expectReading("-1000000000", "1", "7000");
  expectThresholds("783", "850", "Sensor value -1000000000 is within bounds");

  status->temperatureIs(79.0F);
  expectReading("790", "1", "7000");
  expectThresholds("783", "850", "Sensor value 790 is over the high warning threshold (783)");
}

TEST_F(Columns, TimeStampOfAReadingIsTheUptimeOfTheRequest) {
  models.sensorMib->sensorEntityIs(Zef::make<Orvane::FanSensor>(1));
  netsnmp_set_agent_uptime(4711);
  auto const response = agent.get({sensorEntry + Oid{7, 1}});
  EXPECT_EQ(response.answers.at(0).type, ASN_TIMETICKS);
  long const ticks = std::stol(response.answers.at(0).value);
  EXPECT_GE(ticks, 4711);
  EXPECT_LE(ticks, static_cast<long>(netsnmp_get_agent_uptime()));
  usleep(20000);
  EXPECT_GT(std::stol(value(sensorEntry + Oid{7, 1})), ticks);
}

// A text at its limit is served; one byte more is an error and cuts nothing.
TEST_F(Columns, TextsHaveTheirLimits) {
  auto const row = models.entityMib->physicalEntityIs(1);
  auto const object = fixedSystem();
  row->phyAttrIs(object);
  auto const sensor = Zef::make<Orvane::FanSensor>(2);
  models.sensorMib->sensorEntityIs(sensor);
  struct Case {
    Oid name;
    unsigned limit;
    std::function<void(Zef::String8 const&)> set;
    std::string column;
    std::string message;
  };
  auto const physical = [&](oid column, unsigned limit, std::string const& name, std::string const& attribute,
                            std::function<void(Zef::String8 const&)> set) {
    return Case{physicalEntry + Oid{column, 1}, limit, std::move(set),
                "entPhysicalTable_handler: request GET for column " + name + ", key 1",
                "handle_entPhysicalTable - entity /<sysname>/snmp/fru/entitymib length out of range: " + attribute};
  };
  Case const cases[] = {
      physical(2, 255, "entPhysicalDescr", "description", [&](auto const& text) { object->descriptionIs(text); }),
      physical(7, 255, "entPhysicalName", "consoleName", [&](auto const& text) { row->consoleNameIs(text); }),
      physical(8, 255, "entPhysicalHardwareRev", "phyAttr", [&](auto const& text) { object->hardwareRevIs(text); }),
      physical(9, 255, "entPhysicalFirmwareRev", "phyAttr", [&](auto const& text) { object->firmwareRevIs(text); }),
      physical(10, 255, "entPhysicalSoftwareRev", "phyAttr", [&](auto const& text) { object->softwareRevIs(text); }),
      physical(11, 32, "entPhysicalSerialNum", "phyAttr", [&](auto const& text) { object->serialNumIs(text); }),
      physical(12, 255, "entPhysicalMfgName", "phyAttr", [&](auto const& text) { object->mfgNameIs(text); }),
      physical(13, 255, "entPhysicalModelName", "phyAttr", [&](auto const& text) { object->modelNameIs(text); }),
      physical(14, 32, "entPhysicalAlias", "alias", [&](auto const& text) { row->aliasIs(text); }),
      physical(15, 32, "entPhysicalAssetID", "phyAttr", [&](auto const& text) { object->assetIdIs(text); }),
      {sensorEntry + Oid{6, 2}, 255, [&](auto const& text) { sensor->unitsDisplayIs(text); },
       "entPhySensorTable_handler: request GET for column entPhySensorUnitsDisplay, key 2",
       "handle_entPhySensorTable - entity /<sysname>/snmp/sensor/entitysensormib length out of range: unitsDisplay"},
  };
  for (auto const& [name, limit, set, column, message] : cases) {
    std::string const longest(limit, 'x');
    set(longest.c_str());
    EXPECT_EQ(value(name), longest) << column;

    set((longest + "y").c_str());
    Tracing const tracing;
    auto const response = agent.get({{1, 3, 6, 1, 2, 1, 47, 1, 4, 1, 0}, name});
    EXPECT_EQ(response.error, SNMP_ERR_GENERR) << column;
    EXPECT_EQ(response.errorIndex, 2) << column;
    std::string const table = column.substr(0, column.find('_'));
    EXPECT_THAT(tracing.handlerLines(table),
                ElementsAre(TraceLine{2, table + "_handler: request mode 160"}, TraceLine{2, column},
                            TraceLine{2, message + " (" + std::to_string(limit + 1) + ")"}));
    set("");
    EXPECT_EQ(value(name), "") << column;
  }
}

// Times that have no wire form; nothing else can fail to convert.
TEST_F(Columns, ValuesWithoutAWireForm) {
  models.stateMib->stateEntityIs(3)->lastChangedIs(std::numeric_limits<double>::quiet_NaN());
  Tracing const tracing;
  EXPECT_EQ(agent.get({stateEntry + Oid{1, 3}}).error, SNMP_ERR_GENERR);
  EXPECT_THAT(
      tracing.handlerLines("entStateTable"),
      testing::Contains(TraceLine{2, "handle_entStateTable - SecondsToAsnDateAndTime failed for: lastChanged"}));
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
  Tracing const tracing;
  auto const response = agent.get({sensorEntry + Oid{5, 8}, sensorEntry + Oid{4, 8}});
  EXPECT_EQ(response.error, SNMP_ERR_GENERR);
  EXPECT_EQ(response.errorIndex, 2);
  EXPECT_THAT(tracing.lines(), testing::Contains(TraceLine{0, "entPhySensorTable - broken sensor"}));
}

TEST_F(Columns, NothingCanBeSet) {
  models.entityMib->physicalEntityIs(1);
  models.stateMib->stateEntityIs(1);
  struct Case {
    char const* table;
    Oid entry;
    oid first;
    oid last;
    std::vector<std::pair<oid, std::string>> writable;
  };
  Case const cases[] = {
      {"entPhysicalTable",
       physicalEntry,
       2,
       18,
       {{11, "entPhysicalSerialNum"}, {14, "entPhysicalAlias"}, {15, "entPhysicalAssetID"}, {18, "entPhysicalUris"}}},
      {"entStateTable", stateEntry, 1, 6, {{2, "entStateAdmin"}}},
  };
  for (auto const& [table, entry, first, last, writable] : cases) {
    auto const before = agent.walk(entry);
    for (oid column = first; column <= last; ++column) {
      std::string refusal = std::string(table) + " invalid column " + std::to_string(column);
      unsigned level = 0;
      for (auto const& [number, name] : writable) {
        if (number != column) continue;
        refusal = std::string(table) + "_handler: SET is not configured for column " + name;
        level = 2;
      }
      Tracing const tracing;
      auto const response = agent.set(entry + Oid{column, 1}, ASN_OCTET_STR, "changed");
      EXPECT_EQ(response.error, SNMP_ERR_NOTWRITABLE);
      EXPECT_EQ(response.errorIndex, 1);
      EXPECT_THAT(tracing.lines(), testing::Contains(TraceLine{level, refusal}));
    }
    EXPECT_EQ(agent.walk(entry), before);
  }
  models.sensorMib->sensorEntityIs(Zef::make<Orvane::FanSensor>(5));
  models.entityMib->containsIs({1, 2});
  for (Oid const& name : {sensorEntry + Oid{4, 5}, thresholdEntry + Oid{1, 5}, containsEntry + Oid{1, 1, 2}}) {
    EXPECT_EQ(agent.set(name, ASN_OCTET_STR, "x").error, SNMP_ERR_NOTWRITABLE);
  }
}

}  // namespace
