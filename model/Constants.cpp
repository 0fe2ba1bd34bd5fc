#include "model/Constants.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <string>

#include "model/Low32.h"
#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "model/input/Hardware.h"
#include "model/input/Helper.h"
#include "model/input/Interface.h"
#include "model/input/Xcvr.h"
#include "runtime/kit/Assert.h"

namespace Orvane {

namespace {

using Zef::String8;

// The numbers of an input enumeration, from 0 up, as states of an entity. Numbers beyond a table's last row mean the
// last row where a table says so, and are a program error where it does not.
struct StateRow {
  U32 operState;
  U32 adminState;
};

struct HwStatusRow {
  U32 sensorOperStatus;
  StateRow state;
};

using C = Constants;

constexpr StateRow unknownState{C::operStateUnknown, C::adminStateUnknown};
constexpr StateRow disabledState{C::operStateDisabled, C::adminStateLocked};
constexpr StateRow enabledState{C::operStateEnabled, C::adminStateUnlocked};

constexpr std::array hwStatusRows{
    HwStatusRow{C::sensorOperStatusUnavailable, unknownState}, HwStatusRow{C::sensorOperStatusOk, enabledState},
    HwStatusRow{C::sensorOperStatusNonOperational, disabledState},  // and all above
};

constexpr std::array cardStateRows{unknownState, disabledState, disabledState, enabledState, enabledState};

constexpr std::array supplyStateRows{
    unknownState,  disabledState, disabledState, enabledState,
    disabledState,  // and all above
};

constexpr std::array domInfoRows{
    HwStatusRow{C::sensorOperStatusUnavailable, disabledState},
    HwStatusRow{C::sensorOperStatusOk, enabledState},
};

// By the number of an interface's status, for an interface that is administratively enabled and one that is not.
struct IntfOperStatusRow {
  U32 enabled;
  U32 notEnabled;
};

constexpr U32 firstIntfOperStatus = 1;
constexpr std::array intfOperStatusRows{
    IntfOperStatusRow{C::operStateEnabled, C::operStateEnabled},    // 1
    IntfOperStatusRow{C::operStateDisabled, C::operStateEnabled},   // 2
    IntfOperStatusRow{C::operStateEnabled, C::operStateEnabled},    // 3
    IntfOperStatusRow{C::operStateUnknown, C::operStateUnknown},    // 4
    IntfOperStatusRow{C::operStateDisabled, C::operStateDisabled},  // 5
    IntfOperStatusRow{C::operStateUnknown, C::operStateUnknown},    // 6
    IntfOperStatusRow{C::operStateDisabled, C::operStateDisabled},  // 7
};

struct ClassRow {
  char const* entity;
  U32 physicalClass;
};

constexpr std::array classRows{
    ClassRow{"Chassis", C::physicalClassChassis},
    ClassRow{"FixedSystem", C::physicalClassChassis},
    ClassRow{"Cardplane", C::physicalClassOther},
    ClassRow{"CardSlot", C::physicalClassContainer},
    ClassRow{"Card", C::physicalClassModule},
    ClassRow{"Chip", C::physicalClassOther},
    ClassRow{"Port", C::physicalClassPort},
    ClassRow{"Sensor", C::physicalClassSensor},
    ClassRow{"Slot", C::physicalClassContainer},
    ClassRow{"Fan", C::physicalClassFan},
    ClassRow{"FanTraySlot", C::physicalClassContainer},
    ClassRow{"FanTray", C::physicalClassContainer},
    ClassRow{"XcvrSlot", C::physicalClassContainer},
    ClassRow{"Xcvr", C::physicalClassContainer},
    ClassRow{"Lane", C::physicalClassModule},
    ClassRow{"PowerSupplySlot", C::physicalClassContainer},
    ClassRow{"PowerSupply", C::physicalClassPowersupply},
    ClassRow{"StorageDevices", C::physicalClassOther},
};

struct ContainerRow {
  char const* path;
  char const* name;
  char const* description;
};

constexpr std::array containerRows{
    ContainerRow{"cardslot", "CardSlotContainer", "Card Slot Container"},
    ContainerRow{"chip", "ChipContainer", "Chip Container"},
    ContainerRow{"sensor", "SensorContainer", "Sensor Container"},
    ContainerRow{"port", "PortContainer", "Port Container"},
    ContainerRow{"xcvrslot", "XcvrSlotContainer", "Xcvr Slot Container"},
    ContainerRow{"fantrayslot", "FanTraySlotContainer", "Fan Tray Slot Container"},
    ContainerRow{"powersupplyslot", "PowerSupplySlotContainer", "Power Supply Slot Container"},
    ContainerRow{"powersupplyslot/powersupply/sensor", "PowerSupplySensorContainer", "Power Supply Sensor Container"},
    ContainerRow{"powersupplyslot/powersupply/fan", "PowerSupplyFanContainer", "Power Supply Fan Container"},
    ContainerRow{"powersupplyslot/powersupply/fan/sensor", "PowerSupplyFanSensorContainer",
                 "Power Supply Fan Sensor Container"},
    ContainerRow{"fantrayslot/fantray/fan/sensor", "FanSensorContainer", "Fan Sensor Container"},
    ContainerRow{"storagedevices", "StorageDevices", "Storage Devices"},
};

// Keeps virtual containers clear of the indexes of real entities, which end below it.
constexpr U32 virtualContainerBase = 1'000'000'000;

template <class Status>
HwStatusRow const& hwStatusRow(Status status) {
  return hwStatusRows[std::min<std::size_t>(static_cast<U32>(status), hwStatusRows.size() - 1)];
}

StateRow const& supplyStateRow(Environment::Power::SupplyStatus::State state) {
  return supplyStateRows[std::min<std::size_t>(static_cast<U32>(state), supplyStateRows.size() - 1)];
}

// Log readers know these failures by source, line and function: the lines are names, and none of this file's.
[[noreturn]] void failAt(char const* text, int line, char const* function) {
  Zef::assertionFailed(text, "OrvaneLib", line, function);
}

// Null for a number that is no card state.
StateRow const* cardStateRow(Hardware::Card::CardStatus::CardState state) {
  auto const number = static_cast<U32>(state);
  return number < cardStateRows.size() ? &cardStateRows[number] : nullptr;
}

U32 noValue(U32 sensorStatus) { return sensorStatus == C::sensorOperStatusUnavailable ? 0 : C::defaultLowThreshold; }

// A reading in steps of 1/`scale`; below zero it is none.
U32 scaledValue(float reading, long double scale, U32 sensorStatus) {
  if (reading < 0.0F) return noValue(sensorStatus);
  return low32(std::round(static_cast<double>(reading * scale)));
}

// The index of a collection's place; 0, which is no row's, for a word or a parent that has none.
U32 indexOrNone(EntityMib::Helper const& helper, Zef::Ptr<EntityMib::PhysicalEntity const> const& parent,
                String8 const& word) {
  try {
    return helper.physicalIndex(parent, word, 0, "");
  } catch (Zef::RangeException const&) {
    return 0;
  }
}

String8 upToSlash(String8 const& text) {
  long long const slash = text.pos(0, "/", 1);
  return slash < 0 ? text : text.substr(0, static_cast<unsigned>(slash));
}

}  // namespace

U32 Constants::hwStatusToSensorOperStatus(Environment::Cooling::FanStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).sensorOperStatus;
}

