#pragma once

#include <tuple>
#include <utility>

#include "runtime/kit/Declarations.h"
#include "runtime/kit/Exception.h"
#include "runtime/kit/Ptr.h"

namespace Zef {

// Index and links of a member of a link queue. The way back is a plain pointer.
template <class Member>
class LinkQueueLink {
 public:
  U32 zef_index() const { return index_; }
  void zef_indexIs(U32 index) { index_ = index; }

 private:
  template <class, class>
  friend class LinkQueue;
  U32 index_ = 0;
  Ptr<Member> next_;
  Member* previous_ = nullptr;
};

// Head and next free index of a link queue.
struct LinkQueueMetadata {
  U32 head = 0;
  U32 next = 0;
  bool operator==(LinkQueueMetadata const&) const = default;

  static char const* fwkName() { return "Zef::LinkQueueMetadata"; }
  static auto fwkFields() {
    return std::tuple(Field{"head", &LinkQueueMetadata::head}, Field{"next", &LinkQueueMetadata::next});
  }
};

// A queue whose members carry an ascending 32-bit index and one strong link (they derive from LinkQueueLink<Member>).
// An index is given once and never moves while its member is queued; removal from the middle leaves a hole. Indexes run
// on when the queue empties, and wrap after 2^32 - 1. A queue that spans the whole index space takes no more members:
// RangeException "linkqueue index space full" with exception id 12.
//
// What an iterator survives: the removal of any member, its own included, and of every member at once: it holds its
// member, and a changed queue is searched for the next index.
template <class Member, class Index = unsigned>
class LinkQueue {
 public:
  class IteratorConst;

  LinkQueue() = default;
  LinkQueue(LinkQueue const&) = delete;
  LinkQueue& operator=(LinkQueue const&) = delete;
  // One link at a time: a long queue must not unwind its chain of links on the stack.
  ~LinkQueue() {
    while (count_ != 0) memberDel();
  }

  unsigned count() const { return count_; }
  U32 version() const { return version_; }
  LinkQueueMetadata const& metadata() const { return meta_; }
  Ptr<Member> const& head() const { return head_; }

  // Appends a member under the next free index.
  void memberNew(Ptr<Member> const& member) {
    meta_.next = past();
    if (count_ != 0 && meta_.next + 1 == meta_.head) {
      throw RangeException("linkqueue index space full", Exception::IdBitArray().add(RangeException::id));
    }
    if (count_ == 0) {
      head_ = member;
      meta_.head = meta_.next;
    } else {
      link(*tail_).next_ = member;
    }
    link(*member).next_ = nullptr;
    link(*member).previous_ = tail_;
    member->zef_indexIs(meta_.next);
    tail_ = member.get();
    ++meta_.next;
    ++count_;
    ++version_;
  }

  // Puts a member at an index: the next free one appends, a null member deletes, and one that holds a member is
  // replaced when `mayReplace` says so. RangeException "linkqueue index out of range" for an index outside head to
  // next.
  void doMemberIs(Index index, Ptr<Member> const& member, bool mayReplace) {
    if (index == meta_.next && member) {
      if (queued(member)) memberDel(*member);
      memberNew(member);
      return;
    }
    if (static_cast<U32>(index - meta_.head) >= meta_.next - meta_.head) {
      throw RangeException("linkqueue index out of range", Exception::IdBitArray().add(RangeException::id));
    }
    if (!member) {
      memberDel(index);
      return;
    }
    if (queued(member)) {
      if (member->zef_index() == index) return;
      memberDel(*member);
      doMemberIs(index, member, true);
      return;
    }
    put(index, member, mayReplace);
  }

  // Removes the head; null when the queue is empty.
  Ptr<Member> memberDel() { return head_ ? memberDel(*head_) : nullptr; }

  // Removes the member with that index, which it walks to from the head; null when there is none.
  Ptr<Member> memberDel(Index const& index) {
    Member* at = head_.get();
    while (at != nullptr && at->zef_index() != index) at = link(*at).next_.get();
    return at == nullptr ? nullptr : memberDel(*at);
  }

  // Removes a member that is queued here, wherever it stands.
  Ptr<Member> memberDel(Member& member) {
    Member* const previous = link(member).previous_;
    Ptr<Member>& holder = previous == nullptr ? head_ : link(*previous).next_;
    Ptr<Member> gone = std::exchange(holder, std::exchange(link(member).next_, nullptr));
    (holder ? link(*holder).previous_ : tail_) = previous;
    link(member).previous_ = nullptr;
    meta_.head = head_ ? head_->zef_index() : meta_.next;
    --count_;
    ++version_;
    return gone;
  }

