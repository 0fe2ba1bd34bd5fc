#include "collect/linux/Tree.h"

#include <array>
#include <cstddef>
#include <set>
#include <utility>

#include "collect/linux/Layout.h"

namespace Collect {

using nlohmann::json;

namespace {

// What each kind of thing becomes.
struct Kind {
  char const* tag;   // nullptr: as the layout has it
  char const* kind;  // of the part
  std::array<char const*, 2> status, config;
};

Kind const& kindOf(What what) {
  static std::array<Kind, 6> const kinds{{
      {"TempSensor", "sensor", {"tempStatus", "tempSensor"}, {"tempConfig", "tempSensor"}},
      {"VoltageSensor", "sensor", {"powerStatus", "voltageSensor"}, {"powerConfig", "voltageSensor"}},
      {"CurrentSensor", "sensor", {"powerStatus", "currentSensor"}, {}},
      {nullptr, "fan", {"coolingStatus", "fan"}, {}},
      {nullptr, "powerSupplySlot", {"powerStatus", "powerSupply"}, {}},
      {nullptr, "port", {"intfStatusDir", "intfStatus"}, {"intfConfigDir", "intfConfig"}},
  }};
  return kinds.at(static_cast<std::size_t>(what));
}

// What a column or a name has room for.
std::string cut(std::string text, std::size_t most) {
  if (text.size() <= most) return text;
  // Not within a character.
  while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xc0U) == 0x80) --most;
  text.resize(most);
  return text;
}

void assign(json& part, json const& attributes) {
  for (auto const& [name, value] : attributes.items()) {
    bool const isShort = name == "serialNum" || name == "alias" || name == "assetId";
    bool const isName = name == "tag" || name == "label";
    part[name] = value.is_string() ? json(cut(value.get<std::string>(), isShort ? 32 : isName ? 80 : 255)) : value;
  }
}

Path extended(Path path, std::initializer_list<std::string> steps) {
  path.insert(path.end(), steps);
  return path;
}

Path groupOf(Path const& place) { return {place.begin(), place.end() - 1}; }

// All numbers on the way to a part, and below it, are given away.
void reserve(Places& places, Path const& place) {
  for (std::size_t step = 1; step < place.size(); ++step) {
    Path const way(place.begin(), place.begin() + static_cast<std::ptrdiff_t>(step) + 1);
    if (auto const number = static_cast<unsigned>(std::strtoul(way.back().c_str(), nullptr, 10)))
      places.reserve(textOfPath(groupOf(way)), number);
  }
}

void reserveAll(Places& places, json const& part, Path const& place) {
  for (auto const& [name, value] : part.items()) {
    if (!value.is_object()) continue;
    auto const below = extended(place, {name});
    reserve(places, below);
    reserveAll(places, value, below);
  }
}

// Parts that the map adds have what they usually have.
void completeAll(json& system, json const& part, std::string_view kind, Path const& place) {
  for (auto const& [name, value] : part.items()) {
    Holding const* const rule = holding(kind, name);
    if (rule == nullptr) continue;
    auto const below = extended(place, {name});
    if (rule->most == 0) {
      partAt(system, below);
      completeAll(system, value, rule->kind, below);
      continue;
    }
    for (auto const& [number, member] : value.items()) {
      partAt(system, extended(below, {number}));
      completeAll(system, member, rule->kind, extended(below, {number}));
    }
  }
}

}  // namespace

Tree::Tree(Map const& map, Places& places, Journal& journal, Sink sink)
    : map_(map), places_(places), journal_(journal), sink_(std::move(sink)) {
  reserveAll(places_, map_.parts, {});
  for (auto const& rule : map_.rules) {
    if (rule.at) reserve(places_, *rule.at);
  }
}

void Tree::identityIs(json identity) {
  identity_ = std::move(identity);
  arrange();
}

void Tree::foundIs(std::string const& finder, std::vector<Found> found) {
  std::set<std::string> here;
  for (auto const& one : found) here.insert(one.source);
  auto const before = std::exchange(found_[finder], std::move(found));
  for (auto const& one : before) {
    if (here.contains(one.source)) continue;
    readings_.erase(one.source);
    transceivers_.erase(one.source);
    journal_.trouble(one.name, "");
  }
  arrange();
}

