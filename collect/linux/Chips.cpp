#include "collect/linux/Chips.h"

#include <sensors/error.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <system_error>
#include <utility>

#include "collect/linux/Sysfs.h"

namespace Collect {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr char const* folder = "/sys/class/hwmon";
constexpr unsigned roundsBetweenLimits = 12;
constexpr unsigned mostAttempts = 10;

// Which of libsensors' subfeatures are read of each kind of feature: those of each round, the first being the value,
// and the limits, which are read now and then. Where there are two of a place, the first that the chip has.
struct Kind {
  sensors_feature_type type;
  What what;
  std::vector<std::vector<sensors_subfeature_type>> now, limits;
};

std::vector<Kind> const& kinds() {
  static std::vector<Kind> const table{
      {SENSORS_FEATURE_TEMP,
       What::temperature,
       {{SENSORS_SUBFEATURE_TEMP_INPUT}, {SENSORS_SUBFEATURE_TEMP_FAULT}},
       {{SENSORS_SUBFEATURE_TEMP_MAX}, {SENSORS_SUBFEATURE_TEMP_CRIT, SENSORS_SUBFEATURE_TEMP_EMERGENCY}}},
      {SENSORS_FEATURE_IN,
       What::voltage,
       {{SENSORS_SUBFEATURE_IN_INPUT, SENSORS_SUBFEATURE_IN_AVERAGE}, {SENSORS_SUBFEATURE_IN_LCRIT_ALARM}},
       {}},
      {SENSORS_FEATURE_CURR, What::current, {{SENSORS_SUBFEATURE_CURR_INPUT, SENSORS_SUBFEATURE_CURR_AVERAGE}}, {}},
      {SENSORS_FEATURE_FAN,
       What::fan,
       {{SENSORS_SUBFEATURE_FAN_INPUT},
        {SENSORS_SUBFEATURE_FAN_FAULT},
        {SENSORS_SUBFEATURE_FAN_MIN_ALARM, SENSORS_SUBFEATURE_FAN_ALARM}},
       {}},
      {SENSORS_FEATURE_POWER, What::supply, {{SENSORS_SUBFEATURE_POWER_INPUT, SENSORS_SUBFEATURE_POWER_AVERAGE}}, {}},
  };
  return table;
}

std::vector<int> numbersOf(sensors_chip_name const* chip, sensors_feature const* feature,
                           std::vector<std::vector<sensors_subfeature_type>> const& wanted) {
  std::vector<int> numbers;
  for (auto const& choices : wanted) {
    numbers.push_back(-1);
    for (auto const type : choices) {
      auto const* const found = sensors_get_subfeature(chip, feature, type);
      if (found == nullptr || (found->flags & SENSORS_MODE_R) == 0) continue;
      numbers.back() = found->number;
      break;
    }
  }
  return numbers;
}

// What tells a chip from one that takes its number. All that is said of the chip is said of this, which is looked at
// once: a moment later it may be another's.
Chips::Identity identityOf(fs::path const& chip) {
  Chips::Identity identity;
  struct stat status {};
  if (stat(chip.c_str(), &status) != 0) return identity;
  std::error_code error;
  identity.number = status.st_ino;
  identity.device = fs::canonical(chip / "device", error);
  if (error) identity.device.clear();
  identity.name = sysText(chip / "name").value_or("");
  return identity;
}

// The PMBus drivers all name their inputs so.
bool isPmbus(fs::path const& chip) {
  bool hasInput = false, hasOutput = false;
  for (auto const& entry : entries(chip)) {
    auto const name = entry.filename().native();
    if (!name.starts_with("in") || !name.ends_with("_label")) continue;
    auto const label = sysText(entry).value_or("");
    hasInput = hasInput || label == "vin";
    hasOutput = hasOutput || label.starts_with("vout");
  }
  return hasInput && hasOutput;
}

std::optional<double> numberAt(json const& values, std::size_t at) {
  if (at >= values.size() || !values[at].is_number()) return std::nullopt;
  return values[at].get<double>();
}

// Three decimals are more than any of them measures.
double rounded(double value) { return std::round(value * 1000) / 1000; }

Journal* errorsTo = nullptr;

}  // namespace

