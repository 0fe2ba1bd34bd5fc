#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace Collect {

// A place in a module's memory as the standards have it: offsets 0 to 127 are the lower half, which all pages share,
// 128 to 255 that of the page.
struct ModuleAddress {
  std::uint8_t device;  // on the bus: 0x50 (A0h), and 0x51 (A2h) for the diagnostics of SFF-8472
  std::uint8_t page;
  std::uint8_t bank;
  std::uint8_t offset;
};

// What can be read of one module. Nothing is kept.
class ModuleMemory {
 public:
  virtual ~ModuleMemory() = default;

  // Fills all of `into`, which does not cross the middle. A std::system_error when it cannot be read: ENXIO and its
  // like where there is no module, EOPNOTSUPP where there is no cage.
  virtual void read(ModuleAddress address, std::span<std::uint8_t> into) = 0;
};

// A file with it, one half after the other, as the kernel's EEPROM drivers and ETHTOOL_GMODULEEEPROM have it: A0h, A2h
// and the pages of A2h of SFF-8472; the lower half and all pages of SFF-8636 and CMIS, of bank 0.
std::unique_ptr<ModuleMemory> fileMemory(std::filesystem::path file);

// That of the module at a network interface: by ethtool's netlink, or its ioctl where the driver has nothing else.
std::unique_ptr<ModuleMemory> ethtoolMemory(std::string interface);

}  // namespace Collect
