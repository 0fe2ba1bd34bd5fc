#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::ParentIndex;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class Projection : public testing::Test {
 protected:
  void SetUp() override {
    bench.publishSystem();
    bench.start();
    EXPECT_TRUE(bench.configurationChanged());
  }
  void TearDown() override { EXPECT_THAT(bench.disagreements(), IsEmpty()); }

  Bench bench;
};

// The whole picture of a small switch, row by row. Fans below a tray and sensors below a fan have no container.
TEST_F(Projection, ServesEveryObjectInItsPlace) {
  EXPECT_THAT(
      bench.rows(),
      ElementsAre("1 in 0 class 3 pos 0 FixedSystem1 state",                                                         //
                  "100001 in 1000100000 class 8 pos 1 TempSensor1 'TempSensor 1' state sensor",                      //
                  "110001 in 1000110000 class 1 pos 1 Chip1 'Chip 1'",                                               //
                  "200001 in 1000204000 class 10 pos 1 Ethernet1 'Ethernet 1' state",                                //
                  "201002 in 1000204000 class 10 pos 2 Management2 'Management 2' state",                            //
                  "1020000 in 1001000000 class 5 pos 2 FanTraySlot2 'FanTraySlot 2'",                                //
                  "1020001 in 1020000 class 5 pos 0 FanTray2/1",                                                     //
                  "1021100 in 1020001 class 7 pos 1 Fan2/1 'Fan 1' state",                                           //
                  "1021101 in 1021100 class 8 pos 1 FanSensor2/1 'FanSensor 1' state sensor",                        //
                  "2010000 in 1002000000 class 5 pos 1 PowerSupplySlotP1 'PowerSupplySlot P1'",                      //
                  "2010001 in 2010000 class 6 pos 0 PowerSupplyP1/1 state",                                          //
                  "2010101 in 1002010100 class 8 pos 1 VoltageSensorP1/1 'VoltageSensor 1' state sensor",            //
                  "2011100 in 1002011000 class 7 pos 1 FanP1/1 'Fan 1' state",                                       //
                  "2011101 in 2011100 class 8 pos 1 FanSensorP1/1 'FanSensor 1' state sensor",                       //
                  "4010000 in 1004000000 class 5 pos 1 XcvrSlot1 'XcvrSlot 1'",                                      //
                  "1000100000 in 1 class 5 pos 1 SensorContainer 'Sensor Container'",                                //
                  "1000110000 in 1 class 5 pos 4 ChipContainer 'Chip Container'",                                    //
                  "1000204000 in 1 class 5 pos 2 PortContainer 'Port Container'",                                    //
                  "1001000000 in 1 class 5 pos 7 FanTraySlotContainer 'Fan Tray Slot Container'",                    //
                  "1002000000 in 1 class 5 pos 6 PowerSupplySlotContainer 'Power Supply Slot Container'",            //
                  "1002010100 in 2010001 class 5 pos 2 PowerSupplySensorContainer 'Power Supply Sensor Container'",  //
                  "1002011000 in 2010001 class 5 pos 1 PowerSupplyFanContainer 'Power Supply Fan Container'",        //
                  "1004000000 in 1 class 5 pos 3 XcvrSlotContainer 'Xcvr Slot Container'"));
  auto const state = bench.stateMib->stateEntity(1);
  EXPECT_EQ(state->operState(), Constants::operStateEnabled);
  EXPECT_EQ(state->adminState(), Constants::adminStateUnlocked);
  EXPECT_EQ(bench.stateMib->stateEntity(200001)->operState(), Constants::operStateUnknown);
  EXPECT_EQ(bench.stateMib->stateEntity(200001)->lastChanged(), 1.0e9 + 1000.0);
  // Physical for each of the 15 real rows, hardware for all but the three slots, fru for system, supply and tray.
  EXPECT_EQ(bench.systemSm().mirrorCount(), 15U + 12U + 3U);
}

struct Change {
  char const* name;
  std::function<void(Bench&)> come;
  std::function<void(Bench&)> go;
  unsigned rows;  // that come and go
};

std::ostream& operator<<(std::ostream& stream, Change const& change) { return stream << change.name; }

class Live : public Projection, public testing::WithParamInterface<Change> {};

