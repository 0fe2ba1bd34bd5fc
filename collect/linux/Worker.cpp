#include "collect/linux/Worker.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

extern "C" {  // which the header of glibc 2.36 leaves out
#include <sys/pidfd.h>
}

#include <array>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <utility>

namespace Collect {

namespace {

constexpr std::size_t longest = 100'000;

// The other process: it answers as long as there is somebody who asks.
[[noreturn]] void serve(int fd, pid_t parent, Worker::Work const& work) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  prctl(PR_SET_NAME, "orvane-reader");
  // What its parent has blocked stays so: who ends all of them at once ends it by its parent, which says no more then.
  // Nothing else of the parent's stays open here: not its loop, nor its sockets.
  constexpr int end = 3;
  if (dup2(fd, end) != end) _exit(1);
  close_range(end + 1, ~0U, 0);
  std::array<char, 4096> question;
  while (true) {
    ssize_t const size = recv(end, question.data(), question.size(), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) _exit(0);
    try {
      std::string const answer = work({question.data(), static_cast<std::size_t>(size)});
      if (answer.size() > longest || send(end, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) _exit(1);
    } catch (...) {
      _exit(1);
    }
  }
}

}  // namespace

Worker::Worker(Loop& loop, std::chrono::duration<double> patience, Work work)
    : loop_(loop), patience_(patience), work_(std::move(work)) {}

Worker::~Worker() {
  renew();
  if (process_ >= 0) close(process_);
}

void Worker::renew() {
  readable_ = nullptr;
  silence_ = nullptr;
  answered_ = nullptr;
  if (fd_ >= 0) close(std::exchange(fd_, -1));
  if (process_ >= 0) pidfd_send_signal(process_, SIGKILL, nullptr, 0);
}

bool Worker::isGone() const {
  pollfd ended{process_, POLLIN, 0};
  return process_ < 0 || poll(&ended, 1, 0) != 0;
}

void Worker::start() { isStarted(); }

bool Worker::isStarted() {
  if (fd_ >= 0) return true;
  if (isHung_ && !isGone()) {
    why_ = "the kernel holds on to it";
    return false;
  }
  isHung_ = false;
  why_ = "its reader cannot be started";
  if (process_ >= 0) close(std::exchange(process_, -1));
  std::array<int, 2> ends;
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return false;
  pid_t const parent = getpid();
  pid_t const process = fork();
  if (process == 0) serve(ends[1], parent, work_);
  close(ends[1]);
  if (process > 0) process_ = pidfd_open(process, 0);
  if (process_ < 0) {
    close(ends[0]);  // which ends it, if it is there
    return false;
  }
  fd_ = ends[0];
  return true;
}

bool Worker::ask(std::string_view question, Answered answered) {
  if (answered_) return false;
  if (!isStarted()) return false;
  answered_ = std::move(answered);
  readable_ = loop_.readable(fd_, [this] { onAnswer(); });
  silence_ = loop_.after(patience_, [this] {
    isHung_ = true;
    std::ostringstream why;
    why << "it did not answer within " << patience_.count() << " s";
    giveUp(why.str());
  });
  // One that has just died is found by its socket.
  send(fd_, question.data(), question.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return true;
}

void Worker::onAnswer() {
  std::string answer(longest, '\0');
  ssize_t const size = recv(fd_, answer.data(), answer.size(), MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) {
    giveUp("its reader has ended");
    return;
  }
  answer.resize(static_cast<std::size_t>(size));
  finish(std::move(answer));
}

void Worker::giveUp(std::string why) {
  why_ = std::move(why);
  auto const answered = std::exchange(answered_, nullptr);
  renew();
  answered(std::nullopt);
}

void Worker::finish(std::optional<std::string> answer) {
  readable_ = nullptr;
  silence_ = nullptr;
  auto const answered = std::exchange(answered_, nullptr);
  answered(std::move(answer));
}

}  // namespace Collect
