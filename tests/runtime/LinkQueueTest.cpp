// The queue with indexes.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "runtime/collections/LinkQueue.h"
#include "tests/Support.h"

namespace {

using Zef::make;
using Zef::Ptr;
using Indexes = std::vector<U32>;

class Member : public Zef::PtrInterface, public Zef::LinkQueueLink<Member> {
 public:
  Member() { ++alive; }
  ~Member() override { --alive; }
  static inline int alive = 0;
};

// Ends with no member left.
struct LinkQueue : testing::Test {
  using Queue = Zef::LinkQueue<Member, unsigned>;
  ~LinkQueue() override { EXPECT_EQ(Member::alive, 0); }

  static Indexes walk(Queue::IteratorConst at) {
    Indexes indexes;
    for (; at; ++at) indexes.push_back(at->zef_index());
    return indexes;
  }
  static Indexes walk(Queue const& queue) { return walk(queue.iterator()); }
  static Ptr<Member> enq(Queue& queue) {
    auto const member = make<Member>();
    queue.memberNew(member);
    return member;
  }
  // Six members from that index on, which follows the highest index that a member has taken for itself.
  static void fill(Queue& queue, U32 first = 0) {
    if (first != 0) {
      enq(queue)->zef_indexIs(first - 2);
      enq(queue);
      while (queue.memberDel()) {
      }
      EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{first, first}));
    }
    for (int i = 0; i < 6; ++i) enq(queue);
  }
};

// From 0, and over the end of all indexes.
TEST_F(LinkQueue, EverySubsetLeavesUnderAnIteratorAtEveryStop) {
  for (U32 const first : {0U, 0xfffffffdU}) {
    for (unsigned subset = 0; subset < 64; ++subset) {
      for (unsigned stop = 0; stop < 6; ++stop) {
        SCOPED_TRACE(testing::Message() << "from " << first << ", subset " << subset << ", stop " << stop);
        Queue queue;
        fill(queue, first);
        auto const at = queue.startAt(first + stop);
        ASSERT_EQ(at->zef_index(), first + stop);
        Indexes left;
        Indexes ahead;
        for (unsigned i = 0; i < 6; ++i) {
          unsigned const place = stop % 2 == 0 ? i : 5 - i;  // forwards, or backwards
          U32 const index = first + place;
          if (((subset >> i) & 1U) == 0) left.push_back(first + i);
          if (((subset >> i) & 1U) == 0 && i > stop) ahead.push_back(first + i);
          if (((subset >> place) & 1U) == 0) continue;
          // By its index, or by itself.
          Ptr<Member> const gone = subset % 3 == 0 ? queue.memberDel(*queue.find(index)) : queue.memberDel(index);
          ASSERT_TRUE(gone);
          EXPECT_EQ(gone->word(), place == stop ? 2U : 1U) << "its link and the queue's have gone";
          EXPECT_FALSE(queue.isMemberOf(index));
          EXPECT_FALSE(queue.memberDel(index));
        }
        EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{left.empty() ? first + 6 : left.front(), first + 6}));
        for (auto* indexes : {&left, &ahead}) indexes->push_back(first + 6);
        EXPECT_EQ(enq(queue)->zef_index(), first + 6) << "an index is not given twice";
        EXPECT_EQ(walk(queue), left);
        EXPECT_EQ(queue.count(), left.size());
        auto rest = at;
        ASSERT_EQ(walk(++rest), ahead);
      }
    }
  }
}

TEST_F(LinkQueue, StartAtGoesToTheIndexOrToWhatFollows) {
  Queue queue;
  fill(queue);
  for (U32 const gone : {0U, 3U, 4U}) queue.memberDel(gone);
  struct Case {
    U32 from;
    Indexes visited;
  };
  for (Case const& c : {Case{0, {1, 2, 5}}, Case{0xfffffff0U, {1, 2, 5}}, Case{2, {2, 5}}, Case{3, {5}}, Case{6, {}},
                        Case{0x70000000U, {}}}) {
    EXPECT_EQ(walk(queue.startAt(c.from)), c.visited) << c.from;
  }
}

