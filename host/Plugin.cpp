#include "host/Plugin.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <unistd.h>

#include <cstdlib>

#include "platform/agent/Config.h"
#include "platform/fru/Fru.h"
#include "platform/scrivo/Scrivo.h"
#include "platform/text/Printable.h"
#include "runtime/reflection/ActivityManagerConfig.h"

namespace Host {

Plugin& Plugin::instance() {
  static auto* const plugin = (startTraces(), new Plugin);
  return *plugin;
}

Plugin::Plugin()
    : hostClock_(Zef::make<Zef::Clock>("host")),
      bridge_(std::make_unique<Bridge>(hostClock_)),
      hostAlarm_(std::make_unique<ClockAlarm>(hostClock_)),
      projectionAlarm_(std::make_unique<ClockAlarm>(Zef::processClock())),
      system_(std::make_unique<Bootstrap>()),
      publishers_(std::make_unique<Publishers>(inputTypes(), *system_, hostClock_, agentLog)),
      directives_(std::make_unique<Directives>([this](Settings const& settings) { settingsAre(settings); })) {
  system_->serve();
  for (char const* name : notificationNames) Snmp::theConfig()->notificationConfigIs("entity")->notificationIs(name);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_SHUTDOWN, &Plugin::onShutdown, nullptr);
}

void Plugin::settingsAre(Settings const& settings) {
  for (char const* name : notificationNames) {
    Snmp::theConfig()->notificationConfig("entity")->notification(name)->reasonIs(
        settings.notificationEnabled(name) ? "" : "orvaneNotification disables it in the agent's configuration");
  }
  if (publish_) publish_->finish();
  system_->physicalNamesAreShown(settings.physicalNames);
  if (settings.supervisorSlot != Fru::slotId()) {
    // What the supervisors' rows show rests on it.
    Fru::slotIdIs(settings.supervisorSlot);
    publishers_->rebuild();
  }
  auto const files = [this, settings] { filesAre(settings); };
  // An agent that starts as root reads its configuration as root, and then becomes another user, in whose folders root
  // must touch nothing: that user can put links there.
  bool const becomesAnother =
      geteuid() == 0 && netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_USERID) > 0;
  if (becomesAnother) {
    bridge_->inNextTurn(files);
  } else {
    files();
  }
}

void Plugin::filesAre(Settings const& settings) {
  if (publish_) publish_->finish();
  std::filesystem::path const none;
  inspectIs(loaded_ ? settings.inspect : none);
  publishIs(loaded_ ? settings.publish : none, settings.publishAccess);
  if (!loaded_) {
    file_.reset();
    publishers_->endAll();
  } else if (settings.inventory.empty()) {
    if (settings.publish.empty())
      agentLog(Severity::warning, "neither orvaneInventory nor orvanePublish is given: the tables are empty");
    file_.reset();
    publishers_->fileDel();
  } else if (file_ && file_->file() == settings.inventory) {
    file_->read();
  } else {
    file_ = std::make_unique<FilePublisher>(*bridge_, hostClock_, settings.inventory, agentLog,
                                            [this](std::string_view text) {
                                              if (publish_) publish_->finish();
                                              return publishers_->fileIs(text);
                                            });
  }
}

void Plugin::publishIs(std::filesystem::path const& socket, SocketAccess const& access) {
  if (publish_ && publish_->listener().path() == socket && publish_->listener().access() == access &&
      publish_->listener().isThere()) {
    return;
  }
  publish_.reset();
  try {
    if (!socket.empty())
      publish_ = std::make_unique<PublishSocket>(*bridge_, hostClock_, *publishers_, socket, access, agentLog);
  } catch (std::exception const& error) {
    agentLog(Severity::error, "orvanePublish " + Text::printable(socket.native()) + ": " + error.what());
  }
}

void Plugin::inspectIs(std::filesystem::path const& socket) {
  if (inspect_ && inspect_->listener().path() == socket && inspect_->listener().isThere()) return;
  inspect_.reset();
  try {
    if (!socket.empty()) {
      inspect_ = std::make_unique<InspectSocket>(
          *bridge_, hostClock_,
          Inspection(
              system_->store().root(), [this] { return system_->root(); }, publishers_.get()),
          socket, agentLog);
    }
  } catch (std::exception const& error) {
    agentLog(Severity::error, "orvaneInspect " + Text::printable(socket.native()) + ": " + error.what());
  }
  // The ring is there while somebody can read it.
  constexpr std::size_t records = 4096;
  if (!inspect_) {
    Scrivo::theTraceFileIs(nullptr);
  } else if (!Scrivo::theTraceFile) {
    Scrivo::theTraceFileIs(std::make_unique<Scrivo::TraceFile>("orvane", records));
  }
}

void Plugin::notificationsHeldIs(bool held) {
  if (projectionAlarm_) projectionAlarm_->heldIs(held);
}

int Plugin::onShutdown(int /*major*/, int /*minor*/, void* /*server*/, void* /*client*/) {
  contained("shutdown", [] {
    Plugin& self = instance();
    self.inspect_.reset();
    self.publish_.reset();
    self.file_.reset();
    self.system_->rootDel();
    self.projectionAlarm_.reset();
    self.hostAlarm_.reset();
    self.bridge_.reset();
  });
  return SNMP_ERR_NOERROR;
}

}  // namespace Host
