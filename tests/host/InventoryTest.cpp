#include <ctime>

#include "model/input/Election.h"
#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "model/input/Interface.h"
#include "model/input/Xcvr.h"
#include "tests/host/Described.h"

namespace {

std::string reasonAgainst(std::string const& text) {
  try {
    read(text);
  } catch (Host::InventoryError const& error) {
    return error.what();
  }
  return "none";
}

TEST(Inventory, ReadsEverythingThatAFileCanSay) {
  auto const inputs = read(everything);
  auto const system = at<EntityMib::FixedSystem>(inputs, {"status", "fixedSystem"});
  ASSERT_TRUE(system);
  EXPECT_EQ(system->serialNum(), "KV0042");
  EXPECT_EQ(system->swappability(), EntityMib::Fru::Swappability::hotSwappable);
  EXPECT_EQ(system->defaultChildTags("sensor"), "TempSensor");
  EXPECT_EQ(at<EntityMib::Sensor>(inputs, {"status", "fixedSystem", "sensor", "1"})->description(), "Board sensor");

  auto const fan = at<Environment::Cooling::FanStatus>(inputs, {"coolingStatus", "fan", "Fan1/1"});
  EXPECT_EQ(fan->hwStatus(), Environment::Cooling::FanStatus::HwStatus::ok);
  EXPECT_EQ(fan->properties()->maxRpm(), 18000U);
  auto const intf = at<Interface::IntfStatus>(inputs, {"intfStatusDir", "intfStatus", "Ethernet1"});
  EXPECT_EQ(intf->intfConfig(), at<Interface::IntfConfig>(inputs, {"intfConfigDir", "intfConfig", "Ethernet1"}));

  auto const xcvr = at<Xcvr::XcvrStatus>(inputs, {"xcvrStatusDir", "xcvrStatus", "Ethernet3/5"});
  EXPECT_EQ(static_cast<U32>(xcvr->presence()), 17U);
  EXPECT_EQ(xcvr->xcvrConfig(), at<Xcvr::XcvrConfig>(inputs, {"xcvrConfigDir", "xcvrConfig", "Ethernet3/5"}));
  EXPECT_TRUE(xcvr->domInfoValid(Xcvr::LaneId(0)));
  EXPECT_FALSE(xcvr->domInfoValid(Xcvr::LaneId(1)));
  EXPECT_EQ(xcvr->domInfo(Xcvr::LaneId(0)).rxPower, -3.4);
  EXPECT_EQ(xcvr->domThreshold().temperature.lowAlarm, -5.0);
  EXPECT_EQ(at<Election::Status>(inputs, {"redundancy", "election"})->redundancyMode(),
            Election::RedundancyMode::active);
}

TEST(Inventory, HasEveryInputEvenWhenTheFileLeavesItOut) {
  auto const inputs = read("{}");
  EXPECT_TRUE(at<EntityMib::Status>(inputs, {"status"}));
  EXPECT_TRUE(at<Xcvr::AllStatusDir>(inputs, {"xcvrStatusDir"}));
  EXPECT_TRUE(at<Zef::Dir>(inputs, {"redundancy"}));
  EXPECT_FALSE(at<Election::Status>(inputs, {"redundancy", "election"}));
  EXPECT_EQ(inputs->entities().size(), 12U);
}

TEST(Inventory, StampsIndexesByPlaceWhateverTheOrderOfKeys) {
  auto const one = read(R"({"status": {"fixedSystem": {
    "port": {"1": {"tag": "Ethernet", "label": "1"}, "2": {"label": "m", "tag": "Management"}},
    "sensor": {"3": {}},
    "powerSupplySlot": {"2": {"powerSupply": {"fan": {"1": {"sensor": {"1": {}}}}}}}}}})");
  auto const other = read(R"({"status": {"fixedSystem": {
    "powerSupplySlot": {"2": {"powerSupply": {"fan": {"1": {"sensor": {"1": {}}}}}}},
    "sensor": {"3": {}},
    "port": {"2": {"tag": "Management", "label": "m"}, "1": {"label": "1", "tag": "Ethernet"}}}}})");
  EXPECT_EQ(dump(one), dump(other));

  auto const index = [&](Steps const& below) {
    Steps steps{"status", "fixedSystem"};
    steps.insert(steps.end(), below.begin(), below.end());
    return at<EntityMib::PhysicalEntity>(one, steps)->physicalIndex().value();
  };
  EXPECT_EQ(index({}), 1U);
  EXPECT_EQ(index({"sensor", "3"}), 100003U);
  EXPECT_EQ(index({"port", "1"}), 200001U);
  EXPECT_EQ(index({"port", "2"}), 201002U);  // the role of its tag
  EXPECT_EQ(index({"powerSupplySlot", "2"}), 2020000U);
  EXPECT_EQ(index({"powerSupplySlot", "2", "powerSupply"}), 2020001U);
  EXPECT_EQ(index({"powerSupplySlot", "2", "powerSupply", "fan", "1"}), 2021100U);
  EXPECT_EQ(index({"powerSupplySlot", "2", "powerSupply", "fan", "1", "sensor", "1"}), 2021101U);
}

