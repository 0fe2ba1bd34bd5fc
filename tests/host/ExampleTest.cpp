// The examples and the chassis that make-chassis writes are served as they stand, and what belongs together in them
// finds each other by name.

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/fru/Fru.h"
#include "sm/States.h"
#include "tests/host/Described.h"

namespace {

using nlohmann::json;
using C = Orvane::Constants;

// The output of a command, which the tests run at the root of the sources, and its end.
std::pair<std::string, int> run(std::string const& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  std::array<char, 65536> part{};
  while (std::size_t const size = std::fread(part.data(), 1, part.size(), pipe)) output.append(part.data(), size);
  int const status = pclose(pipe);
  return {output, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

std::vector<std::string> sources() {
  std::vector<std::string> all{
      "examples/make-chassis",
      "examples/make-chassis --supervisors 1 --slots 1 --fabric-cards 0 --ports 1 --transceivers 1 --lanes 1 --sensors "
      "1 "
      "--chips 1 --fan-trays 1 --fans 1 --supplies 1",
      "examples/make-chassis --slots 8 --line-cards 2 --ports 4 --transceivers 0 --sensors 0 --chips 0 --fan-trays 0 "
      "--supplies 0",
      "examples/make-chassis --slots 60 --fabric-cards 2 --ports 2 --lanes 2",
      "examples/make-chassis --slots 1 --fabric-cards 0 --ports 512 --transceivers 1% --lanes 16 --sensors 1024 "
      "--chips 512 --fan-trays 64 --fans 32 --supplies 32",
  };
  for (auto const& entry : std::filesystem::directory_iterator("examples")) {
    if (entry.path().extension() == ".json") all.push_back("cat " + entry.path().string());
  }
  return all;
}

class Example : public testing::TestWithParam<std::string> {};

TEST_P(Example, EveryPartHasItsRecordsAndEveryRecordItsPart) {
  auto const [described, status] = run(GetParam());
  ASSERT_EQ(status, 0);
  Host::Bootstrap system;
  ASSERT_EQ(system.publish(*read(described)), "");
  Orvane::Root const& root = *system.root();
  unsigned slots = 0;
  for (auto at = root.entityMib()->physicalEntityIteratorConst(); at; ++at) {
    EXPECT_FALSE(at->phyAttr() && at->description().empty()) << at->componentName();
    slots += at->tag() == "XcvrSlot";
    if (at->tag() != "Supervisor") continue;
    // One stands in the slot that the software runs in, and the other one waits.
    bool const isOurs = root.entityMib()->physicalEntity(at->containedIn())->relPos() == Fru::slotId();
    EXPECT_EQ(root.stateMib()->stateEntity(at->index())->standbyStatus(),
              isOurs ? C::standbyStatusProvidingService : C::standbyStatusHotStandby);
  }
  for (auto at = root.stateMib()->stateEntityIteratorConst(); at; ++at) {
    EXPECT_NE(at->operState(), C::operStateUnknown) << at->index();
  }
  for (auto at = root.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    EXPECT_NE(at->operStatus(), C::sensorOperStatusUnavailable) << at->index();
    bool const hasLimits = at->sensorType() == 8 || dynamic_cast<Orvane::DomSensor const*>(at.ptr().get()) != nullptr;
    EXPECT_EQ(at->highCritThreshold() != C::defaultHighThreshold, hasLimits) << at->index();
  }

  auto const content = json::parse(described);
  auto const records = [&](char const* input, char const* collection, auto const& means) {
    auto const all = content.value(json::json_pointer(std::string("/") + input + "/" + collection), json::object());
    for (auto const& [name, record] : all.items()) {
      EXPECT_TRUE(means(Zef::String8(name.c_str()), record)) << name;
    }
    return all.size();
  };
  auto const component = [&](Zef::String8 const& name, auto const&) { return static_cast<bool>(root.component(name)); };
  EXPECT_EQ(records("tempStatus", "tempSensor", component), records("tempConfig", "tempSensor", component));
  EXPECT_EQ(records("powerStatus", "voltageSensor", component), records("powerConfig", "voltageSensor", component));
  EXPECT_EQ(records("intfStatusDir", "intfStatus", component), records("intfConfigDir", "intfConfig", component));
  records("powerStatus", "currentSensor", component);
  records("coolingStatus", "fan", component);
  records("powerStatus", "powerSupply",
          [&](auto const& name, auto const&) { return root.component(Orvane::supplyComponent(name)); });
  records("cardStatus", "cardStatus", [&](auto const& name, auto const&) { return root.card(name); });
  // A cage has a status, whether or not a transceiver is in.
  EXPECT_EQ(slots, records("xcvrStatusDir", "xcvrStatus", [&](auto const& name, auto const& record) {
              EXPECT_EQ(record["xcvrConfig"], (json{"xcvrConfigDir", "xcvrConfig", name.charPtr()}));
              return (record["presence"] == "present") == static_cast<bool>(root.xcvr(name));
            }));
  EXPECT_EQ(slots, records("xcvrConfigDir", "xcvrConfig", [](auto const&, auto const&) { return true; }));
}

INSTANTIATE_TEST_SUITE_P(Described, Example, testing::ValuesIn(sources()));

TEST(MakeChassis, RefusesWhatNoChassisHolds) {
  for (auto const& [arguments, reason] : {
           std::pair("--ports 513", "argument --ports: 513 is outside 1 to 512"),
           std::pair("--ports many", "argument --ports: a whole number is needed, not 'many'"),
           std::pair("--transceivers 101%", "argument --transceivers: 101 is outside 0 to 100"),
           std::pair("--ports 8 --transceivers 9", "9 transceivers do not fit into 8 ports"),
           std::pair("--slots 2 --line-cards 3", "3 line cards do not fit into 2 slots"),
           std::pair("--slots 60",
                     "2 supervisors, 60 line card slots and 3 fabric cards need 65 card slots; a chassis has 64"),
       }) {
    auto const [said, status] = run(std::string("examples/make-chassis ") + arguments + " 2>&1");
    EXPECT_EQ(status, 2) << arguments;
    EXPECT_THAT(said, testing::EndsWith(std::string("make-chassis: error: ") + reason + "\n"));
  }
}

}  // namespace
