// Any bytes as the text of each value type: they are taken or refused, and what is taken is written and read as the
// same value.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "model/OrvaneLib.h"
#include "model/input/Xcvr.h"
#include "runtime/reflection/Strep.h"

namespace {

template <class T>
void check(Zef::String8 const& text) {
  T value;
  try {
    value = Zef::strepToValue<T>(text);
  } catch (Zef::RangeException const&) {
    return;
  }
  Zef::String8 const written = valueToStrep(value);
  // What is no number equals nothing.
  if (written.view().find("nan") != std::string_view::npos) return;
  if (!(Zef::strepToValue<T>(written) == value)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Zef::String8 const text(std::string_view(reinterpret_cast<char const*>(data), size));
  check<Orvane::ContainsEntry>(text);
  check<Orvane::VirtualContainerKey>(text);
  check<Orvane::VirtualContainer>(text);
  check<Orvane::SensorSpec>(text);
  check<Xcvr::DomThreshold>(text);
  return 0;
}