TEST(Inventory, SaysWhereAndWhyItRefuses) {
  struct {
    char const* text;
    char const* place;   // the whole of what stands before the reason
    char const* reason;  // a part of it
  } const cases[] = {
      // no JSON
      {"", "1:1: ", "unexpected end of input"},
      {"{\n  \"status\": }", "2:13: ", "unexpected '}'"},
      {R"({"status": {})", "1:14: ", "unexpected end of input"},
      {"{} {}", "1:4: ", "expected end of input"},
      {"{\"status\": {\"systemMacAddr\": \"\xff\"}}", "1:31: ", "ill-formed UTF-8"},
      {R"({"status": {"nextPhysicalIndex": 1e999}})", "1:38: ", "number overflow"},
      // another shape than the model's
      {"[]", "", "an object in braces is needed, not a list"},
      {R"({"statuses": {}})", "statuses: ", "no such input"},
      {R"({"status": {"fixedSystem": {"sensor": {"1": {"lable": "1"}}}}})",
       "status.fixedSystem.sensor.1.lable: ", "no such attribute"},
      {R"({"status": {"": {}}})", "status.: ", "no such attribute"},
      {R"({"status": {"fixedSystem": []}})", "status.fixedSystem: ", "an object in braces is needed, not a list"},
      {R"({"status": {"fixedSystem": null}})", "status.fixedSystem: ", "an object in braces is needed, not null"},
      {R"({"status": {"fixedSystem": {"sensor": {"1": "TempSensor"}}}})",
       "status.fixedSystem.sensor.1: ", "an object in braces is needed, not a text"},
      {R"({"redundancy": {"elections": {}}})", "redundancy.elections: ", "no such entity"},
      {R"({"status": {"fixedSystem": {"label": "1", "label": "2"}}})", "status.fixedSystem.label: ", "twice"},
      {R"({"status": {"fixedSystem": {"sensor": {"1": {}, "2": {}, "1": {}}}}})",
       "status.fixedSystem.sensor.1: ", "twice"},
      {R"({"status": {}, "tempStatus": {}, "status": {}})", "status: ", "twice"},
      // what a file does not say
      {R"({"status": {"fixedSystem": {"physicalIndex": 7}}})",
       "status.fixedSystem.physicalIndex: ", "follows from the place"},
      {R"({"status": {"fixedSystem": {"sensor": {"1": {"parentIndex": 1}}}}})",
       "status.fixedSystem.sensor.1.parentIndex: ", "follows from the place"},
      {R"({"status": {"isNondestructing": true}})", "status.isNondestructing: ", "not written in a file"},
      {R"({"intfConfigDir": {"intfConfig": {"Ethernet1": {"adminEnabled": true}}}})",
       "intfConfigDir.intfConfig.Ethernet1.adminEnabled: ", "not written in a file"},
      // keys
      {R"({"status": {"fixedSystem": {"sensor": {"x": {}}}}})", "status.fixedSystem.sensor.x: ", "not \"x\""},
      {R"({"status": {"fixedSystem": {"sensor": {"01": {}}}}})", "status.fixedSystem.sensor.01: ", "not \"01\""},
      {R"({"status": {"fixedSystem": {"sensor": {"4294967296": {}}}}})",
       "status.fixedSystem.sensor.4294967296: ", "a key"},
      {R"({"status": {"fixedSystem": {"sensor": {"0": {}}}}})", "status.fixedSystem.sensor.0: ", "outside 1 to 1024"},
      {R"({"status": {"fixedSystem": {"sensor": {"1025": {}}}}})",
       "status.fixedSystem.sensor.1025: ", "outside 1 to 1024"},
      {R"({"status": {"fixedSystem": {"powerSupplySlot": {"33": {}}}}})",
       "status.fixedSystem.powerSupplySlot.33: ", "outside 1 to 32"},
      {R"({"tempStatus": {"tempSensor": {"": {}}}})", "tempStatus.tempSensor.: ", "cannot be empty"},
      {R"({"tempStatus": {"tempSensor": {"a\u0000b": {}}}})", "tempStatus.tempSensor.a\\x00b: ", "zero byte"},
      {R"({"status": {"a\nrefused": 1}})", "status.a\\x0arefused: ", "no such attribute"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"domInfo": {"256": {}}}}}})",
       "xcvrStatusDir.xcvrStatus.E.domInfo.256: ", "a key from 0 to 255"},
      // values
      {R"({"status": {"fixedSystem": {"label": 1}}})",
       "status.fixedSystem.label: ", "a text is needed, not the number 1"},
      {R"({"status": {"fixedSystem": {"label": null}}})", "status.fixedSystem.label: ", "a value is needed, not null"},
      {R"({"status": {"fixedSystem": {"label": ["1"]}}})",
       "status.fixedSystem.label: ", "a value is needed, not a list"},
      {R"({"status": {"fixedSystem": {"label": "a\u0000b"}}})", "status.fixedSystem.label: ", "zero byte"},
      {R"({"status": {"nextPhysicalIndex": -1}})", "status.nextPhysicalIndex: ", "not the number -1"},
      {R"({"status": {"nextPhysicalIndex": 4294967296}})", "status.nextPhysicalIndex: ", "from 0 to 4294967295"},
      {R"({"status": {"nextPhysicalIndex": 18446744073709551615}})",
       "status.nextPhysicalIndex: ", "from 0 to 4294967295"},
      {R"({"status": {"nextPhysicalIndex": 1.5}})", "status.nextPhysicalIndex: ", "a whole number"},
      {R"({"tempStatus": {"tempSensor": {"T": {"temperature": "hot"}}}})",
       "tempStatus.tempSensor.T.temperature: ", "a number is needed, not the text \"hot\""},
      {R"({"tempStatus": {"tempSensor": {"T": {"temperature": 1e300}}}})",
       "tempStatus.tempSensor.T.temperature: ", "a number is needed"},
      {R"({"tempStatus": {"tempSensor": {"T": {"hwStatus": "fine"}}}})",
       "tempStatus.tempSensor.T.hwStatus: ", "ok (1)"},
      {R"({"intfConfigDir": {"intfConfig": {"E": {"adminEnabledStateLocal": 1}}}})",
       "intfConfigDir.intfConfig.E.adminEnabledStateLocal: ", "true or false is needed"},
      {R"({"coolingStatus": {"fan": {"F": {"properties": {"maxRPM": 1}}}}})",
       "coolingStatus.fan.F.properties: ", "maxRPM"},
      {R"({"coolingStatus": {"fan": {"F": {"properties": 18000}}}})",
       "coolingStatus.fan.F.properties: ", "the number 18000"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"domThreshold": {"temperature": {"highAlarm": true}}}}}})",
       "xcvrStatusDir.xcvrStatus.E.domThreshold: ", "temperature: highAlarm: a number is needed, not true"},
      // references
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["xcvrConfigDir", "xcvrConfig", "E"]}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "there is nothing at xcvrConfigDir, xcvrConfig, E"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["status"]}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "another type"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": "xcvrConfigDir/xcvrConfig/E"}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "a list of the names"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": []}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "a list of the names"},
  };
  for (auto const& each : cases) {
    std::string const said = reasonAgainst(each.text);
    EXPECT_EQ(said.substr(0, std::string(each.place).size()), each.place) << each.text << "\n  -> " << said;
    EXPECT_NE(said.find(each.reason, std::string(each.place).size()), std::string::npos)
        << each.text << "\n  -> " << said;
  }
}

