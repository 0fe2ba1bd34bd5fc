#include "collect/linux/Cages.h"

#include <array>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "collect/linux/Sysfs.h"
#include "collect/linux/transceivers/Transceiver.h"

namespace Collect {

using nlohmann::json;

namespace {

json jsonOf(Limits const& limits) {
  return {{"highAlarm", limits.highAlarm},
          {"lowAlarm", limits.lowAlarm},
          {"highWarning", limits.highWarning},
          {"lowWarning", limits.lowWarning}};
}

json jsonOf(LaneReadings const& lane) {
  json found = json::object();
  for (auto const& [name, value] : {std::pair{"temperature", &lane.temperature},
                                    {"voltage", &lane.voltage},
                                    {"txBias", &lane.txBias},
                                    {"txPower", &lane.txPower},
                                    {"rxPower", &lane.rxPower}}) {
    if (*value) found[name] = **value;
  }
  return found;
}

json jsonOf(Transceiver const& module) {
  json status{{"presence", "present"}};
  for (std::size_t lane = 0; lane < module.readings.size() && lane < module.lanes; ++lane) {
    if (auto readings = jsonOf(module.readings[lane]); !readings.empty())
      status["domInfo"][std::to_string(lane)] = std::move(readings);
  }
  if (module.limits) {
    auto const& limits = *module.limits;
    status["domThreshold"] = {{"temperature", jsonOf(limits.temperature)},
                              {"voltage", jsonOf(limits.voltage)},
                              {"txBias", jsonOf(limits.txBias)},
                              {"txPower", jsonOf(limits.txPower)},
                              {"rxPower", jsonOf(limits.rxPower)}};
  }
  json attributes{{"description", module.description}};
  for (auto const& [name, text] : {std::pair{"mfgName", &module.mfgName},
                                   {"modelName", &module.modelName},
                                   {"serialNum", &module.serialNum},
                                   {"hardwareRev", &module.hardwareRev},
                                   {"mfgDate", &module.mfgDate}}) {
    if (!text->empty()) attributes[name] = *text;
  }
  return {{"status", std::move(status)},
          {"part", {{"kind", module.kind}, {"attributes", std::move(attributes)}, {"lanes", module.lanes}}},
          {"complaints", module.complaints}};
}

bool isNoModule(int error) {
  static constexpr std::array<int, 6> errors{ENXIO, ENODEV, ENOENT, EREMOTEIO, ENOMEDIUM, EINVAL};
  return std::find(errors.begin(), errors.end(), error) != errors.end();
}

json const absent{{"status", {{"presence", "absent"}}}};

// In the bus's own process: what there is to say of the module, or null where there is no cage.
json readCage(Module& module, std::string const& present) {
  if (!present.empty() && sysText(present).value_or("1") == "0") return absent;
  try {
    return jsonOf(module.read());
  } catch (std::system_error const& error) {
    int const code = error.code().value();
    if (code == EOPNOTSUPP) return nullptr;
    // Whether there is a cage is not known then.
    if (code == EPERM || code == EACCES) return {{"complaints", {"it may not be read: " + error.code().message()}}};
    if (present.empty() && isNoModule(code)) return absent;
    return {{"status", {{"presence", "present"}}},
            {"part", {{"attributes", {{"description", "Transceiver that cannot be read"}}}}},
            {"complaints", {"it cannot be read: " + error.code().message()}}};
  }
}

}  // namespace

struct Cages::Bus {
  Bus(Loop& loop, std::chrono::duration<double> patience, std::map<std::string, Cage> const& cages)
      : worker(loop, patience, [this, &cages](std::string_view port) {
          std::string const source(port);
          Cage const& cage = cages.at(source);
          auto& module = modules[source];
          if (!module)
            module = std::make_unique<Module>(cage.file.empty() ? ethtoolMemory(cage.name) : fileMemory(cage.file));
          return readCage(*module, cage.present).dump(-1, ' ', false, json::error_handler_t::replace);
        }) {}

