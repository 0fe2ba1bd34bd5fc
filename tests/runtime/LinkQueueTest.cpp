// The queue with indexes.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "runtime/collections/LinkQueue.h"

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

using Queue = Zef::LinkQueue<Member, unsigned>;

Indexes walk(Queue const& queue) {
  Indexes indexes;
  for (auto at = queue.iterator(); at; ++at) indexes.push_back(at->zef_index());
  return indexes;
}

Ptr<Member> enq(Queue& queue) {
  auto const member = make<Member>();
  queue.memberNew(member);
  return member;
}

void fill(Queue& queue, unsigned count) {
  for (unsigned i = 0; i < count; ++i) enq(queue);
}

// A queue whose next free index is `next`: it follows the highest index that a member has taken for itself.
void startBefore(Queue& queue, U32 next) {
  enq(queue)->zef_indexIs(next - 2);
  enq(queue);
  while (queue.memberDel()) {
  }
  ASSERT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{next, next}));
}

std::string thrown(std::function<void()> const& call) {
  try {
    call();
  } catch (Zef::RangeException const& exception) {
    EXPECT_TRUE(exception.ids().has(12));
    return exception.what();
  }
  return "nothing";
}

TEST(LinkQueue, IndexesRunOnWhateverLeaves) {
  Queue queue;
  EXPECT_FALSE(queue.memberDel());
  fill(queue, 4);
  EXPECT_EQ(walk(queue), (Indexes{0, 1, 2, 3}));
  EXPECT_EQ(queue.memberDel()->zef_index(), 0U);
  EXPECT_EQ(queue.memberDel(2)->zef_index(), 2U);
  EXPECT_FALSE(queue.memberDel(2));
  EXPECT_EQ(walk(queue), (Indexes{1, 3}));
  EXPECT_TRUE(queue.isMemberOf(3));
  EXPECT_FALSE(queue.isMemberOf(2));
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{1, 4}));
  EXPECT_TRUE(queue.memberDel(3));
  EXPECT_EQ(enq(queue)->zef_index(), 4U) << "an index is not given twice";
  while (queue.memberDel()) {
  }
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{5, 5}));
  EXPECT_EQ(enq(queue)->zef_index(), 5U);
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{5, 6}));
  EXPECT_EQ(queue.count(), 1U);
}

TEST(LinkQueue, EverySubsetLeavesAndTheTailStillTakes) {
  for (unsigned subset = 0; subset < 64; ++subset) {
    for (bool const backwards : {false, true}) {
      Queue queue;
      fill(queue, 6);
      Indexes left;
      for (unsigned i = 0; i < 6; ++i) {
        unsigned const index = backwards ? 5 - i : i;
        if (((subset >> index) & 1U) != 0) {
          // By its index, or by itself.
          Ptr<Member> const gone = subset % 3 == 0 ? queue.memberDel(*queue.find(index)) : queue.memberDel(index);
          ASSERT_TRUE(gone);
          EXPECT_EQ(gone->word(), 1U) << "its link and the queue's have gone";
        }
        if (((subset >> i) & 1U) == 0) left.push_back(i);
      }
      enq(queue);
      left.push_back(6);
      EXPECT_EQ(walk(queue), left);
      EXPECT_EQ(queue.count(), left.size());
      EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{left.front(), 7}));
    }
  }
  EXPECT_EQ(Member::alive, 0);
}

TEST(LinkQueue, IndexesWrap) {
  Queue queue;
  startBefore(queue, 0xfffffffeU);
  fill(queue, 4);
  EXPECT_EQ(walk(queue), (Indexes{0xfffffffeU, 0xffffffffU, 0, 1}));
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{0xfffffffeU, 2}));
  EXPECT_EQ(queue.startAt(0xffffffffU)->zef_index(), 0xffffffffU);
  EXPECT_EQ(queue.startAt(1)->zef_index(), 1U);
  auto at = queue.startAt(0xffffffffU);
  queue.memberDel(0xffffffffU);
  queue.memberDel(0);
  ++at;
  ASSERT_TRUE(at);
  EXPECT_EQ(at->zef_index(), 1U) << "behind the wrap";
  EXPECT_EQ(thrown([&] { queue.doMemberIs(3, nullptr, true); }), "linkqueue index out of range");
  queue.doMemberIs(0, make<Member>(), true);
  EXPECT_EQ(walk(queue), (Indexes{0xfffffffeU, 0, 1}));
}

TEST(LinkQueue, ASpanOfAllIndexesIsFull) {
  Queue queue;
  auto const head = enq(queue);
  auto const tail = enq(queue);
  tail->zef_indexIs(0xfffffffeU);
  EXPECT_EQ(thrown([&] { enq(queue); }), "linkqueue index space full");
  EXPECT_EQ(queue.count(), 2U);
  EXPECT_EQ(Member::alive, 2);
  EXPECT_EQ(queue.memberDel(), head);
  EXPECT_EQ(enq(queue)->zef_index(), 0xffffffffU) << "there is room again once the head has gone";
  EXPECT_EQ(enq(queue)->zef_index(), 0U);
  EXPECT_EQ(walk(queue), (Indexes{0xfffffffeU, 0xffffffffU, 0}));
}

