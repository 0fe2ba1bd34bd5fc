#pragma once

#include <cstdint>

#include "runtime/kit/Types.h"

namespace Orvane {

// The low 32 bits of a rounded number as a 64-bit integer. NaN, and what no such integer holds, count as the integer
// with only its top bit set, which is what the processor's own conversion makes of them; so they give 0.
inline U32 low32(double rounded) {
  constexpr double limit = 9223372036854775808.0;  // 2 to the 63
  if (!(rounded >= -limit && rounded < limit)) return 0;
  return static_cast<U32>(static_cast<std::int64_t>(rounded));
}

}  // namespace Orvane
