#pragma once

#include "runtime/collections/SnapshotIterator.h"
#include "runtime/reactors/Activity.h"

namespace Zef {

// What can be observed: keeps the list of its notifiees, and tells them.
class Notifier : public PtrInterface {
 public:
  ~Notifier() override;

  void zeroReferencesIs(bool zero) override;
  ListRaw<PtrInterface::NotifieeConst>& notifiees() const { return notifiees_; }

 protected:
  // Tells every registered notifiee that observes this object as a T, or as a type derived from T:
  // notify<NotifieeConst>(fanAttr, [](NotifieeConst& n) { n.onFan(); }).
  template <class TNotifiee, class Call>
  void notify(AttributeId attribute, Call&& call) const {
    if (notifiees_.empty()) return;
    PtrInterface const* const self = this;  // a notifiee may end this object, or go over to another one
    Delivery const delivery;
    for (SnapshotIterator<ListRaw<PtrInterface::NotifieeConst>> at(notifiees_); at; ++at) {
      if (at->zefObservedDepth() < TNotifiee::zefDepth || !at->isRegisteredNotifiee() || at->notifier_ != self)
        continue;
      guarded(*at.ptr(), attribute, [&] { call(static_cast<TNotifiee&>(*at.ptr())); });
    }
  }

 private:
  mutable ListRaw<PtrInterface::NotifieeConst> notifiees_;
};

}  // namespace Zef
