// What publishers may say, and what becomes of it.

#include "host/publishers/Publishers.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

using nlohmann::json;

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

  Host::Bootstrap system;
  Host::Publishers publishers{Host::inputTypes(), system, clock, log};
};

constexpr char ok[] = R"({"ok":true})";

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
  expectInputs(R"({"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 33}, "TempSensor2": {"temperature": 20}}},
                   "coolingStatus": {"fan": {"Fan1/1": {"speed": 42, "properties": {"maxRpm": 9000}}}}})");
  EXPECT_EQ(set(1, R"({"tempStatus": {"tempSensor": {"TempSensor2": {"temperature": 21}}}})"), ok);
  expectInputs(R"({"tempStatus": {"tempSensor": {"TempSensor2": {"temperature": 21}}}})");
  EXPECT_EQ(answer(1, R"({"bye":true})"), ok);
  expectInputs("{}");
}

}  // namespace
