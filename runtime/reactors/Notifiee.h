#pragma once

#include "runtime/collections/ListRaw.h"
#include "runtime/kit/Name.h"
#include "runtime/kit/Ptr.h"

namespace Zef {

class ActivityConfig;

// Base of every observer of an object. A notifiee holds its notifier (and keeps it alive, unless it is declared weak),
// and hears of changes while it is registered on the notifier's list.
//
// What may be done from within a notification: drop yourself, drop another notifiee (it is not told any more), register
// a new one (it hears of the next change), lose the notifier, set attributes again (reactors hear of it afterwards).
class PtrInterface::NotifieeConst : public PtrInterface, public ListRawLink<PtrInterface::NotifieeConst> {
 public:
  static constexpr U8 zefDepth = 0;

  NotifieeConst() { flagIs(notificationActiveBit, true); }
  ~NotifieeConst() override;

  // Joins or leaves the notifier's list. Without a notifier there is no list to join.
  virtual void isRegisteredNotifieeIs(bool registered);
  virtual void zef_bitSetIs(U32 bits) { bits_ = bits; }
  virtual Name name() const;
  // Re-points the notifiee and leaves the old notifier's list. An object of another type counts as null.
  virtual void notifierIs(Ptr<PtrInterface const> const& notifier);
  // Deferred delivery: takes the pending attribute and calls what is declared for it.
  virtual void handleNotification(ActivityConfig* activity);
  // The end of a delivery that no onX took; `unknown` when the id is none that this level declares.
  virtual void handleDefault(ActivityConfig* activity, AttributeId attribute, bool unknown);
  virtual void onAttribute(AttributeId /*attribute*/) {}
  virtual void onNotification() {}
  // An exception came out of a handler. The notifiee stays; the default traces the exception at level 0.
  virtual void onNotificationException();
  virtual void onNotificationException(AttributeId attribute);
  virtual void handleNotificationException(AttributeId attribute);
  virtual void handleNotificationException();
  // To be called where such an exception is caught; attribute 0 stands for none in particular. Throws nothing itself.
  void zefNotificationException(AttributeId attribute);
  // How many exceptions have come out of handlers in the life of the process: whoever causes notifications can tell
  // whether all that hangs on them was done.
  static unsigned long zefNotificationExceptions();
  // The notifier's last pointer has gone. The default leaves the notifiee in place with a dead notifier.
  virtual void onZeroReferences() {}
  virtual ActivityConfig* activityPtr() const;
  virtual ActivitySm* actsm() const { return nullptr; }

  void hasNotificationActiveIs(bool on) override;

  bool isRegisteredNotifiee() const { return registered_; }
  // A weak notifiee does not keep its notifier alive, and has none once that has gone.
  void isWeakReferenceIs(bool weak);
  AttributeId pendingAttribute() const { return pending_; }
  void pendingAttributeIs(AttributeId attribute) { pending_ = attribute; }

  // Whether the notification at hand was queued, in which case the caller returns at once and is called again later.
  bool zefOnAttribute(AttributeId attribute, unsigned char* context);
  // Between two attributes of an all-attributes delivery: lets run what is pending.
  void redispatch(ActivitySm* activity);

  // How far down the type chain this notifiee observes: it hears of the attributes of that type and of its bases.
  U8 zefObservedDepth() const { return depth_; }

 protected:
  void zefObservedDepthIs(U8 depth) { depth_ = depth; }
  PtrInterface const* zefNotifier() const { return notifier_; }
  void zefNotifierIs(PtrInterface const* notifier);

 private:
  friend class Notifier;

  static constexpr U32 wasRegisteredBit = 1U << 19U;

  void zefNotifierGone();
  void listedIs(bool listed);

  U32 bits_ = 0;
  AttributeId pending_ = 0;
  PtrInterface const* notifier_ = nullptr;
  bool registered_ = false;
  bool listed_ = false;  // registered, or weak: the notifier's end has to reach a weak notifiee that is not registered
  bool weak_ = false;
  U8 depth_ = 0;
};

// Base of T::NotifieeConst; Base is the notifiee of T's base type, so that the chain mirrors the type tree.
template <class T, class Base>
class NotifieeOf : public Base {
 public:
  using Notifier = T;
  static constexpr U8 zefDepth = Base::zefDepth + 1;

  NotifieeOf() { this->zefObservedDepthIs(zefDepth); }

  T const* notifier() const { return static_cast<T const*>(this->zefNotifier()); }
  void notifierIs(Ptr<PtrInterface const> const& notifier) override {
    this->zefNotifierIs(dynamic_cast<T const*>(notifier.get()));
  }
};

}  // namespace Zef
