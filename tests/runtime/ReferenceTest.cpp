// The reference word and the pointers that keep it.

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "runtime/kit/Ptr.h"

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
  };

  explicit Probe(Log& log) : log_(log) {}
  ~Probe() override {
    ++log_.destroyed;
    if (inDestructor) inDestructor(*this);
  }
  void zeroReferencesIs(bool zero) override {
    PtrInterface::zeroReferencesIs(zero);
    ++log_.zeroed;
    if (inZeroReferences) inZeroReferences(*this);
  }

  std::function<void(Probe&)> inZeroReferences;
  std::function<void(Probe&)> inDestructor;
  Ptr<Probe> next;

 private:
  Log& log_;
};

TEST(ReferenceWord, AFreshObjectHasOneOwner) {
  Probe::Log log;
  {
    Ptr<Probe> const first = make<Probe>(log);
    EXPECT_EQ(first->word(), 1U);
    Ptr<PtrInterface const> const second = first;
    EXPECT_EQ(first->word(), 2U);
    Ptr<Probe> moved = Ptr<Probe>(first);
    Ptr<Probe> const target = std::move(moved);
    EXPECT_EQ(first->word(), 3U);
  }
  EXPECT_EQ(log.zeroed, 1);
  EXPECT_EQ(log.destroyed, 1);
}

TEST(ReferenceWord, FlagsBesideTheLastCount) {
  struct Case {
    U32 flags;
    bool destroyed;
  };
  constexpr U32 active = PtrInterface::notificationActiveBit;
  constexpr U32 held = PtrInterface::heldBit;
  constexpr U32 marked = PtrInterface::markedForDeletionBit;
  for (Case const& c : {Case{0, true}, Case{active, true}, Case{marked, true}, Case{active | marked, true},
                        Case{held, false}, Case{held | active | marked, false}}) {
    SCOPED_TRACE(c.flags);
    Probe::Log log;
    auto* const probe = new Probe(log);
    probe->wordIs(c.flags | 1U);
    Ptr<Probe>::adopt(probe);
    EXPECT_EQ(log.zeroed, c.destroyed);
    EXPECT_EQ(log.destroyed, c.destroyed);
    if (c.destroyed) continue;
    EXPECT_EQ(probe->word(), c.flags);
    probe->wordIs(1);
    Ptr<Probe>::adopt(probe);
    EXPECT_EQ(log.destroyed, 1);
  }
}

TEST(ReferenceWord, FlagsAreSetBesideTheCount) {
  Probe::Log log;
  Ptr<Probe> const probe = make<Probe>(log);
  Ptr<Probe> const again = probe;
  probe->zefMarkedForDeletionIs(true);
  probe->hasNotificationActiveIs(true);
  EXPECT_EQ(probe->word(), 0xa0000002U);
  probe->zefMarkedForDeletionIs(false);
  EXPECT_EQ(probe->word(), 0x20000002U);
  EXPECT_TRUE(probe->hasNotificationActive());
}

TEST(ReferenceWord, OnlyTheTopByte1fPins) {
  struct Case {
    U32 word;
    bool pinned;
  };
  for (Case const& c :
       {Case{0x1f000000U, true}, Case{0x1f000001U, true}, Case{0x1fffffffU, true}, Case{0x1e000001U, false},
        Case{0x3f000001U, false}, Case{0x9f000001U, false}, Case{0x5f000001U, false}, Case{0x0f000001U, false}}) {
    SCOPED_TRACE(c.word);
    Probe::Log log;
    auto* const probe = new Probe(log);
    probe->wordIs(c.word);
    {
      std::vector<Ptr<Probe>> const many(1000, Ptr<Probe>(probe));
      EXPECT_EQ(probe->word(), c.pinned ? c.word : c.word + 1000);
    }
    EXPECT_EQ(probe->word(), c.word);
    EXPECT_EQ(log.zeroed, 0);
    probe->wordIs(1);
    Ptr<Probe>::adopt(probe);
    EXPECT_EQ(log.destroyed, 1);
  }
}

