#pragma once

#include <functional>
#include <map>

#include "host/EventLoop.h"
#include "host/Log.h"
#include "runtime/Clock.h"

namespace Host {

// Runs what the agent, written in C, has called: whatever it throws ends here, as a line in the agent's log.
void contained(char const* what, std::function<void()> const& call) noexcept;

// The agent's log, with the module's name before each line.
void agentLog(Severity severity, std::string const& line);

// Puts the process's clock, trace and failed assertions into the agent's hands: its loop runs the clock when a timer is
// due, its log takes the lines. There is one at a time.
class Bridge final : public EventLoop {
 public:
  explicit Bridge(Zef::Ptr<Zef::Clock> clock);
  ~Bridge() override;
  Bridge(Bridge const&) = delete;
  Bridge& operator=(Bridge const&) = delete;

  bool readFdIs(int fd, std::function<void()> ready) override;
  void readFdDel(int fd) override;

 private:
  static void onAlarm(unsigned alarm, void* bridge);
  static void onReadable(int fd, void* bridge);
  void arm();
  void disarm();

  Zef::Ptr<Zef::Clock> clock_;
  unsigned alarm_ = 0;
  double armedFor_ = Zef::Clock::never;
  bool inAlarm_ = false;
  std::map<int, std::function<void()>> readers_;
};

}  // namespace Host
