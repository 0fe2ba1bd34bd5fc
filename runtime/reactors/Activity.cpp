#include "runtime/reactors/Activity.h"

namespace Zef {

std::size_t ActivitySm::KeyedChange::hash() const {
  return std::hash<void const*>()(notifiee_.get()) ^ (keyHash() << 8U) ^ static_cast<std::size_t>(attribute_);
}

ActivitySm& ActivitySm::process() {
  static auto* const activity = new ActivitySm(nullptr);  // outlives every static reactor
  return *activity;
}

void ActivitySm::enq(PtrInterface::NotifieeConst& notifiee, AttributeId attribute) {
  AttributeId const pending = notifiee.pendingAttribute();
  if (pending == attribute || pending == allAttributes) return;
  notifiee.pendingAttributeIs(pending == 0 ? attribute : allAttributes);
  if (pending == 0) queue_.push_back({&notifiee, nullptr});
}

void ActivitySm::enq(std::unique_ptr<KeyedChange> change) {
  std::size_t const hash = change->hash();
  auto const [begin, end] = keyed_.equal_range(hash);
  for (auto at = begin; at != end; ++at) {
    KeyedChange const& queued = *at->second;
    if (&queued.notifiee() == &change->notifiee() && queued.attribute() == change->attribute() &&
        queued.sameKey(*change)) {
      return;
    }
  }
  keyed_.emplace(hash, change.get());
  queue_.push_back({nullptr, std::move(change)});
}

void ActivitySm::forget(KeyedChange const& change) {
  auto const [begin, end] = keyed_.equal_range(change.hash());
  for (auto at = begin; at != end; ++at) {
    if (at->second == &change) {
      keyed_.erase(at);
      return;
    }
  }
}

void ActivitySm::deliver(Pending& pending) {
  if (pending.keyed) {
    forget(*pending.keyed);
    PtrInterface::NotifieeConst& notifiee = pending.keyed->notifiee();
    if (!notifiee.isRegisteredNotifiee()) return;
    guarded(notifiee, pending.keyed->attribute(), [&] { pending.keyed->deliver(); });
  } else if (!pending.scalar->isRegisteredNotifiee()) {
    pending.scalar->pendingAttributeIs(0);
  } else {
    guarded(*pending.scalar, pending.scalar->pendingAttribute(), [&] { pending.scalar->handleNotification(config_); });
  }
}

void ActivitySm::run() {
  if (batches_ != 0) return;
  unsigned const outer = deliveries_;
  deliveries_ = 1;
  while (!queue_.empty()) {
    Pending pending = std::move(queue_.front());
    queue_.pop_front();
    deliver(pending);
  }
  deliveries_ = outer;
}

void ActivitySm::runIfIdle() {
  if (deliveries_ == 0 && !queue_.empty()) run();
}

void ActivitySm::deliveryIs(bool begins) {
  deliveries_ += begins ? 1U : -1U;
  if (!begins) runIfIdle();
}

void ActivitySm::batchIs(bool begins) {
  batches_ += begins ? 1U : -1U;
  if (!begins) runIfIdle();
}

}  // namespace Zef
