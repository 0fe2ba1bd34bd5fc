// What publishers may say, and what becomes of it.

#include "host/publishers/Publishers.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "model/Constants.h"
#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

using nlohmann::json;

constexpr char ok[] = R"({"ok":true})";

std::string error(std::string const& place, std::string const& reason) {
  return R"({"error":")" + reason + (place.empty() ? "" : R"(","place":")" + place) + "\"}";
}

struct Door : Looping {
  std::string answer(int client, std::string const& line) { return publishers.answer(client, line); }
  // A client that greets; it is a number as well.
  std::string greet(int client, std::string const& name, json const& claims, json more = json::object()) {
    publishers.came(client, {1000, 1000, 4711});
    more["publisher"] = name;
    more["claims"] = claims;
    return answer(client, more.dump());
  }
  std::string set(int client, std::string const& content) { return answer(client, "{\"set\":" + content + "}"); }
  std::string patch(int client, std::string const& content) { return answer(client, "{\"patch\":" + content + "}"); }
  // What stands in the inputs is this, and nothing else.
  void expectInputs(std::string const& content) const { EXPECT_EQ(dump(system.inputs()), dump(read(content))); }

  void leave(int client) { publishers.left(client); }
  // Greets and says all of its claims.
  void publish(int client, std::string const& name, json const& claims, std::string const& content,
               json const& more = json::object()) {
    ASSERT_EQ(greet(client, name, claims, more), ok);
    ASSERT_EQ(set(client, content), ok) << content;
  }

  Host::Bootstrap system;
  Host::Publishers publishers{Host::inputTypes(), system, clock, log};
};

TEST_F(Door, SetsAndPatchesWhatIsClaimed) {
  ASSERT_EQ(greet(1, "thermal", {"tempStatus", "coolingStatus/fan/Fan1%2F1"}), ok);
  EXPECT_EQ(set(1, R"({"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 31.5, "hwStatus": "ok"}}},
                       "coolingStatus": {"fan": {"Fan1/1": {"speed": 42, "properties": {"maxRpm": 18000}}}}})"),
            ok);
  expectInputs(R"({"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 31.5, "hwStatus": "ok"}}},
                   "coolingStatus": {"fan": {"Fan1/1": {"speed": 42, "properties": {"maxRpm": 18000}}}}})");
  EXPECT_EQ(patch(1, R"({"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 33, "hwStatus": null},
                                                       "TempSensor2": {"temperature": 20, "hwStatus": null}}},
                         "coolingStatus": {"fan": {"Fan1/1": {"properties": {"maxRpm": 9000}}}}})"),
            ok);
  expectInputs(
      R"({"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 33}, "TempSensor2": {"temperature": 20}}},
                   "coolingStatus": {"fan": {"Fan1/1": {"speed": 42, "properties": {"maxRpm": 9000}}}}})");
  EXPECT_EQ(set(1, R"({"tempStatus": {"tempSensor": {"TempSensor2": {"temperature": 21}}}})"), ok);
  expectInputs(R"({"tempStatus": {"tempSensor": {"TempSensor2": {"temperature": 21}}}})");
  EXPECT_EQ(answer(1, R"({"bye":true})"), ok);
  expectInputs("{}");
}

