#pragma once

#include <string>
#include <string_view>

namespace Text {

// How much of a foreign text a line of the log shows, and how long a line becomes whatever it carries.
constexpr std::size_t longestText = 200;
constexpr std::size_t longestLine = 2000;

// Foreign text as it may stand in a line of the log: no byte of it ends the line, moves the cursor, changes the order
// in which it is read or is invisible; those, and what is no UTF-8, are shown as \xNN. What is longer than `most` bytes
// is cut there, with its size behind it. What is printable already stays as it is.
std::string printable(std::string_view text, std::size_t most = longestText);

}  // namespace Text
