// What the vocabulary of the inputs becomes in the MIBs.

#include "model/Constants.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "model/input/Helper.h"

namespace {

using Orvane::Constants;
using Zef::make;
using Zef::Ptr;
using Zef::String8;

constexpr U32 sentinel = 0xc4653600U;  // the bits of -1000000000
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

Constants const& constants() {
  static Ptr<Constants> const instance = make<Constants>();
  return *instance;
}

std::string text(String8 const& string) { return std::string(string.view()); }

template <class Status>
void expectHwStatus(U32 (Constants::*operStatus)(Status) const, U32 (Constants::*operState)(Status) const,
                    U32 (Constants::*adminState)(Status) const) {
  struct Row {
    U32 number, operStatus, operState, adminState;
  };
  for (Row const& row : {Row{0, 2, 1, 1}, Row{1, 1, 3, 4}, Row{2, 3, 2, 2}, Row{3, 3, 2, 2}, Row{7, 3, 2, 2},
                         Row{0xffffffffU, 3, 2, 2}}) {
    auto const status = static_cast<Status>(row.number);
    EXPECT_EQ((constants().*operStatus)(status), row.operStatus) << row.number;
    EXPECT_EQ((constants().*operState)(status), row.operState) << row.number;
    EXPECT_EQ((constants().*adminState)(status), row.adminState) << row.number;
  }
}

TEST(Constants, AllHardwareStatusesShareOneTable) {
  using C = Constants;
  expectHwStatus(&C::hwStatusToSensorOperStatus, &C::hwStatusToOperState, &C::hwStatusToAdminState);
  expectHwStatus(&C::voltageHwStatusToSensorOperStatus, &C::voltageHwStatusToOperState,
                 &C::voltageHwStatusToAdminState);
  expectHwStatus(&C::currentHwStatusToSensorOperStatus, &C::currentHwStatusToOperState,
                 &C::currentHwStatusToAdminState);
  expectHwStatus(&C::temperatureHwStatusToSensorOperStatus, &C::temperatureHwStatusToOperState,
                 &C::temperatureHwStatusToAdminState);
}

TEST(Constants, CardAndSupplyStates) {
  using CardState = Hardware::Card::CardStatus::CardState;
  using SupplyState = Environment::Power::SupplyStatus::State;
  struct Row {
    U32 number, operState, adminState;
  };
  for (Row const& row : {Row{0, 1, 1}, Row{1, 2, 2}, Row{2, 2, 2}, Row{3, 3, 4}, Row{4, 3, 4}}) {
    EXPECT_EQ(constants().cardStateToOperState(static_cast<CardState>(row.number)), row.operState) << row.number;
    EXPECT_EQ(constants().cardStateToAdminState(static_cast<CardState>(row.number)), row.adminState) << row.number;
  }
  for (Row const& row :
       {Row{0, 1, 1}, Row{1, 2, 2}, Row{2, 2, 2}, Row{3, 3, 4}, Row{4, 2, 2}, Row{0xffffffffU, 2, 2}}) {
    EXPECT_EQ(constants().supplyStateToOperState(static_cast<SupplyState>(row.number)), row.operState) << row.number;
    EXPECT_EQ(constants().supplyStateToAdminState(static_cast<SupplyState>(row.number)), row.adminState) << row.number;
  }
}

TEST(Constants, DomInfo) {
  EXPECT_EQ(constants().domInfoToOperState(false), 2U);
  EXPECT_EQ(constants().domInfoToOperStatus(false), 2U);
  EXPECT_EQ(constants().domInfoToAdminState(false), 2U);
  EXPECT_EQ(constants().domInfoToOperState(true), 3U);
  EXPECT_EQ(constants().domInfoToOperStatus(true), 1U);
  EXPECT_EQ(constants().domInfoToAdminState(true), 4U);
}

TEST(Constants, InterfaceStatus) {
  struct Row {
    U32 operStatus, whenEnabled, whenNot;
  };
  for (Row const& row :
       {Row{1, 3, 3}, Row{2, 2, 3}, Row{3, 3, 3}, Row{4, 1, 1}, Row{5, 2, 2}, Row{6, 1, 1}, Row{7, 2, 2}}) {
    auto const status = static_cast<Interface::IntfOperStatus>(row.operStatus);
    EXPECT_EQ(constants().operStateFromIntfOperStatus(true, status), row.whenEnabled) << row.operStatus;
    EXPECT_EQ(constants().operStateFromIntfOperStatus(false, status), row.whenNot) << row.operStatus;
  }
}

TEST(ConstantsDeathTest, ANumberOutsideAClosedTableEndsTheProcess) {
  using CardState = Hardware::Card::CardStatus::CardState;
  Constants const& c = constants();
  EXPECT_DEATH(c.cardStateToOperState(static_cast<CardState>(5)),
               "OrvaneLib:308: U32 Orvane::Constants::cardStateToOperState\\(Hardware::Card::CardStatus::CardState\\) "
               "const: Assertion `false' failed");
  EXPECT_DEATH(c.cardStateToAdminState(static_cast<CardState>(0xffffffffU)),
               "OrvaneLib:336: U32 Orvane::Constants::cardStateToAdminState\\(Hardware::Card::CardStatus::CardState\\) "
               "const: Assertion `false' failed");
  for (U32 const number : {0U, 8U}) {
    EXPECT_DEATH(
        c.operStateFromIntfOperStatus(false, static_cast<Interface::IntfOperStatus>(number)),
        "OrvaneLib:429: U32 Orvane::Constants::operStateFromIntfOperStatus\\(bool, Interface::IntfOperStatus\\) "
        "const: Assertion `0' failed");
  }
  for (char const* name : {"", "card", "PowerSupplySlots"}) {
    EXPECT_DEATH(c.entityPhysicalClass(name),
                 "OrvaneLib:624: U32 Orvane::Constants::entityPhysicalClass\\(Zef::String\\) const: "
                 "Assertion `false' failed");
  }
}

// Readings by operation. What a status of 2 changes is that an absent value reads as 0.
TEST(Constants, ReadingsToValues) {
  struct Row {
    char const* what;
    U32 (Constants::*convert)(float, U32) const;
    float reading;
    U32 value;
  };
  auto const temperature = &Constants::valueFromTemperature;
  auto const voltage = &Constants::valueFromVoltage;
  auto const current = &Constants::valueFromOutputCurrent;
  auto const power = &Constants::valueFromOpticalPower;
  for (Row const& row : {
           Row{"zero is a value", temperature, 0.0F, 0},
           Row{"so is minus zero", temperature, -0.0F, 0},
           Row{"halves go away from zero", temperature, 21.25F, 213},
           Row{"just below a half", temperature, 21.249998F, 212},
           Row{"the smallest number", temperature, std::numeric_limits<float>::denorm_min(), 0},
           Row{"beyond 32 bits, the low ones", temperature, 429496736.0F, 64},
           Row{"beyond 64 bits", temperature, 1e30F, 0},
           Row{"infinity", temperature, infinity, 0},
           Row{"no number", temperature, nan, 0},
           Row{"volts", voltage, 3.31F, 331},
           Row{"a half of a hundredth", voltage, 0.125F, 13},
           Row{"0.615 as a float is above 0.615", voltage, 0.615F, 62},
           Row{"0.285 as a float is below 0.285", voltage, 0.285F, 28},
           Row{"no number", voltage, nan, 0},
           Row{"amperes", current, 4.25F, 425},
           Row{"half of a hundredth", current, 0.375F, 38},
           Row{"no number", current, nan, 0},
           Row{"one milliwatt", power, 0.0F, 10000},
           Row{"a microwatt", power, -30.0F, 10},
           Row{"ten milliwatts", power, 10.0F, 100000},
           Row{"-3 dBm", power, -3.0F, 5012},
           Row{"next to nothing", power, -200.0F, 0},
           Row{"milliwatts are a float", power, -26.1083393F, 25},
           Row{"what is made of them is not", power, -28.3863201F, 14},
           Row{"beyond 32 bits, the low ones", power, 60.0F, 1410065408},
           Row{"beyond a float", power, 400.0F, 0},
           Row{"no number", power, nan, 0},
       }) {
    EXPECT_EQ((constants().*row.convert)(row.reading, 1), row.value) << row.what;
    EXPECT_EQ((constants().*row.convert)(row.reading, 2), row.value) << row.what;
  }
}

TEST(Constants, ReadingsWithoutAValue) {
  struct Row {
    U32 (Constants::*convert)(float, U32) const;
    float reading;
  };
  for (Row const& row : {
           Row{&Constants::valueFromTemperature, -0.5F},
           Row{&Constants::valueFromTemperature, -std::numeric_limits<float>::denorm_min()},
           Row{&Constants::valueFromTemperature, -infinity},
           Row{&Constants::valueFromVoltage, -0.01F},
           Row{&Constants::valueFromOutputCurrent, -1.0F},
           Row{&Constants::valueFromOpticalPower, -infinity},
           Row{&Constants::valueFromOpticalPower, infinity},
       }) {
    EXPECT_EQ((constants().*row.convert)(row.reading, 1), sentinel) << row.reading;
    EXPECT_EQ((constants().*row.convert)(row.reading, 2), 0U) << row.reading;
    EXPECT_EQ((constants().*row.convert)(row.reading, 3), sentinel) << row.reading;
  }
  EXPECT_EQ(constants().valueFromFanSpeed(nullptr, -1.0F, 1), sentinel);
  EXPECT_EQ(constants().valueFromFanSpeed(nullptr, -1.0F, 2), 0U);
}

TEST(Constants, FanSpeed) {
  struct Row {
    U32 maxRpm;
    float percent;
    U32 value;
  };
  for (Row const& row : {
           Row{12000, 50.0F, 6000},
           Row{12000, 0.0F, 0},
           Row{18000, 42.5F, 7650},
           Row{101, 50.0F, 51},  // 50.5
           Row{0, 50.0F, 0},
           Row{4294967295U, 100.0F, 0},      // as a float, which has no such number, 2 to the 32
           Row{16777217, 100.0F, 16777216},  // the nearest float
           Row{20775, 69.7160034F, 14484},   // just below a half, and the nearest float is the half
           Row{9000, 18.0499992F, 1624},     // a product in floats would have reached the half
           Row{12000, infinity, 0},
           Row{12000, nan, 0},
       }) {
    Ptr<Environment::Cooling::FanProperties const> const properties =
        make<Environment::Cooling::FanProperties>(row.maxRpm);
    EXPECT_EQ(constants().valueFromFanSpeed(properties, row.percent, 1), row.value) << row.maxRpm << " " << row.percent;
  }
  EXPECT_EQ(constants().valueFromFanSpeed(nullptr, 50.0F, 1), 0U);
}

TEST(Constants, PhysicalClassOfEveryClass) {
  struct Row {
    char const* name;
    U32 physicalClass;
  };
  for (Row const& row : {Row{"Chassis", 3}, Row{"FixedSystem", 3}, Row{"Cardplane", 1}, Row{"CardSlot", 5},
                         Row{"Card", 9}, Row{"Chip", 1}, Row{"Port", 10}, Row{"Sensor", 8}, Row{"Slot", 5},
                         Row{"Fan", 7}, Row{"FanTraySlot", 5}, Row{"FanTray", 5}, Row{"XcvrSlot", 5}, Row{"Xcvr", 5},
                         Row{"Lane", 9}, Row{"PowerSupplySlot", 5}, Row{"PowerSupply", 6}, Row{"StorageDevices", 1}}) {
    EXPECT_EQ(constants().entityPhysicalClass(row.name), row.physicalClass) << row.name;
  }
}

TEST(Constants, LaneFromALabel) {
  struct Row {
    char const* label;
    unsigned lane;
  };
  for (Row const& row : {Row{"", 0}, Row{"5", 0}, Row{"3/1", 0}, Row{"3/4", 3}, Row{"3/2/7", 1}, Row{"3/ 12", 11},
                         Row{"3/x", 255}, Row{"3/", 255}, Row{"3/0", 255}, Row{"3/-1", 254}, Row{"3/300", 43},
                         Row{"3/99999999999", 254}, Row{"3/-99999999999", 255}}) {
    EXPECT_EQ(constants().laneIdFromSensorLabel(row.label).value(), row.lane) << row.label;
  }
}

TEST(Constants, TransceiverFromASensor) {
  struct Row {
    char const* name;
    char const* label;
    char const* interface;
  };
  for (Row const& row : {
           Row{"TempSensor3", "3", "Ethernet3"},
           Row{"DomTemperatureSensor5", "5", "Ethernet5"},
           Row{"DomRxPowerSensor5/2", "5/2", "Ethernet5"},      // lane 2 of port 5
           Row{"DomTemperatureSensor3/5", "5", "Ethernet3/5"},  // port 5 of card 3
           Row{"DomRxPowerSensor3/5/2", "5/2", "Ethernet3/5"},  // lane 2 of port 5 of card 3
           Row{"TempSensor3/1/2", "7/1", "Ethernet3/7"},
           Row{"/anything", "3/1", "Ethernet3"},
           Row{"/anything", "3", "Ethernet3"},
           Row{"SensorSensor5", "5", "EthernetSensor5"},
           Row{"DomTemperatureSensor", "", "Ethernet"},
       }) {
    EXPECT_EQ(text(constants().xcvrNameFromSensorName(row.name, row.label)), row.interface)
        << row.name << " " << row.label;
  }
}

TEST(Constants, CardNames) {
  Ptr<EntityMib::Card> const card = make<EntityMib::Card>("card");
  card->tagIs("Linecard");
  card->labelIs("3");
  EXPECT_EQ(text(constants().cardName(card)), "Linecard3");

  struct Row {
    char const* componentName;
    char const* name;
  };
  for (Row const& row : {Row{"Linecard3/4", "Linecard4"}, Row{"Linecard3", "LinecardLinecard3"},
                         Row{"Linecard3/4/5", "Linecard4/5"}, Row{"Linecard3/", "Linecard"}}) {
    Ptr<Orvane::PhysicalEntity> const entity = make<Orvane::PhysicalEntity>(1U);
    entity->tagIs("Linecard");
    entity->componentNameIs(row.componentName);
    EXPECT_EQ(text(constants().cardNameFromComponentName(entity)), row.name);
  }
}

TEST(Constants, TheHelperIsMadeOnFirstUse) {
  Ptr<Constants> const own = make<Constants>();
  EXPECT_FALSE(own->helper());
  Ptr<EntityMib::Helper> const helper = own->helperIs();
  ASSERT_TRUE(helper);
  EXPECT_EQ(own->helperIs(), helper);
  EXPECT_EQ(own->helperDel(), helper);
  EXPECT_FALSE(own->helper());
}

TEST(Constants, VirtualContainers) {
  Ptr<EntityMib::Status> const status = make<EntityMib::Status>("status");
  Ptr<EntityMib::FixedSystem> const fixed = make<EntityMib::FixedSystem>("fixedSystem");
  Ptr<EntityMib::Chassis> const chassis = make<EntityMib::Chassis>("chassis");
  status->fixedSystemIs(fixed);
  status->chassisIs(chassis);
  EntityMib::ParentIndex const one(1);
  Ptr<EntityMib::PowerSupply> const supply = make<EntityMib::PowerSupply>("powerSupply");
  fixed->newPowerSupplySlot(one)->powerSupplyIs(supply);
  Ptr<EntityMib::Fan> const supplyFan = supply->newFan(one);
  Ptr<EntityMib::FanTray> const tray = make<EntityMib::FanTray>("fanTray");
  chassis->newFanTraySlot(one)->fanTrayIs(tray);
  Ptr<EntityMib::Fan> const trayFan = tray->newFan(one);
  Ptr<EntityMib::Card> const card = make<EntityMib::Card>("card");
  chassis->newCardSlot(one)->cardIs(card);

  struct Row {
    Ptr<EntityMib::PhysicalEntity const> entity;
    char const* collection;
    char const* name;
    char const* description;
  };
  for (Row const& row : {
           Row{chassis, "CardSlot", "CardSlotContainer", "Card Slot Container"},
           Row{fixed, "Chip", "ChipContainer", "Chip Container"},
           Row{fixed, "Sensor", "SensorContainer", "Sensor Container"},
           Row{fixed, "Port", "PortContainer", "Port Container"},
           Row{fixed, "XcvrSlot", "XcvrSlotContainer", "Xcvr Slot Container"},
           Row{fixed, "FanTraySlot", "FanTraySlotContainer", "Fan Tray Slot Container"},
           Row{chassis, "FANTRAYSLOT", "FanTraySlotContainer", "Fan Tray Slot Container"},
           Row{fixed, "PowerSupplySlot", "PowerSupplySlotContainer", "Power Supply Slot Container"},
           Row{supply, "Sensor", "PowerSupplySensorContainer", "Power Supply Sensor Container"},
           Row{supply, "Fan", "PowerSupplyFanContainer", "Power Supply Fan Container"},
           Row{supplyFan, "Sensor", "PowerSupplyFanSensorContainer", "Power Supply Fan Sensor Container"},
           Row{trayFan, "Sensor", "FanSensorContainer", "Fan Sensor Container"},
           Row{fixed, "StorageDevices", "StorageDevices", "Storage Devices"},
           Row{tray, "Fan", "", ""},     // no row for its path
           Row{card, "Sensor", "", ""},  // its path is cardslot/card/sensor
       }) {
    Orvane::VirtualContainer const info = constants().virtualContainerInfo(row.entity, row.collection);
    EXPECT_EQ(text(info.name), row.name) << row.collection;
    EXPECT_EQ(text(info.description), row.description) << row.collection;
    EXPECT_EQ(info.index, make<EntityMib::Helper>()->physicalIndex(row.entity, row.collection, 0, "") + 1000000000U)
        << row.collection;
  }
  // A word or a parent without a place, and no parent at all.
  for (Row const& row : {Row{fixed, "Volume", "", ""}, Row{make<EntityMib::Card>("card"), "Port", "PortContainer", ""},
                         Row{nullptr, "Chip", "ChipContainer", ""}}) {
    Orvane::VirtualContainer const info = constants().virtualContainerInfo(row.entity, row.collection);
    EXPECT_EQ(text(info.name), row.name);
    EXPECT_EQ(info.index, 1000000000U) << row.collection;
  }
  EXPECT_EQ(text(constants().cardName(nullptr) + constants().cardNameFromComponentName(nullptr)), "");
}

}  // namespace
