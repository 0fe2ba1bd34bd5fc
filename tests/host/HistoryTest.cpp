// An agent that lived through any history of versions answers as one that was just started on the last of them.

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "runtime/reflection/ActivityManagerConfig.h"
#include "tests/Varbinds.h"
#include "tests/host/Allocations.h"
#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

using nlohmann::json;
using Orvane::Root;

// Each member of a described switch, as a path, by what can be done with it.
struct Members {
  std::vector<json::json_pointer> objects;   // what can be left out
  std::vector<json::json_pointer> scalars;   // what can have another value
  std::vector<json::json_pointer> siblings;  // collections of several parts or records
};

void collect(json const& value, json::json_pointer const& at, Members& members) {
  if (!value.is_object()) return;
  unsigned parts = 0;
  for (auto const& [key, below] : value.items()) {
    auto const there = at / key;
    if (below.is_object()) {
      members.objects.push_back(there);
      parts += std::isdigit(key[0]) != 0 && below.contains("label");
    } else {
      members.scalars.push_back(there);
    }
    collect(below, there, members);
  }
  if (parts > 1) members.siblings.push_back(at);
}

// What a random version gives an attribute; null: nothing.
json valuesOf(std::string const& attribute) {
  static std::map<std::string, json> const values{
      {"hwStatus", {"unknown", "ok", "failed"}},
      {"state", {0, 1, 2, 3}},
      {"operStatus", {"up", "down", "unknown", "notPresent"}},
      {"adminEnabledStateLocal", {true, false}},
      {"xcvrState", {true, false}},
      {"presence", {"absent", "present"}},
      {"redundancyMode", {"active", "standby"}},
      {"peerState", {"present", "absent"}},
      {"peerRedundancyMode", {"standby", "disabled", "unknown"}},
      {"overheatThreshold", {20.0, 60.0}},
      {"criticalThreshold", {25.0, 70.0}},
      {"temperature", {22.0, 65.0}},
      {"sensorPollInterval", {2.0, 9.0}},
      {"description", {"a part", "another"}},
      {"serialNum", {"KV1", "KV2"}},
      {"label", {"A/1", "9"}},
      {"alias", {"Ethernet1", "Ethernet3/1"}},
      {"tag", {"Supervisor", "Linecard", "TempSensor", "DomVoltageSensor", "Ethernet"}},
  };
  auto const found = values.find(attribute);
  return found == values.end() ? json() : found->second;
}

bool namesDiffer(Root const& root) {
  unsigned named = 0;
  for (auto at = root.entityMib()->physicalEntityIteratorConst(); at; ++at) named += static_cast<bool>(at->phyAttr());
  return root.componentCount() + root.cardCount() + root.xcvrCount() == named;
}

class History : public testing::TestWithParam<unsigned> {
 protected:
  History() : random_(GetParam()) {
    for (char const* name : {"fixed-switch", "chassis-switch"}) {
      std::ifstream file("examples/" + std::string(name) + ".json");
      bases_.push_back(json::parse(file));
      thin(bases_.back()["status"]);
      embellish(bases_.back());
      dropRecordsOfNobody(bases_.back());
      // One that is in use as another one is.
      auto& statuses = bases_.back()["xcvrStatusDir"]["xcvrStatus"];
      if (statuses.size() > 1) (*statuses.begin())["xcvrConfig"] = (*std::prev(statuses.end()))["xcvrConfig"];
    }
    version_ = bases_[pick(2)];
  }

  std::size_t pick(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }
  template <class T>
  T const& pick(std::vector<T> const& from) {
    return from[pick(from.size())];
  }

  // Keeps two parts of each kind in each collection, and two supervisors beside one card of each other kind.
  static void thin(json& value) {
    if (!value.is_object()) return;
    std::map<std::string, unsigned> ofTag;
    for (auto at = value.begin(); at != value.end();) {
      thin(*at);
      if (std::isdigit(at.key()[0]) == 0) {
        ++at;
        continue;
      }
      auto const card = at->value(json::json_pointer("/card/tag"), "");
      unsigned const most = card.empty() || card == "Supervisor" ? 2 : 1;
      at = ++ofTag[at->value("tag", "") + card] > most ? value.erase(at) : std::next(at);
    }
  }

  // What the examples have none of: a rail that is polled at another interval than usual, a lane with an alias, a card
  // whose name has a slash.
  static void embellish(json& base) {
    for (auto& rail : base["powerConfig"]["voltageSensor"]) rail["sensorPollInterval"] = 7.0;
    json::json_pointer const at("/status/chassis/cardSlot/3/card");
    if (!base.contains(at)) return;
    base[at]["label"] = "A/3";
    base.at(at / json::json_pointer("/xcvrSlot/1/xcvr/lane/1"))["alias"] = "a lane";
    base["cardStatus"]["cardStatus"]["LinecardA/3"] = {{"state", "failed"}};
  }