Chips::Chips(Loop& loop, Journal& journal, Map const& map, Tree& tree, std::function<void()> settled)
    : loop_(loop), journal_(journal), map_(map), tree_(tree), settled_(std::move(settled)) {
  errorsTo = &journal_;
  sensors_parse_error_wfn = [](char const* error, char const* file, int line) {
    errorsTo->say(Severity::warning,
                  std::string(file != nullptr ? file : "sensors.conf") + ":" + std::to_string(line) + ": " + error);
  };
  sensors_parse_error = [](char const* error, int line) { sensors_parse_error_wfn(error, nullptr, line); };
  if (!fs::exists(folder)) journal_.say(Severity::info, std::string("no sensors here: there is no ") + folder);
  turn_ = loop_.every(std::chrono::duration<double>(map_.sensorPeriod), [this] { look(); });
}

Chips::~Chips() { release(); }

void Chips::release() {
  if (std::exchange(isInitialized_, false)) sensors_cleanup();
}

std::map<std::string, Chips::Identity> Chips::identities() {
  std::map<std::string, Identity> identities;
  for (auto const& chip : entries(folder)) identities.emplace(chip.filename(), identityOf(chip));
  return identities;
}

void Chips::look() {
  bool const isFirst = round_ == 0;
  if (!isSteady_ || identities() != identities_) discover();
  if (isFirst) waited_ = chips_.size();
  bool const isTimeForLimits = round_ % roundsBetweenLimits == 0;
  for (auto& [source, chip] : chips_) ask(source, isTimeForLimits || chip.limits.is_null());
  if (isFirst && chips_.empty()) settled_();
  ++round_;
}

void Chips::discover() {
  std::map<std::string, Chip> before;
  std::swap(before, chips_);
  // What changes while it is looked at may be taken for something else, so it is looked at again, at the next turn at
  // the latest. What cannot be mistaken is kept meanwhile.
  isSteady_ = false;
  for (unsigned attempt = 0; attempt < mostAttempts && !isSteady_; ++attempt) {
    chips_.clear();
    identities_ = identities();
    list();
    auto const after = identities();
    auto const isIn = [](std::map<std::string, Identity> const& seen, Chip const& chip) {
      auto const found = seen.find(fs::path(chip.folder).filename());
      return found != seen.end() && found->second == chip.identity;
    };
    auto const isMistaken = [&](auto const& chip) {
      return !isIn(identities_, chip.second) || !isIn(after, chip.second);
    };
    isSteady_ = std::erase_if(chips_, isMistaken) == 0 && after == identities_;
  }
  for (auto& [source, chip] : chips_) {
    if (auto const known = before.find(source); known != before.end()) {
      // Who may hang goes on doing so in the same process.
      chip.worker = std::move(known->second.worker);
      chip.isHeard = known->second.isHeard;
      // One that goes on knows what is asked for by its order.
      auto const isAlike = [](Input const& one, Input const& other) {
        return one.name == other.name && one.now == other.now && one.limits == other.limits;
      };
      if (known->second.identity == chip.identity && std::ranges::equal(known->second.inputs, chip.inputs, isAlike)) {
        chip.limits = std::move(known->second.limits);
      } else {
        chip.worker->renew();
      }
    } else {
      chip.worker = std::make_unique<Worker>(
          loop_, std::chrono::duration<double>(map_.patience),
          [this, at = source](std::string_view question) { return read(chips_.at(at), question == "limits"); });
    }
  }
  for (auto& [source, chip] : chips_) chip.worker->start();
  for (auto const& [source, chip] : before) {
    if (!chips_.contains(source)) journal_.trouble(chip.name, "");
  }
  tree_.foundIs("chips", found());
}

