// The rows of the hardware tree, as it stands and as it changes, on a fixed system and on a chassis.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::Card;
using EntityMib::FanTray;
using EntityMib::ParentIndex;
using EntityMib::PowerSupply;
using System = EntityMib::FixedSystem;
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

// The whole picture of a small switch, row by row. Fans below a tray and sensors below a fan have no container.
TEST_F(ModularProjection, ServesEveryPartInItsPlace) {
  EXPECT_THAT(
      bench.rows(),
      ElementsAre(
          "30000000 in 1000000000 class 5 pos 3 CardSlot3 'CardSlot 3'",                                       //
          "30000001 in 30000000 class 9 pos 0 Linecard3/3 state",                                              //
          "30100001 in 1030100000 class 8 pos 1 TempSensor3/1 'TempSensor 1' state sensor",                    //
          "30110001 in 1030110000 class 1 pos 1 Chip3/1 'Chip 1'",                                             //
          "30200005 in 1030204000 class 10 pos 5 Ethernet3/5 'Ethernet 5' state",                              //
          "34050000 in 1034000000 class 5 pos 5 XcvrSlot3/5 'XcvrSlot 5'",                                     //
          "34050001 in 34050000 class 5 pos 0 Xcvr3/5 alias Ethernet3/5 state",                                //
          "34050101 in 34050001 class 8 pos 1 DomTemperatureSensor3/5 'DomTemperatureSensor 5' state sensor",  //
          "34051100 in 34050001 class 9 pos 1 Lane3/5/2 'Lane 5/2'",                                           //
          "34051101 in 34051100 class 8 pos 1 DomRxPowerSensor3/5/2 'DomRxPowerSensor 5/2' state sensor",      //
          "650000001 in 0 class 3 pos 0 Chassis1 state",                                                       //
          "650000002 in 650000001 class 1 pos 0 CardPlane1",                                                   //
          "651020000 in 1651000000 class 5 pos 2 FanTraySlot2 'FanTraySlot 2'",                                //
          "651020001 in 651020000 class 5 pos 0 FanTray2/1",                                                   //
          "651021100 in 651020001 class 7 pos 1 Fan2/1 'Fan 1' state",                                         //
          "651021101 in 651021100 class 8 pos 1 FanSensor2/1 'FanSensor 1' state sensor",                      //
          "652010000 in 1652000000 class 5 pos 1 PowerSupplySlotP1 'PowerSupplySlot P1'",                      //
          "652010001 in 652010000 class 6 pos 0 PowerSupplyP1/1 state",                                        //
          "652010101 in 1652010100 class 8 pos 1 VoltageSensorP1/1 'VoltageSensor 1' state sensor",            //
          "652011100 in 1652011000 class 7 pos 1 FanP1/1 'Fan 1' state",                                       //
          "652011101 in 652011100 class 8 pos 1 FanSensorP1/1 'FanSensor 1' state sensor",                     //
          "1000000000 in 650000001 class 5 pos 2 CardSlotContainer 'Card Slot Container'",                     //
          "1030100000 in 30000001 class 5 pos 1 ",                                                             //
          "1030110000 in 30000001 class 5 pos 4 ",                                                             //
          "1030204000 in 30000001 class 5 pos 2 ",                                                             //
          "1034000000 in 30000001 class 5 pos 3 ",                                                             //
          "1651000000 in 650000001 class 5 pos 3 FanTraySlotContainer 'Fan Tray Slot Container'",              //
          "1652000000 in 650000001 class 5 pos 1 PowerSupplySlotContainer 'Power Supply Slot Container'",      //
          "1652010100 in 652010001 class 5 pos 2 PowerSupplySensorContainer 'Power Supply Sensor Container'",  //
          "1652011000 in 652010001 class 5 pos 1 PowerSupplyFanContainer 'Power Supply Fan Container'"));
  EXPECT_THAT(bench.stateOf(650000001), HasSubstr("3,4"));
  // Physical for each of the 21 real rows, hardware for all but the four slots and the card plane, fru for five.
  EXPECT_EQ(bench.systemSm().mirrorCount(), 21U + 16U + 5U);
}

