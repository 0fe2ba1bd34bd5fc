#include "host/InspectSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace Host {

namespace {

constexpr std::size_t maxClients = 8;
constexpr std::size_t maxLine = 4096;
constexpr double retryInterval = 0.05;  // seconds between attempts to send the rest of an answer
constexpr double nextTurn = 0.001;      // seconds: what is due at once is run before clients are looked at
constexpr double patience = 5.0;        // seconds for which a client may take nothing of it
constexpr double mayIdle = 60.0;        // seconds for which a client keeps its place from others without asking

}  // namespace

InspectSocket::InspectSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Inspection inspection,
                             std::filesystem::path path, Log log)
    : loop_(loop),
      inspection_(std::move(inspection)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { retry(); })),
      listener_(
          loop, clock, std::move(path), [this](int fd) { enter(fd); }, log_) {}

InspectSocket::~InspectSocket() {
  while (!clients_.empty()) drop(clients_.begin()->first, nullptr);
}

void InspectSocket::enter(int fd) {
  if (clients_.size() == maxClients) dropIdle();
  if (clients_.size() == maxClients || !loop_.readFdIs(fd, [this, fd] { read(fd); })) {
    close(fd);
    return;
  }
  clients_[fd].progress = timer_->notifier()->time();
}

void InspectSocket::dropIdle() {
  auto const idlest = std::min_element(clients_.begin(), clients_.end(), [](auto const& left, auto const& right) {
    return left.second.progress < right.second.progress;
  });
  if (timer_->notifier()->time() - idlest->second.progress > mayIdle)
    drop(idlest->first, "another one needs its place");
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
