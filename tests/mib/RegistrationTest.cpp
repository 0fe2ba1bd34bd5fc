#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <tuple>

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
  std::pair<int, void*> const cases[] = {{HANDLER_CAN_SET, models.entityMib.get()},
                                         {0, models.entityMib.get()},
                                         {0, models.sensorMib.get()},
                                         {HANDLER_CAN_SET, models.stateMib.get()},
                                         {0, models.sensorMib.get()}};
  for (std::size_t i = 0; i < tableCases().size(); ++i) {
    auto const& [name, root] = std::tie(tableCases()[i].name, tableCases()[i].root);
    auto const& registration = Agent::registration(root);
    EXPECT_EQ(registration.handlerName, name);
    EXPECT_EQ(Oid(registration.rootoid, registration.rootoid + registration.rootoid_len), root);
    EXPECT_EQ(registration.modes & HANDLER_CAN_SET, cases[i].first) << name;
    EXPECT_EQ(registration.priority, DEFAULT_MIB_PRIORITY);
    EXPECT_EQ(registration.my_reg_void, cases[i].second);
    auto* const iterator = netsnmp_find_handler_by_name(&Agent::registration(root), "table_iterator");
    EXPECT_EQ(static_cast<netsnmp_iterator_info*>(iterator->myvoid)->flags, NETSNMP_ITERATOR_FLAG_SORTED);
    std::vector<std::string> chain;
    for (auto const* each = registration.handler; each != nullptr; each = each->next)
      chain.emplace_back(each->handler_name);
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
  entityMib->lastChangeTimeIs(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(agent.get({lastChangeTime + Oid{0}}).error, SNMP_ERR_GENERR);
  entityMib->lastChangeTimeIs(0.0);
}

// In a process of its own, whose agent finds something else, or nothing, where the model entities should be.
class Death : public testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void walk(std::size_t table) {
    auto const root = Zef::make<Zef::Dir>("Vorlin");
    auto const snmp = Zef::make<Zef::Dir>("snmp");
    auto const fru = Zef::make<Zef::Dir>("fru");
    root->entityIs(snmp);
    snmp->entityIs(fru);
    fru->entityIs(Orvane::orvaneStateMibFactory("entitymib"));
    Agent agent(root);
    agent.walk(tableCases()[table].root);
  }
};

TEST_F(Death, AWalkWithoutTheModelEntityEndsTheProcess) {
  for (std::size_t i = 0; i < tableCases().size(); ++i) {
    EXPECT_DEATH(walk(i), "!\"" + tableCases()[i].name +
                              "_get_first_data_point - entity /vx/Vorlin/snmp/.*mib is not .*of type Orvane::Orvane");
  }
}

TEST_F(Death, ATableIsRegisteredOnce) {
  auto const registerAgain = [] {
    Agent::instance();
    initialize_table_entStateTable();
  };
  EXPECT_DEATH(registerAgain(), "result == 0");
}

}  // namespace
