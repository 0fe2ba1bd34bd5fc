#include "sm/EnvironmentStatusSm.h"

#include "sm/Root.h"

namespace Orvane {

namespace {

// The row of a supply by the name of its status; null, with a level 0 trace, when there is none.
Zef::Ptr<PhysicalEntity> supplyOf(Root const& root, Zef::String8 const& name) {
  if (auto const entry = root.component(supplyComponent(name))) return entry->entity();
  ORVANE_TRACE(0) << "Cannot find power supply for " << name;
  return nullptr;
}

template <class Child>
auto* notifierOf(Child const& child) {
  return child ? child->notifier() : nullptr;
}

}  // namespace

// Fans.

FanSensorStatusSm::FanSensorStatusSm(Root& root, Zef::Ptr<Status const> const& coolingStatus) : StatusSm(root) {
  coolingStatus_.is(coolingStatus);
  handleInitialized("FanSensorStatusSm");
}

void FanSensorStatusSm::ZefCoolingStatus::handleAll() {
  owner().handleFanStatus();
  owner().fanStatus_.reconcile();
}

void FanSensorStatusSm::ZefCoolingStatus::onFan(Zef::Name name) {
  if (zefOnKey(Watched::fanAttr, name, &ZefCoolingStatus::onFan)) return;
  owner().fanStatus_.changed(name, alive());
}

void FanSensorStatusSm::handleFanStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root().updateFanSensor(name);
}

void FanSensorStatusSm::handleFanStatus() {
  ORVANE_ENTRY();
  fanStatus_.handleEach(coolingStatus());
}

void FanSensorStatusSm::handle(Record const& record) {
  if (auto const sensor = componentOf(root(), fanSensorName(record.name())))
    reportFanStates(root(), *sensor, statesOf(record));
}

// Supplies, voltages and currents.

PowerSensorStatusSm::PowerSensorStatusSm(Root& root, Zef::Ptr<Status const> const& powerStatus,
                                         Zef::Ptr<Config const> const& powerConfig)
    : StatusSm(root) {
  powerConfig_.is(powerConfig);
  powerStatus_.is(powerStatus);
  handleInitialized("PowerSensorStatusSm");
}

bool PowerSensorStatusSm::isFor(Status const* powerStatus, Config const* powerConfig) const {
  return this->powerStatus() == powerStatus && notifierOf(powerConfig_) == powerConfig;
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
  owner().powerSupply_.changed(name, alive());
}

void PowerSensorStatusSm::ZefPowerStatus::onVoltageSensor(Zef::Name name) {
  if (zefOnKey(Watched::voltageSensorAttr, name, &ZefPowerStatus::onVoltageSensor)) return;
  owner().voltageStatus_.changed(name, alive());
}

void PowerSensorStatusSm::ZefPowerStatus::onCurrentSensor(Zef::Name name) {
  if (zefOnKey(Watched::currentSensorAttr, name, &ZefPowerStatus::onCurrentSensor)) return;
  owner().currentStatus_.changed(name, alive());
}

void PowerSensorStatusSm::handlePowerSupplyStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  // Root has no operation for supplies: a row that comes later keeps its state until the next change.
  auto const record = powerStatus() == nullptr ? nullptr : powerStatus()->powerSupply(name);
  if (!record) return;
  auto const row = supplyOf(root(), name);
  if (!row) return;
  ORVANE_TRACE(9) << objectText(*this) << "::handlePowerSupplyStatus( " << record->state() << " )";
  reportStates(root(), *row, name, statesOf(*record), Stamp::moves);
}

void PowerSensorStatusSm::handlePowerSupplyStatus() {
  ORVANE_ENTRY();
  powerSupply_.handleEach(powerStatus());
}

void PowerSensorStatusSm::handleVoltageSensorStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root().updateVoltageSensor(name);
}

void PowerSensorStatusSm::handleVoltageSensorStatus() {
  ORVANE_ENTRY();
  voltageStatus_.handleEach(powerStatus());
}

void PowerSensorStatusSm::handleCurrentSensorStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root().updateCurrentSensor(name);
}

void PowerSensorStatusSm::handleCurrentSensorStatus() {
  ORVANE_ENTRY();
  currentStatus_.handleEach(powerStatus());
}

void PowerSensorStatusSm::handle(SupplyStatus const& record) {
  if (auto const row = supplyOf(root(), record.name()))
    reportStates(root(), *row, record.name(), statesOf(record), Stamp::moves);
}

std::span<PowerSensorStatusSm::ZefPowerSupply::Slot const> PowerSensorStatusSm::ZefPowerSupply::slots() const {
  static constexpr Slot watched[] = {{Watched::stateAttr, &Watched::NotifieeConst::onState}};
  return watched;
}

void PowerSensorStatusSm::ZefPowerSupply::handleState() {
  ORVANE_ENTRY();
  RecordReactor::handle();
}

// Temperatures.

TempSensorStatusSm::TempSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status,
                                       Zef::Ptr<Config const> const& tempConfig)
    : StatusSm(root) {
  tempConfig_.is(tempConfig);
  status_.is(status);
  handleInitialized("TempSensorStatusSm");
}

bool TempSensorStatusSm::isFor(Status const* status, Config const* tempConfig) const {
  return this->status() == status && notifierOf(tempConfig_) == tempConfig;
}

void TempSensorStatusSm::ZefStatus::handleAll() {
  owner().handleTempStatus();
  owner().tempStatus_.reconcile();
}

void TempSensorStatusSm::ZefStatus::onTempSensor(Zef::Name name) {
  if (zefOnKey(Watched::tempSensorAttr, name, &ZefStatus::onTempSensor)) return;
  owner().tempStatus_.changed(name, alive());
}

void TempSensorStatusSm::handleTempStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root().updateTempSensor(name);
}

void TempSensorStatusSm::handleTempStatus() {
  ORVANE_ENTRY();
  tempStatus_.handleEach(status());
}

// Cards.

CardSensorStatusSm::CardSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status) : StatusSm(root) {
  status_.is(status);
  handleInitialized("CardSensorStatusSm");
}

void CardSensorStatusSm::ZefStatus::handleAll() {
  owner().handleCardStatus();
  owner().cardStatus_.reconcile();
}

void CardSensorStatusSm::ZefStatus::onCardStatus(Zef::Name name) {
  if (zefOnKey(Watched::cardStatusAttr, name, &ZefStatus::onCardStatus)) return;
  owner().cardStatus_.changed(name, alive());
}

void CardSensorStatusSm::handleCardStatus(Zef::String8 const& name) {
  ORVANE_ENTRY(name);
  root().updateCardSensor(name);
}

void CardSensorStatusSm::handleCardStatus() {
  ORVANE_ENTRY();
  cardStatus_.handleEach(status());
}

void CardSensorStatusSm::handle(Record const& record) {
  if (auto const row = cardOf(root(), record.name()))
    reportStates(root(), *row, record.name(), statesOf(record), Stamp::moves);
}

std::span<CardSensorStatusSm::ZefCardStatus::Slot const> CardSensorStatusSm::ZefCardStatus::slots() const {
  static constexpr Slot watched[] = {{Watched::stateAttr, &Watched::NotifieeConst::onState}};
  return watched;
}

void CardSensorStatusSm::ZefCardStatus::handleCardState() {
  ORVANE_ENTRY();
  RecordReactor::handle();
}

}  // namespace Orvane
