#include "host/InspectSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "tests/host/Described.h"
#include "tests/host/Looping.h"

namespace {

struct InspectSocket : Looping {
  // A client that has been let in, once the loop turns.
  int client() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    clients.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    EXPECT_EQ(connect(clients.back(), reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    return clients.back();
  }
  bool isServed(int fd) {
    char buffer[65536];
    if (send(fd, "\n", 1, MSG_NOSIGNAL) != 1) return false;
    pass(0.1);
    return recv(fd, buffer, sizeof buffer, 0) > 0;
  }
  void TearDown() override {
    for (int const fd : clients) close(fd);
    Looping::TearDown();
  }

  std::filesystem::path const path = std::filesystem::path(testing::TempDir()) / ("i" + std::to_string(getpid()));
  Host::InspectSocket inspect{loop, clock, Host::Inspection(read("{}"), nullptr), path, log};
  std::vector<int> clients;
};

TEST_F(InspectSocket, LeavesClientsAloneThatThereAreNoMeansToTake) {
  Zef::make<Host::Timer>(clock, [] {})->withinIs(0);  // these two for the sanitizer, which has then met the types
  pass(0.1);
  int const waiting = client();
  std::size_t readers = loop.readers.size();
  {
    NoDescriptors const none;
    loop.turn();
    readers -= loop.readers.size();
    pass(3);
  }
  EXPECT_EQ(readers, 1U);  // one less, or the loop would do nothing else
  EXPECT_EQ(said().size(), 1U);
  pass(1.1);
  EXPECT_TRUE(isServed(waiting));
}

TEST_F(InspectSocket, TakesThePlaceOfTheIdleForOthers) {
  int const idle = client();
  pass(0.1);
  for (int i = 1; i < 8; ++i) client();
  pass(50);
  for (std::size_t i = 1; i < clients.size(); ++i) EXPECT_TRUE(isServed(clients[i]));
  int const early = client();
  pass(15);
  EXPECT_FALSE(isServed(early));
  int const late = client();
  pass(0.1);
  EXPECT_TRUE(isServed(late));
  EXPECT_FALSE(isServed(idle));
  for (std::size_t i = 1; i < 8; ++i) EXPECT_TRUE(isServed(clients[i]));
}

}  // namespace
