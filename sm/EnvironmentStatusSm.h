#pragma once

#include "sm/States.h"
#include "sm/StatusSm.h"

// The reactors that follow fans, supplies, voltages, currents, temperatures and cards. All have one shape: the reactor
// observes collections of status records by name and keeps a nested reactor for each record. A record that comes or
// goes binds its sensor anew, through Root's update operations; a change of the one attribute that is followed in a
// record rewrites the state row.
namespace Orvane {

class FanSensorStatusSm final : public StatusSm {
 public:
  using Status = Environment::Cooling::Status;
  using Record = Environment::Cooling::FanStatus;

  FanSensorStatusSm(Root& root, Zef::Ptr<Status const> const& coolingStatus);
  bool isFor(Status const* coolingStatus) const { return this->coolingStatus() == coolingStatus; }
  Status const* coolingStatus() const { return coolingStatus_ ? coolingStatus_->notifier() : nullptr; }
  Status const& input() const { return *coolingStatus(); }
  Zef::String8 classPath() const { return "Orvane::FanSensorStatusSm"; }

  void fanStatusIs(Zef::Ptr<Record const> const& record) { fanStatus_.is(record); }
  void fanStatusDel(Zef::Name const& name) { fanStatus_.del(name); }

  void handleFanStatus(Zef::String8 const& name);
  void handleFanStatus();
  void handle(Record const& record);

 private:
  using ZefFanStatus = HwStatusReactor<FanSensorStatusSm, Record>;
  class ZefCoolingStatus final : public Zef::Reactor<Status>, public Zef::Owned<FanSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onFan(Zef::Name name) override;
  };

  Records<FanSensorStatusSm, Status, ZefFanStatus, &Status::fanIteratorConst, &Status::fan> fanStatus_{
      *this, "fanStatus", &FanSensorStatusSm::handleFanStatus};
  Zef::Child<ZefCoolingStatus, FanSensorStatusSm> coolingStatus_{*this};
};

class PowerSensorStatusSm final : public StatusSm {
 public:
  using Status = Environment::Power::Status;
  using Config = Environment::Power::Config;
  using SupplyStatus = Environment::Power::SupplyStatus;
  using VoltageStatus = Environment::Power::VoltageRailStatus;
  using CurrentStatus = Environment::Power::CurrentSensorStatus;

  PowerSensorStatusSm(Root& root, Zef::Ptr<Status const> const& powerStatus, Zef::Ptr<Config const> const& powerConfig);
  bool isFor(Status const* powerStatus, Config const* powerConfig) const;
  Status const* powerStatus() const { return powerStatus_ ? powerStatus_->notifier() : nullptr; }
  Status const& input() const { return *powerStatus(); }
  Zef::String8 classPath() const { return "Orvane::PowerSensorStatusSm"; }

  void powerSupplyIs(Zef::Ptr<SupplyStatus const> const& record) { powerSupply_.is(record); }
  void powerSupplyDel(Zef::Name const& name) { powerSupply_.del(name); }
  void voltageStatusIs(Zef::Ptr<VoltageStatus const> const& record) { voltageStatus_.is(record); }
  void currentStatusIs(Zef::Ptr<CurrentStatus const> const& record) { currentStatus_.is(record); }

  void handlePowerSupplyStatus(Zef::String8 const& name);
  void handlePowerSupplyStatus();
  void handleVoltageSensorStatus(Zef::String8 const& name);
  void handleVoltageSensorStatus();
  void handleCurrentSensorStatus(Zef::String8 const& name);
  void handleCurrentSensorStatus();
  void handle(SupplyStatus const& record);
  void handle(VoltageStatus const& record) { rewriteComponent(root(), record); }
  void handle(CurrentStatus const& record) { rewriteComponent(root(), record); }

