// A modular chassis: cards, transceivers, the election.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/fru/Fru.h"
#include "sm/ChassisSm.h"
#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using EntityMib::ParentIndex;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

// A transceiver with a sensor and a lane with a sensor; not yet in any slot.
Zef::Ptr<EntityMib::Xcvr> makeXcvr(char const* label, char const* alias) {
  auto const xcvr = Zef::make<EntityMib::Xcvr>("xcvr");
  xcvr->tagIs("Xcvr");
  xcvr->labelIs(label);
  xcvr->aliasIs(alias);
  publish([&] { return xcvr->newSensor(ParentIndex(1)); }, "DomTemperatureSensor", label);
  Zef::String8 const laneLabel = Zef::String8(label) + "/2";
  auto const lane = publish([&] { return xcvr->newLane(ParentIndex(1)); }, "Lane", laneLabel.charPtr());
  publish([&] { return lane->newSensor(ParentIndex(1)); }, "DomRxPowerSensor", laneLabel.charPtr());
  return xcvr;
}

Zef::Ptr<EntityMib::Card> makeCard(char const* tag, char const* label) {
  auto const card = Zef::make<EntityMib::Card>("card");
  card->tagIs(tag);
  card->labelIs(label);
  publish([&] { return card->newSensor(ParentIndex(1)); }, "TempSensor", "1");
  publish([&] { return card->newPort(ParentIndex(5)); }, "Ethernet", "5");
  publish([&] { return card->newXcvrSlot(ParentIndex(5)); }, "XcvrSlot", "5");
  publish([&] { return card->newChip(ParentIndex(1)); }, "Chip", "1");
  return card;
}

class Modular : public testing::Test {
 protected:
  void SetUp() override {
    publishChassis();
    bench.start();
    bench.root->configTrapFlagIs(false);
    bench.time.step(1);
  }
  void TearDown() override {
    EXPECT_THAT(bench.disagreements(), IsEmpty());
    Fru::slotIdIs(1);
  }

  // With an empty card slot 3.
  void publishChassis() {
    Zef::Batch const batch;
    auto const made = Zef::make<EntityMib::Chassis>("chassis");
    made->tagIs("Chassis");
    made->labelIs("1");
    auto const supplySlot = publish([&] { return made->newPowerSupplySlot(ParentIndex(1)); }, "PowerSupplySlot", "P1");
    auto const traySlot = publish([&] { return made->newFanTraySlot(ParentIndex(2)); }, "FanTraySlot", "2");
    publish([&] { return made->newCardSlot(ParentIndex(3)); }, "CardSlot", "3");
    auto const plane = Zef::make<EntityMib::Cardplane>("cardplane");
    plane->tagIs("CardPlane");
    plane->labelIs("1");
    made->cardplaneIs(plane);
    bench.status->chassisIs(made);
    supplySlot->powerSupplyIs(makeSupply());
    traySlot->fanTrayIs(makeTray(1));
  }
  EntityMib::Chassis& chassis() const { return *bench.status->chassis(); }
  ChassisSm& chassisSm() const { return *bench.root->entitySm()->chassisSm(); }
  EntityMib::CardSlot& slot(unsigned key) { return *chassis().cardSlot(ParentIndex(key)); }
  void insertCard(unsigned key, char const* tag) {
    Zef::Batch const batch;
    std::string const label = std::to_string(key);
    if (!chassis().cardSlot(ParentIndex(key)))
      publish([&] { return chassis().newCardSlot(ParentIndex(key)); }, "CardSlot", label.c_str());
    slot(key).cardIs(makeCard(tag, label.c_str()));
  }
  std::vector<std::string> newRows(std::vector<std::string> const& before) const {
    std::vector<std::string> fresh;
    for (auto const& row : bench.rows()) {
      if (std::find(before.begin(), before.end(), row) == before.end()) fresh.push_back(row);
    }
    return fresh;
  }

  Bench bench;
};

