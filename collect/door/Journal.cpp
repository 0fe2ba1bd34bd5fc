#include "collect/door/Journal.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/text/Printable.h"

namespace Collect {

namespace {

constexpr unsigned mostInASecond = 20;

void toStandardError(Severity severity, std::string const& line) {
  static bool const isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
  if (isJournal) std::fprintf(stderr, "<%d>", static_cast<int>(severity));
  std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace

Journal::Journal() : Journal(toStandardError) {}

Journal::Journal(Sink sink) : sink_(std::move(sink)) {}

void Journal::say(Severity severity, std::string_view text) {
  auto const now = std::chrono::steady_clock::now();
  if (now - second_ >= std::chrono::seconds(1)) {
    second_ = now;
    said_ = 0;
    if (unsigned const before = std::exchange(leftOut_, 0))
      sink_(Severity::warning, "... and " + std::to_string(before) + " lines more, which were left out");
  }
  if (++said_ > mostInASecond) {
    ++leftOut_;
    return;
  }
  sink_(severity, Text::printable(text, Text::longestLine));
}

void Journal::trouble(std::string const& subject, std::string const& what) {
  if (what.empty()) {
    if (troubles_.erase(subject) != 0) say(Severity::info, subject + ": is well again");
    return;
  }
  std::string& last = troubles_[subject];
  if (last == what) return;
  last = what;
  say(Severity::warning, subject + ": " + what);
}

}  // namespace Collect
