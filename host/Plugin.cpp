#include "host/Plugin.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/agent/Config.h"
#include "platform/fru/Fru.h"
#include "platform/scrivo/Scrivo.h"
#include "platform/store/Merge.h"

namespace Host {

Plugin& Plugin::instance() {
  static auto* const plugin = (startTraces(), new Plugin);
  return *plugin;
}

Plugin::Plugin()
    : hostClock_(Zef::make<Zef::Clock>("host")),
      bridge_(std::make_unique<Bridge>()),
      hostAlarm_(std::make_unique<ClockAlarm>(hostClock_)),
      projectionAlarm_(std::make_unique<ClockAlarm>(Zef::processClock())),
      system_(std::make_unique<Bootstrap>()),
      directives_(std::make_unique<Directives>([this](Settings const& settings) { settingsAre(settings); })) {
  for (char const* name : notificationNames) Snmp::theConfig()->notificationConfigIs("entity")->notificationIs(name);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_SHUTDOWN, &Plugin::onShutdown, nullptr);
}

void Plugin::settingsAre(Settings const& settings) {
  for (char const* name : notificationNames) {
    Snmp::theConfig()->notificationConfig("entity")->notification(name)->reasonIs(
        settings.notificationEnabled(name) ? "" : "orvaneNotification disables it in the agent's configuration");
  }
  if (settings.supervisorSlot != Fru::slotId()) {
    // What the supervisors' rows show rests on it, so all is built anew.
    withdraw();
    Fru::slotIdIs(settings.supervisorSlot);
  }
  inspectIs(loaded_ ? settings.inspect : std::filesystem::path());
  std::filesystem::path const file = loaded_ ? settings.inventory : std::filesystem::path();
  if (file.empty()) {
    if (loaded_) agentLog(Severity::warning, "orvaneInventory is not given: the tables are empty");
    withdraw();
  } else if (publisher_ && publisher_->file() == file) {
    publisher_->read();
  } else {
    publisher_ = std::make_unique<FilePublisher>(*bridge_, hostClock_, system_->inputs(), inputTypes(), file, agentLog,
                                                 [this] { system_->followElection(); });
  }
}

void Plugin::inspectIs(std::filesystem::path const& socket) {
  if (inspect_ && inspect_->path() == socket) return;
  inspect_.reset();
  Scrivo::theTraceFileIs(nullptr);
  if (socket.empty()) return;
  try {
    inspect_ = std::make_unique<InspectSocket>(*bridge_, hostClock_,
                                               Inspection(system_->store().root(), system_->root()), socket, agentLog);
    // An agent that starts as root goes on as another user, who is to have the socket.
    int const user = netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_USERID);
    if (geteuid() == 0 && user > 0 && chown(socket.c_str(), static_cast<uid_t>(user), static_cast<gid_t>(-1)) != 0) {
      agentLog(Severity::error, "orvaneInspect " + socket.string() + ": it stays root's: " + std::strerror(errno));
    }
    // Somebody can read it from here on.
    constexpr std::size_t records = 4096;
    Scrivo::theTraceFileIs(std::make_unique<Scrivo::TraceFile>("orvane", records));
  } catch (std::exception const& error) {
    agentLog(Severity::error, "orvaneInspect " + socket.string() + ": " + error.what());
  }
}

void Plugin::withdraw() {
  if (!publisher_) return;
  publisher_.reset();
  Vorlin::merge(*system_->inputs(), *readInventory("{}", inputTypes()));
  system_->followElection();
}

void Plugin::notificationsHeldIs(bool held) {
  if (projectionAlarm_) projectionAlarm_->heldIs(held);
}

int Plugin::onShutdown(int /*major*/, int /*minor*/, void* /*server*/, void* /*client*/) {
  contained("shutdown", [] {
    Plugin& self = instance();
    self.inspect_.reset();
    self.publisher_.reset();
    self.system_->rootDel();
    self.projectionAlarm_.reset();
    self.hostAlarm_.reset();
    self.bridge_.reset();
  });
  return SNMP_ERR_NOERROR;
}

}  // namespace Host
