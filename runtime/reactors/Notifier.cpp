#include "runtime/reactors/Notifier.h"

namespace Zef {

Notifier::~Notifier() {
  while (PtrInterface::NotifieeConst* const notifiee = notifiees_.first()) {
    notifiees_.del(notifiee);
    notifiee->zefNotifierGone();
  }
}

void Notifier::zeroReferencesIs(bool zero) {
  PtrInterface::zeroReferencesIs(zero);
  if (!zero) return;
  notify<PtrInterface::NotifieeConst>(0, [](PtrInterface::NotifieeConst& n) { n.onZeroReferences(); });
}

}  // namespace Zef
