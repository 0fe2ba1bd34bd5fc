#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/linux/Map.h"
#include "collect/linux/Ports.h"
#include "collect/linux/Tree.h"
#include "collect/linux/Worker.h"

namespace Collect {

// The transceivers in the ports' cages. Those of one device, whose driver reads one at a time, are read in turn, in a
// process of their own; so are those that are read from files.
class Cages {
 public:
  // `settled` is called once, when every cage has been read or has had its time.
  Cages(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled);
  ~Cages();
  Cages(Cages const&) = delete;
  Cages& operator=(Cages const&) = delete;

  void portsAre(std::map<std::string, Ports::Port> const& ports);

 private:
  struct Bus;
  struct Cage {
    std::string name;           // of the interface
    std::string file, present;  // where the map has them
    std::string bus;
    bool isCage = false;  // there was a module, or word of one
  };

  void look();
  void next(Bus& bus);
  void answered(std::string const& port, std::optional<std::string> const& answer);
  void heard(std::string const& port);

  Loop& loop_;
  Journal& journal_;
  Map const& map_;
  Tree& tree_;
  std::function<void()> settled_;
  std::map<std::string, Cage> cages_;  // by the port's source
  std::map<std::string, std::unique_ptr<Bus>> buses_;
  std::set<std::string> waited_;
  Loop::Source turn_;
};

}  // namespace Collect