void Tree::readingIs(std::string const& source, json status, json config) {
  Reading& reading = readings_[source];
  reading = {std::move(status), std::move(config)};
  if (auto const placed = placed_.find(source); placed != placed_.end()) tell(placed->second, reading);
}

void Tree::transceiverIs(std::string const& port, json transceiver) {
  json& known = transceivers_[port];
  std::swap(known, transceiver);
  auto const parts = [](json const& of) { return of.is_null() ? json() : of.value("part", json()); };
  bool const isOther = known.is_null() != transceiver.is_null() || parts(known) != parts(transceiver);
  if (isOther) {
    arrange();
  } else if (auto const placed = placed_.find(port); placed != placed_.end()) {
    tellTransceiver(placed->second, known);
  }
}

std::map<std::string, Path> Tree::places() const {
  std::map<std::string, Path> places;
  for (auto const& [source, placed] : placed_) places.emplace(source, placed.place);
  return places;
}

Path Tree::placeOf(Found const& found, Rule const& rule) {
  std::string const kind = kindOf(found.what).kind;
  if (rule.at) {
    if (kindAt(*rule.at) == kind) return *rule.at;
    journal_.trouble("the map, line " + std::to_string(rule.line),
                     textOfPath(*rule.at) + " is no place for " + found.name);
  }
  Path holder;
  std::string ofHolder;
  if (found.what != What::supply && (found.isOnSupply || found.what == What::fan)) {
    std::string const slots = found.isOnSupply ? "powerSupplySlot" : "fanTraySlot";
    ofHolder = found.isOnSupply ? "powerSupply" : "fanTray";
    Rule const ofChip = map_.ruleFor(found.chipName, found.chip);
    if (ofChip.at && kindAt(*ofChip.at) == slots) {
      holder = *ofChip.at;
    } else {
      unsigned const slot = places_.number(slots, found.chip, holding("", slots)->most);
      if (slot == 0) return {};
      holder = {slots, std::to_string(slot)};
    }
    holder.push_back(ofHolder);
  }
  holder.push_back(kind);
  unsigned const most = holding(ofHolder, kind)->most;
  unsigned const number = places_.number(textOfPath(holder), found.source, most, found.number);
  if (number == 0) return {};
  return extended(std::move(holder), {std::to_string(number)});
}

void Tree::put(json& system, Found const& found, Rule const& rule, Path const& place) const {
  Kind const& kind = kindOf(found.what);
  json& slot = partAt(system, place);
  if (!found.isPresent) return;
  json& part = found.what == What::supply ? partAt(system, extended(place, {"powerSupply"})) : slot;
  if (kind.tag != nullptr) part["tag"] = kind.tag;
  assign(part, found.attributes);
  assign(part, rule.attributes);
  if (found.what == What::fan) {
    json& sensor = partAt(system, extended(place, {"sensor", "1"}));
    assign(sensor, {{"tag", "FanSensor"},
                    {"label", part["label"]},
                    {"description", "Speed of " + part.value("description", "the fan")}});
  }
}

void Tree::putTransceiver(json& system, Placed const& port, json const& transceiver) const {
  auto const& label = partAt(system, port.place)["label"].get_ref<std::string const&>();
  Path const place{"xcvrSlot", port.place.back()};
  json& slot = partAt(system, place);
  slot["label"] = label;
  auto const part = transceiver.value("part", json());
  if (!part.is_object()) return;
  if (auto const kind = part.value("kind", ""); !kind.empty()) slot["slotType"] = kind;
  json& xcvr = partAt(system, extended(place, {"xcvr"}));
  assign(xcvr, part.value("attributes", json::object()));
  assign(xcvr, {{"label", label}, {"alias", port.name}, {"swappability", "hotSwappable"}});
  auto const sensor = [&](Path const& of, char const* number, char const* tag, std::string const& itsLabel,
                          char const* description) {
    assign(partAt(system, extended(of, {"sensor", number})),
           {{"tag", tag}, {"label", itsLabel}, {"description", description}});
  };
  unsigned const lanes = part.value("lanes", 0U);
  if (lanes == 0) return;
  Path const whole = extended(place, {"xcvr"});
  sensor(whole, "1", "DomTemperatureSensor", label, "Transceiver temperature");
  sensor(whole, "2", "DomVoltageSensor", label, "Transceiver supply voltage");
  for (unsigned lane = 1; lane <= lanes; ++lane) {
    auto const number = std::to_string(lane);
    auto const itsLabel = std::string(label).append("/").append(number);
    Path const of = extended(whole, {"lane", number});
    assign(partAt(system, of), {{"label", itsLabel}, {"description", "Lane " + number}});
    sensor(of, "1", "DomTxBiasSensor", itsLabel, "Transmit bias current");
    sensor(of, "2", "DomTxPowerSensor", itsLabel, "Transmit power");
    sensor(of, "3", "DomRxPowerSensor", itsLabel, "Receive power");
  }
}

