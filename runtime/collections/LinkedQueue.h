#pragma once

#include <list>
#include <utility>

namespace Zef {

// A plain list, first in, first out; a copy has copies of the members.
template <class T>
class LinkedQueue {
 public:
  void enq(T member) { members_.push_back(std::move(member)); }
  auto begin() const { return members_.begin(); }
  auto end() const { return members_.end(); }

 private:
  std::list<T> members_;
};

}  // namespace Zef
