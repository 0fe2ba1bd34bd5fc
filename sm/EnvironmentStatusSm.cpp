#include "sm/EnvironmentStatusSm.h"

#include "sm/Root.h"

namespace Orvane {

namespace {

// Calls the handler of one name for each record of a collection, in its order.
template <class Iterator, class Sm>
void forEachName(Iterator at, Sm& sm, void (Sm::*handle)(Zef::String8 const&)) {
  for (; at; ++at) (sm.*handle)(at->name());
}

// The component name of a supply by the name of its status: the supply with the label k, in slot Pk, is
// PowerSupplyPk/k. Empty for a name that is no supply's.
Zef::String8 supplyComponent(Zef::String8 const& name) {
  Zef::String8 const inSlot = "PowerSupplyP";
  Zef::String8 const byNumber = "PowerSupply";
  if (name.view().starts_with(inSlot.view())) return name;
  if (!name.view().starts_with(byNumber.view())) return {};
  Zef::String8 const number = name.substr(static_cast<long long>(byNumber.view().size()), -1);
  return inSlot + number + "/" + number;
}

}  // namespace

// Fans.

FanSensorStatusSm::FanSensorStatusSm(Root& root, Zef::Ptr<Status const> const& coolingStatus)
    : root_(root), fanStatus_(*this, "fanStatus", [](FanSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.coolingStatus()->fanIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  coolingStatus_.is(coolingStatus);
  handleInitialized();
}

void FanSensorStatusSm::ZefCoolingStatus::handleAll() {
  owner().handleFanStatus();
  owner().fanStatus_.reconcile();
}

void FanSensorStatusSm::ZefCoolingStatus::onFan(Zef::Name name) {
  if (zefOnKey(Watched::fanAttr, name, &ZefCoolingStatus::onFan)) return;
  owner().fanStatus_.follow(name, notifier()->fan(name));
  if (alive()) owner().handleFanStatus(name);
}

void FanSensorStatusSm::handleFanStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root_.updateFanSensor(name);
}

void FanSensorStatusSm::handleFanStatus() {
  ORVANE_ENTRY();
  if (coolingStatus() != nullptr)
    forEachName(coolingStatus()->fanIteratorConst(), *this, &FanSensorStatusSm::handleFanStatus);
}

void FanSensorStatusSm::handle(Record const& record) {
  if (auto const sensor = componentOf(root_, fanSensorName(record.name())))
    reportFanStates(root_, *sensor, statesOf(record));
}

void FanSensorStatusSm::handleInitialized() {
  ORVANE_ENTRY();
  initializedIs(true);
}

// Supplies, voltages and currents.

PowerSensorStatusSm::PowerSensorStatusSm(Root& root, Zef::Ptr<Status const> const& powerStatus,
                                         Zef::Ptr<Config const> const& powerConfig)
    : root_(root),
      powerSupply_(*this, "powerSupply",
                   [](PowerSensorStatusSm const& self, auto const& visit) {
                     for (auto at = self.powerStatus()->powerSupplyIteratorConst(); at; ++at) visit(at.ptr());
                   }),
      voltageStatus_(*this, "voltageStatus",
                     [](PowerSensorStatusSm const& self, auto const& visit) {
                       for (auto at = self.powerStatus()->voltageSensorIteratorConst(); at; ++at) visit(at.ptr());
                     }),
      currentStatus_(*this, "currentStatus", [](PowerSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.powerStatus()->currentSensorIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  powerConfig_.is(powerConfig);
  powerStatus_.is(powerStatus);
  handleInitialized();
}

bool PowerSensorStatusSm::isFor(Status const* powerStatus, Config const* powerConfig) const {
  return this->powerStatus() == powerStatus && (powerConfig_ ? powerConfig_->notifier() : nullptr) == powerConfig;
}

void PowerSensorStatusSm::ZefPowerStatus::handleAll() {
  owner().handlePowerSupplyStatus();
  owner().handleVoltageSensorStatus();
  owner().handleCurrentSensorStatus();
  owner().powerSupply_.reconcile();
  owner().voltageStatus_.reconcile();
  owner().currentStatus_.reconcile();
}

void PowerSensorStatusSm::ZefPowerStatus::onPowerSupply(Zef::Name name) {
  if (zefOnKey(Watched::powerSupplyAttr, name, &ZefPowerStatus::onPowerSupply)) return;
  owner().powerSupply_.follow(name, notifier()->powerSupply(name));
  if (alive()) owner().handlePowerSupplyStatus(name);
}

void PowerSensorStatusSm::ZefPowerStatus::onVoltageSensor(Zef::Name name) {
  if (zefOnKey(Watched::voltageSensorAttr, name, &ZefPowerStatus::onVoltageSensor)) return;
  owner().voltageStatus_.follow(name, notifier()->voltageSensor(name));
  if (alive()) owner().handleVoltageSensorStatus(name);
}

void PowerSensorStatusSm::ZefPowerStatus::onCurrentSensor(Zef::Name name) {
  if (zefOnKey(Watched::currentSensorAttr, name, &ZefPowerStatus::onCurrentSensor)) return;
  owner().currentStatus_.follow(name, notifier()->currentSensor(name));
  if (alive()) owner().handleCurrentSensorStatus(name);
}

void PowerSensorStatusSm::handlePowerSupplyStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  // Root has no operation for supplies: a row that comes later keeps its state until the next change.
  if (auto const record = powerStatus() == nullptr ? nullptr : powerStatus()->powerSupply(name)) {
    ORVANE_TRACE(9) << objectText(*this) << "::handlePowerSupplyStatus( " << record->state() << " )";
    handle(*record);
  }
}

void PowerSensorStatusSm::handlePowerSupplyStatus() {
  ORVANE_ENTRY();
  if (powerStatus() != nullptr)
    forEachName(powerStatus()->powerSupplyIteratorConst(), *this, &PowerSensorStatusSm::handlePowerSupplyStatus);
}

void PowerSensorStatusSm::handleVoltageSensorStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root_.updateVoltageSensor(name);
}