  // Changes of what speaks of nothing change nothing.
  static void dropRecordsOfNobody(json& base) {
    Host::Bootstrap system;
    system.publish(*read(base.dump()));
    Root const& root = *system.root();
    for (auto& [input, content] : base.items()) {
      if (input == "status" || input == "redundancy" || input == "powerStatus") continue;
      for (auto& records : content) {
        if (!records.is_object()) continue;
        for (auto at = records.begin(); at != records.end();) {
          Zef::String8 const name = at.key().c_str();
          bool const isSomebodys = root.component(name) || root.card(name) || root.xcvr(name);
          at = isSomebodys ? std::next(at) : records.erase(at);
        }
      }
    }
  }

  // A reference to what a version leaves out is left out too.
  static void mendReferences(json& version) {
    if (!version.contains("xcvrStatusDir") || !version["xcvrStatusDir"].contains("xcvrStatus")) return;
    for (auto& status : version["xcvrStatusDir"]["xcvrStatus"]) {
      if (!status.contains("xcvrConfig")) continue;
      json::json_pointer target;
      for (auto const& step : status["xcvrConfig"]) target /= step.get<std::string>();
      if (!version.contains(target)) status.erase("xcvrConfig");
    }
  }

  // Changes one of the inputs, each as likely as the others.
  void mutate(json& version) {
    json const& base = bases_[pick(2)];
    std::vector<std::string> inputs;
    for (auto const& [input, content] : base.items()) inputs.push_back(input);
    std::string const input = pick(inputs);
    auto const at = json::json_pointer() / input;
    auto const action = pick(12);
    if (action == 0 || !version.contains(input)) {
      version[input] = base[input];
      return;
    }
    Members members;
    collect(version[input], at, members);
    if (action < 3 && !members.objects.empty()) {
      auto const victim = pick(members.objects);
      version[victim.parent_pointer()].erase(victim.back());
    } else if (action < 6) {
      Members whole;
      collect(base[input], at, whole);
      if (whole.objects.empty()) return;
      auto const& one = pick(whole.objects);
      if (version.contains(one.parent_pointer())) version[one] = base[one];
    } else if (action < 8 && !members.siblings.empty()) {
      // Two neighbours change places, or their labels.
      json& parts = version[pick(members.siblings)];
      std::vector<std::string> keys;
      for (auto const& [key, part] : parts.items()) keys.push_back(key);
      json& left = parts[pick(keys)];
      json& right = parts[pick(keys)];
      if (left.contains("label") && right.contains("label") && pick(2) == 0) {
        std::swap(left["label"], right["label"]);
      } else {
        std::swap(left, right);
      }
    } else if (!members.scalars.empty()) {
      auto const& scalar = pick(members.scalars);
      json const values = valuesOf(scalar.back());
      if (values.is_null()) return;
      if (pick(4) == 0) {
        version[scalar.parent_pointer()].erase(scalar.back());
      } else {
        version[scalar] = values[pick(values.size())];
      }
    }
  }

  // What a version describes, and an agent started on it; null when a reader refuses it.
  static Zef::Ptr<Zef::Dir> taken(json const& version, std::unique_ptr<Host::Bootstrap>& fresh) {
    try {
      auto wanted = read(version.dump());
      fresh = std::make_unique<Host::Bootstrap>();
      fresh->publish(*wanted);
      // Of parts that share a name the maps know one.
      return namesDiffer(*fresh->root()) ? wanted : nullptr;
    } catch (Host::InventoryError const&) {
      return nullptr;
    }
  }

  // The next version that a reader takes.
  Zef::Ptr<Zef::Dir> next(std::unique_ptr<Host::Bootstrap>& fresh) {
    for (;;) {
      json version = version_;
      for (auto changes = 1 + pick(3); changes != 0; --changes) mutate(version);
      mendReferences(version);
      if (auto wanted = taken(version, fresh)) {
        version_ = version;
        return wanted;
      }
    }
  }

  void pass(double seconds) {
    auto const clock = Zef::processClock();
    double const end = time_.seconds + seconds;
    while (clock->timeMin() <= end) {
      time_.seconds = std::max(time_.seconds, clock->timeMin());
      clock->run();
    }
    time_.seconds = end;
  }

  SteppedTime time_;
  Receiver const receiver_{[](auto const&) {}};
  std::mt19937 random_;
  std::vector<json> bases_;
  json version_;
};

