#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace Host {

// The process at the other end of a socket.
struct Peer {
  uid_t uid = 0;
  gid_t gid = 0;
  pid_t pid = 0;
};

// Who answers the lines of a socket's clients.
class LineServer {
 public:
  LineServer() = default;
  LineServer(LineServer const&) = delete;
  LineServer& operator=(LineServer const&) = delete;
  virtual ~LineServer() = default;

  // `client` is a number of its own for each connection.
  virtual void came(int client, Peer const& peer) = 0;
  // The answer to one line; neither has its newline.
  virtual std::string answer(int client, std::string_view line) = 0;
  // The answer to a line that never came whole.
  virtual std::string refused(int client, std::string const& reason) = 0;
  virtual void left(int client) = 0;
};

}  // namespace Host