void PowerSensorStatusSm::handleVoltageSensorStatus() {
  ORVANE_ENTRY();
  if (powerStatus() != nullptr)
    forEachName(powerStatus()->voltageSensorIteratorConst(), *this, &PowerSensorStatusSm::handleVoltageSensorStatus);
}

void PowerSensorStatusSm::handleCurrentSensorStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root_.updateCurrentSensor(name);
}

void PowerSensorStatusSm::handleCurrentSensorStatus() {
  ORVANE_ENTRY();
  if (powerStatus() != nullptr)
    forEachName(powerStatus()->currentSensorIteratorConst(), *this, &PowerSensorStatusSm::handleCurrentSensorStatus);
}

void PowerSensorStatusSm::handle(SupplyStatus const& record) {
  auto const entry = root_.component(supplyComponent(record.name()));
  if (!entry) {
    ORVANE_TRACE(0) << "Cannot find power supply for " << record.name();
    return;
  }
  reportStates(root_, *entry->entity(), record.name(), statesOf(record), Stamp::moves);
}

void PowerSensorStatusSm::handle(VoltageStatus const& record) {
  if (auto const row = componentOf(root_, record.name()))
    reportStates(root_, *row, record.name(), statesOf(record), Stamp::moves);
}

void PowerSensorStatusSm::handle(CurrentStatus const& record) {
  if (auto const row = componentOf(root_, record.name()))
    reportStates(root_, *row, record.name(), statesOf(record), Stamp::moves);
}

void PowerSensorStatusSm::handleInitialized() {
  ORVANE_ENTRY();
  initializedIs(true);
}

// Temperatures.

TempSensorStatusSm::TempSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status,
                                       Zef::Ptr<Config const> const& tempConfig)
    : root_(root), tempStatus_(*this, "tempStatus", [](TempSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.status()->tempSensorIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  tempConfig_.is(tempConfig);
  status_.is(status);
  handleInitialized();
}

bool TempSensorStatusSm::isFor(Status const* status, Config const* tempConfig) const {
  return this->status() == status && (tempConfig_ ? tempConfig_->notifier() : nullptr) == tempConfig;
}

void TempSensorStatusSm::ZefStatus::handleAll() {
  owner().handleTempStatus();
  owner().tempStatus_.reconcile();
}

void TempSensorStatusSm::ZefStatus::onTempSensor(Zef::Name name) {
  if (zefOnKey(Watched::tempSensorAttr, name, &ZefStatus::onTempSensor)) return;
  owner().tempStatus_.follow(name, notifier()->tempSensor(name));
  if (alive()) owner().handleTempStatus(name);
}

void TempSensorStatusSm::handleTempStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root_.updateTempSensor(name);
}

void TempSensorStatusSm::handleTempStatus() {
  ORVANE_ENTRY();
  if (status() != nullptr)
    forEachName(status()->tempSensorIteratorConst(), *this, &TempSensorStatusSm::handleTempStatus);
}

void TempSensorStatusSm::handle(Record const& record) {
  if (auto const row = componentOf(root_, record.name()))
    reportStates(root_, *row, record.name(), statesOf(record), Stamp::moves);
}

void TempSensorStatusSm::handleInitialized() {
  ORVANE_ENTRY();
  initializedIs(true);
}

// Cards.

CardSensorStatusSm::CardSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status)
    : root_(root), cardStatus_(*this, "cardStatus", [](CardSensorStatusSm const& self, auto const& visit) {
        for (auto at = self.status()->cardStatusIteratorConst(); at; ++at) visit(at.ptr());
      }) {
  status_.is(status);
  handleInitialized();
}

void CardSensorStatusSm::ZefStatus::handleAll() {
  owner().handleCardStatus();
  owner().cardStatus_.reconcile();
}

void CardSensorStatusSm::ZefStatus::onCardStatus(Zef::Name name) {
  if (zefOnKey(Watched::cardStatusAttr, name, &ZefStatus::onCardStatus)) return;
  owner().cardStatus_.follow(name, notifier()->cardStatus(name));
  if (alive()) owner().handleCardStatus(name);
}

void CardSensorStatusSm::handleCardStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root_.updateCardSensor(name);
}

void CardSensorStatusSm::handleCardStatus() {
  ORVANE_ENTRY();
  if (status() != nullptr)
    forEachName(status()->cardStatusIteratorConst(), *this, &CardSensorStatusSm::handleCardStatus);
}

void CardSensorStatusSm::handle(Record const& record) {
  if (auto const row = cardOf(root_, record.name()))
    reportStates(root_, *row, record.name(), statesOf(record), Stamp::moves);
}

void CardSensorStatusSm::handleInitialized() {
  ORVANE_ENTRY();
  initializedIs(true);
}

}  // namespace Orvane