// What comes live gets its rows, and what goes takes them all along, at the same indexes every time.
TEST_P(Live, ComesAndGoes) {
  auto const before = bench.rows();
  unsigned const mirrors = bench.systemSm().mirrorCount();
  std::vector<std::string> with;
  for (int round = 0; round < 3; ++round) {
    GetParam().come(bench);
    EXPECT_TRUE(bench.configurationChanged());
    EXPECT_THAT(bench.disagreements(), IsEmpty());
    EXPECT_EQ(bench.rows().size(), before.size() + GetParam().rows);
    if (round == 0) with = bench.rows();
    EXPECT_THAT(bench.rows(), ElementsAreArray(with));
    GetParam().go(bench);
    EXPECT_TRUE(bench.configurationChanged());
    EXPECT_THAT(bench.rows(), ElementsAreArray(before));
    EXPECT_EQ(bench.systemSm().mirrorCount(), mirrors);
  }
}

template <auto make, auto del>
Change boardMember(char const* tag, unsigned key) {
  return {tag,
          [=](Bench& b) {
            publish([&] { return (b.system().*make)(ParentIndex(key)); }, tag, std::to_string(key).c_str());
          },
          [=](Bench& b) { (b.system().*del)(ParentIndex(key)); }, 1};
}

using System = EntityMib::FixedSystem;

INSTANTIATE_TEST_SUITE_P(
    Objects, Live,
    testing::Values(boardMember<&System::newSensor, &System::sensorDel>("CurrentSensor", 9),
                    boardMember<&System::newPort, &System::portDel>("Ethernet", 9),
                    boardMember<&System::newPort, &System::portDel>("Management", 512),
                    boardMember<&System::newPort, &System::portDel>("Test", 9),
                    boardMember<&System::newPort, &System::portDel>("Internal", 9),
                    boardMember<&System::newPort, &System::portDel>("Console", 9),
                    boardMember<&System::newXcvrSlot, &System::xcvrSlotDel>("XcvrSlot", 9),
                    boardMember<&System::newChip, &System::chipDel>("Chip", 9),
                    boardMember<&System::newPowerSupplySlot, &System::powerSupplySlotDel>("PowerSupplySlot", 9),
                    boardMember<&System::newFanTraySlot, &System::fanTraySlotDel>("FanTraySlot", 9),
                    Change{"a slot with a supply in it",
                           [](Bench& b) {
                             Zef::Batch const batch;
                             auto const slot = publish([&] { return b.system().newPowerSupplySlot(ParentIndex(2)); },
                                                       "PowerSupplySlot", "P2");
                             slot->powerSupplyIs(makeSupply());
                           },
                           [](Bench& b) { b.system().powerSupplySlotDel(ParentIndex(2)); }, 7},
                    Change{"a supply into a slot",
                           [](Bench& b) {
                             Zef::Batch const batch;
                             auto const slot = b.system().powerSupplySlot(ParentIndex(2));
                             (slot ? slot
                                   : publish([&] { return b.system().newPowerSupplySlot(ParentIndex(2)); },
                                             "PowerSupplySlot", "P2"))
                                 ->powerSupplyIs(makeSupply());
                           },
                           [](Bench& b) {
                             b.system().powerSupplySlot(ParentIndex(2))->powerSupplyIs(nullptr);
                             b.system().powerSupplySlotDel(ParentIndex(2));
                           },
                           7},
                    Change{"a slot with a tray of three fans",
                           [](Bench& b) {
                             Zef::Batch const batch;
                             auto const slot =
                                 publish([&] { return b.system().newFanTraySlot(ParentIndex(3)); }, "FanTraySlot", "3");
                             slot->fanTrayIs(makeTray(3));
                           },
                           [](Bench& b) { b.system().fanTraySlotDel(ParentIndex(3)); }, 8},
                    Change{"a fan in a tray, and then its sensor",
                           [](Bench& b) {
                             auto const tray = b.system().fanTraySlot(ParentIndex(2))->fanTray();
                             auto const fan = publish([&] { return tray->newFan(ParentIndex(7)); }, "Fan", "7");
                             publish([&] { return fan->newSensor(ParentIndex(1)); }, "FanSensor", "7");
                           },
                           [](Bench& b) { b.system().fanTraySlot(ParentIndex(2))->fanTray()->fanDel(ParentIndex(7)); },
                           2},
                    Change{"a sensor and a fan in a supply",
                           [](Bench& b) {
                             auto const supply = b.system().powerSupplySlot(ParentIndex(1))->powerSupply();
                             publish([&] { return supply->newSensor(ParentIndex(5)); }, "TempSensor", "5");
                             publish([&] { return supply->newFan(ParentIndex(5)); }, "Fan", "5");
                           },
                           [](Bench& b) {
                             auto const supply = b.system().powerSupplySlot(ParentIndex(1))->powerSupply();
                             supply->sensorDel(ParentIndex(5));
                             supply->fanDel(ParentIndex(5));
                           },
                           2}));

