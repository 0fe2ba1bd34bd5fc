#pragma once

#include <memory>

#include "host/Bootstrap.h"
#include "host/Bridge.h"
#include "host/Directives.h"
#include "host/InspectSocket.h"
#include "host/publishers/FilePublisher.h"

namespace Host {

// All of the module within its agent. It is made once and never destroyed: the agent keeps calling what has been
// registered with it while it unloads and loads its modules again, and the tables' handlers hold plain pointers into
// the state store.
class Plugin {
 public:
  // Made at the first call.
  static Plugin& instance();

  // Whether the agent's configuration names the module. A module that it does not name any more serves empty tables.
  void loadedIs(bool loaded) { loaded_ = loaded; }

  Bootstrap const& system() const { return *system_; }

 private:
  Plugin();

  static int onShutdown(int major, int minor, void* server, void* client);
  void settingsAre(Settings const& settings);
  // Nothing is published any more.
  void withdraw();
  void inspectIs(std::filesystem::path const& socket);

  bool loaded_ = false;
  std::unique_ptr<Bridge> bridge_;
  std::unique_ptr<Bootstrap> system_;
  std::unique_ptr<FilePublisher> publisher_;
  std::unique_ptr<InspectSocket> inspect_;
  std::unique_ptr<Directives> directives_;
};

}  // namespace Host
