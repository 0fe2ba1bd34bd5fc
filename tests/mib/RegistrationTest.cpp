#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "mib/Modules.h"
#include "platform/agent/Registration.h"
#include "runtime/kit/System.h"
#include "tests/mib/Tables.h"

// What is registered, the scalar, and what becomes of both without their model entities.

namespace {

using testing::ElementsAre;

Oid const lastChangeTime = {1, 3, 6, 1, 2, 1, 47, 1, 4, 1};

TEST(Registration, TablesAndTheScalar) {
  auto const& models = Models::instance();
  Agent::instance();
  Snmp::AutoRegistree::initAll();  // as after a second load of the module: it changes nothing
  struct Case {
    char const* name;
    int canSet;
    void* model;
  };
  Case const cases[] = {
      {"entPhysicalTable", HANDLER_CAN_SET, models.entityMib.get()},
      {"entPhysicalContainsTable", 0, models.entityMib.get()},
      {"entPhySensorTable", 0, models.sensorMib.get()},
      {"entStateTable", HANDLER_CAN_SET, models.stateMib.get()},
      {"kelvraEntSensorThresholdTable", 0, models.sensorMib.get()},
  };
  for (std::size_t i = 0; i < tableCases().size(); ++i) {
    auto const& [name, canSet, model] = cases[i];
    Oid const& root = tableCases()[i].root;
    auto const& registration = Agent::registration(root);
    EXPECT_STREQ(registration.handlerName, name);
    EXPECT_EQ(Oid(registration.rootoid, registration.rootoid + registration.rootoid_len), root);
    EXPECT_EQ(registration.modes & HANDLER_CAN_SET, canSet) << name;
    EXPECT_EQ(registration.priority, DEFAULT_MIB_PRIORITY);
    EXPECT_EQ(registration.my_reg_void, model);
    auto* const iterator = netsnmp_find_handler_by_name(&Agent::registration(root), "table_iterator");
    EXPECT_EQ(static_cast<netsnmp_iterator_info*>(iterator->myvoid)->flags, NETSNMP_ITERATOR_FLAG_SORTED);
    std::vector<std::string> chain;
    for (auto const* handler = registration.handler; handler != nullptr; handler = handler->next) {
      chain.emplace_back(handler->handler_name);
    }
    EXPECT_THAT(chain, ElementsAre("serialize", "bulk_repeat", "bulk_to_next", "table", "table_iterator", name));
  }
  auto const& scalar = Agent::registration(lastChangeTime + Oid{0});
  EXPECT_STREQ(scalar.handlerName, "entLastChangeTime");
  EXPECT_EQ(scalar.priority, 64);
  EXPECT_EQ(scalar.modes & HANDLER_CAN_SET, 0);
  EXPECT_EQ(scalar.my_reg_void, models.entityMib.get());
}

TEST(LastChangeTime, IsUptimeOfTheLastChange) {
  auto const& entityMib = Models::instance().entityMib;
  Agent& agent = Agent::instance();
  netsnmp_set_agent_uptime(100000);
  auto const expectTicks = [&](double time, long low, long high) {
    entityMib->lastChangeTimeIs(time);
    for (auto const& response : {agent.get({lastChangeTime + Oid{0}}), agent.next({lastChangeTime})}) {
      EXPECT_EQ(response.answers.at(0).name, lastChangeTime + Oid{0});
      EXPECT_EQ(response.answers.at(0).type, ASN_TIMETICKS);
      EXPECT_GE(std::stol(response.answers.at(0).value), low);
      EXPECT_LE(std::stol(response.answers.at(0).value), high);
    }
  };
  expectTicks(0.0, 0, 0);
  double const now = Zef::System::currentTime();
  expectTicks(now, 100000, static_cast<long>(netsnmp_get_agent_uptime()));
  expectTicks(now - 500.0, 50000, static_cast<long>(netsnmp_get_agent_uptime()) - 50000);
  EXPECT_EQ(agent.get({lastChangeTime}).answers.at(0).type, SNMP_NOSUCHINSTANCE);
  EXPECT_EQ(agent.set(lastChangeTime + Oid{0}, ASN_TIMETICKS, "\1\0\0\0").error, SNMP_ERR_NOTWRITABLE);
  entityMib->lastChangeTimeIs(0.0);
}

// The handler itself, in every mode that there is.
TEST(LastChangeTime, Handler) {
  auto const& entityMib = Models::instance().entityMib;
  Agent::instance();
  struct Case {
    int mode;
    bool hasModel;
    double time;
    int result;
    long status;
    std::vector<TraceLine> lines;
  };
  std::string const handle = "handle_entLastChangeTime - ";
  TraceLine const setRefused{2, handle + "SET is not configured for entLastChangeTime"};
  TraceLine const reading{2, handle + "reading snmp/fru/entitymib->lastChangeTime()"};
  auto const returned = [&](int count) {
    return TraceLine{2, handle + "SecondsToTimeTicks returned " + std::to_string(count) +
                            "bytes for snmp/fru/entitymib->lastChangeTime()"};
  };
  std::vector<Case> cases = {
      {MODE_GET, true, 0.0, SNMP_ERR_NOERROR, SNMP_ERR_NOERROR, {reading, returned(8)}},
      {MODE_GET,
       true,
       std::numeric_limits<double>::quiet_NaN(),
       SNMP_ERR_GENERR,
       SNMP_ERR_GENERR,
       {reading, returned(-1), {2, handle + "SecondsToTimeTicks failed for: lastChangeTime"}}},
      {MODE_GET,
       false,
       0.0,
       SNMP_ERR_GENERR,
       SNMP_ERR_GENERR,
       {{2, handle + "entity /<sysname>/snmp/fru/entitymib is not of type Orvane::OrvaneEntityMib"}}},
      {MODE_GETNEXT,
       true,
       0.0,
       SNMP_ERR_GENERR,
       SNMP_ERR_GENERR,
       {{2, handle + "unknown mode from request: " + std::to_string(MODE_GETNEXT)}}},
  };
  for (int phase = 0; phase <= 5; ++phase) {
    cases.push_back({phase, true, 0.0, SNMP_ERR_NOERROR, SNMP_ERR_NOTWRITABLE, {setRefused}});
  }
  for (auto const& [mode, hasModel, time, result, status, lines] : cases) {
    entityMib->lastChangeTimeIs(time);
    netsnmp_handler_registration registration{};
    registration.my_reg_void = hasModel ? entityMib.get() : nullptr;
    netsnmp_agent_request_info info{};
    info.mode = mode;
    netsnmp_variable_list variable{};
    netsnmp_request_info request{};
    request.requestvb = &variable;
    request.agent_req_info = &info;
    Tracing const tracing;
    EXPECT_EQ(handle_entLastChangeTime(nullptr, &registration, &info, &request), result) << mode;
    EXPECT_EQ(request.status, status) << mode;
    EXPECT_EQ(tracing.lines(), lines) << mode;
    EXPECT_EQ(variable.type, result == SNMP_ERR_NOERROR && status == SNMP_ERR_NOERROR ? ASN_TIMETICKS : 0);
  }
  entityMib->lastChangeTimeIs(0.0);
}

// Each runs in a process of its own, whose agent finds something else, or nothing, where the model entities should be.
class Death : public testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void walk(std::size_t table) {
    Agent agent(rootWith("fru", Orvane::orvaneStateMibFactory("entitymib")));
    agent.walk(tableCases()[table].root);
  }
};

