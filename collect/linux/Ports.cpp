#include "collect/linux/Ports.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <utility>

#include "collect/linux/Layout.h"
#include "collect/linux/Sysfs.h"

namespace Collect {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::size_t bufferSize = 32'768;
constexpr std::chrono::duration<double> retryAfter{5}, locateAgain{0.3};
constexpr unsigned mostAttempts = 4;

std::string macOf(nlattr const* attribute) {
  auto const* const bytes = static_cast<unsigned char const*>(mnl_attr_get_payload(attribute));
  std::string text;
  for (std::size_t at = 0; at < mnl_attr_get_payload_len(attribute); ++at) {
    std::array<char, 4> byte;
    std::snprintf(byte.data(), byte.size(), "%s%02x", at == 0 ? "" : ":", bytes[at]);
    text += byte.data();
  }
  return text;
}

std::string textOf(nlattr const* attribute) {
  auto const size = mnl_attr_get_payload_len(attribute);
  auto const* const text = mnl_attr_get_str(attribute);
  return {text, strnlen(text, size)};
}

// ifOperStatus of RFC 2863 for the kernel's state. Drivers that tell none have a link while they run.
char const* operStatusOf(Ports::Port const& port) {
  static constexpr std::array<char const*, 7> names{"unknown", "notPresent", "down", "lowerLayerDown",
                                                    "testing", "dormant",    "up"};
  if (port.operState != 0) return port.operState < names.size() ? names.at(port.operState) : "unknown";
  return (port.flags & IFF_UP) == 0 ? "down" : (port.flags & IFF_RUNNING) != 0 ? "up" : "unknown";
}

// "12" of p12; 0 where the switch has no such names.
unsigned frontPanelNumber(std::string const& portName) {
  bool const isPlain =
      portName.size() > 1 && portName[0] == 'p' && portName.find_first_not_of("0123456789", 1) == std::string::npos;
  return isPlain ? static_cast<unsigned>(std::strtoul(portName.c_str() + 1, nullptr, 10)) : 0;
}

}  // namespace

void Ports::Closer::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

Ports::Ports(Loop& loop, Journal& journal, Map const& map, Tree& tree,
             std::function<void(std::map<std::string, Port> const&)> changed, std::function<void()> settled)
    : loop_(loop),
      journal_(journal),
      map_(map),
      tree_(tree),
      changed_(std::move(changed)),
      settled_(std::move(settled)) {
  open();
}

void Ports::open() {
  readable_ = nullptr;
  socket_.reset(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket_ || mnl_socket_bind(socket_.get(), RTMGRP_LINK, MNL_SOCKET_AUTOPID) < 0) {
    journal_.trouble("rtnetlink", std::strerror(errno));
    retry_ = loop_.after(retryAfter, [this] { open(); });
    return;
  }
  readable_ = loop_.readable(mnl_socket_get_fd(socket_.get()), [this] { receive(); });
  dump();
}

void Ports::dump() {
  alignas(nlmsghdr) std::array<char, 256> buffer{};
  nlmsghdr* const request = mnl_nlmsg_put_header(buffer.data());
  request->nlmsg_type = RTM_GETLINK;
  request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg)))->ifi_family = AF_UNSPEC;
  isDumping_ = true;
  dumped_.clear();
  if (mnl_socket_sendto(socket_.get(), request, request->nlmsg_len) < 0) {
    journal_.trouble("rtnetlink", std::strerror(errno));
    retry_ = loop_.after(retryAfter, [this] { open(); });
  }
}

void Ports::receive() {
  alignas(nlmsghdr) static std::array<char, bufferSize> buffer;
  bool isLost = false;
  // All that there is now is one change.
  while (true) {
    ssize_t const size = mnl_socket_recvfrom(socket_.get(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno == EAGAIN) break;
    if (size < 0) {
      // The kernel had more to tell than there was room for: what has changed is found by asking for all.
      if (errno != ENOBUFS) {
        journal_.trouble("rtnetlink", std::strerror(errno));
        retry_ = loop_.after(retryAfter, [this] { open(); });
        return;
      }
      isLost = true;
      continue;
    }
    auto left = static_cast<int>(size);
    for (auto const* message = reinterpret_cast<nlmsghdr const*>(buffer.data()); mnl_nlmsg_ok(message, left);
         message = mnl_nlmsg_next(message, &left)) {
      if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0) isLost = true;
      if (message->nlmsg_type == NLMSG_DONE && isDumping_) {
        isDumping_ = false;
        ports_ = std::move(dumped_);
      } else if (message->nlmsg_type == NLMSG_ERROR) {
        isLost = isDumping_;
      } else {
        take(*message);
      }
    }
  }
  if (isLost) {
    dump();
  } else if (!isDumping_) {
    journal_.trouble("rtnetlink", "");
    tell();
  }
}

