#include "runtime/reactors/Reactor.h"

namespace Zef {

ChildBase::ChildBase(ReactorParent& parent) {
  (parent.last_ == nullptr ? parent.first_ : parent.last_->next_) = this;
  parent.last_ = this;
}

void ReactorParent::childrenActiveIs(bool on) {
  for (ChildBase* child = first_; child != nullptr; child = child->next_) child->activeIs(on);
}

void ReactorParent::childrenZombieIs(bool on) {
  for (ChildBase* child = first_; child != nullptr; child = child->next_) child->zombieIs(on);
}

void ReactorParent::childrenReconcile() {
  bool const zombie = zefIsZombie();
  for (ChildBase* child = first_; child != nullptr && zefIsZombie() == zombie; child = child->next_) child->reconcile();
}

void StateMachine::hasNotificationActiveIs(bool on) {
  if (on == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(on);
  childrenActiveIs(on);
}

void StateMachine::zefDoZombieReactors(bool on) {
  if (on == zefMarkedForDeletion()) return;
  childrenZombieIs(on);
  zefMarkedForDeletionIs(on);
}

}  // namespace Zef
