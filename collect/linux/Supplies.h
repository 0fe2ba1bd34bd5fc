#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/linux/Map.h"
#include "collect/linux/Tree.h"
#include "collect/linux/Worker.h"

namespace Collect {

// The kernel's class of power supplies: mains, batteries, UPSes. What is measured at them comes with Chips.
class Supplies {
 public:
  // `settled` is called once, when each has been read or has had its time.
  Supplies(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled);

 private:
  struct Supply {
    std::string name, folder;
    bool isPresent = true;
    bool isHeard = false;
    nlohmann::json attributes = nlohmann::json::object();
    std::unique_ptr<Worker> worker;
  };

  void look();
  void answered(std::string const& source, std::optional<std::string> const& answer);
  void tellFound();
  void settle();

  Loop& loop_;
  Journal& journal_;
  Map const& map_;
  Tree& tree_;
  std::function<void()> settled_;
  std::map<std::string, Supply> supplies_;  // by source
  Loop::Source turn_;
};

}  // namespace Collect
