#include "runtime/kit/Trace.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace Zef {

namespace {
constexpr U32 allLevels = (1U << TraceHandle::levels) - 1;

struct Registry {
  std::map<std::string, U32> levels;
  std::vector<TraceHandle*> handles;
  std::function<void(unsigned, std::string const&)> sink;
};

Registry& registry() {
  static auto* const theRegistry = new Registry;  // handles of other units are destroyed after this one's statics
  return *theRegistry;
}
}  // namespace

std::ostream* coverageStream_ = nullptr;

TraceHandle::TraceHandle(char const* name, bool on)
    : name_(name), mask_(on ? 1U : 0U), forced_(coverageStream_ != nullptr ? allLevels : 0) {
  auto const configured = registry().levels.find(name);
  if (configured != registry().levels.end()) mask_ = configured->second;
  registry().handles.push_back(this);
}

TraceHandle::~TraceHandle() { std::erase(registry().handles, this); }

void TraceHandle::levelsIs(std::string const& name, U32 mask) {
  registry().levels[name] = mask & allLevels;
  for (TraceHandle* handle : registry().handles) {
    if (name == handle->name_) handle->mask_ = mask & allLevels;
  }
}

void TraceHandle::coverageIs(bool on) {
  for (TraceHandle* handle : registry().handles) handle->forced_ = on ? allLevels : 0;
}

void coverageStreamIs(std::ostream* stream) {
  coverageStream_ = stream;
  TraceHandle::coverageIs(stream != nullptr);
}

void traceSinkIs(std::function<void(unsigned level, std::string const& line)> sink) {
  registry().sink = std::move(sink);
}

void traceHelper(char const* handle, char const* object, std::ostringstream const& text, unsigned level, bool enabled,
                 char const* file, int line, char const* function) {
  char const* const slash = std::strrchr(file, '/');
  std::ostringstream message;
  message << handle << '/' << level << ' ' << object << ' ' << (slash == nullptr ? file : slash + 1) << ':' << line
          << ' ' << function << ": " << text.view();
  if (coverageStream_ != nullptr) *coverageStream_ << message.view() << '\n';
  if (!enabled) return;
  if (registry().sink) {
    registry().sink(level, message.str());
  } else {
    std::fprintf(stderr, "%s\n", message.str().c_str());
  }
}

}  // namespace Zef
