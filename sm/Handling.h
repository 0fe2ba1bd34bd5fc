#pragma once

#include <array>

namespace Orvane {

// How one kind of object in the hardware tree becomes rows: each constant below is one handler's row, and both kinds of
// system share it.
struct Handling {
  // A virtual container that groups the object's children of one class, and its position among its siblings. Position 0
  // asks for none: those children hang below the object itself.
  struct Container {
    char const* type = nullptr;
    unsigned relPos = 0;
  };

  char const* word;     // names the place in the parent for EntityMib::Helper::physicalIndex
  bool state;           // has a row in entStateTable
  bool sensor;          // has a row in entPhySensorTable, when its tag is a sensor's
  bool hardwareMirror;  // besides the physical mirror, which every object has
  bool fruMirror;
  char const* removal;  // traced at removal, before the index; null where the role in the index is not known then
  std::array<Container, 4> containers = {};
  bool ofXcvr = false;  // stands in a transceiver slot, on either kind of system
};

namespace handling {

// Log readers match the texts of removals, and their case and blanks, which follow no rule.
// clang-format off
//                                          word               state  sensor hardware fru    removal
inline constexpr Handling powerSupplySlot{"powerSupplySlot", false, false, false, false, "PowerSupplySlot Entity being deleted. Index:"};
inline constexpr Handling powerSupply{    "powerSupply",     true,  false, true,  true,  "PowerSupply being deleted. Index:",
                                          {{{"Sensor", 2}, {"Fan", 1}}}};
inline constexpr Handling supplyFan{      "fan",             true,  false, true,  false, "PowerSupplySlot/PowerSupply/Fan being Deleted.Index:",
                                          {{{"Sensor", 0}}}};
inline constexpr Handling supplySensor{   "sensor",          true,  true,  true,  false, "PowerSupply/Sensor being deleted. Index:"};
inline constexpr Handling supplyFanSensor{"sensor",          true,  true,  true,  false, "Sensor inside powerSupply/fan being deleted. Index:"};
inline constexpr Handling fanTraySlot{    "fanTraySlot",     false, false, false, false, "FanTraySlot being deleted. Index:"};
inline constexpr Handling fanTray{        "fanTray",         false, false, true,  true,  "FanTraySlot/FanTray being Deleted. Index:",
                                          {{{"Fan", 0}}}};
inline constexpr Handling trayFan{        "fan",             true,  false, true,  false, "FanTraySlot/FanTray/Fan being deleted. Index:",
                                          {{{"Sensor", 0}}}};
inline constexpr Handling trayFanSensor{  "sensor",          true,  true,  true,  false, "FanTraySlot/FanTray/Fan/Sensor being deleted. Index:"};
inline constexpr Handling sensor{         "sensor",          true,  true,  true,  false, "Sensor Entity being deleted. Index:"};
inline constexpr Handling port{           "port",            true,  false, true,  false, nullptr};
inline constexpr Handling xcvrSlot{       "xcvrSlot",        false, false, false, false, "XcvrSlot being deleted. Index:"};
inline constexpr Handling chip{           "chip",            false, false, true,  false, "Chip being deleted. Index:"};
inline constexpr Handling cardSlot{       "cardSlot",        false, false, false, false, "cardSlot Entity being deleted. Index:"};
inline constexpr Handling card{           "card",            true,  false, true,  true,  "Card being deleted. Index:",
                                          {{{"XcvrSlot", 3}, {"Sensor", 1}, {"Port", 2}, {"Chip", 4}}}};
inline constexpr Handling cardPlane{      "cardPlane",       false, false, false, false, "Card Plane Entity being deleted. Index:"};
inline constexpr Handling xcvr{           "xcvr",            true,  false, true,  true,  "Xcvr being Deleted. Index:", {}, true};
inline constexpr Handling xcvrSensor{     "sensor",          true,  true,  true,  false, "Sensor inside xcvr being deleted. Index:", {}, true};
inline constexpr Handling lane{           "lane",            false, false, true,  false, "Lane inside xcvr being deleted. Index:", {}, true};
inline constexpr Handling laneSensor{     "sensor",          true,  true,  true,  false, "Sensor inside xcvr/lane being deleted. Index:", {}, true};
// clang-format on

}  // namespace handling

}  // namespace Orvane