TEST_F(Projection, LeavesTheTreeWhenTheSystemGoes) {
  bench.status->fixedSystemIs(nullptr);
  EXPECT_TRUE(bench.configurationChanged());
  EXPECT_THAT(bench.rows(), IsEmpty());
  EXPECT_EQ(bench.entityMib->containsCount() + bench.entityMib->virtualContainerCount(), 0U);
  EXPECT_EQ(bench.stateMib->stateEntityCount() + bench.sensorMib->sensorEntityCount(), 0U);
  EXPECT_FALSE(bench.root->entitySm()->fixedSystemSm());
  bench.publishSystem();
  EXPECT_EQ(bench.rows().size(), 23U);
}

TEST_F(Projection, IgnoresStorageDevicesAndReadingsOfNoInterest) {
  auto const before = bench.rows();
  bench.system().newStorageDevices(ParentIndex(9));
  bench.system().storageDevicesDel(ParentIndex(9));
  bench.system().powerSupplySlot(ParentIndex(1))->lastChangeTimeIs(5);
  EXPECT_FALSE(bench.configurationChanged());
  EXPECT_THAT(bench.rows(), ElementsAreArray(before));
}

TEST_F(Projection, RemovesOnceAndRefusesToAddTwice) {
  bench.root->doRemoveEntity(200001);
  EXPECT_TRUE(bench.configurationChanged());
  bench.root->doRemoveEntity(200001);
  EXPECT_FALSE(bench.configurationChanged());
  EXPECT_DEATH(bench.root->doAddEntity(bench.system().sensor(ParentIndex(1)), true, true), "isMemberOf\\( index \\)");
  bench.root->doAddEntity(bench.system().port(ParentIndex(1)), true, false);
}

TEST_F(Projection, MakesNoContainerAtPositionZero) {
  bench.root->doCreateVirtualContainer(Zef::Ptr<EntityMib::PhysicalEntity const>(&bench.system()), "Lane",
                                       ParentIndex(0));
  EXPECT_FALSE(bench.configurationChanged());
}

TEST_F(Projection, KeepsItsReactorsAndRowsWhenStartedAgainAndDropped) {
  auto const reactor = bench.root->entitySm();
  auto const rows = bench.rows();
  bench.root->handleInitialized();
  EXPECT_EQ(bench.root->entitySm(), reactor);
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  // The rows outlive Root; a projection that nobody runs any more hears nothing, even if somebody holds its reactors.
  auto const system = reactor->fixedSystemSm();
  bench.root = nullptr;
  bench.system().sensorDel(ParentIndex(1));
  bench.system().port(ParentIndex(1))->serialNumIs("unheard");
  EXPECT_THAT(bench.rows(), ElementsAreArray(rows));
  bench.root = rootFactory("again");
  bench.entityMib = orvaneEntityMibFactory("entitymib");
  bench.stateMib = orvaneStateMibFactory("entitystatemib");
  bench.sensorMib = orvaneSensorMibFactory("entitysensormib");
  bench.start();
  EXPECT_EQ(bench.rows().size(), rows.size() - 1);
}

TEST_F(Projection, RefusesANullSlotAndAnotherMirror) {
  try {
    bench.systemSm().fanTraySlotIs(nullptr);
    FAIL();
  } catch (Zef::RangeException const& refusal) {
    EXPECT_STREQ(refusal.what(),
                 "null _fanTraySlot parameter to mutator for Orvane::FixedSystemSm::fanTraySlot not allowed\"");
  }
  auto const row = bench.entityMib->physicalEntity(200001);
  Zef::Ptr<EntityMib::PhysicalEntity const> const other(bench.system().sensor(ParentIndex(1)));
  EXPECT_THROW(bench.systemSm().physicalAttributesIs(nullptr, 200001, row, other, *bench.root),
               Zef::NameInUseException);
}

