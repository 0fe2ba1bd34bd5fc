#pragma once

#include <cmath>
#include <map>
#include <type_traits>

#include "runtime/collections/HashMap.h"
#include "runtime/collections/RbTreeMap.h"
#include "runtime/reactors/Notifiee.h"
#include "runtime/reflection/Entity.h"
#include "runtime/reflection/Strep.h"
#include "runtime/reflection/Type.h"
#include "runtime/reflection/Value.h"

// The logic that all generated types share; the generated code itself stays thin.

namespace Zef {

// Stores a value; true when it differs from the one that was there. A NaN is no change from a NaN.
template <class T>
bool assign(T& field, T const& value) {
  if (field == value) return false;
  if constexpr (std::floating_point<T>) {
    if (std::isnan(field) && std::isnan(value)) return false;
  }
  field = value;
  return true;
}

// The same for the value under a key of a map.
template <class Key, class T>
bool assignEntry(std::map<Key, T>& map, Key const& key, T const& value) {
  auto const [at, isNew] = map.try_emplace(key, value);
  return assign(at->second, value) || isNew;
}

// A collection of given objects refuses null.
template <class T>
void requireGiven(Ptr<T> const& object, char const* attribute, char const* owner) {
  if (!object) {
    throwRangeException(format("null _%s parameter to mutator for %s::%s not allowed\"", attribute, owner, attribute));
  }
}

// Gives an object its place below its owner. When the object refuses the place (RangeException) it has none. A record
// has no place to be given.
template <class T, class Key>
void place(Entity& owner, AttributeId attribute, char const* attributeName, Ptr<T> const& object, Key const& key) {
  if constexpr (std::derived_from<T, Entity>) {
    object->parentIs(Ptr<Entity>(&owner));
    object->parentAttrIdIs(attribute);
    try {
      object->zefPlacedIs(&owner, attributeName, keyText(key));
    } catch (...) {
      object->parentIs(nullptr);
      throw;
    }
  }
}

// The object has left its owner; null is no object.
template <class T>
void unplace(Ptr<T> const& object) {
  if constexpr (std::derived_from<T, Entity>) {
    if (object) object->parentIs(nullptr);
  }
}

// The owner goes: its members stay behind without a parent, should anyone hold them.
template <class Map>
void unplaceAll(Map const& map) {
  for (auto at = map.iterator(); at; ++at) unplace(at.ptr());
}

// Replaces a single child; true when it is another one.
template <class T>
bool assignChild(Entity& owner, AttributeId attribute, char const* attributeName, Ptr<T>& field, Ptr<T> const& child) {
  if (field == child) return false;
  if (child) place(owner, attribute, attributeName, child, String8());
  Ptr<T> const old = std::exchange(field, child);
  unplace(old);
  return true;
}

// Enters a member under its key, in the place of any that was there.
template <class Map, class T>
void enterMember(Entity& owner, AttributeId attribute, char const* attributeName, Map& map, Ptr<T> const& member) {
  place(owner, attribute, attributeName, member, std::remove_cvref_t<decltype(member->fwkKey())>(member->fwkKey()));
  unplace(map.insert(member));
}

// Removes a member and hands it to the caller; null when there is none.
template <class Map, class Key>
auto removeMember(Map& map, Key const& key) {
  auto member = map.del(key);
  unplace(member);
  return member;
}

// A walk that may delete. What it removes goes through the owner's own xDel, so that everyone is told; the walk goes on
// at the member that follows.
template <class IteratorConst, class Owner, class Key, auto del>
class DeletingIterator : public IteratorConst {
 public:
  DeletingIterator(IteratorConst at, Owner& owner) : IteratorConst(std::move(at)), deletingOwner_(&owner) {}

  void deleteMember() { (deletingOwner_.get()->*del)(Key(this->key())); }
  void deleteAll() {
    for (; *this; this->advance()) deleteMember();
  }

 private:
  Ptr<Owner> deletingOwner_;
};

// The entry by which a tree map holds an object that is a member elsewhere too, or of several maps.
template <class T, class Key>
class GivenEntry : public PtrInterface, public RbTreeLink {
 public:
  explicit GivenEntry(Ptr<T> object) : object_(std::move(object)) {}
  Key fwkKey() const { return object_->fwkKey(); }
  Ptr<T> const& object() const { return object_; }
  void objectIs(Ptr<T> const& object) { object_ = object; }

 private:
  Ptr<T> object_;
};

// Walks such a map and shows the objects, not the entries.
template <class Entry, class Key>
class GivenIterator : public RbTreeMap<Entry, Key>::IteratorConst {
  using Base = typename RbTreeMap<Entry, Key>::IteratorConst;

 public:
  using Base::Base;
  GivenIterator(Base at) : Base(std::move(at)) {}  // NOLINT(google-explicit-constructor): the same walk, seen otherwise

  auto* operator->() const { return ptr().get(); }
  auto& operator*() const { return *ptr(); }
  auto const& ptr() const {
    static decltype(Base::ptr()->object()) none = {};
    return *this ? Base::ptr()->object() : none;
  }
};

// T::Notifiee: an observer of a T that may also write it.
template <class T>
class WritableNotifieeOf : public T::NotifieeConst {
 public:
  T* notifier() const { return const_cast<T*>(T::NotifieeConst::notifier()); }
};

}  // namespace Zef
