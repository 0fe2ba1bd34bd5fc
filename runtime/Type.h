#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/Entity.h"
#include "runtime/Value.h"

namespace Zef {

// One attribute of a type, and what can be done with it by name. An operation that its kind does not have throws
// RangeException, and so does every value, key or object that does not fit. The object that is passed in must be of the
// attribute's type, or of one derived from it.
class ZefAttr {
 public:
  enum class Kind {
    value,       // get, set
    reference,   // get, set: an object that stands elsewhere
    optional,    // get, set: a value, or null while there is none
    entity,      // child...: at most one object, owned
    collection,  // member...: objects by key, owned
    valueMap,    // entry...: values by key
    function,    // call
  };
  enum class Access {
    writable,
    fixed,     // set while the object is made, before anyone else sees it; its later change makes another object of it
    readOnly,  // computed, or given by the place in the tree
  };

  ZefAttr(char const* name, AttributeId id, Kind kind, Access access, String8 typeText)
      : name_(name), id_(id), kind_(kind), access_(access), typeText_(std::move(typeText)) {}
  ZefAttr(ZefAttr const&) = delete;
  ZefAttr& operator=(ZefAttr const&) = delete;
  virtual ~ZefAttr() = default;

  Name const& name() const { return name_; }
  AttributeId id() const { return id_; }
  Kind kind() const { return kind_; }
  Access access() const { return access_; }
  bool isFixed() const { return access_ == Access::fixed; }
  // The type of the value, the child or the member.
  String8 const& typeText() const { return typeText_; }
  // The type of the child, the member or the object that a reference may point at; null for the other kinds.
  virtual ZefType const* objectType() const { return nullptr; }

  virtual Value get(PtrInterface const& object) const;
  virtual void set(PtrInterface& object, Value const& value) const;

  virtual Ptr<Entity> child(PtrInterface const& object) const;
  // The child; created when there is none.
  virtual Ptr<Entity> childIs(PtrInterface& object) const;
  virtual void childDel(PtrInterface& object) const;

  // A key in the one spelling that keys() uses.
  virtual String8 key(String8 const& text) const;
  // The keys that are there, in the order of a walk.
  virtual std::vector<String8> keys(PtrInterface const& object) const;
  virtual Ptr<PtrInterface> member(PtrInterface const& object, String8 const& key) const;
  // The member; created when there is none.
  virtual Ptr<PtrInterface> memberIs(PtrInterface& object, String8 const& key) const;
  // What was removed; null when there was nothing.
  virtual Ptr<PtrInterface> memberDel(PtrInterface& object, String8 const& key) const;

  virtual Value entry(PtrInterface const& object, String8 const& key) const;
  virtual void entryIs(PtrInterface& object, String8 const& key, Value const& value) const;
  virtual void entryDel(PtrInterface& object, String8 const& key) const;

  virtual Value call(PtrInterface& object, std::vector<Value> const& arguments) const;

 protected:
  [[noreturn]] void throwNoOperation(char const* operation) const;

 private:
  Name name_;
  AttributeId id_;
  Kind kind_;
  Access access_;
  String8 typeText_;
};

// The run-time type of an entity or a record. There is one for each type, made on first use and never destroyed.
class ZefType : public PtrInterface {
 public:
  using Factory = Ptr<PtrInterface> (*)(Name const& name);
  using Attributes = std::vector<std::unique_ptr<ZefAttr const>>;

  ZefType(char const* qualifiedName, ZefType const* base, bool isEntity, Factory factory, Attributes attributes);

  // Without its namespace: "Fan".
  Name const& name() const { return name_; }
  Name const& qualifiedName() const { return qualifiedName_; }
  // Null for a record without a base and for Zef::Entity.
  ZefType const* base() const { return base_; }
  bool isA(ZefType const* type) const;
  bool isEntity() const { return isEntity_; }
  // The type's own attributes, in the order of their declaration.
  Attributes const& attributes() const { return attributes_; }

  // An attribute of this type or of its bases; null when there is none.
  ZefAttr const* attr(Name const& name) const;
  ZefAttr const* attr(AttributeId id) const;
  // All attributes, the bases' first.
  std::vector<ZefAttr const*> const& allAttributes() const { return all_; }

  // A fresh object, in no tree. RangeException for a type that cannot be made from a name alone.
  Ptr<PtrInterface> newObject(Name const& name) const;
  // A fresh entity, entered into the directory.
  Ptr<Entity> newEntity(Name const& name, Dir* dir) const;

  // Null for a type that has not been used or registered yet.
  static ZefType const* byName(Name const& qualifiedName);
  // In the order of their registration.
  static std::vector<ZefType const*> const& all();

 private:
  Name name_;
  Name qualifiedName_;
  ZefType const* base_;
  bool isEntity_;
  Factory factory_;
  Attributes attributes_;
  std::vector<ZefAttr const*> all_;
  std::unordered_map<std::string_view, ZefAttr const*> byName_;
};

// The type of Zef::Entity, base of all entities' types.
ZefType const* entityType();

// Calls back for every entity that the object owns, in declaration order, each with its attribute and its key (empty
// for a single child).
void forEachChild(Entity const& object,
                  std::function<void(Entity& child, ZefAttr const& attribute, String8 const& key)> const& call);

template <class T>
Name const& typeName() {
  return T::_fwkType()->qualifiedName();
}

}  // namespace Zef