  bool isMemberOf(Index const& index) const { return static_cast<bool>(find(index)); }
  Ptr<Member> find(Index const& index) const {
    IteratorConst at = startAt(index);
    return at && at->zef_index() == index ? at.ptr() : nullptr;
  }

  IteratorConst iterator() const { return IteratorConst(*this, head_); }
  // At the first member whose index is `index` or follows it. Of two ways round the circle to an index outside the
  // queue the shorter one says whether it lies before the head or behind the tail.
  IteratorConst startAt(Index const& index) const {
    Member* at = head_.get();
    U32 const end = past();
    bool const beforeHead = !before(index, end) && meta_.head - index < index - end;
    if (!beforeHead) {
      while (at != nullptr && before(at->zef_index(), index)) at = link(*at).next_.get();
    }
    return IteratorConst(*this, at);
  }

 private:
  static LinkQueueLink<Member>& link(Member& member) { return member; }
  // In the circle of indexes, seen from the head.
  bool before(U32 left, U32 right) const { return left - meta_.head < right - meta_.head; }
  bool queued(Ptr<Member> const& member) const { return member && find(member->zef_index()) == member; }

  // The index that the next member gets: the next free one, unless the tail has taken a higher one for itself.
  U32 past() const {
    U32 const behindTail = tail_ == nullptr ? meta_.next : tail_->zef_index() + 1;
    return before(meta_.next, behindTail) ? behindTail : meta_.next;
  }

  void put(Index index, Ptr<Member> const& member, bool mayReplace) {
    Ptr<Member> at = startAt(index).ptr();
    if (at && at->zef_index() == index) {
      if (!mayReplace)
        throw RangeException("linkqueue index out of range", Exception::IdBitArray().add(RangeException::id));
      Ptr<Member> const following = link(*at).next_;
      memberDel(*at);
      at = following;
    }
    Member* const previous = at ? link(*at).previous_ : tail_;
    (at ? link(*at).previous_ : tail_) = member.get();
    link(*member).previous_ = previous;
    link(*member).next_ = at;
    member->zef_indexIs(index);
    (previous == nullptr ? head_ : link(*previous).next_) = member;
    meta_.head = head_->zef_index();
    ++count_;
    ++version_;
  }

  LinkQueueMetadata meta_;
  unsigned count_ = 0;
  U32 version_ = 0;
  Ptr<Member> head_;
  Member* tail_ = nullptr;
};

template <class Member, class Index>
class LinkQueue<Member, Index>::IteratorConst {
 public:
  IteratorConst(LinkQueue const& queue, Ptr<Member> at)
      : queue_(&queue), version_(queue.version()), at_(std::move(at)) {}

  explicit operator bool() const { return static_cast<bool>(at_); }
  Member* operator->() const { return at_.get(); }
  Ptr<Member> const& ptr() const { return at_; }

  IteratorConst& operator++() {
    if (!at_) return *this;
    if (version_ == queue_->version()) {
      at_ = link(*at_).next_;
      return *this;
    }
    version_ = queue_->version();
    // Behind a member that may have gone, and may even have been the head: the next index after its own.
    U32 const past = at_->zef_index();
    Ptr<Member> found = queue_->head_;
    while (found && static_cast<S32>(found->zef_index() - past) <= 0) found = link(*found).next_;
    at_ = found;
    return *this;
  }

 private:
  LinkQueue const* queue_;
  U32 version_;
  Ptr<Member> at_;
};

// The entry by which a queue holds an object.
template <class Entry, class T>
class QueueEntry : public PtrInterface, public LinkQueueLink<Entry> {
 public:
  explicit QueueEntry(Ptr<T> object) : object_(std::move(object)) {}
  Ptr<T> const& object() const { return object_; }

 private:
  Ptr<T> object_;
};

// Walks a queue of such entries and shows the objects; keeps the queue's owner alive.
template <class Entry>
class QueueIterator : public LinkQueue<Entry>::IteratorConst {
  using Base = typename LinkQueue<Entry>::IteratorConst;

 public:
  QueueIterator(Base at, Ptr<PtrInterface const> owner) : Base(std::move(at)), owner_(std::move(owner)) {}

  U32 key() const { return Base::ptr()->zef_index(); }
  void advance() { ++*this; }
  auto* operator->() const { return ptr().get(); }
  auto& operator*() const { return *ptr(); }
  auto const& ptr() const { return Base::ptr()->object(); }

 private:
  Ptr<PtrInterface const> owner_;
};

}  // namespace Zef
