#include "platform/text/Printable.h"

#include <gtest/gtest.h>

namespace {

TEST(Printable, ShowsWhatIsForeignOnItsLine) {
  struct {
    std::string text;
    std::string shown;
  } const cases[] = {
      {"Ethernet3/5, 100 % \\ ä € 𝄞 用", "Ethernet3/5, 100 % \\ ä € 𝄞 用"},
      {"a\nb\r\x1b[2J\x7f", R"(a\x0ab\x0d\x1b[2J\x7f)"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\u0085 \u061c \u200b \u2028 \u202e \u2066 \ufeff \U000e0041",
       R"(\xc2\x85 \xd8\x9c \xe2\x80\x8b \xe2\x80\xa8 \xe2\x80\xae \xe2\x81\xa6 \xef\xbb\xbf \xf3\xa0\x81\x81)"},
      // No UTF-8: a byte alone, cut short, a long spelling, half a pair, beyond the last character.
      {"\x80 \xe2\x82 \xc0\x8a \xe0\x80\x8a \xed\xa0\x80 \xf4\x90\x80\x80",
       R"(\x80 \xe2\x82 \xc0\x8a \xe0\x80\x8a \xed\xa0\x80 \xf4\x90\x80\x80)"},
      {std::string(200, 'x'), std::string(200, 'x')},
      {std::string(201, 'x'), std::string(200, 'x') + "... (201 bytes)"},
      {std::string(199, 'x') + "€", std::string(199, 'x') + "... (202 bytes)"},
  };
  for (auto const& each : cases) {
    EXPECT_EQ(Text::printable(each.text), each.shown);
    EXPECT_EQ(Text::printable(each.shown, 1000), each.shown);
  }
}

}  // namespace
