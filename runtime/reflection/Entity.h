#pragma once

#include <map>
#include <vector>

#include "runtime/kit/Name.h"
#include "runtime/reactors/Notifier.h"

namespace Zef {

// A named, parented object that can be observed. A parent owns its children through its attributes; the way back is a
// plain pointer, which is null once the parent has gone or has dropped the child.
class Entity : public Notifier {
 public:
  class NotifieeConst;

  explicit Entity(Name name) : name_(std::move(name)) {}

  virtual Name const& name() const { return name_; }
  virtual Ptr<Entity const> parent() const { return Ptr<Entity const>(parent_); }
  virtual Ptr<Entity> parent() { return Ptr<Entity>(parent_); }
  virtual void parentIs(Ptr<Entity> const& parent);
  // The attribute of the parent that holds this entity; empty and 0 without a parent.
  virtual Name parentAttr() const;
  virtual AttributeId parentAttrId() const { return parentAttrId_; }
  virtual void parentAttrIdIs(AttributeId attribute) { parentAttrId_ = attribute; }
  // The names from the top down, each behind a "/".
  virtual String8 fullName() const;
  virtual String8 uriPath() const;
  // An attribute's name by its id; "unknown" for an id that the type does not have.
  virtual String8 attributeString(AttributeId attribute) const;
  // Called when a publisher has given an object its place (attribute and key text in a parent), before the parent's
  // collection gains it. A type whose values follow from the place sets them here; RangeException when the place is
  // none.
  virtual void zefPlacedIs(Entity const* parent, Name const& attribute, String8 const& key);

  // An attribute's id by its name; 0 for a name that the type does not have.
  AttributeId attributeId(Name const& attribute) const;

  // The one instance of a singleton type, by the type's name; null when there is none yet.
  static Ptr<Entity> singletonExists(Name const& typeName);
  // The same, created when there is none.
  static Ptr<Entity> singletonIs(ZefType const* type);

  void isNondestructingIs(bool on) override;

 private:
  Name name_;
  Entity* parent_ = nullptr;
  AttributeId parentAttrId_ = 0;
};

class Entity::NotifieeConst : public PtrInterface::NotifieeConst {
 public:
  static constexpr U8 zefDepth = 1;

  NotifieeConst() { zefObservedDepthIs(zefDepth); }

  virtual void onParent() {}
  virtual void onVersion() {}
  virtual void onIsNondestructing() {}

  Entity const* notifier() const { return static_cast<Entity const*>(zefNotifier()); }
  Name name() const override { return notifier() == nullptr ? Name() : notifier()->name(); }
  void notifierIs(Ptr<PtrInterface const> const& notifier) override {
    zefNotifierIs(dynamic_cast<Entity const*>(notifier.get()));
  }
};

// A directory: holds entities by name, in the order of their names.
class Dir : public Entity {
 public:
  using Entity::Entity;
  ~Dir() override;

  static ZefType const* _fwkType();
  ZefType const* fwkType() const override { return _fwkType(); }

  Ptr<Entity> entity(Name const& name) const;
  // Enters an entity under its own name; one of the same name leaves.
  void entityIs(Ptr<Entity> const& entity);
  Ptr<Entity> entityDel(Name const& name);
  std::vector<Ptr<Entity>> entities() const;

 private:
  std::map<Name, Ptr<Entity>> entities_;
};

}  // namespace Zef
