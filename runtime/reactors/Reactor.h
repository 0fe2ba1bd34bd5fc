#pragma once

#include <functional>
#include <memory>
#include <set>
#include <span>

#include "runtime/collections/HashMap.h"
#include "runtime/reactors/Activity.h"
#include "runtime/reactors/Clock.h"

namespace Zef {

class ChildBase;

// What has child reactors: a state machine, or a nested reactor. Children stand in the order of their declaration, and
// suspension, zombie marking and reconciliation walk them in that order.
class ReactorParent {
 public:
  ReactorParent(ReactorParent const&) = delete;
  ReactorParent& operator=(ReactorParent const&) = delete;

  virtual bool zefIsZombie() const = 0;

 protected:
  ReactorParent() = default;
  ~ReactorParent() = default;

  void childrenActiveIs(bool on);
  void childrenZombieIs(bool on);
  // Brings the children in line with what the notifier holds now. It ends where a child's handler drops this parent.
  void childrenReconcile();

 private:
  friend class ChildBase;
  ChildBase* first_ = nullptr;
  ChildBase* last_ = nullptr;
};

// One child attribute of a reactor: a single child, or a collection of them.
class ChildBase {
 public:
  explicit ChildBase(ReactorParent& parent);
  ChildBase(ChildBase const&) = delete;
  ChildBase& operator=(ChildBase const&) = delete;

  virtual void activeIs(bool on) = 0;
  virtual void zombieIs(bool on) = 0;
  virtual void reconcile() = 0;

 protected:
  ~ChildBase() = default;

 private:
  friend class ReactorParent;
  ChildBase* next_ = nullptr;
};

// Keeps a reactor or a state machine, and all that own it, while handlers run: one of them may drop any of these. What
// owned a zombie may have gone already, and none of its handlers runs.
template <class R>
auto held(R* reactor) {
  Ptr<R> hold(reactor);
  if constexpr (requires { reactor->owner(); }) {
    bool const owned = hold && !hold->zefIsZombie();
    return std::pair(std::move(hold), held(owned ? &reactor->owner() : nullptr));
  } else {
    return hold;
  }
}

// Base of a state machine: an object that owns nested reactors and has no notifier of its own.
class StateMachine : public PtrInterface, public ReactorParent {
 public:
  ActivityConfig* zefFwkActivity() const { return activity_.get(); }
  void zefFwkActivityIs(Ptr<ActivityConfig> const& activity) { activity_ = activity; }
  bool initialized() const { return initialized_; }
  void initializedIs(bool initialized) { initialized_ = initialized; }

  void hasNotificationActiveIs(bool on) override;
  virtual void zefDoZombieReactors(bool on);
  bool zefIsZombie() const override { return zefMarkedForDeletion(); }

 protected:
  StateMachine() { PtrInterface::hasNotificationActiveIs(true); }

 private:
  Ptr<ActivityConfig> activity_;
  bool initialized_ = false;
};

// Base of a nested reactor that observes a T. What is left to the reactor: onX overrides for what it watches, and
//
//   handleAll()   the handlers for the state that it finds, in attribute order: run at construction and when it is
//                 pointed at another object
//   slots()       the scalar attributes that it watches, in declaration order, for what was queued
//
// and its Child and Children members, which follow the notifier by themselves.
//
// An onX override of a scalar begins with `if (zefOnAttribute(xAttr, nullptr)) return;`, one of a collection with
// `if (zefOnKey(xAttr, key, &Self::onX)) return;`: true says that the notification waits and will come back. Handlers
// run only while alive(). A handler may drop or re-point its own reactor, and whatever owns it: what is left of the
// walk over handlers and children ends there.
template <class T>
class Reactor : public T::NotifieeConst, public ReactorParent {
 public:
  using Watched = T;