// Each is refused whole, with its place, and the next line is answered as if it had not been.
TEST_F(Door, RefusesWithThePlaceAndTheReason) {
  publishers.came(1, {1000, 1000, 1});
  struct {
    std::string line;
    std::string place;
    std::string reason;
  } const greetings[] = {
      {"{", "1:2", "syntax error"},
      {"[]", "", "an object in braces is needed, not a list"},
      {R"({"set":{}})", "", "a greeting is needed first"},
      {R"({"publish":{}})", "publish", "no such word"},
      {R"({"publisher":"a b","claims":["tempStatus"]})", "publisher", "a name of 1 to 64"},
      {R"({"publisher":"a","claims":[]})", "claims", "a list of 1 to 4096 paths"},
      {R"({"publisher":"a","claims":"tempStatus"})", "claims", "a list of 1 to 4096 paths"},
      {R"({"publisher":"a"})", "claims", "a list of paths is needed"},
      {R"({"publisher":"a","claims":[1]})", "claims", "a path is needed, not a number"},
      {R"({"publisher":"a","claims":[""]})", "", "a claim is the path of an object or a collection"},
      {R"({"publisher":"a","claims":["tempstatus"]})", "tempstatus", "no such input"},
      {R"({"publisher":"a","claims":["redundancy/elections"]})", "redundancy/elections", "no such entity"},
      {R"({"publisher":"a","claims":["status/card"]})", "status/card", "no such attribute: card"},
      {R"({"publisher":"a","claims":["status/chassis/label"]})", "status/chassis/label", "label is a value"},
      {R"({"publisher":"a","claims":["status/chassis/cardSlot/65"]})", "status/chassis/cardSlot/65", "cardSlot 65 is"},
      {R"({"publisher":"a","claims":["tempStatus/tempSensor/%00"]})", "", "a path has no zero byte"},
      {R"({"publisher":"a","claims":["tempStatus","tempStatus"]})", "tempStatus", "it stands there twice"},
      {R"({"publisher":"a","claims":["tempStatus"],"lease":0})", "lease", "seconds above 0"},
      {R"({"publisher":"a","claims":["tempStatus"],"lease":86401})", "lease", "seconds above 0"},
      {R"({"publisher":"a","claims":["tempStatus"],"parts":"drop"})", "parts", "keep or withdraw"},
      {R"({"publisher":"a","claims":["tempStatus"],"set":{}})", "set", "no such word in a greeting"},
  };
  for (auto const& [line, place, reason] : greetings) {
    json const answer = json::parse(publishers.answer(1, line));
    EXPECT_EQ(answer.value("place", ""), place) << line;
    EXPECT_EQ(answer.value("error", "").substr(0, reason.size()), reason) << line;
  }
  publishers.left(1);
  publish(1, "a", {"status", "tempStatus", "redundancy/election", "tempConfig/tempSensor"},
          R"({"status": {"fixedSystem": {"tag": "F", "port": {"1": {"tag": "Ethernet", "label": "1"}}}}})");
  std::string const before = dump(system.inputs());
  EXPECT_EQ(answer(1, R"({"publisher":"a","claims":["tempStatus"]})"),
            error("publisher", "it has greeted already, as a"));
  EXPECT_EQ(answer(1, R"({"alive":1})"), error("alive", "true is needed"));
  EXPECT_EQ(json::parse(answer(1, R"({"set":{},"patch":{}})"))["error"],
            "one of publisher, set, patch, alive and bye is needed");
  struct {
    std::string content;
    std::string place;
    std::string reason;
  } const contents[] = {
      {R"([])", "", "an object in braces is needed, not a list"},
      {R"({"fans":{}})", "fans", "no such input"},
      {R"({"coolingStatus":{}})", "coolingStatus", "it is in no claim of a"},
      {R"({"tempConfig":{"description":{}}})", "tempConfig.description", "no such attribute"},
      {R"({"redundancy":{"elections":{}}})", "redundancy.elections", "no such entity"},
      {R"({"tempStatus":{"tempSensor":{"T":{"temprature":1}}}})", "tempStatus.tempSensor.T.temprature",
       "no such attribute"},
      {R"({"tempStatus":{"tempSensor":{"T":{"temperature":"hot"}}}})", "tempStatus.tempSensor.T.temperature",
       R"(a number is needed, not the text "hot")"},
      {R"({"tempStatus":{"tempSensor":{"T":{},"T":{}}}})", "tempStatus.tempSensor.T", "it stands there twice"},
      {R"({"status":{"fixedSystem":{"port":{"2":{"tag":"Ethernet","label":"1"},"1":{"tag":"Ethernet","label":"1"}}}}})",
       "status.fixedSystem.port.2", "its name is Ethernet1, as is that of status.fixedSystem.port.1"},
      {R"({"status":{"chassis":{},"fixedSystem":{}}})", "status",
       "it has both fixedSystem and chassis, and a switch is one of the two"},
      {R"({"status":{"fixedSystem":{"physicalIndex":7}}})", "status.fixedSystem.physicalIndex",
       "it follows from the place in the tree or from other values, and is not written in a file"},
      {R"({"status":{"root":["status","chassis"]}})", "status.root", "there is nothing at status, chassis"},
  };
  for (auto const& [content, place, reason] : contents) {
    for (auto const& answered : {set(1, content), patch(1, content)}) {
      json const refusal = json::parse(answered);
      EXPECT_EQ(refusal.value("place", ""), place) << content;
      EXPECT_EQ(refusal.value("error", ""), reason) << content;
      EXPECT_EQ(dump(system.inputs()), before);
    }
  }
  // One line of the log a second, and the others counted.
  pass(2);
  said();
  for (int i = 0; i < 5; ++i) answer(1, "x");
  pass(2);
  auto const lines = said();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1], "refused publisher a 4 times more");
}

