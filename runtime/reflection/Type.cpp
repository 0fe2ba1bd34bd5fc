#include "runtime/reflection/Type.h"

#include "runtime/reflection/GenericIf.h"
#include "runtime/reflection/TypeBuilder.h"

namespace Zef {

ZefAttr::ZefAttrIntrospectionFlags::ZefAttrIntrospectionFlags(unsigned value) : value_(value) {
  constexpr unsigned highest = 0x3f;
  if (value > highest) throwRangeException("ZefAttrIntrospectionFlags::value > 0x3f not allowed");
}

String8 ZefAttr::typeText() const {
  return type() == nullptr ? String8("nothing") : type()->qualifiedName().stringValue();
}

ZefType const* ZefAttr::objectType() const {
  bool const isObject = kind_ == Kind::reference || kind_ == Kind::entity || kind_ == Kind::collection;
  return isObject ? type() : nullptr;
}

ZefAttr::ZefAttrIntrospectionFlags ZefAttr::introspectionFlags() const {
  switch (kind_) {
    case Kind::function:
      return ZefAttrIntrospectionFlags::isFunction_();
    case Kind::collection:
      return ZefAttrIntrospectionFlags::hasInternalIndex_();
    case Kind::valueMap:
      return ZefAttrIntrospectionFlags::isIndependentDomainAttr_();
    default:
      return ZefAttrIntrospectionFlags(0);
  }
}

void ZefAttr::throwNoOperation(char const* operation) const {
  throwRangeException(format("%s cannot be %s", name_.charPtr(), operation));
}

Value ZefAttr::get(PtrInterface const& object) const {
  return constant_.isNull() ? needed(does_.get, "read as a value")(object) : constant_;
}

void ZefAttr::set(PtrInterface& object, Value const& value) const { needed(does_.set, "set")(*this, object, value); }

Ptr<Entity> ZefAttr::child(PtrInterface const& object) const { return needed(does_.child, "read as a child")(object); }

Ptr<Entity> ZefAttr::childIs(PtrInterface& object) const {
  auto const newChild = needed(does_.newChild, "created as a child");
  if (!child(object)) newChild(object, name_);
  return child(object);
}

void ZefAttr::childDel(PtrInterface& object) const { needed(does_.childDel, "removed as a child")(object); }

String8 ZefAttr::key(String8 const& text) const { return needed(does_.key, "used with a key")(text); }

std::unique_ptr<ZefAttr::Walk> ZefAttr::walk(PtrInterface const& object) const {
  return needed(does_.walk, "walked")(object, nullptr);
}

std::unique_ptr<ZefAttr::Walk> ZefAttr::walkFrom(PtrInterface const& object, String8 const& key) const {
  return needed(does_.walk, "walked")(object, &key);
}

std::vector<String8> ZefAttr::keys(PtrInterface const& object) const {
  std::vector<String8> keys;
  for (auto at = walk(object); at->more(); at->advance()) keys.push_back(at->keyText());
  return keys;
}

Ptr<PtrInterface> ZefAttr::member(PtrInterface const& object, String8 const& key) const {
  return needed(does_.member, "searched for a member")(object, key);
}

Ptr<PtrInterface> ZefAttr::memberIs(PtrInterface& object, String8 const& key) const {
  return needed(does_.memberIs, "given a new member")(object, key);
}

Ptr<PtrInterface> ZefAttr::memberDel(PtrInterface& object, String8 const& key) const {
  return needed(does_.memberDel, "bereft of a member")(object, key);
}

Value ZefAttr::entry(PtrInterface const& object, String8 const& key) const {
  return needed(does_.entry, "searched for an entry")(object, key);
}

void ZefAttr::entryIs(PtrInterface& object, String8 const& key, Value const& value) const {
  needed(does_.entryIs, "given an entry")(object, key, value);
}

void ZefAttr::entryDel(PtrInterface& object, String8 const& key) const {
  needed(does_.entryDel, "bereft of an entry")(object, key);
}

Value ZefAttr::call(PtrInterface& object, std::vector<Value> const& arguments) const {
  auto const call = needed(does_.call, "called");
  if (arguments.size() > parameters_.size()) {
    GenericIf::throwUnknownArgException(name_, static_cast<unsigned>(parameters_.size()) + 1);
  }
  if (arguments.size() < parameters_.size()) throwArgument(arguments.size(), "is missing");
  return call(*this, object, arguments);
}

void ZefAttr::throwArgument(std::size_t at, String8 const& reason) const {
  GenericIf::throwTypeException(
      name_, format("argument %zu, %s, %s", at + 1, parameters_[at].name.charPtr(), reason.charPtr()));
}

namespace {

struct Registry {
  std::vector<ZefType const*> order;
  std::unordered_map<std::string_view, ZefType const*> byName;
  std::map<Name, Ptr<ZefAttr const>> attributes;
};

Registry& registry() {
  static auto* const all = new Registry;  // as the types themselves, it outlives every static that uses it
  return *all;
}

std::string_view shortName(std::string_view qualified) {
  std::size_t const colon = qualified.rfind(':');
  return colon == std::string_view::npos ? qualified : qualified.substr(colon + 1);
}

}  // namespace

Ptr<ZefAttr const> ZefAttr::attr(Name const& qualifiedName) {
  auto const found = registry().attributes.find(qualifiedName);
  return found == registry().attributes.end() ? nullptr : found->second;
}

ZefType::ZefType(Description description)
    : name_(String8(shortName(description.qualifiedName.view()))), description_(std::move(description)) {
  isNondestructingIs(true);
  if (base() != nullptr) {
    all_ = base()->all_;
    byName_ = base()->byName_;
  }
  for (auto const& attribute : attributes()) {
    all_.push_back(attribute.get());
    byName_[attribute->name().view()] = attribute.get();
  }
}

void ZefType::typeNodeIs(ZefType const* type, Name const& name) {
  registry().order.push_back(type);
  registry().byName[type->qualifiedName().view()] = type;
  for (auto const& attribute : type->attributes()) {
    registry().attributes[Name(name.stringValue() + "::" + attribute->name().stringValue())] = attribute;
  }
}

bool ZefType::isA(ZefType const* type) const {
  for (ZefType const* at = this; at != nullptr; at = at->base()) {
    if (at == type) return true;
  }
  return false;
}

ZefAttr const* ZefType::attr(Name const& name) const {
  auto const found = byName_.find(name.view());
  return found == byName_.end() ? nullptr : found->second;
}

ZefAttr const* ZefType::attr(AttributeId id) const {
  for (ZefAttr const* attribute : all_) {
    if (attribute->id() == id) return attribute;
  }
  return nullptr;
}

Ptr<PtrInterface> ZefType::newObject(Name const& /*name*/) const {
  throwRangeException(format("a %s cannot be made from a name", qualifiedName().charPtr()));
}

Ptr<GenericIf> ZefType::genericIf(Ptr<PtrInterface> const& object, bool isConst) const {
  if (isEntity()) return make<GenericIfEntity>(object, isConst);
  return make<GenericIfPtrInterface>(object, isConst);
}

Ptr<GenericIf> ZefType::genericIf(Value const& value, bool isConst) const {
  auto const* const object = value.get<Ptr<PtrInterface>>();
  if (object == nullptr || !*object) return make<GenericIfValue>(value, this);
  ZefType const* const own = (*object)->fwkType();
  return (own == nullptr ? this : own)->genericIf(*object, isConst);
}

Ptr<PtrInterface::NotifieeConst> ZefType::newAdapter(Ptr<GenericIfListener> const& /*listener*/) const {
  return nullptr;
}

Ptr<Entity> ZefType::newEntity(Name const& name, Dir* dir) const {
  Ptr<Entity> entity = dynamicCast<Entity>(newObject(name));
  if (!entity) throwRangeException(format("a %s is no entity", qualifiedName().charPtr()));
  dir->entityIs(entity);
  return entity;
}

ZefType const* ZefType::byName(Name const& qualifiedName) {
  auto const found = registry().byName.find(qualifiedName.view());
  return found == registry().byName.end() ? nullptr : found->second;
}

std::vector<ZefType const*> const& ZefType::all() { return registry().order; }

ZefType const* entityType() {
  static ZefType const* const type = TypeBuilder<Entity>("Zef::Entity", nullptr)
                                         .readOnly<&Entity::isNondestructing>("isNondestructing", isNondestructingAttr)
                                         .done();
  return type;
}

ZefType const* objectType() {
  static auto* const type = new ZefType({"Zef::PtrInterface", nullptr, ZefType::Kind::record, {}, {}});
  return type;
}

void forEachChild(PtrInterface const& object,
                  std::function<void(PtrInterface& child, ZefAttr const& attribute, String8 const& key)> const& call) {
  if (object.fwkType() == nullptr) return;
  for (ZefAttr const* attribute : object.fwkType()->allAttributes()) {
    if (attribute->kind() == ZefAttr::Kind::entity) {
      if (Ptr<Entity> const child = attribute->child(object)) call(*child, *attribute, String8());
    } else if (attribute->kind() == ZefAttr::Kind::collection) {
      for (auto at = attribute->walk(object); at->more(); at->advance()) {
        Value const member = at->value();
        call(**member.get<Ptr<PtrInterface>>(), *attribute, at->keyText());
      }
    }
  }
}

}  // namespace Zef