  // The order of birth: notifier, handlers, registration (so that a handler's own writes do not come back), children.
  // What the handlers cause elsewhere comes after it all. A reactor that its own handler drops ends there.
  void start(Ptr<T const> const& notifier, ActivitySm* activity = nullptr) {
    Delivery const delivery;
    actsm_ = activity;
    Sync const sync(*this, notifier.get());
    if (sync.isOver()) return;
    this->isRegisteredNotifieeIs(true);
    childrenReconcile();
  }

  void notifierIs(Ptr<PtrInterface const> const& notifier) override {
    auto const* const watched = dynamic_cast<T const*>(notifier.get());
    if (watched == this->notifier()) return;
    Delivery const delivery;
    Sync const sync(*this, watched);
    if (sync.isOver()) return;
    childrenReconcile();
    if (!sync.isOver()) this->isRegisteredNotifieeIs(true);
  }

  virtual void handleAll() {}

  // One watched scalar: its id, and the virtual that hears of it.
  struct Slot {
    AttributeId attribute;
    void (T::NotifieeConst::*on)();
  };
  virtual std::span<Slot const> slots() const { return {}; }

  void handleNotification(ActivityConfig* activity) override {
    if (slots().empty()) {
      T::NotifieeConst::handleNotification(activity);
      return;
    }
    AttributeId const attribute = this->pendingAttribute();
    this->pendingAttributeIs(0);
    bool const all = attribute == allAttributes || attribute == allAttributesAlso;
    for (Slot const& slot : slots()) {
      if (!all && slot.attribute != attribute) continue;
      guarded(*this, slot.attribute, [&] { (this->*slot.on)(); });
      if (!all) return;
      this->redispatch(actsm_);
    }
    this->handleDefault(activity, attribute, !all);
  }

  bool alive() const { return !this->zefMarkedForDeletion(); }
  bool zefIsZombie() const override { return !alive(); }
  ActivitySm* actsm() const override { return actsm_; }
  ActivityConfig* zefFwkActivity() const { return this->activityPtr(); }

  void hasNotificationActiveIs(bool on) override {
    if (on == this->hasNotificationActive()) return;
    T::NotifieeConst::hasNotificationActiveIs(on);
    childrenActiveIs(on);
  }

  // Marks this reactor and all below it: a zombie hears nothing and runs no handler, even if a queued notification
  // still reaches it.
  void zefDoZombieReactors(bool on) {
    if (on == this->zefMarkedForDeletion()) return;
    Ptr<PtrInterface const> const hold(this->zefNotifier());
    if (hold) hasNotificationActiveIs(!on);
    childrenZombieIs(on);
    this->zefMarkedForDeletionIs(on);
  }

 protected:
  template <class Owner>
  void react(AttributeId attribute, Owner& owner, void (Owner::*handler)()) {
    if (this->zefOnAttribute(attribute, nullptr) || !alive()) return;
    auto const hold = held(&owner);
    (owner.*handler)();
  }

  // Whether the change of one member was queued, in which case the caller returns at once and is called again later.
  template <class Self, class Key>
  bool zefOnKey(AttributeId attribute, Key const& key, void (Self::*on)(Key)) {
    class Change final : public ActivitySm::KeyedChange {
     public:
      Change(Self& self, AttributeId id, Key changed, void (Self::*handler)(Key))
          : KeyedChange(self, id), key_(std::move(changed)), handler_(handler) {}
      void deliver() override { (static_cast<Self&>(notifiee()).*handler_)(key_); }
      std::size_t keyHash() const override { return hashOf(key_); }
      bool sameKey(KeyedChange const& other) const override { return static_cast<Change const&>(other).key_ == key_; }

     private:
      Key key_;
      void (Self::*handler_)(Key);
    };
    if (!ActivitySm::process().mustDefer()) return false;
    ActivitySm::process().enq(std::make_unique<Change>(static_cast<Self&>(*this), attribute, key, on));
    return true;
  }

