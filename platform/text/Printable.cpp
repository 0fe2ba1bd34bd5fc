#include "platform/text/Printable.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Text {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Controls, and Unicode's format characters and separators of lines (categories Cc, Cf, Zl, Zp).
constexpr std::array<Range, 21> unseen{{
    {0x00, 0x1f},       {0x7f, 0x9f},       {0xad, 0xad},       {0x600, 0x605},     {0x61c, 0x61c},
    {0x6dd, 0x6dd},     {0x70f, 0x70f},     {0x890, 0x891},     {0x8e2, 0x8e2},     {0x180e, 0x180e},
    {0x200b, 0x200f},   {0x2028, 0x202e},   {0x2060, 0x206f},   {0xfeff, 0xfeff},   {0xfff9, 0xfffb},
    {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a},
    {0xe0000, 0xe007f},
}};

// How many bytes the character at the beginning takes: 0 when it is none that may be shown.
std::size_t shown(std::string_view text) {
  auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  unsigned char const lead = byte(0);
  std::size_t const size = lead < 0x80 ? 1 : lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
  if (size == 0 || size > text.size()) return 0;
  char32_t character = size == 1 ? lead : lead & (0x7fU >> size);
  for (std::size_t at = 1; at < size; ++at) {
    if ((byte(at) & 0xc0U) != 0x80) return 0;
    character = character << 6U | (byte(at) & 0x3fU);
  }
  constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
  if (character < smallest.at(size) || (character >= 0xd800 && character <= 0xdfff) || character > 0x10ffff) return 0;
  bool const isUnseen = std::any_of(unseen.begin(), unseen.end(), [&](Range const& range) {
    return character >= range.first && character <= range.last;
  });
  return isUnseen ? 0 : size;
}

}  // namespace

std::string printable(std::string_view text, std::size_t most) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string line;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t const size = shown(text.substr(at));
    if (at + std::max<std::size_t>(size, 1) > most) {
      return line + "... (" + std::to_string(text.size()) + " bytes)";
    }
    if (size == 0) {
      auto const byte = static_cast<unsigned char>(text[at++]);
      line += {'\\', 'x', digits[byte >> 4U], digits[byte & 0xfU]};
    } else {
      line += text.substr(at, size);
      at += size;
    }
  }
  return line;
}

}  // namespace Text