void Ports::take(nlmsghdr const& message) {
  if ((message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK) ||
      mnl_nlmsg_get_payload_len(&message) < sizeof(ifinfomsg))
    return;
  auto const& info = *static_cast<ifinfomsg const*>(mnl_nlmsg_get_payload(&message));
  // Bridges tell of their ports by messages of their own family, which have little in them.
  if (info.ifi_family != AF_UNSPEC) return;
  if (message.nlmsg_type == RTM_DELLINK) {
    ports_.erase(info.ifi_index);
    dumped_.erase(info.ifi_index);
    return;
  }
  Port port;
  port.flags = info.ifi_flags;
  if (info.ifi_type != ARPHRD_ETHER) return;
  auto const takeAttribute = [](nlattr const* attribute, void* into) {
    Port& of = *static_cast<Port*>(into);
    auto const size = mnl_attr_get_payload_len(attribute);
    switch (mnl_attr_get_type(attribute)) {
      case IFLA_IFNAME:
        of.name = textOf(attribute);
        break;
      case IFLA_ADDRESS:
        if (of.address.empty()) of.address = macOf(attribute);
        break;
      case IFLA_PERM_ADDRESS:
        of.address = macOf(attribute);
        break;
      case IFLA_PHYS_PORT_NAME:
        of.portName = textOf(attribute);
        break;
      case IFLA_PARENT_DEV_NAME:
        of.device = textOf(attribute);
        break;
      case IFLA_PARENT_DEV_BUS_NAME:
        of.bus = textOf(attribute);
        break;
      case IFLA_OPERSTATE:
        if (size >= 1) of.operState = mnl_attr_get_u8(attribute);
        break;
      case IFLA_MTU:
        if (size >= 4) of.mtu = mnl_attr_get_u32(attribute);
        break;
      default:
        break;
    }
    return MNL_CB_OK;
  };
  mnl_attr_parse(&message, sizeof(ifinfomsg), takeAttribute, &port);
  if (port.name.empty()) return;
  // Where it is does not change with its name or its state.
  if (auto const known = ports_.find(info.ifi_index); known != ports_.end()) {
    Port const& before = known->second;
    auto const place = [](Port const& of) { return std::tie(of.bus, of.device, of.portName, of.address); };
    if (place(before) == place(port)) {
      port.source = before.source;
      port.isPhysical = before.isPhysical;
      port.attempts = before.attempts;
    }
  }
  ports_[info.ifi_index] = port;
  if (isDumping_) dumped_[info.ifi_index] = port;
}

bool Ports::locate(int index, Port& port) const {
  // It has another name there while it is being renamed, and none where /sys is another network's.
  fs::path const folder = fs::path("/sys/class/net") / port.name;
  bool const isKnown = sysText(folder / "ifindex") == std::to_string(index);
  if (!isKnown && ++port.attempts < mostAttempts) return false;
  std::error_code error;
  fs::path device;
  if (!port.device.empty()) device = fs::canonical(fs::path("/sys/bus") / port.bus / "devices" / port.device, error);
  if (device.empty() && isKnown) device = fs::canonical(folder / "device", error);
  // A link on a port, such as a VLAN, has neither.
  port.isPhysical = !device.empty() || !port.device.empty() || !port.portName.empty();
  port.source = !device.empty()        ? whereIs(device)
                : !port.device.empty() ? port.bus + "/" + port.device
                                       : "mac/" + port.address;
  // Which port of its device it is, for those that have several.
  auto const number = isKnown ? sysText(folder / "dev_port").value_or("0") : "0";
  if (!port.portName.empty()) {
    port.source += "/" + port.portName;
  } else if (number != "0") {
    port.source += "/" + number;
  }
  return true;
}

void Ports::tell() {
  std::map<std::string, Port> now;
  again_ = nullptr;
  for (auto& [index, port] : ports_) {
    if (port.source.empty() && !locate(index, port)) {
      again_ = loop_.after(locateAgain, [this] { tell(); });
      continue;
    }
    if (!port.isPhysical) {
      Rule const rule = map_.ruleFor(port.name, port.source);
      if (!rule.at || kindAt(*rule.at) != "port") continue;
    }
    now.emplace(port.source, port);
  }
  auto const isAlike = [](auto const& one, auto const& other) {
    return one.first == other.first && one.second.name == other.second.name;
  };
  bool const isOther = !std::equal(now.begin(), now.end(), told_.begin(), told_.end(), isAlike);
  std::swap(told_, now);
  if (isOther || (settled_ && !again_)) {
    std::vector<Found> found;
    for (auto const& [source, port] : told_) {
      found.push_back({What::port,
                       source,
                       port.name,
                       "",
                       "",
                       false,
                       frontPanelNumber(port.portName),
                       {{"description", "Network port " + port.name}}});
    }
    std::sort(found.begin(), found.end(),
              [](Found const& one, Found const& other) { return naturallyBefore(one.name, other.name); });
    tree_.foundIs("ports", std::move(found));
    changed_(told_);
  }
  for (auto const& [source, port] : told_) {
    tree_.readingIs(source, {{"deviceName", port.name}, {"operStatus", operStatusOf(port)}, {"mtu", port.mtu}},
                    {{"adminEnabledStateLocal", (port.flags & IFF_UP) != 0}});
  }
  if (settled_ && !again_) std::exchange(settled_, nullptr)();
}

}  // namespace Collect
