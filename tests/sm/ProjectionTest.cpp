// The rows of the hardware tree, as it stands and as it changes, on a fixed system and on a chassis.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::ParentIndex;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

// Either system, or one of them.
class Projection : public testing::TestWithParam<bool> {
 protected:
  void startWith(bool modular) {
    modular ? bench.publishChassis() : bench.publishSystem();
    bench.start();
    EXPECT_TRUE(bench.configurationChanged());
  }
  void SetUp() override { startWith(GetParam()); }
  void TearDown() override { EXPECT_THAT(bench.disagreements(), IsEmpty()); }

  Bench bench;
};

INSTANTIATE_TEST_SUITE_P(Systems, Projection, testing::Bool(),
                         [](auto const& modular) { return modular.param ? "Chassis" : "FixedSystem"; });

template <bool modular>
class ProjectionOf : public Projection {
 protected:
  void SetUp() override { startWith(modular); }
};

using FixedProjection = ProjectionOf<false>;
using ModularProjection = ProjectionOf<true>;

// Containers, and what stands in none: fans below a tray and sensors below a fan.
TEST_F(ModularProjection, HasContainersByTheirNames) {
  EXPECT_THAT(
      bench.rows(),
      testing::IsSupersetOf(
          {"34050001 in 34050000 class 5 pos 0 Xcvr3/5 'Xcvr 5' alias Ethernet3/5 state",                       //
           "34051101 in 34051100 class 8 pos 1 DomRxPowerSensor3/5/2 'DomRxPowerSensor 5/2' state sensor",      //
           "651021101 in 651021100 class 8 pos 1 FanSensor2/1 'FanSensor 1' state sensor",                      //
           "1000000000 in 650000001 class 5 pos 2 CardSlotContainer 'Card Slot Container'",                     //
           "1030100000 in 30000001 class 5 pos 1 ",                                                             //
           "1030110000 in 30000001 class 5 pos 4 ",                                                             //
           "1030204000 in 30000001 class 5 pos 2 ",                                                             //
           "1034000000 in 30000001 class 5 pos 3 ",                                                             //
           "1651000000 in 650000001 class 5 pos 3 FanTraySlotContainer 'Fan Tray Slot Container'",              //
           "1652000000 in 650000001 class 5 pos 1 PowerSupplySlotContainer 'Power Supply Slot Container'",      //
           "1652010100 in 652010001 class 5 pos 2 PowerSupplySensorContainer 'Power Supply Sensor Container'",  //
           "1652011000 in 652010001 class 5 pos 1 PowerSupplyFanContainer 'Power Supply Fan Container'"}));
  EXPECT_THAT(bench.stateOf(650000001), HasSubstr("3,4"));
  // Physical for each of the 21 real rows, hardware for all but the four slots and the card plane, fru for five.
  EXPECT_EQ(bench.systemSm().mirrorCount(), 21U + 16U + 5U);
}

// What a fixed system has of its own: containers, of which the rows of its parts were made, and its state.
TEST_F(FixedProjection, HasContainersOfItsOwn) {
  auto rows = bench.rows();
  std::erase_if(rows, [](std::string const& row) { return row.find(" in 1 ") == std::string::npos; });
  EXPECT_THAT(rows,
              ElementsAre("1000100000 in 1 class 5 pos 1 SensorContainer 'Sensor Container'",                      //
                          "1000110000 in 1 class 5 pos 4 ChipContainer 'Chip Container'",                          //
                          "1000204000 in 1 class 5 pos 2 PortContainer 'Port Container'",                          //
                          "1001000000 in 1 class 5 pos 7 FanTraySlotContainer 'Fan Tray Slot Container'",          //
                          "1002000000 in 1 class 5 pos 6 PowerSupplySlotContainer 'Power Supply Slot Container'",  //
                          "1004000000 in 1 class 5 pos 3 XcvrSlotContainer 'Xcvr Slot Container'"));
  EXPECT_THAT(bench.stateOf(1), "3,4 at 1000");
  EXPECT_THAT(bench.stateOf(200001), "1,1 at 1000");
  // Physical for each of the 19 real rows, hardware for all but the three slots, fru for four.
  EXPECT_EQ(bench.systemSm().mirrorCount(), 19U + 16U + 4U);
}

// What comes live and goes again, or, if it is there at first, the other way round.
struct Change {
  Parts parts;
  int rows;
};

