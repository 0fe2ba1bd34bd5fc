#include "host/publishers/FilePublisher.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "runtime/System.h"
#include "tests/host/Described.h"

namespace {

namespace fs = std::filesystem;

class SteppedTime : public Zef::TimeSource {
 public:
  SteppedTime() { Zef::System::timeSourceIs(this); }
  ~SteppedTime() override { Zef::System::timeSourceIs(nullptr); }
  double now() const override { return seconds; }
  double utc() const override { return seconds; }
  double seconds = 1000.0;
};

class HandLoop : public Host::EventLoop {
 public:
  bool readFdIs(int fd, std::function<void()> ready) override {
    if (full) return false;
    readers[fd] = std::move(ready);
    return true;
  }
  void readFdDel(int fd) override { readers.erase(fd); }
  void turn() {
    for (auto const& [fd, ready] : std::map(readers)) {
      pollfd ask{fd, POLLIN, 0};
      if (poll(&ask, 1, 0) == 1) ready();
    }
  }
  bool full = false;
  std::map<int, std::function<void()>> readers;
};

struct Publisher : testing::Test {
  void SetUp() override { fs::create_directory(folder); }
  void TearDown() override { fs::remove_all(top); }

  void publish() {
    publisher = std::make_unique<Host::FilePublisher>(
        loop, clock, live, types, file,
        [this](Host::Severity severity, std::string const& line) { log.emplace_back(severity, line); },
        [this] { ++published; });
  }
  // Lets the loop turn for so long, in steps short enough for every timer.
  void pass(double seconds) {
    for (double const end = time.seconds + seconds; time.seconds < end; time.seconds += 0.05) {
      loop.turn();
      if (clock->timeMin() <= time.seconds) clock->run();
    }
  }
  static void write(fs::path const& path, std::string const& text) { std::ofstream(path, std::ios::binary) << text; }
  static std::string labelled(std::string const& label) {
    return R"({"status": {"fixedSystem": {"label": ")" + label + R"("}}})";
  }
  std::string label() const {
    auto const system = at<EntityMib::PhysicalEntity>(live, {"status", "fixedSystem"});
    return system ? std::string(system->label().view()) : "none";
  }
  // The lines since the last call, an "!" before an error.
  std::vector<std::string> said() {
    std::vector<std::string> lines;
    for (auto const& [severity, line] : std::exchange(log, {})) {
      lines.push_back((severity == Host::Severity::error ? "!" : "") + line);
    }
    return lines;
  }
  std::vector<std::string> took() const { return {"took " + file.string()}; }

