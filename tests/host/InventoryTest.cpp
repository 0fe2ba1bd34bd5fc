#include <ctime>

#include "model/input/Election.h"
#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
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

std::string repeated(unsigned times, std::string const& text) {
  std::string all;
  for (unsigned i = 0; i < times; ++i) all += text;
  return all;
}

std::string system(std::string const& members) { return R"({"status": {"fixedSystem": {)" + members + "}}}"; }

TEST(Inventory, ReadsEverythingThatAFileCanSay) {
  auto const inputs = read(everything);
  auto const system = at<EntityMib::FixedSystem>(inputs, {"status", "fixedSystem"});
  ASSERT_TRUE(system);
  EXPECT_EQ(system->defaultChildTags("sensor"), "TempSensor");

  auto const fan = at<Environment::Cooling::FanStatus>(inputs, {"coolingStatus", "fan", "Fan1/1"});
  EXPECT_EQ(fan->hwStatus(), Environment::Cooling::FanStatus::HwStatus::ok);
  EXPECT_EQ(fan->properties()->maxRpm(), 18000U);

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

// What depends on other values of the file gets them wherever they stand: indexes on tags.
TEST(Inventory, TheOrderOfKeysDoesNotMatter) {
  auto const one = read(system(R"(
    "port": {"1": {"tag": "Ethernet", "label": "1"}, "2": {"label": "m", "tag": "Management"}},
    "powerSupplySlot": {"2": {"powerSupply": {"fan": {"1": {"sensor": {"1": {}}}}}}})"));
  auto const other = read(system(R"(
    "powerSupplySlot": {"2": {"powerSupply": {"fan": {"1": {"sensor": {"1": {}}}}}}},
    "port": {"2": {"tag": "Management", "label": "m"}, "1": {"label": "1", "tag": "Ethernet"}})"));
  EXPECT_EQ(dump(one), dump(other));
  auto const port = at<EntityMib::Port>(one, {"status", "fixedSystem", "port", "2"});
  EXPECT_EQ(port->physicalIndex().value(), 201002U);
}

// A text that is `levels` deep, of lists where the status is wanted.
std::string deep(unsigned levels) {
  return "{\"status\": " + repeated(levels - 1, "[") + repeated(levels - 1, "]") + "}";
}

TEST(Inventory, SaysWhereAndWhyItRefuses) {
  struct {
    std::string text;
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
      {R"({"status": {"fixedSystem": null}})", "status.fixedSystem: ", "an object in braces is needed, not null"},
      {R"({"redundancy": {"elections": {}}})", "redundancy.elections: ", "no such entity"},
      {R"({"status": {"fixedSystem": {"label": "1", "label": "2"}}})", "status.fixedSystem.label: ", "twice"},
      {R"({"status": {}, "tempStatus": {}, "status": {}})", "status: ", "twice"},
      {R"({"status": {"fixedSystem": {}, "chassis": {}}})", "status: ", "it has both fixedSystem and chassis"},
      // what it costs
      {deep(64), "status: ", "an object in braces is needed, not a list"},
      {deep(65), "status: ", "nested deeper than 64 levels"},
      {system(R"("label": )" + repeated(50'000, R"({"a":)")), "status.fixedSystem.label.a.a.", "nested deeper than"},
      // what a file does not say
      {R"({"status": {"fixedSystem": {"physicalIndex": 7}}})",
       "status.fixedSystem.physicalIndex: ", "follows from the place"},
      {R"({"status": {"isNondestructing": true}})", "status.isNondestructing: ", "not written in a file"},
      // keys
      {R"({"status": {"fixedSystem": {"sensor": {"x": {}}}}})", "status.fixedSystem.sensor.x: ", "not \"x\""},
      {R"({"status": {"fixedSystem": {"powerSupplySlot": {"33": {}}}}})",
       "status.fixedSystem.powerSupplySlot.33: ", "outside 1 to 32"},
      {R"({"tempStatus": {"tempSensor": {"": {}}}})", "tempStatus.tempSensor.: ", "cannot be empty"},
      {R"({"tempStatus": {"tempSensor": {"a\u0000b": {}}}})", "tempStatus.tempSensor.a\\x00b: ", "zero byte"},
      {system(R"("label": "1", "label\u0000": "2")"), "status.fixedSystem.label", "zero byte"},
      {R"({"coolingStatus": {"fan": {"F": {"properties": {"maxRpm\u0000": 1}}}}})",
       "coolingStatus.fan.F.properties.maxRpm", "zero byte"},
      {R"({"status": {"a\nrefused": 1}})", "status.a\\x0arefused: ", "no such attribute"},
      // values
      {R"({"status": {"fixedSystem": {"label": 1}}})",
       "status.fixedSystem.label: ", "a text is needed, not the number 1"},
      {R"({"status": {"fixedSystem": {"label": null}}})", "status.fixedSystem.label: ", "a value is needed, not null"},
      {R"({"status": {"fixedSystem": {"label": "a\u0000b"}}})", "status.fixedSystem.label: ", "zero byte"},
      {R"({"status": {"nextPhysicalIndex": 18446744073709551615}})",
       "status.nextPhysicalIndex: ", "from 0 to 4294967295"},
      {R"({"status": {"nextPhysicalIndex": 1.5}})", "status.nextPhysicalIndex: ", "a whole number"},
      {R"({"tempStatus": {"tempSensor": {"T": {"temperature": "hot"}}}})",
       "tempStatus.tempSensor.T.temperature: ", "a number is needed, not the text \"hot\""},
      {R"({"tempStatus": {"tempSensor": {"T": {"temperature": 1e300}}}})",
       "tempStatus.tempSensor.T.temperature: ", "a number from -3.40282e+38 to 3.40282e+38"},
      {R"({"tempStatus": {"tempSensor": {"T": {"temperature": 18446744073709551615}}}})",
       "tempStatus.tempSensor.T.temperature: ", "a number of at most 100000000"},
      {R"({"tempStatus": {"tempSensor": {"T": {"hwStatus": "fine"}}}})", "tempStatus.tempSensor.T.hwStatus: ",
       "one of unknown, ok, failed, or its number, is needed, not the text \"fine\""},
      {system(R"("serialNum": ")" + repeated(33, "x") + '"'),
       "status.fixedSystem.serialNum: ", "a text of at most 32 bytes is needed, not one of 33"},
      {system(R"("description": ")" + repeated(128, "ä") + '"'),
       "status.fixedSystem.description: ", "a text of at most 255 bytes is needed, not one of 256"},
      {R"({"intfConfigDir": {"intfConfig": {"E": {"adminEnabledStateLocal": 1}}}})",
       "intfConfigDir.intfConfig.E.adminEnabledStateLocal: ", "true or false is needed"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"domThreshold": {"temperature": {"highAlarm": true}}}}}})",
       "xcvrStatusDir.xcvrStatus.E.domThreshold: ", "temperature: highAlarm: a number is needed, not true"},
      // names that a record could mean two parts by
      {system(R"("sensor": {"1": {"tag": "TempSensor", "label": "1"}}, "chip": {"2": {"tag": "TempSensor1"}})"),
       "status.fixedSystem.chip.2: ", "its name is TempSensor1, as is that of status.fixedSystem.sensor.1"},
      {system(R"("fanTraySlot": {"1": {"label": "1", "fanTray": {"fan": {"1": {"tag": "Fan", "label": "1"},
                                                                         "2": {"tag": "FAN", "label": "1"}}}}})"),
       "status.fixedSystem.fanTraySlot.1.fanTray.fan.2: ", "FanSensor1/1 would show its speed and that of status."},
      {system(R"("powerSupplySlot": {"1": {"label": "P", "powerSupply": {"tag": "PowerSupply"}},
                                     "2": {"label": "P", "powerSupply": {"tag": "PowerSupply"}}})"),
       "status.fixedSystem.powerSupplySlot.2.powerSupply: ", "its name is PowerSupplyP/, as is"},
      {system(R"("xcvrSlot": {"1": {"xcvr": {"tag": "Xcvr", "label": "1", "alias": "Ethernet1"}},
                              "2": {"xcvr": {"tag": "Xcvr", "label": "2", "alias": "Ethernet1"}}})"),
       "status.fixedSystem.xcvrSlot.2.xcvr: ", "its name is Ethernet1, as is"},
      {R"({"status": {"chassis": {"cardSlot": {"3": {"label": "3", "card": {"tag": "Linecard", "label": "3"}},
                                               "4": {"label": "4", "card": {"tag": "Linecard", "label": "3"}}}}}})",
       "status.chassis.cardSlot.4.card: ", "its name is Linecard3, as is"},
      // what has no name, or none that a record means, may share it
      {system(R"("chip": {"1": {"tag": "Chip"}, "2": {"tag": "Chip"}}, "sensor": {"1": {}, "2": {"label": "1"}},
                 "port": {"1": {"label": "1"}, "2": {"label": "1"}}, "fanTraySlot": {"1": {}, "2": {}})"),
       "", "none"},
      // references
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["xcvrConfigDir", "xcvrConfig", "E"]}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "there is nothing at xcvrConfigDir, xcvrConfig, E"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["status"]}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "a XcvrConfig is needed, not a Status"},
      {R"({"xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": "xcvrConfigDir/xcvrConfig/E"}}}})",
       "xcvrStatusDir.xcvrStatus.E.xcvrConfig: ", "a list of the names"},
  };
  for (auto const& each : cases) {
    std::string const said = reasonAgainst(each.text);
    EXPECT_EQ(said.substr(0, std::string(each.place).size()), each.place) << each.text << "\n  -> " << said;
    EXPECT_NE(said.find(each.reason, std::string(each.place).size()), std::string::npos)
        << each.text << "\n  -> " << said;
  }
}

TEST(Inventory, CountsValues) {
  std::string const text = system(R"("sensor": {"1": {"tag": "T", "label": "1"}})");
  EXPECT_NO_THROW(Host::readInventory(text, Host::inputTypes(), {.values = 7}));
  EXPECT_THROW(Host::readInventory(text, Host::inputTypes(), {.values = 6}), Host::InventoryError);
}

// A file that ends early is refused. A byte that has gone bad leaves one that means something or is refused, and
// nothing else ever comes of it.
TEST(Inventory, SurvivesDamage) {
  std::string const whole = everything;
  unsigned taken = 0;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    ASSERT_NE(reasonAgainst(whole.substr(0, at)), "none") << "the first " << at << " bytes are taken";
    if (at % 13 != 0) continue;
    for (char const byte : {'\0', '"', '{', '9', '\xff'}) {
      std::string damaged = whole;
      damaged[at] = byte;
      taken += reasonAgainst(damaged) == "none";
    }
  }
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
    Vorlin::Merge(*live, *read(text), {}).apply();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  // Eight times the records: about eight times the time, and sixty-four for what goes with the square.
  double const few = seconds(2500);
  EXPECT_LT(seconds(20000), 24 * few);
}

}  // namespace
