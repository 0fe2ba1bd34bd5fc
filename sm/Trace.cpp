#include "sm/Trace.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Orvane {

Zef::TraceHandle& orvaneTrace() {
  static Zef::TraceHandle handle("Orvane", false);
  return handle;
}

std::string objectText(Zef::Entity const& entity) { return std::string(entity.fullName().view()); }

std::string classText(std::type_info const& type) {
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> const text(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                         &std::free);
  return status == 0 ? text.get() : type.name();
}

}  // namespace Orvane
