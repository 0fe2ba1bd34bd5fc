#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "collect/door/MergePatch.h"
#include "collect/linux/Identity.h"
#include "collect/linux/Places.h"
#include "collect/linux/Sysfs.h"
#include "collect/linux/Tree.h"

namespace {

using namespace Collect;
namespace fs = std::filesystem;
using nlohmann::json;

struct Folder : testing::Test {
  Folder() {
    std::string name = (fs::temp_directory_path() / "collect-XXXXXX").native();
    folder = mkdtemp(name.data());
  }
  ~Folder() override { fs::remove_all(folder); }

  fs::path folder;
  std::vector<std::string> said;
  Journal journal{[this](Severity, std::string const& line) { said.push_back(line); }};
};

using PlacesOnDisk = Folder;

TEST_F(PlacesOnDisk, StayWhateverComesAndGoes) {
  fs::path const file = folder / "places.json";
  std::map<std::string, unsigned> given;
  std::mt19937 random(3);
  for (int start = 0; start < 20; ++start) {
    Places places(journal, file);
    places.reserve("sensor", 7);
    std::vector<std::string> there;
    for (int i = 0; i < 12; ++i) there.push_back("chip" + std::to_string(random() % 30));
    for (auto const& source : there) {
      unsigned const number = places.number("sensor", source, 40, source == "chip9" ? 30 : 0);
      EXPECT_NE(number, 7U);
      auto const [known, isNew] = given.emplace(source, number);
      EXPECT_EQ(known->second, number) << source;
    }
    places.keep();
  }
  std::set<unsigned> numbers;
  for (auto const& [source, number] : given) EXPECT_TRUE(numbers.insert(number).second) << source;
  EXPECT_EQ(given.at("chip9"), 30U);
  EXPECT_TRUE(said.empty());
}

TEST_F(PlacesOnDisk, AreBegunAnewWhenTheirFileIsDamaged) {
  fs::path const file = folder / "places.json";
  {
    Places places(journal, file);
    places.number("port", "a", 512);
    places.number("port", "b", 512, 12);
    places.keep();
  }
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  std::string const whole = text.str();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    if (at % 2 == 0) {
      damaged[at] = static_cast<char>(damaged[at] ^ 1);
    } else {
      damaged.resize(at);
    }
    std::ofstream(file) << damaged;
    unsigned complaints = 0;
    Journal mine([&](Severity, std::string const&) { ++complaints; });
    Places places(mine, file);
    ASSERT_EQ(complaints, 1U) << damaged;
    EXPECT_EQ(places.number("port", "b", 512), 1U);
  }
  std::ofstream(file) << whole;
  EXPECT_EQ(Places(journal, file).number("port", "b", 512), 12U);
  // Where nothing can be kept, that is said once, and numbers are given all the same.
  Places nowhere(journal, folder / "none" / "places.json");
  for (char const* const source : {"a", "b"}) {
    EXPECT_NE(nowhere.number("port", source, 512), 0U);
    nowhere.keep();
  }
  EXPECT_EQ(said.size(), 1U);
}

TEST_F(PlacesOnDisk, OfWhatIsGoneAreGivenAwayWhenThereAreNoOthers) {
  fs::path const file = folder / "places.json";
  {
    Places places(journal, file);
    for (char const* const source : {"a", "b", "c"}) places.number("fan", source, 3);
    places.keep();
  }
  Places places(journal, file);
  EXPECT_EQ(places.number("fan", "b", 3), 2U);
  EXPECT_EQ(places.number("fan", "d", 3), 1U);
  EXPECT_EQ(places.number("fan", "c", 3), 3U);
  EXPECT_EQ(places.number("fan", "e", 3), 0U);
}

using Sysfs = Folder;

TEST_F(Sysfs, WhereADeviceIs) {
  auto const adapter = [&](char const* path, char const* name) {
    fs::create_directories(folder / path);
    std::ofstream(folder / path / "name") << name << "\n";
  };
  adapter("bus/i2c-3/3-0048", "of the chip");
  adapter("bus/i2c-3", "SMBus adapter");
  adapter("bus/i2c-3/3-0070/i2c-9/9-0050", "");
  adapter("bus/i2c-3/3-0070/i2c-9", "i2c-3-mux (chan_id 5)");
  adapter("bus/i2c-3/3-0070/i2c-10/10-0050", "");
  adapter("bus/i2c-3/3-0070/i2c-10", "i2c-3-mux (chan_id 6)");
  adapter("twins/i2c-11/11-0050", "");
  adapter("twins/i2c-11", "same");
  adapter("twins/i2c-8/8-0050", "");
  adapter("twins/i2c-8", "same");
  auto const prefix = whereIs(folder);
  for (auto const& [path, where] :
       {std::pair{"bus/i2c-3/3-0048", "/bus/i2c(SMBus adapter)/0048"},
        {"bus/i2c-3/3-0070/i2c-10/10-0050", "/bus/i2c(SMBus adapter)/0070/i2c(channel 6)/0050"},
        {"twins/i2c-8/8-0050", "/twins/i2c(same)/0050"},
        {"twins/i2c-11/11-0050", "/twins/i2c(same).1/0050"},
        {"0000:01:00.0/nvme/nvme4", "/0000:01:00.0/nvme/nvme"},
        {"0000:00:17.0/ata3/host2/target2:0:0/2:0:0:0", "/0000:00:17.0/ata/host/target:0:0/:0:0:0"},
        {"spi4.1", "/spi.1"},
        {"platform/coretemp.0", "/platform/coretemp.0"}}) {
    EXPECT_EQ(whereIs(folder / path), prefix + where);
  }
}