  std::map<std::string, std::unique_ptr<Module>> modules;  // in its own process
  std::deque<std::string> queue;
  bool isBusy = false;
  Worker worker;
};

Cages::Cages(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled)
    : loop_(loop), journal_(journal), map_(map), tree_(tree), settled_(std::move(settled)) {}

Cages::~Cages() = default;

void Cages::portsAre(std::map<std::string, Ports::Port> const& ports) {
  auto before = std::exchange(cages_, {});
  std::set<std::string> buses;
  for (auto const& [source, port] : ports) {
    Rule const rule = map_.ruleFor(port.name, source);
    if (rule.isLeftOut || rule.eeprom == "none") continue;
    Cage cage{port.name, rule.eeprom, rule.present, "", false};
    cage.bus = !cage.file.empty() ? "files" : !port.device.empty() ? port.bus + "/" + port.device : source;
    if (auto const known = before.find(source); known != before.end()) cage.isCage = known->second.isCage;
    buses.insert(cage.bus);
    cages_.emplace(source, std::move(cage));
  }
  std::erase_if(buses_, [&](auto const& bus) { return !buses.contains(bus.first); });
  for (auto const& name : buses) {
    auto& bus = buses_[name];
    if (bus) {
      // Its process knows the interfaces by the names that they had.
      bus->worker.renew();
      bus->isBusy = false;
      bus->queue.clear();
    } else {
      bus = std::make_unique<Bus>(loop_, std::chrono::duration<double>(map_.patience), cages_);
    }
  }
  if (settled_) {
    for (auto const& [source, cage] : cages_) waited_.insert(source);
    if (waited_.empty()) std::exchange(settled_, nullptr)();
  }
  turn_ = loop_.every(std::chrono::duration<double>(map_.transceiverPeriod), [this] { look(); });
}

void Cages::look() {
  for (auto const& [source, cage] : cages_) {
    auto& queue = buses_.at(cage.bus)->queue;
    if (std::find(queue.begin(), queue.end(), source) == queue.end()) queue.push_back(source);
  }
  for (auto& [name, bus] : buses_) next(*bus);
}

void Cages::next(Bus& bus) {
  while (!bus.isBusy && !bus.queue.empty()) {
    auto const port = bus.queue.front();
    bus.queue.pop_front();
    bus.isBusy = bus.worker.ask(port, [this, &bus, port](auto const& answer) {
      bus.isBusy = false;
      answered(port, answer);
      next(bus);
    });
    if (!bus.isBusy) answered(port, {});
  }
}

void Cages::answered(std::string const& port, std::optional<std::string> const& answer) {
  auto const found = cages_.find(port);
  if (found == cages_.end()) return;
  Cage& cage = found->second;
  json told = answer ? json::parse(*answer) : json();
  std::string trouble = answer ? "" : buses_.at(cage.bus)->worker.why();
  if (told.is_object()) {
    for (auto const& complaint : told.value("complaints", json::array()))
      trouble.append(trouble.empty() ? "" : "; ").append(complaint.get<std::string>());
    told.erase("complaints");
  }
  bool const isUnknown = !answer || (told.is_object() && told.empty());
  if (isUnknown) {
    told = nullptr;
    if (cage.isCage)
      told = {{"status", {{"presence", "unknown"}}}, {"part", tree_.transceiver(port).value("part", json())}};
  } else if (told.is_null() && cage.isCage) {
    // There are drivers that know a cage only while there is a module in it.
    told = absent;
  }
  cage.isCage = cage.isCage || !told.is_null();
  journal_.trouble(cage.name + "'s transceiver", trouble);
  tree_.transceiverIs(port, std::move(told));
  heard(port);
}

void Cages::heard(std::string const& port) {
  if (waited_.erase(port) != 0 && waited_.empty() && settled_) std::exchange(settled_, nullptr)();
}

}  // namespace Collect
