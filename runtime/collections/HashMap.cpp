#include "runtime/collections/HashMap.h"

#include <bit>
#include <new>

#include "runtime/kit/Assert.h"

namespace Zef {

namespace {
// The chains stay about one member long: a table doubles when it is full and halves when three quarters are empty.
constexpr unsigned fewestBuckets = 1;
}  // namespace

HashMapGeneric::HashMapGeneric(unsigned buckets)
    : shift_(32U - static_cast<unsigned>(std::countr_zero(std::bit_ceil(buckets)))), buckets_(std::bit_ceil(buckets)) {}

void HashMapGeneric::link(VTable const& table, HashMapLink* member, U32 hash) {
  HashMapLink** head = &buckets_[bucketOf(hash)];
  HashMapLink* before = nullptr;
  for (HashMapLink* at = *head; at != nullptr; before = at, at = at->fwkHmNext()) {
    U32 const here = table.hash(at);
    if (here > hash || (here == hash && table.memberLessThan(member, at))) break;
  }
  if (before == nullptr) {
    member->fwkHmNextIs(*head);
    *head = member;
  } else {
    member->fwkHmNextIs(before->fwkHmNext());
    before->fwkHmNextIs(member);
  }
}

void HashMapGeneric::newMember(VTable const& table, HashMapLink* t, U32 hash) {
  // The text is what log readers match, though the last of a chain has no next either and a flag is asked.
  if (t->fwkHmLinked()) assertionFailed("t->fwkHmNext() == 0", __FILE__, __LINE__, __PRETTY_FUNCTION__);
  t->fwkHmLinkedIs(true);
  link(table, t, hash);
  ++version_;
  ++count_;
  maybeGrowG(table);
}

void HashMapGeneric::memberDelG(VTable const& table, HashMapLink* member) {
  HashMapLink*& head = buckets_[bucketOf(table.hash(member))];
  if (head == member) {
    head = member->fwkHmNext();
  } else {
    HashMapLink* before = head;
    while (before->fwkHmNext() != member) before = before->fwkHmNext();
    before->fwkHmNextIs(member->fwkHmNext());
  }
  member->fwkHmNextIs(nullptr);
  member->fwkHmLinkedIs(false);
  ++version_;
  --count_;
  maybeShrinkG(table);
}

HashMapLink* HashMapGeneric::emptyAllBucketsG() {
  HashMapLink* all = nullptr;
  HashMapLink* last = nullptr;
  for (HashMapLink*& chain : buckets_) {
    if (chain == nullptr) continue;
    if (last == nullptr) {
      all = chain;
    } else {
      last->fwkHmNextIs(chain);
    }
    for (last = chain; last->fwkHmNext() != nullptr;) last = last->fwkHmNext();
    chain = nullptr;
  }
  buckets_.resize(fewestBuckets);
  shift_ = 32;
  count_ = 0;
  ++version_;
  return all;
}

HashMapLink* HashMapGeneric::findNextBucketG(unsigned& bucket) const {
  for (; bucket < bucketCount(); ++bucket) {
    if (buckets_[bucket] != nullptr) return buckets_[bucket];
  }
  return nullptr;
}

HashMapLink* HashMapGeneric::findNextG(VTable const& table, U32 hash, void const* key, unsigned& bucket) const {
  bucket = bucketOf(hash);
  for (HashMapLink* at = buckets_[bucket]; at != nullptr; at = at->fwkHmNext()) {
    U32 const here = table.hash(at);
    if (here > hash || (here == hash && table.keyLessThan(key, at))) return at;
  }
  ++bucket;
  return findNextBucketG(bucket);
}

void HashMapGeneric::bucketCountIs(VTable const& table, unsigned buckets) {
  std::vector<HashMapLink*> old;
  try {
    old.resize(buckets);
  } catch (std::bad_alloc const&) {
    return;  // it is as right as it stands, and a member enters and leaves all the same
  }
  old.swap(buckets_);
  shift_ = 32U - static_cast<unsigned>(std::countr_zero(buckets));
  for (HashMapLink* at : old) {
    while (at != nullptr) {
      HashMapLink* const following = at->fwkHmNext();
      link(table, at, table.hash(at));
      at = following;
    }
  }
}

void HashMapGeneric::maybeGrowG(VTable const& table) {
  if (count_ > bucketCount()) bucketCountIs(table, bucketCount() * 2);
}

void HashMapGeneric::maybeShrinkG(VTable const& table) {
  if (bucketCount() > fewestBuckets && count_ < bucketCount() / 4) bucketCountIs(table, bucketCount() / 2);
}

}  // namespace Zef
