#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/EventLoop.h"
#include "host/Log.h"
#include "runtime/Clock.h"
#include "tests/Support.h"

// For what lives in the loop: a loop and a clock that turn by hand, a folder, and what was said to the log.

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
      if (readers.contains(fd) && poll(&ask, 1, 0) == 1) ready();
    }
  }
  bool full = false;
  std::map<int, std::function<void()>> readers;
};

// No descriptor can be opened while it lives. The sanitizer, too, needs some when it meets a type for the first time.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &usual_);
    rlimit const none{3, usual_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual_); }
  NoDescriptors(NoDescriptors const&) = delete;
  NoDescriptors& operator=(NoDescriptors const&) = delete;

 private:
  rlimit usual_{};
};

struct Looping : testing::Test {
  void SetUp() override { std::filesystem::create_directory(folder); }
  void TearDown() override { std::filesystem::remove_all(top); }

  // Lets the loop turn for so long, in steps short enough for every timer.
  void pass(double seconds) {
    for (double const end = time.seconds + seconds; time.seconds < end; time.seconds += 0.05) {
      loop.turn();
      if (clock->timeMin() <= time.seconds) clock->run();
    }
  }
  // The lines since the last call, an "!" before an error.
  std::vector<std::string> said() {
    std::vector<std::string> lines;
    for (auto const& [severity, line] : std::exchange(lines_, {})) {
      lines.push_back((severity == Host::Severity::error ? "!" : "") + line);
    }
    return lines;
  }

  std::filesystem::path const top = std::filesystem::path(testing::TempDir()) / ("looping-" + std::to_string(getpid()));
  std::filesystem::path const folder =
      (std::filesystem::create_directory(top), std::filesystem::canonical(top)) / "folder";
  SteppedTime time;
  HandLoop loop;
  Zef::Ptr<Zef::Clock> const clock = Zef::make<Zef::Clock>("clock");
  Host::Log const log = [this](Host::Severity severity, std::string const& line) {
    lines_.emplace_back(severity, line);
  };

 private:
  std::vector<std::pair<Host::Severity, std::string>> lines_;
};
