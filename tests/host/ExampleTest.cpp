// The examples and the chassis that make-chassis writes are served as they stand, and what belongs together in them
// finds each other by name.

#include <array>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "sm/States.h"
#include "tests/host/Described.h"

namespace {

using nlohmann::json;
using C = Orvane::Constants;

// The output of a command, which the tests run at the root of the sources.
std::string run(std::string const& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  std::array<char, 65536> part{};
  while (std::size_t const size = std::fread(part.data(), 1, part.size(), pipe)) output.append(part.data(), size);
  pclose(pipe);
  return output;
}

std::vector<std::string> sources() {
  std::vector<std::string> all{
      "examples/make-chassis",
      "examples/make-chassis --slots 1 --fabric-cards 0 --ports 512 --transceivers 1% --lanes 16 --sensors 1024 "
      "--chips 512 --fan-trays 64 --fans 32 --supplies 32",
  };
  for (auto const& entry : std::filesystem::directory_iterator("examples")) {
    if (entry.path().extension() == ".json") all.push_back("cat " + entry.path().string());
  }
  return all;
}

class Example : public testing::TestWithParam<std::string> {};

TEST_P(Example, EveryPartHasItsRecordsAndEveryRecordItsPart) {
  std::string const described = run(GetParam());
  Host::Bootstrap system;
  ASSERT_EQ(system.publish(*read(described)), "");
  Orvane::Root const& root = *system.root();
  for (auto at = root.entityMib()->physicalEntityIteratorConst(); at; ++at) {
    EXPECT_FALSE(at->phyAttr() && at->description().empty()) << at->componentName();
  }
  for (auto at = root.stateMib()->stateEntityIteratorConst(); at; ++at) {
    EXPECT_NE(at->operState(), C::operStateUnknown) << at->index();
  }
  for (auto at = root.sensorMib()->sensorEntityIteratorConst(); at; ++at) {
    EXPECT_NE(at->operStatus(), C::sensorOperStatusUnavailable) << at->index();
    bool const hasLimits = at->sensorType() == 8 || dynamic_cast<Orvane::DomSensor const*>(at.ptr().get()) != nullptr;
    EXPECT_EQ(at->highCritThreshold() != C::defaultHighThreshold, hasLimits) << at->index();
  }

  auto const content = json::parse(described);
  for (auto const& [input, collections] : content.items()) {
    if (input == "status" || input == "redundancy" || input == "xcvrConfigDir") continue;
    for (auto const& records : collections) {
      for (auto const& [name, record] : records.items()) {
        // A cage has a status, whether or not a transceiver is in.
        bool const isEmpty = record.value("presence", "present") == "absent";
        EXPECT_NE(isEmpty, input == "xcvrStatusDir" ? bool(root.xcvr(name.c_str())) : isOfAPart(root, name.c_str()));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Described, Example, testing::ValuesIn(sources()));

}  // namespace
