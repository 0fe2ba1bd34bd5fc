#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>

#include "runtime/reactors/Notifiee.h"

namespace Zef {

// Delivers deferred notifications. Reactors are not reentered: what a handler causes, and what a batch changes, waits
// here and is delivered, in the order in which it arose, when the outermost handler has returned or the batch has
// ended.
//
// A scalar change needs one pending id in its notifiee: a second attribute turns it into all attributes. A change of a
// collection keeps its key, once: a key that changes again before it is delivered stays where it is in the queue.
class ActivitySm {
 public:
  // A change of one member of a collection that waits for delivery.
  class KeyedChange {
   public:
    KeyedChange(PtrInterface::NotifieeConst& notifiee, AttributeId attribute)
        : notifiee_(&notifiee), attribute_(attribute) {}
    KeyedChange(KeyedChange const&) = delete;
    KeyedChange& operator=(KeyedChange const&) = delete;
    virtual ~KeyedChange() = default;

    virtual void deliver() = 0;
    virtual std::size_t keyHash() const = 0;
    // Only asked of a change of the same attribute of the same notifiee.
    virtual bool sameKey(KeyedChange const& other) const = 0;

    PtrInterface::NotifieeConst& notifiee() const { return *notifiee_; }
    AttributeId attribute() const { return attribute_; }
    std::size_t hash() const;

   private:
    Ptr<PtrInterface::NotifieeConst> notifiee_;
    AttributeId attribute_;
  };

  // The process's own, under which everything runs that names no other configuration.
  static ActivitySm& process();

  explicit ActivitySm(ActivityConfig* config) : config_(config) {}
  ActivitySm(ActivitySm const&) = delete;
  ActivitySm& operator=(ActivitySm const&) = delete;

  ActivityConfig* config() const { return config_; }

  // Whether a notification that arises now has to wait.
  bool mustDefer() const { return batches_ != 0 || deliveries_ > 1; }
  void enq(PtrInterface::NotifieeConst& notifiee, AttributeId attribute);
  void enq(std::unique_ptr<KeyedChange> change);
  // Delivers what is pending, and what that causes. Safe to call from within a delivery; does nothing while a batch is
  // open.
  void run();
  std::size_t pendingCount() const { return queue_.size(); }

  // For the time of one call-out to notifiees, and of a batch. The last one to end delivers what is pending.
  void deliveryIs(bool begins);
  void batchIs(bool begins);

 private:
  struct Pending {
    Ptr<PtrInterface::NotifieeConst> scalar;
    std::unique_ptr<KeyedChange> keyed;
  };

  void deliver(Pending& pending);
  void forget(KeyedChange const& change);
  void runIfIdle();

  ActivityConfig* config_;
  unsigned batches_ = 0;
  unsigned deliveries_ = 0;
  std::deque<Pending> queue_;
  std::unordered_multimap<std::size_t, KeyedChange const*> keyed_;
};

// A configuration that activities can be run under. All reactors of this system run under the process's own.
class ActivityConfig : public PtrInterface {
 public:
  explicit ActivityConfig(Name name) : name_(std::move(name)), activitySm_(this) {}
  Name const& name() const { return name_; }
  ActivitySm* activitySm() { return &activitySm_; }

 private:
  Name name_;
  ActivitySm activitySm_;
};

// For the time of one call-out to notifiees: what arises within it waits for its end.
class Delivery {
 public:
  Delivery() { ActivitySm::process().deliveryIs(true); }
  ~Delivery() { ActivitySm::process().deliveryIs(false); }
  Delivery(Delivery const&) = delete;
  Delivery& operator=(Delivery const&) = delete;
};

// While a batch is open, every notification of a reactor waits: what is published within it is whole before anything
// reacts to it. Batches nest; the outermost one delivers at its end.
class Batch {
 public:
  Batch() { ActivitySm::process().batchIs(true); }
  ~Batch() { ActivitySm::process().batchIs(false); }
  Batch(Batch const&) = delete;
  Batch& operator=(Batch const&) = delete;
};

// Runs a call-out to a notifiee and keeps what it throws from the caller; attribute 0 stands for none in particular.
template <class Call>
void guarded(PtrInterface::NotifieeConst& notifiee, AttributeId attribute, Call&& call) {
  try {
    call();
  } catch (...) {
    notifiee.zefNotificationException(attribute);
  }
}

}  // namespace Zef
