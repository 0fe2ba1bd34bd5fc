#include "collect/door/Loop.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <utility>

namespace Collect {

namespace {

void check(int result, char const* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

std::uint64_t microseconds(std::chrono::duration<double> time) {
  return static_cast<std::uint64_t>(time.count() * 1e6);
}

}  // namespace

struct Loop::Entry : std::enable_shared_from_this<Loop::Entry> {
  Entry(Loop& itsLoop, Call what) : loop(itsLoop), call(std::move(what)) {}
  static int called(void* entry) {
    auto const self = static_cast<Entry*>(entry)->shared_from_this();  // its owner may let go of it in the call
    if (self->period > 0) {
      sd_event_source_set_time_relative(self->source, self->period);
      sd_event_source_set_enabled(self->source, SD_EVENT_ONESHOT);
    }
    try {
      self->call();
    } catch (...) {
      self->loop.thrown_ = std::current_exception();
      self->loop.end();
    }
    return 0;
  }
  static int onIo(sd_event_source* /*source*/, int /*fd*/, std::uint32_t /*events*/, void* entry) {
    return called(entry);
  }
  static int onTime(sd_event_source* /*source*/, std::uint64_t /*time*/, void* entry) { return called(entry); }
  static int onSignal(sd_event_source* /*source*/, signalfd_siginfo const* /*info*/, void* entry) {
    return called(entry);
  }

  Loop& loop;
  Call call;
  std::uint64_t period = 0;
  sd_event_source* source = nullptr;
};

Loop::Handle::~Handle() { sd_event_source_disable_unref(entry->source); }

Loop::Loop() {
  sigset_t set;
  sigemptyset(&set);
  for (int const number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGCHLD, SIG_IGN);  // nobody has to wait for processes that have ended
  sd_event* event = nullptr;
  check(sd_event_new(&event), "event loop");
  event_.reset(event);
  terminated_ = onSignal(SIGTERM, [this] { end(); });
  interrupted_ = onSignal(SIGINT, [this] { end(); });
}

Loop::Source Loop::watch(int fd, unsigned events, Call call) {
  Source handle(new Handle{std::make_shared<Entry>(*this, std::move(call))});
  auto const& entry = handle->entry;
  check(sd_event_add_io(event_.get(), &entry->source, fd, events, &Entry::onIo, entry.get()), "event loop");
  return handle;
}

Loop::Source Loop::readable(int fd, Call call) { return watch(fd, EPOLLIN, std::move(call)); }

Loop::Source Loop::writable(int fd, Call call) {
  // The kernel watches a descriptor once, and this one may be waited for to be read.
  int const own = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  check(own < 0 ? -errno : 0, "event loop");
  auto source = watch(own, EPOLLOUT, std::move(call));
  sd_event_source_set_io_fd_own(source->entry->source, 1);
  return source;
}

Loop::Source Loop::after(std::chrono::duration<double> time, Call call) {
  Source handle(new Handle{std::make_shared<Entry>(*this, std::move(call))});
  auto const& entry = handle->entry;
  constexpr std::uint64_t accuracy = 10'000;  // so that turns of about the same time are one
  check(sd_event_add_time_relative(event_.get(), &entry->source, CLOCK_MONOTONIC, microseconds(time), accuracy,
                                   &Entry::onTime, entry.get()),
        "timer");
  return handle;
}

Loop::Source Loop::every(std::chrono::duration<double> period, Call call) {
  auto handle = after(std::chrono::duration<double>(0), std::move(call));
  handle->entry->period = microseconds(period);
  return handle;
}

Loop::Source Loop::onSignal(int number, Call call) {
  Source handle(new Handle{std::make_shared<Entry>(*this, std::move(call))});
  auto const& entry = handle->entry;
  check(sd_event_add_signal(event_.get(), &entry->source, number, &Entry::onSignal, entry.get()), "signals");
  return handle;
}

void Loop::run() {
  isEnding_ = false;
  while (!isEnding_) check(sd_event_run(event_.get(), UINT64_MAX), "event loop");
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

void Loop::end() { isEnding_ = true; }

}  // namespace Collect
