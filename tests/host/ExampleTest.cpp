// The examples are read as they stand, and what belongs together in them finds each other by name.

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "model/Constants.h"
#include "model/input/Helper.h"
#include "runtime/Type.h"
#include "tests/host/Described.h"

namespace {

using Zef::Ptr;
using Zef::String8;

std::vector<std::filesystem::path> examples() {
  std::vector<std::filesystem::path> files;
  for (auto const& entry :
       std::filesystem::directory_iterator(std::filesystem::path(__FILE__).parent_path() / "../../examples")) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  return files;
}

class Example : public testing::TestWithParam<std::filesystem::path> {
 protected:
  void SetUp() override {
    std::stringstream text;
    text << std::ifstream(GetParam()).rdbuf();
    inputs_ = read(text.str());
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
    Zef::forEachChild(entity, [this](Zef::Entity& child, Zef::ZefAttr const&, String8 const&) { collect(child); });
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
  for (std::string const& fan : names("coolingStatus", "fan")) {
    EXPECT_TRUE(tagged("FanSensor").contains("FanSensor" + fan.substr(3))) << fan;
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

  std::set<std::string> const statuses = names("xcvrStatusDir", "xcvrStatus");
  EXPECT_EQ(names("xcvrConfigDir", "xcvrConfig"), statuses);
  EXPECT_EQ(statuses.size(), tagged("XcvrSlot").size());
  auto const dir = Zef::dynamicCast<Xcvr::AllStatusDir>(inputs_->entity("xcvrStatusDir"));
  for (auto const& [name, part] : tagged("Xcvr")) {
    auto const xcvr = Zef::dynamicCast<EntityMib::Xcvr const>(part);
    EXPECT_TRUE(statuses.contains(std::string(xcvr->alias().view()))) << name;
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

std::string fileName(testing::TestParamInfo<std::filesystem::path> const& info) {
  std::string name = info.param.stem();
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Files, Example, testing::ValuesIn(examples()), fileName);

}  // namespace