TEST_F(Door, TakesAwayWhatAPatchSaysIsNull) {
  publish(1, "all", {"status", "coolingStatus", "xcvrStatusDir", "xcvrConfigDir", "redundancy"},
          R"({"status": {"fixedSystem": {"tag": "F", "label": "1", "port": {"1": {}, "2": {"label": "2"}},
                "fanTraySlot": {"1": {"fanTray": {"tag": "T"}}}}},
              "coolingStatus": {"fan": {"F": {"speed": 1, "properties": {"maxRpm": 5}}}},
              "redundancy": {"election": {"redundancyMode": "active"}},
              "xcvrConfigDir": {"xcvrConfig": {"E": {}}},
              "xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["xcvrConfigDir", "xcvrConfig", "E"],
                "domInfo": {"0": {"temperature": 1, "rxPower": 2}, "1": {}},
                "domThreshold": {"temperature": {"highAlarm": 75, "lowAlarm": -5}}}}}})");
  struct {
    std::string patch;
    std::string result;
  } const steps[] = {
      {R"({"status":{"fixedSystem":{"label":null,"port":{"1":null},"fanTraySlot":{"1":{"fanTray":null}}}},
           "xcvrStatusDir":{"xcvrStatus":{"E":{"xcvrConfig":null,
             "domInfo":{"0":{"temperature":null},"1":null,"2":{"rxPower":3,"voltage":null}},
             "domThreshold":{"temperature":{"lowAlarm":null,"highWarning":70}}}}}})",
       R"({"status": {"fixedSystem": {"tag": "F", "port": {"2": {"label": "2"}}, "fanTraySlot": {"1": {}}}},
           "coolingStatus": {"fan": {"F": {"speed": 1, "properties": {"maxRpm": 5}}}},
           "redundancy": {"election": {"redundancyMode": "active"}},
           "xcvrConfigDir": {"xcvrConfig": {"E": {}}},
           "xcvrStatusDir": {"xcvrStatus": {"E": {"domInfo": {"0": {"rxPower": 2}, "2": {"rxPower": 3}},
             "domThreshold": {"temperature": {"highAlarm": 75, "highWarning": 70}}}}}})"},
      {R"({"status":{"fixedSystem":{"port":null}},"coolingStatus":{"fan":{"F":{"properties":null}}},
           "redundancy":{"election":null},"xcvrConfigDir":null,
           "xcvrStatusDir":{"xcvrStatus":{"E":{"domInfo":null,"domThreshold":null}}}})",
       R"({"status": {"fixedSystem": {"tag": "F", "fanTraySlot": {"1": {}}}}, "coolingStatus": {"fan": {"F": {"speed": 1}}},
           "xcvrStatusDir": {"xcvrStatus": {"E": {}}}})"},
      {R"({"status":{"fixedSystem":null},"coolingStatus":{"fan":null},"xcvrStatusDir":{"xcvrStatus":{"E":null,"F":null}}})",
       "{}"},
  };
  for (auto const& [content, result] : steps) {
    EXPECT_EQ(patch(1, content), ok);
    expectInputs(result);
  }
}

// Another tag, or another label of a slot, makes another part of one; what nobody spoke of goes along.
TEST_F(Door, ReplacesAPartWithAllThatItHas) {
  auto const chassis = [](std::string const& slot, std::string const& card) {
    return R"({"status": {"chassis": {"cardSlot": {"3": {"label": ")" + slot + R"(", "card": {"tag": ")" + card +
           R"(", "sensor": {"1": {"tag": "TempSensor", "label": "1"}},
               "port": {"5": {"tag": "Ethernet", "label": "5", "description": "uplink"}}}}}}},
               "coolingStatus": {"fan": {"F": {"speed": 1, "properties": {"maxRpm": 9}}}}})";
  };
  publish(1, "all", {"status", "coolingStatus"}, chassis("3", "Linecard"));
  ASSERT_EQ(greet(2, "ports", {"status/chassis/cardSlot/3/card/port"}), ok);
  ASSERT_EQ(greet(3, "sensor", {"status/chassis/cardSlot/3/card/sensor/1"}), ok);
  EXPECT_EQ(patch(1, R"({"status":{"chassis":{"cardSlot":{"3":{"label":"A"}}}},
                         "coolingStatus":{"fan":{"F":{"properties":{"maxRpm":8}}}}})"),
            ok);
  EXPECT_EQ(patch(1, R"({"status":{"chassis":{"cardSlot":{"3":{"card":{"tag":"Fabric"}}}}},
                         "coolingStatus":{"fan":{"F":{"properties":{"maxRpm":9}}}}})"),
            ok);
  expectInputs(chassis("A", "Fabric"));
  EXPECT_TRUE(system.root()->component("EthernetA/5"));
}

