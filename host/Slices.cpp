#include "host/Slices.h"

#include <sys/mman.h>

#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#define ORVANE_SWITCHES_STACKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/common_interface_defs.h>
#define ORVANE_SWITCHES_STACKS 1
#endif
#endif

namespace Host {

namespace {

constexpr std::chrono::milliseconds slice{2};
constexpr unsigned callsBetweenLooks = 64;  // at the clock
constexpr std::size_t guardSize = 65'536;
constexpr std::size_t stackSize = 1U << 20U;

}  // namespace

Slices* Slices::running_ = nullptr;

Slices::Slices(std::function<void()> work) : work_(std::move(work)) {
  stack_ = mmap(nullptr, guardSize + stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (stack_ == MAP_FAILED) throw std::bad_alloc();
  // Who overruns it is stopped at once.
  if (mprotect(stack_, guardSize, PROT_NONE) != 0 || getcontext(&inside_) != 0) {
    int const error = errno;
    munmap(stack_, guardSize + stackSize);
    throw std::system_error(error, std::generic_category(), "a stack");
  }
  inside_.uc_stack.ss_sp = static_cast<char*>(stack_) + guardSize;
  inside_.uc_stack.ss_size = stackSize;
  inside_.uc_link = nullptr;
  makecontext(&inside_, &Slices::enter, 0);
}

Slices::~Slices() {
  if (!isDone_) {
    isEnding_ = true;
    // Work that has not begun has nothing to unwind.
    if (calls_ != 0) switchIn();
  }
  munmap(stack_, guardSize + stackSize);
}

bool Slices::go() {
  if (isDone_) return true;
  until_ = std::chrono::steady_clock::now() + slice;
  if (calls_ == 0) calls_ = 1;
  switchIn();
  if (isDone_ && thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  return isDone_;
}

void Slices::finish() {
  isEndless_ = true;
  go();
}

void Slices::enter() {
  Slices& self = *running_;
#ifdef ORVANE_SWITCHES_STACKS
  __sanitizer_finish_switch_fiber(nullptr, &self.outsideStack_, &self.outsideSize_);
#endif
  try {
    self.work_();
  } catch (Ended const&) {
  } catch (...) {
    self.thrown_ = std::current_exception();
  }
  self.isDone_ = true;
  self.switchOut();
}

void Slices::switchIn() {
  Slices* const before = std::exchange(running_, this);
#ifdef ORVANE_SWITCHES_STACKS
  void* fakeStack = nullptr;
  __sanitizer_start_switch_fiber(&fakeStack, inside_.uc_stack.ss_sp, inside_.uc_stack.ss_size);
#endif
  swapcontext(&outside_, &inside_);
#ifdef ORVANE_SWITCHES_STACKS
  __sanitizer_finish_switch_fiber(fakeStack, nullptr, nullptr);
#endif
  running_ = before;
}

void Slices::switchOut() {
#ifdef ORVANE_SWITCHES_STACKS
  // What is done never comes back to its stack.
  __sanitizer_start_switch_fiber(isDone_ ? nullptr : &fakeStack_, outsideStack_, outsideSize_);
#endif
  swapcontext(&inside_, &outside_);
#ifdef ORVANE_SWITCHES_STACKS
  __sanitizer_finish_switch_fiber(fakeStack_, &outsideStack_, &outsideSize_);
#endif
}

void Slices::rest() {
  if (isEndless_ || ++calls_ % callsBetweenLooks != 0 || std::chrono::steady_clock::now() < until_) return;
  switchOut();
  if (!isEnding_) return;
  // Whoever catches it is not stopped again: there is nobody any more to come back to.
  isEndless_ = true;
  throw Ended();
}

}  // namespace Host
