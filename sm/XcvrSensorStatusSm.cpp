#include "sm/XcvrSensorStatusSm.h"

#include "model/Constants.h"
#include "sm/Root.h"
#include "sm/States.h"

namespace Orvane {

XcvrSensorStatusSm::XcvrSensorStatusSm(Root& root, Zef::Ptr<StatusDir const> const& xcvrStatusDir,
                                       Zef::Ptr<ConfigDir const> const& xcvrConfigDir)
    : StatusSm(root), xcvrConfig_(*this, "xcvrConfig", [](XcvrSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.xcvrConfigDir()->xcvrConfigIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  xcvrStatusDir_.is(xcvrStatusDir);
  xcvrConfigDir_.is(xcvrConfigDir);
  handleInitialized("XcvrSensorStatusSm");
}

bool XcvrSensorStatusSm::isFor(StatusDir const* xcvrStatusDir, ConfigDir const* xcvrConfigDir) const {
  return this->xcvrStatusDir() == xcvrStatusDir && this->xcvrConfigDir() == xcvrConfigDir;
}

void XcvrSensorStatusSm::handleXcvrStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  write(name);
}

void XcvrSensorStatusSm::handleXcvrStatus() {
  ORVANE_ENTRY();
  if (xcvrStatusDir() == nullptr) return;
  for (auto at = xcvrStatusDir()->xcvrStatusIteratorConst(); at; ++at) handleXcvrStatus(at->name());
}

void XcvrSensorStatusSm::write(Zef::String8 const& name) {
  auto const status = xcvrStatusDir() == nullptr ? nullptr : xcvrStatusDir()->xcvrStatus(name);
  if (!status) return;
  if (status->presence() == Xcvr::XcvrStatus::Presence::absent) {
    ORVANE_TRACE(3) << "Status Entry " << status->name() << " xcvr does not exist. Skip.";
    return;
  }
  auto const entry = root().xcvr(name);
  if (!entry) {
    ORVANE_TRACE(0) << "Cannot find xcvr for status:" << name;
    return;
  }
  if (!status->xcvrConfig()) {
    ORVANE_TRACE(3) << "Status Entry " << status->name() << " has no configuration. Skip.";
    return;
  }
  constexpr States up{Constants::operStateEnabled, Constants::adminStateUnlocked};
  constexpr States down{Constants::operStateDisabled, Constants::adminStateLocked};
  reportStates(root(), *entry->entity(), name, status->xcvrConfig()->xcvrState() ? up : down, Stamp::moves);
}

std::span<XcvrSensorStatusSm::ZefXcvrConfig::Slot const> XcvrSensorStatusSm::ZefXcvrConfig::slots() const {
  static constexpr Slot watched[] = {{Watched::xcvrStateAttr, &Watched::NotifieeConst::onXcvrState}};
  return watched;
}

void XcvrSensorStatusSm::ZefXcvrConfig::handleXcvrState() {
  ORVANE_ENTRY();
  handle();
}

void XcvrSensorStatusSm::ZefXcvrStatusDir::onXcvrStatus(Zef::Name name) {
  if (zefOnKey(Watched::xcvrStatusAttr, name, &ZefXcvrStatusDir::onXcvrStatus)) return;
  if (alive()) owner().handleXcvrStatus(name);
}

void XcvrSensorStatusSm::ZefXcvrConfigDir::onXcvrConfig(Zef::Name name) {
  if (zefOnKey(Watched::xcvrConfigAttr, name, &ZefXcvrConfigDir::onXcvrConfig)) return;
  owner().xcvrConfig_.follow(name, notifier()->xcvrConfig(name));
}

}  // namespace Orvane
