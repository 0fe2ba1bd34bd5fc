// Lines on their way to who answers them, and the answers back.

#include "host/publishers/PublishSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "host/Slices.h"
#include "host/publishers/Document.h"
#include "tests/host/Allocations.h"
#include "tests/host/Looping.h"

namespace {

namespace fs = std::filesystem;

// Answers a line with itself, in slices as long as `busy`; what it has been told.
struct Echo : Host::LineServer {
  void came(int client, Host::Peer const& peer) override {
    EXPECT_EQ(peer.pid, getpid());
    told.push_back("came " + std::to_string(client));
    here.insert(client);
  }
  std::string answer(int client, std::string_view line) override {
    told.push_back(std::to_string(client) + " " + std::string(line.substr(0, 10)));
    struct Ends {
      std::vector<std::string>& told;
      ~Ends() { told.emplace_back("end"); }
    };
    if (line.size() > 20'000) {
      Ends const ends{told};
      while (busy) Host::Slices::pause();
      if (throws) throw std::runtime_error("on its own stack");
    }
    return std::string(line.substr(0, answered));
  }
  std::string refused(int /*client*/, std::string const& reason) override { return "refused: " + reason; }
  void left(int client) override {
    EXPECT_EQ(here.erase(client), 1U);
    told.push_back("left " + std::to_string(client));
  }

  bool busy = false;
  bool throws = false;
  std::size_t answered = 10;
  std::set<int> here;
  std::vector<std::string> told;
};

struct Socket : Looping {
  void SetUp() override {
    Looping::SetUp();
    listen();
  }
  void TearDown() override {
    for (int const fd : clients) close(fd);
    socket.reset();
    Looping::TearDown();
  }
  void listen(Host::SocketAccess const& access = {}) {
    socket.reset();
    socket = std::make_unique<Host::PublishSocket>(loop, clock, echo, path, access, log);
  }
  // A client that the socket has not met yet.
  int dial() {
    int const fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    clients.push_back(fd);
    return fd;
  }
  int connect() {
    int const fd = dial();
    loop.turn();
    return fd;
  }
  void hangUp(int fd) {
    close(fd);
    std::erase(clients, fd);
  }
  static std::ptrdiff_t openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  }
  static void send(int fd, std::string const& text) {
    ASSERT_EQ(write(fd, text.data(), text.size()), ssize_t(text.size()));
  }
  // All of a long text, while the loop turns.
  void pour(int fd, std::string_view text) {
    while (!text.empty()) {
      ssize_t const size = write(fd, text.data(), text.size());
      if (size > 0) text.remove_prefix(static_cast<std::size_t>(size));
      loop.turn();
    }
  }
  static std::string received(int fd) {
    std::string text(1 << 20, '\0');
    ssize_t const size = ::recv(fd, text.data(), text.size(), MSG_DONTWAIT);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return size == 0 ? "(closed)" : text;
  }
  std::vector<std::string> told() { return std::exchange(echo.told, {}); }

  fs::path const path = folder / "publish.sock";
  Echo echo;
  std::unique_ptr<Host::PublishSocket> socket;
  std::vector<int> clients;
};

using Lines = std::vector<std::string>;

TEST_F(Socket, AnswersALineOfEachClientInATurn) {
  int const one = connect();
  int const other = connect();
  EXPECT_EQ(told(), (Lines{"came 1", "came 2"}));
  send(one, "a\nb\nhalf");
  send(other, "x\r\n\ny\n");
  loop.turn();
  EXPECT_EQ(told(), (Lines{"1 a", "2 x\r"}));
  loop.turn();
  EXPECT_EQ(told(), (Lines{"1 b", "2 "}));
  EXPECT_EQ(received(one), "a\nb\n");
  loop.turn();
  loop.turn();
  EXPECT_EQ(told(), (Lines{"2 y"}));
  send(one, " and half\n");
  loop.turn();
  EXPECT_EQ(told(), (Lines{"1 half and h"}));
  send(one, "never whole");
  shutdown(one, SHUT_WR);
  loop.turn();
  loop.turn();
  EXPECT_EQ(told(), (Lines{"left 1"}));
  // Who has gone without its answers has said what it said.
  send(other, "p\nq\nr\nhalf");
  hangUp(other);
  for (int i = 0; i < 5; ++i) loop.turn();
  EXPECT_EQ(told(), (Lines{"2 p", "2 q", "2 r", "left 2"}));
}

TEST_F(Socket, SkipsALineThatIsTooLong) {
  int const one = connect();
  std::string const megabyte(1 << 20, 'x');
  for (int i = 0; i < 64; ++i) pour(one, megabyte);
  pour(one, "y\nshort\n");
  for (int i = 0; i < 6; ++i) loop.turn();
  std::string const refused = "refused: larger than 64 MiB, or than the memory left\n";
  EXPECT_EQ(received(one), refused + "short\n");
  // Three that are large enough together.
  int const others[] = {connect(), connect(), connect()};
  for (int i = 0; i < 50; ++i) {
    for (int const each : others) pour(each, megabyte);
  }
  for (int const each : others) {
    pour(each, "\n");
    pass(0.2);
  }
  std::string answers;
  for (int const each : others) answers += received(each);
  EXPECT_NE(answers.find(refused), std::string::npos);
  EXPECT_NE(answers.find("xxxxxxxxxx\n"), std::string::npos);
}

