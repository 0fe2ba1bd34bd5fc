#pragma once

#include <concepts>
#include <string>
#include <typeinfo>

#include "runtime/kit/Trace.h"
#include "runtime/reflection/Entity.h"

namespace Orvane {

// The handle of the projection and of the status reactors: level 0 for errors, 3 for skipped records, 5 for return
// codes of notifications, 8 for the entry of an operation, 9 for details.
Zef::TraceHandle& orvaneTrace();

// An object in a trace: an entity by its full name, anything else by its class.
std::string objectText(Zef::Entity const& entity);
std::string classText(std::type_info const& type);
template <class T>
requires(!std::derived_from<T, Zef::Entity>) std::string objectText(T const& object) {
  return classText(typeid(object));
}

template <class Object, class... Arguments>
void traceEntry(Object const& object, char const* file, int line, char const* function, Arguments const&... arguments) {
  if (!orvaneTrace().active(8)) return;
  Zef::TraceStatement statement(orvaneTrace(), 8, file, line, function);
  statement.stream() << objectText(object) << "::" << function;
  if constexpr (sizeof...(arguments) == 0) {
    statement.stream() << "()";
  } else {
    char const* separator = "( ";
    ((statement.stream() << separator << arguments, separator = ", "), ...);
    statement.stream() << " )";
  }
}

}  // namespace Orvane

// How every handler and operation opens: a block timer, and the level 8 trace of its name and arguments.
#define ORVANE_ENTRY_OF(object, ...) \
  ZEF_BLOCK_TIMER();                 \
  ::Orvane::traceEntry(object, __FILE__, __LINE__, __func__ __VA_OPT__(, ) __VA_ARGS__)
#define ORVANE_ENTRY(...) ORVANE_ENTRY_OF(*this __VA_OPT__(, ) __VA_ARGS__)

#define ORVANE_TRACE(level) ZEF_TRACE(::Orvane::orvaneTrace(), level)
