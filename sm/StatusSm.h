#pragma once

#include "runtime/reactors/Reactor.h"
#include "sm/Trace.h"

// What the reactors that follow status records are written on.
namespace Orvane {

class Root;

// Base of a status reactor.
class StatusSm : public Zef::StateMachine {
 protected:
  explicit StatusSm(Root& root) : root_(root) {}
  Root& root() const { return root_; }
  // How every construction ends.
  void handleInitialized(char const* className) {
    ORVANE_ENTRY(className);
    initializedIs(true);
  }

 private:
  Root& root_;
};

// Observes nothing of an input: it is read when something else calls for it.
template <class Owner, class Input>
class Holder final : public Zef::Reactor<Input>, public Zef::Owned<Owner> {
 public:
  using Zef::Owned<Owner>::Owned;
};

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
  // Leaves the record to the owner.
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

// One collection of records by name that a status reactor follows: a nested reactor R for each, and the owner's handler
// of one name. Status is the input that holds them, which is there as owner.input() while any of them is.
template <class Owner, class Status, class R, auto iterate, auto find>
class Records {
 public:
  using Record = typename R::Watched;
  using Handler = void (Owner::*)(Zef::String8 const& name);

  Records(Owner& owner, char const* attribute, Handler handle)
      : owner_(owner), handle_(handle), reactors_(owner, attribute, [](Owner const& self, auto const& visit) {
          for (auto at = (self.input().*iterate)(); at; ++at) visit(at.ptr());
        }) {}

  void is(Zef::Ptr<Record const> const& record) { reactors_.is(record); }
  void del(Zef::Name const& name) { reactors_.del(name); }

  // Runs the handler for each record, in the collection's order.
  void handleEach(Status const* status) const {
    if (status == nullptr) return;
    for (auto at = (status->*iterate)(); at; ++at) (owner_.*handle_)(at->name());
  }
  void reconcile() { reactors_.reconcile(); }
  // A record has come or gone: first its reactor, then the handler.
  void changed(Zef::Name const& name, bool alive) {
    reactors_.follow(name, (owner_.input().*find)(name));
    if (alive) (owner_.*handle_)(name);
  }

 private:
  Owner& owner_;
  Handler handle_;
  Zef::Children<R, Zef::Name, Owner> reactors_;
};

}  // namespace Orvane
