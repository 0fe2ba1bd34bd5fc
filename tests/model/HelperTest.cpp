// Paths, names and physical indexes of the parts of the inventory.

#include "model/input/Helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "model/input/EntityMib.h"
#include "runtime/reflection/Type.h"
#include "tests/Support.h"

namespace {

using EntityMib::ParentIndex;
using EntityMib::PhysicalEntity;
using testing::HasSubstr;
using Zef::make;
using Zef::Ptr;
using Zef::String8;

constexpr U32 largestIndex = 999999999;
constexpr char const* roles[] = {"ethernet", "management", "test", "internal", ""};

EntityMib::Helper const& helper() {
  static Ptr<EntityMib::Helper> const instance = make<EntityMib::Helper>();
  return *instance;
}

U32 indexOf(PhysicalEntity const& entity) { return entity.physicalIndex().value(); }

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

// What stands in a slot; put in when it is empty.
template <class T>
Ptr<T> in(Ptr<EntityMib::Slot> const& slot) {
  return Zef::dynamicCast<T>(slot->fwkType()->attributes().front()->childIs(*slot));
}

// Managers keep their history by these numbers: a change here renumbers every switch in the field.
TEST(PhysicalIndex, KnownPlaces) {
  Inventory const inventory;
  Ptr<EntityMib::FixedSystem> const fixed = labelled(inventory.fixed, "FixedSystem", "1");
  Ptr<EntityMib::Chassis> const& chassis = inventory.chassis;
  ParentIndex const one(1);
  ParentIndex const two(2);
  chassis->cardplaneIs(make<EntityMib::Cardplane>("cardplane"));
  Ptr<EntityMib::Card> const card = labelled(in<EntityMib::Card>(chassis->cardSlotIs(ParentIndex(3))), "Linecard", "3");
  labelled(chassis->cardSlot(ParentIndex(3)), "CardSlot", "3");
  Ptr<EntityMib::Xcvr> const xcvr = labelled(in<EntityMib::Xcvr>(fixed->xcvrSlotIs(ParentIndex(49))), "Xcvr", "49");
  Ptr<EntityMib::Lane> const lane = xcvr->newLane(two);
  Ptr<EntityMib::Xcvr> const onCard = in<EntityMib::Xcvr>(card->xcvrSlotIs(ParentIndex(512)));
  Ptr<EntityMib::FanTray> const tray =
      labelled(in<EntityMib::FanTray>(fixed->fanTraySlotIs(ParentIndex(2))), "FanTray", "9");
  labelled(fixed->fanTraySlot(two), "FanTraySlot", "2");
  Ptr<EntityMib::Fan> const fan = labelled(tray->newFan(one), "Fan", "1");
  Ptr<EntityMib::PowerSupply> const supply = in<EntityMib::PowerSupply>(fixed->powerSupplySlotIs(ParentIndex(1)));
  labelled(fixed->powerSupplySlot(one), "PowerSupplySlot", "P1");
  Ptr<EntityMib::Fan> const supplyFan = labelled(supply->newFan(one), "Fan", "1");

  struct Row {
    Ptr<PhysicalEntity const> entity;
    U32 index;
    char const* path;
    char const* name;
  };
  for (Row const& row : {
           Row{fixed, 1, "", "FixedSystem1"},
           Row{labelled(fixed->newSensor(ParentIndex(3)), "TempSensor", "1"), 100003, "sensor", "TempSensor1"},
           Row{labelled(fixed->newChip(one), "Ethernet", "1"), 110001, "chip", "Ethernet1"},  // a role of ports alone
           Row{fixed->newStorageDevices(one), 120001, "storagedevices", ""},
           Row{labelled(fixed->newPort(ParentIndex(5)), "Ethernet", "5"), 200005, "port", "Ethernet5"},
           Row{labelled(fixed->newPort(ParentIndex(53)), "Management", "1"), 201053, "port", "Management1"},
           Row{labelled(fixed->newPort(ParentIndex(54)), "TEST", "1"), 202054, "port", "TEST1"},
           Row{labelled(fixed->newPort(ParentIndex(55)), "internal", "1"), 203055, "port", "internal1"},
           Row{labelled(fixed->newPort(ParentIndex(56)), "Console", "1"), 204056, "port", "Console1"},
           Row{fixed->fanTraySlot(two), 1020000, "fantrayslot", "FanTraySlot2"},
           Row{tray, 1020001, "fantrayslot/fantray", "FanTray2/9"},
           Row{fan, 1021100, "fantrayslot/fantray/fan", "Fan2/1"},
           Row{fan->newSensor(one), 1021101, "fantrayslot/fantray/fan/sensor", "2/"},
           Row{fixed->powerSupplySlot(one), 2010000, "powersupplyslot", "PowerSupplySlotP1"},
           Row{supply, 2010001, "powersupplyslot/powersupply", "P1/"},
           Row{supply->newSensor(two), 2010102, "powersupplyslot/powersupply/sensor", "P1/"},
           Row{supplyFan, 2011100, "powersupplyslot/powersupply/fan", "FanP1/1"},
           Row{supplyFan->newSensor(one), 2011101, "powersupplyslot/powersupply/fan/sensor", "P1/"},
           Row{fixed->xcvrSlot(ParentIndex(49)), 4490000, "xcvrslot", ""},
           Row{xcvr, 4490001, "xcvrslot/xcvr", "Xcvr49"},
           Row{xcvr->newSensor(one), 4490101, "xcvrslot/xcvr/sensor", ""},
           Row{lane, 4491200, "xcvrslot/xcvr/lane", ""},
           Row{labelled(lane->newSensor(ParentIndex(3)), "DomRxPowerSensor", "49/2"), 4491203,
               "xcvrslot/xcvr/lane/sensor", "DomRxPowerSensor49/2"},
           Row{chassis, 650000001, "", ""},
           Row{chassis->cardplane(), 650000002, "cardplane", ""},
           Row{in<EntityMib::FanTray>(chassis->fanTraySlotIs(ParentIndex(1))), 651010001, "fantrayslot/fantray", "/"},
           Row{in<EntityMib::PowerSupply>(chassis->powerSupplySlotIs(ParentIndex(32))), 652320001,
               "powersupplyslot/powersupply", "/"},
           Row{chassis->cardSlot(ParentIndex(3)), 30000000, "cardslot", "CardSlot3"},
           Row{card, 30000001, "cardslot/card", "Linecard3/3"},
           Row{labelled(card->newSensor(one), "TempSensor", "1"), 30100001, "cardslot/card/sensor", "TempSensor3/1"},
           Row{onCard, 39120001, "cardslot/card/xcvrslot/xcvr", "3/"},
           Row{labelled(onCard->newLane(two)->newSensor(one), "DomRxPowerSensor", "5/2"), 39121201,
               "cardslot/card/xcvrslot/xcvr/lane/sensor", "DomRxPowerSensor3/5/2"},
       }) {
    EXPECT_EQ(indexOf(*row.entity), row.index) << row.path;
    EXPECT_EQ(helper().getPath(row.entity), row.path) << row.index;
    EXPECT_EQ(helper().componentName(row.entity), row.name) << row.index;
  }
}

// Visits places, with the numbers that they have and that their collections have, and finds two with one number.
class Places {
 public:
  using Keys = std::vector<U32> (*)(U32 max);
  explicit Places(Keys keys) : keys_(keys) {}

