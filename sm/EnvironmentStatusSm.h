#pragma once

#include "sm/RecordReactor.h"
#include "sm/States.h"

// The reactors that follow fans, supplies, voltages, currents, temperatures and cards. All have one shape: the reactor
// observes collections of status records by name and keeps a nested reactor for each record. A record that comes or
// goes binds its sensor anew, through Root's update operations; a change of the one attribute that is followed in a
// record rewrites the state row.
namespace Orvane {

class Root;

// Observes nothing of it: the configuration is read when a sensor is bound.
template <class Owner, class Config>
class ConfigHolder final : public Zef::Reactor<Config>, public Zef::Owned<Owner> {
 public:
  using Zef::Owned<Owner>::Owned;
};

class FanSensorStatusSm final : public Zef::StateMachine {
 public:
  using Status = Environment::Cooling::Status;
  using Record = Environment::Cooling::FanStatus;

  FanSensorStatusSm(Root& root, Zef::Ptr<Status const> const& coolingStatus);
  bool isFor(Status const* coolingStatus) const { return this->coolingStatus() == coolingStatus; }
  Status const* coolingStatus() const { return coolingStatus_ ? coolingStatus_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::FanSensorStatusSm"; }

  void fanStatusIs(Zef::Ptr<Record const> const& record) { fanStatus_.is(record); }
  void fanStatusDel(Zef::Name const& name) { fanStatus_.del(name); }
  unsigned fanStatusCount() const { return fanStatus_.count(); }

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

  void handleInitialized();

  Root& root_;
  Zef::Children<ZefFanStatus, Zef::Name, FanSensorStatusSm> fanStatus_;
  Zef::Child<ZefCoolingStatus, FanSensorStatusSm> coolingStatus_{*this};
};

class PowerSensorStatusSm final : public Zef::StateMachine {
 public:
  using Status = Environment::Power::Status;
  using Config = Environment::Power::Config;
  using SupplyStatus = Environment::Power::SupplyStatus;
  using VoltageStatus = Environment::Power::VoltageRailStatus;
  using CurrentStatus = Environment::Power::CurrentSensorStatus;

  PowerSensorStatusSm(Root& root, Zef::Ptr<Status const> const& powerStatus, Zef::Ptr<Config const> const& powerConfig);
  bool isFor(Status const* powerStatus, Config const* powerConfig) const;
  Status const* powerStatus() const { return powerStatus_ ? powerStatus_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::PowerSensorStatusSm"; }

  void powerSupplyIs(Zef::Ptr<SupplyStatus const> const& record) { powerSupply_.is(record); }
  void powerSupplyDel(Zef::Name const& name) { powerSupply_.del(name); }
  void voltageStatusIs(Zef::Ptr<VoltageStatus const> const& record) { voltageStatus_.is(record); }
  void voltageStatusDel(Zef::Name const& name) { voltageStatus_.del(name); }
  void currentStatusIs(Zef::Ptr<CurrentStatus const> const& record) { currentStatus_.is(record); }
  void currentStatusDel(Zef::Name const& name) { currentStatus_.del(name); }

  void handlePowerSupplyStatus(Zef::String8 const& name);
  void handlePowerSupplyStatus();
  void handleVoltageSensorStatus(Zef::String8 const& name);
  void handleVoltageSensorStatus();
  void handleCurrentSensorStatus(Zef::String8 const& name);
  void handleCurrentSensorStatus();
  void handle(SupplyStatus const& record);
  void handle(VoltageStatus const& record);
  void handle(CurrentStatus const& record);

 private:
  using ZefPowerSupply = StateReactor<PowerSensorStatusSm, SupplyStatus>;
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

  void handleInitialized();

  Root& root_;
  Zef::Children<ZefPowerSupply, Zef::Name, PowerSensorStatusSm> powerSupply_;
  Zef::Children<ZefVoltageStatus, Zef::Name, PowerSensorStatusSm> voltageStatus_;
  Zef::Children<ZefCurrentStatus, Zef::Name, PowerSensorStatusSm> currentStatus_;
  Zef::Child<ConfigHolder<PowerSensorStatusSm, Config>, PowerSensorStatusSm> powerConfig_{*this};
  Zef::Child<ZefPowerStatus, PowerSensorStatusSm> powerStatus_{*this};
};

class TempSensorStatusSm final : public Zef::StateMachine {
 public:
  using Status = Environment::Temperature::Status;
  using Config = Environment::Temperature::Config;
  using Record = Environment::Temperature::TempSensorStatus;

  TempSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status, Zef::Ptr<Config const> const& tempConfig);
  bool isFor(Status const* status, Config const* tempConfig) const;
  Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::TempSensorStatusSm"; }

  void tempStatusIs(Zef::Ptr<Record const> const& record) { tempStatus_.is(record); }
  void tempStatusDel(Zef::Name const& name) { tempStatus_.del(name); }

  void handleTempStatus(Zef::String8 const& name);
  void handleTempStatus();
  void handle(Record const& record);

 private:
  using ZefTempStatus = HwStatusReactor<TempSensorStatusSm, Record>;
  class ZefStatus final : public Zef::Reactor<Status>, public Zef::Owned<TempSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onTempSensor(Zef::Name name) override;
  };

  void handleInitialized();

  Root& root_;
  Zef::Children<ZefTempStatus, Zef::Name, TempSensorStatusSm> tempStatus_;
  Zef::Child<ConfigHolder<TempSensorStatusSm, Config>, TempSensorStatusSm> tempConfig_{*this};
  Zef::Child<ZefStatus, TempSensorStatusSm> status_{*this};
};

class CardSensorStatusSm final : public Zef::StateMachine {
 public:
  using Status = Hardware::Card::Status;
  using Record = Hardware::Card::CardStatus;

  CardSensorStatusSm(Root& root, Zef::Ptr<Status const> const& status);
  bool isFor(Status const* status) const { return this->status() == status; }
  Status const* status() const { return status_ ? status_->notifier() : nullptr; }
  Zef::String8 classPath() const { return "Orvane::CardSensorStatusSm"; }

  void cardStatusIs(Zef::Ptr<Record const> const& record) { cardStatus_.is(record); }
  void cardStatusDel(Zef::Name const& name) { cardStatus_.del(name); }

  void handleCardStatus(Zef::String8 const& name);
  void handleCardStatus();
  void handle(Record const& record);

 private:
  using ZefCardStatus = StateReactor<CardSensorStatusSm, Record>;
  class ZefStatus final : public Zef::Reactor<Status>, public Zef::Owned<CardSensorStatusSm> {
   public:
    using Owned::Owned;
    void handleAll() override;
    void onCardStatus(Zef::Name name) override;
  };

  void handleInitialized();

  Root& root_;
  Zef::Children<ZefCardStatus, Zef::Name, CardSensorStatusSm> cardStatus_;
  Zef::Child<ZefStatus, CardSensorStatusSm> status_{*this};
};

}  // namespace Orvane