TEST_F(Modular, ServesEveryObjectInItsPlace) {
  EXPECT_THAT(
      bench.rows(),
      ElementsAre(
          "30000000 in 1000000000 class 5 pos 3 CardSlot3 'CardSlot 3'",                                       //
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
          "1651000000 in 650000001 class 5 pos 3 FanTraySlotContainer 'Fan Tray Slot Container'",              //
          "1652000000 in 650000001 class 5 pos 1 PowerSupplySlotContainer 'Power Supply Slot Container'",      //
          "1652010100 in 652010001 class 5 pos 2 PowerSupplySensorContainer 'Power Supply Sensor Container'",  //
          "1652011000 in 652010001 class 5 pos 1 PowerSupplyFanContainer 'Power Supply Fan Container'"));
  EXPECT_THAT(bench.stateOf(650000001), HasSubstr("3,4"));
  // Physical for each of the 12 real rows, hardware for all but the three slots and the card plane, fru for three.
  EXPECT_EQ(chassisSm().mirrorCount(), 12U + 8U + 3U);
}

TEST_F(Modular, ACardBringsItsRowsAndTakesThemAlong) {
  auto const before = bench.rows();
  unsigned const mirrors = chassisSm().mirrorCount();
  auto const status = bench.cardStatus->newCardStatus("Linecard3");
  status->stateIs(Hardware::Card::CardStatus::CardState::ok);
  std::vector<std::string> with;
  for (int round = 0; round < 1000; ++round) {
    insertCard(3, "Linecard");
    if (round == 0) {
      with = newRows(before);
      EXPECT_THAT(with,
                  ElementsAre("30000001 in 30000000 class 9 pos 0 Linecard3/3 state",                            //
                              "30100001 in 1030100000 class 8 pos 1 TempSensor3/1 'TempSensor 1' state sensor",  //
                              "30110001 in 1030110000 class 1 pos 1 Chip3/1 'Chip 1'",                           //
                              "30200005 in 1030204000 class 10 pos 5 Ethernet3/5 'Ethernet 5' state",            //
                              "34050000 in 1034000000 class 5 pos 5 XcvrSlot3/5 'XcvrSlot 5'",                   //
                              "1030100000 in 30000001 class 5 pos 1 ",                                           //
                              "1030110000 in 30000001 class 5 pos 4 ",                                           //
                              "1030204000 in 30000001 class 5 pos 2 ",                                           //
                              "1034000000 in 30000001 class 5 pos 3 "));
      EXPECT_THAT(bench.stateOf(30000001), HasSubstr("3,4")) << "its status was there before it";
      EXPECT_EQ(bench.root->xcvrSlotSmCount(), 1U);
    } else {
      ASSERT_THAT(newRows(before), ElementsAreArray(with)) << round;
    }
    slot(3).cardIs(nullptr);
    ASSERT_THAT(bench.rows(), ElementsAreArray(before)) << round;
    ASSERT_EQ(chassisSm().mirrorCount(), mirrors);
    ASSERT_EQ(bench.root->xcvrSlotSmCount(), 0U);
    ASSERT_FALSE(bench.root->card("Linecard3"));
    // One for each row that had a state: the card, its sensor and its port.
    ASSERT_EQ(bench.root->pendingStateTrapCount(), 3U);
  }
  EXPECT_EQ(bench.root->pendingStateTrapIteratorConst()->index(), 30000001U) << "each parent before its children";
}

TEST_F(Modular, TakesChangesOnACardOneByOne) {
  insertCard(3, "Linecard");
  auto const before = bench.rows();
  auto const card = slot(3).card();
  struct {
    char const* name;
    std::function<void()> come;
    std::function<void()> go;
    int rows;
  } const cases[] = {
      {"sensor", [&] { publish([&] { return card->newSensor(ParentIndex(9)); }, "CurrentSensor", "9"); },
       [&] { card->sensorDel(ParentIndex(9)); }, 1},
      {"port", [&] { publish([&] { return card->newPort(ParentIndex(9)); }, "Management", "9"); },
       [&] { card->portDel(ParentIndex(9)); }, 1},
      {"slot", [&] { publish([&] { return card->newXcvrSlot(ParentIndex(9)); }, "XcvrSlot", "9"); },
       [&] { card->xcvrSlotDel(ParentIndex(9)); }, 1},
      {"chip", [&] { publish([&] { return card->newChip(ParentIndex(9)); }, "Chip", "9"); },
       [&] { card->chipDel(ParentIndex(9)); }, 1},
      {"card plane", [&] { chassis().cardplaneIs(nullptr); },
       [&] {
         auto const plane = Zef::make<EntityMib::Cardplane>("cardplane");
         plane->tagIs("CardPlane");
         plane->labelIs("1");
         chassis().cardplaneIs(plane);
       },
       -1},
      {"slot with a card", [&] { insertCard(4, "Linecard"); }, [&] { chassis().cardSlotDel(ParentIndex(4)); }, 10},
  };
  for (auto const& [name, come, go, rows] : cases) {
    come();
    EXPECT_EQ(static_cast<int>(bench.rows().size()), static_cast<int>(before.size()) + rows) << name;
    EXPECT_THAT(bench.disagreements(), IsEmpty()) << name;
    go();
    EXPECT_THAT(bench.rows(), ElementsAreArray(before)) << name;
  }
  card->labelIs("3b");
  EXPECT_TRUE(bench.root->card("Linecard3b"));
  EXPECT_FALSE(bench.root->card("Linecard3"));
  auto const status = bench.cardStatus->newCardStatus("Linecard3b");
  status->stateIs(Hardware::Card::CardStatus::CardState::failed);
  EXPECT_THAT(bench.stateOf(30000001), HasSubstr("2,2"));
}

