#pragma once

#include <concepts>
#include <vector>

#include "runtime/collections/KeyedMap.h"

namespace Zef {

// The link of a member of a hash map: the next member of its chain, and whether it stands in one, which the last of a
// chain does too. The map owns the references.
class HashMapLink {
 public:
  HashMapLink() = default;
  HashMapLink(HashMapLink const&) = delete;
  HashMapLink& operator=(HashMapLink const&) = delete;

  HashMapLink* fwkHmNext() const { return fwkHmNext_; }
  void fwkHmNextIs(HashMapLink* next) { fwkHmNext_ = next; }
  bool fwkHmLinked() const { return fwkHmLinked_; }
  void fwkHmLinkedIs(bool linked) { fwkHmLinked_ = linked; }

 protected:
  ~HashMapLink() = default;

 private:
  HashMapLink* fwkHmNext_ = nullptr;
  bool fwkHmLinked_ = false;
};

// A key's place in the order of a hash map is its hash with all bits reversed. A number hashes as itself.
template <class Key>
U32 hashOf(Key const& key) {
  if constexpr (std::convertible_to<Key, U32>) {
    return bitReverse(static_cast<U32>(key));
  } else {
    return bitReverse(key.hash());
  }
}

// The part of a hash map that knows no member type: buckets, growth, version stamp and count. What differs by member
// and key reaches it through the map's virtual table object, of which there is one for each instantiation.
class HashMapGeneric {
 public:
  class VTable {
   public:
    virtual U32 hash(HashMapLink const* member) const = 0;
    virtual bool keyEquals(void const* key, HashMapLink const* member) const = 0;
    // Whether the key comes before the member's; a null key comes before all.
    virtual bool keyLessThan(void const* key, HashMapLink const* member) const = 0;
    virtual bool memberLessThan(HashMapLink const* left, HashMapLink const* right) const = 0;

   protected:
    ~VTable() = default;
  };

  explicit HashMapGeneric(unsigned buckets = 1);
  HashMapGeneric(HashMapGeneric const&) = delete;
  HashMapGeneric& operator=(HashMapGeneric const&) = delete;

  // Rises with every change of membership.
  U32 version() const { return version_; }
  unsigned count() const { return count_; }
  // Always a power of two.
  unsigned bucketCount() const { return static_cast<unsigned>(buckets_.size()); }

 protected:
  ~HashMapGeneric() = default;

  // With 2 to the n buckets, a bucket is the hash's top n bits.
  unsigned bucketOf(U32 hash) const { return shift_ == 32 ? 0 : hash >> shift_; }
  HashMapLink* chain(unsigned bucket) const { return buckets_[bucket]; }

  // Links a member before the first one with a larger hash, or an equal hash and a larger key. One that is in a chain
  // already is a program error.
  void newMember(VTable const& table, HashMapLink* t, U32 hash);
  void memberDelG(VTable const& table, HashMapLink* member);
  // The member that follows the key in hash order; `bucket` becomes its bucket. A null member: none follows.
  HashMapLink* findNextG(VTable const& table, U32 hash, void const* key, unsigned& bucket) const;
  // Empties the map and hands all of its members to the caller, as one chain in their order. It takes no memory, since
  // destructors call it.
  HashMapLink* emptyAllBucketsG();
  // The head of the first chain at or behind `bucket` that has one.
  HashMapLink* findNextBucketG(unsigned& bucket) const;

 private:
  void link(VTable const& table, HashMapLink* member, U32 hash);
  void maybeGrowG(VTable const& table);
  void maybeShrinkG(VTable const& table);
  void bucketCountIs(VTable const& table, unsigned buckets);

  U32 version_ = 0;
  unsigned count_ = 0;
  unsigned shift_ = 32;
  std::vector<HashMapLink*> buckets_;
};

// A map whose members carry their key (fwkKey()) and link (HashMapLink) themselves; it owns a reference to each.
// Iteration is in ascending bit-reversed hash, then key, and is the same whatever the number of buckets. startAt() is
// at the member with that key, or at the one that follows it in hash order.
template <class Member, class Key>
class HashMap : public HashMapGeneric, public KeyedMap<HashMap<Member, Key>, Member, Key> {
 public:
  HashMap() = default;
  ~HashMap() { deleteAll(); }

  // Enters a member that is in no hash map; one with an equal key leaves the map, and is returned.
  Ptr<Member> insert(Ptr<Member> const& member) {
    Member* const old = lookup(member->fwkKey());
    if (old != nullptr && old != member.get()) memberDelG(vtable(), old);
    member->newReference();
    newMember(vtable(), member.get(), hashOf(Key(member->fwkKey())));
    return old == nullptr ? nullptr : Ptr<Member>::adopt(old);
  }

  void deleteAll() {
    for (HashMapLink* at = emptyAllBucketsG(); at != nullptr;) {
      Ptr<Member> const member = Ptr<Member>::adopt(memberOf(at));
      at = at->fwkHmNext();
      member->fwkHmNextIs(nullptr);
      member->fwkHmLinkedIs(false);
    }
  }

 private:
  friend class KeyedMap<HashMap, Member, Key>;

  class KeyVTable final : public VTable {
   public:
    U32 hash(HashMapLink const* member) const override { return hashOf(keyOf(member)); }
    bool keyEquals(void const* key, HashMapLink const* member) const override {
      return *static_cast<Key const*>(key) == keyOf(member);
    }
    bool keyLessThan(void const* key, HashMapLink const* member) const override {
      return key == nullptr || *static_cast<Key const*>(key) < keyOf(member);
    }
    bool memberLessThan(HashMapLink const* left, HashMapLink const* right) const override {
      return keyOf(left) < keyOf(right);
    }

   private:
    static Key keyOf(HashMapLink const* member) { return static_cast<Member const*>(member)->fwkKey(); }
  };

  static VTable const& vtable() {
    static KeyVTable const table;
    return table;
  }
  static Member* memberOf(HashMapLink* link) { return static_cast<Member*>(link); }

  // What KeyedMap is built on.
  Member* lookup(Key const& key) const {
    for (HashMapLink* at = chain(bucketOf(hashOf(key))); at != nullptr; at = at->fwkHmNext()) {
      if (memberOf(at)->fwkKey() == key) return memberOf(at);
    }
    return nullptr;
  }
  Member* firstMember() const {
    unsigned bucket = 0;
    return memberOf(findNextBucketG(bucket));
  }
  // Of a member that is linked.
  Member* nextMember(Member const& member) const {
    if (member.fwkHmNext() != nullptr) return memberOf(member.fwkHmNext());
    unsigned bucket = bucketOf(hashOf(Key(member.fwkKey()))) + 1;
    return memberOf(findNextBucketG(bucket));
  }
  // The first behind that key in hash order.
  Member* upperBound(Key const& key) const {
    unsigned bucket = 0;
    return memberOf(findNextG(vtable(), hashOf(key), &key, bucket));
  }
  Member* lowerBound(Key const& key) const {
    Member* const found = lookup(key);
    return found == nullptr ? upperBound(key) : found;
  }
  void unlink(Member& member) { memberDelG(vtable(), &member); }
};

}  // namespace Zef
