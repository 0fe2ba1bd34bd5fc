#pragma once

#include <atomic>
#include <cstddef>

#include "runtime/kit/Types.h"

namespace Zef {

class ZefType;
class ActivitySm;
template <class T>
class Ptr;

// Base of everything that can be pointed at by Zef::Ptr. It holds one 32-bit reference word:
//
//   bits 0 to 28  reference count
//   bit 29        notification is active (see hasNotificationActiveIs)
//   bit 30        held by the framework; while it is set the object is never destroyed through a pointer
//   bit 31        marked for deletion: a reactor with this bit runs no handler (a zombie)
//
// An object whose top byte is exactly 0x1f is pinned: pointers leave its word alone and never destroy it.
class PtrInterface {
 public:
  class NotifieeConst;

  static constexpr U32 notificationActiveBit = 0x20000000U;
  static constexpr U32 heldBit = 0x40000000U;
  static constexpr U32 markedForDeletionBit = 0x80000000U;
  static constexpr U32 pinMask = 0xff000000U;
  static constexpr U32 pinned = 0x1f000000U;
  // What must all be zero for the last reference to have gone: bits 29 and 31 do not hold an object, bit 30 does.
  static constexpr U32 referenceMask = ~(notificationActiveBit | markedForDeletionBit);

  PtrInterface() = default;
  PtrInterface(PtrInterface const&) = delete;
  PtrInterface& operator=(PtrInterface const&) = delete;

  virtual void hasNotificationActiveIs(bool on);
  virtual bool zefAuditErrors(unsigned depth) const;
  virtual bool auditErrors(unsigned depth) const;
  // A nondestructing object outlives its last pointer.
  virtual void isNondestructingIs(bool on);
  // The last pointer has gone (true); a notifier tells its notifiees here.
  virtual void zeroReferencesIs(bool zero);
  virtual ZefType const* fwkType() const;
  virtual ~PtrInterface() = default;

  bool isNondestructing() const { return nondestructing_; }
  bool hasNotificationActive() const { return (word() & notificationActiveBit) != 0; }
  bool zefMarkedForDeletion() const { return (word() & markedForDeletionBit) != 0; }
  void zefMarkedForDeletionIs(bool on) { flagIs(markedForDeletionBit, on); }

  // The running activity of a configuration (an ActivityConfig); null for a null configuration, which means the
  // process's own.
  template <class Config>
  ActivitySm* zefActivitySmFor(Ptr<Config> const& activity) const {
    return activity ? activity->activitySm() : nullptr;
  }

  U32 word() const { return word_.load(std::memory_order_relaxed); }
  // For pinning an object and for framework holds; not for counting.
  void wordIs(U32 word) { word_.store(word, std::memory_order_relaxed); }

  void newReference() const {
    if ((word() & pinMask) != pinned) word_.fetch_add(1, std::memory_order_relaxed);
  }
  void deleteReference() const {
    if ((word() & pinMask) == pinned) return;
    U32 const now = word_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if ((now & referenceMask) == 0) handleZeroRef();
  }

 protected:
  void flagIs(U32 bit, bool on) {
    // Flags are touched on the reactor thread only; counts may move on others, so the word is updated atomically.
    if (on) {
      word_.fetch_or(bit, std::memory_order_relaxed);
    } else {
      word_.fetch_and(~bit, std::memory_order_relaxed);
    }
  }
  virtual void handleZeroRef() const;

 private:
  // A fresh object is owned once by whoever creates it; make() hands that ownership to the first pointer.
  mutable std::atomic<U32> word_{1};
  bool nondestructing_ = false;
};

}  // namespace Zef
