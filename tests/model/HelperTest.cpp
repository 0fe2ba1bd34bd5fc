// Paths, names and physical indexes of the parts of the inventory.

#include "model/input/Helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "model/input/EntityMib.h"
#include "tests/Support.h"

namespace {

using EntityMib::ParentIndex;
using EntityMib::PhysicalEntity;
using testing::HasSubstr;
using Zef::make;
using Zef::Ptr;
using Zef::String8;

constexpr U32 largestIndex = 999999999;
constexpr U32 containerBase = 1000000000;
constexpr char const* roles[] = {"ethernet", "management", "test", "internal", ""};

std::string text(String8 const& string) { return std::string(string.view()); }

EntityMib::Helper const& helper() {
  static Ptr<EntityMib::Helper> const instance = make<EntityMib::Helper>();
  return *instance;
}

U32 indexOf(PhysicalEntity const* entity) { return entity->physicalIndex().value(); }

template <class T>
Ptr<T> labelled(Ptr<T> const& entity, char const* tag, char const* label) {
  entity->tagIs(tag);
  entity->labelIs(label);
  return entity;
}

// An inventory with one fixed system and one chassis, both empty.
struct Inventory {
  Inventory() {
    status->fixedSystemIs(fixed);
    status->chassisIs(chassis);
  }
  Ptr<EntityMib::Status> status = make<EntityMib::Status>("status");
  Ptr<EntityMib::FixedSystem> fixed = make<EntityMib::FixedSystem>("fixedSystem");
  Ptr<EntityMib::Chassis> chassis = make<EntityMib::Chassis>("chassis");
};

Ptr<EntityMib::Card> cardIn(Ptr<EntityMib::Chassis> const& chassis, U32 slot) {
  Ptr<EntityMib::CardSlot> const cardSlot = chassis->cardSlotIs(ParentIndex(slot));
  if (!cardSlot->card()) cardSlot->cardIs(make<EntityMib::Card>("card"));
  return cardSlot->card();
}

template <class Slot>
Ptr<EntityMib::Xcvr> xcvrIn(Ptr<Slot> const& slot) {
  if (!slot->xcvr()) slot->xcvrIs(make<EntityMib::Xcvr>("xcvr"));
  return slot->xcvr();
}

template <class System>
Ptr<EntityMib::PowerSupply> supplyIn(Ptr<System> const& system, U32 slot) {
  Ptr<EntityMib::PowerSupplySlot> const in = system->powerSupplySlotIs(ParentIndex(slot));
  if (!in->powerSupply()) in->powerSupplyIs(make<EntityMib::PowerSupply>("powerSupply"));
  return in->powerSupply();
}

template <class System>
Ptr<EntityMib::FanTray> trayIn(Ptr<System> const& system, U32 slot) {
  Ptr<EntityMib::FanTraySlot> const in = system->fanTraySlotIs(ParentIndex(slot));
  if (!in->fanTray()) in->fanTrayIs(make<EntityMib::FanTray>("fanTray"));
  return in->fanTray();
}

TEST(Helper, ComponentNames) {
  Inventory const inventory;
  Ptr<EntityMib::FixedSystem> const& fixed = inventory.fixed;
  ParentIndex const one(1);
  ParentIndex const two(2);

  labelled(fixed, "FixedSystem", "1");
  Ptr<EntityMib::FanTray> const tray = labelled(trayIn(fixed, 2), "FanTray", "9");
  labelled(fixed->fanTraySlot(two), "FanTraySlot", "2");
  Ptr<EntityMib::Fan> const fan = labelled(tray->newFan(one), "Fan", "1");
  Ptr<EntityMib::PowerSupply> const supply = labelled(supplyIn(fixed, 1), "PowerSupply", "1");
  labelled(fixed->powerSupplySlot(one), "PowerSupplySlot", "P1");
  Ptr<EntityMib::Xcvr> const xcvr = labelled(xcvrIn(fixed->xcvrSlotIs(ParentIndex(5))), "Xcvr", "5");
  Ptr<EntityMib::Lane> const lane = labelled(xcvr->newLane(two), "Lane", "5/2");

  Ptr<EntityMib::Card> const card = labelled(cardIn(inventory.chassis, 3), "Linecard", "3");
  labelled(inventory.chassis->cardSlot(ParentIndex(3)), "CardSlot", "3");
  Ptr<EntityMib::Xcvr> const onCard = labelled(xcvrIn(card->xcvrSlotIs(ParentIndex(5))), "Xcvr", "5");

  struct Row {
    Ptr<PhysicalEntity const> entity;
    char const* name;
    char const* path;
  };
  for (Row const& row : {
           Row{fixed, "FixedSystem1", ""},
           Row{labelled(fixed->newSensor(one), "TempSensor", "1"), "TempSensor1", "sensor"},
           Row{labelled(card->newSensor(one), "TempSensor", "1"), "TempSensor3/1", "cardslot/card/sensor"},
           Row{labelled(fixed->newPort(ParentIndex(5)), "Ethernet", "5"), "Ethernet5", "port"},
           Row{labelled(card->newPort(ParentIndex(5)), "Ethernet", "5"), "Ethernet3/5", "cardslot/card/port"},
           Row{fixed->fanTraySlot(two), "FanTraySlot2", "fantrayslot"},
           Row{tray, "FanTray2/9", "fantrayslot/fantray"},
           Row{fan, "Fan2/1", "fantrayslot/fantray/fan"},
           Row{labelled(fan->newSensor(one), "FanSensor", "1"), "FanSensor2/1", "fantrayslot/fantray/fan/sensor"},
           Row{fixed->powerSupplySlot(one), "PowerSupplySlotP1", "powersupplyslot"},
           Row{supply, "PowerSupplyP1/1", "powersupplyslot/powersupply"},
           Row{labelled(supply->newFan(one), "Fan", "1"), "FanP1/1", "powersupplyslot/powersupply/fan"},
           Row{labelled(supply->newSensor(one), "TempSensor", "1"), "TempSensorP1/1",
               "powersupplyslot/powersupply/sensor"},
           Row{card, "Linecard3/3", "cardslot/card"},
           Row{inventory.chassis->cardSlot(ParentIndex(3)), "CardSlot3", "cardslot"},
           Row{xcvr, "Xcvr5", "xcvrslot/xcvr"},
           Row{labelled(xcvr->newSensor(one), "DomTemperatureSensor", "5"), "DomTemperatureSensor5",
               "xcvrslot/xcvr/sensor"},
           Row{labelled(lane->newSensor(one), "DomRxPowerSensor", "5/2"), "DomRxPowerSensor5/2",
               "xcvrslot/xcvr/lane/sensor"},
           Row{labelled(onCard->newSensor(one), "DomTemperatureSensor", "5"), "DomTemperatureSensor3/5",
               "cardslot/card/xcvrslot/xcvr/sensor"},
           Row{labelled(labelled(onCard->newLane(two), "Lane", "5/2")->newSensor(one), "DomRxPowerSensor", "5/2"),
               "DomRxPowerSensor3/5/2", "cardslot/card/xcvrslot/xcvr/lane/sensor"},
       }) {
    EXPECT_EQ(text(helper().componentName(row.entity)), row.name);
    EXPECT_EQ(text(helper().getPath(row.entity)), row.path) << row.name;
  }
}

// Managers keep their history by these numbers: a change here renumbers every switch in the field.
TEST(PhysicalIndex, KnownPlaces) {
  Inventory const inventory;
  Ptr<EntityMib::FixedSystem> const& fixed = inventory.fixed;
  Ptr<EntityMib::Chassis> const& chassis = inventory.chassis;
  ParentIndex const one(1);
  chassis->cardplaneIs(make<EntityMib::Cardplane>("cardplane"));
  Ptr<EntityMib::Card> const card = cardIn(chassis, 3);
  Ptr<EntityMib::Xcvr> const xcvr = xcvrIn(fixed->xcvrSlotIs(ParentIndex(49)));
  Ptr<EntityMib::Lane> const lane = xcvr->newLane(ParentIndex(2));
  Ptr<EntityMib::Fan> const fan = trayIn(fixed, 2)->newFan(one);
  Ptr<EntityMib::Fan> const supplyFan = supplyIn(fixed, 1)->newFan(one);

  struct Row {
    Ptr<PhysicalEntity const> entity;
    U32 index;
  };
  for (Row const& row : {
           Row{fixed, 1},
           Row{fixed->newSensor(ParentIndex(3)), 100003},
           Row{fixed->newChip(one), 110001},
           Row{fixed->newStorageDevices(one), 120001},
           Row{labelled(fixed->newPort(ParentIndex(5)), "Ethernet", "5"), 200005},
           Row{labelled(fixed->newPort(ParentIndex(53)), "Management", "1"), 201053},
           Row{labelled(fixed->newPort(ParentIndex(54)), "Console", "1"), 204054},
           Row{fixed->fanTraySlot(ParentIndex(2)), 1020000},
           Row{trayIn(fixed, 2), 1020001},
           Row{fan, 1021100},
           Row{fan->newSensor(one), 1021101},
           Row{fixed->powerSupplySlot(one), 2010000},
           Row{supplyIn(fixed, 1), 2010001},
           Row{supplyIn(fixed, 1)->newSensor(ParentIndex(2)), 2010102},
           Row{supplyFan, 2011100},
           Row{supplyFan->newSensor(one), 2011101},
           Row{fixed->xcvrSlot(ParentIndex(49)), 4490000},
           Row{xcvr, 4490001},
           Row{xcvr->newSensor(one), 4490101},
           Row{lane, 4491200},
           Row{lane->newSensor(ParentIndex(3)), 4491203},
           Row{chassis, 650000001},
           Row{chassis->cardplane(), 650000002},
           Row{trayIn(chassis, 1), 651010001},
           Row{supplyIn(chassis, 32), 652320001},
           Row{chassis->cardSlot(ParentIndex(3)), 30000000},
           Row{card, 30000001},
           Row{card->newSensor(one), 30100001},
           Row{xcvrIn(card->xcvrSlotIs(ParentIndex(512))), 39120001},
       }) {
    EXPECT_EQ(indexOf(row.entity.get()), row.index) << text(helper().getPath(row.entity));
  }
}

// Collects the numbers of places, and of the collections themselves, and finds two places with one number.
class Places {
 public:
  // The numbers of all members of a collection, from key `first` to `last`, in every role that it has.
  void members(PhysicalEntity const* parent, char const* word, U32 first, U32 last, bool hasRoles = false) {
    for (U32 key = first; key <= last; ++key) member(parent, word, key, hasRoles);
  }
  void member(PhysicalEntity const* parent, char const* word, U32 key, bool hasRoles = false) {
    for (char const* role : roles) {
      if (!hasRoles && *role != '\0') continue;
      add(indexes_, helper().physicalIndex(parent, word, key, role), parent, word, key, role);
    }
  }
  void collection(PhysicalEntity const* parent, char const* word) {
    U32 const index = helper().physicalIndex(parent, word, 0, "") + containerBase;
    EXPECT_LE(index, 0x7fffffffU);
    EXPECT_GE(index, containerBase);
    add(containers_, index, parent, word, 0, "");
  }
  // An object that the tree holds has the number that is computed for its place.
  void object(PhysicalEntity const* parent, char const* word, PhysicalEntity const* entity) {
    EXPECT_EQ(indexOf(entity), helper().physicalIndex(parent, word, entity->parentIndex().value(), "")) << word;
    add(indexes_, indexOf(entity), parent, word, entity->parentIndex().value(), "");
  }

