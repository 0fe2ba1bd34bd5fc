// Any bytes as what publishers say and as the inventory file: nothing ends the agent, and every answer is a JSON text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "host/publishers/Publishers.h"

namespace {

constexpr char whole[] =
    R"({"status": {"chassis": {"cardSlot": {"3": {"label": "3", "card": {"tag": "Linecard", "label": "3",
  "port": {"5": {"tag": "Ethernet", "label": "5"}}, "sensor": {"1": {"tag": "TempSensor", "label": "1"}}}}}}},
  "xcvrConfigDir": {"xcvrConfig": {"Ethernet3/5": {}}},
  "tempStatus": {"tempSensor": {"TempSensor3/1": {"temperature": 20}}}})";

}  // namespace

// The first byte of a line says who says it: an "f" is the file, an "a" and a "b" are publishers who have greeted, with
// the claims below, and anybody else has not.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static auto const clock = Zef::make<Zef::Clock>("fuzz");
  static Host::Bootstrap system;
  static Host::Publishers publishers(Host::inputTypes(), system, clock, [](auto /*severity*/, auto const& /*line*/) {});
  publishers.fileIs(whole);
  for (int client = 0; client != 3; ++client) publishers.came(client, {});
  publishers.answer(0, R"({"publisher":"a","claims":["status/chassis/cardSlot/3/card","xcvrStatusDir","tempStatus"]})");
  publishers.answer(1, R"({"publisher":"b","claims":["status","xcvrConfigDir","coolingStatus"],"parts":"withdraw"})");
  for (std::string_view rest(reinterpret_cast<char const*>(data), size); !rest.empty();) {
    std::string_view const line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (line.empty()) continue;
    if (line.front() == 'f') {
      try {
        publishers.fileIs(line.substr(1));
      } catch (Host::InventoryError const&) {
      }
      continue;
    }
    int const client = line.front() == 'a' ? 0 : line.front() == 'b' ? 1 : 2;
    if (!nlohmann::json::accept(publishers.answer(client, line.substr(1)))) std::abort();
  }
  for (int client = 0; client != 3; ++client) publishers.left(client);
  publishers.endAll();
  return 0;
}
