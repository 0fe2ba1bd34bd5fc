#pragma once

#include <functional>

namespace Host {

// Whose turn it is, as a publisher sees the loop that it lives in; time comes through the process's Zef::Clock.
class EventLoop {
 public:
  virtual ~EventLoop() = default;

  // Calls `ready` whenever the descriptor can be read, until readFdDel. False when the loop has no room for it.
  virtual bool readFdIs(int fd, std::function<void()> ready) = 0;
  virtual void readFdDel(int fd) = 0;
};

}  // namespace Host