  std::size_t count() const { return indexes_.size() + containers_.size(); }

 private:
  void add(std::set<U32>& seen, U32 index, PhysicalEntity const* parent, char const* word, U32 key, char const* role) {
    if (&seen == &indexes_ && (index < 1 || index > largestIndex)) {
      ADD_FAILURE() << index << " is out of range: " << word << " " << key << " " << role;
    }
    if (!seen.insert(index).second) {
      ADD_FAILURE() << index << " stands for two places; one is " << word << " " << key << " " << role << " below "
                    << (parent == nullptr ? 0 : indexOf(parent));
    }
  }

  std::set<U32> indexes_;
  std::set<U32> containers_;
};

// The keys of a collection at which its places are visited.
using Keys = std::function<std::vector<U32>(U32 max)>;

std::vector<U32> allKeys(U32 max) {
  std::vector<U32> keys;
  for (U32 key = 1; key <= max; ++key) keys.push_back(key);
  return keys;
}

std::vector<U32> cornerKeys(U32 max) { return max < 4 ? allKeys(max) : std::vector<U32>{1, 2, max - 1, max}; }

void visitFan(Places& places, EntityMib::Fan const* fan, Keys const& keys) {
  places.collection(fan, "Sensor");
  for (U32 const key : keys(32)) places.member(fan, "sensor", key);
}

template <class Owner>
void visitFans(Places& places, Owner* owner, Keys const& keys) {
  places.collection(owner, "Fan");
  for (U32 const key : keys(32)) {
    Ptr<EntityMib::Fan> const fan = owner->newFan(ParentIndex(key));
    places.object(owner, "fan", fan.get());
    visitFan(places, fan.get(), keys);
  }
}

// Slots of supplies and fan trays, which a fixed system and a chassis have alike.
template <class System>
void visitSlots(Places& places, Ptr<System> const& system, Keys const& keys) {
  places.collection(system.get(), "PowerSupplySlot");
  places.collection(system.get(), "FanTraySlot");
  for (U32 const key : keys(32)) {
    EntityMib::PowerSupply* const supply = supplyIn(system, key).get();
    EntityMib::PowerSupplySlot const* const slot = system->powerSupplySlot(ParentIndex(key)).get();
    places.object(system.get(), "powerSupplySlot", slot);
    places.object(slot, "powerSupply", supply);
    places.collection(supply, "Sensor");
    for (U32 const sensor : keys(32)) places.member(supply, "sensor", sensor);
    visitFans(places, supply, keys);
  }
  for (U32 const key : keys(64)) {
    EntityMib::FanTray* const tray = trayIn(system, key).get();
    EntityMib::FanTraySlot const* const slot = system->fanTraySlot(ParentIndex(key)).get();
    places.object(system.get(), "fanTraySlot", slot);
    places.object(slot, "fanTray", tray);
    visitFans(places, tray, keys);
  }
}

void visitCard(Places& places, EntityMib::Card* card, Keys const& keys) {
  for (char const* word : {"Sensor", "Port", "XcvrSlot", "Chip", "StorageDevices"}) places.collection(card, word);
  for (U32 const key : keys(1024)) places.member(card, "sensor", key);
  for (U32 const key : keys(512)) {
    places.member(card, "chip", key);
    places.member(card, "storageDevices", key);
    places.member(card, "port", key, true);
    Ptr<EntityMib::XcvrSlot> const slot = card->newXcvrSlot(ParentIndex(key));
    EntityMib::Xcvr* const xcvr = xcvrIn(slot).get();
    places.object(card, "xcvrSlot", slot.get());
    places.object(slot.get(), "xcvr", xcvr);
    places.collection(xcvr, "Sensor");
    places.collection(xcvr, "Lane");
    for (U32 const sensor : keys(32)) places.member(xcvr, "sensor", sensor);
    for (U32 const laneKey : keys(16)) {
      Ptr<EntityMib::Lane> const lane = xcvr->newLane(ParentIndex(laneKey));
      places.object(xcvr, "lane", lane.get());
      places.collection(lane.get(), "Sensor");
      for (U32 const sensor : keys(32)) places.member(lane.get(), "sensor", sensor);
    }
  }
}

TEST(PhysicalIndex, NoTwoPlacesOfAFixedSystemShareOne) {
  Inventory const inventory;
  Places places;
  places.object(nullptr, "fixedSystem", inventory.fixed.get());
  visitSlots(places, inventory.fixed, allKeys);
  visitCard(places, inventory.fixed.get(), allKeys);
  EXPECT_GT(places.count(), 400000U);
}

TEST(PhysicalIndex, NoTwoPlacesAtTheCornersShareOne) {
  Inventory const inventory;
  inventory.chassis->cardplaneIs(make<EntityMib::Cardplane>("cardplane"));
  Places places;
  places.object(nullptr, "FixedSystem", inventory.fixed.get());
  visitSlots(places, inventory.fixed, cornerKeys);
  visitCard(places, inventory.fixed.get(), cornerKeys);
  places.object(nullptr, "Chassis", inventory.chassis.get());
  places.object(inventory.chassis.get(), "cardPlane", inventory.chassis->cardplane().get());
  places.collection(inventory.chassis.get(), "CardSlot");
  visitSlots(places, inventory.chassis, cornerKeys);
  for (U32 const key : cornerKeys(64)) {
    Ptr<EntityMib::Card> const card = cardIn(inventory.chassis, key);
    EntityMib::CardSlot const* const slot = inventory.chassis->cardSlot(ParentIndex(key)).get();
    places.object(inventory.chassis.get(), "cardSlot", slot);
    places.object(slot, "card", card.get());
    visitCard(places, card.get(), cornerKeys);
  }
}

// Random places anywhere in a chassis. A number that comes twice must be the same place again.
TEST(PhysicalIndex, RandomPlacesOfAChassis) {
  Inventory const inventory;
  std::mt19937 random(20240507);  // NOLINT(bugprone-random-generator-seed): a failure must come again
  auto const upTo = [&random](U32 max) { return std::uniform_int_distribution<U32>(1, max)(random); };
  std::map<U32, std::string> seen;
  auto const place = [&seen](PhysicalEntity const* parent, char const* word, U32 key, char const* role = "") {
    U32 const index = helper().physicalIndex(parent, word, key, role);
    EXPECT_EQ(helper().physicalIndex(parent, String8(word).lowerCase(-1), key, role), index);
    EXPECT_TRUE(index >= 1 && index <= largestIndex) << index;
    std::string const name = std::to_string(indexOf(parent)) + " " + word + " " + std::to_string(key) + " " + role;
    EXPECT_EQ(seen.emplace(index, name).first->second, name) << index;
  };
  for (int i = 0; i < 3000; ++i) {
    Ptr<EntityMib::Card> const card = cardIn(inventory.chassis, upTo(64));
    place(card.get(), "sensor", upTo(1024));
    place(card.get(), "chip", upTo(512));
    place(card.get(), "port", upTo(512), roles[upTo(5) - 1]);
    Ptr<EntityMib::XcvrSlot> const slot = card->xcvrSlotIs(ParentIndex(upTo(512)));
    place(card.get(), "xcvrSlot", slot->parentIndex().value());
    Ptr<EntityMib::Xcvr> const xcvr = xcvrIn(slot);
    place(slot.get(), "xcvr", 0);
    place(xcvr.get(), "sensor", upTo(32));
    Ptr<EntityMib::Lane> const lane = xcvr->laneIs(ParentIndex(upTo(16)));
    place(xcvr.get(), "lane", lane->parentIndex().value());
    place(lane.get(), "sensor", upTo(32));
    Ptr<EntityMib::PowerSupply> const supply = supplyIn(inventory.chassis, upTo(32));
    Ptr<EntityMib::Fan> const fan = supply->fanIs(ParentIndex(upTo(32)));
    place(supply.get(), "sensor", upTo(32));
    place(supply.get(), "fan", fan->parentIndex().value());
    place(fan.get(), "sensor", upTo(32));
    Ptr<EntityMib::Fan> const trayFan = trayIn(inventory.chassis, upTo(64))->fanIs(ParentIndex(upTo(32)));
    place(trayFan.get(), "sensor", upTo(32));
  }
}

TEST(PhysicalIndex, WhatLiesOutsideIsRefusedInWords) {
  Inventory const inventory;
  EntityMib::FixedSystem const* const fixed = inventory.fixed.get();
  EntityMib::Chassis const* const chassis = inventory.chassis.get();
  Ptr<EntityMib::Card> const card = cardIn(inventory.chassis, 1);
  Ptr<EntityMib::XcvrSlot> const xcvrSlot = card->newXcvrSlot(ParentIndex(1));
  Ptr<EntityMib::Xcvr> const xcvr = xcvrIn(xcvrSlot);
  Ptr<EntityMib::Lane> const lane = xcvr->newLane(ParentIndex(1));
  Ptr<EntityMib::PowerSupply> const supply = supplyIn(inventory.fixed, 1);
  Ptr<EntityMib::FanTray> const tray = trayIn(inventory.fixed, 1);
  Ptr<EntityMib::Fan> const fan = tray->newFan(ParentIndex(1));
  Ptr<EntityMib::FixedSystem> const loose = make<EntityMib::FixedSystem>("loose");

  struct Row {
    PhysicalEntity const* parent;
    char const* word;
    U32 key;
    char const* role;
    char const* refusal;
  };
  for (Row const& row : {
           Row{chassis, "cardSlot", 65, "", "cardSlot 65 is outside 1 to 64"},
           Row{chassis, "fanTraySlot", 65, "", "fanTraySlot 65 is outside 1 to 64"},
           Row{chassis, "powerSupplySlot", 33, "", "powerSupplySlot 33 is outside 1 to 32"},
           Row{fixed, "fanTraySlot", 65, "", "fanTraySlot 65 is outside 1 to 64"},
           Row{fixed, "powerSupplySlot", 33, "", "powerSupplySlot 33 is outside 1 to 32"},
           Row{fixed, "sensor", 1025, "", "sensor 1025 is outside 1 to 1024"},
           Row{card.get(), "sensor", 0xffffffffU, "", "sensor 4294967295 is outside 1 to 1024"},
           Row{card.get(), "port", 513, "ethernet", "port 513 is outside 1 to 512"},
           Row{card.get(), "xcvrSlot", 513, "", "xcvrSlot 513 is outside 1 to 512"},
           Row{card.get(), "chip", 513, "", "chip 513 is outside 1 to 512"},
           Row{card.get(), "storageDevices", 513, "", "storageDevices 513 is outside 1 to 512"},
           Row{xcvr.get(), "sensor", 33, "", "sensor 33 is outside 1 to 32"},
           Row{xcvr.get(), "lane", 17, "", "lane 17 is outside 1 to 16"},
           Row{lane.get(), "sensor", 33, "", "sensor 33 is outside 1 to 32"},
           Row{supply.get(), "sensor", 33, "", "sensor 33 is outside 1 to 32"},
           Row{supply.get(), "fan", 33, "", "fan 33 is outside 1 to 32"},
           Row{tray.get(), "fan", 33, "", "fan 33 is outside 1 to 32"},
           Row{fan.get(), "sensor", 33, "", "sensor 33 is outside 1 to 32"},
           Row{xcvrSlot.get(), "xcvr", 1, "", "there is one xcvr, without a key"},
           Row{nullptr, "Chassis", 1, "", "there is one Chassis, without a key"},
           Row{fixed, "port", 1, "uplink", "uplink is no role of a port"},
           Row{fixed, "sensor", 1, "test", "a sensor has no role"},
           Row{fixed, "lane", 1, "", "no place for lane below a FixedSystem"},
           Row{card.get(), "fanTraySlot", 1, "", "no place for fanTraySlot below a Card"},
           Row{nullptr, "card", 0, "", "no place for card at the top of the inventory"},
           Row{loose.get(), "sensor", 1, "", "the parent of sensor 1 has no place in the inventory"},
       }) {
    EXPECT_THAT(refusal([&row] { helper().physicalIndex(row.parent, row.word, row.key, row.role); }),
                HasSubstr(row.refusal));
  }
}

TEST(PhysicalIndex, AnObjectOutsideTheBoundsDoesNotEnterTheTree) {
  Inventory const inventory;
  for (U32 const key : {0U, 513U}) {
    std::string const bound = "port " + std::to_string(key) + " is outside 1 to 512";
    EXPECT_EQ(refusal([&] { inventory.fixed->newPort(ParentIndex(key)); }), bound);
    EXPECT_FALSE(inventory.fixed->port(ParentIndex(key)));
  }
  EXPECT_EQ(inventory.fixed->portCount(), 0U);

  // Nor does it below a parent that has no place itself yet.
  Ptr<EntityMib::PowerSupply> const loose = make<EntityMib::PowerSupply>("powerSupply");
  EXPECT_EQ(refusal([&] { loose->newFan(ParentIndex(33)); }), "fan 33 is outside 1 to 32");
  EXPECT_EQ(loose->fanCount(), 0U);
}

TEST(PhysicalIndex, ASubtreeIsNumberedWithItsParent) {
  Inventory const inventory;
  Ptr<EntityMib::PowerSupply> const supply = make<EntityMib::PowerSupply>("powerSupply");
  Ptr<EntityMib::Fan> const fan = supply->newFan(ParentIndex(2));
  Ptr<EntityMib::Sensor> const sensor = fan->newSensor(ParentIndex(3));
  EXPECT_EQ(indexOf(sensor.get()), 0U);

  inventory.fixed->newPowerSupplySlot(ParentIndex(1))->powerSupplyIs(supply);
  EXPECT_EQ(indexOf(fan.get()), 2011200U);
  EXPECT_EQ(indexOf(sensor.get()), 2011203U);

  // Out of the tree it keeps its numbers, and in another slot it gets others.
  inventory.fixed->powerSupplySlot(ParentIndex(1))->powerSupplyIs(nullptr);
  EXPECT_EQ(indexOf(sensor.get()), 2011203U);
  EXPECT_EQ(helper().physicalIndex(fan, "sensor", 3, ""), 2011203U);
  inventory.fixed->newPowerSupplySlot(ParentIndex(2))->powerSupplyIs(supply);
  EXPECT_EQ(indexOf(sensor.get()), 2021203U);
}

TEST(PhysicalIndex, APortsTagGivesItsRole) {
  Inventory const inventory;
  Ptr<EntityMib::Port> const port = inventory.fixed->newPort(ParentIndex(7));
  struct Row {
    char const* tag;
    char const* role;
  };
  for (Row const& row : {Row{"", ""}, Row{"Ethernet", "ethernet"}, Row{"MANAGEMENT", "management"}, Row{"Test", "test"},
                         Row{"internal", "internal"}, Row{"Uplink", ""}}) {
    port->tagIs(row.tag);
    EXPECT_EQ(indexOf(port.get()), helper().physicalIndex(inventory.fixed, "port", 7, row.role)) << row.tag;
  }
  // The tag of any other part is a name and no more.
  Ptr<EntityMib::Sensor> const sensor = inventory.fixed->newSensor(ParentIndex(7));
  sensor->tagIs("Ethernet");
  EXPECT_EQ(indexOf(sensor.get()), 100007U);
}

}  // namespace
