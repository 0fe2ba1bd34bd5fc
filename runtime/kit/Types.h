#pragma once

#include <cstdint>

// The numbers of the models.
using U8 = std::uint8_t;
using U32 = std::uint32_t;
using S32 = std::int32_t;

namespace Zef {

// Names one attribute of a type. The first attribute that a type chain declares has firstAttributeId, and ids rise by
// one in declaration order, through a derived type's own attributes. 0 means no attribute.
using AttributeId = S32;

inline constexpr AttributeId firstAttributeId = 258;
// Inherited by every entity, and so below the first declared one.
inline constexpr AttributeId isNondestructingAttr = 257;
// Two ids that stand for all attributes in a delivery.
inline constexpr AttributeId allAttributes = -1;
inline constexpr AttributeId allAttributesAlso = -2;

// Reverses all 32 bits.
constexpr U32 bitReverse(U32 h) {
  h = ((h >> 1) & 0x55555555U) | ((h & 0x55555555U) << 1);
  h = ((h >> 2) & 0x33333333U) | ((h & 0x33333333U) << 2);
  h = ((h >> 4) & 0x0f0f0f0fU) | ((h & 0x0f0f0f0fU) << 4);
  return __builtin_bswap32(h);
}

}  // namespace Zef
