#pragma once

#include "model/input/EntityMib.h"
#include "runtime/kit/Ptr.h"

// Conversions beside those of platform/agent, for values that only these MIBs have. They write into the buffer and
// return the number of bytes, or a negative number, as the functors there do.

// One octet. It does not look at the capacity.
int U8ToAsnOctetString(unsigned char value, unsigned char* buffer, int capacity);

using PhysicalObject = Zef::Ptr<EntityMib::PhysicalEntity const>;

// Columns that read the live object of a row. What an object does not have, or a row without one, is an empty value.
int PhysicalVendorType(PhysicalObject const& object, unsigned char* buffer, int capacity);  // 0.0 always: none is known
int PhysicalMfgDate(PhysicalObject const& object, unsigned char* buffer, int capacity);     // the unknown date, always
int PhysicalIsFru(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalAssetId(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalModelName(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalMfgName(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalSerialNum(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalSoftwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalFirmwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity);
int PhysicalHardwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity);
