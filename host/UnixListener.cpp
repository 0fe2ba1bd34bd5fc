#include "host/UnixListener.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "platform/text/Printable.h"

namespace Host {

namespace {

constexpr double rest = 1.0;  // seconds for which connections are left alone that there are no means to take

[[noreturn]] void throwErrno(char const* what) { throw std::system_error(errno, std::generic_category(), what); }

sockaddr_un addressOf(std::filesystem::path const& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) throw std::runtime_error("the name is too long for a socket");
  std::strcpy(address.sun_path, path.c_str());
  return address;
}

sockaddr const* generic(sockaddr_un const& address) { return reinterpret_cast<sockaddr const*>(&address); }

int newSocket() {
  int const fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) throwErrno("socket");
  return fd;
}

// From the top down, so that what was looked at is nobody else's to swap afterwards.
void needFoldersOfRoot(std::filesystem::path const& folder) {
  std::filesystem::path way;
  for (auto const& step : folder) {
    way /= step;
    struct stat status {};
    if (lstat(way.c_str(), &status) != 0)
      throw std::system_error(errno, std::generic_category(), Text::printable(way.native()));
    bool const isShared = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (status.st_mode & S_ISVTX) == 0;
    if (!S_ISDIR(status.st_mode) || status.st_uid != 0 || isShared) {
      throw std::runtime_error(Text::printable(way.native()) +
                               " is no folder that root alone can write to, and the agent runs as root");
    }
  }
}

// A socket that a former process left behind is taken away; anything else stays.
void clear(std::filesystem::path const& path, sockaddr_un const& address) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) throw std::runtime_error("there is something else than a socket");
  int const probe = newSocket();
  bool const alive = connect(probe, generic(address), sizeof address) == 0 || errno != ECONNREFUSED;
  close(probe);
  if (alive) throw std::runtime_error("another process serves it");
  unlink(path.c_str());
}

gid_t groupOf(std::string const& name) {
  gid_t number = 0;
  auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  // The highest number stands for no group at all.
  if (error == std::errc() && end == name.data() + name.size() && number != static_cast<gid_t>(-1)) return number;
  group const* const found = getgrnam(name.c_str());
  if (found == nullptr) throw std::runtime_error("there is no group " + Text::printable(name));
  return found->gr_gid;
}

// Whether the process at the other end runs as the agent's user or as root.
bool isTrusted(int fd) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == 0 || peer.uid == geteuid());
}

}  // namespace

UnixListener::UnixListener(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, std::filesystem::path path,
                           SocketAccess access, std::function<void(int fd)> enter, Log log)
    : loop_(loop),
      path_(std::move(path)),
      access_(std::move(access)),
      enter_(std::move(enter)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { resume(); })) {
  listen();
}

UnixListener::~UnixListener() {
  timer_->isRegisteredNotifieeIs(false);
  loop_.readFdDel(fd_);
  if (isThere()) unlink(path_.c_str());  // while it listens, so that nobody takes it for one that was left behind
  close(fd_);
}

bool UnixListener::isThere() const {
  struct stat status {};
  return lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
}

void UnixListener::listen() {
  sockaddr_un const address = addressOf(path_);
  if (geteuid() == 0) needFoldersOfRoot(path_.parent_path());
  clear(path_, address);
  fd_ = newSocket();
  bool bound = false;
  try {
    mode_t const mask = umask(0177);
    bound = bind(fd_, generic(address), sizeof address) == 0;
    int const error = errno;
    umask(mask);
    errno = error;
    if (!bound) throwErrno("bind");
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0) throwErrno("bind");
    // Its permissions are checked when somebody connects, so they are right before anybody can.
    if (!access_.isPrivate()) open(status.st_gid);
    if (::listen(fd_, SOMAXCONN) != 0 || !loop_.readFdIs(fd_, [this] { accept(); })) throwErrno("listen");
    device_ = status.st_dev;
    inode_ = status.st_ino;
  } catch (...) {
    close(fd_);
    if (bound) unlink(path_.c_str());
    throw;
  }
}

void UnixListener::open(gid_t group) const {
  gid_t const wanted = access_.group.empty() ? group : groupOf(access_.group);
  if (wanted != group && lchown(path_.c_str(), static_cast<uid_t>(-1), wanted) != 0)
    throwErrno(("group " + Text::printable(access_.group)).c_str());
  if (fchmodat(AT_FDCWD, path_.c_str(), access_.mode, AT_SYMLINK_NOFOLLOW) != 0) throwErrno("mode");
}

void UnixListener::accept() {
  int const fd = accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd >= 0) {
    rests_ = false;
    if (!access_.isPrivate() || isTrusted(fd)) {
      enter_(fd);
    } else {
      close(fd);
    }
  } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
    // Whoever waits there goes on waiting, and the loop would turn for nothing else.
    if (!rests_)
      log_(Severity::error, Text::printable(path_.native()) + ": its clients have to wait: " + std::strerror(errno));
    rests_ = true;
    loop_.readFdDel(fd_);
    timer_->withinIs(rest);
  }
}

void UnixListener::resume() {
  if (!loop_.readFdIs(fd_, [this] { accept(); })) timer_->withinIs(rest);
}

}  // namespace Host
