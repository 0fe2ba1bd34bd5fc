#include "host/publishers/FilePublisher.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

namespace fs = std::filesystem;

struct Publisher : Looping {
  void publish() {
    publisher = std::make_unique<Host::FilePublisher>(loop, clock, file, log, [this](std::string_view text) {
      Vorlin::Merge(*live, *Host::readInventory(text, types), {}).apply();
      return leftOut;
    });
  }
  static void write(fs::path const& path, std::string const& text) { std::ofstream(path, std::ios::binary) << text; }
  static std::string labelled(std::string const& label) {
    return R"({"status": {"fixedSystem": {"label": ")" + label + R"("}}})";
  }
  std::string label() const {
    auto const system = at<EntityMib::PhysicalEntity>(live, {"status", "fixedSystem"});
    return system ? std::string(system->label().view()) : "none";
  }
  std::vector<std::string> took() const { return {"took " + file.string()}; }
  // The file is followed where it lies now.
  void expectFollowed(double seconds = 0.5) {
    write(file, labelled("edited"));
    pass(seconds);
    EXPECT_EQ(label(), "edited");
    EXPECT_EQ(said(), took());
  }

  fs::path file = folder / "switch.json";
  Zef::Ptr<Zef::Dir> const live = read("{}");
  Host::EntityTypes types = Host::inputTypes();
  std::vector<std::string> leftOut;  // what a publication says of itself
  std::unique_ptr<Host::FilePublisher> publisher;
};

TEST_F(Publisher, FollowsEveryWayToSaveAFile) {
  write(file, labelled("first"));
  publish();
  ASSERT_EQ(said(), took());
  leftOut = {"tempStatus", "coolingStatus.fan.Fan1/1"};
  publisher->read();
  ASSERT_EQ(said(), std::vector{"took " + file.string() +
                                ", but for what publishers claim: tempStatus, coolingStatus.fan.Fan1/1"});
  leftOut = {};
  ASSERT_EQ(label(), "first");

  struct {
    char const* name;
    std::function<void(std::string const& text)> save;
  } const ways[] = {
      {"in place", [&](std::string const& text) { write(file, text); }},
      {"in pieces",
       [&](std::string const& text) {
         std::ofstream stream(file);
         for (char const c : text) {
           stream << c << std::flush;
           if (c == '"') pass(0.05);
         }
       }},
      {"renamed over",
       [&](std::string const& text) {
         write(folder / ".switch.json.swp", text);
         fs::rename(folder / ".switch.json.swp", file);
       }},
      {"removed and linked anew",
       [&](std::string const& text) {
         fs::remove(file);
         write(folder / "other", text);
         fs::create_hard_link(folder / "other", file);
       }},
  };
  for (auto const& way : ways) {
    way.save(labelled(way.name));
    pass(0.5);
    EXPECT_EQ(label(), way.name);
    EXPECT_EQ(said(), took()) << way.name;
  }
  write(folder / "neighbour", "x");
  fs::rename(folder / "neighbour", folder / "switch.json.bak");
  pass(20);
  EXPECT_TRUE(said().empty());
}

// The way to the file, or the file, becomes another one; where no watch is, that takes a few seconds.
TEST_F(Publisher, FollowsLinksAndFoldersThatChange) {
  auto const version = [&](fs::path const& path, std::string const& label) {
    fs::create_directories(path.parent_path());
    write(path, labelled(label));
  };
  auto const linkIs = [&](fs::path const& link, fs::path const& target) {
    fs::create_symlink(target, top / "new");
    fs::rename(top / "new", link);
  };
  struct {
    char const* name;
    double seconds;
    fs::path file;
    std::function<void()> before;
    std::function<void()> change;
  } const cases[] = {
      {"a link beside the file's", 0.5, folder / "linked.json",
       [&] {
         linkIs(folder / "..data", "1");
         linkIs(folder / "linked.json", "..data/etc/switch.json");
       },
       [&] { linkIs(folder / "..data", "2"); }},
      {"a link to a folder higher up", 6, folder / "current" / "etc" / "switch.json",
       [&] { linkIs(folder / "current", "1"); }, [&] { linkIs(folder / "current", "2"); }},
      {"a folder further up, made anew", 6, folder / "1" / "etc" / "switch.json", [] {},
       [&] {
         fs::rename(folder / "1", folder / "aside");
         fs::rename(folder / "2", folder / "1");
       }},
      {"a write through another name", 6, folder / "switch.json",
       [&] { fs::create_hard_link(folder / "1" / "etc" / "switch.json", folder / "switch.json"); },
       [&] { write(folder / "1" / "etc" / "switch.json", labelled("2")); }},
  };
  for (auto const& each : cases) {
    SCOPED_TRACE(each.name);
    for (char const* gone : {"1", "aside"}) fs::remove_all(folder / gone);
    for (char const* number : {"1", "2"}) version(folder / number / "etc" / "switch.json", number);
    each.before();
    file = each.file;
    publish();
    ASSERT_EQ(label(), "1");
    said();
    each.change();
    pass(each.seconds);
    EXPECT_EQ(label(), "2");
    EXPECT_EQ(said(), took());
    expectFollowed();
  }
}

