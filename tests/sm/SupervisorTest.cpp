// The election of supervisors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/fru/Fru.h"
#include "tests/sm/Bench.h"

namespace Orvane {
namespace {

using Election::PeerState;
using Election::RedundancyMode;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Supervisors : public testing::Test {
 protected:
  static constexpr U32 mine = 10000001;
  static constexpr U32 peer = 20000001;

  void SetUp() override {
    bench.publishChassis();
    bench.start();
  }
  void TearDown() override { Fru::slotIdIs(1); }
  void insert(unsigned slot) {
    std::string const path = "chassis.cardSlot." + std::to_string(slot);
    bench.put(path, "CardSlot");
    bench.put(cardIn(path, "Supervisor"));
    bench.takeWaiting();
  }
  void elect(RedundancyMode own, PeerState state, RedundancyMode other) {
    Zef::Batch const batch;
    election->redundancyModeIs(own);
    election->peerStateIs(state);
    election->peerRedundancyModeIs(other);
  }
  void electMe() { elect(RedundancyMode::active, PeerState::present, RedundancyMode::standby); }
  void follow() { bench.root->handleRedundancy(election); }
  std::string shown(U32 row) {
    return bench.stateOf(row) + " standby " + std::to_string(bench.stateMib->stateEntity(row)->standbyStatus());
  }

  Bench bench;
  Zef::Ptr<Election::Status> election = Zef::make<Election::Status>("election");
};

TEST_F(Supervisors, ShowTheElectionOnce) {
  insert(1);
  insert(2);
  follow();
  EXPECT_THAT(bench.takeWaiting(), IsEmpty()) << "not the active one";
  bench.time.step(1);
  electMe();
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("10000001 3,4", "20000001 3,4"));
  EXPECT_EQ(shown(mine), "3,4 at 1001 standby 4");
  EXPECT_EQ(shown(peer), "3,4 at 1001 standby 2");
  bench.pass(20);
  bench.root->redundancySm()->doRedundancyStatus();
  EXPECT_THAT(bench.takeWaiting(), IsEmpty()) << "nothing has changed";

  election->peerRedundancyModeIs(RedundancyMode::disabled);
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("20000001 2,2"));
  EXPECT_EQ(shown(peer), "2,2 at 1021 standby 1");
  election->peerRedundancyModeIs(RedundancyMode(7));
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("20000001 1,1"));
  EXPECT_EQ(shown(peer), "1,1 at 1021 standby 1");
  auto const reactor = bench.root->redundancySm();
  follow();
  EXPECT_EQ(bench.root->redundancySm(), reactor);
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
  elect(RedundancyMode::standby, PeerState::present, RedundancyMode::active);
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
  // Active once more: what it showed of itself before still stands.
  electMe();
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("20000001 3,4"));
}

TEST_F(Supervisors, MayBeFollowedBeforeTheProjectionStarts) {
  insert(1);
  elect(RedundancyMode::active, PeerState::absent, RedundancyMode::unknown);
  bench.makeRoot();
  follow();
  EXPECT_TRUE(bench.root->constants()) << "needed already";
  bench.start();
  follow();
  EXPECT_THAT(bench.stateOf(mine), HasSubstr("3,4"));
}

TEST_F(Supervisors, RunInTheSlotThatTheyAreTold) {
  insert(1);
  insert(2);
  Fru::slotIdIs(2);
  electMe();
  follow();
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("20000001 3,4", "10000001 3,4"));
  EXPECT_THAT(shown(mine), HasSubstr("standby 2"));
}

// It looks again every five seconds until the cards are there that the election speaks of.
TEST_F(Supervisors, WaitForTheInventory) {
  electMe();
  follow();
  insert(1);
  bench.pass(5);
  EXPECT_THAT(bench.takeWaiting(), IsEmpty()) << "the peer is still missing";
  insert(2);
  bench.pass(4.5);
  EXPECT_THAT(bench.takeWaiting(), IsEmpty());
  bench.pass(0.5);
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("10000001 3,4", "20000001 3,4"));
  Tracing tracing{1U << 9U};
  bench.pass(60);
  EXPECT_THAT(tracing.take(), Not(Contains(HasSubstr("RedundancyCardName")))) << "no timer is left";
  // The peer is said to be gone before its card is.
  auto const reactor = bench.root->redundancySm();
  election->peerStateIs(PeerState::absent);
  EXPECT_EQ(reactor->peerState(), PeerState::present);
  bench.drop("chassis.cardSlot.2.card");
  bench.pass(5);
  EXPECT_EQ(reactor->peerState(), PeerState::absent);
  // Alone from the start.
  bench.root->redundancySmDel();
  bench.takeWaiting();
  follow();
  EXPECT_THAT(bench.takeWaiting(), ElementsAre("10000001 3,4"));
}

}  // namespace
}  // namespace Orvane