TEST_F(Door, TheDeepestClaimOwns) {
  std::string const whole = R"({"status": {"chassis": {"cardSlot": {"3": {"label": "3"}, "4": {"label": "4"}}}}})";
  publish(1, "outer", {"status", "tempStatus"}, whole);
  ASSERT_EQ(greet(2, "inner", {"status/chassis/cardSlot/3", "tempStatus/tempSensor"}), ok);
  expectInputs(whole);
  publishers.came(3, {1000, 1000, 1});
  EXPECT_EQ(answer(3, R"({"publisher":"third","claims":["status"]})"), error("status", "outer claims it already"));
  EXPECT_EQ(answer(3, R"({"publisher":"outer","claims":["cardStatus"]})"),
            error("publisher", "outer is here already, as process 4711"));
  leave(2);
  EXPECT_EQ(answer(3, R"({"publisher":"inner","claims":["cardStatus"]})"), R"({"ok":true,"back":true})");
  ASSERT_EQ(greet(2, "between", {"status/chassis/cardSlot/3"}), ok);
  leave(3);
  publishers.came(3, {1001, 1001, 1});
  EXPECT_EQ(answer(3, R"({"publisher":"inner","claims":["cardStatus"]})"),
            error("publisher", "inner is user 1000's until its lease is over"));
  EXPECT_EQ(answer(3, R"({"publisher":"other","claims":["powerStatus/powerSupply/P","powerStatus"]})"),
            error("powerStatus/powerSupply/P", "it lies within powerStatus"));

  std::string const taken = "between speaks for it";
  EXPECT_EQ(set(1, whole), error("status.chassis.cardSlot.3", taken));
  EXPECT_EQ(patch(1, R"({"status":{"chassis":{"cardSlot":{"3":null}}}})"), error("status.chassis.cardSlot.3", taken));
  EXPECT_EQ(set(2, whole), error("status.chassis.cardSlot.4", "outer speaks for it"));
  EXPECT_EQ(set(2, R"({"status": {"chassis": {"label": "1"}}})"), error("status.chassis.label", "outer speaks for it"));
  EXPECT_EQ(set(1, R"({"status": {"chassis": {"label": "1"}}})"), ok);
  expectInputs(R"({"status": {"chassis": {"label": "1", "cardSlot": {"3": {"label": "3"}}}}})");
  EXPECT_EQ(set(2, "{}"), ok);
  expectInputs(R"({"status": {"chassis": {"label": "1"}}})");
}

TEST_F(Door, TheFileIsTheOutermost) {
  using Places = std::vector<std::string>;
  auto const file = [](std::string const& temperature) {
    return R"({"tempStatus": {"tempSensor": {"A": {"temperature": )" + temperature +
           R"(}, "B": {}}}, "cardStatus": {"cardStatus": {"C": {}}}})";
  };
  EXPECT_EQ(publishers.fileIs(file("1")), Places());
  ASSERT_EQ(greet(1, "one", {"tempStatus/tempSensor/A"}, {{"lease", 10}}), ok);
  ASSERT_EQ(greet(2, "all", {"cardStatus"}, {{"lease", 10}}), ok);
  expectInputs(file("1"));
  EXPECT_EQ(patch(1, R"({"tempStatus":{"tempSensor":{"A":{"temperature":2}}}})"), ok);
  EXPECT_EQ(publishers.fileIs(file("3")), (Places{"cardStatus", "tempStatus.tempSensor.A"}));
  expectInputs(file("2"));
  EXPECT_THROW(publishers.fileIs(R"({"powerStatus": {}, "tempStatus": {"tempSensor": {"C": {"state": 1}}}})"),
               Host::InventoryError);
  expectInputs(file("2"));
  // What a word said goes with it; the file's next version speaks for it again.
  pass(11);
  expectInputs(R"({"tempStatus": {"tempSensor": {"B": {}}}})");
  EXPECT_EQ(publishers.fileIs(file("4")), Places());
  expectInputs(file("4"));
  EXPECT_EQ(publishers.fileIs(R"({"cardStatus": {}})"), Places());
  expectInputs("{}");
  publishers.fileIs(file("5"));
  publishers.fileDel();
  expectInputs("{}");
}