// All rows of all tables and the name maps in words, but for times.
std::vector<std::string> answers(Host::Bootstrap const& system) {
  Root const& root = *system.root();
  std::vector<std::string> lines;
  std::ostringstream line;
  auto const end = [&] {
    lines.push_back(line.str());
    line.str("");
  };
  for (auto at = root.entityMib()->physicalEntityIteratorConst(); at; ++at) {
    line << "physical " << at->index() << " '" << at->description() << "' in " << at->containedIn() << " class "
         << at->physicalClass() << " pos " << at->relPos() << " alias '" << at->alias() << "' " << at->componentName();
    end();
  }
  for (auto at = root.entityMib()->containsIteratorConst(); at; ++at) {
    line << "contains " << at.key();
    end();
  }
  for (auto at = root.stateMib()->stateEntityIteratorConst(); at; ++at) {
    line << "state " << at->index() << " admin " << at->adminState() << " oper " << at->operState() << " usage "
         << at->usageState() << " alarm " << unsigned{at->alarmStatus()} << " standby " << at->standbyStatus();
    end();
  }
  for (auto at = root.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    line << "sensor " << at->index() << " type " << at->sensorType() << " value " << at->value() << " status "
         << at->operStatus() << " rate " << at->valueUpdateRate() << " " << at->thresholdDescription() << " "
         << at->lowCritThreshold() << " " << at->lowWarnThreshold() << " " << at->highWarnThreshold() << " "
         << at->highCritThreshold() << (root.sensorMib()->thresholdEntity(at->index()) ? " checked" : "");
    end();
  }
  auto const names = [&](char const* map, auto at) {
    for (; at; ++at) {
      line << map << " " << at->identifier() << " is " << at->entity()->index();
      end();
    }
  };
  names("component", root.componentIteratorConst());
  names("card", root.cardIteratorConst());
  names("xcvr", root.xcvrIteratorConst());
  return lines;
}

// What one of the two answers and the other one does not; empty when they answer alike.
std::string difference(Host::Bootstrap const& live, Host::Bootstrap const& fresh) {
  auto one = answers(live);
  auto other = answers(fresh);
  if (one == other) return "";
  std::sort(one.begin(), one.end());
  std::sort(other.begin(), other.end());
  std::vector<std::string> lines;
  std::set_difference(one.begin(), one.end(), other.begin(), other.end(), std::back_inserter(lines));
  lines.emplace_back("and a fresh one:");
  std::set_difference(other.begin(), other.end(), one.begin(), one.end(), std::back_inserter(lines));
  std::string text;
  for (std::string const& line : lines) text += line + "\n";
  return text;
}

// Each thing by itself: gone or changed, and back.
TEST_P(History, LeavesNoTraceOfWhatCameAndWent) {
  json const& base = bases_[GetParam() % 2];
  Members members;
  for (auto const& [input, content] : base.items()) collect(content, json::json_pointer() / input, members);
  std::vector<json> versions;
  for (auto const& object : members.objects) {
    versions.push_back(base);
    versions.back()[object.parent_pointer()].erase(object.back());
  }
  for (auto const& scalar : members.scalars) {
    for (json const& value : valuesOf(scalar.back())) {
      if (value == base[scalar]) continue;
      versions.push_back(base);
      versions.back()[scalar] = value;
      break;
    }
  }
  Host::Bootstrap live;
  Host::Bootstrap whole;
  auto const wanted = read(base.dump());
  live.publish(*wanted);
  whole.publish(*wanted);
  for (json& version : versions) {
    mendReferences(version);
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const other = taken(version, fresh);
    if (!other) continue;
    auto const change = json::diff(base, version).dump();
    live.publish(*other);
    pass(6);
    ASSERT_EQ(difference(live, *fresh), "") << change;
    live.publish(*wanted);
    pass(6);
    ASSERT_EQ(difference(live, whole), "") << "back from " + change;
  }
}

TEST_P(History, EndsAsAFreshStart) {
  Host::Bootstrap live;
  for (unsigned version = 0; version < 150; ++version) {
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const wanted = next(fresh);
    EXPECT_EQ(live.publish(*wanted), "");
    if (pick(3) == 0) continue;
    pass(6);
    ASSERT_EQ(difference(live, *fresh), "") << "at version " + std::to_string(version) + " " + version_.dump();
  }
}

// Wherever memory runs out, what is served is what was published, whole.
TEST_P(History, SurvivesAFailedAllocation) {
  Host::Bootstrap live;
  unsigned rebuilt = 0;
  for (unsigned version = 0; version < 20; ++version) {
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const wanted = next(fresh);
    failingAllocation = 1 + pick(5000);
    rebuilt += !live.publish(*wanted).empty();
    failingAllocation = 0;
    pass(6);
    ASSERT_EQ(difference(live, *fresh), "") << "at version " + std::to_string(version) + " " + version_.dump();
  }
  EXPECT_GT(rebuilt, 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, History, testing::Range(1U, 3U));

}  // namespace