TEST_F(Socket, DropsAClientThatDoesNotReadAndNoOther) {
  int const one = connect();
  int const other = connect();
  echo.answered = 10'000;
  std::string const line(10'000, 'x');
  // Its answers fill what the kernel holds for it; then its lines stay where they are.
  for (int i = 0; i < 200; ++i) {
    if (write(one, (line + "\n").data(), line.size() + 1) < 0) break;
    loop.turn();
  }
  pass(1);
  told();
  send(other, "x\n");
  pass(1);
  EXPECT_EQ(told(), Lines{"2 x"});
  // It reads after all, and later no more.
  while (!received(one).empty()) pass(0.1);
  EXPECT_FALSE(told().empty());
  for (int i = 0; i < 200; ++i) {
    if (write(one, (line + "\n").data(), line.size() + 1) < 0) break;
    loop.turn();
  }
  pass(0.5);
  told();
  pass(7);
  EXPECT_EQ(told(), Lines{"left 1"});
  EXPECT_EQ(said(), Lines{"dropped a publisher: it does not read its answers"});
  send(other, "y\n");
  loop.turn();
  EXPECT_EQ(told(), Lines{"2 y"});
}

TEST_F(Socket, HasRoomForSixtyFour) {
  for (int i = 0; i < 64; ++i) connect();
  told();
  int const more = connect();
  EXPECT_EQ(received(more), "{\"error\":\"64 clients are connected already\"}\n");
  EXPECT_EQ(received(more), "(closed)");
  hangUp(clients.front());
  loop.turn();
  connect();
  EXPECT_EQ(told(), (Lines{"left 1", "came 65"}));
}

// A long line goes on over many turns, in which no other is answered; each end of it unwinds.
TEST_F(Socket, AnswersALongLineInSlices) {
  std::string const line(50'000, 'x');
  enum class End { itself, finished, exception, destroyed };
  for (End const end : {End::itself, End::finished, End::exception, End::destroyed}) {
    int const one = connect();
    int const other = connect();
    told();
    echo.busy = true;
    echo.throws = end == End::exception;
    pour(one, line + "\n");
    for (int i = 0; i < 3; ++i) loop.turn();
    send(other, "y\n");
    for (int i = 0; i < 3; ++i) loop.turn();
    auto before = told();
    ASSERT_EQ(before.size(), 1U) << "begun, and nothing else";
    if (end == End::destroyed) {
      socket.reset();
      before = told();
      EXPECT_EQ(before.front(), "end");
      break;
    }
    echo.busy = false;
    if (end == End::finished) socket->finish();
    loop.turn();
    EXPECT_EQ(received(one), end == End::exception ? "(closed)" : "xxxxxxxxxx\n");
    loop.turn();
    EXPECT_EQ(received(other), "y\n");
    hangUp(one);
    hangUp(other);
    loop.turn();
  }
}

TEST_F(Socket, AnswersOneLongLineInATurn) {
  for (int i = 0; i < 3; ++i) send(connect(), std::string(50'000, 'x') + "\n");
  told();
  std::size_t answered = 0;
  for (int i = 0; i < 10; ++i) {
    loop.turn();
    auto const inTurn = told().size() / 2;  // each has its end
    EXPECT_LE(inTurn, 1U);
    answered += inTurn;
  }
  EXPECT_EQ(answered, 3U);
}

TEST(Slices, EndWorkThatCatchesEverything) {
  bool isDone = false;
  {
    Host::Slices work([&] {
      try {
        while (true) Host::Slices::pause();
      } catch (...) {
        for (int i = 0; i < 1000; ++i) Host::Slices::pause();
      }
      isDone = true;
    });
    EXPECT_FALSE(work.go());
  }
  EXPECT_TRUE(isDone);
}

TEST(Slices, StopWithinOneLongValue) {
  std::string const text = '"' + std::string(8 << 20, 'x') + '"';
  Host::Slices work([&] { Host::readDocument(text); });
  EXPECT_FALSE(work.go());
}

// Whichever allocation fails, one client is lost at most, with all that was made for it, and others are served.
TEST_F(Socket, GoesOnWhenMemoryRunsOut) {
  auto const before = openDescriptors();
  std::size_t failing = 0;
  for (std::size_t first = 1; failing == 0; ++first) {
    int const one = dial();
    send(one, "x\n" + std::string(50'000, 'y') + "\nz\n");
    failing = first;
    for (int i = 0; i < 8; ++i) {
      for (auto const& [fd, ready] : std::map(loop.readers)) {
        pollfd ask{fd, POLLIN, 0};
        if (!loop.readers.contains(fd) || poll(&ask, 1, 0) != 1) continue;
        failingAllocation = failing;
        EXPECT_NO_THROW(ready()) << first;
        failing = std::exchange(failingAllocation, 0);
      }
    }
    hangUp(one);
    int const other = connect();
    send(other, "x\n");
    for (int i = 0; i < 4; ++i) loop.turn();
    EXPECT_EQ(received(other), "x\n") << first;
    hangUp(other);
    loop.turn();
    ASSERT_EQ(loop.readers.size(), 1U) << first;
    ASSERT_EQ(openDescriptors(), before) << first;
    ASSERT_TRUE(echo.here.empty()) << first;
  }
}

TEST_F(Socket, IsOpenToThoseItIsFor) {
  struct stat status {};
  auto const found = [&] {
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 0777U;
  };
  EXPECT_EQ(found(), 0600U);
  gid_t const group = geteuid() == 0 ? 4711 : getegid();
  listen({0660, std::to_string(group)});
  EXPECT_EQ(found(), 0660U);
  EXPECT_EQ(status.st_gid, group);
  auto const before = openDescriptors();
  for (std::string const none : {"no such group", "4294967295"}) {
    EXPECT_THROW(listen({0660, none}), std::runtime_error) << none;
    EXPECT_FALSE(fs::exists(path));
  }
  EXPECT_EQ(openDescriptors(), before - 2);  // less the socket that it took the place of
}

}  // namespace
