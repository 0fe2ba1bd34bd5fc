#include "runtime/kit/PtrInterface.h"

namespace Zef {

void PtrInterface::hasNotificationActiveIs(bool on) { flagIs(notificationActiveBit, on); }
bool PtrInterface::zefAuditErrors(unsigned depth) const { return auditErrors(depth); }
bool PtrInterface::auditErrors(unsigned /*depth*/) const { return false; }
void PtrInterface::isNondestructingIs(bool on) { nondestructing_ = on; }
void PtrInterface::zeroReferencesIs(bool /*zero*/) {}
ZefType const* PtrInterface::fwkType() const { return nullptr; }

void PtrInterface::handleZeroRef() const {
  auto* self = const_cast<PtrInterface*>(this);  // the object ends here, whatever view the last pointer had
  // Held once while it tells its observers, since they may take pointers to it on the way.
  word_.fetch_add(1, std::memory_order_relaxed);
  self->zeroReferencesIs(true);
  U32 const left = (word_.fetch_sub(1, std::memory_order_acq_rel) - 1) & referenceMask;
  if (left != 0 || nondestructing_) return;
  // Destructors call out (a parent that goes tells its children), and pointers that come and go on the way must not end
  // the object a second time.
  word_.fetch_or(heldBit, std::memory_order_relaxed);
  delete self;
}

}  // namespace Zef
