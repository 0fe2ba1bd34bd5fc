#include "runtime/reflection/Entity.h"

#include "runtime/reflection/TypeBuilder.h"

namespace Zef {

void Entity::parentIs(Ptr<Entity> const& parent) {
  parent_ = parent.get();
  if (parent_ == nullptr) parentAttrId_ = 0;
  notify<NotifieeConst>(0, [](NotifieeConst& n) { n.onParent(); });
}

Name Entity::parentAttr() const {
  return parent_ == nullptr || parentAttrId_ == 0 ? Name() : Name(parent_->attributeString(parentAttrId_));
}

String8 Entity::fullName() const {
  String8 const own = String8("/") + name().stringValue();
  return parent_ == nullptr ? own : parent_->fullName() + own;
}

String8 Entity::uriPath() const { return fullName(); }

String8 Entity::attributeString(AttributeId attribute) const {
  if (attribute == isNondestructingAttr) return "isNondestructing";
  ZefAttr const* const known = fwkType() == nullptr ? nullptr : fwkType()->attr(attribute);
  return known == nullptr ? String8("unknown") : known->name().stringValue();
}

AttributeId Entity::attributeId(Name const& attribute) const {
  if (attribute == "isNondestructing") return isNondestructingAttr;
  ZefAttr const* const known = fwkType() == nullptr ? nullptr : fwkType()->attr(attribute);
  return known == nullptr ? 0 : known->id();
}

void Entity::zefPlacedIs(Entity const* /*parent*/, Name const& /*attribute*/, String8 const& /*key*/) {}

void Entity::isNondestructingIs(bool on) {
  if (on == isNondestructing()) return;
  PtrInterface::isNondestructingIs(on);
  notify<NotifieeConst>(isNondestructingAttr, [](NotifieeConst& n) { n.onIsNondestructing(); });
}

namespace {
std::map<Name, Ptr<Entity>>& singletons() {
  static auto* const all = new std::map<Name, Ptr<Entity>>;  // singletons outlive every static that uses them
  return *all;
}
}  // namespace

Ptr<Entity> Entity::singletonExists(Name const& typeName) {
  auto const found = singletons().find(typeName);
  return found == singletons().end() ? nullptr : found->second;
}

Ptr<Entity> Entity::singletonIs(ZefType const* type) {
  Ptr<Entity>& singleton = singletons()[type->qualifiedName()];
  if (!singleton) singleton = dynamicCast<Entity>(type->newObject(type->qualifiedName()));
  return ValidPtr<Entity>(singleton);
}

ZefType const* Dir::_fwkType() {
  static ZefType const* const type = TypeBuilder<Dir>("Zef::Dir", entityType()).done();
  return type;
}

Dir::~Dir() {
  for (auto const& [name, entity] : entities_) entity->parentIs(nullptr);
}

Ptr<Entity> Dir::entity(Name const& name) const {
  auto const found = entities_.find(name);
  return found == entities_.end() ? nullptr : found->second;
}

void Dir::entityIs(Ptr<Entity> const& entity) {
  entityDel(entity->name());
  entities_[entity->name()] = entity;
  entity->parentIs(Ptr<Entity>(this));
}

Ptr<Entity> Dir::entityDel(Name const& name) {
  auto const found = entities_.find(name);
  if (found == entities_.end()) return nullptr;
  Ptr<Entity> entity = found->second;
  entities_.erase(found);
  entity->parentIs(nullptr);
  return entity;
}

std::vector<Ptr<Entity>> Dir::entities() const {
  std::vector<Ptr<Entity>> all;
  all.reserve(entities_.size());
  for (auto const& [name, entity] : entities_) all.push_back(entity);
  return all;
}

}  // namespace Zef
