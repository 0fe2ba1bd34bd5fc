#pragma once

#include <cstdint>

#include "runtime/kit/Ptr.h"

namespace Zef {

// The three link words of a member of a tree map: parent (with the colour in its lowest bit), left, right.
class RbTreeLink {
 public:
  RbTreeLink() = default;
  RbTreeLink(RbTreeLink const&) = delete;
  RbTreeLink& operator=(RbTreeLink const&) = delete;

 protected:
  ~RbTreeLink() = default;

 private:
  friend class RbTreeMapGeneric;

  RbTreeLink* up() const { return reinterpret_cast<RbTreeLink*>(parentAndColour_ & ~std::uintptr_t{1}); }
  bool isRed() const { return (parentAndColour_ & 1U) != 0; }
  void upIs(RbTreeLink* parent) {
    parentAndColour_ = reinterpret_cast<std::uintptr_t>(parent) | (parentAndColour_ & 1U);
  }
  void isRedIs(bool red) { parentAndColour_ = (parentAndColour_ & ~std::uintptr_t{1}) | std::uintptr_t{red}; }

  std::uintptr_t parentAndColour_ = 0;
  RbTreeLink* left_ = nullptr;
  RbTreeLink* right_ = nullptr;
};

// The part of a tree map that knows no member type: links, balance, version stamp and count.
class RbTreeMapGeneric {
 public:
  RbTreeMapGeneric() = default;
  RbTreeMapGeneric(RbTreeMapGeneric const&) = delete;
  RbTreeMapGeneric& operator=(RbTreeMapGeneric const&) = delete;

  // Rises with every change of membership; an iterator compares it with its own stamp.
  U32 version() const { return version_; }
  unsigned count() const { return count_; }

 protected:
  ~RbTreeMapGeneric() = default;

  RbTreeLink* root() const { return root_; }
  static RbTreeLink* left(RbTreeLink const* link) { return link->left_; }
  static RbTreeLink* right(RbTreeLink const* link) { return link->right_; }
  RbTreeLink* first() const;
  // In-order successor of a linked member; null at the end.
  static RbTreeLink* next(RbTreeLink* link);

  // Links a new member below `parent` (null: as the root), on the left or right, where that place is free.
  void memberNewChild(RbTreeLink* parent, RbTreeLink* member, bool left);
  // Puts `member` into the place of `old`, which leaves the tree.
  void memberReplace(RbTreeLink* old, RbTreeLink* member);
  void memberDelG(RbTreeLink* member);

 private:
  void rotate(RbTreeLink* pivot, bool toLeft);
  void childReplace(RbTreeLink* parent, RbTreeLink* old, RbTreeLink* child);
  void rebalanceAfterInsert(RbTreeLink* member);
  void rebalanceAfterDelete(RbTreeLink* child, RbTreeLink* parent);
  static bool isBlack(RbTreeLink const* link) { return link == nullptr || !link->isRed(); }
  static RbTreeLink*& side(RbTreeLink* link, bool left) { return left ? link->left_ : link->right_; }
  static void clear(RbTreeLink* member);

  U32 version_ = 0;
  unsigned count_ = 0;
  RbTreeLink* root_ = nullptr;
};

// An ordered map whose members carry their key (fwkKey()) and links (RbTreeLink) themselves; it owns a reference to
// each. Iteration is in ascending key order.
//
// What an iterator survives: everything. It holds its current member alive and a stamp of the map; when the map has
// changed since, advancing searches the smallest key greater than the current member's, whether or not that member is
// still in the map. So no member is visited twice, a member inserted behind it is not visited, one ahead of it is.
template <class Member, class Key>
class RbTreeMap : public RbTreeMapGeneric {
 public:
  class IteratorConst;

  RbTreeMap() = default;
  ~RbTreeMap() { deleteAll(); }

  Ptr<Member> find(Key const& key) const { return Ptr<Member>(lookup(key)); }
  bool isMemberOf(Key const& key) const { return lookup(key) != nullptr; }

