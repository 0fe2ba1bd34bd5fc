#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/EventLoop.h"
#include "host/Log.h"
#include "host/Timer.h"

namespace Host {

// Who may connect to a socket.
struct SocketAccess {
  static constexpr mode_t usualMode = 0600;

  mode_t mode = usualMode;
  std::string group;  // a name or a number; empty: as the folder gives it

  bool operator==(SocketAccess const&) const = default;
  // The agent's own user and root, and nobody else.
  bool isPrivate() const { return mode == usualMode && group.empty(); }
};

// A Unix socket that listens in the loop. All is done with the rights that the process has at that moment,
// so it is to be made when an agent that starts as root has become its own user. Where root is the agent's own user,
// all folders on the way must be root's, and no other user's to write to: otherwise that user could have root remove
// and make files elsewhere.
class UnixListener {
 public:
  // `enter` is called with the descriptor of each connection that `access` admits, which it owns from then on. A
  // std::system_error or std::runtime_error with the reason when the socket cannot be had.
  UnixListener(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path path, SocketAccess access,
               std::function<void(int fd)> enter, Log log);
  ~UnixListener();
  UnixListener(UnixListener const&) = delete;
  UnixListener& operator=(UnixListener const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  SocketAccess const& access() const { return access_; }
  // Whether its file still stands where it was made.
  bool isThere() const;

 private:
  void listen();
  // Widens its file, of that group, from the agent's own user to those it is for.
  void open(gid_t group) const;
  void accept();
  // Looks for connections again, after a rest that did the process good.
  void resume();

  EventLoop& loop_;
  std::filesystem::path path_;
  SocketAccess access_;
  std::function<void(int fd)> enter_;
  Log log_;
  Zef::Ptr<Timer> timer_;
  int fd_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  bool rests_ = false;
};

}  // namespace Host
