// The examples and the chassis that make-chassis writes are read as they stand, and what belongs together in them finds
// each other by name.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

#include "model/Constants.h"
#include "model/input/Election.h"
#include "model/input/Hardware.h"
#include "model/input/Helper.h"
#include "platform/fru/Fru.h"
#include "runtime/reflection/Type.h"
#include "tests/host/Described.h"

namespace {

using Zef::Ptr;
using Zef::String8;

std::filesystem::path folder() { return "examples"; }  // the tests run at the root of the sources

struct Finished {
  std::string output;
  int status;
};

Finished run(std::string const& command) {
  Finished finished{{}, -1};
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return finished;
  std::array<char, 65536> part{};
  while (std::size_t const size = std::fread(part.data(), 1, part.size(), pipe))
    finished.output.append(part.data(), size);
  int const status = pclose(pipe);
  if (WIFEXITED(status)) finished.status = WEXITSTATUS(status);
  return finished;
}

std::string makeChassis(std::string const& arguments) {
  return "'" + (folder() / "make-chassis").string() + "' " + arguments;
}

// A described switch: the command prints it.
struct Source {
  std::string name;
  std::string command;
};

void PrintTo(Source const& source, std::ostream* stream) { *stream << source.command; }

std::vector<Source> sources() {
  std::vector<Source> all{
      {"a_chassis", makeChassis("")},
      {"smallest_chassis",
       makeChassis("--supervisors 1 --slots 1 --fabric-cards 0 --ports 1 --transceivers 1 --lanes 1 "
                   "--sensors 1 --chips 1 --fan-trays 1 --fans 1 --supplies 1")},
      {"bare_chassis", makeChassis("--slots 8 --line-cards 2 --ports 4 --transceivers 0 --sensors 0 --chips 0 "
                                   "--fan-trays 0 --supplies 0")},
      {"chassis_full_of_cards", makeChassis("--slots 60 --fabric-cards 2 --ports 2 --lanes 2")},
      {"chassis_full_of_parts", makeChassis("--slots 1 --fabric-cards 0 --ports 512 --transceivers 1% --lanes 16 "
                                            "--sensors 1024 --chips 512 --fan-trays 64 --fans 32 --supplies 32")},
  };
  for (auto const& entry : std::filesystem::directory_iterator(folder())) {
    if (entry.path().extension() != ".json") continue;
    std::string name = entry.path().stem();
    std::replace(name.begin(), name.end(), '-', '_');
    all.push_back({name, "cat '" + entry.path().string() + "'"});
  }
  return all;
}

class Example : public testing::TestWithParam<Source> {
 protected:
  void SetUp() override {
    Finished const printed = run(GetParam().command);
    ASSERT_EQ(printed.status, 0);
    inputs_ = read(printed.output);
    for (auto const& entity : inputs_->entities()) collect(*entity);
  }

  // The parts with that tag, by component name.
  std::map<std::string, Ptr<EntityMib::PhysicalEntity const>> tagged(std::string const& tag) const {
    std::map<std::string, Ptr<EntityMib::PhysicalEntity const>> found;
    for (auto const& [name, part] : parts_) {
      if (part->tag().view() == tag) found.emplace(name, part);
    }
    return found;
  }

  // The names of the members of a collection of an input.
  std::set<std::string> names(char const* input, char const* collection) const {
    std::set<std::string> found;
    Ptr<Zef::Entity> const entity = inputs_->entity(input);
    for (String8 const& key : entity->fwkType()->attr(Zef::Name(collection))->keys(*entity)) {
      found.insert(std::string(key.view()));
    }
    return found;
  }

  static std::set<std::string> namesOf(std::map<std::string, Ptr<EntityMib::PhysicalEntity const>> const& parts) {
    std::set<std::string> found;
    for (auto const& [name, part] : parts) found.insert(name);
    return found;
  }

  Ptr<Zef::Dir> inputs_;
  std::map<std::string, Ptr<EntityMib::PhysicalEntity const>> parts_;
  std::set<U32> indexes_;

