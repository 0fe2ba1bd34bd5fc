// An agent that lived through any history of versions answers as one that was just started on the last of them.

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "host/publishers/Publishers.h"
#include "runtime/reflection/ActivityManagerConfig.h"
#include "tests/Varbinds.h"
#include "tests/host/Allocations.h"
#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

using nlohmann::json;
using Orvane::Root;

// Each member below a place in a described switch, as a path, by what can be done with it.
struct Members {
  Members(json const& version, json::json_pointer const& at) { collect(version[at], at); }

  void collect(json const& value, json::json_pointer const& at) {
    if (!value.is_object()) return;
    unsigned parts = 0;
    for (auto const& [key, below] : value.items()) {
      (below.is_object() ? objects : scalars).push_back(at / key);
      parts += std::isdigit(key[0]) != 0 && below.contains("label");
      collect(below, at / key);
    }
    if (parts > 1) siblings.push_back(at);
  }

  std::vector<json::json_pointer> objects;   // what can be left out
  std::vector<json::json_pointer> scalars;   // what can have another value
  std::vector<json::json_pointer> siblings;  // collections of several parts or records
};

// What a random version gives an attribute.
json const values = R"({
  "hwStatus": ["unknown", "ok", "failed"], "state": [0, 1, 2, 3],
  "operStatus": ["up", "down", "unknown", "notPresent"], "adminEnabledStateLocal": [true, false],
  "xcvrState": [true, false], "presence": ["absent", "present"],
  "redundancyMode": ["active", "standby"], "peerState": ["present", "absent"],
  "peerRedundancyMode": ["standby", "disabled", "unknown"],
  "overheatThreshold": [20.0, 60.0], "criticalThreshold": [25.0, 70.0], "temperature": [22.0, 65.0],
  "sensorPollInterval": [2.0, 9.0],
  "description": ["a part", "another"], "serialNum": ["KV1", "KV2"],
  "label": ["A/1", "9"], "alias": ["Ethernet1", "Ethernet3/1"],
  "tag": ["Supervisor", "Linecard", "TempSensor", "DomVoltageSensor", "Ethernet"]
})"_json;

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
      (*std::prev(statuses.end()))["xcvrConfig"] = (*statuses.begin())["xcvrConfig"];
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
      if (input == "status" || input == "redundancy") continue;
      for (auto& records : content) {
        for (auto at = records.begin(); at != records.end();) {
          at = isOfAPart(root, at.key().c_str()) ? std::next(at) : records.erase(at);
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
    auto const input = json::json_pointer() / std::next(base.begin(), pick(base.size())).key();
    auto const action = pick(12);
    if (action == 0 || !version.contains(input)) {
      version[input] = base[input];
      return;
    }
    Members const members(version, input);
    if (action < 3 && !members.objects.empty()) {
      erase(version, pick(members.objects));
    } else if (action < 6) {
      auto const one = pick(Members(base, input).objects);
      if (version.contains(one.parent_pointer())) version[one] = base[one];
    } else if (action < 8 && !members.siblings.empty()) {
      // Two neighbours change places, or their labels.
      json& parts = version[pick(members.siblings)];
      json& left = *std::next(parts.begin(), pick(parts.size()));
      json& right = *std::next(parts.begin(), pick(parts.size()));
      if (left.contains("label") && right.contains("label") && pick(2) == 0) {
        std::swap(left["label"], right["label"]);
      } else {
        std::swap(left, right);
      }
    } else if (!members.scalars.empty()) {
      auto const& scalar = pick(members.scalars);
      if (!values.contains(scalar.back())) return;
      if (pick(4) == 0) {
        erase(version, scalar);
      } else {
        version[scalar] = values[scalar.back()][pick(values[scalar.back()].size())];
      }
    }
  }
  static void erase(json& version, json::json_pointer const& at) { version[at.parent_pointer()].erase(at.back()); }

  // What a version describes, and an agent started on it; null when a reader refuses it.
  static Zef::Ptr<Zef::Dir> taken(json const& version, std::unique_ptr<Host::Bootstrap>& fresh) {
    try {
      auto wanted = read(version.dump());
      fresh = std::make_unique<Host::Bootstrap>();
      fresh->publish(*wanted);
      fresh->physicalNamesAreShown(true);
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
std::string answers(Host::Bootstrap const& system) {
  Root const& root = *system.root();
  std::ostringstream all;
  for (auto at = root.entityMib()->physicalEntityIteratorConst(); at; ++at) {
    all << "physical " << at->index() << " '" << at->description() << "' in " << at->containedIn() << " class "
        << at->physicalClass() << " pos " << at->relPos() << " alias '" << at->alias() << "' " << at->componentName()
        << " shown as '" << at->consoleName() << "'\n";
  }
  for (auto at = root.entityMib()->containsIteratorConst(); at; ++at)
    all << "contains " << at.key().container << ' ' << at.key().containee << '\n';
  for (auto at = root.stateMib()->stateEntityIteratorConst(); at; ++at) {
    all << "state " << at->index() << " admin " << at->adminState() << " oper " << at->operState() << " usage "
        << at->usageState() << " alarm " << unsigned{at->alarmStatus()} << " standby " << at->standbyStatus() << '\n';
  }
  for (auto at = root.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    all << "sensor " << at->index() << " type " << at->sensorType() << " value " << at->value() << " status "
        << at->operStatus() << " rate " << at->valueUpdateRate() << ' ' << at->thresholdDescription() << ' '
        << at->lowCritThreshold() << ' ' << at->lowWarnThreshold() << ' ' << at->highWarnThreshold() << ' '
        << at->highCritThreshold() << (root.sensorMib()->thresholdEntity(at->index()) ? " checked" : "") << '\n';
  }
  auto const names = [&](char const* map, auto at) {
    for (; at; ++at) all << map << ' ' << at->identifier() << " is " << at->entity()->index() << '\n';
  };
  names("component", root.componentIteratorConst());
  names("card", root.cardIteratorConst());
  names("xcvr", root.xcvrIteratorConst());
  return all.str();
}

// One thing of each kind by itself: gone or changed, and back when the next one is. A kind is a place but for numbers,
// and a tag.
TEST_P(History, LeavesNoTraceOfWhatCameAndWent) {
  json const& base = bases_[GetParam() % 2];
  Members const members(base, json::json_pointer());
  std::set<std::string> kinds;
  auto const isFirst = [&](json::json_pointer const& at, json const& part) {
    static std::regex const numbers("[0-9]+");
    return kinds.insert(std::regex_replace(at.to_string(), numbers, "") + part.value("tag", "")).second;
  };
  std::vector<json> versions;
  for (auto const& object : members.objects) {
    if (!isFirst(object, base[object])) continue;
    versions.push_back(base);
    erase(versions.back(), object);
  }
  for (auto const& scalar : members.scalars) {
    if (!values.contains(scalar.back()) || !isFirst(scalar, base[scalar.parent_pointer()])) continue;
    auto const& any = values[scalar.back()];
    versions.push_back(base);
    versions.back()[scalar] = any[any[0] == base[scalar] ? 1 : 0];
  }
  std::shuffle(versions.begin(), versions.end(), random_);
  Host::Bootstrap live;
  live.physicalNamesAreShown(true);
  for (json& version : versions) {
    mendReferences(version);
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const wanted = taken(version, fresh);
    if (!wanted) continue;
    live.publish(*wanted);
    pass(6);
    ASSERT_EQ(answers(live), answers(*fresh)) << json::diff(base, version);
  }
}

TEST_P(History, EndsAsAFreshStart) {
  Host::Bootstrap live;
  live.physicalNamesAreShown(true);
  for (unsigned version = 0; version < 150; ++version) {
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const wanted = next(fresh);
    EXPECT_EQ(live.publish(*wanted), "");
    if (pick(3) == 0) continue;
    pass(6);
    ASSERT_EQ(answers(live), answers(*fresh)) << "at version " << version << " " << version_;
  }
}

// Wherever memory runs out, what is served is what was published, whole.
TEST_P(History, SurvivesAFailedAllocation) {
  Host::Bootstrap live;
  live.physicalNamesAreShown(true);
  unsigned rebuilt = 0;
  for (unsigned version = 0; version < 20; ++version) {
    std::unique_ptr<Host::Bootstrap> fresh;
    auto const wanted = next(fresh);
    failingAllocation = 1 + pick(5000);
    try {
      rebuilt += !live.publish(*wanted).empty();
    } catch (std::bad_alloc const&) {
      // It was refused whole, before anything was changed.
      failingAllocation = 0;
      EXPECT_EQ(live.publish(*wanted), "");
    }
    failingAllocation = 0;
    pass(6);
    ASSERT_EQ(answers(live), answers(*fresh)) << "at version " << version << " " << version_;
  }
  EXPECT_GT(rebuilt, 0U);
}

// Many publishers and the file, in plain JSON: for each claim what is said of it, without what others claim within.
class Door : public History {
 protected:
  using Pointer = json::json_pointer;
  struct Claimed {
    std::string by;
    json content;  // null: nothing
  };
  struct Publisher {
    std::vector<Pointer> claims;
    bool withdraws = false;
    int client = 0;  // 0: away
  };

  // A path of claims, some of them within others; of those at random.
  static std::vector<std::string> const& menu() {
    static std::vector<std::string> const all{"/status",
                                              "/status/chassis",
                                              "/status/fixedSystem",
                                              "/status/chassis/cardSlot",
                                              "/status/chassis/cardSlot/1",
                                              "/status/chassis/cardSlot/3",
                                              "/status/chassis/cardSlot/3/card",
                                              "/status/chassis/cardSlot/3/card/xcvrSlot",
                                              "/status/fixedSystem/powerSupplySlot/1",
                                              "/status/fixedSystem/fanTraySlot/1/fanTray",
                                              "/tempStatus",
                                              "/tempStatus/tempSensor/TempSensor1",
                                              "/tempConfig/tempSensor",
                                              "/coolingStatus/fan",
                                              "/powerStatus",
                                              "/powerStatus/powerSupply/PowerSupply1",
                                              "/powerConfig",
                                              "/cardStatus",
                                              "/intfStatusDir",
                                              "/intfConfigDir",
                                              "/xcvrStatusDir",
                                              "/xcvrConfigDir",
                                              "/redundancy",
                                              "/redundancy/election"};
    return all;
  }
  static std::vector<std::string> stepsOf(Pointer at) {
    std::vector<std::string> steps;
    for (; !at.empty(); at.pop_back()) steps.insert(steps.begin(), at.back());
    return steps;
  }
  static std::string pathOf(Pointer const& at) {
    std::string path;
    for (auto const& step : stepsOf(at)) path += (path.empty() ? "" : "/") + step;
    return path;
  }
  // In objects all the way; a library would take a number for the place in a list.
  static void put(json& document, Pointer const& at, json const& value) {
    json* to = &document;
    for (auto const& step : stepsOf(at)) to = &(to->is_object() ? * to : * to = json::object())[step];
    *to = value;
  }
  static bool isWithin(Pointer const& at, Pointer const& other) {
    return (at.to_string() + "/").starts_with(other.to_string() + "/");
  }
  static bool isInput(Pointer const& at) { return at.parent_pointer().empty(); }
  // The object that the claimed one stands in; a key is a number or begins in upper case.
  static Pointer ownerOf(Pointer const& at) {
    bool const isKey = std::isdigit(at.back()[0]) != 0 || std::isupper(at.back()[0]) != 0;
    return isKey ? at.parent_pointer().parent_pointer() : at.parent_pointer();
  }

  // All that is said, where its place is there. The inputs are.
  json combined(bool withReferences) const {
    json all = left_;
    for (auto const& [path, type] : Host::inputTypes()) {
      if (path.find('/') == std::string::npos && !all.contains(path)) all[path] = json::object();
    }
    // The outer ones come before those within them.
    for (auto const& [at, claimed] : claimed_) {
      Pointer const claim(at);
      if (!all.contains(ownerOf(claim))) continue;
      if (!claimed.content.is_null()) {
        put(all, claim, claimed.content);
      } else if (all.contains(claim)) {
        erase(all, claim);
      }
    }
    if (!withReferences) mendReferences(all);
    return all;
  }
  bool waits(Pointer const& claim) const { return !combined(true).contains(ownerOf(claim)); }
  // What encloses a place: the content of a claim, or what is nobody's, and the place in it.
  std::pair<json*, Pointer> enclosing(Pointer const& place) {
    for (Pointer at = place; !at.empty();) {
      at.pop_back();
      auto const found = claimed_.find(at.to_string());
      if (found != claimed_.end())
        return {&found->second.content, Pointer(place.to_string().substr(at.to_string().size()))};
    }
    return {&left_, place};
  }
  void claim(Pointer const& at, std::string const& by) {
    json content;
    if (auto const taken = claimed_.find(at.to_string()); taken != claimed_.end()) {
      content = taken->second.content;
    } else {
      auto const [outer, place] = enclosing(at);
      if (outer->contains(place)) {
        content = (*outer)[place];
        erase(*outer, place);
      }
    }
    if (isInput(at) && content.is_null()) content = json::object();
    claimed_[at.to_string()] = {by, content};
  }
  void release(Pointer const& at, bool withdraws) {
    auto const [by, content] = claimed_.at(at.to_string());
    bool const stays = !withdraws && isWithin(at, Pointer("/status")) && !waits(at);
    claimed_.erase(at.to_string());
    if (!stays || content.is_null()) return;
    auto const [outer, place] = enclosing(at);
    put(*outer, place, content);
  }
  // What a document says of a claim, without what is claimed within.
  json partOf(json const& document, Pointer const& claim) const {
    if (!document.contains(claim)) return isInput(claim) ? json::object() : json();
    json part = document[claim];
    for (auto const& [at, claimed] : claimed_) {
      if (at == claim.to_string() || !isWithin(Pointer(at), claim)) continue;
      Pointer const within(at.substr(claim.to_string().size()));
      if (part.contains(within)) erase(part, within);
    }
    return part;
  }
  static json diff(json const& from, json const& to) {
    if (!from.is_object() || !to.is_object()) return to;
    json patch = json::object();
    for (auto const& [key, value] : from.items()) {
      if (!to.contains(key)) patch[key] = nullptr;
    }
    for (auto const& [key, value] : to.items()) {
      if (!from.contains(key)) {
        patch[key] = value;
      } else if (from[key] != value) {
        patch[key] = diff(from[key], value);
      }
    }
    return patch;
  }

  // What is said, and what becomes of the model when it is taken. A refused change has changed nothing, and no reader
  // would have taken what it led to.
  void said(bool isTaken, std::string const& refusal, std::map<std::string, Claimed> const& before) {
    if (isTaken) return;
    auto const wanted = combined(true);
    EXPECT_THROW(read(wanted.dump()), Host::InventoryError) << refusal << wanted;
    claimed_ = before;
  }
  // What is answered, now and then when the memory runs out on the way: it is all the same then, or nothing happens.
  json answerOf(int client, json const& line) {
    std::string const text = line.dump();
    failingAllocation = pick(4) == 0 ? 1 + pick(4000) : 0;
    std::string const answer = door_->answer(client, text);
    failingAllocation = 0;
    return json::parse(answer);
  }
  void speak(std::string const& name, bool asSet) {
    Publisher const& publisher = publishers_.at(name);
    json const version = another();
    auto const before = claimed_;
    json message = json::object();
    bool waited = false;
    for (Pointer const& claim : publisher.claims) {
      waited = waited || waits(claim);
      json& content = claimed_.at(claim.to_string()).content;
      json const wanted = partOf(version, claim);
      if (asSet) {
        if (!wanted.is_null()) put(message, claim, wanted);
      } else if (pick(2) == 0 && content != wanted) {
        put(message, claim, wanted.is_null() ? json() : content.is_null() ? wanted : diff(content, wanted));
      } else {
        continue;
      }
      content = wanted;
    }
    json const answer = answerOf(publisher.client, json{{asSet ? "set" : "patch", message}});
    if (answer.contains("error") && (waited || answer["error"] == "not enough memory")) {
      claimed_ = before;
    } else {
      said(answer.contains("ok"), answer.dump() + message.dump(), before);
    }
  }
  void greet(std::string const& name) {
    Publisher& publisher = publishers_[name];
    std::vector<Pointer> claims;
    json words{{"publisher", name}, {"lease", 10}};
    for (auto more = 1 + pick(3); more != 0; --more) {
      Pointer const claim(menu()[pick(menu().size())]);
      if (std::find(claims.begin(), claims.end(), claim) == claims.end()) claims.push_back(claim);
    }
    if (!publisher.claims.empty() && pick(2) == 0) claims = publisher.claims;
    for (Pointer const& claim : claims) words["claims"].push_back(pathOf(claim));
    bool const withdraws = pick(2) == 0;
    if (withdraws) words["parts"] = "withdraw";
    door_->came(++client_, {1000, 1000, 1});
    json const answer = answerOf(client_, words);
    if (answer.contains("error")) {
      door_->left(client_);
      if (publisher.claims.empty()) publishers_.erase(name);
      return;
    }
    for (Pointer const& claim : publisher.claims) {
      if (std::find(claims.begin(), claims.end(), claim) == claims.end()) release(claim, publisher.withdraws);
    }
    std::sort(claims.begin(), claims.end(), [](auto const& a, auto const& b) { return a.to_string() < b.to_string(); });
    // An outer one takes up what is in no inner one.
    for (auto claim = claims.rbegin(); claim != claims.rend(); ++claim) {
      std::erase(file_, *claim);
      if (!claimed_.contains(claim->to_string()) || claimed_.at(claim->to_string()).by != name)
        this->claim(*claim, name);
    }
    publisher = {claims, withdraws, client_};
  }
  void end(std::string const& name) {
    Publisher const publisher = publishers_.at(name);
    publishers_.erase(name);
    for (Pointer const& claim : publisher.claims) release(claim, publisher.withdraws);
  }
  void saveFile() {
    json version = another();
    auto const before = claimed_;
    auto const leftBefore = left_;
    auto const claimsBefore = file_;
    for (auto at = version.begin(); at != version.end();) at = pick(4) == 0 ? version.erase(at) : std::next(at);
    for (auto const& [input, content] : version.items()) {
      Pointer const claim("/" + input);
      if (claimed_.contains(claim.to_string())) continue;
      this->claim(claim, "file");
      file_.push_back(claim);
    }
    for (Pointer const& claim : file_) claimed_.at(claim.to_string()).content = partOf(version, claim);
    try {
      door_->fileIs(version.dump());
      std::erase_if(file_, [&](Pointer const& claim) {
        if (version.contains(claim)) return false;
        release(claim, true);
        return true;
      });
    } catch (Host::InventoryError const& error) {
      said(false, error.what(), before);
      file_ = claimsBefore;
      left_ = leftBefore;
    }
  }
  // Those who are here say so; the word of those who have been away for long ends.
  void endTheSilent() {
    for (auto const& [each, publisher] : publishers_) {
      if (publisher.client != 0) door_->answer(publisher.client, R"({"alive":true})");
    }
    if (clock_->timeMin() <= time_.seconds) clock_->run();
    std::set<std::string> there;
    for (auto const& each : door_->described()) there.insert(each.name);
    for (auto const& [each, publisher] : std::map(publishers_)) {
      if (there.contains(each)) continue;
      EXPECT_EQ(publisher.client, 0) << each;
      end(each);
    }
  }
  // Another version that a reader takes.
  json another() {
    std::unique_ptr<Host::Bootstrap> fresh;
    next(fresh);
    return version_;
  }

  Zef::Ptr<Zef::Clock> const clock_ = Zef::make<Zef::Clock>("door");
  Host::Bootstrap live_;
  std::unique_ptr<Host::Publishers> door_ = std::make_unique<Host::Publishers>(
      Host::inputTypes(), live_, clock_, [](auto /*severity*/, auto const& /*line*/) {});
  json left_ = json::object();              // what is nobody's
  std::map<std::string, Claimed> claimed_;  // by place; the outer ones first
  std::vector<Pointer> file_;               // what the file claims
  std::map<std::string, Publisher> publishers_;
  int client_ = 0;
};

TEST_P(Door, EndsAsAFreshStart) {
  live_.physicalNamesAreShown(true);
  unsigned compared = 0;
  constexpr unsigned steps = 200;
  for (unsigned step = 0; step < steps; ++step) {
    std::string const name = "p" + std::to_string(pick(4));
    auto const known = publishers_.find(name);
    auto const action = pick(12);
    if (action == 0) {
      saveFile();
    } else if (known == publishers_.end() || known->second.client == 0) {
      greet(name);
    } else if (action == 1) {
      door_->answer(known->second.client, R"({"bye":true})");
      door_->left(known->second.client);
      end(name);
    } else if (action < 4) {
      door_->left(std::exchange(known->second.client, 0));
    } else {
      speak(name, action < 8);
    }
    if (pick(3) == 0) endTheSilent();
    Zef::Ptr<Zef::Dir> wanted;
    try {
      wanted = read(combined(false).dump());
    } catch (Host::InventoryError const&) {
      continue;  // something waits for a name, and the model does not know what
    }
    ++compared;
    ASSERT_EQ(dump(live_.inputs()), dump(wanted)) << "at step " << step;
    Host::Bootstrap fresh;
    fresh.publish(*wanted);
    fresh.physicalNamesAreShown(true);
    if (!namesDiffer(*fresh.root())) continue;
    pass(6);
    ASSERT_EQ(answers(live_), answers(fresh)) << "at step " << step;
  }
  EXPECT_GT(compared, steps / 2);
}

INSTANTIATE_TEST_SUITE_P(Seeds, History, testing::Range(1U, 3U));
INSTANTIATE_TEST_SUITE_P(Seeds, Door, testing::Range(1U, 3U));

}  // namespace
