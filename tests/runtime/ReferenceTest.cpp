// The reference word and the pointers that keep it.

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/kit/Ptr.h"

namespace {

using Zef::make;
using Zef::Ptr;
using Zef::PtrInterface;

// How often an object lost its last reference, and how many objects ended.
using Log = std::pair<int, int>;

struct Probe : PtrInterface {
  explicit Probe(Log& theLog) : log(theLog) {}
  ~Probe() override {
    ++log.second;
    if (inDestructor) inDestructor(*this);
  }
  void zeroReferencesIs(bool zero) override {
    PtrInterface::zeroReferencesIs(zero);
    ++log.first;
    if (auto const deed = std::exchange(inZeroReferences, nullptr)) deed(*this);
  }
  // Ends as its only owner lets it go.
  void drop() {
    wordIs(1);
    Ptr<Probe>::adopt(this);
  }

  Log& log;
  std::function<void(Probe&)> inZeroReferences;  // once
  std::function<void(Probe&)> inDestructor;
  Ptr<Probe> next;
};

struct References : testing::Test {
  Log log;
};

TEST_F(References, AreCounted) {
  {
    Ptr<Probe> const first = make<Probe>(log);
    EXPECT_EQ(first->word(), 1U);
    Ptr<PtrInterface const> const second = first;
    EXPECT_EQ(first->word(), 2U);
    Ptr<Probe> third = first;
    Ptr<Probe> const target = std::move(third);
    EXPECT_EQ(first->word(), 3U);
    first->zefMarkedForDeletionIs(true);
    first->hasNotificationActiveIs(true);
    EXPECT_EQ(first->word(), 0xa0000003U);
    first->zefMarkedForDeletionIs(false);
    EXPECT_EQ(first->word(), 0x20000003U);
  }
  EXPECT_EQ(log, (Log{1, 1}));
}

TEST_F(References, EndWithTheLastOneUnlessHeldOrPinned) {
  for (U32 const word : {1U, 0x20000001U, 0x80000001U, 0xa0000001U, 0x40000001U, 0xe0000001U, 0x1f000000U, 0x1f000001U,
                         0x1fffffffU, 0x1e000001U, 0x3f000001U, 0x9f000001U, 0x5f000001U, 0x0f000001U}) {
    SCOPED_TRACE(word);
    log = {};
    bool const isPinned = word >> 24U == 0x1f;
    int const ends = (word & ~0xa0000000U) == 1 ? 1 : 0;
    auto* const probe = new Probe(log);
    probe->wordIs(word);
    {
      std::vector<Ptr<Probe>> const many(1000, Ptr<Probe>(probe));
      EXPECT_EQ(probe->word(), isPinned ? word : word + 1000);
    }
    EXPECT_EQ(log, Log());
    Ptr<Probe>::adopt(probe);
    EXPECT_EQ(log.second, ends);
    if (ends == 1) continue;
    EXPECT_EQ(probe->word(), isPinned ? word : word - 1);
    probe->drop();
    EXPECT_EQ(log.second, 1);
  }
}

TEST_F(References, ANondestructingObjectOutlivesItsLastPointer) {
  auto* const probe = new Probe(log);
  probe->isNondestructingIs(true);
  Ptr<Probe>::adopt(probe);
  EXPECT_EQ(probe->word(), 0U);
  Ptr<Probe> again(probe);
  again = nullptr;
  EXPECT_EQ(log, (Log{2, 0}));
  again = Ptr<Probe>(probe);
  probe->isNondestructingIs(false);
  again = nullptr;
  EXPECT_EQ(log.second, 1);
}

TEST_F(References, WhatIsTakenAtTheEndSavesTheObject) {
  Ptr<Probe> saved;
  Ptr<Probe> probe = make<Probe>(log);
  auto* const raw = probe.get();
  raw->inZeroReferences = [&](Probe& self) { saved = Ptr<Probe>(&self); };
  probe = nullptr;
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->word(), 1U);
  raw->inZeroReferences = [](Probe& self) { self.wordIs(self.word() | PtrInterface::heldBit); };
  saved = nullptr;
  EXPECT_EQ(log, (Log{2, 0}));
  EXPECT_EQ(raw->word(), PtrInterface::heldBit);
  // Pointers that come and go at the end do not end it twice.
  raw->inZeroReferences = [](Probe& self) { Ptr<Probe>{&self}; };
  raw->inDestructor = [](Probe& self) { Ptr<PtrInterface>{&self}; };
  raw->drop();
  EXPECT_EQ(log, (Log{3, 1}));
}

TEST_F(References, AreCountedFromManyThreads) {
  Ptr<Probe> const probe = make<Probe>(log);
  auto const copyAround = [&] {
    for (int i = 0; i < 100000; ++i) Ptr<Probe const>{probe};
  };
  std::thread other(copyAround);
  copyAround();
  other.join();
  EXPECT_EQ(probe->word(), 1U);
}

TEST_F(References, AssignmentTakesTheNewBeforeItDropsTheOld) {
  Ptr<Probe> head = make<Probe>(log);
  head->next = make<Probe>(log);
  head->next->next = make<Probe>(log);
  head = head->next;  // the new pointee is owned by the old alone
  EXPECT_EQ(log.second, 1);
  head = std::move(head->next);
  EXPECT_EQ(log.second, 2);
  Ptr<Probe> const& self = head;
  head = self;
  EXPECT_EQ(head->word(), 1U);
}

}  // namespace