TEST_F(Modular, TurnsIntoAFixedSystemAndBack) {
  insertCard(3, "Linecard");
  slot(3).card()->xcvrSlot(ParentIndex(5))->xcvrIs(makeXcvr("5", "Ethernet3/5"));
  auto const modular = bench.rows();
  for (int round = 0; round < 3; ++round) {
    Zef::Ptr<EntityMib::Chassis> const old = bench.status->chassis();
    bench.status->chassisIs(nullptr);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_FALSE(bench.root->entitySm()->chassisSm());
    EXPECT_EQ(bench.root->xcvrSlotSmCount() + bench.root->componentCount() + bench.root->cardCount() +
                  bench.root->xcvrCount(),
              0U);
    bench.publishSystem();
    EXPECT_EQ(bench.rows().size(), 23U);
    EXPECT_THAT(bench.disagreements(), IsEmpty());
    bench.status->fixedSystemIs(nullptr);
    bench.status->chassisIs(old);
    EXPECT_THAT(bench.rows(), ElementsAreArray(modular));
  }
}

// Transceivers, on a card and on a fixed system.

class Transceivers : public Modular {
 protected:
  static constexpr U32 xcvrRow = 34050001;
  static constexpr U32 domTemperature = 34050101;
  static constexpr U32 domRxPower = 34051101;

  void SetUp() override {
    Modular::SetUp();
    insertCard(3, "Linecard");
  }
  EntityMib::XcvrSlot& xcvrSlot() { return *slot(3).card()->xcvrSlot(ParentIndex(5)); }
  Zef::Ptr<Xcvr::XcvrStatus> publishStatus() {
    Zef::Batch const batch;
    auto const config = bench.xcvrConfigDir->newXcvrConfig("Ethernet3/5");
    auto const status = bench.xcvrStatusDir->newXcvrStatus("Ethernet3/5");
    status->xcvrConfigIs(config);
    status->presenceIs(Xcvr::XcvrStatus::Presence::present);
    Xcvr::DomInfo info;
    info.temperature = 41.5;
    status->domInfoIs(Xcvr::LaneId(0), info);
    info.rxPower = -3;
    status->domInfoIs(Xcvr::LaneId(1), info);
    return status;
  }
};