// Attributes that count as a change of the configuration, whether or not the row copies them.
TEST_F(Projection, CountsChangedAttributes) {
  auto& port = *bench.system().port(ParentIndex(1));
  auto& supply = *bench.system().powerSupplySlot(ParentIndex(1))->powerSupply();
  struct {
    char const* name;
    std::function<void()> change;
    bool counts;
  } const cases[] = {
      {"description", [&] { port.descriptionIs("uplink"); }, true},
      {"the same description", [&] { port.descriptionIs("uplink"); }, false},
      {"hardwareRev", [&] { port.hardwareRevIs("h"); }, true},
      {"firmwareRev", [&] { port.firmwareRevIs("f"); }, true},
      {"softwareRev", [&] { port.softwareRevIs("s"); }, true},
      {"serialNum", [&] { port.serialNumIs("n"); }, true},
      {"mfgName", [&] { port.mfgNameIs("m"); }, true},
      {"modelName", [&] { port.modelNameIs("o"); }, true},
      {"mfgDate", [&] { port.mfgDateIs("d"); }, true},
      {"assetId", [&] { supply.assetIdIs("a"); }, true},
      {"swappability", [&] { supply.swappabilityIs(EntityMib::Fru::Swappability(1)); }, true},
      {"alias", [&] { supply.aliasIs("left"); }, true},
      {"two in one batch",
       [&] {
         Zef::Batch const batch;
         supply.assetIdIs("b");
         supply.aliasIs("right");
       },
       true},
      {"a slot's label", [&] { bench.system().powerSupplySlot(ParentIndex(1))->labelIs("P1"); }, false},
  };
  for (auto const& [name, change, counts] : cases) {
    change();
    EXPECT_EQ(bench.configurationChanged(), counts) << name;
  }
  EXPECT_EQ(bench.entityMib->physicalEntity(2010001)->alias(), "right");
  EXPECT_EQ(bench.entityMib->physicalEntity(200001)->description(), "uplink");
}

TEST_F(Projection, RenamesTheRowOfAChangedLabel) {
  bench.system().port(ParentIndex(1))->labelIs("49");
  EXPECT_TRUE(bench.configurationChanged());
  EXPECT_EQ(bench.entityMib->physicalEntity(200001)->componentName(), "Ethernet49");
  EXPECT_FALSE(bench.root->component("Ethernet1"));
  EXPECT_EQ(bench.root->component("Ethernet49")->entity()->index(), 200001U);
}

// Rows whose labels change places in one version take over each other's names.
TEST_F(Projection, SwapsAndShiftsNames) {
  auto const one = bench.system().port(ParentIndex(1));
  auto const two = publish([&] { return bench.system().newPort(ParentIndex(3)); }, "Ethernet", "2");
  auto const three = publish([&] { return bench.system().newPort(ParentIndex(4)); }, "Ethernet", "3");
  auto const relabel = [&](char const* first, char const* second, char const* third) {
    Zef::Batch const batch;
    one->labelIs(first);
    two->labelIs(second);
    three->labelIs(third);
  };
  char const* const orders[][3] = {{"2", "1", "3"}, {"3", "2", "1"}, {"1", "2", "3"}, {"2", "3", "4"}, {"3", "4", "5"}};
  for (auto const& [first, second, third] : orders) {
    relabel(first, second, third);
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << first << second << third;
    EXPECT_EQ(bench.root->component(Zef::String8("Ethernet") + second)->entity()->index(), 200003U);
  }
  // A row whose name another one has taken over leaves the other's entry alone.
  one->labelIs("4");
  EXPECT_EQ(bench.root->component("Ethernet4")->entity()->index(), 200001U);
  bench.system().portDel(ParentIndex(3));
  EXPECT_TRUE(bench.root->component("Ethernet4"));
}

