#include "collect/linux/Supplies.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "collect/linux/Sysfs.h"

namespace Collect {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr char const* folder = "/sys/class/power_supply";

// In the supply's own process: all that the kernel says of it in words.
std::string read(fs::path const& supply) {
  json texts = json::object();
  for (char const* const name :
       {"type", "present", "online", "health", "manufacturer", "model_name", "serial_number"}) {
    if (auto const text = sysText(supply / name)) texts[name] = *text;
  }
  return texts.dump(-1, ' ', false, json::error_handler_t::replace);
}

// What there is of a thing that is plugged in from outside and is not.
bool isAbsent(json const& texts) {
  return texts.value("present", "1") == "0" || (texts.value("type", "") == "USB" && texts.value("online", "1") == "0");
}

char const* stateOf(json const& texts) {
  auto const health = texts.value("health", "Good");
  if (health != "Good" && health != "Unknown" && health != "Warm" && health != "Cool") return "failed";
  if (texts.contains("online")) return texts.value("online", "") == "0" ? "failed" : "ok";
  return texts.contains("type") ? "ok" : "unknown";
}

}  // namespace

Supplies::Supplies(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled)
    : loop_(loop), journal_(journal), map_(map), tree_(tree), settled_(std::move(settled)) {
  turn_ = loop_.every(std::chrono::duration<double>(map_.sensorPeriod), [this] { look(); });
}

void Supplies::look() {
  std::map<std::string, Supply> now;
  for (auto const& entry : entries(folder)) {
    // Those of things beside the machine (a mouse) are none of its parts.
    if (sysText(entry / "scope").value_or("") == "Device") continue;
    std::error_code error;
    auto const device = fs::canonical(entry, error);
    if (error) continue;
    auto const source = whereIs(device);
    if (auto const known = supplies_.find(source); known != supplies_.end() && known->second.folder == entry) {
      now.emplace(source, std::move(known->second));
    } else {
      Supply supply;
      supply.name = entry.filename();
      supply.folder = entry;
      supply.worker = std::make_unique<Worker>(loop_, std::chrono::duration<double>(map_.patience),
                                               [entry](std::string_view) { return read(entry); });
      now.emplace(source, std::move(supply));
    }
  }
  bool const isOther = now.size() != supplies_.size() || std::any_of(now.begin(), now.end(), [&](auto const& one) {
                         return !supplies_.contains(one.first);
                       });
  supplies_ = std::move(now);
  if (isOther) tellFound();
  for (auto& [source, supply] : supplies_) {
    if (supply.worker->isBusy()) continue;
    if (!supply.worker->ask("now", [this, at = source](auto const& answer) { answered(at, answer); }))
      answered(source, {});
  }
  settle();
}

void Supplies::settle() {
  bool const isSettled =
      std::all_of(supplies_.begin(), supplies_.end(), [](auto const& supply) { return supply.second.isHeard; });
  if (isSettled && settled_) std::exchange(settled_, nullptr)();
}

void Supplies::tellFound() {
  std::vector<Found> found;
  for (auto const& [source, supply] : supplies_) {
    found.push_back({What::supply, source, supply.name, "", "", true, 0, supply.attributes});
    found.back().isPresent = supply.isPresent;
  }
  tree_.foundIs("supplies", std::move(found));
}

void Supplies::answered(std::string const& source, std::optional<std::string> const& answer) {
  auto const found = supplies_.find(source);
  if (found == supplies_.end()) return;
  Supply& supply = found->second;
  supply.isHeard = true;
  if (!answer) {
    journal_.trouble(supply.name, supply.worker->why());
    tree_.readingIs(source, {{"state", "unknown"}});
    settle();
    return;
  }
  journal_.trouble(supply.name, "");
  json const texts = json::parse(*answer);
  bool const isPresent = !isAbsent(texts);
  json attributes{{"description", texts.value("type", "Power") + " supply " + supply.name},
                  {"swappability", "hotSwappable"}};
  for (auto const& [text, attribute] :
       {std::pair{"manufacturer", "mfgName"}, {"model_name", "modelName"}, {"serial_number", "serialNum"}}) {
    if (auto const value = texts.value(text, ""); !value.empty()) attributes[attribute] = value;
  }
  if (supply.isPresent != isPresent || supply.attributes != attributes) {
    supply.isPresent = isPresent;
    supply.attributes = std::move(attributes);
    tellFound();
  }
  tree_.readingIs(source, {{"state", isPresent ? stateOf(texts) : "absent"}});
  settle();
}

}  // namespace Collect