TEST_F(Publisher, TriesAgainWhatThereWereNoMeansToRead) {
  publish();
  pass(6);
  EXPECT_EQ(said(), std::vector{"!refused " + file.string() + ": No such file or directory"});
  write(file, labelled("there"));
  {
    NoDescriptors const none;
    pass(12);
  }
  EXPECT_EQ(said(), std::vector{"!refused " + file.string() + ": Too many open files"});
  pass(6);
  EXPECT_EQ(label(), "there");
  EXPECT_EQ(said(), took());
}

// There is no memory for entities of this type.
class Huge : public Zef::ZefType {
 public:
  Huge() : ZefType({"Huge", nullptr, Kind::entity, {}, {}}) {}
  Zef::Ptr<Zef::PtrInterface> newObject(Zef::Name const& /*name*/) const override { throw std::bad_alloc(); }
};

TEST_F(Publisher, RefusesWholeAndServesOnWhatWasGood) {
  Huge const huge;
  write(file, everything);
  publish();
  ASSERT_EQ(said(), took());
  std::string const good = dump(live);

  struct {
    char const* reason;
    std::function<void()> spoil;
  } const cases[] = {
      {"1:1: syntax error", [&] { write(file, ""); }},
      {"tempStatus.tempSensors: no such attribute",
       [&] { write(file, R"({"status": {}, "tempStatus": {"tempSensors": {}}})"); }},
      {"redundancy.election: not enough memory",
       [&] {
         types["redundancy/election"] = &huge;
         write(file, R"({"redundancy": {"election": {}}})");
       }},
      {"No such file or directory", [&] { fs::remove(file); }},
      {"not a regular file", [&] { mkfifo(file.c_str(), 0600); }},
      {"larger than 64 MiB",
       [&] {
         write(file, "");
         fs::resize_file(file, (64U << 20U) + 1U);
       }},
  };
  for (auto const& [reason, spoil] : cases) {
    if (!fs::is_regular_file(file)) fs::remove(file);
    spoil();
    pass(0.5);
    auto const lines = said();
    ASSERT_EQ(lines.size(), 1U) << reason;
    EXPECT_THAT(lines[0], testing::StartsWith("!refused " + file.string() + ": " + reason));
    EXPECT_EQ(dump(live), good) << reason;
  }
  expectFollowed();
}

TEST_F(Publisher, ReadsAFileThatNeverRests) {
  write(file, labelled("1"));
  publish();
  std::ofstream restless(folder / "switch.json", std::ios::app);
  for (int i = 0; i < 30; ++i) {
    restless << ' ' << std::flush;
    pass(0.05);
  }
  EXPECT_GE(said().size(), 2U);
}

TEST_F(Publisher, WaitsForADirectoryThatIsNotThere) {
  fs::remove(folder);
  publish();
  auto const complaints = said();
  ASSERT_EQ(complaints.size(), 2U);
  EXPECT_NE(complaints[0].find("cannot be watched"), std::string::npos);
  EXPECT_NE(complaints[1].find("No such file or directory"), std::string::npos);
  pass(20);
  EXPECT_TRUE(said().empty());

  fs::create_directory(folder);
  write(file, labelled("late"));
  pass(6);
  EXPECT_EQ(label(), "late");
  EXPECT_EQ(said(), (std::vector<std::string>{file.string() + " is watched", took()[0]}));
  expectFollowed();

  // It goes, with the file in it, and comes back as another.
  fs::rename(folder, top / "aside");
  pass(1);
  fs::create_directory(folder);
  write(file, labelled("back"));
  pass(6);
  EXPECT_EQ(label(), "back");
  said();
  expectFollowed();
}

TEST_F(Publisher, LooksEveryFewSecondsWhereNothingCanBeWatched) {
  loop.full = true;
  write(file, labelled("first"));
  publish();
  EXPECT_EQ(label(), "first");
  EXPECT_EQ(said().size(), 2U);
  expectFollowed(6);
}

}  // namespace