  void visit(PhysicalEntity& part, std::string const& name) {
    enter(indexes_, indexOf(part), name);
    EXPECT_TRUE(indexOf(part) >= 1 && indexOf(part) <= largestIndex) << name;
    for (Zef::ZefAttr const* attribute : part.fwkType()->allAttributes()) {
      if (attribute->kind() == Kind::entity) {
        visit(dynamic_cast<PhysicalEntity&>(*attribute->childIs(part)), name + "/" + attribute->name().charPtr());
      } else if (attribute->kind() == Kind::collection) {
        visitMembers(part, *attribute, name + "/" + attribute->name().charPtr());
      }
    }
  }
  std::size_t count() const { return indexes_.size() + containers_.size(); }

 private:
  using Kind = Zef::ZefAttr::Kind;

  void visitMembers(PhysicalEntity& part, Zef::ZefAttr const& attribute, std::string const& name) {
    String8 const& word = attribute.name().stringValue();
    enter(containers_, helper().physicalIndex(&part, word, 0, ""), name);
    auto const& below = attribute.objectType()->allAttributes();
    bool const holdsParts = std::any_of(below.begin(), below.end(), [](Zef::ZefAttr const* each) {
      return each->kind() == Kind::entity || each->kind() == Kind::collection;
    });
    for (U32 const key : keys_(maxKey(part, word))) {
      std::string const member = name + "/" + std::to_string(key);
      if (holdsParts) {
        auto const object = Zef::dynamicCast<PhysicalEntity>(attribute.memberIs(part, std::to_string(key).c_str()));
        EXPECT_EQ(indexOf(*object), helper().physicalIndex(&part, word.lowerCase(-1), key, "")) << member;
        visit(*object, member);
      } else if (word == "port") {
        for (char const* role : roles) enter(indexes_, helper().physicalIndex(&part, word, key, role), member + role);
      } else {
        enter(indexes_, helper().physicalIndex(&part, word, key, ""), member);
      }
    }
  }

  // The largest key of a collection; the next one is refused in words.
  static U32 maxKey(PhysicalEntity const& part, String8 const& word) {
    static std::map<std::string, U32> const all{
        {"cardSlot", 64},  {"fanTraySlot", 64}, {"powerSupplySlot", 32}, {"fan", 32},  {"port", 512},
        {"xcvrSlot", 512}, {"chip", 512},       {"storageDevices", 512}, {"lane", 16}, {"sensor", 32}};
    bool const isOfCard = word == "sensor" && dynamic_cast<EntityMib::Card const*>(&part) != nullptr;
    U32 const max = isOfCard ? 1024 : all.at(word.charPtr());
    EXPECT_EQ(refusal([&] { helper().physicalIndex(&part, word, max + 1, ""); }),
              Zef::format("%s %u is outside 1 to %u", word.charPtr(), max + 1, max).view());
    return max;
  }

