#include "host/Plugin.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include "platform/agent/Config.h"
#include "platform/fru/Fru.h"
#include "platform/store/Merge.h"

namespace Host {

Plugin& Plugin::instance() {
  static auto* const plugin = new Plugin;
  return *plugin;
}

Plugin::Plugin()
    : bridge_(std::make_unique<Bridge>(Zef::processClock())),
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
  std::filesystem::path const file = loaded_ ? settings.inventory : std::filesystem::path();
  if (file.empty()) {
    withdraw();
  } else if (publisher_ && publisher_->file() == file) {
    publisher_->read();
  } else {
    publisher_ = std::make_unique<FilePublisher>(*bridge_, Zef::processClock(), system_->inputs(), inputTypes(), file,
                                                 agentLog, [this] { system_->followElection(); });
  }
}

void Plugin::withdraw() {
  if (!publisher_) return;
  publisher_.reset();
  Vorlin::merge(*system_->inputs(), *readInventory("{}", inputTypes()));
  system_->followElection();
}

int Plugin::onShutdown(int /*major*/, int /*minor*/, void* /*server*/, void* /*client*/) {
  contained("shutdown", [] {
    Plugin& self = instance();
    self.publisher_.reset();
    self.system_->rootDel();
    self.bridge_.reset();
  });
  return SNMP_ERR_NOERROR;
}

}  // namespace Host