U32 Constants::hwStatusToOperState(Environment::Cooling::FanStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.operState;
}

U32 Constants::hwStatusToAdminState(Environment::Cooling::FanStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.adminState;
}

U32 Constants::voltageHwStatusToSensorOperStatus(Environment::Power::VoltageRailStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).sensorOperStatus;
}

U32 Constants::voltageHwStatusToOperState(Environment::Power::VoltageRailStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.operState;
}

U32 Constants::voltageHwStatusToAdminState(Environment::Power::VoltageRailStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.adminState;
}

U32 Constants::currentHwStatusToSensorOperStatus(Environment::Power::CurrentSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).sensorOperStatus;
}

U32 Constants::currentHwStatusToOperState(Environment::Power::CurrentSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.operState;
}

U32 Constants::currentHwStatusToAdminState(Environment::Power::CurrentSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.adminState;
}

U32 Constants::temperatureHwStatusToSensorOperStatus(
    Environment::Temperature::TempSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).sensorOperStatus;
}

U32 Constants::temperatureHwStatusToOperState(Environment::Temperature::TempSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.operState;
}

U32 Constants::temperatureHwStatusToAdminState(Environment::Temperature::TempSensorStatus::HwStatus hwStatus) const {
  return hwStatusRow(hwStatus).state.adminState;
}

U32 Constants::cardStateToOperState(Hardware::Card::CardStatus::CardState state) const {
  StateRow const* const row = cardStateRow(state);
  if (row == nullptr) {
    failAt("false", 308, "U32 Orvane::Constants::cardStateToOperState(Hardware::Card::CardStatus::CardState) const");
  }
  return row->operState;
}

U32 Constants::cardStateToAdminState(Hardware::Card::CardStatus::CardState state) const {
  StateRow const* const row = cardStateRow(state);
  if (row == nullptr) {
    failAt("false", 336, "U32 Orvane::Constants::cardStateToAdminState(Hardware::Card::CardStatus::CardState) const");
  }
  return row->adminState;
}

U32 Constants::supplyStateToOperState(Environment::Power::SupplyStatus::State state) const {
  return supplyStateRow(state).operState;
}

U32 Constants::supplyStateToAdminState(Environment::Power::SupplyStatus::State state) const {
  return supplyStateRow(state).adminState;
}

