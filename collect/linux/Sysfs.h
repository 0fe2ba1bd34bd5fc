#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Collect {

// A small text of the kernel's, without the blanks around it; nothing when it cannot be read.
std::optional<std::string> sysText(std::filesystem::path const& file);

// The entries of a folder in their natural order (hwmon2 before hwmon10); none when it is not there.
std::vector<std::filesystem::path> entries(std::filesystem::path const& folder);

// Whether the one comes before the other when numbers within are taken as numbers.
bool naturallyBefore(std::string_view one, std::string_view other);

// Where a device is, by what stays the same over restarts: its way below /sys/devices, with addresses, and without the
// numbers that the kernel gives in the order in which it meets things (hwmon3, i2c-7, nvme0).
//   /sys/devices/pci0000:00/0000:00:1f.4/i2c-7/7-0018 -> pci0000:00/0000:00:1f.4/i2c(SMBus adapter)/0018
// Adapters are told from each other by their names; those of one device and one name by their order.
std::string whereIs(std::filesystem::path const& device);

}  // namespace Collect