TEST_F(Death, AWalkWithoutTheModelEntityEndsTheProcess) {
  struct Case {
    std::string path;
    std::string type;
  };
  Case const cases[] = {
      {"fru/entitymib", "EntityMib"},          {"fru/entitymib", "EntityMib"},
      {"sensor/entitysensormib", "SensorMib"}, {"state/entitystatemib", "StateMib"},
      {"sensor/entitysensormib", "SensorMib"},
  };
  for (std::size_t i = 0; i < tableCases().size(); ++i) {
    std::string const text = "!\"" + tableCases()[i].name + "_get_first_data_point - entity /vx/Vorlin/snmp/" +
                             cases[i].path + " is not \" \"of type Orvane::Orvane" + cases[i].type + "\"";
    EXPECT_DEATH(walk(i), testing::HasSubstr(text));
  }
}

TEST_F(Death, TheScalarWithoutItsModelEntityIsAnError) {
  auto const get = [] {
    Agent agent(rootWith("fru", Orvane::orvaneStateMibFactory("entitymib")));
    std::_Exit(static_cast<int>(agent.get({lastChangeTime + Oid{0}}).error));
  };
  EXPECT_EXIT(get(), testing::ExitedWithCode(SNMP_ERR_GENERR), "");
}

TEST_F(Death, ATableIsRegisteredOnce) {
  auto const registerAgain = [] {
    Agent::instance();
    initialize_table_entStateTable();
  };
  EXPECT_DEATH(registerAgain(), "result == 0");
}

TEST_F(Death, RegistrationIsTold) {
  std::vector<std::string> const modules = {"EntityMib", "entitySensorMIB", "entityStateMIB", "kelvraEntSensorMIB"};
  auto const load = [&] {
    for (auto const& module : modules) debug_register_tokens(module.c_str());
    snmp_set_do_debugging(1);
    std::vector<TraceLine> lines;
    {
      Tracing const tracing;
      Agent::instance();
      lines = tracing.lines();
    }
    std::vector<TraceLine> expected = {{1, "init_EntityMib initializing oid .1.3.6.1.2.1.47.1.4.1"}};
    for (auto const& table : tableCases()) {
      expected.push_back({1, "initialize_table_" + table.name + " initializing oid ." + text(table.root)});
      expected.push_back({8, "Initialized table " + table.name + " "});
    }
    EXPECT_THAT(lines, testing::UnorderedElementsAreArray(expected));
    std::_Exit(HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(load(), testing::ExitedWithCode(0),
              testing::AllOf(testing::HasSubstr(modules[0] + ": Initializing\n"),
                             testing::HasSubstr(modules[1] + ": Initializing\n"),
                             testing::HasSubstr(modules[2] + ": Initializing\n"),
                             testing::HasSubstr(modules[3] + ": Initializing\n")));
}

}  // namespace
