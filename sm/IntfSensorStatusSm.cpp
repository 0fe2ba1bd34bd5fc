#include "sm/IntfSensorStatusSm.h"

#include "model/Constants.h"
#include "sm/Root.h"
#include "sm/States.h"

namespace Orvane {

using Morvet::IntfId;

IntfSensorStatusSm::IntfSensorStatusSm(Root& root, Zef::Ptr<StatusDir const> const& intfStatusDir,
                                       Zef::Ptr<ConfigDir const> const& intfConfigDir)
    : StatusSm(root),
      intfStatus_(*this, "intfStatus",
                  [](IntfSensorStatusSm const& self, auto const& visit) {
                    for (auto at = self.intfStatusDir()->intfStatusIteratorConst(); at; ++at) visit(at.ptr());
                  }),
      intfConfig_(*this, "intfConfig", [](IntfSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.intfConfigDir()->intfConfigIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  // The configurations first: the rows are written with them.
  intfConfigDir_.is(intfConfigDir);
  intfStatusDir_.is(intfStatusDir);
  handleInitialized("IntfSensorStatusSm");
}

bool IntfSensorStatusSm::isFor(StatusDir const* intfStatusDir, ConfigDir const* intfConfigDir) const {
  return this->intfStatusDir() == intfStatusDir && this->intfConfigDir() == intfConfigDir;
}

void IntfSensorStatusSm::handleIntfStatus(IntfId const& id) {
  ORVANE_ENTRY(id);
  if (auto const status = intfStatusDir() == nullptr ? nullptr : intfStatusDir()->intfStatus(id)) handle(*status);
}

void IntfSensorStatusSm::handleIntfStatus() {
  ORVANE_ENTRY();
  if (intfStatusDir() == nullptr) return;
  for (auto at = intfStatusDir()->intfStatusIteratorConst(); at; ++at) handleIntfStatus(at->intfId());
}

void IntfSensorStatusSm::handle(Interface::IntfStatus const& status) {
  auto const config = intfConfigDir() == nullptr ? nullptr : intfConfigDir()->intfConfig(status.intfId());
  write(status, !config || config->adminEnabled());
}

void IntfSensorStatusSm::handle(Interface::IntfConfig const& config) {
  auto const status = intfStatusDir() == nullptr ? nullptr : intfStatusDir()->intfStatus(config.intfId());
  if (status) write(*status, config.adminEnabled());
}

void IntfSensorStatusSm::write(Interface::IntfStatus const& status, bool adminEnabled) {
  Zef::String8 const& name = status.intfId().stringValue();
  auto const row = componentOf(root(), name);
  if (!row) return;
  States const states{root().constants()->operStateFromIntfOperStatus(adminEnabled, status.operStatus()),
                      adminEnabled ? Constants::adminStateUnlocked : Constants::adminStateLocked};
  reportStates(root(), *row, name, states, Stamp::moves);
}

std::span<IntfSensorStatusSm::ZefIntfStatus::Slot const> IntfSensorStatusSm::ZefIntfStatus::slots() const {
  static constexpr Slot watched[] = {{Watched::operStatusAttr, &Watched::NotifieeConst::onOperStatus}};
  return watched;
}

void IntfSensorStatusSm::ZefIntfStatus::handleOperStatus() {
  ORVANE_ENTRY();
  handle();
}

std::span<IntfSensorStatusSm::ZefIntfConfig::Slot const> IntfSensorStatusSm::ZefIntfConfig::slots() const {
  static constexpr Slot watched[] = {
      {Watched::adminEnabledStateLocalAttr, &Watched::NotifieeConst::onAdminEnabledStateLocal}};
  return watched;
}

void IntfSensorStatusSm::ZefIntfConfig::handleAdminEnabled() {
  ORVANE_ENTRY();
  handle();
}

void IntfSensorStatusSm::ZefIntfStatusDir::handleAll() {
  owner().handleIntfStatus();
  owner().intfStatus_.reconcile();
}

void IntfSensorStatusSm::ZefIntfStatusDir::onIntfStatus(IntfId id) {
  if (zefOnKey(Watched::intfStatusAttr, id, &ZefIntfStatusDir::onIntfStatus)) return;
  owner().intfStatus_.follow(id, notifier()->intfStatus(id));
  if (alive()) owner().handleIntfStatus(id);
}

void IntfSensorStatusSm::ZefIntfConfigDir::onIntfConfig(IntfId id) {
  if (zefOnKey(Watched::intfConfigAttr, id, &ZefIntfConfigDir::onIntfConfig)) return;
  owner().intfConfig_.follow(id, notifier()->intfConfig(id));
}

}  // namespace Orvane
