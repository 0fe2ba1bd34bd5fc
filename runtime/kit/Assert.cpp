#include "runtime/kit/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace Zef {

namespace {
std::function<void(char const*)>& sink() {
  static std::function<void(char const*)> theSink;
  return theSink;
}
}  // namespace

void assertionSinkIs(std::function<void(char const* message)> newSink) { sink() = std::move(newSink); }

void assertionFailed(char const* text, char const* file, int line, char const* function) {
  std::string const message =
      std::string(file) + ":" + std::to_string(line) + ": " + function + ": Assertion `" + text + "' failed.";
  std::fprintf(stderr, "%s\n", message.c_str());
  if (sink()) sink()(message.c_str());
  std::abort();
}

}  // namespace Zef
