#pragma once

#include <ucontext.h>

#include <chrono>
#include <exception>
#include <functional>

namespace Host {

// A long piece of work that goes on in slices, a few milliseconds in each turn of the loop, so that nobody waits for
// all of it. The work is a function like any other: wherever it may be left alone for a while it calls pause(), which
// returns when its next slice begins. It runs on a stack of its own: a parser of a library and a reader that calls
// itself stand between the loop and the place to stop, and neither could be taken apart.
class Slices {
 public:
  explicit Slices(std::function<void()> work);
  // Work that is not done ends where it is: what it has begun unwinds.
  ~Slices();
  Slices(Slices const&) = delete;
  Slices& operator=(Slices const&) = delete;

  // Runs a slice. True when the work is done; what it threw is thrown here.
  bool go();
  // Runs the rest of it at once.
  void finish();

  // A place to stop. It does nothing where no work runs in slices, and costs next to nothing while the slice lasts.
  static void pause() {
    if (running_ != nullptr) running_->rest();
  }

 private:
  // Thrown out of a pause() that nobody goes on with.
  struct Ended : std::exception {
    char const* what() const noexcept override { return "it was given up"; }
  };

  static void enter();
  void switchIn();
  void switchOut();
  void rest();

  static Slices* running_;

  std::function<void()> work_;
  void* stack_ = nullptr;
  ucontext_t inside_{};
  ucontext_t outside_{};
  void* fakeStack_ = nullptr;  // the sanitizer's, of the one that is not running
  void const* outsideStack_ = nullptr;
  std::size_t outsideSize_ = 0;
  std::chrono::steady_clock::time_point until_;
  unsigned calls_ = 0;
  bool isEndless_ = false;
  bool isEnding_ = false;
  bool isDone_ = false;
  std::exception_ptr thrown_;
};

}  // namespace Host
