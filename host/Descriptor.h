#pragma once

#include <unistd.h>

namespace Host {

// A file descriptor that is closed with its owner; below 0 there is none.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;

  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace Host