  static void enter(std::map<U32, std::string>& seen, U32 index, std::string const& name) {
    auto const [at, isNew] = seen.emplace(index, name);
    if (!isNew) ADD_FAILURE() << index << " stands for " << at->second << " and for " << name;
  }

  Keys keys_;
  std::map<U32, std::string> indexes_;
  std::map<U32, std::string> containers_;
};

std::vector<U32> allKeys(U32 max) {
  std::vector<U32> keys(max);
  std::iota(keys.begin(), keys.end(), 1);
  return keys;
}

std::vector<U32> cornerKeys(U32 max) { return {1, 2, max - 1, max}; }

TEST(PhysicalIndex, NoTwoPlacesOfAFixedSystemShareOne) {
  Inventory const inventory;
  Places places(allKeys);
  places.visit(*inventory.fixed, "fixed");
  EXPECT_GT(places.count(), 400000U);
}

TEST(PhysicalIndex, NoTwoPlacesOfAnySystemShareOne) {
  Inventory const inventory;
  Places places(cornerKeys);
  places.visit(*inventory.fixed, "fixed");
  places.visit(*inventory.chassis, "chassis");
  EXPECT_GT(places.count(), 1000U);
}

TEST(PhysicalIndex, WhatIsNoPlaceIsRefusedInWords) {
  Inventory const inventory;
  EntityMib::FixedSystem const* const fixed = inventory.fixed.get();
  Ptr<EntityMib::Card> const card = in<EntityMib::Card>(inventory.chassis->cardSlotIs(ParentIndex(1)));
  Ptr<EntityMib::XcvrSlot> const xcvrSlot = card->newXcvrSlot(ParentIndex(1));
  Ptr<EntityMib::FixedSystem> const loose = make<EntityMib::FixedSystem>("loose");
  struct Row {
    PhysicalEntity const* parent;
    char const* word;
    U32 key;
    char const* role;
    char const* refusal;
  };
  for (Row const& row : {
           Row{xcvrSlot.get(), "xcvr", 1, "", "there is one xcvr, without a key"},
           Row{fixed, "port", 1, "uplink", "uplink is no role of a port"},
           Row{fixed, "sensor", 1, "test", "a sensor has no role"},
           Row{fixed, "lane", 1, "", "no place for lane below a FixedSystem"},
           Row{nullptr, "card", 0, "", "no place for card at the top of the inventory"},
           Row{loose.get(), "sensor", 1, "", "the parent of sensor 1 has no place in the inventory"},
       }) {
    EXPECT_THAT(refusal([&row] { helper().physicalIndex(row.parent, row.word, row.key, row.role); }),
                HasSubstr(row.refusal));
  }
  // Nor does an object enter the tree there, or below a parent that has no place itself yet.
  for (U32 const key : {0U, 513U}) {
    EXPECT_EQ(refusal([&] { inventory.fixed->newPort(ParentIndex(key)); }),
              Zef::format("port %u is outside 1 to 512", key).view());
  }
  EXPECT_EQ(inventory.fixed->portCount(), 0U);
  Ptr<EntityMib::PowerSupply> const supply = make<EntityMib::PowerSupply>("powerSupply");
  EXPECT_EQ(refusal([&] { supply->newFan(ParentIndex(33)); }), "fan 33 is outside 1 to 32");
  EXPECT_EQ(supply->fanCount(), 0U);
}

TEST(PhysicalIndex, ASubtreeIsNumberedWithItsParent) {
  Inventory const inventory;
  Ptr<EntityMib::PowerSupply> const supply = make<EntityMib::PowerSupply>("powerSupply");
  Ptr<EntityMib::Fan> const fan = supply->newFan(ParentIndex(2));
  Ptr<EntityMib::Sensor> const sensor = fan->newSensor(ParentIndex(3));
  EXPECT_EQ(indexOf(*sensor), 0U);

  inventory.fixed->newPowerSupplySlot(ParentIndex(1))->powerSupplyIs(supply);
  EXPECT_EQ(indexOf(*fan), 2011200U);
  EXPECT_EQ(indexOf(*sensor), 2011203U);

  // Out of the tree it keeps its numbers, and in another slot it gets others.
  inventory.fixed->powerSupplySlot(ParentIndex(1))->powerSupplyIs(nullptr);
  EXPECT_EQ(indexOf(*sensor), 2011203U);
  EXPECT_EQ(helper().physicalIndex(fan, "sensor", 3, ""), 2011203U);
  inventory.fixed->newPowerSupplySlot(ParentIndex(2))->powerSupplyIs(supply);
  EXPECT_EQ(indexOf(*sensor), 2021203U);
}

}  // namespace
