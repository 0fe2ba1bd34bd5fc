#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "host/EventLoop.h"
#include "host/Inspection.h"
#include "host/Log.h"
#include "host/Timer.h"

namespace Host {

// Lets the agent's own user, and root, look at the live system through a Unix socket of mode 0600: a path a line in,
// its answer out. It lives in the agent's loop and never waits for a client: one that sends rubbish, or does not read
// what it asked for, is dropped.
class InspectSocket {
 public:
  // A std::system_error or std::runtime_error with the reason when the socket cannot be had.
  InspectSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Inspection inspection, std::filesystem::path path,
                Log log);
  ~InspectSocket();
  InspectSocket(InspectSocket const&) = delete;
  InspectSocket& operator=(InspectSocket const&) = delete;

  std::filesystem::path const& path() const { return path_; }

 private:
  struct Client {
    std::string in;
    std::string out;
    double progress = 0;  // when it last took something of `out`
    bool ended = false;   // it will send no more

    bool isServed() const { return out.empty() && in.find('\n') == std::string::npos; }
  };

  void listen();
  void accept();
  void read(int fd);
  // Answers one of the lines that have come, when the answer before it has been taken. The next one has another turn
  // of the loop, so that no client has it for itself.
  void serve(int fd);
  // What can be sent of `out` now; false when the client is to be dropped.
  bool send(int fd, Client& client);
  void drop(int fd, char const* why);
  void retry();

  EventLoop& loop_;
  Inspection inspection_;
  std::filesystem::path path_;
  Log log_;
  Zef::Ptr<Timer> timer_;
  int listener_ = -1;
  std::map<int, Client> clients_;
};

}  // namespace Host