  fs::path const top = fs::path(testing::TempDir()) / ("publisher-" + std::to_string(getpid()));
  fs::path const folder = (fs::create_directory(top), fs::canonical(top)) / "folder";
  fs::path file = folder / "switch.json";
  SteppedTime time;
  HandLoop loop;
  Zef::Ptr<Zef::Clock> const clock = Zef::make<Zef::Clock>("clock");
  Zef::Ptr<Zef::Dir> const live = read("{}");
  Host::EntityTypes types = Host::inputTypes();
  std::vector<std::pair<Host::Severity, std::string>> log;
  std::unique_ptr<Host::FilePublisher> publisher;
  int published = 0;
};

TEST_F(Publisher, FollowsEveryWayToSaveAFile) {
  write(file, labelled("first"));
  publish();
  ASSERT_EQ(said(), took());
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
      {"old one moved aside",
       [&](std::string const& text) {
         fs::rename(file, folder / "switch.json~");
         write(file, text);
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
}

TEST_F(Publisher, FollowsSymbolicLinks) {
  fs::path const data = folder / "..data";
  for (char const* version : {"..1", "..2"}) {
    fs::create_directory(folder / version);
    write(folder / version / "switch.json", labelled(version));
  }
  fs::create_directory_symlink("..1", data);
  fs::create_symlink("..data/switch.json", file);
  publish();
  EXPECT_EQ(label(), "..1");

  fs::create_directory_symlink("..2", folder / "..data_tmp");
  fs::rename(folder / "..data_tmp", data);
  pass(0.5);
  EXPECT_EQ(label(), "..2");

  write(folder / "..2" / "switch.json", labelled("edited where it lies"));
  pass(0.5);
  EXPECT_EQ(label(), "edited where it lies");
}

// Entities of this type cannot be made.
class Failing : public Zef::ZefType {
 public:
  explicit Failing(std::function<void()> fail)
      : ZefType({"Failing", nullptr, Kind::entity, {}, {}}), fail_(std::move(fail)) {}
  Zef::Ptr<Zef::PtrInterface> newObject(Zef::Name const& /*name*/) const override {
    fail_();
    return nullptr;
  }

 private:
  std::function<void()> fail_;
};

TEST_F(Publisher, RefusesWholeAndServesOnWhatWasGood) {
  auto const failing = [&](Failing const& type) {
    types["redundancy/election"] = &type;
    write(file, R"({"redundancy": {"election": {}}})");
  };
  Failing const memory([] { throw std::bad_alloc(); });
  Failing const other([] { throw std::logic_error("of another class"); });
  Failing const none([] { throw 7; });
  write(file, everything);
  publish();
  ASSERT_EQ(said(), took());
  std::string const good = dump(live);

  struct {
    std::function<void()> spoil;
    std::string reason;
  } const cases[] = {
      {[&] { write(file, ""); }, "1:1: syntax error"},
      {[&] { write(file, std::string(everything).substr(0, 1000)); }, "syntax error"},
      {[&] { write(file, R"({"status": {}, "tempStatus": {"tempSensors": {}}})"); },
       "tempStatus.tempSensors: no such attribute"},
      {[&] { failing(memory); }, "redundancy.election: not enough memory"},
      {[&] { failing(other); }, "redundancy.election: of another class"},
      {[&] { failing(none); }, "redundancy.election: an error without words"},
      {[&] { fs::remove(file); }, "No such file or directory"},
      {[&] { fs::create_directory(file); }, "not a regular file"},
      {[&] {
         fs::remove(file);
         mkfifo(file.c_str(), 0600);
       },
       "not a regular file"},
      {[&] {
         fs::remove(file);
         write(file, "");
         fs::resize_file(file, (64U << 20U) + 1U);
       },
       "larger than 64 MiB"},
  };
  for (auto const& each : cases) {
    each.spoil();
    pass(0.5);
    auto const lines = said();
    ASSERT_EQ(lines.size(), 1U) << each.reason;
    EXPECT_EQ(lines[0].find("!refused " + file.string() + ": "), 0U) << lines[0];
    EXPECT_NE(lines[0].find(each.reason), std::string::npos) << lines[0];
    EXPECT_EQ(dump(live), good) << each.reason;
  }
  write(file, labelled("good again"));
  pass(0.5);
  EXPECT_EQ(said(), took());
  EXPECT_EQ(label(), "good again");
}

TEST_F(Publisher, LeavesItsNeighboursAlone) {
  write(file, labelled("mine"));
  publish();
  said();
  write(folder / "neighbour", "x");
  fs::rename(folder / "neighbour", folder / "switch.json.bak");
  pass(20);
  EXPECT_TRUE(said().empty());
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
  write(file, labelled("later"));
  pass(0.5);
  EXPECT_EQ(label(), "later");

  // It goes, with the file in it, and comes back as another.
  fs::rename(folder, top / "aside");
  pass(1);
  fs::create_directory(folder);
  write(file, labelled("back"));
  pass(6);
  EXPECT_EQ(label(), "back");
  write(file, labelled("and followed"));
  pass(0.5);
  EXPECT_EQ(label(), "and followed");
}

TEST_F(Publisher, LooksEveryFewSecondsWhereNothingCanBeWatched) {
  loop.full = true;
  write(file, labelled("first"));
  publish();
  EXPECT_EQ(label(), "first");
  EXPECT_EQ(said().size(), 2U);
  write(file, labelled("second"));
  pass(6);
  EXPECT_EQ(label(), "second");
  EXPECT_EQ(said(), took());
}

}  // namespace
