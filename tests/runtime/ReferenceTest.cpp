// The reference word and the pointers that keep it.

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "runtime/kit/Ptr.h"
#include "tests/Support.h"

namespace {

using Zef::make;
using Zef::Ptr;
using Zef::PtrInterface;

// Tells what became of it.
class Probe : public PtrInterface {
 public:
  struct Log {
    int zeroed = 0;
    int destroyed = 0;
    bool operator==(Log const&) const = default;
  };

  explicit Probe(Log& log) : log_(log) {}
  ~Probe() override {
    ++log_.destroyed;
    if (inDestructor) inDestructor(*this);
  }
  void zeroReferencesIs(bool zero) override {
    PtrInterface::zeroReferencesIs(zero);
    ++log_.zeroed;
    if (auto const deed = std::exchange(inZeroReferences, nullptr)) deed(*this);
  }
  // Ends as its only owner lets it go.
  void drop() {
    wordIs(1);
    Ptr<Probe>::adopt(this);
  }

  std::function<void(Probe&)> inZeroReferences;  // once
  std::function<void(Probe&)> inDestructor;
  Ptr<Probe> next;

 private:
  Log& log_;
};

struct References : testing::Test {
  Probe::Log log;
};

TEST_F(References, AreCounted) {
  {
    Ptr<Probe> const first = make<Probe>(log);
    EXPECT_EQ(first->word(), 1U);
    Ptr<PtrInterface const> const second = first;
    EXPECT_EQ(first->word(), 2U);
    Ptr<Probe> moved = Ptr<Probe>(first);
    Ptr<Probe> const target = std::move(moved);
    EXPECT_EQ(first->word(), 3U);
    first->zefMarkedForDeletionIs(true);
    first->hasNotificationActiveIs(true);
    EXPECT_EQ(first->word(), 0xa0000003U);
    first->zefMarkedForDeletionIs(false);
    EXPECT_EQ(first->word(), 0x20000003U);
    EXPECT_TRUE(first->hasNotificationActive());
  }
  EXPECT_EQ(log, (Probe::Log{1, 1}));
}

// What the last pointer does beside the flags.
TEST_F(References, OnlyAHoldOutlivesTheLast) {
  constexpr U32 active = PtrInterface::notificationActiveBit;
  constexpr U32 held = PtrInterface::heldBit;
  constexpr U32 marked = PtrInterface::markedForDeletionBit;
  for (U32 const flags : {0U, active, marked, active | marked, held, held | active | marked}) {
    SCOPED_TRACE(flags);
    log = {};
    auto* const probe = new Probe(log);
    probe->wordIs(flags | 1U);
    Ptr<Probe>::adopt(probe);
    int const ends = (flags & held) == 0 ? 1 : 0;
    EXPECT_EQ(log, (Probe::Log{ends, ends}));
    if (ends == 1) continue;
    EXPECT_EQ(probe->word(), flags);
    probe->drop();
    EXPECT_EQ(log.destroyed, 1);
  }
}

TEST_F(References, OnlyTheTopByte1fPins) {
  for (U32 const word :
       {0x1f000000U, 0x1f000001U, 0x1fffffffU, 0x1e000001U, 0x3f000001U, 0x9f000001U, 0x5f000001U, 0x0f000001U}) {
    SCOPED_TRACE(word);
    log = {};
    auto* const probe = new Probe(log);
    probe->wordIs(word);
    {
      std::vector<Ptr<Probe>> const many(1000, Ptr<Probe>(probe));
      EXPECT_EQ(probe->word(), word >> 24U == 0x1f ? word : word + 1000);
    }
    EXPECT_EQ(probe->word(), word);
    EXPECT_EQ(log, Probe::Log());
    probe->drop();
    EXPECT_EQ(log.destroyed, 1);
  }
}

TEST_F(References, ANondestructingObjectOutlivesItsLastPointer) {
  auto* const probe = new Probe(log);
  probe->isNondestructingIs(true);
  Ptr<Probe>::adopt(probe);
  EXPECT_EQ(probe->word(), 0U);
  Ptr<Probe> again(probe);
  EXPECT_EQ(probe->word(), 1U);
  again = nullptr;
  EXPECT_EQ(log, (Probe::Log{2, 0}));
  again = Ptr<Probe>(probe);
  probe->isNondestructingIs(false);
  again = nullptr;
  EXPECT_EQ(log.destroyed, 1);
}

TEST_F(References, WhatIsTakenAtTheEndSavesTheObject) {
  Ptr<Probe> saved;
  Ptr<Probe> probe = make<Probe>(log);
  probe->inZeroReferences = [&](Probe& self) { saved = Ptr<Probe>(&self); };
  probe = nullptr;
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->word(), 1U);
  auto* const raw = saved.get();
  raw->inZeroReferences = [](Probe& self) { self.wordIs(self.word() | PtrInterface::heldBit); };
  saved = nullptr;
  EXPECT_EQ(log, (Probe::Log{2, 0}));
  EXPECT_EQ(raw->word(), PtrInterface::heldBit);
  // Pointers that come and go at the end do not end it twice.
  raw->inZeroReferences = [](Probe& self) { Ptr<Probe>{&self}; };
  raw->inDestructor = [](Probe& self) { Ptr<PtrInterface>{&self}; };
  raw->drop();
  EXPECT_EQ(log, (Probe::Log{3, 1}));
}

TEST_F(References, AreCountedFromManyThreads) {
  Ptr<Probe> const probe = make<Probe>(log);
  auto const copyAround = [&probe] {
    for (int i = 0; i < 50000; ++i) {
      Ptr<Probe const> const first = probe;
      Ptr<Probe const> const second = first;  // NOLINT(performance-unnecessary-copy-initialization)
    }
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
  EXPECT_EQ(log.destroyed, 1);
  EXPECT_EQ(head->word(), 1U);
  head = std::move(head->next);
  EXPECT_EQ(log.destroyed, 2);
  Ptr<Probe> const& self = head;
  head = self;
  EXPECT_EQ(head->word(), 1U);
}

TEST_F(References, ConvertOrRefuse) {
  class Other : public PtrInterface {};
  Ptr<PtrInterface> const probe = make<Probe>(log);
  EXPECT_EQ(Zef::dynamicCast<Probe>(probe), probe);
  EXPECT_EQ(probe->word(), 1U);
  EXPECT_FALSE(Zef::dynamicCast<Other>(probe));
  EXPECT_FALSE(Zef::dynamicCast<Probe>(Ptr<PtrInterface>()));
  Ptr<PtrInterface> const back = Zef::ValidPtr<PtrInterface>(probe);
  EXPECT_EQ(back, probe);
  EXPECT_EQ(refusal([] { Zef::ValidPtr<Probe>(Ptr<Probe>()); }), "null ValidPtr");
}

}  // namespace