void Tree::arrange() {
  json system = map_.parts;
  assign(system, {{"tag", "FixedSystem"}, {"label", "1"}});
  json top = json::object();
  assign(system, identity_);
  if (auto const address = system.find("systemMacAddr"); address != system.end()) {
    top["systemMacAddr"] = *address;
    system.erase(address);
  }
  assign(system, map_.system);
  completeAll(system, map_.parts, "", {});
  std::map<std::string, Placed> placed;
  std::map<Path, std::string> names;
  std::set<std::string> absent;
  for (auto const& [finder, things] : found_) {
    for (auto const& found : things) {
      if (!found.isPresent) absent.insert(found.source);
    }
  }
  for (auto const& [finder, things] : found_) {
    for (auto const& found : things) {
      Rule const rule = map_.ruleFor(found.name, found.source);
      if (rule.isLeftOut || absent.contains(found.chip)) continue;
      Path const place = placeOf(found, rule);
      std::string trouble;
      if (place.empty()) {
        trouble = "there is no place left for it";
      } else if (auto const [other, isFirst] = names.emplace(place, found.name); !isFirst) {
        trouble = other->second + " stands at " + textOfPath(place) + " already";
      } else {
        put(system, found, rule, place);
        placed.emplace(found.source, Placed{found.what, place, ""});
      }
      journal_.trouble(found.name, trouble);
    }
  }
  for (auto& [source, thing] : placed) {
    if (thing.what == What::supply) {
      auto const* const supply = at(system, extended(thing.place, {"powerSupply"}));
      thing.name = supply != nullptr ? supply->value("tag", "") + supply->value("label", "")
                                     : "PowerSupply" + thing.place.back();
    } else {
      thing.name = componentName(system, thing.place);
    }
    auto const transceiver = transceivers_.find(source);
    if (thing.what == What::port && transceiver != transceivers_.end() && !transceiver->second.is_null())
      putTransceiver(system, thing, transceiver->second);
  }
  auto const before = std::exchange(placed_, std::move(placed));
  for (auto const& [source, thing] : before) {
    auto const now = placed_.find(source);
    if (now == placed_.end() || now->second.name != thing.name) withdraw(thing);
  }
  top["fixedSystem"] = std::move(system);
  sink_({"status"}, std::move(top));
  for (auto const& [source, thing] : placed_) {
    tell(thing, readings_[source]);
    if (thing.what == What::port) tellTransceiver(thing, transceivers_[source]);
  }
  places_.keep();
}

void Tree::tell(Placed const& placed, Reading const& reading) const {
  Kind const& kind = kindOf(placed.what);
  sink_({kind.status[0], kind.status[1], placed.name}, reading.status.is_null() ? json::object() : reading.status);
  if (kind.config[0] != nullptr) sink_({kind.config[0], kind.config[1], placed.name}, reading.config);
}

void Tree::tellTransceiver(Placed const& port, json const& transceiver) const {
  json status = transceiver.is_null() ? json() : transceiver.at("status");
  if (!status.is_null()) status["xcvrConfig"] = {"xcvrConfigDir", "xcvrConfig", port.name};
  // Whoever refers to a record comes after it, and goes before it; as one change it does not matter which is told
  // first.
  sink_({"xcvrConfigDir", "xcvrConfig", port.name}, status.is_null() ? json() : json{{"xcvrState", true}});
  sink_({"xcvrStatusDir", "xcvrStatus", port.name}, std::move(status));
}

void Tree::withdraw(Placed const& placed) const {
  Kind const& kind = kindOf(placed.what);
  sink_({kind.status[0], kind.status[1], placed.name}, nullptr);
  if (kind.config[0] != nullptr) sink_({kind.config[0], kind.config[1], placed.name}, nullptr);
  if (placed.what == What::port) tellTransceiver(placed, nullptr);
}

}  // namespace Collect
