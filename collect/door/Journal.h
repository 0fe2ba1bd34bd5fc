#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace Collect {

// As the journal's priorities (sd-daemon(3)).
enum class Severity { error = 3, warning = 4, info = 6 };

// What the process says. Every text may hold foreign words: each is one printable line, and there are few of them.
class Journal {
 public:
  using Sink = std::function<void(Severity, std::string const&)>;

  // To standard error, with the journal's priority in front where it goes there.
  Journal();
  explicit Journal(Sink sink);

  void say(Severity severity, std::string_view text);
  // What is wrong with the subject: said when it is not what was said of it last. Nothing at all when it is well, which
  // is said too, if it was not.
  void trouble(std::string const& subject, std::string const& what);

 private:
  Sink sink_;
  std::map<std::string, std::string> troubles_;
  std::chrono::steady_clock::time_point second_;
  unsigned said_ = 0;
  unsigned leftOut_ = 0;
};

}  // namespace Collect