 private:
  // The beginning of a birth and of a re-pointing: the object, and the handlers that take it in.
  class Sync {
   public:
    Sync(Reactor& self, T const* watched) : self_(&self), watched_(watched), wasAlive_(self.alive()) {
      self.zefNotifierIs(watched);
      if (watched != nullptr && wasAlive_) self.handleAll();
    }
    // Whether a handler has dropped the reactor, or pointed it at another object: then that has been done to its end.
    bool isOver() const { return self_->alive() != wasAlive_ || self_->notifier() != watched_; }

   private:
    Ptr<Reactor> self_;
    T const* watched_;
    bool wasAlive_;
  };

  ActivitySm* actsm_ = nullptr;
};

// The back pointer of a nested reactor to what owns it.
template <class Owner>
class Owned {
 public:
  explicit Owned(Owner& owner) : owner_(&owner) {}
  Owner& owner() const { return *owner_; }

 private:
  Owner* owner_;
};

// A periodic task of its owner: `tick` runs whenever the clock has reached timeMin(), and arms the next one.
template <class Owner, void (Owner::*tick)()>
class Poller final : public Reactor<Clock>, public Owned<Owner> {
 public:
  using Owned<Owner>::Owned;
  void handleAll() override { (this->owner().*tick)(); }
  std::span<Slot const> slots() const override {
    static constexpr Slot watched[] = {{Clock::timeAttr, &Clock::NotifieeConst::onTime}};
    return watched;
  }
  void onTime() override { react(Clock::timeAttr, this->owner(), tick); }
};

// Points a child reactor at its object, which is the birth of a fresh one. A child of a zombie is born as one: it runs
// no handler. When a handler throws, `drop` gives the child up, so that a later call makes it anew.
template <class R, class Drop>
void pointChild(R& child, bool fresh, Ptr<typename R::Watched const> const& input, bool zombie, Drop drop) {
  try {
    if (!fresh) {
      child.notifierIs(input);
      return;
    }
    child.zefMarkedForDeletionIs(zombie);
    child.start(input);
    if (zombie) child.zefMarkedForDeletionIs(false);  // for the caller, who marks it with all that belongs to that
  } catch (...) {
    drop();
    throw;
  }
}

// A single child reactor R, which follows one object of type R::Watched. Owner is what R is built from.
//
// A reader tells what the owner's notifier, which is not null then, holds; a child without one is set by is() alone.
template <class R, class Owner>
class Child final : public ChildBase {
 public:
  using Watched = typename R::Watched;

  using Reader = Ptr<Watched const> (*)(Owner const& owner);

  explicit Child(Owner& owner, Reader reader = nullptr) : ChildBase(owner), owner_(owner), reader_(reader) {}
  ~Child() { del(); }

  Ptr<R> const& get() const { return child_; }
  R* operator->() const { return child_.get(); }
  explicit operator bool() const { return static_cast<bool>(child_); }

  // Makes, re-points or drops the child, so that it follows `input`.
  void is(Ptr<Watched const> const& input) {
    if (!input) {
      del();
      return;
    }
    auto const hold = held(&owner_);
    bool const fresh = !child_;
    if (fresh) child_ = make<R>(owner_);
    Ptr<R> const child = child_;
    pointChild(*child, fresh, input, owner_.zefIsZombie(), [&] {
      if (child_ == child) del();
    });
    if (child_) child_->zefDoZombieReactors(owner_.zefIsZombie());
  }

  // The child can never run a handler again, even if a queued notification still reaches it.
  Ptr<R> del() {
    Ptr<R> old = std::move(child_);
    if (old) old->zefDoZombieReactors(true);
    return old;
  }

  void activeIs(bool on) override {
    if (child_) child_->hasNotificationActiveIs(on);
  }
  void zombieIs(bool on) override {
    if (child_) child_->zefDoZombieReactors(on);
  }
  void reconcile() override {
    if (reader_ == nullptr) return;
    if constexpr (requires { owner_.notifier(); }) is(owner_.notifier() == nullptr ? nullptr : reader_(owner_));
  }

