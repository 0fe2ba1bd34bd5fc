#include "host/InspectSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Host {

namespace {

constexpr std::size_t maxClients = 8;
constexpr std::size_t maxLine = 4096;
constexpr double retryInterval = 0.05;  // seconds between attempts to send the rest of an answer
constexpr double nextTurn = 0.001;      // seconds: what is due at once is run before clients are looked at
constexpr double patience = 5.0;        // seconds for which a client may take nothing of it

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

// Whether the process at the other end runs as the agent's user or as root.
bool isTrusted(int fd) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == 0 || peer.uid == geteuid());
}

}  // namespace

InspectSocket::InspectSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Inspection inspection,
                             std::filesystem::path path, Log log)
    : loop_(loop),
      inspection_(std::move(inspection)),
      path_(std::move(path)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { retry(); })) {
  listen();
}

InspectSocket::~InspectSocket() {
  while (!clients_.empty()) drop(clients_.begin()->first, nullptr);
  loop_.readFdDel(listener_);
  unlink(path_.c_str());  // while it listens, so that a successor's socket is left alone
  close(listener_);
}

void InspectSocket::listen() {
  sockaddr_un const address = addressOf(path_);
  clear(path_, address);
  listener_ = newSocket();
  mode_t const mask = umask(0177);
  bool const bound = bind(listener_, generic(address), sizeof address) == 0;
  int const error = errno;
  umask(mask);
  errno = error;
  if (!bound || ::listen(listener_, SOMAXCONN) != 0 || !loop_.readFdIs(listener_, [this] { accept(); })) {
    int const reason = errno;
    close(listener_);
    if (bound) unlink(path_.c_str());
    errno = reason;
    throwErrno("bind");
  }
}

void InspectSocket::accept() {
  int const fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return;
  if (!isTrusted(fd) || clients_.size() == maxClients || !loop_.readFdIs(fd, [this, fd] { read(fd); })) {
    close(fd);
    return;
  }
  clients_[fd];
}

void InspectSocket::read(int fd) {
  Client& client = clients_.at(fd);
  char buffer[maxLine];
  ssize_t const size = recv(fd, buffer, sizeof buffer, 0);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size < 0) {
    drop(fd, nullptr);
    return;
  }
  if (size == 0) {
    client.ended = true;
    loop_.readFdDel(fd);
  }
  client.in.append(buffer, static_cast<std::size_t>(size));
  serve(fd);
}

void InspectSocket::serve(int fd) {
  Client& client = clients_.at(fd);
  std::size_t const newline = client.in.find('\n');
  if (client.out.empty() && newline != std::string::npos) {
    std::string const path = client.in.substr(0, newline);
    client.in.erase(0, newline + 1);
    client.out = inspection_.answer(path);
    client.progress = timer_->notifier()->time();
    if (!send(fd, client)) {
      drop(fd, "it is gone");
      return;
    }
  }
  if (client.in.find('\n') != std::string::npos && client.out.empty()) timer_->withinIs(nextTurn);
  // What has no answer yet must stay within reason.
  if (client.in.size() > maxLine) {
    drop(fd, "it sends more than it reads");
  } else if (client.ended && client.isServed()) {
    drop(fd, nullptr);
  }
}

bool InspectSocket::send(int fd, Client& client) {
  ssize_t const size = ::send(fd, client.out.data(), client.out.size(), MSG_NOSIGNAL);
  if (size < 0) {
    if (errno != EAGAIN && errno != EINTR) return false;
  } else if (size > 0) {
    client.out.erase(0, static_cast<std::size_t>(size));
    client.progress = timer_->notifier()->time();
  }
  if (!client.out.empty()) timer_->withinIs(retryInterval);
  return true;
}

void InspectSocket::retry() {
  std::vector<int> waiting;
  for (auto const& [fd, client] : clients_) {
    if (!client.isServed()) waiting.push_back(fd);
  }
  for (int const fd : waiting) {
    Client& client = clients_.at(fd);
    if (!client.out.empty() && !send(fd, client)) {
      drop(fd, "it is gone");
    } else if (client.out.empty()) {
      serve(fd);
    } else if (timer_->notifier()->time() - client.progress > patience) {
      drop(fd, "it does not read");
    }
  }
}

void InspectSocket::drop(int fd, char const* why) {
  if (why != nullptr) log_(Severity::info, std::string("dropped a client of the inspection: ") + why);
  loop_.readFdDel(fd);
  close(fd);
  clients_.erase(fd);
}

}  // namespace Host
