// Strings, names and exceptions.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <unordered_set>

#include "runtime/kit/Name.h"
#include "runtime/kit/String8.h"
#include "tests/Support.h"

namespace {

using Zef::String8;

// The count stands first in the block of three words before the characters.
std::atomic<U32>& countOf(String8 const& text) {
  return *reinterpret_cast<std::atomic<U32>*>(const_cast<char*>(text.charPtr()) - 3 * sizeof(U32));
}

TEST(Strings, HandlesShareOneBlock) {
  String8 const text("Ethernet3/5");
  EXPECT_EQ(countOf(text), 1U);
  {
    String8 copy = text;
    EXPECT_EQ(countOf(text), 2U);
    copy += "!";
    EXPECT_EQ(countOf(text), 1U);
    EXPECT_EQ(copy, "Ethernet3/5!");
    EXPECT_EQ(text, "Ethernet3/5");
    copy = text;
    copy = copy.charPtr();  // from its own bytes
    String8 const& self = copy;
    copy = self;
    String8 const moved = std::move(copy);
    EXPECT_EQ(moved, "Ethernet3/5");
    EXPECT_EQ(countOf(moved), 1U);
  }
  EXPECT_EQ(countOf(text), 1U);
  countOf(text) = 0x1f000000U;  // pinned
  { std::vector<String8> const many(1000, text); }
  EXPECT_EQ(countOf(text), 0x1f000000U);
  countOf(text) = 1;
}

TEST(Strings, ANullHandleIsAnEmptyText) {
  String8 const null;
  EXPECT_EQ(null.pos(0, "a", 1), -1);
  EXPECT_EQ(null.lastPos(-1, "a", 1), -1);
  EXPECT_STREQ(null.charPtr(), "");
  EXPECT_EQ(null, String8(""));
  EXPECT_EQ(null.hash(), String8("").hash());
  EXPECT_EQ(null + "a", "a" + null);
  for (String8 const& part : {null.lowerCase(~0U), null.substr(0, ~0U)}) EXPECT_EQ(part.length(), 0U);
}

TEST(Strings, Positions) {
  String8 const text("abcabc");
  using Case = std::tuple<long long, std::string, long long, long long>;
  for (auto const& [start, wanted, pos, lastPos] :
       {Case{0, "abc", 0, 0}, Case{1, "abc", 3, 0}, Case{3, "abc", 3, 3}, Case{4, "abc", -1, 3}, Case{-1, "abc", 0, 3},
        Case{99, "abc", -1, 3}, Case{0, "x", -1, -1}, Case{0, "abcabcd", -1, -1}, Case{5, "c", 5, 5},
        Case{0, "c", 2, -1}, Case{4, "c", 5, 2}, Case{2, "", 2, 2}}) {
    SCOPED_TRACE(testing::Message() << wanted << " from " << start);
    auto const length = static_cast<unsigned>(wanted.size());
    std::string const longer = wanted + "X";  // only the given length counts
    EXPECT_EQ(text.pos(start, longer.c_str(), length), pos);
    EXPECT_EQ(text.lastPos(start, longer.c_str(), length), lastPos);
  }
  EXPECT_EQ(text.posOf(1, String8("ab")), 3);
}

TEST(Strings, Parts) {
  String8 const text("Xcvr5");
  using Case = std::tuple<long long, unsigned, char const*>;
  for (auto const& [start, length, part] : {Case{0, ~0U, "Xcvr5"}, Case{4, ~0U, "5"}, Case{1, 3, "cvr"},
                                            Case{4, 9, "5"}, Case{5, ~0U, ""}, Case{9, 1, ""}, Case{0, 0, ""}}) {
    EXPECT_EQ(text.substr(start, length), part) << start << ", " << length;
  }
  EXPECT_EQ(String8("FanTRAY \xc4").lowerCase(~0U), "fantray \xc4");
  EXPECT_EQ(String8("FanTRAY 1").lowerCase(4), "fantRAY 1");
}

TEST(Strings, OrderIsByUnsignedBytes) {
  char const* const ordered[] = {"", "A", "AB", "B", "a", "a\x01", "aa", "z", "\x80", "\xff"};
  for (auto const& left : ordered) {
    for (auto const& right : ordered) {
      EXPECT_EQ(String8(left) < String8(right), &left < &right) << left << ", " << right;
      EXPECT_EQ(String8(left) == String8(right), &left == &right);
      EXPECT_EQ(Zef::Name(left) < Zef::Name(right), &left < &right);
    }
  }
}

TEST(Strings, HashesOfShortNamesSpread) {
  std::unordered_set<U32> all;
  std::vector<unsigned> buckets(64);
  for (int port = 0; port < 1024; ++port) {
    U32 const hash = Zef::Name(Zef::format("Ethernet%d/%d", port / 64, port % 64)).hash();
    all.insert(hash);
    ++buckets[Zef::bitReverse(hash) >> 26U];
  }
  EXPECT_EQ(all.size(), 1024U);
  EXPECT_LT(*std::max_element(buckets.begin(), buckets.end()), 40U);  // 16 each, were they even
}

TEST(Strings, Format) {
  EXPECT_EQ(Zef::format("%s at %lld: %5.2f%%", "x", -7LL, 1.5), "x at -7:  1.50%");
  EXPECT_EQ(Zef::format("<%s>", std::string(10000, 'y').c_str()).length(), 10002U);
}

TEST(Exceptions, CarryTheirText) {
  EXPECT_EQ(refusal([] { Zef::throwRangeException(String8("out of it")); }), "out of it");
  EXPECT_EQ(refusal([] { Zef::throwRangeException("unexpected"); }, Zef::RangeException::id), "without its id");
  EXPECT_EQ(refusal<Zef::NameInUseException>([] { Zef::throwNameInUseException("taken"); }), "taken");
}

}  // namespace