TEST_F(Door, WaitsForAPartToStandIn) {
  auto const slot3 = [](std::string const& label) {
    return R"({"status": {"chassis": {"cardSlot": {"3": {"label": "3", "card": {"tag": "Linecard", "label": ")" +
           label + R"(", "serialNum": "K"}}}}}})";
  };
  json const waits{{"ok", true}, {"waits", {"status.chassis.cardSlot.3.card"}}};
  auto const chassis = R"({"status": {"chassis": {"cardSlot": {"3": {"label": "3"}}}}})";
  ASSERT_EQ(greet(1, "card", {"status/chassis/cardSlot/3/card"}, {{"lease", 500}}), ok);
  std::string card = slot3("3");
  card.replace(card.find(R"("label": "3", "card")"), 13, "");
  EXPECT_EQ(set(1, card), waits.dump());
  EXPECT_EQ(patch(1, R"({"status":{"chassis":{"cardSlot":{"3":{"card":{"serialNum":"K","alias":null}}}}}})"),
            waits.dump());
  expectInputs("{}");
  publish(2, "outer", {"status"}, chassis);
  expectInputs(slot3("3"));
  EXPECT_EQ(answer(1, R"({"alive":true})"), ok);
  // Another slot, no slot, no chassis, another kind of switch; and back.
  for (char const* other : {R"({"status": {"chassis": {"cardSlot": {"3": {"label": "9"}}}}})",
                            R"({"status": {"chassis": {"cardSlot": {"4": {"label": "4"}}}}})", R"({"status": {}})",
                            R"({"status": {"fixedSystem": {"tag": "F"}}})"}) {
    EXPECT_EQ(set(2, other), ok);
    EXPECT_EQ(set(2, chassis), ok);
    expectInputs(slot3("3"));
  }
  // What another part has the name of goes on waiting until that is gone.
  EXPECT_EQ(set(2, R"({"status": {}})"), ok);
  said();
  EXPECT_EQ(
      set(2, R"({"status": {"chassis": {"cardSlot": {"3": {}, "4": {"card": {"tag": "Linecard", "label": "3"}}}}}})"),
      ok);
  auto const lines = said();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].find("card goes on waiting at status.chassis.cardSlot.3.card: "), 0U) << lines[0];
  EXPECT_EQ(set(1, card).find(R"({"error":"its name is Linecard3,)"), 0U);
  EXPECT_EQ(patch(2, R"({"status":{"chassis":{"cardSlot":{"3":{"label":"3"},"4":null}}}})"), ok);
  expectInputs(slot3("3"));
  // A word that ends does not wait.
  EXPECT_EQ(set(2, R"({"status": {}})"), ok);
  EXPECT_EQ(answer(1, R"({"bye":true})"), ok);
  EXPECT_EQ(set(2, chassis), ok);
  expectInputs(chassis);
}

