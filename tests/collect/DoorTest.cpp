#include "collect/door/Door.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <deque>
#include <filesystem>

namespace {

using namespace Collect;
using nlohmann::json;

// An agent that keeps what it is told by its answers: a refusal of what stands at one place, or none.
struct Agent {
  Agent(Loop& itsLoop, std::string itsPath) : loop(itsLoop), path(std::move(itsPath)) {
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener, 5), 0);
    accepting = loop.readable(listener, [this] {
      drop();
      client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      reading = loop.readable(client, [this] { read(); });
    });
  }
  ~Agent() {
    drop();
    accepting = nullptr;
    close(listener);
    std::filesystem::remove(path);
  }
  void drop() {
    reading = nullptr;
    if (client >= 0) close(std::exchange(client, -1));
    text.clear();
  }
  void read() {
    std::array<char, 512> some;  // so that a large line takes its time
    ssize_t const size = recv(client, some.data(), some.size(), 0);
    if (size <= 0) return drop();
    text.append(some.data(), static_cast<std::size_t>(size));
    if (text.back() != '\n') return;
    auto const line = json::parse(std::exchange(text, ""));
    lines.push_back(line);
    json answer{{"ok", true}};
    bool const isSet = line.contains("set");
    json const& content = isSet ? line["set"] : line.value("patch", json());
    if (!refused.empty() && at(content, refused) != nullptr) {
      answer = {{"error", "operator speaks for it"}, {"place", refusedPlace}};
    } else if (isSet) {
      held = content;
    } else if (!content.is_null()) {
      held.merge_patch(content);
    }
    std::string const said = answer.dump() + "\n";
    EXPECT_EQ(send(client, said.data(), said.size(), 0), ssize_t(said.size()));
  }

  Loop& loop;
  std::string path;
  int listener, client = -1;
  Loop::Source accepting, reading;
  std::string text;
  std::deque<json> lines;
  json held = json::object();
  Path refused;
  std::string refusedPlace;
};

struct Doors : testing::Test {
  Doors() {
    door = std::make_unique<Door>(loop, journal, std::vector{socketPath + ".none", socketPath},
                                  Door::Greeting{"test", {"a", "b"}, std::chrono::seconds(3)}, [this] { ++opened; });
  }
  // Until the condition holds.
  template <class Condition>
  void until(Condition condition) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    auto const look = loop.every(std::chrono::duration<double>(0.01), [&] {
      if (condition() || std::chrono::steady_clock::now() > end) loop.end();
    });
    loop.run();
    EXPECT_TRUE(condition());
  }
  void start() {
    agent = nullptr;
    agent = std::make_unique<Agent>(loop, socketPath);
  }

  std::string socketPath = (std::filesystem::temp_directory_path() / ("door-" + std::to_string(getpid()))).native();
  std::vector<std::string> said;
  Journal journal{[this](Severity, std::string const& line) { said.push_back(line); }};
  Loop loop;
  std::unique_ptr<Agent> agent;
  std::unique_ptr<Door> door;
  int opened = 0;
};

TEST_F(Doors, TellWhatDiffers) {
  start();
  door->contentIs({"a", "x"}, {{"value", 1}, {"other", true}});
  door->contentIs({"b"}, {{"large", std::string(1'000'000, 'x')}});
  door->open();
  until([&] { return agent->held == door->content(); });
  EXPECT_EQ(agent->lines.front(), json({{"publisher", "test"}, {"claims", {"a", "b"}}, {"lease", 3}}));
  // Of one turn, as one line; what is the same is not said.
  door->contentIs({"a", "x"}, {{"value", 2}, {"other", true}});
  door->contentIs({"a", "y"}, {{"value", 3}});
  door->contentIs({"a", "z"}, nullptr);
  until([&] { return agent->held == door->content(); });
  EXPECT_EQ(agent->lines.back(), json::parse(R"({"patch": {"a": {"x": {"value": 2}, "y": {"value": 3}}}})"));
  door->contentIs({"a", "y"}, nullptr);
  door->contentIs({"a", "x"}, {{"value", 2}});
  until([&] { return agent->held == door->content(); });
  EXPECT_EQ(agent->lines.back(), json::parse(R"({"patch": {"a": {"x": {"other": null}, "y": null}}})"));
  auto const lines = agent->lines.size();
  until([&] { return agent->lines.size() > lines; });
  EXPECT_EQ(agent->lines.back(), json({{"alive", true}}));
}

TEST_F(Doors, TellAllToAnAgentThatWasStartedAnew) {
  door->contentIs({"a", "x"}, {{"value", 1}});
  door->open();
  start();
  until([&] { return agent->held == door->content(); });
  agent = nullptr;
  door->contentIs({"a", "x"}, {{"value", 2}});
  start();
  until([&] { return agent->held == door->content(); });
  EXPECT_EQ(opened, 2);
  // Begun anew, it tells nothing before it is opened, and then all.
  door->beginAnew();
  door->contentIs({"b"}, {{"value", 3}});
  auto const lines = agent->lines.size();
  until([&] { return agent->lines.size() > lines; });
  EXPECT_EQ(agent->lines.back(), json({{"alive", true}}));
  door->open();
  until([&] { return agent->held == json::parse(R"({"b": {"value": 3}})"); });
}

TEST_F(Doors, LeaveOutWhatIsRefused) {
  for (bool const isLater : {false, true}) {
    start();
    agent->refused = {"a", "dotted.name", "value"};
    agent->refusedPlace = "a.dotted.name.value";
    if (!isLater) door->contentIs({"a", "dotted.name"}, {{"value", 1}, {"other", 1}});
    door->contentIs({"a", "x"}, {{"value", 1}});
    door->open();
    until([&] { return at(agent->held, {"a", "x", "value"}) != nullptr; });
    if (isLater) {
      door->contentIs({"a", "dotted.name"}, {{"value", 2}, {"other", 2}});
      door->contentIs({"a", "x"}, {{"value", 2}});
    }
    json wanted = door->content();
    wanted["a"]["dotted.name"].erase("value");
    until([&] { return agent->held == wanted; });
    // Its place may be free again.
    agent->refused.clear();
    until([&] { return agent->held == door->content(); });
    EXPECT_EQ(std::count(said.begin(), said.end(), "the agent refuses a.dotted.name.value: operator speaks for it"), 1);
    door->contentIs({"a"}, nullptr);
    until([&] { return agent->held == json::object(); });
  }
}

}  // namespace