TEST_F(Transceivers, ComeAndGoWithLanesAndSensors) {
  auto const before = bench.rows();
  unsigned const mirrors = chassisSm().mirrorCount();
  publishStatus();
  for (int round = 0; round < 3; ++round) {
    bench.time.step(10);
    xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
    EXPECT_THAT(newRows(before),
                ElementsAre("34050001 in 34050000 class 5 pos 0 Xcvr3/5 alias Ethernet3/5 state",
                            "34050101 in 34050001 class 8 pos 1 DomTemperatureSensor3/5 'DomTemperatureSensor 5' "
                            "state sensor",
                            "34051100 in 34050001 class 9 pos 1 Lane3/5/2 'Lane 5/2'",
                            "34051101 in 34051100 class 8 pos 1 DomRxPowerSensor3/5/2 'DomRxPowerSensor 5/2' "
                            "state sensor"));
    EXPECT_TRUE(bench.root->xcvr("Ethernet3/5"));
    EXPECT_EQ(chassisSm().mirrorCount(), mirrors + 3 + 2 + 2 + 2);
    EXPECT_EQ(static_cast<S32>(bench.sensorMib->sensorEntity(domTemperature)->value()), 415);
    EXPECT_EQ(static_cast<S32>(bench.sensorMib->sensorEntity(domRxPower)->value()), 5012) << "of its lane";
    EXPECT_THAT(bench.stateOf(domRxPower), HasSubstr("3,4 at 10" + std::to_string(11 + 10 * round)));
    xcvrSlot().xcvrIs(nullptr);
    EXPECT_THAT(bench.rows(), ElementsAreArray(before));
    EXPECT_EQ(chassisSm().mirrorCount(), mirrors);
    EXPECT_THAT(bench.disagreements(), IsEmpty());
  }
  // A lane and a sensor by themselves.
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  auto const plugged = bench.rows();
  auto const xcvr = xcvrSlot().xcvr();
  auto const lane = publish([&] { return xcvr->newLane(ParentIndex(2)); }, "Lane", "5/3");
  publish([&] { return lane->newSensor(ParentIndex(1)); }, "DomTxPowerSensor", "5/3");
  publish([&] { return xcvr->newSensor(ParentIndex(2)); }, "DomVoltageSensor", "5");
  EXPECT_EQ(bench.rows().size(), plugged.size() + 3);
  lane->sensorDel(ParentIndex(1));
  xcvr->laneDel(ParentIndex(2));
  xcvr->sensorDel(ParentIndex(2));
  EXPECT_THAT(bench.rows(), ElementsAreArray(plugged));
}

TEST_F(Transceivers, KeepTheirMirrorsInTheSystemThatTheyStandIn) {
  auto const system = [&](EntityMib::XcvrSlot const& slot) { return bench.root->xcvrSlotSm(slot.physicalIndex()); };
  EXPECT_EQ(system(xcvrSlot())->chassisSm(), bench.root->entitySm()->chassisSm());
  EXPECT_FALSE(system(xcvrSlot())->fixedSystemSm());
  Zef::Ptr<EntityMib::XcvrSlot const> const other = Zef::make<EntityMib::XcvrSlot>("other", ParentIndex(1));
  try {
    bench.root->xcvrSlotSmIs(nullptr, bench.root, Zef::Ptr<EntityMib::XcvrSlot const>(&xcvrSlot()), nullptr, nullptr);
    FAIL();
  } catch (Zef::NameInUseException const& refusal) {
    EXPECT_THAT(refusal.what(),
                HasSubstr("attribute _chassisSm has a different value of None than the current value of 0x"));
  }
  bench.status->chassisIs(nullptr);
  bench.publishSystem();
  auto const onFixed = bench.system().xcvrSlot(ParentIndex(1));
  EXPECT_EQ(system(*onFixed)->fixedSystemSm(), bench.root->entitySm()->fixedSystemSm());
  unsigned const mirrors = bench.systemSm().mirrorCount();
  onFixed->xcvrIs(makeXcvr("1", "Ethernet1"));
  EXPECT_EQ(bench.systemSm().mirrorCount(), mirrors + 3 + 2 + 2 + 2);
  onFixed->xcvrIs(nullptr);
  EXPECT_EQ(bench.systemSm().mirrorCount(), mirrors);
}

// The whole-collection forms of reactions are the walks; reactors that have no input yet find nothing to walk over.
TEST_F(Transceivers, AMissingInputHasNoMembers) {
  auto const slotSm = bench.root->xcvrSlotSm(xcvrSlot().physicalIndex());
  auto const xcvr = Zef::make<XcvrSlotSm::ZefXcvr>(*slotSm);
  auto const lane = Zef::make<XcvrSlotSm::ZefXcvr::ZefLane>(*xcvr, ParentIndex(1));
  auto const supplySlot = Zef::make<SystemSm::ZefPowerSupplySlot>(chassisSm(), ParentIndex(1));
  auto const supply = Zef::make<SystemSm::ZefPowerSupplySlot::ZefPowerSupply>(*supplySlot);
  auto const fan = Zef::make<FanReactor<SystemSm::ZefPowerSupplySlot::ZefPowerSupply>>(*supply, ParentIndex(1));
  auto const traySlot = Zef::make<SystemSm::ZefFanTraySlot>(chassisSm(), ParentIndex(1));
  auto const tray = Zef::make<SystemSm::ZefFanTraySlot::ZefFanTray>(*traySlot);
  auto const cardSlot = Zef::make<ChassisSm::ZefCardSlot>(chassisSm(), ParentIndex(1));
  auto const card = Zef::make<ChassisSm::ZefCardSlot::ZefCard>(*cardSlot);
  auto const before = bench.rows();
  Tracing tracing(1U << 8U);
  xcvr->onSensor();
  xcvr->onLane();
  lane->onSensor();
  supply->onFan();
  supply->onSensor();
  fan->onSensor();
  tray->onFan();
  card->onChip();
  EXPECT_THAT(tracing.take(), ElementsAre(HasSubstr("Xcvr::handleSensor()"), HasSubstr("Xcvr::handleLane()"),
                                          HasSubstr("Lane::handleSensor()"), HasSubstr("Supply::handleFan()"),
                                          HasSubstr("Supply::handleSensor()"), HasSubstr("::handleSensor()"),
                                          HasSubstr("Tray::handleFan()"), HasSubstr("Card::handleChip()")));
  EXPECT_THAT(bench.rows(), ElementsAreArray(before));
}

