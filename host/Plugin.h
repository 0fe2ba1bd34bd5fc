#pragma once

#include <memory>

#include "host/Bootstrap.h"
#include "host/Bridge.h"
#include "host/Directives.h"
#include "host/InspectSocket.h"
#include "host/publishers/FilePublisher.h"
#include "host/publishers/PublishSocket.h"
#include "host/publishers/Publishers.h"

namespace Host {

// All of Orvane within an agent: the module in snmpd, the daemon in its own subagent. It is made once and never
// destroyed: the agent keeps calling what has been registered with it while it unloads and loads its modules again, and
// the tables' handlers hold plain pointers into the state store.
class Plugin {
 public:
  // Made at the first call.
  static Plugin& instance();

  // Whether the agent's configuration names the module. A module that it does not name any more serves empty tables.
  void loadedIs(bool loaded) { loaded_ = loaded; }

  // Whether there is nobody to hand notifications to; at first there is. What is to be told of meanwhile waits: the
  // projection's clock is held, whose timers send it, so the queue stays in its order and bounded by the rows, and the
  // sensors are compared with what was told last when it goes on. Files and clients are on the host's clock, and
  // served.
  void notificationsHeldIs(bool held);

  Bootstrap const& system() const { return *system_; }

 private:
  Plugin();

  static int onShutdown(int major, int minor, void* server, void* client);
  void settingsAre(Settings const& settings);
  // Touches what the settings name, with the rights of the agent's own user.
  void filesAre(Settings const& settings);
  void inspectIs(std::filesystem::path const& socket);
  void publishIs(std::filesystem::path const& socket, SocketAccess const& access);

  bool loaded_ = false;
  Zef::Ptr<Zef::Clock> hostClock_;
  std::unique_ptr<Bridge> bridge_;
  std::unique_ptr<ClockAlarm> hostAlarm_;
  std::unique_ptr<ClockAlarm> projectionAlarm_;
  std::unique_ptr<Bootstrap> system_;
  std::unique_ptr<Publishers> publishers_;
  std::unique_ptr<FilePublisher> file_;
  std::unique_ptr<PublishSocket> publish_;
  std::unique_ptr<InspectSocket> inspect_;
  std::unique_ptr<Directives> directives_;
};

}  // namespace Host
