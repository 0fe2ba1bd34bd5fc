#pragma once

#include <sys/socket.h>

#include <cerrno>
#include <string>

namespace Host {

// What a client of a socket has not taken yet. Nothing waits for it.
struct Outgoing {
  static constexpr double retryInterval = 0.05;  // seconds between attempts to send the rest
  static constexpr double patience = 5.0;        // seconds for which a client may take nothing of it

  std::string text;
  double progress = 0;  // when something of it was taken last

  // What can be sent now; false when the client is gone.
  bool send(int fd, double now) {
    ssize_t const size = ::send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size < 0) return errno == EAGAIN || errno == EINTR;
    if (size > 0) progress = now;
    text.erase(0, static_cast<std::size_t>(size));
    return true;
  }
};

}  // namespace Host
