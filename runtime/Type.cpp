#include "runtime/Type.h"

#include "runtime/Clock.h"
#include "runtime/TypeBuilder.h"

namespace Zef {

void ZefAttr::throwNoOperation(char const* operation) const {
  throwRangeException(format("%s cannot be %s", name_.charPtr(), operation));
}

Value ZefAttr::get(PtrInterface const& /*object*/) const { throwNoOperation("read as a value"); }
void ZefAttr::set(PtrInterface& /*object*/, Value const& /*value*/) const { throwNoOperation("set"); }
Ptr<Entity> ZefAttr::child(PtrInterface const& /*object*/) const { throwNoOperation("read as a child"); }
Ptr<Entity> ZefAttr::childIs(PtrInterface& /*object*/) const { throwNoOperation("created as a child"); }
void ZefAttr::childDel(PtrInterface& /*object*/) const { throwNoOperation("removed as a child"); }
String8 ZefAttr::key(String8 const& /*text*/) const { throwNoOperation("used with a key"); }
std::vector<String8> ZefAttr::keys(PtrInterface const& /*object*/) const { throwNoOperation("walked"); }
Ptr<PtrInterface> ZefAttr::member(PtrInterface const& /*object*/, String8 const& /*key*/) const {
  throwNoOperation("searched for a member");
}
Ptr<PtrInterface> ZefAttr::memberIs(PtrInterface& /*object*/, String8 const& /*key*/) const {
  throwNoOperation("given a new member");
}
Ptr<PtrInterface> ZefAttr::memberDel(PtrInterface& /*object*/, String8 const& /*key*/) const {
  throwNoOperation("bereft of a member");
}
Value ZefAttr::entry(PtrInterface const& /*object*/, String8 const& /*key*/) const {
  throwNoOperation("searched for an entry");
}
void ZefAttr::entryIs(PtrInterface& /*object*/, String8 const& /*key*/, Value const& /*value*/) const {
  throwNoOperation("given an entry");
}
void ZefAttr::entryDel(PtrInterface& /*object*/, String8 const& /*key*/) const {
  throwNoOperation("bereft of an entry");
}
Value ZefAttr::call(PtrInterface& /*object*/, std::vector<Value> const& /*arguments*/) const {
  throwNoOperation("called");
}

namespace {

struct Registry {
  std::vector<ZefType const*> order;
  std::unordered_map<std::string_view, ZefType const*> byName;
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

ZefType::ZefType(char const* qualifiedName, ZefType const* base, bool isEntity, Factory factory, Attributes attributes)
    : name_(String8(shortName(qualifiedName))),
      qualifiedName_(qualifiedName),
      base_(base),
      isEntity_(isEntity),
      factory_(factory),
      attributes_(std::move(attributes)) {
  isNondestructingIs(true);
  if (base_ != nullptr) {
    all_ = base_->all_;
    byName_ = base_->byName_;
  }
  for (auto const& attribute : attributes_) {
    all_.push_back(attribute.get());
    byName_[attribute->name().view()] = attribute.get();
  }
  registry().order.push_back(this);
  registry().byName[qualifiedName_.view()] = this;
}

bool ZefType::isA(ZefType const* type) const {
  for (ZefType const* at = this; at != nullptr; at = at->base_) {
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

Ptr<PtrInterface> ZefType::newObject(Name const& name) const {
  if (factory_ == nullptr) throwRangeException(format("a %s cannot be made from a name", qualifiedName_.charPtr()));
  return factory_(name);
}

Ptr<Entity> ZefType::newEntity(Name const& name, Dir* dir) const {
  Ptr<Entity> entity = dynamicCast<Entity>(newObject(name));
  if (!entity) throwRangeException(format("a %s is no entity", qualifiedName_.charPtr()));
  dir->entityIs(entity);
  return entity;
}

ZefType const* ZefType::byName(Name const& qualifiedName) {
  auto const found = registry().byName.find(qualifiedName.view());
  return found == registry().byName.end() ? nullptr : found->second;
}

std::vector<ZefType const*> const& ZefType::all() { return registry().order; }

ZefType const* entityType() {
  static ZefType const* const type = [] {
    ZefType::Attributes attributes;
    attributes.push_back(
        std::make_unique<ReadOnlyAttr<Entity, &Entity::isNondestructing>>("isNondestructing", isNondestructingAttr));
    return new ZefType("Zef::Entity", nullptr, true, nullptr, std::move(attributes));
  }();
  return type;
}

ZefType const* Dir::_fwkType() {
  static ZefType const* const type = TypeBuilder<Dir>("Zef::Dir", entityType()).done();
  return type;
}

ZefType const* ActivityManagerConfig::_fwkType() {
  static ZefType const* const type =
      TypeBuilder<ActivityManagerConfig>("Zef::ActivityManagerConfig", entityType()).done();
  return type;
}

void forEachChild(Entity const& object,
                  std::function<void(Entity& child, ZefAttr const& attribute, String8 const& key)> const& call) {
  if (object.fwkType() == nullptr) return;
  for (ZefAttr const* attribute : object.fwkType()->allAttributes()) {
    if (attribute->kind() == ZefAttr::Kind::entity) {
      if (Ptr<Entity> const child = attribute->child(object)) call(*child, *attribute, String8());
    } else if (attribute->kind() == ZefAttr::Kind::collection && attribute->objectType()->isEntity()) {
      for (String8 const& key : attribute->keys(object)) {
        if (auto const child = dynamicCast<Entity>(attribute->member(object, key))) call(*child, *attribute, key);
      }
    }
  }
}

}  // namespace Zef
