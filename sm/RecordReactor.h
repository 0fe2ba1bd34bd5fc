#pragma once

#include "runtime/Reactor.h"
#include "sm/Trace.h"

namespace Orvane {

// Reactors that follow one attribute of one status record and nothing else of it, so that a reading may change as often
// as it likes without work here. Owner is the status reactor that keeps them by name: it has a handle() for the record.
// A new reactor runs no handler; one that is pointed at another record does.
template <class Owner, class Record, class Key>
class RecordReactor : public Zef::Reactor<Record>, public Zef::KeyedReactor<Key>, public Zef::Owned<Owner> {
 public:
  RecordReactor(Owner& owner, Key key) : Zef::KeyedReactor<Key>(std::move(key)), Zef::Owned<Owner>(owner) {}

  void handleAll() override {
    if (std::exchange(born_, true)) handle();
  }

 protected:
  void handle() {
    if (this->notifier() != nullptr) this->owner().handle(*this->notifier());
  }

 private:
  bool born_ = false;
};

template <class Owner, class Record>
class HwStatusReactor final : public RecordReactor<Owner, Record, Zef::Name> {
 public:
  using RecordReactor<Owner, Record, Zef::Name>::RecordReactor;
  std::span<typename Zef::Reactor<Record>::Slot const> slots() const override {
    static constexpr
        typename Zef::Reactor<Record>::Slot watched[] = {{Record::hwStatusAttr, &Record::NotifieeConst::onHwStatus}};
    return watched;
  }
  void onHwStatus() override { this->react(Record::hwStatusAttr, *this, &HwStatusReactor::handleHwStatus); }
  void handleHwStatus() {
    ORVANE_ENTRY();
    this->handle();
  }
};

// Likewise for `state`.
template <class Owner, class Record>
class StateReactor final : public RecordReactor<Owner, Record, Zef::Name> {
 public:
  using RecordReactor<Owner, Record, Zef::Name>::RecordReactor;
  std::span<typename Zef::Reactor<Record>::Slot const> slots() const override {
    static constexpr
        typename Zef::Reactor<Record>::Slot watched[] = {{Record::stateAttr, &Record::NotifieeConst::onState}};
    return watched;
  }
  void onState() override { this->react(Record::stateAttr, *this, &StateReactor::handleState); }
  void handleState() {
    ORVANE_ENTRY();
    this->handle();
  }
};

}  // namespace Orvane
