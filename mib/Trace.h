#pragma once

#include <exception>
#include <string>
#include <type_traits>

#include "platform/agent/NetSnmp.h"
#include "runtime/kit/Trace.h"

// What all MIB modules share besides the table pattern.
namespace Mib {

// The handle that every trace statement of the MIB modules tests.
inline Zef::TraceHandle& traceHandle() {
  static Zef::TraceHandle handle("Snmp", false);
  return handle;
}

// The OID as the agent's tools print it.
std::string oidText(oid const* subidentifiers, std::size_t length);

// Calls what the agent's C code is to have done. Nothing may be thrown through that: what escapes is traced, and
// `failed` is the result.
template <class Call>
std::invoke_result_t<Call> guarded(char const* where, std::invoke_result_t<Call> failed, Call&& call) noexcept {
  try {
    return call();
  } catch (std::exception const& exception) {
    ZEF_TRACE(traceHandle(), 0) << where << " - " << exception.what();
  } catch (...) {
    ZEF_TRACE(traceHandle(), 0) << where << " - unknown exception";
  }
  return failed;
}

}  // namespace Mib