void Chips::list() {
  release();
  if (int const error = sensors_init(nullptr); error != 0) {
    journal_.trouble("libsensors", sensors_strerror(error));
    return;
  }
  journal_.trouble("libsensors", "");
  isInitialized_ = true;
  int next = 0;
  while (auto const* const name = sensors_get_detected_chips(nullptr, &next)) {
    if (name->path == nullptr || !fs::path(name->path).filename().native().starts_with("hwmon")) continue;
    Chip chip = chipOf(*name);
    std::string const source = chip.source;
    for (int same = 2; chips_.contains(chip.source); ++same) chip.source = source + "~" + std::to_string(same);
    for (auto& input : chip.inputs) {
      input.source = chip.source + "/" + input.source;
      input.rule = map_.ruleFor(input.name, input.source);
    }
    chips_.emplace(chip.source, std::move(chip));
  }
}

Chips::Chip Chips::chipOf(sensors_chip_name const& name) const {
  Chip chip;
  chip.chip = &name;
  std::array<char, 256> text{};
  sensors_snprintf_chip_name(text.data(), text.size(), &name);
  chip.name = text.data();
  chip.folder = name.path;
  chip.identity = identityOf(chip.folder);
  // Several virtual chips have no device to be told by.
  auto const& device = chip.identity.device;
  chip.source = device.empty() ? "virtual/" + chip.identity.name : whereIs(device);
  chip.hasOwnSupply = device.native().find("/power_supply/") != std::string::npos;
  Rule const rule = map_.ruleFor(chip.name, chip.source);
  chip.isSupply = rule.isSupply.value_or(chip.hasOwnSupply || isPmbus(chip.folder));
  int next = 0;
  while (auto const* const feature = sensors_get_features(&name, &next)) {
    for (auto const& kind : kinds()) {
      if (feature->type != kind.type || (kind.what == What::supply && !chip.isSupply)) continue;
      Input input;
      input.what = kind.what;
      input.name = chip.name + "/" + feature->name;
      input.source = feature->name;
      input.now = numbersOf(&name, feature, kind.now);
      input.limits = numbersOf(&name, feature, kind.limits);
      if (std::unique_ptr<char, decltype(&std::free)> const label(sensors_get_label(&name, feature), &std::free); label)
        input.label = label.get();
      auto const kernels = sysText(fs::path(chip.folder) / (std::string(feature->name) + "_label")).value_or("");
      input.isOfSupply = chip.isSupply && (kernels == "vin" || kernels.starts_with("vout") || kernels == "pin" ||
                                           kernels.starts_with("pout"));
      // A value that is not there makes no sensor; a fan that is but said to have failed does.
      if (std::any_of(input.now.begin(), input.now.end(), [](int number) { return number >= 0; }))
        chip.inputs.push_back(std::move(input));
    }
  }
  return chip;
}

std::vector<Found> Chips::found() const {
  std::vector<Found> found;
  for (auto const& [source, chip] : chips_) {
    if (map_.ruleFor(chip.name, source).isLeftOut) continue;
    if (chip.isSupply && !chip.hasOwnSupply) {
      found.push_back({What::supply,
                       source,
                       chip.name,
                       "",
                       "",
                       true,
                       0,
                       {{"description", "Power supply " + chip.name}, {"swappability", "hotSwappable"}}});
    }
    for (auto const& input : chip.inputs) {
      if (input.what == What::supply) continue;
      auto const digits = input.name.find_last_not_of("0123456789") + 1;
      unsigned const number =
          input.what == What::fan ? static_cast<unsigned>(std::strtoul(input.name.c_str() + digits, nullptr, 10)) : 0;
      found.push_back({input.what,
                       input.source,
                       input.name,
                       source,
                       chip.name,
                       chip.isSupply,
                       number,
                       {{"description", input.label + " (" + chip.name + ")"}}});
    }
  }
  return found;
}