TEST(LinkQueue, DoMemberIs) {
  struct Case {
    char const* what;
    U32 index;
    enum Which { fresh, none, first, third } member;
    bool mayReplace;
    Indexes after;
    char const* error;
  };
  char const* const range = "linkqueue index out of range";
  // The queue holds 1, 2, 4 and 5; 6 is the next free index.
  for (Case const& c : {
           Case{"the next free index appends", 6, Case::fresh, false, {1, 2, 4, 5, 6}, "nothing"},
           Case{"beyond it", 7, Case::fresh, true, {1, 2, 4, 5}, range},
           Case{"before the head", 0, Case::fresh, true, {1, 2, 4, 5}, range},
           Case{"a hole is filled", 3, Case::fresh, false, {1, 2, 3, 4, 5}, "nothing"},
           Case{"the head is replaced", 1, Case::fresh, true, {1, 2, 4, 5}, "nothing"},
           Case{"the tail is replaced", 5, Case::fresh, true, {1, 2, 4, 5}, "nothing"},
           Case{"not without leave", 2, Case::fresh, false, {1, 2, 4, 5}, range},
           Case{"null deletes", 2, Case::none, false, {1, 4, 5}, "nothing"},
           Case{"null in a hole", 3, Case::none, false, {1, 2, 4, 5}, "nothing"},
           Case{"null at the next free index", 6, Case::none, false, {1, 2, 4, 5}, range},
           Case{"a member where it stands", 4, Case::third, false, {1, 2, 4, 5}, "nothing"},
           Case{"a member moves into a hole", 3, Case::third, false, {1, 2, 3, 5}, "nothing"},
           Case{"a member takes another's place", 2, Case::third, false, {1, 2, 5}, "nothing"},
           Case{"the head moves up", 4, Case::first, false, {2, 4, 5}, "nothing"},
           Case{"a member moves to the end", 6, Case::first, false, {2, 4, 5, 6}, "nothing"},
       }) {
    SCOPED_TRACE(c.what);
    Queue queue;
    fill(queue, 6);
    queue.memberDel(0);
    queue.memberDel(3);
    Ptr<Member> const member = c.member == Case::fresh   ? make<Member>()
                               : c.member == Case::none  ? nullptr
                               : c.member == Case::first ? queue.find(1)
                                                         : queue.find(4);
    EXPECT_EQ(thrown([&] { queue.doMemberIs(c.index, member, c.mayReplace); }), c.error);
    EXPECT_EQ(walk(queue), c.after);
    EXPECT_EQ(queue.count(), c.after.size());
    EXPECT_EQ(queue.metadata().head, c.after.front());
    if (member && std::string("nothing") == c.error) {
      EXPECT_EQ(queue.find(c.index), member);
    }
    EXPECT_EQ(enq(queue)->zef_index(), std::max(6U, c.after.back() + 1)) << "the tail is where it should be";
    EXPECT_EQ(walk(queue).size(), c.after.size() + 1);
    for (U32 const index : Indexes(c.after.rbegin(), c.after.rend())) queue.memberDel(*queue.find(index));
    EXPECT_EQ(queue.metadata().head + 1, queue.metadata().next) << "the way back is as good";
  }
  EXPECT_EQ(Member::alive, 0);
}

TEST(LinkQueue, ALoneMemberMoves) {
  Queue queue;
  auto const member = enq(queue);
  queue.doMemberIs(1, member, false);
  EXPECT_EQ(walk(queue), (Indexes{1}));
  EXPECT_EQ(queue.metadata(), (Zef::LinkQueueMetadata{1, 2}));
}

TEST(LinkQueue, AnIteratorSurvivesEveryDeletionAtEveryStop) {
  for (unsigned stop = 0; stop < 6; ++stop) {
    for (unsigned subset = 0; subset < 64; ++subset) {
      Queue queue;
      fill(queue, 6);
      auto at = queue.iterator();
      while (at->zef_index() != stop) ++at;
      Indexes expected;
      for (unsigned i = 0; i < 6; ++i) {
        if (((subset >> i) & 1U) != 0) {
          queue.memberDel(i);
        } else if (i > stop) {
          expected.push_back(i);
        }
      }
      if (subset % 2 == 0) {
        enq(queue);
        expected.push_back(6);
      }
      EXPECT_EQ(at->zef_index(), stop);
      Indexes visited;
      for (++at; at; ++at) visited.push_back(at->zef_index());
      ASSERT_EQ(visited, expected) << subset << " at " << stop;
    }
  }
}

TEST(LinkQueue, StartAtGoesToTheIndexOrToWhatFollows) {
  Queue queue;
  fill(queue, 6);
  for (U32 const gone : {0U, 3U, 4U}) queue.memberDel(gone);
  struct Case {
    U32 from;
    Indexes visited;
  };
  for (Case const& c : {Case{0, {1, 2, 5}}, Case{0xfffffff0U, {1, 2, 5}}, Case{1, {1, 2, 5}}, Case{2, {2, 5}},
                        Case{3, {5}}, Case{5, {5}}, Case{6, {}}, Case{0x70000000U, {}}}) {
    Indexes visited;
    for (auto at = queue.startAt(c.from); at; ++at) visited.push_back(at->zef_index());
    EXPECT_EQ(visited, c.visited) << c.from;
  }
}

TEST(LinkQueue, ALongQueueEndsWithoutDeepRecursion) {
  {
    Queue queue;
    fill(queue, 300000);
    auto const at = queue.startAt(1);
  }
  EXPECT_EQ(Member::alive, 0);
}

TEST(LinkQueue, AHeadThatChangedItsIndexCanStillBeTaken) {
  Queue queue;
  enq(queue)->zef_indexIs(7);
  EXPECT_EQ(queue.memberDel()->zef_index(), 7U);
  EXPECT_EQ(queue.count(), 0U);
}

}  // namespace
