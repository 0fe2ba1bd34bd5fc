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

// Has the agent's loop run a clock whenever a timer of it is due.
class ClockAlarm {
 public:
  explicit ClockAlarm(Zef::Ptr<Zef::Clock> clock);
  ~ClockAlarm();
  ClockAlarm(ClockAlarm const&) = delete;
  ClockAlarm& operator=(ClockAlarm const&) = delete;

  // While it is held nothing comes due. What was due meanwhile has its turn afterwards, in its order.
  void heldIs(bool held);

 private:
  static void onAlarm(unsigned alarm, void* clockAlarm);
  void arm();
  void disarm();

  Zef::Ptr<Zef::Clock> clock_;
  unsigned alarm_ = 0;
  double armedFor_ = Zef::Clock::never;
  bool inAlarm_ = false;
  bool held_ = false;
};

// Puts the process's trace, failed assertions and file descriptors into the agent's hands: its log takes the lines, its
// loop watches the descriptors. There is one at a time.
class Bridge final : public EventLoop {
 public:
  Bridge();
  ~Bridge() override;
  Bridge(Bridge const&) = delete;
  Bridge& operator=(Bridge const&) = delete;

  bool readFdIs(int fd, std::function<void()> ready) override;
  void readFdDel(int fd) override;

 private:
  static void onReadable(int fd, void* bridge);

  std::map<int, std::function<void()>> readers_;
};

}  // namespace Host
