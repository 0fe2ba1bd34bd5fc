#include "collect/linux/transceivers/ModuleMemory.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/if.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

namespace Collect {

namespace {

constexpr std::uint8_t diagnostics = 0x51;

[[noreturn]] void fail(int error, std::string const& what) {
  throw std::system_error(error, std::generic_category(), what);
}

// Where a place stands when all halves follow one another.
std::size_t linear(ModuleAddress address) {
  std::size_t const page = address.offset < 128 ? 0 : address.page;
  return (address.device == diagnostics ? 256 : 0) + page * 128 + address.offset;
}

class FileMemory final : public ModuleMemory {
 public:
  explicit FileMemory(std::filesystem::path file) : file_(std::move(file)) {}

  void read(ModuleAddress address, std::span<std::uint8_t> into) override {
    if (address.bank != 0) fail(EOPNOTSUPP, file_);
    int const fd = open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) fail(errno, file_);
    ssize_t const size = pread(fd, into.data(), into.size(), static_cast<off_t>(linear(address)));
    int const error = size < 0 ? errno : EIO;
    close(fd);
    if (size != static_cast<ssize_t>(into.size())) fail(error, file_);
  }

 private:
  std::filesystem::path file_;
};

// One socket for ethtool's netlink, and the number of its family.
class Ethtool {
 public:
  Ethtool() : socket_(mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC)) {
    if (!socket_ || mnl_socket_bind(socket_.get(), 0, MNL_SOCKET_AUTOPID) < 0) fail(errno, "generic netlink");
    nlmsghdr* const request = begin(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
    mnl_attr_put_strz(request, CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
    ask([this](nlattr const* attribute) {
      if (mnl_attr_get_type(attribute) == CTRL_ATTR_FAMILY_ID) family_ = mnl_attr_get_u16(attribute);
    });
  }

  // Throws what the kernel says: EOPNOTSUPP where it has no such request.
  void read(std::string const& interface, ModuleAddress address, std::span<std::uint8_t> into) {
    nlmsghdr* const request = begin(family_, ETHTOOL_MSG_MODULE_EEPROM_GET);
    nlattr* const header = mnl_attr_nest_start(request, ETHTOOL_A_MODULE_EEPROM_HEADER);
    mnl_attr_put_strz(request, ETHTOOL_A_HEADER_DEV_NAME, interface.c_str());
    mnl_attr_nest_end(request, header);
    mnl_attr_put_u32(request, ETHTOOL_A_MODULE_EEPROM_OFFSET, address.offset);
    mnl_attr_put_u32(request, ETHTOOL_A_MODULE_EEPROM_LENGTH, static_cast<std::uint32_t>(into.size()));
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_PAGE, address.offset < 128 ? 0 : address.page);
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_BANK, address.bank);
    mnl_attr_put_u8(request, ETHTOOL_A_MODULE_EEPROM_I2C_ADDRESS, address.device);
    bool isThere = false;
    ask([&](nlattr const* attribute) {
      if (mnl_attr_get_type(attribute) != ETHTOOL_A_MODULE_EEPROM_DATA ||
          mnl_attr_get_payload_len(attribute) < into.size())
        return;
      std::memcpy(into.data(), mnl_attr_get_payload(attribute), into.size());
      isThere = true;
    });
    if (!isThere) fail(EIO, interface);
  }

 private:
  struct Closer {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };

  nlmsghdr* begin(std::uint16_t family, std::uint8_t command) {
    nlmsghdr* const request = mnl_nlmsg_put_header(buffer_.data());
    request->nlmsg_type = family;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    request->nlmsg_seq = ++sequence_;
    auto* const header = static_cast<genlmsghdr*>(mnl_nlmsg_put_extra_header(request, sizeof(genlmsghdr)));
    header->cmd = command;
    header->version = 1;
    return request;
  }

