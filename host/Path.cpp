#include "host/Path.h"

#include <charconv>

namespace Host {

using Zef::String8;

std::string stepOf(std::string_view name) {
  if (name.empty()) return "%";
  std::string step;
  for (char const c : name) {
    bool const plain = static_cast<unsigned char>(c) > ' ' && c != '\x7f' && c != '%' && c != '/';
    bool const first = step.empty() && (c == '!' || c == '.');
    step += plain && !first ? std::string(1, c)
                            : Zef::format("%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c))).charPtr();
  }
  return step;
}

std::vector<String8> stepsOf(std::string_view path) {
  std::vector<String8> steps;
  std::string step;
  std::size_t begin = 0;
  auto const close = [&](std::size_t stop) {
    if (stop != begin)
      steps.emplace_back(path.substr(begin, stop - begin) == "%" ? std::string_view() : std::string_view(step));
    step.clear();
    begin = stop + 1;
  };
  for (std::size_t at = 0; at < path.size(); ++at) {
    unsigned character = 0;
    if (path[at] == '/') {
      close(at);
    } else if (path[at] == '%' && path.size() - at > 2 &&
               std::from_chars(&path[at + 1], &path[at] + 3, character, 16).ptr == &path[at] + 3) {
      step += static_cast<char>(character);
      at += 2;
    } else {
      step += path[at];
    }
  }
  close(path.size());
  return steps;
}

}  // namespace Host