TEST_F(LinkQueue, ASpanOfAllIndexesIsFull) {
  Queue queue;
  auto const head = enq(queue);
  enq(queue)->zef_indexIs(0xfffffffeU);
  EXPECT_EQ(refusal([&] { enq(queue); }, Zef::RangeException::id), "linkqueue index space full");
  EXPECT_EQ(queue.count(), 2U);
  EXPECT_EQ(Member::alive, 2);
  EXPECT_EQ(queue.memberDel(), head);
  for (int i = 0; i < 2; ++i) enq(queue);
  EXPECT_EQ(walk(queue), (Indexes{0xfffffffeU, 0xffffffffU, 0})) << "there is room again";
}

TEST_F(LinkQueue, DoMemberIs) {
  struct Case {
    char const* what;
    U32 index;
    enum Which { fresh, none, first, third } member;
    bool mayReplace;
    Indexes after;
    std::string error;
  };
  std::string const taken = "no refusal";
  std::string const range = "linkqueue index out of range";
  // The queue holds 1, 2, 4 and 5; 6 is the next free index.
  for (Case const& c : {
           Case{"the next free index appends", 6, Case::fresh, false, {1, 2, 4, 5, 6}, taken},
           Case{"beyond it", 7, Case::fresh, true, {1, 2, 4, 5}, range},
           Case{"before the head", 0, Case::fresh, true, {1, 2, 4, 5}, range},
           Case{"a hole is filled", 3, Case::fresh, false, {1, 2, 3, 4, 5}, taken},
           Case{"the head is replaced", 1, Case::fresh, true, {1, 2, 4, 5}, taken},
           Case{"the tail is replaced", 5, Case::fresh, true, {1, 2, 4, 5}, taken},
           Case{"not without leave", 2, Case::fresh, false, {1, 2, 4, 5}, range},
           Case{"null deletes", 2, Case::none, false, {1, 4, 5}, taken},
           Case{"null in a hole", 3, Case::none, false, {1, 2, 4, 5}, taken},
           Case{"null at the next free index", 6, Case::none, false, {1, 2, 4, 5}, range},
           Case{"a member where it stands", 4, Case::third, false, {1, 2, 4, 5}, taken},
           Case{"a member moves into a hole", 3, Case::third, false, {1, 2, 3, 5}, taken},
           Case{"a member takes another's place", 2, Case::third, false, {1, 2, 5}, taken},
           Case{"the head moves up", 4, Case::first, false, {2, 4, 5}, taken},
           Case{"a member moves to the end", 6, Case::first, false, {2, 4, 5, 6}, taken},
       }) {
    for (U32 const first : {0U, 0xfffffffeU}) {
      SCOPED_TRACE(testing::Message() << c.what << " from " << first);
      Queue queue;
      fill(queue, first);
      for (U32 const gone : {0U, 3U}) queue.memberDel(first + gone);
      Ptr<Member> const member = c.member == Case::fresh   ? make<Member>()
                                 : c.member == Case::none  ? nullptr
                                 : c.member == Case::first ? queue.find(first + 1)
                                                           : queue.find(first + 4);
      U32 const index = first + c.index;
      EXPECT_EQ(refusal([&] { queue.doMemberIs(index, member, c.mayReplace); }, Zef::RangeException::id), c.error);
      if (member && c.error == taken) {
        EXPECT_EQ(queue.find(index), member);
      }
      Indexes after = c.after;
      after.push_back(std::max(6U, c.after.back() + 1));
      for (U32& each : after) each += first;
      EXPECT_EQ(queue.metadata().head, after.front());
      enq(queue);
      EXPECT_EQ(walk(queue), after) << "the tail is where it should be";
      EXPECT_EQ(queue.count(), after.size());
      while (!after.empty()) {
        queue.memberDel(*queue.find(after.back()));
        after.pop_back();
      }
      EXPECT_EQ(queue.count(), 0U) << "the way back is as good";
    }
  }
}

TEST_F(LinkQueue, ALoneMemberMoves) {
  Queue queue;
  auto const member = enq(queue);
  queue.doMemberIs(1, member, false);
  EXPECT_EQ(walk(queue), (Indexes{1}));
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{1, 2}));
}

TEST_F(LinkQueue, ALongQueueEndsWithoutDeepRecursion) {
  Queue queue;
  for (int i = 0; i < 300000; ++i) enq(queue);
  auto const at = queue.startAt(1);
}

}  // namespace
