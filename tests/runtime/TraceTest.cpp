// Trace statements and the trace ring.

#include "runtime/kit/Trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/scrivo/Scrivo.h"

namespace {

using Zef::TraceHandle;

class Traces : public testing::Test {
 protected:
  Traces() {
    Zef::traceSinkIs([this](unsigned level, std::string const& line) {
      levels_.push_back(level);
      lines_.push_back(line);
    });
  }
  ~Traces() override {
    Zef::traceSinkIs(nullptr);
    Zef::coverageStreamIs(nullptr);
    for (char const* name : {"TraceTest", "TraceTestOther"}) TraceHandle::levelsIs(name, 0);
  }
  int operand() { return ++evaluated_; }

  std::vector<unsigned> levels_;
  std::vector<std::string> lines_;
  int evaluated_ = 0;
};

TEST_F(Traces, ALevelThatIsOffEvaluatesNothing) {
  TraceHandle const handle("TraceTest", false);
  TraceHandle::levelsIs("TraceTest", 1U << 0U | 1U << 2U | 1U << 9U);
  for (unsigned level = 0; level < TraceHandle::levels; ++level) {
    ZEF_TRACE(handle, level) << "operand " << operand();
    EXPECT_EQ(handle.enabled(level), level == 0 || level == 2 || level == 9);
  }
  EXPECT_EQ(evaluated_, 3);
  EXPECT_EQ(levels_, (std::vector<unsigned>{0, 2, 9}));
  TraceHandle::levelsIs("TraceTest", 0);
  for (unsigned level = 0; level < TraceHandle::levels; ++level) {
    ZEF_TRACE(handle, level) << operand();
  }
  EXPECT_EQ(evaluated_, 3);
}

TEST_F(Traces, ALineSaysWhoWhereAndWhat) {
  TraceHandle const handle("TraceTest", false);
  TraceHandle::levelsIs("TraceTest", 1U << 4U);
  int const line = __LINE__ + 1;
  ZEF_TRACE(handle, 4) << "a third: " << 1.0 / 3 << " and " << 123456789.25;
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], "TraceTest/4 <unknown> TraceTest.cpp:" + std::to_string(line) +
                           " TestBody: a third: 0.333333333333 and 123456789.25");
}

TEST_F(Traces, OneNameHasOneSetOfLevels) {
  TraceHandle const first("TraceTest", false);
  TraceHandle const second("TraceTest", false);
  TraceHandle const other("TraceTestOn", true);  // nobody has set its levels
  EXPECT_FALSE(first.enabled(0));
  EXPECT_TRUE(other.enabled(0)) << "on without being asked for";
  EXPECT_FALSE(other.enabled(1));
  { TraceHandle const gone("TraceTest", false); }
  TraceHandle::levelsIs("TraceTest", 1U << 3U);
  EXPECT_TRUE(first.enabled(3));
  EXPECT_TRUE(second.enabled(3));
  EXPECT_FALSE(other.enabled(3));
  TraceHandle const later("TraceTest", true);
  EXPECT_TRUE(later.enabled(3)) << "a handle that comes later";
  EXPECT_FALSE(later.enabled(0)) << "what was asked for stands";
}

TEST_F(Traces, CoverageForcesEveryStatement) {
  TraceHandle const handle("TraceTest", false);
  TraceHandle::levelsIs("TraceTest", 1U << 1U);
  std::ostringstream coverage;
  Zef::coverageStreamIs(&coverage);
  ZEF_TRACE(handle, 1) << "one " << operand();
  ZEF_TRACE(handle, 7) << "seven " << operand();
  TraceHandle const later("TraceTestOther", false);
  ZEF_TRACE(later, 9) << "nine " << operand();
  EXPECT_EQ(evaluated_, 3);
  EXPECT_EQ(levels_, (std::vector<unsigned>{1})) << "what is merely forced is not traced";
  std::string const text = coverage.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_LT(text.find("one 1"), text.find("seven 2"));
  EXPECT_NE(text.find("nine 3"), std::string::npos);
  Zef::coverageStreamIs(nullptr);
  ZEF_TRACE(handle, 7) << operand();
  EXPECT_EQ(evaluated_, 3);
  EXPECT_EQ(coverage.str(), text);
}

TEST_F(Traces, AStatementIsOneStatement) {
  TraceHandle const handle("TraceTest", false);
  TraceHandle::levelsIs("TraceTest", 1);
  bool otherwise = false;
  for (bool const condition : {true, false}) {
    if (condition) {
      ZEF_TRACE(handle, 1) << operand();
    } else
      otherwise = true;
  }
  EXPECT_TRUE(otherwise);
  EXPECT_EQ(evaluated_, 0);
}

class Ring : public testing::Test {
 protected:
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

TEST_F(Ring, NothingIsDoneWithoutOne) {
  recorded(1);
  timed(false);
  EXPECT_EQ(Scrivo::theTraceFile, nullptr);
}

TEST_F(Ring, RecordsKeepTheirNumbersAndBlocksTheirTime) {
  Scrivo::TraceFile const& ring = start(8);
  double const before = Scrivo::RingBuf::startMsg();
  recorded(650000001);
  timed(false);
  EXPECT_THROW(timed(true), std::runtime_error);
  double const after = Scrivo::RingBuf::startMsg();
  std::vector<Scrivo::Record> const records = ring.records();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(ring.message(records[0].message), "where.cpp:12 Added Temp Sensor ");
  EXPECT_EQ(records[0].value, 650000001U);
  EXPECT_EQ(records[1].message, records[2].message) << "one message for each place";
  EXPECT_NE(ring.message(records[1].message).find("Ring::timed(bool)"), std::string::npos);
  double last = before;
  for (Scrivo::Record const& record : records) {
    EXPECT_GE(record.start, last);
    EXPECT_GE(record.duration, 0.0);
    last = record.start + record.duration;
  }
  EXPECT_LE(last, after);
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

TEST_F(Ring, APlaceKeepsItsMessageInTheNextRing) {
  start(4);
  timed(false);
  recorded(1);
  Scrivo::TraceFile const& next = start(4);
  recorded(2);
  timed(false);
  ASSERT_EQ(next.records().size(), 2U);
  EXPECT_EQ(next.message(next.records()[0].message), "where.cpp:12 Added Temp Sensor ");
  EXPECT_NE(next.message(next.records()[1].message).find("Ring::timed(bool)"), std::string::npos);
}

TEST_F(Ring, ABlockMayOutliveItsRing) {
  start(4);
  {
    ZEF_BLOCK_TIMER();
    Scrivo::theTraceFileIs(nullptr);
  }
  {
    ZEF_BLOCK_TIMER();
    start(4);
  }
  EXPECT_EQ(Scrivo::theTraceFile->written(), 0U) << "it began without one";
}

}  // namespace