TEST_F(Transceivers, TakeThresholdsFromTheStatus) {
  auto const status = publishStatus();
  Xcvr::DomThreshold threshold;
  threshold.temperature = {75, -5, 70, 0};
  status->domThresholdIs(threshold);
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  EXPECT_TRUE(bench.sensorMib->thresholdEntity(domTemperature));
  bench.pass(5);
  EXPECT_EQ(bench.stateMib->stateEntity(domTemperature)->alarmStatus(), 0);
  // A transceiver that offers none any more is classified no more, for good.
  status->domThresholdDel();
  bench.pass(5);
  EXPECT_FALSE(bench.sensorMib->thresholdEntity(domTemperature));
  status->domThresholdIs(threshold);
  bench.pass(5);
  EXPECT_FALSE(bench.sensorMib->thresholdEntity(domTemperature));
  xcvrSlot().xcvrIs(nullptr);
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  EXPECT_TRUE(bench.sensorMib->thresholdEntity(domTemperature));
}

TEST_F(Transceivers, HaveNoReadingsWithoutAStatus) {
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  EXPECT_EQ(bench.sensorMib->sensorEntity(domTemperature)->operStatus(), Constants::sensorOperStatusUnavailable);
  auto const status = publishStatus();
  // A name in the collection of temperatures that is a transceiver's goes there.
  bench.tempStatus->newTempSensor("DomTemperatureSensor3/5");
  EXPECT_EQ(dynamic_cast<DomSensor&>(*bench.sensorMib->sensorEntity(domTemperature)).status(), status);
  bench.root->updateSensorStatus("DomRxPowerSensor3/5/2");
  EXPECT_EQ(dynamic_cast<DomSensor&>(*bench.sensorMib->sensorEntity(domRxPower)).status(), status);
  // Binding a reading of a transceiver moves no time; a changed hardware status under its name does.
  auto const before = bench.stateOf(domTemperature);
  EXPECT_THAT(before, HasSubstr("3,4"));
  bench.time.step(7);
  status->domInfoDel(Xcvr::LaneId(0));
  bench.root->updateSensorStatus("DomTemperatureSensor3/5");
  EXPECT_THAT(bench.stateOf(domTemperature), HasSubstr("2,2" + before.substr(3)));
  bench.tempStatus->tempSensor("DomTemperatureSensor3/5")
      ->hwStatusIs(Environment::Temperature::TempSensorStatus::HwStatus::ok);
  EXPECT_EQ(bench.stateOf(domTemperature), "3,4 at 1008");
  bench.xcvrStatusDir->xcvrStatusDel("Ethernet3/5");
  bench.root->updateSensorStatus("DomRxPowerSensor3/5/2");
  EXPECT_FALSE(dynamic_cast<DomSensor&>(*bench.sensorMib->sensorEntity(domRxPower)).status());
}