TEST(Inventory, RefusesEveryTruncation) {
  std::string const whole = everything;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    ASSERT_NE(reasonAgainst(whole.substr(0, size)), "none") << "the first " << size << " bytes are taken";
  }
  EXPECT_EQ(reasonAgainst(whole), "none");
}

// A byte that has gone bad leaves a file that means something or one that is refused, and nothing else ever comes of
// it.
TEST(Inventory, SurvivesDamagedBytes) {
  std::string const whole = everything;
  unsigned refused = 0;
  unsigned taken = 0;
  for (std::size_t at = 0; at < whole.size(); at += 13) {
    for (char const byte : {'\0', '"', '{', '9', '\xff'}) {
      std::string damaged = whole;
      damaged[at] = byte;
      ++(reasonAgainst(damaged) == "none" ? taken : refused);
    }
  }
  EXPECT_GT(refused, taken);
  EXPECT_GT(taken, 0U);
}

TEST(Inventory, TakesTimeInProportionToTheFile) {
  auto const seconds = [](unsigned records) {
    std::string text = R"({"tempStatus": {"tempSensor": {)";
    for (unsigned i = 0; i < records; ++i) {
      text += (i == 0 ? "\"T" : ", \"T") + std::to_string(i) + R"(": {"hwStatus": "ok", "temperature": 34.5})";
    }
    text += "}}}";
    auto const live = read("{}");
    std::clock_t const start = std::clock();
    Vorlin::merge(*live, *read(text));
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  // Eight times the records: about eight times the time, and sixty-four for what goes with the square.
  double const few = seconds(2500);
  EXPECT_LT(seconds(20000), 24 * few);
}

}  // namespace
