#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/Descriptor.h"
#include "host/EventLoop.h"
#include "host/LineLimit.h"
#include "host/Log.h"
#include "host/Timer.h"
#include "runtime/reactors/Clock.h"

namespace Host {

// Runs what the agent, written in C, has called: whatever it throws ends here, as a line in the agent's log.
void contained(char const* what, std::function<void()> const& call) noexcept;

// The agent's log, with the module's name before each line. Whatever a line carries, it stays one printable line; who
// puts foreign words into it cuts them (printable()).
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

// The traces of the process on their way to the agent's log. Those of level 0 are there unasked, and whoever asks for a
// wrong index, or names a part that is not there, can cause as many as he likes: of each statement a few a second pass,
// and those that were left out are counted. Those that somebody asked for pass.
class TraceLog {
 public:
  explicit TraceLog(Zef::Ptr<Zef::Clock> const& clock);
  ~TraceLog();
  TraceLog(TraceLog const&) = delete;
  TraceLog& operator=(TraceLog const&) = delete;

  void trace(unsigned level, std::string const& line);

 private:
  LineLimit statements_;  // by what stands before their texts
};

// Puts the process's trace, failed assertions and file descriptors into the agent's hands: its log takes the lines, its
// loop watches the descriptors. The agent has room for 32 of them (NUM_EXTERNAL_FDS), so it is given one, which can be
// read whenever any of ours can. There is one Bridge at a time.
class Bridge final : public EventLoop {
 public:
  // A std::system_error when the agent has no room, or the system no means, for that one.
  explicit Bridge(Zef::Ptr<Zef::Clock> const& clock);
  ~Bridge() override;
  Bridge(Bridge const&) = delete;
  Bridge& operator=(Bridge const&) = delete;

  bool readFdIs(int fd, std::function<void()> ready) override;
  void readFdDel(int fd) override;
  // Calls once, at the beginning of the loop's next turn, before any request is answered.
  void inNextTurn(std::function<void()> call);

 private:
  static void onReadable(int epoll, void* bridge);
  void ready(int fd);

  TraceLog traces_;
  Descriptor epoll_;
  std::map<int, std::function<void()>> readers_;
};

}  // namespace Host