TEST_F(Door, ReferencesLoseTheirEndsAndFindThemAgain) {
  std::string const configs = R"("xcvrConfigDir": {"xcvrConfig": {"E": {"xcvrState": true}}})";
  std::string const to = R"(["xcvrConfigDir", "xcvrConfig", "E"])";
  std::string const statuses =
      R"("xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": )" + to + R"(}, "F": {"xcvrConfig": )" + to + R"(}}})";
  ASSERT_EQ(greet(1, "status", {"xcvrStatusDir"}, {{"lease", 500}}), ok);
  ASSERT_EQ(greet(2, "config", {"xcvrConfigDir"}, {{"lease", 10}}), ok);
  EXPECT_EQ(set(1, "{" + statuses + "}"),
            error("xcvrStatusDir.xcvrStatus.E.xcvrConfig", "there is nothing at xcvrConfigDir, xcvrConfig, E"));
  EXPECT_EQ(set(2, "{" + configs + "}"), ok);
  EXPECT_EQ(set(1, "{" + statuses + "}"), ok);
  expectInputs("{" + configs + ", " + statuses + "}");
  pass(11);
  expectInputs(R"({"xcvrStatusDir": {"xcvrStatus": {"E": {}, "F": {}}}})");
  EXPECT_EQ(answer(2, R"({"alive":true})"), error("", "its lease is over: greet again"));
  // What is said anew meanwhile counts.
  EXPECT_EQ(patch(1, R"({"xcvrStatusDir":{"xcvrStatus":{"F":{"xcvrConfig":null}}}})"), ok);
  EXPECT_EQ(answer(2, R"({"publisher":"config","claims":["xcvrConfigDir"]})"), ok);
  EXPECT_EQ(set(2, "{" + configs + "}"), ok);
  expectInputs("{" + configs + R"(, "xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": )" + to + R"(}, "F": {}}}})");
  EXPECT_EQ(set(1, R"({"xcvrStatusDir": {"xcvrStatus": {"E": {}}}})"), ok);
  EXPECT_EQ(set(2, "{}"), ok);
  EXPECT_EQ(set(2, "{" + configs + "}"), ok);
  expectInputs("{" + configs + R"(, "xcvrStatusDir": {"xcvrStatus": {"E": {}}}})");
  // One that left with its record does not come back with it.
  EXPECT_EQ(set(1, "{" + statuses + "}"), ok);
  EXPECT_EQ(patch(1, R"({"xcvrStatusDir": null})"), ok);
  EXPECT_EQ(patch(1, R"({"xcvrStatusDir": {"xcvrStatus": {"E": {}}}})"), ok);
  EXPECT_EQ(set(2, "{}"), ok);
  EXPECT_EQ(set(2, "{" + configs + "}"), ok);
  expectInputs("{" + configs + R"(, "xcvrStatusDir": {"xcvrStatus": {"E": {}}}})");
}

TEST_F(Door, ATransceiverMayBeInUseAsAnotherOneIs) {
  publish(1, "all", {"status", "xcvrConfigDir", "xcvrStatusDir"},
          R"({"status": {"fixedSystem": {"xcvrSlot": {"1": {"xcvr": {"tag": "Xcvr", "alias": "E"}}}}},
              "xcvrConfigDir": {"xcvrConfig": {"E": {"xcvrState": true}, "F": {"xcvrState": true}}}})");
  EXPECT_EQ(patch(1, R"({"xcvrStatusDir":{"xcvrStatus":{"E":{"presence":"present",
                                                             "xcvrConfig":["xcvrConfigDir","xcvrConfig","F"]}}}})"),
            ok);
  auto const admin = [&] { return system.root()->stateMib()->stateEntity(4010001)->adminState(); };
  EXPECT_EQ(admin(), Orvane::Constants::adminStateUnlocked);
  EXPECT_EQ(patch(1, R"({"xcvrConfigDir":{"xcvrConfig":{"F":{"xcvrState":false}}}})"), ok);
  EXPECT_EQ(admin(), Orvane::Constants::adminStateLocked);
}

TEST_F(Door, AWordHoldsForItsLease) {
  std::string const content = R"({"status": {"fixedSystem": {"tag": "F"}}, "tempStatus": {"tempSensor": {"A": {}}}})";
  for (bool const withdraws : {false, true}) {
    publish(1, "thermal", {"status", "tempStatus"}, content,
            {{"lease", 10}, {"parts", withdraws ? "withdraw" : "keep"}});
    for (int i = 0; i < 3; ++i) {
      pass(8);
      EXPECT_EQ(answer(1, i == 1 ? "nonsense" : R"({"alive":true})") == ok, i != 1);
    }
    leave(1);
    pass(8);
    EXPECT_EQ(json::parse(greet(1, "thermal", {"status", "tempStatus"}, {{"lease", 10}}))["back"], true);
    // It has less to say now, and then nothing more.
    leave(1);
    pass(1);
    EXPECT_EQ(json::parse(
                  greet(1, "thermal", {"status"}, {{"lease", 10}, {"parts", withdraws ? "withdraw" : "keep"}}))["back"],
              true);
    expectInputs(R"({"status": {"fixedSystem": {"tag": "F"}}})");
    said();
    pass(11);
    EXPECT_EQ(said(),
              std::vector<std::string>{"publisher thermal has been silent for 10 s: what it said is withdrawn"});
    expectInputs(withdraws ? "{}" : R"({"status": {"fixedSystem": {"tag": "F"}}})");
    leave(1);
  }
}

}  // namespace