std::vector<Change> changes(Bench const& bench) {
  std::string const board = bench.board();
  std::string const system = bench.system();
  std::string const supply = system + "powerSupplySlot.1.powerSupply.";
  std::string const tray = system + "fanTraySlot.2.fanTray.";
  std::string const xcvr = bench.xcvrSlot() + ".xcvr";
  bool const modular = system != board;
  auto const with = [](Part slot, Parts parts) {
    parts.insert(parts.begin(), std::move(slot));
    return parts;
  };
  std::vector<Change> all = {
      {{{board + "sensor.9", "CurrentSensor"}}, 1},
      {{{board + "port.9", "Ethernet"}}, 1},
      {{{board + "port.512", "Management"}}, 1},
      {{{board + "port.9", "Test"}}, 1},
      {{{board + "port.9", "Internal"}}, 1},
      {{{board + "port.9", "Console"}}, 1},
      {{{board + "xcvrSlot.9", "XcvrSlot"}}, 1},
      {{{board + "chip.9", "Chip"}}, 1},
      {{{supply + "sensor.5", "TempSensor"}}, 1},
      {{{supply + "fan.7", "Fan"}, {supply + "fan.7.sensor.1", "FanSensor", "7"}}, 2},
      {{{tray + "fan.7", "Fan"}, {tray + "fan.7.sensor.1", "FanSensor", "7"}}, 2},
      {{{xcvr + ".sensor.2", "DomVoltageSensor"}}, 1},
      {{{xcvr + ".lane.7", "Lane"}, {xcvr + ".lane.7.sensor.1", "DomTxPowerSensor", "7"}}, 2},
      {with({system + "powerSupplySlot.2", "PowerSupplySlot", "P2"}, supplyIn(system + "powerSupplySlot.2")), 7},
      {supplyIn(system + "powerSupplySlot.1"), 6},
      {with({system + "fanTraySlot.3", "FanTraySlot"}, trayIn(system + "fanTraySlot.3")), 4},
      {trayIn(system + "fanTraySlot.2"), 3},
      {bench.xcvr(), 4},
  };
  if (modular) {
    all.push_back({{{"chassis.cardplane", "CardPlane"}}, 1});
    all.push_back({cardIn("chassis.cardSlot.3"), 13});
    all.push_back({with({"chassis.cardSlot.4", "CardSlot"}, cardIn("chassis.cardSlot.4")), 14});
  }
  return all;
}

// Every row that had a state and has gone asks for a notification.
std::vector<std::string> farewells(std::vector<std::string> const& before, std::vector<std::string> const& after) {
  std::vector<std::string> told;
  for (std::string const& row : before) {
    bool const stays = std::find(after.begin(), after.end(), row) != after.end();
    if (!stays && row.find(" state") != std::string::npos) told.push_back(row.substr(0, row.find(' ')) + " 2,1");
  }
  return told;
}

// At the same indexes every time, and all rows go that came: in one piece, and part by part.
TEST_P(Projection, PartsComeAndGo) {
  for (auto const& [parts, count] : changes(bench)) {
    std::string const path = parts.front().path;
    SCOPED_TRACE(path);
    auto const whole = [&] { bench.part(path) ? bench.drop(path) : bench.put(parts); };
    auto const inParts = [&] {
      bool const goes = bench.part(path) != nullptr;
      for (std::size_t at = 0; at != parts.size(); ++at)
        goes ? bench.drop(parts[parts.size() - 1 - at].path) : bench.put({parts[at]});
    };
    auto const before = bench.rows();
    unsigned const mirrors = bench.systemSm().mirrorCount();
    bool const comes = !bench.part(path);
    std::vector<std::string> changed;
    for (std::function<void()> const& change : {std::function<void()>(whole), std::function<void()>(inParts)}) {
      change();
      EXPECT_TRUE(bench.configurationChanged());
      if (changed.empty()) changed = bench.rows();
      EXPECT_EQ(changed.size() - before.size(), static_cast<std::size_t>(comes ? count : -count));
      EXPECT_THAT(bench.rows(), ElementsAreArray(changed));
      EXPECT_THAT(bench.disagreements(), IsEmpty());
      change();
      EXPECT_TRUE(bench.configurationChanged());
      EXPECT_THAT(bench.rows(), ElementsAreArray(before));
      EXPECT_THAT(bench.disagreements(), IsEmpty());
      EXPECT_EQ(bench.systemSm().mirrorCount(), mirrors);
      auto const told = comes ? farewells(changed, before) : farewells(before, changed);
      EXPECT_THAT(bench.takeWaiting(), testing::UnorderedElementsAreArray(told));
    }
  }
}

