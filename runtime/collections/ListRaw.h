#pragma once

#include "runtime/kit/Types.h"

namespace Zef {

// Links of a member of a ListRaw.
template <class T>
class ListRawLink {
 private:
  template <class>
  friend class ListRaw;
  T* previous_ = nullptr;
  T* next_ = nullptr;
};

// An intrusive list of plain pointers, in the order of entry; T derives from ListRawLink<T>. It owns nothing. To call
// out to its members, take a SnapshotIterator: the list may change under the callee's hands.
template <class T>
class ListRaw {
 public:
  ListRaw() = default;
  ListRaw(ListRaw const&) = delete;
  ListRaw& operator=(ListRaw const&) = delete;

  T* first() const { return head_; }
  static T* next(T const* member) { return links(member).next_; }
  unsigned count() const { return count_; }
  U32 version() const { return version_; }
  bool empty() const { return head_ == nullptr; }

  void enq(T* member) {
    links(member).previous_ = tail_;
    links(member).next_ = nullptr;
    (tail_ == nullptr ? head_ : links(tail_).next_) = member;
    tail_ = member;
    ++count_;
    ++version_;
  }
  void del(T* member) {
    T* const previous = links(member).previous_;
    T* const next = links(member).next_;
    (previous == nullptr ? head_ : links(previous).next_) = next;
    (next == nullptr ? tail_ : links(next).previous_) = previous;
    links(member) = ListRawLink<T>();
    --count_;
    ++version_;
  }

 private:
  static ListRawLink<T>& links(T* member) { return *member; }
  static ListRawLink<T> const& links(T const* member) { return *member; }

  U32 version_ = 0;
  unsigned count_ = 0;
  T* head_ = nullptr;
  T* tail_ = nullptr;
};

}  // namespace Zef