  // Enters a member; one with an equal key leaves the map, and is returned.
  Ptr<Member> insert(Ptr<Member> const& member) {
    Key const& key = member->fwkKey();
    RbTreeLink* parent = nullptr;
    bool goLeft = false;
    for (RbTreeLink* at = root(); at != nullptr; at = goLeft ? left(at) : right(at)) {
      Key const& here = memberOf(at)->fwkKey();
      if (here == key) {
        if (memberOf(at) == member.get()) return nullptr;
        member->newReference();
        memberReplace(at, member.get());
        return Ptr<Member>::adopt(memberOf(at));
      }
      parent = at;
      goLeft = key < here;
    }
    member->newReference();
    memberNewChild(parent, member.get(), goLeft);
    return nullptr;
  }

  // Removes a member and hands it to the caller; null when there is none.
  Ptr<Member> del(Key const& key) {
    Member* const member = lookup(key);
    if (member == nullptr) return nullptr;
    memberDelG(member);
    return Ptr<Member>::adopt(member);
  }

  void deleteAll() {
    while (RbTreeLink* const member = first()) {
      memberDelG(member);
      Ptr<Member>::adopt(memberOf(member));
    }
  }

  IteratorConst iterator(Ptr<PtrInterface const> owner = nullptr) const {
    return IteratorConst(*this, std::move(owner));
  }
  // At the member with the smallest key not less than `key`.
  IteratorConst startAt(Key const& key, Ptr<PtrInterface const> owner = nullptr) const {
    return IteratorConst(*this, std::move(owner), lowerBound(key));
  }

 private:
  static Member* memberOf(RbTreeLink* link) { return static_cast<Member*>(link); }

  Member* lookup(Key const& key) const {
    for (RbTreeLink* at = root(); at != nullptr;) {
      Key const& here = memberOf(at)->fwkKey();
      if (here == key) return memberOf(at);
      at = key < here ? left(at) : right(at);
    }
    return nullptr;
  }
  Member* lowerBound(Key const& key) const {
    Member* best = nullptr;
    for (RbTreeLink* at = root(); at != nullptr;) {
      if (memberOf(at)->fwkKey() < key) {
        at = right(at);
      } else {
        best = memberOf(at);
        at = left(at);
      }
    }
    return best;
  }
  Member* upperBound(Key const& key) const {
    Member* best = nullptr;
    for (RbTreeLink* at = root(); at != nullptr;) {
      if (key < memberOf(at)->fwkKey()) {
        best = memberOf(at);
        at = left(at);
      } else {
        at = right(at);
      }
    }
    return best;
  }
};

template <class Member, class Key>
class RbTreeMap<Member, Key>::IteratorConst {
 public:
  // At the end of nothing.
  IteratorConst() = default;
  explicit IteratorConst(RbTreeMap const& map, Ptr<PtrInterface const> owner = nullptr)
      : IteratorConst(map, std::move(owner), map.count() == 0 ? nullptr : memberOf(map.first())) {}
  IteratorConst(RbTreeMap const& map, Ptr<PtrInterface const> owner, Member* at)
      : owner_(std::move(owner)), map_(&map), version_(map.version()), at_(at) {}

  explicit operator bool() const { return static_cast<bool>(at_); }
  Member* operator->() const { return at_.get(); }
  Member& operator*() const { return *at_; }
  // The current member; null at the end.
  Ptr<Member> const& ptr() const { return at_; }
  Key key() const { return at_->fwkKey(); }
  bool isMemberOf(Key const& key) const { return map_->isMemberOf(key); }
  // What keeps the collection alive for this iterator.
  Ptr<PtrInterface const> const& owner() const { return owner_; }

  void advance() {
    if (!at_) return;
    if (version_ == map_->version()) {
      RbTreeLink* const following = next(at_.get());
      at_ = following == nullptr ? nullptr : memberOf(following);
    } else {
      version_ = map_->version();
      at_ = map_->upperBound(at_->fwkKey());
    }
  }
  IteratorConst& operator++() {
    advance();
    return *this;
  }

 private:
  Ptr<PtrInterface const> owner_;
  RbTreeMap const* map_ = nullptr;
  U32 version_ = 0;
  Ptr<Member> at_;
};

}  // namespace Zef