// Transceivers are known by their alias, or by their name while they have none.
TEST_F(Projection, KeysATransceiverByItsAlias) {
  auto const slot = bench.system().xcvrSlot(ParentIndex(1));
  auto const xcvr = Zef::make<EntityMib::Xcvr>("xcvr");
  xcvr->tagIs("Xcvr");
  xcvr->labelIs("1");
  slot->xcvrIs(xcvr);
  auto const row = bench.entityMib->physicalEntity(xcvr->physicalIndex().value());
  ASSERT_TRUE(row);
  auto const keys = [&] {
    std::vector<std::string> found;
    for (auto at = bench.root->xcvrIteratorConst(); at; ++at) found.emplace_back(at->identifier().view());
    return found;
  };
  EXPECT_THAT(keys(), ElementsAre("Xcvr1"));
  xcvr->labelIs("2");
  EXPECT_THAT(keys(), ElementsAre("Xcvr2"));
  xcvr->aliasIs("Ethernet1");
  EXPECT_THAT(keys(), ElementsAre("Ethernet1"));
  xcvr->labelIs("3");
  EXPECT_THAT(keys(), ElementsAre("Ethernet1"));
  EXPECT_EQ(row->componentName(), "Xcvr3");
  xcvr->aliasIs("");
  EXPECT_THAT(keys(), ElementsAre("Xcvr3"));
  bench.root->xcvrDel("Xcvr3");
  xcvr->aliasIs("Ethernet9");
  EXPECT_THAT(keys(), IsEmpty());
  EXPECT_EQ(row->alias(), "Ethernet9");
  slot->xcvrIs(nullptr);
  EXPECT_FALSE(bench.entityMib->physicalEntity(row->index()));
}

// Arbitrary changes, one or several to a batch: after each batch the tables are those of a projection made afresh.
TEST_F(Projection, EqualsAFreshProjectionAfterRandomChanges) {
  std::mt19937 random(20261);
  auto const pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
  char const* const tags[] = {"Ethernet", "Management", "Internal", "Console"};
  for (int round = 0; round < 400; ++round) {
    auto const change = [&] {
      auto& system = bench.system();
      ParentIndex const key(1 + pick(4));
      Zef::String8 const label = Zef::format("%u", key.value());
      auto const supplySlot = system.powerSupplySlot(key);
      auto const traySlot = system.fanTraySlot(key);
      switch (pick(8)) {
        case 0:
          if (system.sensor(key)) return void(system.sensorDel(key));
          return void(publish([&] { return system.newSensor(key); }, "TempSensor", label.charPtr()));
        case 1:
          if (system.port(key)) return void(system.portDel(key));
          return void(publish([&] { return system.newPort(key); }, tags[pick(4)], label.charPtr()));
        case 2:
          if (supplySlot) return void(system.powerSupplySlotDel(key));
          return void(publish([&] { return system.newPowerSupplySlot(key); }, "PowerSupplySlot",
                              Zef::format("P%u", key.value()).charPtr()));
        case 3:
          if (supplySlot) supplySlot->powerSupplyIs(supplySlot->powerSupply() ? nullptr : makeSupply());
          return;
        case 4:
          if (traySlot) return void(system.fanTraySlotDel(key));
          return void(publish([&] { return system.newFanTraySlot(key); }, "FanTraySlot", label.charPtr()));
        case 5:
          if (traySlot) traySlot->fanTrayIs(traySlot->fanTray() ? nullptr : makeTray(pick(3)));
          return;
        case 6:
          if (traySlot && traySlot->fanTray()) {
            auto const tray = traySlot->fanTray();
            if (tray->fan(key)) return void(tray->fanDel(key));
            publish([&] { return tray->newFan(key); }, "Fan", label.charPtr());
          }
          return;
        default:
          if (auto const port = system.port(key)) port->serialNumIs(label);
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

TEST(Start, WaitsForASystem) {
  Bench bench;
  bench.start();
  EXPECT_THAT(bench.rows(), IsEmpty());
  EXPECT_FALSE(bench.root->entitySm()->fixedSystemSm());
  EXPECT_EQ(bench.entityMib->lastChangeTime(), 0.0);
  bench.publishSystem();
  EXPECT_EQ(bench.rows().size(), 23U);
  EXPECT_THAT(bench.disagreements(), IsEmpty());
}

}  // namespace
}  // namespace Orvane