 private:
  Owner& owner_;
  Reader reader_;
  Ptr<R> child_;
};

// A map of child reactors R by the key of the object that each follows.
template <class R, class Key, class Owner>
class Children final : public ChildBase {
 public:
  using Watched = typename R::Watched;
  using Visitor = std::function<void(Ptr<Watched const> const&)>;
  // Calls back for each member of the owner's watched collection, in its order.
  using Walk = void (*)(Owner const& owner, Visitor const& visit);

  // `attribute` names the collection in the error for a null member, behind the owner's classPath().
  Children(Owner& owner, char const* attribute, Walk walk = nullptr)
      : ChildBase(owner), owner_(owner), attribute_(attribute), walk_(walk) {}
  ~Children() { delAll(); }

  Ptr<R> find(Key const& key) const { return map_.find(key); }
  unsigned count() const { return map_.count(); }

  Ptr<R> is(Ptr<Watched const> const& member) {
    if (!member) {
      throwRangeException(format("null _%s parameter to mutator for %s::%s not allowed\"", attribute_,
                                 owner_.classPath().charPtr(), attribute_));
    }
    auto const hold = held(&owner_);
    Key const key = member->fwkKey();
    Ptr<R> child = map_.find(key);
    bool const fresh = !child;
    if (fresh) {
      child = make<R>(owner_, key);
      map_.insert(child);
    }
    auto const stands = [&] { return map_.find(key) == child; };
    pointChild(*child, fresh, member, owner_.zefIsZombie(), [&] {
      if (stands()) del(key);
    });
    if (stands()) child->zefDoZombieReactors(owner_.zefIsZombie());
    return child;
  }
  Ptr<R> del(Key const& key) {
    Ptr<R> old = map_.del(key);
    if (old) old->zefDoZombieReactors(true);
    return old;
  }
  void delAll() {
    for (auto at = map_.iterator(); at; ++at) at->zefDoZombieReactors(true);
    map_.deleteAll();
  }
  // What a change of one member asks for: the member's reactor when it is there, none when it is not.
  void follow(Key const& key, Ptr<Watched const> const& member) {
    if (member) {
      is(member);
    } else {
      del(key);
    }
  }

  void activeIs(bool on) override {
    for (auto at = map_.iterator(); at; ++at) at->hasNotificationActiveIs(on);
  }
  void zombieIs(bool on) override {
    for (auto at = map_.iterator(); at; ++at) at->zefDoZombieReactors(on);
  }
  void reconcile() override {
    if (walk_ == nullptr) return;
    auto const hold = held(&owner_);
    bool const zombie = owner_.zefIsZombie();
    unsigned const mine = ++walks_;
    // A handler may have dropped the owner, or have begun a walk over what it now observes.
    auto const over = [&] { return walks_ != mine || owner_.zefIsZombie() != zombie; };
    std::set<Key> present;
    if (watching()) {
      walk_(owner_, [&](Ptr<Watched const> const& member) {
        if (over()) return;
        is(member);
        present.insert(member->fwkKey());
      });
    }
    for (auto at = map_.iterator(); at && !over(); ++at) {
      if (!present.contains(at.key())) del(at.key());
    }
  }

 private:
  bool watching() const {
    if constexpr (requires { owner_.notifier(); }) {
      return owner_.notifier() != nullptr;
    } else {
      return true;
    }
  }

  Owner& owner_;
  char const* attribute_;
  Walk walk_;
  unsigned walks_ = 0;
  HashMap<R, Key> map_;
};

// A reactor that stands in a Children map: carries its key.
template <class Key>
class KeyedReactor : public HashMapLink {
 public:
  explicit KeyedReactor(Key key) : key_(std::move(key)) {}
  Key const& fwkKey() const { return key_; }

 private:
  Key key_;
};

}  // namespace Zef
