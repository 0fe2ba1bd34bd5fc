#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace Collect {

// What an ONIE system EEPROM holds (its TlvInfo format), as attributes of the system. A std::runtime_error says what is
// wrong with it: it is taken whole, with a CRC that is right, or not at all.
nlohmann::json readOnie(std::span<std::uint8_t const> eeprom);

// What the machine is, as attributes of the system and systemMacAddr: from the ONIE EEPROM, else from DMI, else from
// the device tree, each for what the ones before it do not say. The EEPROM is the named file, or the first of the
// kernel's EEPROMs that holds one; "none" for none. `complaints` are in it where something is wrong.
nlohmann::json machineIdentity(std::string const& eeprom);

}  // namespace Collect
