#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "host/Descriptor.h"
#include "host/EventLoop.h"
#include "host/Log.h"
#include "host/Outgoing.h"
#include "host/Slices.h"
#include "host/Timer.h"
#include "host/UnixListener.h"
#include "host/publishers/LineServer.h"

namespace Host {

// Brings the lines of many clients to who answers them. It lives in the agent's loop: a client has one line answered in
// a turn, however many it has sent, and the rest stays with the kernel, which stops a client that sends faster. A long
// line is answered in slices, during which managers are served and other clients wait. One that does not read its
// answers is dropped.
class PublishSocket {
 public:
  // Throws as a UnixListener does. The server outlives it, and is told that all clients have left when it goes.
  PublishSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, LineServer& server, std::filesystem::path path,
                SocketAccess access, Log log);
  ~PublishSocket();
  PublishSocket(PublishSocket const&) = delete;
  PublishSocket& operator=(PublishSocket const&) = delete;

  UnixListener const& listener() const { return listener_; }

  // Completes at once what goes on in slices: nothing else may change what is published in between.
  void finish();

 private:
  struct Client {
    int number = 0;           // none while the server has not been told of it
    std::string line;         // as far as it has come
    bool isTooLong = false;   // the rest of it is skipped
    bool isInTheLoop = true;  // while it has taken all of its answers
    bool isGone = false;      // takes no more answers; what it said before counts
    Outgoing out;
  };
  struct Work {
    int fd;
    std::string line;
    std::string answer;
    std::unique_ptr<Slices> slices;
  };

  // Whatever the call throws costs that client, and nobody else.
  template <class Call>
  void attempt(int fd, Call const& call) noexcept;
  void enter(int fd);
  // A line, or a piece of it.
  void read(int fd);
  void take(int fd);
  // Bytes of lines that have not come whole.
  std::size_t held() const;
  void answer(int fd, std::string line);
  // The next slice of the long line, or all that is left of it.
  void goOn(bool toTheEnd);
  void send(int fd, std::string const& text);
  void flush(int fd);
  void retry();
  void drop(int fd, char const* why) noexcept;

  EventLoop& loop_;
  LineServer& server_;
  Log log_;
  Zef::Ptr<Timer> timer_;
  std::map<int, Client> clients_;
  int lastNumber_ = 0;
  Descriptor wake_;  // can always be read
  std::unique_ptr<Work> work_;
  UnixListener listener_;
};

}  // namespace Host
