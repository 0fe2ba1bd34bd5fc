#pragma once

#include "platform/agent/NetSnmp.h"
#include "runtime/kit/String8.h"
#include "runtime/kit/Types.h"

// Values on their way to the wire. Each functor writes a value into a buffer in the form that snmp_set_var_typed_value
// takes for its ASN type, and returns the number of bytes, or a negative number when there is no such form or no room
// for it. A text that is longer than the capacity is cut in the buffer but counted whole: the caller compares. None of
// them throws.

// A machine-order long integer.
struct S32ToAsnIntegerF {
  static constexpr char const* name = "S32ToAsnInteger";
  static constexpr u_char type = ASN_INTEGER;
  int operator()(int value, unsigned char* buffer, int capacity) const noexcept;
};

// A machine-order long.
struct U32ToAsnUnsignedF {
  static constexpr char const* name = "U32ToAsnUnsigned";
  static constexpr u_char type = ASN_GAUGE;
  int operator()(unsigned value, unsigned char* buffer, int capacity) const noexcept;
};

// A TruthValue: 1 for true, 2 for false.
struct BoolToAsnIntegerF {
  static constexpr char const* name = "BoolToAsnInteger";
  static constexpr u_char type = ASN_INTEGER;
  int operator()(bool value, unsigned char* buffer, int capacity) const noexcept;
};

struct StringToAsnOctetStringF {
  static constexpr char const* name = "StringToAsnOctetString";
  static constexpr u_char type = ASN_OCTET_STR;
  int operator()(Zef::String8 const& value, unsigned char* buffer, int capacity) const noexcept;
};

// A dotted OID as an array of sub-identifiers. An OBJECT IDENTIFIER has two at least, so a text of one component gets a
// zero behind it: "0" is 0.0.
struct StringToAsnOidF {
  static constexpr char const* name = "StringToAsnOid";
  static constexpr u_char type = ASN_OBJECT_ID;
  int operator()(Zef::String8 const& value, unsigned char* buffer, int capacity) const noexcept;
};

// A time of the reactor clock (Zef::System::currentTime()) as the hundredths of a second at which sysUpTime stood at
// that moment, modulo 2^32. A time before the agent's start, such as the 0.0 of something that never happened, is 0.
struct SecondsToTimeTicksF {
  static constexpr char const* name = "SecondsToTimeTicks";
  static constexpr u_char type = ASN_TIMETICKS;
  int operator()(double value, unsigned char* buffer, int capacity) const noexcept;
};

struct NowSecondsToUptimeTimeTicksF : SecondsToTimeTicksF {
  static constexpr char const* name = "NowSecondsToUptimeTimeTicks";
};

// Seconds since 1970-01-01 00:00 UTC as a DateAndTime of 11 bytes, in UTC.
struct SecondsToAsnDateAndTimeF {
  static constexpr char const* name = "SecondsToAsnDateAndTime";
  static constexpr u_char type = ASN_OCTET_STR;
  int operator()(double value, unsigned char* buffer, int capacity) const noexcept;
};

template <class T, class F>
int SnmpConvert(T value, unsigned char* buffer, int capacity) {
  return F()(value, buffer, capacity);
}

// The other way: the integer value of a varbind. RangeException (id 12) when it does not fit into 32 bits.
S32 AsnIntegerToS32(void const* value);

namespace Snmp {

// Adds a sub-identifier to an OID of `length` in an array of `size` bytes, and returns the new length. RangeException
// when the array is full.
int AppendToOid(unsigned long* oid, int length, int size, int subidentifier);

}  // namespace Snmp