TEST(ReferenceWord, ANondestructingObjectOutlivesItsLastPointer) {
  Probe::Log log;
  auto* const probe = new Probe(log);
  probe->isNondestructingIs(true);
  Ptr<Probe>::adopt(probe);
  EXPECT_EQ(log.zeroed, 1);
  EXPECT_EQ(probe->word(), 0U);
  Ptr<Probe> again(probe);
  EXPECT_EQ(probe->word(), 1U);
  again = nullptr;
  EXPECT_EQ(log.zeroed, 2);
  again = Ptr<Probe>(probe);
  probe->isNondestructingIs(false);
  again = nullptr;
  EXPECT_EQ(log.destroyed, 1);
}

TEST(ReferenceWord, APointerKeptWhileReferencesRunOutSavesTheObject) {
  Probe::Log log;
  Ptr<Probe> saved;
  Ptr<Probe> probe = make<Probe>(log);
  probe->inZeroReferences = [&](Probe& self) { saved = Ptr<Probe>(&self); };
  probe = nullptr;
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->word(), 1U);
  EXPECT_EQ(log.destroyed, 0);
  saved->inZeroReferences = nullptr;
  saved = nullptr;
  EXPECT_EQ(log.zeroed, 2);
  EXPECT_EQ(log.destroyed, 1);
}

TEST(ReferenceWord, PointersThatComeAndGoAtTheEndDoNotEndItTwice) {
  Probe::Log log;
  Ptr<Probe> probe = make<Probe>(log);
  probe->inZeroReferences = [](Probe& self) { Ptr<Probe>{&self}; };
  probe->inDestructor = [](Probe& self) { Ptr<PtrInterface>{&self}; };
  probe = nullptr;
  EXPECT_EQ(log.zeroed, 1);
  EXPECT_EQ(log.destroyed, 1);
}

TEST(ReferenceWord, AHoldTakenAtTheEndSavesTheObject) {
  Probe::Log log;
  auto* const probe = new Probe(log);
  probe->inZeroReferences = [](Probe& self) { self.wordIs(self.word() | PtrInterface::heldBit); };
  Ptr<Probe>::adopt(probe);
  ASSERT_EQ(log.destroyed, 0);
  EXPECT_EQ(probe->word(), PtrInterface::heldBit);
  probe->inZeroReferences = nullptr;
  probe->wordIs(1);
  Ptr<Probe>::adopt(probe);
  EXPECT_EQ(log.destroyed, 1);
}

TEST(ReferenceWord, CountsFromManyThreads) {
  Probe::Log log;
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

TEST(Pointers, AssignmentTakesTheNewBeforeItDropsTheOld) {
  Probe::Log log;
  Ptr<Probe> head = make<Probe>(log);
  head->next = make<Probe>(log);
  head->next->next = make<Probe>(log);
  head = head->next;  // the new pointee is owned by the old alone
  EXPECT_EQ(log.destroyed, 1);
  EXPECT_EQ(head->word(), 1U);
  head = std::move(head->next);
  EXPECT_EQ(log.destroyed, 2);
  EXPECT_EQ(head->word(), 1U);
  Ptr<Probe> const& self = head;
  head = self;
  EXPECT_EQ(head->word(), 1U);
}

TEST(Pointers, AValidPtrIsNeverNull) {
  Probe::Log log;
  Ptr<Probe> const probe = make<Probe>(log);
  Zef::ValidPtr<Probe> const valid(probe);
  Ptr<Probe> const back = valid;
  EXPECT_EQ(back, probe);
  try {
    Zef::ValidPtr<Probe>(Ptr<Probe>());
    FAIL() << "no exception";
  } catch (Zef::RangeException const& exception) {
    EXPECT_STREQ(exception.what(), "null ValidPtr");
  }
}

TEST(Pointers, ADynamicCastToAnotherTypeIsNull) {
  class Other : public PtrInterface {};
  Probe::Log log;
  Ptr<PtrInterface> const probe = make<Probe>(log);
  EXPECT_EQ(Zef::dynamicCast<Probe>(probe), probe);
  EXPECT_EQ(probe->word(), 1U);
  EXPECT_FALSE(Zef::dynamicCast<Other>(probe));
  EXPECT_FALSE(Zef::dynamicCast<Probe>(Ptr<PtrInterface>()));
}

}  // namespace
