#pragma once

#include <cstdint>

#include "runtime/collections/KeyedMap.h"

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
// each. Iteration is in ascending key order; startAt() is at the smallest key not less than the one that is given.
template <class Member, class Key>
class RbTreeMap : public RbTreeMapGeneric, public KeyedMap<RbTreeMap<Member, Key>, Member, Key> {
 public:
  RbTreeMap() = default;
  ~RbTreeMap() { deleteAll(); }

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

  void deleteAll() {
    while (RbTreeLink* const member = first()) {
      memberDelG(member);
      Ptr<Member>::adopt(memberOf(member));
    }
  }

 private:
  friend class KeyedMap<RbTreeMap, Member, Key>;

  static Member* memberOf(RbTreeLink* link) { return static_cast<Member*>(link); }

  // What KeyedMap is built on.
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
  Member* firstMember() const { return memberOf(first()); }
  // Of a member that is linked.
  static Member* nextMember(Member& member) { return memberOf(next(&member)); }
  void unlink(Member& member) { memberDelG(&member); }
};

}  // namespace Zef
