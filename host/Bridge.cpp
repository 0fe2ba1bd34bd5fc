#include "host/Bridge.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/library/fd_event_manager.h>
#include <net-snmp/library/snmp_alarm.h>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <exception>
#include <system_error>

#include "platform/text/Printable.h"
#include "runtime/kit/Assert.h"
#include "runtime/kit/Trace.h"

namespace Host {

namespace {

constexpr unsigned fewLines = 5;  // of one statement in a second
constexpr int mostReady = 128;    // in one turn; the others have the next one

void failed(char const* what, char const* reason) noexcept {
  try {
    agentLog(Severity::error, std::string(what) + ": " + Text::printable(reason));
  } catch (...) {
    snmp_log(LOG_ERR, "orvane: %s: the memory has run out\n", what);
  }
}

}  // namespace

void contained(char const* what, std::function<void()> const& call) noexcept {
  try {
    call();
  } catch (std::exception const& error) {
    failed(what, error.what());
  } catch (...) {
    failed(what, "an exception of an unknown kind");
  }
}

void agentLog(Severity severity, std::string const& line) {
  constexpr std::array priorities{LOG_ERR, LOG_WARNING, LOG_INFO};  // in the order of Severity
  snmp_log(priorities[static_cast<std::size_t>(severity)], "orvane: %s\n",
           Text::printable(line, Text::longestLine).c_str());
}

ClockAlarm::ClockAlarm(Zef::Ptr<Zef::Clock> clock) : clock_(std::move(clock)) {
  clock_->timeMinSinkIs([this] { arm(); });
  arm();
}

ClockAlarm::~ClockAlarm() {
  clock_->timeMinSinkIs(nullptr);
  disarm();
}

void ClockAlarm::heldIs(bool held) {
  held_ = held;
  if (held) {
    disarm();
  } else {
    arm();
  }
}

void ClockAlarm::disarm() {
  if (alarm_ != 0) snmp_alarm_unregister(alarm_);
  alarm_ = 0;
  armedFor_ = Zef::Clock::never;
}

void ClockAlarm::arm() {
  if (inAlarm_ || held_) return;  // the end of either arms the next one
  double const due = clock_->timeMin();
  if (due == armedFor_) return;
  disarm();
  if (due == Zef::Clock::never) return;

  double const delay = std::max(0.0, due - clock_->time());
  timeval wait{};
  wait.tv_sec = static_cast<time_t>(delay);
  wait.tv_usec = static_cast<suseconds_t>(std::ceil((delay - std::floor(delay)) * 1e6));
  if (wait.tv_usec >= 1'000'000) {
    wait.tv_usec -= 1'000'000;
    ++wait.tv_sec;
  }
  alarm_ = snmp_alarm_register_hr(wait, 0, &ClockAlarm::onAlarm, this);
  if (alarm_ == 0) {
    agentLog(Severity::error, "the agent has no alarm left for the clock");
    return;
  }
  armedFor_ = due;
}

void ClockAlarm::onAlarm(unsigned /*alarm*/, void* clockAlarm) {
  auto& self = *static_cast<ClockAlarm*>(clockAlarm);
  self.alarm_ = 0;  // it fires once, and the agent forgets it by itself
  self.armedFor_ = Zef::Clock::never;
  self.inAlarm_ = true;
  contained("timer", [&] { self.clock_->run(); });
  self.inAlarm_ = false;
  contained("timer", [&] { self.arm(); });
}

TraceLog::TraceLog(Zef::Ptr<Zef::Clock> const& clock)
    : statements_(clock, fewLines, [](std::string const& statement, unsigned leftOut) {
        agentLog(Severity::warning,
                 statement + ": ... and " + std::to_string(leftOut) + " more like these, which are left out");
      }) {
  Zef::traceSinkIs([this](unsigned level, std::string const& line) { trace(level, line); });
}

TraceLog::~TraceLog() { Zef::traceSinkIs(nullptr); }

void TraceLog::trace(unsigned level, std::string const& line) {
  // "HANDLE/LEVEL OBJECT FILE:LINE FUNCTION: TEXT"; only the text carries foreign words.
  std::size_t const text = std::min(line.find(": "), line.size());
  std::string const statement = line.substr(0, text);
  std::string const shown = statement + Text::printable(std::string_view(line).substr(text),
                                                        level == 0 ? Text::longestText : Text::longestLine);
  // Level 0 is for what should not happen; the higher ones are asked for by those who want to watch.
  if (level != 0) {
    snmp_log(LOG_DEBUG, "orvane: %s\n", shown.c_str());
    return;
  }
  if (statements_.passes(statement)) agentLog(Severity::warning, shown);
}

Bridge::Bridge(Zef::Ptr<Zef::Clock> const& clock) : traces_(clock), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_.get() < 0 || register_readfd(epoll_.get(), &Bridge::onReadable, this) != FD_REGISTERED_OK)
    throw std::system_error(errno, std::generic_category(), "the agent's loop");
  Zef::assertionSinkIs([](char const* message) { snmp_log(LOG_CRIT, "orvane: %s\n", message); });
}

Bridge::~Bridge() {
  unregister_readfd(epoll_.get());
  Zef::assertionSinkIs(nullptr);
}

bool Bridge::readFdIs(int fd, std::function<void()> ready) {
  auto const [reader, isNew] = readers_.insert_or_assign(fd, std::move(ready));
  if (!isNew) return true;
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) == 0) return true;
  readers_.erase(reader);
  return false;
}

void Bridge::readFdDel(int fd) {
  if (readers_.erase(fd) != 0) epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
}

void Bridge::inNextTurn(std::function<void()> call) {
  // The agent looks at descriptors before it does at its sockets; its alarms come last.
  int const fd = eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC);
  auto const turn = [this, fd, call = std::move(call)] {
    readFdDel(fd);
    close(fd);
    call();
  };
  if (fd < 0 || !readFdIs(fd, turn)) throw std::system_error(errno, std::generic_category(), "the next turn");
}

void Bridge::onReadable(int epoll, void* bridge) {
  std::array<epoll_event, mostReady> events;
  int const count = epoll_wait(epoll, events.data(), mostReady, 0);
  for (int i = 0; i < count; ++i) {
    contained("event", [&] { static_cast<Bridge*>(bridge)->ready(events[static_cast<std::size_t>(i)].data.fd); });
  }
}

void Bridge::ready(int fd) {
  auto const found = readers_.find(fd);
  if (found == readers_.end()) return;  // one before it has taken it off
  auto const call = found->second;      // it may take itself off
  call();
}

}  // namespace Host