 private:
  class ZefPowerSupply final : public RecordReactor<PowerSensorStatusSm, SupplyStatus, Zef::Name> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onState() override { react(Watched::stateAttr, *this, &ZefPowerSupply::handleState); }
    void handleState();
  };
  using ZefVoltageStatus = HwStatusReactor<PowerSensorStatusSm, VoltageStatus>;
  using ZefCurrentStatus = HwStatusReactor<PowerSensorStatusSm, CurrentStatus>;
  class ZefPowerStatus final : public Zef::Reactor<Status>, public Zef::Owned<PowerSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onPowerSupply(Zef::Name name) override;
    void onCurrentSensor(Zef::Name name) override;
    void onVoltageSensor(Zef::Name name) override;
  };

  Records<PowerSensorStatusSm, Status, ZefPowerSupply, &Status::powerSupplyIteratorConst, &Status::powerSupply>
      powerSupply_{*this, "powerSupply", &PowerSensorStatusSm::handlePowerSupplyStatus};
  Records<PowerSensorStatusSm, Status, ZefVoltageStatus, &Status::voltageSensorIteratorConst, &Status::voltageSensor>
      voltageStatus_{*this, "voltageStatus", &PowerSensorStatusSm::handleVoltageSensorStatus};
  Records<PowerSensorStatusSm, Status, ZefCurrentStatus, &Status::currentSensorIteratorConst, &Status::currentSensor>
      currentStatus_{*this, "currentStatus", &PowerSensorStatusSm::handleCurrentSensorStatus};
  Zef::Child<Holder<PowerSensorStatusSm, Config>, PowerSensorStatusSm> powerConfig_{*this};
  Zef::Child<ZefPowerStatus, PowerSensorStatusSm> powerStatus_{*this};
};

class TempSensorStatusSm final : public StatusSm {
 public:
  using Status = Environment::Temperature::Status;
  using Config = Environment::Temperature::Config;
  using Record = Environment::Temperature::TempSensorStatus;

  TempSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status, Zef::Ptr<Config const> const& tempConfig);
  bool isFor(Status const* status, Config const* tempConfig) const;
  Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  Status const& input() const { return *status(); }
  Zef::String8 classPath() const { return "Orvane::TempSensorStatusSm"; }

  void tempStatusIs(Zef::Ptr<Record const> const& record) { tempStatus_.is(record); }

  void handleTempStatus(Zef::String8 const& name);
  void handleTempStatus();
  void handle(Record const& record) { rewriteComponent(root(), record); }

 private:
  using ZefTempStatus = HwStatusReactor<TempSensorStatusSm, Record>;
  class ZefStatus final : public Zef::Reactor<Status>, public Zef::Owned<TempSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onTempSensor(Zef::Name name) override;
  };

  Records<TempSensorStatusSm, Status, ZefTempStatus, &Status::tempSensorIteratorConst, &Status::tempSensor> tempStatus_{
      *this, "tempStatus", &TempSensorStatusSm::handleTempStatus};
  Zef::Child<Holder<TempSensorStatusSm, Config>, TempSensorStatusSm> tempConfig_{*this};
  Zef::Child<ZefStatus, TempSensorStatusSm> status_{*this};
};

class CardSensorStatusSm final : public StatusSm {
 public:
  using Status = Hardware::Card::Status;
  using Record = Hardware::Card::CardStatus;

  CardSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status);
  bool isFor(Status const* status) const { return this->status() == status; }
  Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  Status const& input() const { return *status(); }
  Zef::String8 classPath() const { return "Orvane::CardSensorStatusSm"; }

  void cardStatusIs(Zef::Ptr<Record const> const& record) { cardStatus_.is(record); }
  void cardStatusDel(Zef::Name const& name) { cardStatus_.del(name); }

  void handleCardStatus(Zef::String8 const& name);
  void handleCardStatus();
  void handle(Record const& record);

 private:
  class ZefCardStatus final : public RecordReactor<CardSensorStatusSm, Record, Zef::Name> {
   public:
    using RecordReactor::RecordReactor;
    std::span<Slot const> slots() const override;
    void onState() override { react(Watched::stateAttr, *this, &ZefCardStatus::handleCardState); }
    void handleCardState();
  };
  class ZefStatus final : public Zef::Reactor<Status>, public Zef::Owned<CardSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onCardStatus(Zef::Name name) override;
  };

  Records<CardSensorStatusSm, Status, ZefCardStatus, &Status::cardStatusIteratorConst, &Status::cardStatus> cardStatus_{
      *this, "cardStatus", &CardSensorStatusSm::handleCardStatus};
  Zef::Child<ZefStatus, CardSensorStatusSm> status_{*this};
};

}  // namespace Orvane
