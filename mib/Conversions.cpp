#include "mib/Conversions.h"

#include <algorithm>

#include "platform/agent/Conversion.h"

namespace {

// A text of the object, when it is of the type that has it.
template <auto reader>
constexpr auto textOf = []<class Object, class Text>(Text (Object::*)() const) {
  return [](PhysicalObject const& object, unsigned char* buffer, int capacity) {
    auto const* const typed = dynamic_cast<Object const*>(object.get());
    return typed == nullptr
               ? 0
               : SnmpConvert<Zef::String8 const&, StringToAsnOctetStringF>((typed->*reader)(), buffer, capacity);
  };
}(reader);

}  // namespace

int U8ToAsnOctetString(unsigned char value, unsigned char* buffer, int /*capacity*/) {
  buffer[0] = value;
  return 1;
}

int PhysicalVendorType(PhysicalObject const& /*object*/, unsigned char* buffer, int capacity) {
  static Zef::String8 const none("0");
  return SnmpConvert<Zef::String8 const&, StringToAsnOidF>(none, buffer, capacity);
}

int PhysicalMfgDate(PhysicalObject const& /*object*/, unsigned char* buffer, int capacity) {
  std::fill_n(buffer, capacity, static_cast<unsigned char>(0));
  return capacity < 11 ? 8 : 11;
}

int PhysicalIsFru(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  auto const* const fru = dynamic_cast<EntityMib::Fru const*>(object.get());
  return SnmpConvert<bool, BoolToAsnIntegerF>(
      fru != nullptr && fru->swappability() != EntityMib::Fru::Swappability::notSwappable, buffer, capacity);
}

int PhysicalAssetId(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Fru::assetId>(object, buffer, capacity);
}

int PhysicalModelName(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::modelName>(object, buffer, capacity);
}

int PhysicalMfgName(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::mfgName>(object, buffer, capacity);
}

int PhysicalSerialNum(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::serialNum>(object, buffer, capacity);
}

int PhysicalSoftwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::softwareRev>(object, buffer, capacity);
}

int PhysicalFirmwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::firmwareRev>(object, buffer, capacity);
}

int PhysicalHardwareRevision(PhysicalObject const& object, unsigned char* buffer, int capacity) {
  return textOf<&EntityMib::Hardware::hardwareRev>(object, buffer, capacity);
}
