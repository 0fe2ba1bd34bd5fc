#pragma once

#include <optional>
#include <ostream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "runtime/kit/Exception.h"
#include "runtime/kit/System.h"
#include "runtime/kit/Trace.h"

// What tests of all folders share. It knows runtime/ only.

// Time that stands still until a test moves it.
class SteppedTime final : public Zef::TimeSource {
 public:
  SteppedTime() { Zef::System::timeSourceIs(this); }
  ~SteppedTime() override { Zef::System::timeSourceIs(nullptr); }
  double now() const override { return seconds; }
  double utc() const override { return 1.0e9 + seconds; }
  void step(double by) { seconds += by; }
  double seconds = 1000.0;
};

// A trace line without where it comes from; pointers read PTR.
struct TraceLine {
  unsigned level;
  std::string text;
  bool operator==(TraceLine const& other) const = default;
};
inline void PrintTo(TraceLine const& line, std::ostream* stream) { *stream << line.level << ": " << line.text; }

// What one handle traces while it lives, on those levels.
class TraceCapture {
 public:
  explicit TraceCapture(std::string handle, U32 levels = 0x3ff) : handle_(std::move(handle)) {
    Zef::TraceHandle::levelsIs(handle_, levels);
    Zef::traceSinkIs([this](unsigned level, std::string const& line) {
      static std::regex const pointer("0x[0-9a-f]+");
      lines_.push_back({level, std::regex_replace(line.substr(line.find(": ") + 2), pointer, "PTR")});
    });
  }
  ~TraceCapture() {
    Zef::traceSinkIs(nullptr);
    Zef::TraceHandle::levelsIs(handle_, 0);
  }
  TraceCapture(TraceCapture const&) = delete;
  TraceCapture& operator=(TraceCapture const&) = delete;

  std::vector<TraceLine> const& lines() const { return lines_; }
  // The texts since the last call.
  std::vector<std::string> take() {
    std::vector<std::string> texts;
    for (TraceLine& line : std::exchange(lines_, {})) texts.push_back(std::move(line.text));
    return texts;
  }

 private:
  std::string handle_;
  std::vector<TraceLine> lines_;
};

// The text of the exception that the call throws; it must have that id when one is given.
template <class Refused = Zef::RangeException, class Call>
std::string refusal(Call const& call, std::optional<Zef::Exception::Id> id = std::nullopt) {
  try {
    call();
  } catch (Refused const& error) {
    return id && !error.ids().has(*id) ? "without its id" : error.text();
  }
  return "no refusal";
}
