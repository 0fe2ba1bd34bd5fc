#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "collect/door/Loop.h"

namespace Collect {

// A process of its own that does what may hang in the kernel: reads of a bus. It is forked when it is first asked, with
// all that its work refers to as it is then. One that does not answer in time is killed, and counts as gone; the next
// question gets a new one, but not before the kernel has let go of the old one.
class Worker {
 public:
  // What it does with a question, which is not empty, in the other process. Whatever it throws ends that process. An
  // answer has at most 100 KB.
  using Work = std::function<std::string(std::string_view question)>;
  // Nothing when there was none in time; why() says more.
  using Answered = std::function<void(std::optional<std::string> answer)>;

  Worker(Loop& loop, std::chrono::duration<double> patience, Work work);
  ~Worker();
  Worker(Worker const&) = delete;
  Worker& operator=(Worker const&) = delete;

  // Forks now, so that less of what is here later is kept by it.
  void start();
  bool isBusy() const { return answered_ != nullptr; }
  // One question at a time: false when the one before has not been answered, or there can be no process, as why() says.
  bool ask(std::string_view question, Answered answered);
  std::string const& why() const { return why_; }
  // The next question gets a new process, which knows what is known here by then.
  void renew();

 private:
  bool isStarted();
  void onAnswer();
  bool isGone() const;
  void giveUp(std::string why);
  void finish(std::optional<std::string> answer);

  Loop& loop_;
  std::chrono::duration<double> patience_;
  Work work_;
  bool isHung_ = false;
  std::string why_;
  int process_ = -1;  // a pidfd
  int fd_ = -1;       // below 0: the process is to end
  Answered answered_;
  Loop::Source readable_, silence_;
};

}  // namespace Collect
