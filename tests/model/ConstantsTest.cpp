// What the vocabulary of the inputs becomes in the MIBs.

#include "model/Constants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "model/input/Helper.h"

namespace {

using Orvane::Constants;
using testing::ElementsAre;
using Zef::make;
using Zef::Ptr;

using C = Constants;
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

Constants const& constants() {
  static Ptr<Constants> const instance = make<Constants>();
  return *instance;
}

// What a function makes of these numbers of a status.
template <class Status>
std::vector<U32> over(std::vector<U32> const& numbers, U32 (Constants::*convert)(Status) const) {
  std::vector<U32> all;
  for (U32 const number : numbers) all.push_back((constants().*convert)(static_cast<Status>(number)));
  return all;
}

TEST(Constants, StatesOfEveryStatus) {
  EXPECT_THAT(over({0, 1, 2, 3, 4}, &C::cardStateToOperState), ElementsAre(1, 2, 2, 3, 3));
  EXPECT_THAT(over({0, 1, 2, 3, 4}, &C::cardStateToAdminState), ElementsAre(1, 2, 2, 4, 4));

  std::vector<U32> enabled;
  std::vector<U32> notEnabled;
  for (U32 number = 1; number <= 7; ++number) {
    auto const status = static_cast<Interface::IntfOperStatus>(number);
    enabled.push_back(constants().operStateFromIntfOperStatus(true, status));
    notEnabled.push_back(constants().operStateFromIntfOperStatus(false, status));
  }
  EXPECT_THAT(enabled, ElementsAre(3, 2, 3, 1, 2, 1, 2));
  EXPECT_THAT(notEnabled, ElementsAre(3, 3, 3, 1, 2, 1, 2));
}

TEST(ConstantsDeathTest, WhatIsInNoTableEndsTheProcess) {
  using CardState = Hardware::Card::CardStatus::CardState;
  using Interface::IntfOperStatus;
  EXPECT_DEATH(constants().cardStateToOperState(static_cast<CardState>(5)),
               "OrvaneLib:308: U32 Orvane::Constants::cardStateToOperState\\(Hardware::Card::CardStatus::CardState\\) "
               "const: Assertion `false' failed");
  for (U32 const number : {0U, 8U}) {
    EXPECT_DEATH(
        constants().operStateFromIntfOperStatus(false, static_cast<IntfOperStatus>(number)),
        "OrvaneLib:429: U32 Orvane::Constants::operStateFromIntfOperStatus\\(bool, Interface::IntfOperStatus\\) "
        "const: Assertion `0' failed");
  }
}

using Convert = U32 (*)(float reading, U32 sensorStatus);
U32 temperature(float reading, U32 status) { return constants().valueFromTemperature(reading, status); }
U32 voltage(float reading, U32 status) { return constants().valueFromVoltage(reading, status); }
U32 power(float reading, U32 status) { return constants().valueFromOpticalPower(reading, status); }
template <U32 maxRpm>
U32 fan(float percent, U32 status) {
  return constants().valueFromFanSpeed(make<Environment::Cooling::FanProperties>(maxRpm), percent, status);
}
U32 fanOfNoKind(float percent, U32 status) { return constants().valueFromFanSpeed(nullptr, percent, status); }

TEST(Constants, ReadingsToValues) {
  constexpr U32 none = 0xc4653600U;  // the bits of -1000000000
  struct Row {
    char const* what;
    Convert convert;
    float reading;
    U32 value;
  };
  for (Row const& row : {
           Row{"zero is a value", temperature, 0.0F, 0},
           Row{"halves go away from zero", temperature, 21.25F, 213},
           Row{"just below a half", temperature, 21.249998F, 212},
           Row{"beyond 32 bits, the low ones", temperature, 429496736.0F, 64},
           Row{"beyond 64 bits", temperature, 1e30F, 0},
           Row{"no number", temperature, nan, 0},
           Row{"below zero", temperature, -std::numeric_limits<float>::denorm_min(), none},
           Row{"0.285 as a float is below 0.285", voltage, 0.285F, 28},
           Row{"milliwatts are a float", power, -26.1083393F, 25},
           Row{"what is made of them is not", power, -28.3863201F, 14},
           Row{"beyond a float", power, 400.0F, 0},
           Row{"no light", power, -infinity, none},
           Row{"infinite light", power, infinity, none},
           Row{"a half", fan<101>, 50.0F, 51},
           Row{"2 to the 32 as a float, which has no number below it", fan<4294967295>, 100.0F, 0},
           Row{"the nearest float", fan<16777217>, 100.0F, 16777216},
           Row{"just below a half, and the nearest float is the half", fan<20775>, 69.7160034F, 14484},
           Row{"a product in floats would have reached the half", fan<9000>, 18.0499992F, 1624},
           Row{"no highest speed", fanOfNoKind, 50.0F, 0},
           Row{"below zero", fanOfNoKind, -1.0F, none},
       }) {
    EXPECT_EQ(row.convert(row.reading, 1), row.value) << row.what << " " << row.reading;
    EXPECT_EQ(row.convert(row.reading, 2), row.value == none ? 0 : row.value) << row.what << " " << row.reading;
    EXPECT_EQ(row.convert(row.reading, 3), row.value) << row.what << " " << row.reading;
  }
}

TEST(Constants, LaneOfALabel) {
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

TEST(Constants, TransceiverOfASensor) {
  struct Row {
    char const* name;
    char const* label;
    char const* interface;
  };
  for (Row const& row : {
           Row{"TempSensor3", "3", "Ethernet3"},
           Row{"DomRxPowerSensor5/2", "5/2", "Ethernet5"},  // lane 2 of port 5
           Row{"TempSensor3/1/2", "7/1", "Ethernet3/7"},
           Row{"/anything", "3/1", "Ethernet3"},
           Row{"SensorSensor5", "5", "EthernetSensor5"},
           Row{"DomTemperatureSensor", "", "Ethernet"},
       }) {
    EXPECT_EQ(constants().xcvrNameFromSensorName(row.name, row.label), row.interface) << row.name << " " << row.label;
  }
}

TEST(Constants, CardNames) {
  Ptr<Orvane::PhysicalEntity> const row = make<Orvane::PhysicalEntity>(1U);
  row->tagIs("Linecard");
  for (auto const& [component, name] :
       {std::pair("Linecard3/4", "Linecard4"), std::pair("Linecard3", "LinecardLinecard3"),
        std::pair("Linecard3/4/5", "Linecard4/5"), std::pair("Linecard3/", "Linecard")}) {
    row->componentNameIs(component);
    EXPECT_EQ(constants().cardNameFromComponentName(row), name);
  }
}

}  // namespace
