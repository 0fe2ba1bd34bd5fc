#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "host/EventLoop.h"
#include "host/Inspection.h"
#include "host/Log.h"
#include "host/Outgoing.h"
#include "host/Timer.h"
#include "host/UnixListener.h"

namespace Host {

// Lets the agent's own user, and root, look at the live system through a Unix socket: a path a line in, its answer out.
// It lives in the agent's loop and never waits for a client: one that sends rubbish, or does not read what it asked
// for, is dropped, and so is one that has asked nothing for a minute when all places are taken and another comes.
class InspectSocket {
 public:
  // Throws as a UnixListener does.
  InspectSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Inspection inspection, std::filesystem::path path,
                Log log);
  ~InspectSocket();
  InspectSocket(InspectSocket const&) = delete;
  InspectSocket& operator=(InspectSocket const&) = delete;

  UnixListener const& listener() const { return listener_; }

 private:
  struct Client {
    std::string in;
    Outgoing out;        // its progress: when the client came, asked something, or last took something
    bool ended = false;  // it will send no more

    bool isServed() const { return out.text.empty() && in.find('\n') == std::string::npos; }
  };

  void enter(int fd);
  // Makes a place free when a client has been idle for long.
  void dropIdle();
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
  Log log_;
  Zef::Ptr<Timer> timer_;
  std::map<int, Client> clients_;
  UnixListener listener_;
};

}  // namespace Host