 private:
  void collect(Zef::Entity const& entity) {
    if (auto const* part = dynamic_cast<EntityMib::PhysicalEntity const*>(&entity)) {
      std::string const name(Zef::make<EntityMib::Helper>()->componentName(part).view());
      EXPECT_TRUE(parts_.emplace(name, part).second) << name << " stands for two parts";
      EXPECT_TRUE(indexes_.insert(part->physicalIndex().value()).second) << name;
      EXPECT_FALSE(part->description().empty()) << name;
    }
    Zef::forEachChild(entity, [this](Zef::PtrInterface& child, Zef::ZefAttr const&, String8 const&) {
      if (auto* const below = dynamic_cast<Zef::Entity*>(&child)) collect(*below);
    });
  }
};

TEST_P(Example, EverySensorHasItsReadingAndEveryReadingItsSensor) {
  EXPECT_GT(parts_.size(), 20U);
  EXPECT_EQ(names("tempStatus", "tempSensor"), namesOf(tagged("TempSensor")));
  EXPECT_EQ(names("tempConfig", "tempSensor"), namesOf(tagged("TempSensor")));
  EXPECT_EQ(names("powerStatus", "voltageSensor"), namesOf(tagged("VoltageSensor")));
  EXPECT_EQ(names("powerConfig", "voltageSensor"), namesOf(tagged("VoltageSensor")));
  EXPECT_EQ(names("powerStatus", "currentSensor"), namesOf(tagged("CurrentSensor")));
  EXPECT_EQ(names("coolingStatus", "fan"), namesOf(tagged("Fan")));
  auto const fanSensors = tagged("FanSensor");
  for (std::string const& fan : names("coolingStatus", "fan")) {
    EXPECT_TRUE(fanSensors.contains("FanSensor" + fan.substr(3))) << fan;
  }
}

TEST_P(Example, SuppliesPortsAndTransceiversHaveTheirStatus) {
  std::set<std::string> supplies;  // supply 1 stands in slot P1
  for (std::string const& name : names("powerStatus", "powerSupply")) {
    std::string const number = name.substr(sizeof "PowerSupply" - 1);
    supplies.insert(std::string("PowerSupplyP").append(number).append("/").append(number));
  }
  EXPECT_EQ(supplies, namesOf(tagged("PowerSupply")));

  std::set<std::string> ports = namesOf(tagged("Ethernet"));
  ports.merge(namesOf(tagged("Management")));
  EXPECT_EQ(names("intfStatusDir", "intfStatus"), ports);
  EXPECT_EQ(names("intfConfigDir", "intfConfig"), ports);

  std::set<std::string> served;  // slot 5 serves port 5
  std::set<std::string> plugged;
  for (auto const& [name, part] : tagged("XcvrSlot")) {
    std::string const port = "Ethernet" + name.substr(sizeof "XcvrSlot" - 1);
    served.insert(port);
    EntityMib::XcvrSlot const& slot = dynamic_cast<EntityMib::XcvrSlot const&>(*part);
    if (!slot.xcvr()) continue;
    plugged.insert(port);
    EXPECT_EQ(slot.xcvr()->alias().view(), port);
  }
  EXPECT_EQ(names("xcvrStatusDir", "xcvrStatus"), served);
  EXPECT_EQ(names("xcvrConfigDir", "xcvrConfig"), served);
  auto const dir = Zef::dynamicCast<Xcvr::AllStatusDir>(inputs_->entity("xcvrStatusDir"));
  auto const configs = Zef::dynamicCast<Xcvr::AllConfigDir>(inputs_->entity("xcvrConfigDir"));
  for (std::string const& port : served) {
    auto const status = dir->xcvrStatus(Zef::Name(port.c_str()));
    EXPECT_EQ(status->presence() == Xcvr::XcvrStatus::Presence::present, plugged.contains(port)) << port;
    EXPECT_TRUE(status->xcvrConfig() == configs->xcvrConfig(Zef::Name(port.c_str()))) << port;
  }
  Orvane::Constants const& constants = *Orvane::constantsFactory();
  for (auto const& [name, part] : parts_) {
    if (!part->tag().view().starts_with("Dom")) continue;
    Ptr<Xcvr::XcvrStatus> const status =
        dir->xcvrStatus(constants.xcvrNameFromSensorName(String8(std::string_view(name)), part->label()));
    ASSERT_TRUE(status) << name;
    EXPECT_TRUE(status->domInfoValid(constants.laneIdFromSensorLabel(part->label()))) << name;
    EXPECT_TRUE(status->domThresholdValid()) << name;
  }
}

TEST_P(Example, CardsHaveTheirStateAndTheElectionFindsTheSupervisors) {
  Orvane::Constants const& constants = *Orvane::constantsFactory();
  std::set<std::string> cards;
  for (auto const& [name, part] : parts_) {
    if (part->fwkType() == EntityMib::Card::_fwkType()) cards.insert(std::string(constants.cardName(part).view()));
  }
  EXPECT_EQ(names("cardStatus", "cardStatus"), cards);

  using Election::RedundancyMode;
  using CardState = Hardware::Card::CardStatus::CardState;
  auto const supervisors = tagged("Supervisor");
  auto const election = at<Election::Status>(inputs_, {"redundancy", "election"});
  ASSERT_EQ(election != nullptr, !supervisors.empty());
  if (!election) return;
  EXPECT_EQ(election->redundancyMode(), RedundancyMode::active);
  EXPECT_EQ(election->peerState() == Election::PeerState::present, supervisors.size() == 2);
  EXPECT_EQ(election->peerRedundancyMode() == RedundancyMode::standby, supervisors.size() == 2);

  auto const states = Zef::dynamicCast<Hardware::Card::Status>(inputs_->entity("cardStatus"));
  for (auto const& [name, part] : supervisors) {
    // A supervisor knows its own card by the number of the slot that it runs in.
    auto const slot = Zef::dynamicCast<EntityMib::CardSlot const>(Ptr<Zef::Entity const>(part->parent()));
    ASSERT_TRUE(slot) << name;
    unsigned const number = slot->parentIndex().value();
    std::string const card = "Supervisor" + std::to_string(number);
    EXPECT_EQ(constants.cardName(part).view(), card);
    EXPECT_EQ(states->cardStatus(Zef::Name(card.c_str()))->state(),
              number == Fru::slotId() ? CardState::ok : CardState::okStandby);
  }
}

std::string nameOf(testing::TestParamInfo<Source> const& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Described, Example, testing::ValuesIn(sources()), nameOf);

TEST(MakeChassis, RefusesWhatNoChassisHolds) {
  struct Refusal {
    char const* arguments;
    char const* reason;
  };
  for (auto const& [arguments, reason] : std::initializer_list<Refusal>{
           {"--supervisors 3", "argument --supervisors: 3 is outside 1 to 2"},
           {"--slots 0", "argument --slots: 0 is outside 1 to 63"},
           {"--slots 60", "2 supervisors, 60 line card slots and 3 fabric cards need 65 card slots; a chassis has 64"},
           {"--slots 2 --line-cards 3", "3 line cards do not fit into 2 slots"},
           {"--ports 513", "argument --ports: 513 is outside 1 to 512"},
           {"--ports many", "argument --ports: a whole number is needed, not 'many'"},
           {"--ports 8 --transceivers 9", "9 transceivers do not fit into 8 ports"},
           {"--transceivers 101%", "argument --transceivers: 101 is outside 0 to 100"},
           {"--lanes 17", "argument --lanes: 17 is outside 1 to 16"},
           {"--sensors 1025", "argument --sensors: 1025 is outside 0 to 1024"},
           {"--chips 513", "argument --chips: 513 is outside 0 to 512"},
           {"--fan-trays 65", "argument --fan-trays: 65 is outside 0 to 64"},
           {"--fans 33", "argument --fans: 33 is outside 1 to 32"},
           {"--supplies 33", "argument --supplies: 33 is outside 0 to 32"},
       }) {
    Finished const refused = run(makeChassis(arguments) + " 2>&1");
    EXPECT_EQ(refused.status, 2) << arguments;
    EXPECT_TRUE(refused.output.ends_with(std::string("make-chassis: error: ") + reason + "\n")) << refused.output;
  }
}

}  // namespace
