#include "host/publishers/PublishSocket.h"

#include <malloc.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <system_error>
#include <utility>
#include <vector>

#include "host/publishers/Document.h"

namespace Host {

namespace {

constexpr std::size_t mostClients = 64;
constexpr std::size_t longestLine = std::size_t{64} << 20U;
constexpr std::size_t mostHeld = 2 * longestLine;          // of lines that have not come whole, of all clients
constexpr std::size_t shortPiece = std::size_t{4} << 10U;  // most lines are shorter
constexpr std::size_t longPiece = std::size_t{64} << 10U;
constexpr std::size_t longLine = std::size_t{16} << 10U;  // is answered in slices
constexpr std::size_t hugeLine = std::size_t{1} << 20U;   // takes memory that is worth giving back

}  // namespace

PublishSocket::PublishSocket(EventLoop& loop, Zef::Ptr<Zef::Clock> const& clock, LineServer& server,
                             std::filesystem::path path, SocketAccess access, Log log)
    : loop_(loop),
      server_(server),
      log_(std::move(log)),
      timer_(Zef::make<Timer>(clock, [this] { retry(); })),
      wake_(eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC)),
      listener_(
          loop, clock, std::move(path), std::move(access), [this](int fd) { enter(fd); }, log_) {
  if (wake_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

PublishSocket::~PublishSocket() {
  timer_->isRegisteredNotifieeIs(false);
  if (work_) loop_.readFdDel(wake_);
  work_.reset();
  while (!clients_.empty()) drop(clients_.begin()->first, nullptr);
  close(wake_);
}

void PublishSocket::finish() {
  if (work_) goOn(true);
}

void PublishSocket::enter(int fd) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (clients_.size() == mostClients) {
    std::string_view const text = "{\"error\":\"64 clients are connected already\"}\n";
    ::send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    close(fd);
  } else if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
             !loop_.readFdIs(fd, [this, fd] { read(fd); })) {
    close(fd);
  } else {
    Client& client = clients_[fd];
    client.number = ++lastNumber_;
    server_.came(client.number, {peer.uid, peer.gid, peer.pid});
  }
}

void PublishSocket::read(int fd) {
  if (work_) return;
  Client& client = clients_.at(fd);
  std::array<char, longPiece> buffer;
  // No more than the line is taken from the kernel, which then says again that there is more.
  ssize_t const there =
      recv(fd, buffer.data(), client.line.empty() && !client.isTooLong ? shortPiece : longPiece, MSG_PEEK);
  if (there < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (there <= 0) {
    drop(fd, nullptr);
    return;
  }
  auto const* const newline =
      static_cast<char const*>(std::memchr(buffer.data(), '\n', static_cast<std::size_t>(there)));
  std::size_t const size =
      newline == nullptr ? static_cast<std::size_t>(there) : static_cast<std::size_t>(newline - buffer.data());
  recv(fd, buffer.data(), size + (newline == nullptr ? 0 : 1), 0);
  try {
    if (!client.isTooLong) client.line.append(buffer.data(), size);
  } catch (std::bad_alloc const&) {
    client.isTooLong = true;
  }
  client.isTooLong =
      client.isTooLong || client.line.size() > longestLine || (client.line.size() > longLine && held() > mostHeld);
  if (client.isTooLong) std::string().swap(client.line);
  if (newline == nullptr) return;
  if (std::exchange(client.isTooLong, false)) {
    send(fd, server_.refused(client.number, "larger than 64 MiB, or than the memory left"));
  } else {
    answer(fd, std::exchange(client.line, {}));
  }
}

std::size_t PublishSocket::held() const {
  return std::accumulate(clients_.begin(), clients_.end(), std::size_t{0},
                         [](std::size_t sum, auto const& each) { return sum + each.second.line.size(); });
}

void PublishSocket::answer(int fd, std::string line) {
  int const number = clients_.at(fd).number;
  try {
    if (line.size() <= longLine) {
      send(fd, server_.answer(number, line));
      return;
    }
    work_ = std::make_unique<Work>(Work{fd, std::move(line), {}, {}, nullptr});
    Work& work = *work_;
    work.slices = std::make_unique<Slices>([this, &work, number] { work.answer = server_.answer(number, work.line); });
  } catch (...) {
    work_ = nullptr;
    drop(fd, reasonCaught().c_str());
    return;
  }
  bool const hasTurns = loop_.readFdIs(wake_, [this] { goOn(false); });
  goOn(!hasTurns);
}

void PublishSocket::goOn(bool toTheEnd) {
  try {
    if (toTheEnd) {
      work_->slices->finish();
    } else if (!work_->slices->go()) {
      return;
    }
  } catch (...) {
    work_->failure = reasonCaught();
  }
  loop_.readFdDel(wake_);
  auto const work = std::exchange(work_, nullptr);
  if (work->failure.empty()) {
    send(work->fd, work->answer);
  } else {
    drop(work->fd, work->failure.c_str());
  }
  bool const wasHuge = work->line.size() > hugeLine;
  std::string().swap(work->line);
  if (wasHuge) malloc_trim(0);
}

void PublishSocket::send(int fd, std::string const& text) {
  Client& client = clients_.at(fd);
  client.out.text += text + "\n";
  client.out.progress = timer_->notifier()->time();
  flush(fd);
}

void PublishSocket::flush(int fd) {
  Client& client = clients_.at(fd);
  if (!client.out.send(fd, timer_->notifier()->time())) {
    drop(fd, nullptr);
    return;
  }
  // Who does not take its answers is not asked for more.
  bool const goesOn = client.out.text.empty();
  if (!goesOn) timer_->withinIs(Outgoing::retryInterval);
  if (goesOn == client.isInTheLoop) return;
  client.isInTheLoop = goesOn;
  if (!goesOn) {
    loop_.readFdDel(fd);
  } else if (!loop_.readFdIs(fd, [this, fd] { read(fd); })) {
    drop(fd, "there is no room for it");
  }
}

void PublishSocket::retry() {
  std::vector<int> waiting;
  for (auto const& [fd, client] : clients_) {
    if (!client.out.text.empty()) waiting.push_back(fd);
  }
  for (int const fd : waiting) {
    if (timer_->notifier()->time() - clients_.at(fd).out.progress > Outgoing::patience) {
      drop(fd, "it does not read its answers");
    } else {
      flush(fd);
    }
  }
}

void PublishSocket::drop(int fd, char const* why) {
  int const number = clients_.at(fd).number;
  if (why != nullptr) log_(Severity::warning, std::string("dropped a publisher: ") + why);
  loop_.readFdDel(fd);
  close(fd);
  clients_.erase(fd);
  server_.left(number);
}

}  // namespace Host
