#include "runtime/Reactor.h"

namespace Zef {

void ReactorParent::childrenActiveIs(bool on) {
  for (ChildBase* child : children_) child->activeIs(on);
}

void ReactorParent::childrenZombieIs(bool on) {
  for (ChildBase* child : children_) child->zombieIs(on);
}

void ReactorParent::childrenReconcile() {
  for (ChildBase* child : children_) child->reconcile();
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