  // Sends what stands in the buffer, and gives each attribute of the answer to `take`.
  template <class Take>
  void ask(Take take) {
    auto* const request = reinterpret_cast<nlmsghdr*>(buffer_.data());
    if (mnl_socket_sendto(socket_.get(), request, request->nlmsg_len) < 0) fail(errno, "ethtool");
    auto const each = [](nlattr const* attribute, void* taker) {
      (*static_cast<Take*>(taker))(attribute);
      return MNL_CB_OK;
    };
    struct Context {
      Take* take;
      int (*each)(nlattr const*, void*);
    } context{&take, each};
    auto const message = [](nlmsghdr const* answer, void* given) {
      auto const* const with = static_cast<Context*>(given);
      return mnl_attr_parse(answer, sizeof(genlmsghdr), with->each, with->take);
    };
    int more = MNL_CB_OK;
    while (more > MNL_CB_STOP) {
      ssize_t const size = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
      if (size < 0) fail(errno, "ethtool");
      more = mnl_cb_run(buffer_.data(), static_cast<std::size_t>(size), sequence_, mnl_socket_get_portid(socket_.get()),
                        message, &context);
      if (more < 0) fail(errno, "ethtool");
    }
  }

  std::unique_ptr<mnl_socket, Closer> socket_;
  std::uint32_t sequence_ = 0;
  std::uint16_t family_ = 0;
  alignas(nlmsghdr) std::array<char, 8192> buffer_{};
};

class EthtoolMemory final : public ModuleMemory {
 public:
  explicit EthtoolMemory(std::string interface) : interface_(std::move(interface)) {}

  void read(ModuleAddress address, std::span<std::uint8_t> into) override {
    if (hasNetlink_) {
      try {
        if (!netlink_) netlink_ = std::make_unique<Ethtool>();
        netlink_->read(interface_, address, into);
        return;
      } catch (std::system_error const& error) {
        // A kernel without ethtool's netlink knows no such family.
        if (error.code().value() != EOPNOTSUPP && error.code().value() != ENOENT) throw;
        hasNetlink_ = false;
      }
    }
    readOld(address, into);
  }

 private:
  void readOld(ModuleAddress address, std::span<std::uint8_t> into) const {
    ethtool_modinfo info{};
    info.cmd = ETHTOOL_GMODULEINFO;
    ioctl(&info);
    auto const from = linear(address);
    // Of what is not there, such as pages that the driver does not read, the kernel knows no length.
    if (address.bank != 0 || from + into.size() > info.eeprom_len) fail(ERANGE, interface_);
    alignas(ethtool_eeprom) std::array<std::uint8_t, sizeof(ethtool_eeprom) + 128> request{};
    auto* const eeprom = reinterpret_cast<ethtool_eeprom*>(request.data());
    eeprom->cmd = ETHTOOL_GMODULEEEPROM;
    eeprom->offset = static_cast<std::uint32_t>(from);
    eeprom->len = static_cast<std::uint32_t>(std::min<std::size_t>(into.size(), 128));
    ioctl(eeprom);
    std::copy_n(request.begin() + sizeof(ethtool_eeprom), into.size(), into.begin());
  }

  void ioctl(void* command) const {
    ifreq request{};
    interface_.copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_data = static_cast<char*>(command);
    int const fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) fail(errno, interface_);
    int const result = ::ioctl(fd, SIOCETHTOOL, &request);
    int const error = errno;
    close(fd);
    if (result < 0) fail(error, interface_);
  }

  std::string interface_;
  std::unique_ptr<Ethtool> netlink_;
  bool hasNetlink_ = true;
};

}  // namespace

std::unique_ptr<ModuleMemory> fileMemory(std::filesystem::path file) {
  return std::make_unique<FileMemory>(std::move(file));
}

std::unique_ptr<ModuleMemory> ethtoolMemory(std::string interface) {
  return std::make_unique<EthtoolMemory>(std::move(interface));
}

}  // namespace Collect