// What a fixed system has of its own: what stands on it, and its containers.
TEST_F(FixedProjection, ServesItsPartsInTheirPlaces) {
  auto rows = bench.rows();
  EXPECT_EQ(rows.size(), 27U);
  std::erase_if(rows, [](std::string const& row) {
    return std::stoul(row) > 1000000 && row.find(" in 1 ") == std::string::npos &&
           row.find("000000 class") == std::string::npos;
  });
  EXPECT_THAT(rows,
              ElementsAre("1 in 0 class 3 pos 0 FixedSystem1 state",                                               //
                          "100001 in 1000100000 class 8 pos 1 TempSensor1 'TempSensor 1' state sensor",            //
                          "110001 in 1000110000 class 1 pos 1 Chip1 'Chip 1'",                                     //
                          "200001 in 1000204000 class 10 pos 1 Ethernet1 'Ethernet 1' state",                      //
                          "201002 in 1000204000 class 10 pos 2 Management2 'Management 2' state",                  //
                          "1020000 in 1001000000 class 5 pos 2 FanTraySlot2 'FanTraySlot 2'",                      //
                          "2010000 in 1002000000 class 5 pos 1 PowerSupplySlotP1 'PowerSupplySlot P1'",            //
                          "4010000 in 1004000000 class 5 pos 1 XcvrSlot1 'XcvrSlot 1'",                            //
                          "1000100000 in 1 class 5 pos 1 SensorContainer 'Sensor Container'",                      //
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

// What comes live and goes again, or the other way round.
struct Change {
  char const* name;
  std::function<void(Bench&)> change;
  std::function<void(Bench&)> back;
  int rows;  // that come, or go
  bool onChassisOnly = false;
};

constexpr ParentIndex first(1);
auto const boardOf = [](Bench& b) -> Card& { return b.board(); };
auto const supplyOf = [](Bench& b) -> PowerSupply& { return *b.supplySlot(1)->powerSupply(); };
auto const trayOf = [](Bench& b) -> FanTray& { return *b.traySlot(2)->fanTray(); };
auto const xcvrOf = [](Bench& b) -> EntityMib::Xcvr& { return *b.xcvrSlot().xcvr(); };

template <auto make, auto del, class Parent>
Change member(Parent parent, char const* tag, unsigned key) {
  return {tag, [=](Bench& b) { add<make>(parent(b), key, tag); }, [=](Bench& b) { (parent(b).*del)(ParentIndex(key)); },
          1};
}

// A member that has a sensor, which is seen to come and to go by itself.
template <auto make, auto find, auto del, class Parent>
Change memberWithSensor(Parent parent, char const* tag, char const* sensorTag) {
  return {tag,
          [=](Bench& b) {
            auto const member = add<make>(parent(b), 7, tag);
            using Member = std::remove_reference_t<decltype(*member)>;
            add<&Member::newSensor>(*member, 1, sensorTag, "7");
          },
          [=](Bench& b) {
            (parent(b).*find)(ParentIndex(7))->sensorDel(first);
            (parent(b).*del)(ParentIndex(7));
          },
          2};
}

Change const changes[] = {
    member<&Card::newSensor, &Card::sensorDel>(boardOf, "CurrentSensor", 9),
    member<&Card::newPort, &Card::portDel>(boardOf, "Ethernet", 9),
    member<&Card::newPort, &Card::portDel>(boardOf, "Management", 512),
    member<&Card::newPort, &Card::portDel>(boardOf, "Test", 9),
    member<&Card::newPort, &Card::portDel>(boardOf, "Internal", 9),
    member<&Card::newPort, &Card::portDel>(boardOf, "Console", 9),
    member<&Card::newXcvrSlot, &Card::xcvrSlotDel>(boardOf, "XcvrSlot", 9),
    member<&Card::newChip, &Card::chipDel>(boardOf, "Chip", 9),
    member<&PowerSupply::newSensor, &PowerSupply::sensorDel>(supplyOf, "TempSensor", 5),
    member<&EntityMib::Xcvr::newSensor, &EntityMib::Xcvr::sensorDel>(xcvrOf, "DomVoltageSensor", 2),
    memberWithSensor<&PowerSupply::newFan, &PowerSupply::fan, &PowerSupply::fanDel>(supplyOf, "Fan", "FanSensor"),
    memberWithSensor<&FanTray::newFan, &FanTray::fan, &FanTray::fanDel>(trayOf, "Fan", "FanSensor"),
    memberWithSensor<&EntityMib::Xcvr::newLane, &EntityMib::Xcvr::lane, &EntityMib::Xcvr::laneDel>(xcvrOf, "Lane",
                                                                                                   "DomTxPowerSensor"),
    {"a slot for a supply", [](Bench& b) { b.supplySlot(9); }, [](Bench& b) { b.supplySlotDel(9); }, 1},
    {"a slot with a supply", [](Bench& b) { b.supplySlot(2, makeSupply()); }, [](Bench& b) { b.supplySlotDel(2); }, 7},
    {"no supply", [](Bench& b) { b.supplySlot(1)->powerSupplyIs(nullptr); },
     [](Bench& b) { b.supplySlot(1, makeSupply()); }, -6},
    {"a slot with a tray of three fans", [](Bench& b) { b.traySlot(3, makeTray(3)); },
     [](Bench& b) { b.traySlotDel(3); }, 8},
    {"no tray", [](Bench& b) { b.traySlot(2)->fanTrayIs(nullptr); }, [](Bench& b) { b.traySlot(2, makeTray(1)); }, -3},
    {"no transceiver", [](Bench& b) { b.xcvrSlot().xcvrIs(nullptr); }, [](Bench& b) { b.plugXcvr(); }, -4},
    {"no card plane", [](Bench& b) { b.chassis().cardplaneIs(nullptr); },
     [](Bench& b) { b.chassis().cardplaneIs(makeCardplane()); }, -1, true},
    {"no card", [](Bench& b) { b.cardSlot(3).cardIs(nullptr); }, [](Bench& b) { b.insertCard(3, "Linecard"); }, -13,
     true},
    {"a slot with a card", [](Bench& b) { b.insertCard(4, "Linecard"); },
     [](Bench& b) { b.chassis().cardSlotDel(ParentIndex(4)); }, 14, true},
};

// Every row that had a state and has gone asks for a notification.
std::vector<std::string> farewells(std::vector<std::string> const& before, std::vector<std::string> const& after) {
  std::vector<std::string> told;
  for (std::string const& row : before) {
    bool const stays = std::find(after.begin(), after.end(), row) != after.end();
    if (!stays && row.find(" state") != std::string::npos) told.push_back(row.substr(0, row.find(' ')) + " 2,1");
  }
  return told;
}

// At the same indexes every time, and all rows go that came.
TEST_P(Projection, PartsComeAndGo) {
  for (Change const& each : changes) {
    if (each.onChassisOnly && !GetParam()) continue;
    SCOPED_TRACE(each.name);
    auto const before = bench.rows();
    unsigned const mirrors = bench.systemSm().mirrorCount();
    std::vector<std::string> changed;
    for (int round = 0; round < 3; ++round) {
      each.change(bench);
      EXPECT_TRUE(bench.configurationChanged());
      if (round == 0) changed = bench.rows();
      EXPECT_EQ(changed.size(), before.size() + static_cast<std::size_t>(each.rows));
      EXPECT_THAT(bench.rows(), ElementsAreArray(changed));
      EXPECT_THAT(bench.disagreements(), IsEmpty());
      each.back(bench);
      EXPECT_TRUE(bench.configurationChanged());
      EXPECT_THAT(bench.rows(), ElementsAreArray(before));
      EXPECT_THAT(bench.disagreements(), IsEmpty());
      EXPECT_EQ(bench.systemSm().mirrorCount(), mirrors);
      auto const [more, less] = each.rows > 0 ? std::pair(changed, before) : std::pair(before, changed);
      EXPECT_THAT(bench.takeWaiting(), testing::UnorderedElementsAreArray(farewells(more, less)));
    }
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
    bench.status->fixedSystemIs(nullptr);
    bench.status->chassisIs(nullptr);
    EXPECT_TRUE(bench.configurationChanged());
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << "nothing is left without its row";
    EXPECT_EQ(bench.root->entitySm()->systemSm(), nullptr);
  }
}

TEST(Start, ASystemWhoseProjectionThrowsLeavesNothingBehindThatIsDead) {
  Bench bench;
  bench.start();
  auto const system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
  for (U32 const key : {1U, 2U}) system->newXcvrSlot(ParentIndex(key));
  {
    Zef::Batch const batch;
    bench.status->fixedSystemIs(system);  // gives the slots their place
    // Stands in the way of the second slot's reactor; the first one's holds the system's by then.
    for (auto at = system->xcvrSlotIteratorConst(); at; ++at) {
      if (at.key() != system->xcvrSlotIteratorConst().key())
        bench.root->xcvrSlotSmIs(nullptr, bench.root, at.ptr(), nullptr, nullptr);
    }
  }
  EXPECT_FALSE(bench.root->entitySm()->fixedSystemSm());
  ASSERT_EQ(bench.root->xcvrSlotSmCount(), 2U);
  auto const slot = bench.root->xcvrSlotSm(system->xcvrSlotIteratorConst()->physicalIndex());
  EXPECT_TRUE(slot->fixedSystemSm()->zefIsZombie());
}

TEST_F(FixedProjection, ChangesNothingWithoutNeed) {
  auto const rows = bench.rows();
  bench.system().newStorageDevices(ParentIndex(9));
  bench.system().storageDevicesDel(ParentIndex(9));
  bench.supplySlot(1)->lastChangeTimeIs(5);
  bench.root->doCreateVirtualContainer(Zef::Ptr<EntityMib::PhysicalEntity const>(&bench.system()), "Lane",
                                       ParentIndex(0));
  bench.root->doRemoveEntity(77);
  EXPECT_FALSE(bench.configurationChanged());
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  EXPECT_DEATH(bench.root->doAddEntity(bench.system().sensor(ParentIndex(1)), true, true), "isMemberOf\\( index \\)");
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
  bench.system().sensorDel(ParentIndex(1));
  bench.system().port(ParentIndex(1))->serialNumIs("unheard");
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  bench.start();
  EXPECT_EQ(bench.rows().size(), rows.size() - 1);
}

TEST_P(Projection, RefusesANullSlotAndAReactorOfAnotherInput) {
  std::string const type = GetParam() ? "ChassisSm" : "FixedSystemSm";
  EXPECT_EQ(refusal([&] { bench.systemSm().fanTraySlotIs(nullptr); }),
            "null _fanTraySlot parameter to mutator for Orvane::" + type + "::fanTraySlot not allowed\"");
  auto const row = bench.entityMib->physicalEntity(bench.board().physicalIndex().value());
  Zef::Ptr<EntityMib::PhysicalEntity const> const other(bench.board().sensor(first));
  EXPECT_THROW(bench.systemSm().physicalAttributesIs(nullptr, row->index(), row, other, *bench.root),
               Zef::NameInUseException);
  Zef::Ptr<EntityMib::XcvrSlot const> const slot(&bench.xcvrSlot());
  EXPECT_THAT(
      refusal<Zef::NameInUseException>([&] { bench.root->xcvrSlotSmIs(nullptr, bench.root, slot, nullptr, nullptr); }),
      HasSubstr((GetParam() ? "attribute _chassisSm" : "attribute _fixedSystemSm") +
                std::string(" has a different value of None than the current value of 0x")));
}

// The whole-collection forms of reactions are the walks; reactors that have no input yet find nothing to walk over.
TEST_F(ModularProjection, AMissingInputHasNoMembers) {
  auto const before = bench.rows();
  auto& system = dynamic_cast<ChassisSm&>(bench.systemSm());
  auto const xcvr = Zef::make<XcvrSlotSm::ZefXcvr>(*bench.root->xcvrSlotSm(bench.xcvrSlot().physicalIndex()));
  auto const supplySlot = Zef::make<SystemSm::ZefPowerSupplySlot>(system, ParentIndex(1));
  auto const supply = Zef::make<SystemSm::ZefPowerSupplySlot::ZefPowerSupply>(*supplySlot);
  auto const traySlot = Zef::make<SystemSm::ZefFanTraySlot>(system, ParentIndex(1));
  auto const cardSlot = Zef::make<ChassisSm::ZefCardSlot>(system, ParentIndex(1));
  auto const card = Zef::make<ChassisSm::ZefCardSlot::ZefCard>(*cardSlot);
  xcvr->onSensor();
  xcvr->onLane();
  Zef::make<XcvrSlotSm::ZefXcvr::ZefLane>(*xcvr, ParentIndex(1))->onSensor();
  supply->onFan();
  supply->onSensor();
  Zef::make<FanReactor<SystemSm::ZefPowerSupplySlot::ZefPowerSupply>>(*supply, ParentIndex(1))->onSensor();
  Zef::make<SystemSm::ZefFanTraySlot::ZefFanTray>(*traySlot)->onFan();
  card->onChip();
  EXPECT_THAT(bench.rows(), ElementsAreArray(before));
}

// Attributes that count as a change of the configuration, whether or not the row copies them.
TEST_F(FixedProjection, CountsChangedAttributes) {
  auto& port = *bench.system().port(first);
  auto& unit = supplyOf(bench);
  auto const counts = [&](EntityMib::PhysicalEntity& part, char const* attribute, Zef::Value const& value) {
    part.fwkType()->attr(Zef::Name(attribute))->set(part, value);
    return bench.configurationChanged();
  };
  for (char const* attribute : {"description", "label", "hardwareRev", "firmwareRev", "softwareRev", "serialNum",
                                "mfgName", "modelName", "mfgDate"}) {
    EXPECT_TRUE(counts(port, attribute, Zef::Value(Zef::String8("new")))) << attribute;
    EXPECT_FALSE(counts(port, attribute, Zef::Value(Zef::String8("new")))) << attribute;
  }
  EXPECT_TRUE(counts(unit, "assetId", Zef::Value(Zef::String8("a"))));
  EXPECT_TRUE(counts(unit, "alias", Zef::Value(Zef::String8("left"))));
  unit.swappabilityIs(EntityMib::Fru::Swappability::coldSwappable);
  EXPECT_TRUE(bench.configurationChanged());
  {
    Zef::Batch const batch;
    unit.assetIdIs("b");
    unit.aliasIs("right");
  }
  EXPECT_TRUE(bench.configurationChanged());
  EXPECT_EQ(bench.entityMib->physicalEntity(2010001)->alias(), "right");
  EXPECT_EQ(bench.entityMib->physicalEntity(200001)->description(), "new");
}

// Rows whose labels change places in one version take over each other's names.
TEST_F(FixedProjection, SwapsAndShiftsNames) {
  auto const one = bench.system().port(ParentIndex(1));
  auto const two = add<&Card::newPort>(bench.system(), 3, "Ethernet", "2");
  auto const three = add<&Card::newPort>(bench.system(), 4, "Ethernet", "3");
  char const* const orders[][3] = {{"2", "1", "3"}, {"3", "2", "1"}, {"1", "2", "3"}, {"2", "3", "4"}, {"3", "4", "5"}};
  for (auto const& [a, b, c] : orders) {
    {
      Zef::Batch const batch;
      one->labelIs(a);
      two->labelIs(b);
      three->labelIs(c);
    }
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << a << b << c;
    EXPECT_EQ(bench.root->component(Zef::String8("Ethernet") + b)->entity()->index(), 200003U);
  }
  // A row whose name another one has taken over leaves the other's entry alone.
  one->labelIs("4");
  EXPECT_EQ(bench.root->component("Ethernet4")->entity()->index(), 200001U);
  bench.system().portDel(ParentIndex(3));
  EXPECT_TRUE(bench.root->component("Ethernet4"));
}

TEST_F(ModularProjection, FindsTheStatusOfACardByItsName) {
  bench.cardStatus->newCardStatus("Linecard3")->stateIs(Hardware::Card::CardStatus::CardState::ok);
  bench.cardSlot(3).cardIs(nullptr);
  bench.insertCard(3, "Linecard");
  EXPECT_THAT(bench.stateOf(30000001), HasSubstr("3,4")) << "it was there before it";
  bench.board().labelIs("3b");
  EXPECT_TRUE(bench.root->card("Linecard3b"));
  EXPECT_FALSE(bench.root->card("Linecard3"));
  bench.cardStatus->newCardStatus("Linecard3b")->stateIs(Hardware::Card::CardStatus::CardState::failed);
  EXPECT_THAT(bench.stateOf(30000001), HasSubstr("2,2"));
}

// Transceivers are known by their alias, or by their name while they have none.
TEST_F(FixedProjection, KeysATransceiverByItsAlias) {
  auto const xcvr = bench.xcvrSlot().xcvr();
  auto const row = bench.entityMib->physicalEntity(xcvr->physicalIndex().value());
  auto const keys = [&] {
    std::vector<std::string> found;
    for (auto at = bench.root->xcvrIteratorConst(); at; ++at) found.emplace_back(at->identifier().view());
    return found;
  };
  struct {
    std::function<void()> change;
    char const* key;
  } const steps[] = {
      {[&] { xcvr->aliasIs(""); }, "Xcvr1"},
      {[&] { xcvr->labelIs("2"); }, "Xcvr2"},
      {[&] { xcvr->aliasIs("Ethernet1"); }, "Ethernet1"},
      {[&] { xcvr->labelIs("3"); }, "Ethernet1"},
      {[&] { xcvr->aliasIs(""); }, "Xcvr3"},
  };
  EXPECT_THAT(keys(), ElementsAre("Ethernet1"));
  for (auto const& [change, key] : steps) {
    change();
    EXPECT_THAT(keys(), ElementsAre(key));
  }
  EXPECT_EQ(row->componentName(), "Xcvr3");
  // What is not known by any name gets none.
  bench.root->xcvrDel("Xcvr3");
  xcvr->aliasIs("Ethernet9");
  EXPECT_THAT(keys(), IsEmpty());
  EXPECT_EQ(row->alias(), "Ethernet9");
  bench.xcvrSlot().xcvrIs(nullptr);
  EXPECT_FALSE(bench.entityMib->physicalEntity(row->index()));
}

// Arbitrary changes, one or several to a batch: after each batch the tables are those of a projection made afresh.
TEST_F(FixedProjection, EqualsAFreshProjectionAfterRandomChanges) {
  std::mt19937 random(20261);
  auto const pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
  char const* const tags[] = {"Ethernet", "Management", "Internal", "Console"};
  for (int round = 0; round < 400; ++round) {
    auto const change = [&] {
      auto& system = bench.system();
      ParentIndex const key(1 + pick(4));
      auto const supplySlot = system.powerSupplySlot(key);
      auto const traySlot = system.fanTraySlot(key);
      switch (pick(8)) {
        case 0:
          if (system.sensor(key)) return void(system.sensorDel(key));
          return void(add<&System::newSensor>(system, key.value(), "TempSensor"));
        case 1:
          if (system.port(key)) return void(system.portDel(key));
          return void(add<&System::newPort>(system, key.value(), tags[pick(4)]));
        case 2:
          if (supplySlot) return void(system.powerSupplySlotDel(key));
          return void(bench.supplySlot(key.value()));
        case 3:
          if (supplySlot) supplySlot->powerSupplyIs(supplySlot->powerSupply() ? nullptr : makeSupply());
          return;
        case 4:
          if (traySlot) return void(system.fanTraySlotDel(key));
          return void(bench.traySlot(key.value()));
        case 5:
          if (traySlot) traySlot->fanTrayIs(traySlot->fanTray() ? nullptr : makeTray(pick(3)));
          return;
        case 6:
          if (traySlot && traySlot->fanTray()) {
            auto const tray = traySlot->fanTray();
            if (tray->fan(key)) return void(tray->fanDel(key));
            add<&FanTray::newFan>(*tray, key.value(), "Fan");
          }
          return;
        default:
          if (auto const port = system.port(key)) port->serialNumIs(Zef::format("%u", key.value()));
      }
    };
    {
      // A batch touches each place once, as a publisher's does; more than one change of a place is more than one batch.
      Zef::Batch const batch;
      change();
    }
    ASSERT_THAT(bench.disagreements(), IsEmpty()) << "round " << round;
    if (round % 20 != 0) continue;
    Bench fresh;
    fresh.status = bench.status;
    fresh.start();
    ASSERT_THAT(bench.rows(), ElementsAreArray(fresh.rows())) << "round " << round;
    ASSERT_EQ(bench.systemSm().mirrorCount(), fresh.systemSm().mirrorCount());
  }
}

}  // namespace
}  // namespace Orvane
