#pragma once

#include <functional>

namespace Zef {

// A broken invariant inside the process: says so on standard error and through the sink (the agent's log), and ends it.
[[noreturn]] void assertionFailed(char const* text, char const* file, int line, char const* function);

// Where the text of a failed assertion goes besides standard error.
void assertionSinkIs(std::function<void(char const* message)> sink);

}  // namespace Zef

#define ZEF_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::Zef::assertionFailed(#condition, __FILE__, __LINE__, __PRETTY_FUNCTION__))
