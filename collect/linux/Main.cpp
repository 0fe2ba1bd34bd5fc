// orvane-linux: publishes the hardware of this machine, as the kernel knows it, to an agent.

#include <systemd/sd-daemon.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "collect/door/Door.h"
#include "collect/door/Journal.h"
#include "collect/door/Loop.h"
#include "collect/linux/Cages.h"
#include "collect/linux/Chips.h"
#include "collect/linux/Dump.h"
#include "collect/linux/Identity.h"
#include "collect/linux/Map.h"
#include "collect/linux/Places.h"
#include "collect/linux/Ports.h"
#include "collect/linux/Supplies.h"
#include "collect/linux/Tree.h"
#include "collect/linux/Worker.h"

namespace Collect {

namespace {

using nlohmann::json;

struct Options {
  std::string map = "/etc/orvane/linux.yaml";
  std::string places = "/var/lib/orvane-linux/places.json";
  std::vector<std::string> sockets = {"/run/orvane-publish/publish.sock", "/run/orvaned-publish/publish.sock"};
  std::string publisher = "linux";
  unsigned lease = 60;
  std::string dump;
};

// What is not known of the hardware by then is told later.
constexpr std::chrono::duration<double> longestStart{20};
constexpr std::chrono::duration<double> identityPatience{10};

// All that follows from one reading of the map. A reload makes it anew, behind the same door.
class Machine {
 public:
  Machine(Loop& loop, Journal& journal, Options const& options, Tree::Sink sink, std::function<void()> complete)
      : map_(Map::read(options.map)),
        complete_(std::move(complete)),
        places_(journal, options.places, options.dump.empty()),
        tree_(map_, places_, journal, std::move(sink)),
        identity_(loop, identityPatience,
                  [this](std::string_view) {
                    return machineIdentity(map_.eeprom).dump(-1, ' ', false, json::error_handler_t::replace);
                  }),
        supplies_(loop, journal, map_, tree_, [this] { settled("supplies"); }),
        chips_(loop, journal, map_, tree_, [this] { settled("chips"); }),
        cages_(loop, journal, map_, tree_, [this] { settled("cages"); }),
        ports_(
            loop, journal, map_, tree_, [this](auto const& ports) { cages_.portsAre(ports); },
            [this] { settled("ports"); }),
        start_(loop.after(longestStart, [this] { finish(); })) {
    identity_.ask("now", [this, &journal](std::optional<std::string> const& answer) {
      json identity = answer ? json::parse(*answer) : json::object();
      if (!answer) journal.say(Severity::warning, "the machine's identity could not be read in time");
      for (auto const& complaint : identity.value("complaints", json::array()))
        journal.say(Severity::warning, complaint.get<std::string>());
      identity.erase("complaints");
      tree_.identityIs(std::move(identity));
      settled("identity");
    });
  }

  Map const& map() const { return map_; }
  Tree const& tree() const { return tree_; }

 private:
  void settled(char const* who) {
    waiting_.erase(who);
    if (waiting_.empty()) finish();
  }
  void finish() {
    start_ = nullptr;
    if (complete_) std::exchange(complete_, nullptr)();
  }

  Map map_;
  std::function<void()> complete_;
  std::set<std::string> waiting_{"identity", "supplies", "chips", "cages", "ports"};
  Places places_;
  Tree tree_;
  Worker identity_;
  Supplies supplies_;
  Chips chips_;
  Cages cages_;
  Ports ports_;
  Loop::Source start_;
};

int dump(Loop& loop, Journal& journal, Options const& options) {
  json document = json::object();
  auto const sink = [&](Path const& path, json content) {
    if (content.is_null()) {
      erase(document, path);
    } else {
      made(document, path) = std::move(content);
    }
  };
  Machine const machine(loop, journal, options, sink, [&] { loop.end(); });
  loop.run();
  std::cout << (options.dump == "map" ? dumpedMap(machine.map(), machine.tree())
                                      : document.dump(2, ' ', false, json::error_handler_t::replace))
            << "\n";
  return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int publish(Loop& loop, Journal& journal, Options const& options) {
  Door door(loop, journal, options.sockets,
            {options.publisher,
             {"status", "tempStatus", "tempConfig", "coolingStatus", "powerStatus", "powerConfig", "intfStatusDir",
              "intfConfigDir", "xcvrStatusDir", "xcvrConfigDir"},
             std::chrono::seconds(options.lease)},
            [] { sd_notify(0, "STATUS=Publishing to the agent"); });
  auto const sink = [&door](Path const& path, json content) { door.contentIs(path, std::move(content)); };
  auto const complete = [&door] { door.open(); };
  auto machine = std::make_unique<Machine>(loop, journal, options, sink, complete);
  auto const reload = loop.onSignal(SIGHUP, [&] {
    sd_notify(0, "RELOADING=1");
    try {
      Map::read(options.map);
      machine = nullptr;
      door.beginAnew();
      machine = std::make_unique<Machine>(loop, journal, options, sink, complete);
      journal.say(Severity::info, "took " + options.map);
    } catch (MapError const& error) {
      journal.say(Severity::error, std::string("refused ") + error.what());
    }
    sd_notify(0, "READY=1");
  });
  sd_notify(0, "READY=1\nSTATUS=Waiting for the agent");
  loop.run();
  sd_notify(0, "STOPPING=1");
  return EXIT_SUCCESS;
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("Publishes the hardware of this machine, as the kernel knows it, to an Orvane agent.", "orvane-linux");
  app.set_version_flag("-V,--version", "orvane-linux " ORVANE_VERSION);
  app.add_option("--map", options.map, "What the platform's builder knows better")->capture_default_str();
  app.add_option("--places", options.places, "The file that keeps the parts' numbers; empty for none")
      ->capture_default_str();
  app.add_option("--socket", options.sockets, "The agent's publish socket; the first of several that is there")
      ->capture_default_str();
  app.add_option("--as", options.publisher, "The name to publish by")->capture_default_str();
  app.add_option("--lease", options.lease, "For how many seconds its word holds when it is gone")
      ->check(CLI::Range(10, 86'400))
      ->capture_default_str();
  app.add_option("--dump", options.dump,
                 "Prints what was found and ends: as an inventory file, or as a map to start from")
      ->expected(0, 1)
      ->default_str("inventory")
      ->check(CLI::IsMember({"inventory", "map"}));
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : 2;
  }
  Journal journal;
  Loop loop;
  try {
    if (app.count("--dump") == 0) return publish(loop, journal, options);
    if (options.dump.empty()) options.dump = "inventory";
    return dump(loop, journal, options);
  } catch (std::exception const& error) {
    journal.say(Severity::error, std::string("orvane-linux: ") + error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace

}  // namespace Collect

int main(int argc, char** argv) { return Collect::run(argc, argv); }
