#pragma once

#include <vector>

#include "runtime/collections/ListRaw.h"
#include "runtime/kit/Ptr.h"

namespace Zef {

template <class List>
class SnapshotIterator;

// Strong pointers to a list's members as of construction, and a cursor.
template <class T>
class SnapshotIterator<ListRaw<T>> {
 public:
  explicit SnapshotIterator(ListRaw<T> const& list) {
    members_.reserve(list.count());
    for (T* member = list.first(); member != nullptr; member = ListRaw<T>::next(member)) members_.emplace_back(member);
  }

  explicit operator bool() const { return cursor_ < members_.size(); }
  Ptr<T> const& ptr() const { return members_[cursor_]; }
  T* operator->() const { return members_[cursor_].get(); }
  SnapshotIterator& operator++() {
    ++cursor_;
    return *this;
  }

 private:
  std::vector<Ptr<T>> members_;
  std::size_t cursor_ = 0;
};

}  // namespace Zef
