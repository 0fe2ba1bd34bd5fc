#include "host/publishers/PublishSocket.h"

#include <malloc.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <numeric>
#include <system_error>
#include <utility>

namespace Host {

namespace {

constexpr std::size_t mostClients = 64;
constexpr std::size_t longestLine = std::size_t{64} << 20U;
constexpr std::size_t mostHeld = 2 * longestLine;          // of lines that have not come whole, of all clients
constexpr std::size_t shortPiece = std::size_t{4} << 10U;  // most lines are shorter
constexpr std::size_t longPiece = std::size_t{64} << 10U;
constexpr std::size_t longLine = std::size_t{16} << 10U;  // is answered in slices
constexpr std::size_t hugeLine = std::size_t{1} << 20U;   // takes memory that is worth giving back

// What a huge line takes would stay with the agent.
void giveBack(std::string& line) {
  bool const isHuge = line.capacity() > hugeLine;
  std::string().swap(line);
  if (isHuge) malloc_trim(0);
}

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
  if (wake_.get() < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

PublishSocket::~PublishSocket() {
  timer_->isRegisteredNotifieeIs(false);
  while (!clients_.empty()) drop(clients_.begin()->first, nullptr);
}

void PublishSocket::finish() {
  if (work_) goOn(true);
}

template <class Call>
void PublishSocket::attempt(int fd, Call const& call) noexcept {
  try {
    call();
  } catch (std::bad_alloc const&) {
    drop(fd, "not enough memory");
  } catch (std::exception const& error) {
    drop(fd, error.what());
  } catch (...) {
    drop(fd, "an error without words");
  }
}

void PublishSocket::enter(int fd) {
  if (clients_.size() == mostClients) {
    std::string_view const text = "{\"error\":\"64 clients are connected already\"}\n";
    ::send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    close(fd);
    return;
  }
  attempt(fd, [&] {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
      throw std::system_error(errno, std::generic_category());
    Client& client = clients_[fd];
    server_.came(++lastNumber_, {peer.uid, peer.gid, peer.pid});
    client.number = lastNumber_;
    if (!loop_.readFdIs(fd, [this, fd] { read(fd); })) drop(fd, "there is no room for it");
  });
}

void PublishSocket::read(int fd) {
  if (!work_) attempt(fd, [&] { take(fd); });
}

void PublishSocket::take(int fd) {
  Client& client = clients_.at(fd);
  std::array<char, longPiece> buffer;
  // No more than the line is taken from the kernel, which then says again that there is more.
  bool const hasBegun = !client.line.empty() || client.isTooLong;
  ssize_t const there = recv(fd, buffer.data(), hasBegun ? longPiece : shortPiece, MSG_PEEK);
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
  if (client.isTooLong) giveBack(client.line);
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
  if (line.size() <= longLine) {
    send(fd, server_.answer(number, line));
    return;
  }
  work_ = std::make_unique<Work>(Work{fd, std::move(line), {}, nullptr});
  Work& work = *work_;
  work.slices = std::make_unique<Slices>([this, &work, number] { work.answer = server_.answer(number, work.line); });
  // Its first slice has a turn of its own: long lines of many clients come in one.
  if (!loop_.readFdIs(wake_.get(), [this] { goOn(false); })) goOn(true);
}

void PublishSocket::goOn(bool toTheEnd) {
  attempt(work_->fd, [&] {
    if (toTheEnd) {
      work_->slices->finish();
    } else if (!work_->slices->go()) {
      return;
    }
    loop_.readFdDel(wake_.get());
    auto const work = std::exchange(work_, nullptr);
    giveBack(work->line);
    send(work->fd, work->answer);
  });
}

void PublishSocket::send(int fd, std::string const& text) {
  Client& client = clients_.at(fd);
  if (client.isGone) return;
  client.out.text.append(text).append(1, '\n');
  client.out.progress = timer_->notifier()->time();
  flush(fd);
}

void PublishSocket::flush(int fd) {
  Client& client = clients_.at(fd);
  if (!client.out.send(fd, timer_->notifier()->time())) {
    client.isGone = true;
    client.out.text.clear();
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
  for (auto next = clients_.begin(); next != clients_.end();) {
    auto const& [fd, client] = *next++;  // it may be dropped
    if (client.out.text.empty()) continue;
    if (timer_->notifier()->time() - client.out.progress > Outgoing::patience) {
      drop(fd, "it does not read its answers");
    } else {
      attempt(fd, [this, fd = fd] { flush(fd); });
    }
  }
}

void PublishSocket::drop(int fd, char const* why) noexcept {
  if (work_ && work_->fd == fd) {
    loop_.readFdDel(wake_.get());
    work_ = nullptr;
  }
  loop_.readFdDel(fd);
  close(fd);
  auto client = clients_.extract(fd);
  // There may be no memory, even for these; what they do without it is done first.
  try {
    if (why != nullptr) log_(Severity::warning, std::string("dropped a publisher: ") + why);
  } catch (...) {
  }
  try {
    if (!client.empty() && client.mapped().number != 0) server_.left(client.mapped().number);
    if (!client.empty()) giveBack(client.mapped().line);
  } catch (...) {
  }
}

}  // namespace Host
