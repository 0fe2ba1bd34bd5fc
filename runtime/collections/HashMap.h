#pragma once

#include <concepts>
#include <vector>

#include "runtime/kit/Ptr.h"

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
// Iteration is in ascending bit-reversed hash, then key, and is the same whatever the number of buckets.
//
// What an iterator survives: everything. It holds its current member alive and a stamp of the map; when the map has
// changed since, advancing looks up what follows the current member's key in hash order, whether or not that member is
// still in the map. So no member is visited twice, and one inserted behind it is not visited.
template <class Member, class Key>
class HashMap : public HashMapGeneric {
 public:
  class IteratorConst;

  HashMap() = default;
  ~HashMap() { deleteAll(); }

  Ptr<Member> find(Key const& key) const { return Ptr<Member>(lookup(key)); }
  bool isMemberOf(Key const& key) const { return lookup(key) != nullptr; }

  // Enters a member that is in no hash map; one with an equal key leaves the map, and is returned.
  Ptr<Member> insert(Ptr<Member> const& member) {
    Member* const old = lookup(member->fwkKey());
    if (old != nullptr && old != member.get()) memberDelG(vtable(), old);
    member->newReference();
    newMember(vtable(), member.get(), hashOf(Key(member->fwkKey())));
    return old == nullptr ? nullptr : Ptr<Member>::adopt(old);
  }

  // Removes a member and hands it to the caller; null when there is none.
  Ptr<Member> del(Key const& key) {
    Member* const member = lookup(key);
    if (member == nullptr) return nullptr;
    memberDelG(vtable(), member);
    return Ptr<Member>::adopt(member);
  }

  void deleteAll() {
    for (HashMapLink* at = emptyAllBucketsG(); at != nullptr;) {
      Ptr<Member> const member = Ptr<Member>::adopt(memberOf(at));
      at = at->fwkHmNext();
      member->fwkHmNextIs(nullptr);
      member->fwkHmLinkedIs(false);
    }
  }

  IteratorConst iterator(Ptr<PtrInterface const> owner = nullptr) const {
    return IteratorConst(*this, std::move(owner));
  }
  // At the member with that key, or at the one that follows it in hash order.
  IteratorConst startAt(Key const& key, Ptr<PtrInterface const> owner = nullptr) const {
    Member* const found = lookup(key);
    unsigned bucket = bucketOf(hashOf(key));
    HashMapLink* const at = found != nullptr ? found : findNextG(vtable(), hashOf(key), &key, bucket);
    return IteratorConst(*this, std::move(owner), at, bucket);
  }

 private:
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

  Member* lookup(Key const& key) const {
    for (HashMapLink* at = chain(bucketOf(hashOf(key))); at != nullptr; at = at->fwkHmNext()) {
      if (memberOf(at)->fwkKey() == key) return memberOf(at);
    }
    return nullptr;
  }
};

template <class Member, class Key>
class HashMap<Member, Key>::IteratorConst {
 public:
  IteratorConst() = default;
  explicit IteratorConst(HashMap const& map, Ptr<PtrInterface const> owner = nullptr)
      : owner_(std::move(owner)), map_(&map), version_(map.version()) {
    atIs(map.findNextBucketG(bucket_));
  }
  IteratorConst(HashMap const& map, Ptr<PtrInterface const> owner, HashMapLink* at, unsigned bucket)
      : owner_(std::move(owner)), map_(&map), version_(map.version()), bucket_(bucket) {
    atIs(at);
  }

  explicit operator bool() const { return static_cast<bool>(at_); }
  Member* operator->() const { return at_.get(); }
  Member& operator*() const { return *at_; }
  // The current member; null at the end.
  Ptr<Member> const& ptr() const { return at_; }
  Key key() const { return at_->fwkKey(); }
  bool isMemberOf(Key const& key) const { return map_->isMemberOf(key); }
  Ptr<PtrInterface const> const& owner() const { return owner_; }

  void advance() {
    if (!at_) return;
    if (version_ != map_->version()) {
      Key const key = at_->fwkKey();
      version_ = map_->version();
      atIs(map_->findNextG(vtable(), hashOf(key), &key, bucket_));
    } else if (HashMapLink* const following = at_->fwkHmNext()) {
      atIs(following);
    } else {
      ++bucket_;
      atIs(map_->findNextBucketG(bucket_));
    }
  }
  IteratorConst& operator++() {
    advance();
    return *this;
  }

 private:
  void atIs(HashMapLink* at) { at_ = at == nullptr ? nullptr : memberOf(at); }

  Ptr<PtrInterface const> owner_;
  HashMap const* map_ = nullptr;
  U32 version_ = 0;
  unsigned bucket_ = 0;
  Ptr<Member> at_;
};

}  // namespace Zef