TEST_F(Transceivers, ShowWhetherTheyAreInUse) {
  Tracing tracing{(1U << 0U) | (1U << 3U)};
  auto const status = publishStatus();
  EXPECT_THAT(tracing.take(), Contains(HasSubstr("Cannot find xcvr for status:Ethernet3/5")));
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  auto const config = bench.xcvrConfigDir->xcvrConfig("Ethernet3/5");
  bench.time.step(3);
  config->xcvrStateIs(true);
  EXPECT_EQ(bench.stateOf(xcvrRow), "3,4 at 1004");
  config->xcvrStateIs(false);
  EXPECT_EQ(bench.stateOf(xcvrRow), "2,2 at 1004");
  status->presenceIs(Xcvr::XcvrStatus::Presence::absent);
  tracing.take();
  bench.time.step(3);
  config->xcvrStateIs(true);
  EXPECT_THAT(tracing.take(), ElementsAre(HasSubstr("Status Entry Ethernet3/5 xcvr does not exist. Skip.")));
  status->presenceIs(Xcvr::XcvrStatus::Presence::present);
  status->xcvrConfigIs(nullptr);
  config->xcvrStateIs(false);
  EXPECT_THAT(tracing.take(), ElementsAre(HasSubstr("Status Entry Ethernet3/5 has no configuration. Skip.")));
  EXPECT_EQ(bench.stateOf(xcvrRow), "2,2 at 1004");
}

// Rows enter in the order in which the handlers run, which differs at the start and live.
TEST_F(Transceivers, EnterTheTableInTheirOrder) {
  Tracing tracing{1U << 9U};
  auto const takeAdded = [&] {
    std::vector<U32> added;
    for (std::string const& line : tracing.take()) {
      constexpr std::string_view told = "index is: ";
      std::size_t const at = line.find(told);
      if (at != std::string::npos) added.push_back(static_cast<U32>(std::stoul(line.substr(at + told.size()))));
    }
    return added;
  };
  xcvrSlot().xcvrIs(makeXcvr("5", "Ethernet3/5"));
  EXPECT_THAT(takeAdded(), ElementsAre(domTemperature, 34051100, domRxPower, xcvrRow));
  auto const chassisObject = bench.status->chassis();
  bench.status->chassisIs(nullptr);
  takeAdded();
  bench.status->chassisIs(chassisObject);
  auto const added = takeAdded();
  EXPECT_EQ(added.back(), 650000001U) << "the system itself comes last";
  auto const at = [&](U32 row) { return std::find(added.begin(), added.end(), row) - added.begin(); };
  EXPECT_LT(at(xcvrRow), at(domTemperature)) << "at the start the transceiver comes before what is in it";
  EXPECT_LT(at(30000000), at(30000001));
  insertCard(4, "Linecard");
  EXPECT_EQ(takeAdded().back(), 40000000U) << "a live slot comes behind what is in it";
}

// The election.

class Supervisors : public Modular {
 protected:
  static constexpr U32 mine = 10000001;
  static constexpr U32 peer = 20000001;

  void elect(Election::RedundancyMode own, Election::PeerState state, Election::RedundancyMode other) {
    Zef::Batch const batch;
    election->redundancyModeIs(own);
    election->peerStateIs(state);
    election->peerRedundancyModeIs(other);
  }
  void follow() { bench.root->handleRedundancy(election); }
  std::vector<std::string> waiting() {
    std::vector<std::string> found;
    while (auto const trap = bench.root->pendingStateTrapDeq())
      found.push_back(std::to_string(trap->index()) + " " + std::to_string(trap->operState()) + "," +
                      std::to_string(trap->adminState()));
    return found;
  }
  std::string shown(U32 row) {
    return bench.stateOf(row) + " standby " + std::to_string(bench.stateMib->stateEntity(row)->standbyStatus());
  }

  Zef::Ptr<Election::Status> election = Zef::make<Election::Status>("election");
};

using Election::PeerState;
using Election::RedundancyMode;

TEST_F(Supervisors, ShowTheElectionOnce) {
  insertCard(1, "Supervisor");
  insertCard(2, "Supervisor");
  waiting();
  follow();
  EXPECT_THAT(waiting(), IsEmpty()) << "not the active one";
  elect(RedundancyMode::active, PeerState::present, RedundancyMode::standby);
  EXPECT_THAT(waiting(), ElementsAre("10000001 3,4", "20000001 3,4"));
  EXPECT_EQ(shown(mine), "3,4 at 1001 standby 4");
  EXPECT_EQ(shown(peer), "3,4 at 1001 standby 2");
  bench.pass(20);
  bench.notifications.take();
  bench.root->redundancySm()->doRedundancyStatus();
  EXPECT_THAT(waiting(), IsEmpty()) << "nothing has changed";

  election->peerRedundancyModeIs(RedundancyMode::disabled);
  EXPECT_THAT(waiting(), ElementsAre("20000001 2,2"));
  EXPECT_EQ(shown(peer), "2,2 at 1021 standby 1");
  election->peerRedundancyModeIs(RedundancyMode(7));
  EXPECT_THAT(waiting(), ElementsAre("20000001 1,1"));
  EXPECT_EQ(shown(peer), "1,1 at 1021 standby 1");
  // An election that is kept, and one that is another.
  auto const reactor = bench.root->redundancySm();
  follow();
  EXPECT_EQ(bench.root->redundancySm(), reactor);
  EXPECT_THAT(waiting(), IsEmpty());
  elect(RedundancyMode::standby, PeerState::present, RedundancyMode::active);
  EXPECT_THAT(waiting(), IsEmpty());
  // Active once more: what it showed of itself before still stands.
  elect(RedundancyMode::active, PeerState::present, RedundancyMode::standby);
  EXPECT_THAT(waiting(), ElementsAre("20000001 3,4"));
}

