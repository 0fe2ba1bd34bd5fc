#pragma once

#include <systemd/sd-event.h>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>

namespace Collect {

// The process's one loop (sd-event). A source may be let go of in its own call, and another one be made for the same
// descriptor.
class Loop {
 public:
  using Call = std::function<void()>;
  struct Entry;
  struct Handle {
    ~Handle();
    std::shared_ptr<Entry> entry;
  };
  // What the loop looks out for, until this goes; nothing when it is null.
  using Source = std::unique_ptr<Handle>;

  // SIGTERM and SIGINT end it. SIGHUP waits for who asks for it.
  Loop();
  Loop(Loop const&) = delete;
  Loop& operator=(Loop const&) = delete;

  // Whenever the descriptor can be read; whenever it can be written, where that is asked for.
  Source readable(int fd, Call call);
  Source writable(int fd, Call call);
  // Once, after that time.
  Source after(std::chrono::duration<double> time, Call call);
  // First at once, and again each time so long after it began; turns that were missed are left out.
  Source every(std::chrono::duration<double> period, Call call);
  Source onSignal(int number, Call call);

  // Until SIGTERM or SIGINT, or until end(), after which it can go on. What a call throws ends it, and is thrown on
  // from here.
  void run();
  void end();

 private:
  struct Deleter {
    void operator()(sd_event* event) const { sd_event_unref(event); }
  };

  Source watch(int fd, unsigned events, Call call);

  std::unique_ptr<sd_event, Deleter> event_;
  bool isEnding_ = false;
  std::exception_ptr thrown_;
  Source terminated_, interrupted_;
};

}  // namespace Collect
