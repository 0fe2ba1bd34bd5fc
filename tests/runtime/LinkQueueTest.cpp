// The queue with indexes.

#include <gtest/gtest.h>

#include <algorithm>

#include "runtime/collections/LinkQueue.h"
#include "tests/Support.h"

namespace {

using Zef::make;
using Zef::Ptr;
using Indexes = std::vector<U32>;

struct Member : Zef::PtrInterface, Zef::LinkQueueLink<Member> {
  Member() { ++alive; }
  ~Member() override { --alive; }
  static inline int alive = 0;
};
using Queue = Zef::LinkQueue<Member, unsigned>;

Indexes walk(Queue::IteratorConst at) {
  Indexes indexes;
  for (; at; ++at) indexes.push_back(at->zef_index());
  return indexes;
}

Ptr<Member> enq(Queue& queue) {
  auto const member = make<Member>();
  queue.memberNew(member);
  return member;
}

// Six members from that index on, which follows the highest index that a member has taken for itself.
void fill(Queue& queue, U32 first) {
  if (first != 0) {
    enq(queue)->zef_indexIs(first - 2);
    enq(queue);
    while (queue.memberDel()) {
    }
    EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{first, first}));
  }
  for (int i = 0; i < 6; ++i) enq(queue);
}

// From 0, and over the end of all indexes.
TEST(LinkQueue, EverySubsetLeavesUnderAnIteratorAtEveryStop) {
  for (U32 const first : {0U, 0xfffffffdU}) {
    for (unsigned subset = 0; subset < 64; ++subset) {
      for (unsigned stop = 0; stop < 6; ++stop) {
        SCOPED_TRACE(testing::Message() << "from " << first << ", subset " << subset << ", stop " << stop);
        Queue queue;
        fill(queue, first);
        auto at = queue.startAt(first + stop);
        ASSERT_EQ(at->zef_index(), first + stop);
        Indexes left;
        for (unsigned i = 0; i < 6; ++i) {
          unsigned const place = stop % 2 == 0 ? i : 5 - i;  // forwards, or backwards
          U32 const index = first + place;
          if (((subset >> i) & 1U) == 0) left.push_back(first + i);
          if (((subset >> place) & 1U) == 0) continue;
          // By its index, or by itself.
          Ptr<Member> const gone = subset % 3 == 0 ? queue.memberDel(*queue.find(index)) : queue.memberDel(index);
          ASSERT_TRUE(gone);
          EXPECT_EQ(gone->word(), place == stop ? 2U : 1U) << "its link and the queue's have gone";
          EXPECT_FALSE(queue.memberDel(index));
        }
        EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{left.empty() ? first + 6 : left.front(), first + 6}));
        EXPECT_EQ(enq(queue)->zef_index(), first + 6) << "an index is not given twice";
        left.push_back(first + 6);
        EXPECT_EQ(queue.count(), left.size());
        for (U32 const from : {left.front() - 16, left.front()}) EXPECT_EQ(walk(queue.startAt(from)), left);
        for (U32 const from : {first + 7, first + 0x70000000}) EXPECT_FALSE(queue.startAt(from));
        auto const since = [&](U32 place) {
          return Indexes(std::find_if(left.begin(), left.end(), [=](U32 i) { return i - first >= place; }), left.end());
        };
        EXPECT_EQ(walk(queue.startAt(first + stop)), since(stop));
        ASSERT_EQ(walk(++at), since(stop + 1));
      }
    }
  }
  EXPECT_EQ(Member::alive, 0);
}

TEST(LinkQueue, ASpanOfAllIndexesIsFull) {
  Queue queue;
  auto const head = enq(queue);
  enq(queue)->zef_indexIs(0xfffffffeU);
  EXPECT_EQ(refusal([&] { enq(queue); }, Zef::RangeException::id), "linkqueue index space full");
  EXPECT_EQ(queue.count(), 2U);
  EXPECT_EQ(queue.memberDel(), head);
  for (int i = 0; i < 2; ++i) enq(queue);
  EXPECT_EQ(walk(queue.iterator()), (Indexes{0xfffffffeU, 0xffffffffU, 0})) << "there is room again";
}

TEST(LinkQueue, DoMemberIs) {
  enum Which { fresh, none, first, third };
  struct Case {
    char const* what;
    U32 index;
    Which member;
    Indexes after;
    bool isRefused = false, mayReplace = false;
  };
  // The queue holds 1, 2, 4 and 5; 6 is the next free index.
  for (Case const& c : {
           Case{"the next free index appends", 6, fresh, {1, 2, 4, 5, 6}},
           Case{"beyond it", 7, fresh, {1, 2, 4, 5}, true, true},
           Case{"before the head", 0, fresh, {1, 2, 4, 5}, true, true},
           Case{"a hole is filled", 3, fresh, {1, 2, 3, 4, 5}},
           Case{"the head is replaced", 1, fresh, {1, 2, 4, 5}, false, true},
           Case{"the tail is replaced", 5, fresh, {1, 2, 4, 5}, false, true},
           Case{"not without leave", 2, fresh, {1, 2, 4, 5}, true},
           Case{"null deletes", 2, none, {1, 4, 5}},
           Case{"null in a hole", 3, none, {1, 2, 4, 5}},
           Case{"null at the next free index", 6, none, {1, 2, 4, 5}, true},
           Case{"a member where it stands", 4, third, {1, 2, 4, 5}},
           Case{"a member moves into a hole", 3, third, {1, 2, 3, 5}},
           Case{"a member takes another's place", 2, third, {1, 2, 5}},
           Case{"the head moves up", 4, first, {2, 4, 5}},
           Case{"a member moves to the end", 6, first, {2, 4, 5, 6}},
       }) {
    for (U32 const start : {0U, 0xfffffffeU}) {
      SCOPED_TRACE(testing::Message() << c.what << " from " << start);
      Queue queue;
      fill(queue, start);
      for (U32 const gone : {0U, 3U}) queue.memberDel(start + gone);
      Ptr<Member> const members[] = {make<Member>(), nullptr, queue.find(start + 1), queue.find(start + 4)};
      auto const& member = members[c.member];
      EXPECT_EQ(refusal([&] { queue.doMemberIs(start + c.index, member, c.mayReplace); }, Zef::RangeException::id),
                c.isRefused ? "linkqueue index out of range" : "no refusal");
      EXPECT_TRUE(!member || c.isRefused || queue.find(start + c.index) == member);
      Indexes after = c.after;
      after.push_back(std::max(6U, c.after.back() + 1));
      for (U32& each : after) each += start;
      EXPECT_EQ(queue.metadata().head, after.front());
      enq(queue);
      EXPECT_EQ(walk(queue.iterator()), after) << "the tail is where it should be";
      for (; !after.empty(); after.pop_back()) queue.memberDel(*queue.find(after.back()));
      EXPECT_EQ(queue.count(), 0U) << "the way back is as good";
    }
  }
}

TEST(LinkQueue, ALongQueueEndsWithoutDeepRecursion) {
  Queue queue;
  for (int i = 0; i < 300000; ++i) enq(queue);
  auto const at = queue.startAt(1);
}

}  // namespace
