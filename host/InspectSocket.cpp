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
constexpr double nextTurn = 0.001;  // seconds: what is due at once is run before clients are looked at
constexpr double mayIdle = 60.0;    // seconds for which a client keeps its place from others without asking

}  // namespace

InspectSocket::InspectSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, Inspection inspection,
                             std::filesystem::path path, Log log)
    : loop_(loop),
      inspection_(std::move(inspection)),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { retry(); })),
      listener_(
          loop, clock, std::move(path), {}, [this](int fd) { enter(fd); }, log_) {}

InspectSocket::~InspectSocket() {
  while (!clients_.empty()) drop(clients_.begin()->first, nullptr);
}

void InspectSocket::enter(int fd) {
  if (clients_.size() == maxClients) dropIdle();
  if (clients_.size() == maxClients || !loop_.readFdIs(fd, [this, fd] { read(fd); })) {
    close(fd);
    return;
  }
  clients_[fd].out.progress = timer_->notifier()->time();
}

void InspectSocket::dropIdle() {
  auto const idlest = std::min_element(clients_.begin(), clients_.end(), [](auto const& left, auto const& right) {
    return left.second.out.progress < right.second.out.progress;
  });
  if (timer_->notifier()->time() - idlest->second.out.progress > mayIdle)
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
  if (client.out.text.empty() && newline != std::string::npos) {
    std::string const path = client.in.substr(0, newline);
    client.in.erase(0, newline + 1);
    client.out.text = inspection_.answer(path);
    client.out.progress = timer_->notifier()->time();
    if (!send(fd, client)) {
      drop(fd, "it is gone");
      return;
    }
  }
  if (client.in.find('\n') != std::string::npos && client.out.text.empty()) timer_->withinIs(nextTurn);
  // What has no answer yet must stay within reason.
  if (client.in.size() > maxLine) {
    drop(fd, "it sends more than it reads");
  } else if (client.ended && client.isServed()) {
    drop(fd, nullptr);
  }
}

bool InspectSocket::send(int fd, Client& client) {
  if (!client.out.send(fd, timer_->notifier()->time())) return false;
  if (!client.out.text.empty()) timer_->withinIs(Outgoing::retryInterval);
  return true;
}

void InspectSocket::retry() {
  std::vector<int> waiting;
  for (auto const& [fd, client] : clients_) {
    if (!client.isServed()) waiting.push_back(fd);
  }
  for (int const fd : waiting) {
    Client& client = clients_.at(fd);
    if (!client.out.text.empty() && !send(fd, client)) {
      drop(fd, "it is gone");
    } else if (client.out.text.empty()) {
      serve(fd);
    } else if (timer_->notifier()->time() - client.out.progress > Outgoing::patience) {
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
