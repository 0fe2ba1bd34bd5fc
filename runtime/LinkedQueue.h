#pragma once

#include <list>
#include <utility>

namespace Zef {

// A plain list, first in, first out; a copy has copies of the members.
template <class T>
class LinkedQueue {
 public:
  void enq(T member) { members_.push_back(std::move(member)); }
  // Takes the head off. There must be one.
  T deq() {
    T head = std::move(members_.front());
    members_.pop_front();
    return head;
  }
  bool empty() const { return members_.empty(); }
  unsigned count() const { return static_cast<unsigned>(members_.size()); }
  auto begin() const { return members_.begin(); }
  auto end() const { return members_.end(); }

 private:
  std::list<T> members_;
};

}  // namespace Zef
