#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/linux/Map.h"
#include "collect/linux/Tree.h"

struct mnl_socket;
struct nlmsghdr;

namespace Collect {

// Network ports by rtnetlink, as they come, change and go: those with a device behind them, those that a switch driver
// has given a port name, and those that a rule of the map gives a place.
class Ports {
 public:
  // One port as the kernel knows it now.
  struct Port {
    std::string name;
    std::string source;     // where it is; nothing as long as that cannot be told
    unsigned attempts = 0;  // to tell where
    bool isPhysical = false;
    std::string address;      // MAC
    std::string portName;     // the switch driver's, such as p12 or p12s1
    std::string bus, device;  // what is behind it
    std::uint8_t operState = 0;
    unsigned flags = 0, mtu = 0;
  };

  // `changed` is called when a port has come, gone or got another name, with all ports by source. `settled` is called
  // once, when the kernel has told all there are.
  Ports(Loop& loop, Journal& journal, Map const& map, Tree& tree,
        std::function<void(std::map<std::string, Port> const&)> changed, std::function<void()> settled);

 private:
  struct Closer {
    void operator()(mnl_socket* socket) const;
  };

  void open();
  void dump();
  void receive();
  void take(nlmsghdr const& message);
  // Tells what has changed, once all that has come is taken.
  void tell();
  // False while the kernel's folder for it has not got its name yet.
  bool locate(int index, Port& port) const;

  Loop& loop_;
  Journal& journal_;
  Map const& map_;
  Tree& tree_;
  std::function<void(std::map<std::string, Port> const&)> changed_;
  std::function<void()> settled_;
  std::unique_ptr<mnl_socket, Closer> socket_;
  bool isDumping_ = false;
  std::map<int, Port> dumped_;  // while all are being told
  std::map<int, Port> ports_;   // by ifIndex
  std::map<std::string, Port> told_;
  Loop::Source readable_, retry_, again_;
};

}  // namespace Collect