// In the chip's own process. An array of numbers, null for what cannot be read; nothing when it has become another one.
std::string Chips::read(Chip const& chip, bool isLimits) const {
  json values = json::array();
  if (identityOf(chip.folder) != chip.identity) return "";
  for (auto const& input : chip.inputs) {
    for (int const number : isLimits ? input.limits : input.now) {
      double value = 0;
      bool const isRead = number >= 0 && sensors_get_value(chip.chip, number, &value) == 0 && std::isfinite(value);
      values.push_back(isRead ? json(rounded(value)) : json());
    }
  }
  if (identityOf(chip.folder) != chip.identity) return "";
  return values.dump();
}

void Chips::ask(std::string const& source, bool isLimits) {
  Chip& chip = chips_.at(source);
  if (chip.worker->isBusy()) return;
  // The chip may be another object by then, with the same worker.
  auto const answered = [this, source, isLimits](std::optional<std::string> const& answer) {
    if (auto const found = chips_.find(source); found != chips_.end()) hear(found->second, isLimits, answer);
  };
  if (!chip.worker->ask(isLimits ? "limits" : "now", answered)) hear(chip, isLimits, std::nullopt);
}

void Chips::hear(Chip& chip, bool isLimits, std::optional<std::string> const& answer) {
  bool const isRead = answer && !answer->empty();
  journal_.trouble(chip.name, isRead ? "" : answer ? "it has become another one" : chip.worker->why());
  if (!isRead) {
    tell(chip, json::array());
  } else if (isLimits) {
    chip.limits = json::parse(*answer);
    ask(chip.source, false);
  } else {
    tell(chip, json::parse(*answer));
  }
}

void Chips::tell(Chip& chip, json const& now) {
  std::size_t at = 0, limit = 0;
  json supply = json::object();
  bool isOut = false, isSeen = false;
  for (auto const& input : chip.inputs) {
    auto const value = numberAt(now, at);
    auto const flag = [&](std::size_t which) { return numberAt(now, at + which).value_or(0) != 0; };
    Rule const& rule = input.rule;
    json status{{"hwStatus", value ? "ok" : "unknown"}};
    json config;
    switch (input.what) {
      case What::temperature: {
        if (flag(1)) status["hwStatus"] = "failed";
        if (value) status["temperature"] = *value;
        auto const warning = rule.warning ? rule.warning : numberAt(chip.limits, limit);
        auto const critical = rule.critical ? rule.critical : numberAt(chip.limits, limit + 1);
        config = {{"sensorPollInterval", map_.sensorPeriod}};
        // Drivers show a limit that was never set as 0.
        if (warning && *warning > 0) config["overheatThreshold"] = *warning;
        if (critical && *critical > 0) config["criticalThreshold"] = *critical;
        break;
      }
      case What::voltage:
        if (value) status["voltage"] = *value;
        config = {{"sensorPollInterval", map_.sensorPeriod}};
        if (input.isOfSupply && value) {
          isSeen = true;
          isOut = isOut || *value <= 0 || flag(1);
        }
        break;
      case What::current:
        if (value) status["current"] = *value;
        break;
      case What::fan:
        // One that stands still although it should not has failed, whether or not its driver says so.
        if (flag(1) || (flag(2) && value && *value <= 0)) status["hwStatus"] = "failed";
        if (value) {
          status["properties"] = {{"maxRpm", rule.maxRpm.value_or(10'000)}};
          status["speed"] = *value * 100 / rule.maxRpm.value_or(10'000);
        }
        break;
      default:
        if (value && input.isOfSupply) supply[input.label.starts_with("pin") ? "inputPower" : "outputPower"] = *value;
        break;
    }
    if (input.what != What::supply) tree_.readingIs(input.source, std::move(status), std::move(config));
    at += input.now.size();
    limit += input.limits.size();
  }
  if (chip.isSupply && !chip.hasOwnSupply) {
    supply["state"] = !isSeen ? "unknown" : isOut ? "failed" : "ok";
    tree_.readingIs(chip.source, std::move(supply));
  }
  if (!std::exchange(chip.isHeard, true) && waited_ > 0 && --waited_ == 0) settled_();
}

}  // namespace Collect
