#pragma once

#include <utility>

#include "runtime/kit/Ptr.h"

namespace Zef {

// What the two maps have in common. Map, which derives from it, has an order and a version stamp.
template <class Map, class Member, class Key>
class KeyedMap {
 public:
  class IteratorConst;

  Ptr<Member> find(Key const& key) const { return Ptr<Member>(map().lookup(key)); }
  bool isMemberOf(Key const& key) const { return map().lookup(key) != nullptr; }

  // Removes a member and hands it to the caller; null when there is none.
  Ptr<Member> del(Key const& key) {
    Member* const member = map().lookup(key);
    if (member == nullptr) return nullptr;
    static_cast<Map&>(*this).unlink(*member);
    return Ptr<Member>::adopt(member);
  }

  // The owner is what keeps the map alive for the iterator.
  IteratorConst iterator(Ptr<PtrInterface const> owner = nullptr) const {
    return IteratorConst(map(), std::move(owner), map().firstMember());
  }
  // At the member with that key, or at the one that follows it.
  IteratorConst startAt(Key const& key, Ptr<PtrInterface const> owner = nullptr) const {
    return IteratorConst(map(), std::move(owner), map().lowerBound(key));
  }

 private:
  Map const& map() const { return static_cast<Map const&>(*this); }
};

// What an iterator survives: everything. It holds its current member alive and a stamp of the map; when the map has
// changed since, advancing looks up what follows the current member's key, whether or not that member is still in the
// map. So no member is visited twice, one inserted behind it is not visited, and one ahead of it is.
template <class Map, class Member, class Key>
class KeyedMap<Map, Member, Key>::IteratorConst {
 public:
  // At the end of nothing.
  IteratorConst() = default;
  explicit IteratorConst(Map const& map, Ptr<PtrInterface const> owner = nullptr)
      : IteratorConst(map, std::move(owner), map.firstMember()) {}
  IteratorConst(Map const& map, Ptr<PtrInterface const> owner, Member* at)
      : owner_(std::move(owner)), map_(&map), version_(map.version()), at_(at) {}

  explicit operator bool() const { return static_cast<bool>(at_); }
  Member* operator->() const { return at_.get(); }
  Member& operator*() const { return *at_; }
  // The current member; null at the end.
  Ptr<Member> const& ptr() const { return at_; }
  Key key() const { return at_->fwkKey(); }
  bool isMemberOf(Key const& key) const { return map_->isMemberOf(key); }

  void advance() {
    if (!at_) return;
    if (version_ == map_->version()) {
      at_ = map_->nextMember(*at_);
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
  Map const* map_ = nullptr;
  U32 version_ = 0;
  Ptr<Member> at_;
};

}  // namespace Zef