U32 Constants::domInfoToOperState(bool domInfoValid) const { return domInfoRows[domInfoValid].state.operState; }

U32 Constants::domInfoToOperStatus(bool domInfoValid) const { return domInfoRows[domInfoValid].sensorOperStatus; }

U32 Constants::domInfoToAdminState(bool domInfoValid) const { return domInfoRows[domInfoValid].state.adminState; }

U32 Constants::operStateFromIntfOperStatus(bool adminEnabled, Interface::IntfOperStatus operStatus) const {
  auto const number = static_cast<U32>(operStatus);
  if (number < firstIntfOperStatus || number - firstIntfOperStatus >= intfOperStatusRows.size()) {
    failAt("0", 429, "U32 Orvane::Constants::operStateFromIntfOperStatus(bool, Interface::IntfOperStatus) const");
  }
  IntfOperStatusRow const& row = intfOperStatusRows[number - firstIntfOperStatus];
  return adminEnabled ? row.enabled : row.notEnabled;
}

U32 Constants::valueFromTemperature(float temperature, U32 sensorStatus) const {
  return scaledValue(temperature, 10.0L, sensorStatus);
}

U32 Constants::valueFromVoltage(float voltage, U32 sensorStatus) const {
  return scaledValue(voltage, 100.0L, sensorStatus);
}

U32 Constants::valueFromOutputCurrent(float current, U32 sensorStatus) const {
  return scaledValue(current, 100.0L, sensorStatus);
}

U32 Constants::valueFromFanSpeed(Zef::Ptr<Environment::Cooling::FanProperties const> const& props, float fanSpeed,
                                 U32 sensorStatus) const {
  if (fanSpeed < 0.0F) return noValue(sensorStatus);
  U32 const maxRpm = props ? props->maxRpm() : 0;
  return low32(std::round(static_cast<float>(static_cast<long double>(fanSpeed) * maxRpm / 100.0L)));
}

U32 Constants::valueFromOpticalPower(float dBm, U32 sensorStatus) const {
  if (std::isinf(dBm)) return noValue(sensorStatus);
  auto const milliwatts = static_cast<float>(std::pow(10.0, static_cast<double>(dBm / 10.0L)));
  return low32(std::round(static_cast<double>(milliwatts * 10000.0L)));
}

// NOLINTBEGIN(performance-unnecessary-value-param): a model's functions take texts by value

U32 Constants::entityPhysicalClass(String8 entity) const {
  for (ClassRow const& row : classRows) {
    if (entity == row.entity) return row.physicalClass;
  }
  failAt("false", 624, "U32 Orvane::Constants::entityPhysicalClass(Zef::String) const");
}

VirtualContainer Constants::virtualContainerInfo(Zef::Ptr<EntityMib::PhysicalEntity const> const& collectionEntity,
                                                 String8 collName) const {
  String8 path = helperIs()->getPath(collectionEntity);
  path = path.empty() ? collName.lowerCase(-1) : path + "/" + collName.lowerCase(-1);
  VirtualContainer info;
  for (ContainerRow const& row : containerRows) {
    if (path == row.path) {
      info.name = row.name;
      info.description = row.description;
      break;
    }
  }
  info.index = indexOrNone(*helperIs(), collectionEntity, collName) + virtualContainerBase;
  return info;
}

String8 Constants::cardName(Zef::Ptr<EntityMib::PhysicalEntity const> const& cardEntity) const {
  return cardEntity ? cardEntity->tag() + cardEntity->label() : String8();
}

String8 Constants::cardNameFromComponentName(Zef::Ptr<PhysicalEntity> const& cardEntity) const {
  if (!cardEntity) return {};
  String8 const componentName = cardEntity->componentName();
  return cardEntity->tag() + componentName.substr(componentName.pos(0, "/", 1) + 1, -1);
}

Xcvr::LaneId Constants::laneIdFromSensorLabel(String8 label) const {
  long long const slash = label.pos(0, "/", 1);
  if (slash < 0) return Xcvr::LaneId(0);
  int number = 0;  // what a text without a number reads as
  std::stringstream(label.substr(slash + 1, -1).charPtr()) >> number;
  return Xcvr::LaneId(static_cast<U8>(static_cast<unsigned>(number) - 1));
}

String8 Constants::xcvrNameFromSensorName(String8 name, String8 label) const {
  static constexpr std::string_view sensor = "Sensor";
  String8 const result = "Ethernet";
  if (name.pos(0, "/", 1) == 0) return result + upToSlash(label);

  long long const at = name.pos(0, sensor.data(), sensor.size());
  if (at >= 0) name = name.substr(at + static_cast<long long>(sensor.size()), -1);
  long long const slash = name.pos(0, "/", 1);
  if (slash == name.lastPos(-1, "/", 1)) return result + (name == label ? upToSlash(name) : name);
  return result + name.substr(0, static_cast<unsigned>(slash) + 1) + upToSlash(label);
}

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace Orvane