TEST(Names, InTheirNaturalOrder) {
  std::vector<std::string> names{
      "swp10", "swp2s10", "eth0", "swp2s9", "swp2", "swp02", "swp1", "swp", "18446744073709551616000", "9"};
  std::vector<std::string> const sorted{
      "9", "18446744073709551616000", "eth0", "swp", "swp1", "swp02", "swp2", "swp2s9", "swp2s10", "swp10"};
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(names.begin(), names.end(), random);
    std::sort(names.begin(), names.end(), naturallyBefore);
    EXPECT_EQ(names, sorted);
  }
}

using Trees = Folder;

TEST_F(Trees, LeaveNothingOfWhatIsGone) {
  Map const map;
  Places places(journal, "");
  json content = json::object();
  Tree tree(map, places, journal, [&](Path const& path, json what) {
    if (what.is_null()) {
      erase(content, path);
    } else {
      made(content, path) = std::move(what);
    }
  });
  json const empty = [&] {
    tree.identityIs({{"modelName", "KX"}});
    return content;
  }();
  Found const fan{What::fan, "chip/fan1", "chip/fan1", "chip", "chip", false, 1};
  Found const supply{What::supply, "psu", "psu", "", "", true};
  Found const port{What::port, "pci/1", "swp1", "", "", false, 12};
  tree.foundIs("chips", {fan, supply});
  tree.foundIs("ports", {port});
  tree.readingIs("chip/fan1", {{"hwStatus", "ok"}});
  tree.readingIs("psu", {{"state", "ok"}});
  tree.readingIs("pci/1", {{"operStatus", "up"}}, {{"adminEnabledStateLocal", true}});
  tree.transceiverIs("pci/1", {{"status", {{"presence", "present"}}}, {"part", {{"lanes", 4}}}});
  EXPECT_EQ(content["coolingStatus"], json::parse(R"({"fan": {"Fan1/1": {"hwStatus": "ok"}}})"));
  EXPECT_EQ(content["powerStatus"], json::parse(R"({"powerSupply": {"PowerSupply1": {"state": "ok"}}})"));
  EXPECT_EQ(content["xcvrStatusDir"]["xcvrStatus"]["Ethernet12"]["presence"], "present");
  EXPECT_EQ(content["status"]["fixedSystem"]["xcvrSlot"]["12"]["xcvr"]["lane"].size(), 4U);
  tree.foundIs("ports", {});
  tree.foundIs("chips", {});
  EXPECT_EQ(content, empty);
}

using Bytes = std::vector<std::uint8_t>;

Bytes onie(std::vector<std::pair<int, std::string>> const& fields) {
  Bytes bytes{'T', 'l', 'v', 'I', 'n', 'f', 'o', 0, 1, 0, 0};
  for (auto const& [type, value] : fields) {
    bytes.push_back(static_cast<std::uint8_t>(type));
    bytes.push_back(static_cast<std::uint8_t>(value.size()));
    bytes.insert(bytes.end(), value.begin(), value.end());
  }
  bytes.insert(bytes.end(), {0xfe, 4});
  bytes[10] = static_cast<std::uint8_t>(bytes.size() + 4 - 11);
  auto const sum = crc32(0, bytes.data(), static_cast<uInt>(bytes.size()));
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(sum >> shift));
  return bytes;
}

TEST(Onie, IsTakenWholeOrNotAtAll) {
  Bytes const good = onie({{0x21, "KX-48"},
                           {0x22, "KX-48-F"},
                           {0x23, "KV0048"},
                           {0x24, {2, 0, 0, 0, 0, '\xf0'}},
                           {0x2a, {0, 32}},
                           {0x26, {3}},
                           {0x2d, "Kelvra"},
                           {0x28, "x86_64-kelvra"},
                           {0xfd, "of the maker's"}});
  EXPECT_EQ(readOnie(good), json({{"modelName", "KX-48"},
                                  {"vendorType", "KX-48-F"},
                                  {"serialNum", "KV0048"},
                                  {"hardwareRev", "3"},
                                  {"mfgName", "Kelvra"},
                                  {"systemMacAddr", "02:00:00:00:00:f0"},
                                  {"minAddr", "02:00:00:00:00:f0"},
                                  {"maxAddr", "02:00:00:00:01:0f"}}));
  for (std::size_t size = 0; size < good.size(); ++size)
    EXPECT_THROW(readOnie(std::span(good).first(size)), std::runtime_error) << size;
  for (std::size_t at = 0; at < good.size(); ++at) {
    Bytes damaged = good;
    damaged[at] ^= 0x21;
    EXPECT_THROW(readOnie(damaged), std::runtime_error) << at;
  }
  Bytes longer = good;
  longer.resize(2048, 0xff);
  EXPECT_EQ(readOnie(longer), readOnie(good));
}

json randomDocument(std::mt19937& random, int depth) {
  if (depth == 0 || random() % 3 == 0) return random() % 4;
  json object = json::object();
  for (unsigned i = random() % 4; i > 0; --i)
    object[std::string(1, static_cast<char>('a' + random() % 4))] = randomDocument(random, depth - 1);
  return object;
}

TEST(MergePatch, MakesTheOneOfTheOther) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    json from{{"x", randomDocument(random, 3)}}, to{{"x", randomDocument(random, 3)}};
    json const patch = mergePatch(from, to);
    EXPECT_EQ(patch.empty(), from == to);
    from.merge_patch(patch);
    EXPECT_EQ(from, to);
  }
}

}  // namespace