TEST_F(Supervisors, MayBeFollowedBeforeTheProjectionStarts) {
  insertCard(1, "Supervisor");
  elect(RedundancyMode::active, PeerState::absent, RedundancyMode::unknown);
  auto const inputs = bench.status;
  bench.root = rootFactory("again");
  bench.root->entityMibIs(bench.entityMib);
  bench.root->stateMibIs(bench.stateMib);
  bench.root->sensorMibIs(bench.sensorMib);
  bench.root->statusIs(inputs);
  follow();
  EXPECT_TRUE(bench.root->constants()) << "needed already";
  bench.root = nullptr;
  bench.root = rootFactory("afresh");
  bench.entityMib = orvaneEntityMibFactory("entitymib");
  bench.stateMib = orvaneStateMibFactory("entitystatemib");
  bench.sensorMib = orvaneSensorMibFactory("entitysensormib");
  bench.start();
  follow();
  EXPECT_THAT(bench.stateOf(mine), HasSubstr("3,4"));
}

TEST_F(Supervisors, RunInTheSlotThatTheyAreTold) {
  insertCard(1, "Supervisor");
  insertCard(2, "Supervisor");
  Fru::slotIdIs(2);
  waiting();
  elect(RedundancyMode::active, PeerState::present, RedundancyMode::standby);
  follow();
  EXPECT_THAT(waiting(), ElementsAre("20000001 3,4", "10000001 3,4"));
  EXPECT_EQ(shown(mine), "3,4 at 1001 standby 2");
}

TEST_F(Supervisors, WaitForTheInventory) {
  Tracing tracing{(1U << 5U) | (1U << 9U)};
  unsigned passes = 0;
  auto const retries = [&] {
    auto const lines = tracing.take();
    passes += static_cast<unsigned>(std::count_if(lines.begin(), lines.end(), [](std::string const& line) {
      return line.find("RedundancyCardName:Supervisor1") != std::string::npos;
    }));
    return std::count_if(lines.begin(), lines.end(), [](std::string const& line) {
      return line.find("Scheduled another status Check for Redundancy") != std::string::npos;
    });
  };
  elect(RedundancyMode::active, PeerState::present, RedundancyMode::standby);
  follow();
  EXPECT_EQ(retries(), 1);
  bench.pass(14);
  EXPECT_EQ(retries(), 2);
  insertCard(1, "Supervisor");
  waiting();
  bench.pass(5);
  EXPECT_EQ(retries(), 1) << "the peer is still missing";
  EXPECT_THAT(waiting(), IsEmpty());
  insertCard(2, "Supervisor");
  waiting();
  bench.pass(5);
  EXPECT_EQ(retries(), 0);
  EXPECT_THAT(shown(mine), HasSubstr("3,4"));
  EXPECT_THAT(shown(peer), HasSubstr("standby 2"));
  passes = 0;
  bench.pass(60);
  EXPECT_EQ(retries(), 0);
  EXPECT_EQ(passes, 0U) << "no timer is left";
  // The peer is said to be gone, and its card is still there; then the card goes.
  election->peerStateIs(PeerState::absent);
  EXPECT_EQ(retries(), 1);
  slot(2).cardIs(nullptr);
  bench.pass(5);
  EXPECT_EQ(retries(), 0);
  EXPECT_EQ(bench.root->redundancySm()->peerState(), PeerState::absent);
  // A supervisor alone, from the start.
  bench.root->redundancySmDel();
  bench.pass(20);
  bench.notifications.take();
  waiting();
  follow();
  EXPECT_THAT(waiting(), ElementsAre("10000001 3,4"));
}

}  // namespace
}  // namespace Orvane