// What is done to a slot that has gone is no concern of the tables.
TEST_P(Projection, ASlotThatHasGoneIsFollowedNoMore) {
  std::vector<std::pair<std::string, char const*>> slots = {{"powerSupplySlot.1", "powerSupply"},
                                                            {"fanTraySlot.2", "fanTray"}};
  if (GetParam()) slots.emplace_back("cardSlot.3", "card");
  for (auto const& [path, content] : slots) {
    auto const slot = bench.part(bench.system() + path);
    bench.drop(bench.system() + path);
    auto const rows = bench.rows();
    auto const* const attribute = slot->fwkType()->attr(Zef::Name(content));
    attribute->childDel(*slot);
    attribute->childIs(*slot);
    EXPECT_THAT(bench.rows(), ElementsAreArray(rows)) << path;
  }
}

TEST(Start, FollowsOneSystemAfterTheOther) {
  Bench bench;
  bench.start();
  EXPECT_EQ(bench.entityMib->lastChangeTime(), 0.0);
  for (bool const modular : {false, true, false}) {
    modular ? bench.publishChassis() : bench.publishSystem();
    EXPECT_EQ(bench.rows().size(), modular ? 30U : 27U);
    EXPECT_THAT(bench.disagreements(), IsEmpty());
    bench.configurationChanged();
    bench.drop(modular ? "chassis" : "fixedSystem");
    EXPECT_TRUE(bench.configurationChanged());
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << "nothing is left without its row";
    EXPECT_EQ(bench.root->entitySm()->systemSm(), nullptr);
  }
}

TEST(Start, ASystemWhoseProjectionThrowsLeavesNothingBehindThatIsDead) {
  Bench bench;
  bench.start();
  {
    Zef::Batch const batch;
    bench.put({{"fixedSystem", "FixedSystem"}, {"fixedSystem.xcvrSlot.1", ""}, {"fixedSystem.xcvrSlot.2", ""}});
    // Stands in the way of the second slot's reactor; the first one's holds the system's by then.
    auto at = bench.status->fixedSystem()->xcvrSlotIteratorConst();
    bench.root->xcvrSlotSmIs(nullptr, bench.root, (++at).ptr(), nullptr, nullptr);
  }
  EXPECT_FALSE(bench.root->entitySm()->fixedSystemSm());
  ASSERT_EQ(bench.root->xcvrSlotSmCount(), 2U);
  auto const first = bench.status->fixedSystem()->xcvrSlotIteratorConst();
  EXPECT_TRUE(bench.root->xcvrSlotSm(first->physicalIndex())->fixedSystemSm()->zefIsZombie());
}

TEST_P(Projection, RefusesANullSlotAndAReactorOfAnotherInput) {
  std::string const type = GetParam() ? "ChassisSm" : "FixedSystemSm";
  EXPECT_EQ(refusal([&] { bench.systemSm().fanTraySlotIs(nullptr); }),
            "null _fanTraySlot parameter to mutator for Orvane::" + type + "::fanTraySlot not allowed\"");
  Zef::Ptr<EntityMib::PhysicalEntity const> const other = bench.part<EntityMib::Sensor>(bench.board() + "sensor.1");
  auto const row = bench.entityMib->physicalEntity(bench.entityMib->physicalEntityIteratorConst().key());
  EXPECT_THROW(bench.systemSm().physicalAttributesIs(nullptr, row->index(), row, other, *bench.root),
               Zef::NameInUseException);
  Zef::Ptr<EntityMib::XcvrSlot const> const slot = bench.part<EntityMib::XcvrSlot>(bench.xcvrSlot());
  EXPECT_THAT(
      refusal<Zef::NameInUseException>([&] { bench.root->xcvrSlotSmIs(nullptr, bench.root, slot, nullptr, nullptr); }),
      HasSubstr((GetParam() ? "attribute _chassisSm" : "attribute _fixedSystemSm") +
                std::string(" has a different value of None than the current value of 0x")));
}

TEST_F(FixedProjection, ChangesNothingWithoutNeed) {
  auto const rows = bench.rows();
  bench.put("fixedSystem.storageDevices.9", "Flash");
  bench.drop("fixedSystem.storageDevices.9");
  bench.part<EntityMib::PowerSupplySlot>("fixedSystem.powerSupplySlot.1")->lastChangeTimeIs(5);
  Zef::Ptr<EntityMib::PhysicalEntity const> const system = bench.part("fixedSystem");
  bench.root->doCreateVirtualContainer(system, "Lane", ParentIndex(0));
  bench.root->doRemoveEntity(77);
  EXPECT_FALSE(bench.configurationChanged());
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
}

TEST_F(FixedProjection, KeepsItsReactorsWhenStartedAgainAndItsRowsWhenDropped) {
  auto const reactor = bench.root->entitySm();
  auto const rows = bench.rows();
  bench.root->handleInitialized();
  EXPECT_EQ(bench.root->entitySm(), reactor);
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  // A projection that nobody runs any more hears nothing, even if somebody holds its reactors.
  auto const system = reactor->fixedSystemSm();
  bench.root = nullptr;
  bench.drop("fixedSystem.sensor.1");
  bench.part<EntityMib::Port>("fixedSystem.port.1")->serialNumIs("unheard");
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  bench.start();
  EXPECT_EQ(bench.rows().size(), rows.size() - 1);
}

