// Trace statements and the trace ring.

#include "runtime/kit/Trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "platform/scrivo/Scrivo.h"
#include "tests/Support.h"

namespace {

using Zef::TraceHandle;

struct Traces : testing::Test {
  ~Traces() override { Zef::coverageStreamIs(nullptr); }
  int operand() { return ++evaluated; }

  TraceCapture capture{"TraceTest", 1U << 0U | 1U << 2U | 1U << 9U};
  TraceHandle const handle{"TraceTest", false};
  int evaluated = 0;
};

TEST_F(Traces, ALevelThatIsOffEvaluatesNothing) {
  for (unsigned level = 0; level < TraceHandle::levels; ++level) {
    bool otherwise = false;
    if (level < TraceHandle::levels)
      ZEF_TRACE(handle, level) << "a third " << 1.0 / 3 << " and " << operand();
    else
      otherwise = true;
    EXPECT_FALSE(otherwise) << "a statement is one statement";
  }
  EXPECT_EQ(capture.lines(), (std::vector<TraceLine>{{0, "a third 0.333333333333 and 1"},
                                                     {2, "a third 0.333333333333 and 2"},
                                                     {9, "a third 0.333333333333 and 3"}}));
}

TEST_F(Traces, ALineSaysWhoWhereAndWhat) {
  std::string said;
  Zef::traceSinkIs([&](unsigned, std::string const& line) { said = line; });
  int const line = __LINE__ + 1;
  ZEF_TRACE(handle, 2) << "what";
  EXPECT_EQ(said, "TraceTest/2 <unknown> TraceTest.cpp:" + std::to_string(line) + " TestBody: what");
}

TEST_F(Traces, OneNameHasOneSetOfLevels) {
  TraceHandle const other("TraceTestOn", true);  // nobody has set its levels
  EXPECT_TRUE(other.enabled(0)) << "on without being asked for";
  { TraceHandle const gone("TraceTest", false); }
  TraceHandle const second("TraceTest", false);
  TraceHandle::levelsIs("TraceTest", 1U << 3U);
  TraceHandle const later("TraceTest", true);
  for (TraceHandle const* each : {&handle, &second, &later}) {
    EXPECT_TRUE(each->enabled(3));
    EXPECT_FALSE(each->enabled(0)) << "what was asked for stands";
  }
  EXPECT_FALSE(other.enabled(3));
}

TEST_F(Traces, CoverageForcesEveryStatement) {
  std::ostringstream coverage;
  Zef::coverageStreamIs(&coverage);
  TraceHandle const later("TraceTestOther", false);
  ZEF_TRACE(handle, 2) << "two " << operand();
  ZEF_TRACE(handle, 7) << "seven " << operand();
  ZEF_TRACE(later, 9) << "nine " << operand();
  Zef::coverageStreamIs(nullptr);
  ZEF_TRACE(handle, 7) << "more " << operand();
  EXPECT_EQ(capture.take(), (std::vector<std::string>{"two 1"})) << "what is merely forced is not traced";
  std::string const text = coverage.str();
  for (char const* line : {": two 1\n", ": seven 2\n", ": nine 3\n"}) EXPECT_NE(text.find(line), std::string::npos);
  EXPECT_EQ(evaluated, 3);
}

struct Ring : testing::Test {
  ~Ring() override { Scrivo::theTraceFileIs(nullptr); }
  static void timed(bool fails) {
    ZEF_BLOCK_TIMER();
    if (fails) throw std::runtime_error("no");
  }
  static void recorded(std::uint64_t value) {
    static Scrivo::MsgId id = 0;
    Scrivo::RingBuf::record(id, "some/where.cpp", 12, "Added Temp Sensor ", value);
  }
  static Scrivo::TraceFile& start(std::size_t capacity) {
    Scrivo::theTraceFileIs(std::make_unique<Scrivo::TraceFile>("OrvaneSm", capacity));
    return *Scrivo::theTraceFile;
  }
};

// A place keeps its message in the next ring, and nothing is done without one.
TEST_F(Ring, RecordsKeepTheirNumbersAndBlocksTheirTime) {
  for (int round = 0; round < 2; ++round) {
    recorded(1);
    timed(false);
    Scrivo::TraceFile const& ring = start(8);
    double last = Scrivo::RingBuf::startMsg();
    recorded(650000001);
    timed(false);
    EXPECT_THROW(timed(true), std::runtime_error);
    auto const records = ring.records();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(ring.message(records[0].message), "where.cpp:12 Added Temp Sensor ");
    EXPECT_EQ(records[0].value, 650000001U);
    EXPECT_EQ(records[1].message, records[2].message) << "one message for each place";
    EXPECT_NE(ring.message(records[1].message).find("Ring::timed(bool)"), std::string::npos);
    for (Scrivo::Record const& record : records) {
      EXPECT_GE(record.start, last);
      EXPECT_GE(record.duration, 0.0);
      last = record.start + record.duration;
    }
    EXPECT_LE(last, Scrivo::RingBuf::startMsg());
    Scrivo::theTraceFileIs(nullptr);
  }
}

TEST_F(Ring, KeepsTheLastOnes) {
  for (std::uint64_t written = 0; written <= 11; ++written) {
    Scrivo::TraceFile const& ring = start(4);
    for (std::uint64_t i = 0; i < written; ++i) recorded(i);
    EXPECT_EQ(ring.written(), written);
    std::vector<Scrivo::Record> const records = ring.records();
    ASSERT_EQ(records.size(), std::min<std::uint64_t>(written, 4));
    for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(records[i].value, written - records.size() + i);
  }
}

TEST_F(Ring, ABlockMayOutliveItsRing) {
  start(4);
  for (std::size_t const later : {0U, 4U}) {
    ZEF_BLOCK_TIMER();
    later == 0 ? Scrivo::theTraceFileIs(nullptr) : void(start(later));
  }
  EXPECT_EQ(Scrivo::theTraceFile->written(), 0U) << "it began without one";
}

}  // namespace
