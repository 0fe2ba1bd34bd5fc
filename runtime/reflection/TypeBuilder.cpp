#include "runtime/reflection/TypeBuilder.h"

namespace Zef {

namespace {
// How a message says what such a record takes.
String8 groupOf(ZefType const& type) {
  std::vector<char const*> names;
  for (ZefAttr const* attribute : type.allAttributes()) names.push_back(attribute->name().charPtr());
  return Zef::groupOf(names);
}
}  // namespace

Value recordOf(PtrInterface const& object) {
  Value::Record values;
  for (ZefAttr const* attribute : object.fwkType()->allAttributes()) {
    values.emplace_back(attribute->name(), attribute->get(object));
  }
  return values;
}

void fillFromRecord(PtrInterface& object, Value const& value) {
  ZefType const& type = *object.fwkType();
  auto const* values = value.get<Value::Record>();
  if (values == nullptr) throwUnfit(groupOf(type), value);
  for (auto const& [name, entry] : *values) {
    ZefAttr const* const attribute = type.attr(Name(name));
    if (attribute == nullptr) throwNoSuchName(name, groupOf(type));
    try {
      attribute->set(object, entry);
    } catch (RangeException const& error) {
      throwRangeException(format("%s: %s", name.charPtr(), error.what()));
    }
  }
}

ZefAttr::Operations& TypeBuilderBase::add(char const* name, AttributeId id, ZefAttr::Kind kind, ZefAttr::Access access,
                                          ZefAttr::TypeOf type, bool givesConst) {
  last_ = make<ZefAttr>(name, id, kind, access, type);
  last_->givesConst_ = givesConst;
  description_.attributes.emplace_back(last_);
  return last_->does_;
}

}  // namespace Zef