// Attributes that count as a change of the configuration, whether or not the row copies them.
TEST_F(FixedProjection, CountsChangedAttributes) {
  auto const port = bench.part<EntityMib::Port>("fixedSystem.port.1");
  auto const unit = bench.part<EntityMib::Fru>("fixedSystem.powerSupplySlot.1.powerSupply");
  auto const counts = [&](auto const& part, char const* attribute, Zef::Value const& value) {
    part->fwkType()->attr(Zef::Name(attribute))->set(*part, value);
    return bench.configurationChanged();
  };
  for (char const* attribute : {"description", "label", "hardwareRev", "firmwareRev", "softwareRev", "serialNum",
                                "mfgName", "modelName", "mfgDate"}) {
    EXPECT_TRUE(counts(port, attribute, Zef::Value(Zef::String8("new")))) << attribute;
    EXPECT_FALSE(counts(port, attribute, Zef::Value(Zef::String8("new")))) << attribute;
  }
  EXPECT_TRUE(counts(unit, "assetId", Zef::Value(Zef::String8("a"))));
  EXPECT_TRUE(counts(unit, "alias", Zef::Value(Zef::String8("left"))));
  unit->swappabilityIs(EntityMib::Fru::Swappability::coldSwappable);
  EXPECT_TRUE(bench.configurationChanged());
  EXPECT_EQ(bench.entityMib->physicalEntity(2010001)->alias(), "left");
  EXPECT_EQ(bench.entityMib->physicalEntity(200001)->description(), "new");
}

// Rows whose labels change places in one version take over each other's names.
TEST_F(FixedProjection, SwapsAndShiftsNames) {
  char const* const ports[] = {"fixedSystem.port.1", "fixedSystem.port.3", "fixedSystem.port.4"};
  char const* const orders[][3] = {{"2", "1", "3"}, {"3", "2", "1"}, {"1", "2", "3"}, {"2", "3", "4"}, {"3", "4", "5"}};
  for (auto const& [a, b, c] : orders) {
    bench.put({{ports[0], "Ethernet", a}, {ports[1], "Ethernet", b}, {ports[2], "Ethernet", c}});
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << a << b << c;
    EXPECT_EQ(bench.root->component(Zef::String8("Ethernet") + b)->entity()->index(), 200003U);
  }
  // A row whose name another one has taken over leaves the other's entry alone.
  bench.put(ports[0], "Ethernet", "4");
  EXPECT_EQ(bench.root->component("Ethernet4")->entity()->index(), 200001U);
  bench.drop(ports[1]);
  EXPECT_TRUE(bench.root->component("Ethernet4"));
}

TEST_F(ModularProjection, FindsTheStatusOfACardByItsName) {
  bench.cardStatus->newCardStatus("Linecard3")->stateIs(Hardware::Card::CardStatus::CardState::ok);
  bench.drop("chassis.cardSlot.3.card");
  bench.put(cardIn("chassis.cardSlot.3"));
  EXPECT_THAT(bench.stateOf(30000001), HasSubstr("3,4")) << "it was there before it";
  bench.put("chassis.cardSlot.3.card", "Linecard", "3b");
  EXPECT_TRUE(bench.root->card("Linecard3b"));
  EXPECT_FALSE(bench.root->card("Linecard3"));
  bench.cardStatus->newCardStatus("Linecard3b")->stateIs(Hardware::Card::CardStatus::CardState::failed);
  EXPECT_THAT(bench.stateOf(30000001), HasSubstr("2,2"));
}

// Transceivers are known by their alias, or by their name while they have none.
TEST_F(FixedProjection, KeysATransceiverByItsAlias) {
  auto const xcvr = bench.part<EntityMib::Fru>(bench.xcvrSlot() + ".xcvr");
  std::pair<char const*, char const*> const steps[] = {
      {"1", ""}, {"2", ""}, {"2", "Ethernet1"}, {"3", "Ethernet1"}, {"3", ""}};
  for (auto const& [label, alias] : steps) {
    xcvr->labelIs(label);
    xcvr->aliasIs(alias);
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << label << " " << alias;
  }
  // What is not known by any name gets none.
  bench.root->xcvrDel("Xcvr3");
  xcvr->aliasIs("Ethernet9");
  EXPECT_EQ(bench.root->xcvrCount(), 0U);
  bench.drop(bench.xcvrSlot() + ".xcvr");
}

}  // namespace
}  // namespace Orvane
