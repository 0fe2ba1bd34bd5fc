#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/reflection/Entity.h"
#include "runtime/reflection/Value.h"

namespace Zef {

class GenericIf;
class GenericIfListener;

// One attribute of a type, and what can be done with it by name. An operation that its kind does not have throws
// RangeException, and so does every value, key or object that does not fit. The object that is passed in must be of the
// attribute's type, or of one derived from it.
class ZefAttr final : public PtrInterface {
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
  // What introspection is told of an attribute besides its types: bits, of which there are six.
  class ZefAttrIntrospectionFlags {
   public:
    explicit ZefAttrIntrospectionFlags(unsigned value);
    static ZefAttrIntrospectionFlags isFunction_() { return ZefAttrIntrospectionFlags(1); }
    // Its keys are a domain of their own: what stands under a key does not hold the key.
    static ZefAttrIntrospectionFlags isIndependentDomainAttr_() { return ZefAttrIntrospectionFlags(2); }
    // Its members hold their keys.
    static ZefAttrIntrospectionFlags hasInternalIndex_() { return ZefAttrIntrospectionFlags(4); }
    unsigned value() const { return value_; }
    bool operator==(ZefAttrIntrospectionFlags const& other) const = default;

   private:
    unsigned value_;
  };
  // Gives a type; called when it is asked for, since types may mention each other.
  using TypeOf = ZefType const* (*)();
  struct Parameter {
    String8 name;
    TypeOf type;
    bool pointsAtConst = false;
  };
  // A walk over a collection, or over values by key. It survives what the collection's own iterators survive.
  class Walk {
   public:
    Walk() = default;
    Walk(Walk const&) = delete;
    Walk& operator=(Walk const&) = delete;
    virtual ~Walk() = default;
    virtual bool more() const = 0;
    virtual void advance() = 0;
    virtual Value key() const = 0;
    virtual String8 keyText() const = 0;
    // The member, or the value.
    virtual Value value() const = 0;
  };

  // What TypeBuilder fills in, by the kind: an operation that stays null is one that the attribute does not have.
  // Functions and no virtuals, since there is an attribute for each of some hundred readers.
  struct Operations {
    Value (*get)(PtrInterface const& object) = nullptr;
    void (*set)(ZefAttr const& self, PtrInterface& object, Value const& value) = nullptr;
    Ptr<Entity> (*child)(PtrInterface const& object) = nullptr;
    void (*newChild)(PtrInterface& object, Name const& name) = nullptr;
    void (*childDel)(PtrInterface& object) = nullptr;
    String8 (*key)(String8 const& text) = nullptr;
    // From the key; null: from the beginning.
    std::unique_ptr<Walk> (*walk)(PtrInterface const& object, String8 const* key) = nullptr;
    Ptr<PtrInterface> (*member)(PtrInterface const& object, String8 const& key) = nullptr;
    Ptr<PtrInterface> (*memberIs)(PtrInterface& object, String8 const& key) = nullptr;
    Ptr<PtrInterface> (*memberDel)(PtrInterface& object, String8 const& key) = nullptr;
    Value (*entry)(PtrInterface const& object, String8 const& key) = nullptr;
    void (*entryIs)(PtrInterface& object, String8 const& key, Value const& value) = nullptr;
    void (*entryDel)(PtrInterface& object, String8 const& key) = nullptr;
    Value (*call)(ZefAttr const& self, PtrInterface& object, std::vector<Value> const& arguments) = nullptr;
  };

  // `typeOf` gives that of the value, the child, the member or the result; null for a function that gives nothing.
  ZefAttr(char const* name, AttributeId id, Kind kind, Access access, TypeOf typeOf)
      : name_(name), id_(id), kind_(kind), access_(access), type_(typeOf) {}

  Name const& name() const { return name_; }
  AttributeId id() const { return id_; }
  Kind kind() const { return kind_; }
  Access access() const { return access_; }
  bool isFixed() const { return access_ == Access::fixed; }
  ZefType const* type() const { return type_ == nullptr ? nullptr : type_(); }
  // The type's name as a model writes it.
  String8 typeText() const;
  // The type of the child, the member or the object that a reference may point at; null for the other kinds.
  ZefType const* objectType() const;
  // Null for what has no key.
  ZefType const* keyType() const { return keyType_ == nullptr ? nullptr : keyType_(); }
  // Whether the objects that it gives are not to be changed by who got them here.
  bool givesConst() const { return givesConst_; }
  // Whether a collection can make a member from its key alone.
  bool makesMembers() const { return does_.memberIs != nullptr; }
  // Of a function.
  std::vector<Parameter> const& parameters() const { return parameters_; }
  bool isMutation() const { return isMutation_; }
  ZefAttrIntrospectionFlags introspectionFlags() const;
  // What set() takes of what the type holds. The type's own setter takes all of it.
  Bounds const& bounds() const { return bounds_; }

  Value get(PtrInterface const& object) const;
  void set(PtrInterface& object, Value const& value) const;

  Ptr<Entity> child(PtrInterface const& object) const;
  // The child; created when there is none.
  Ptr<Entity> childIs(PtrInterface& object) const;
  void childDel(PtrInterface& object) const;

  // A key in the one spelling that keys() uses.
  String8 key(String8 const& text) const;
  std::unique_ptr<Walk> walk(PtrInterface const& object) const;
  // From the key, or from what follows it.
  std::unique_ptr<Walk> walkFrom(PtrInterface const& object, String8 const& key) const;
  // The keys that are there, in the order of a walk.
  std::vector<String8> keys(PtrInterface const& object) const;
  Ptr<PtrInterface> member(PtrInterface const& object, String8 const& key) const;
  // The member; created when there is none.
  Ptr<PtrInterface> memberIs(PtrInterface& object, String8 const& key) const;
  // What was removed; null when there was nothing.
  Ptr<PtrInterface> memberDel(PtrInterface& object, String8 const& key) const;

  Value entry(PtrInterface const& object, String8 const& key) const;
  void entryIs(PtrInterface& object, String8 const& key, Value const& value) const;
  void entryDel(PtrInterface& object, String8 const& key) const;

  Value call(PtrInterface& object, std::vector<Value> const& arguments) const;
  [[noreturn]] void throwArgument(std::size_t at, String8 const& reason) const;

  // An attribute by its type's name and its own: "Orvane::Root::entityMib"; null when there is none.
  static Ptr<ZefAttr const> attr(Name const& qualifiedName);

 private:
  friend class TypeBuilderBase;

  // The operation, which must be there: `operation` ends the words that refuse it.
  template <class Function>
  Function needed(Function function, char const* operation) const {
    if (function == nullptr) throwNoOperation(operation);
    return function;
  }
  [[noreturn]] void throwNoOperation(char const* operation) const;

  Name name_;
  AttributeId id_;
  Kind kind_;
  Access access_;
  bool givesConst_ = false;
  bool isMutation_ = false;
  TypeOf type_;
  TypeOf keyType_ = nullptr;
  Value constant_;  // of what reads the same for all objects
  std::vector<Parameter> parameters_;
  Bounds bounds_;
  Operations does_;
};

// The run-time type of an entity, a record or a value. There is one for each type, made on first use and never
// destroyed.
class ZefType : public PtrInterface {
 public:
  enum class Kind { value, record, entity };
  struct Description {
    Name qualifiedName;
    ZefType const* base;
    Kind kind;
    // What the constructor takes, in order.
    std::vector<ZefAttr::Parameter> parameters;
    std::vector<Ptr<ZefAttr const>> attributes;
  };

  explicit ZefType(Description description);

  // Without its namespace: "Fan".
  Name const& name() const { return name_; }
  Name const& qualifiedName() const { return description_.qualifiedName; }
  // Null for a type without a base and for Zef::Entity.
  ZefType const* base() const { return description_.base; }
  bool isA(ZefType const* type) const;
  bool isEntity() const { return description_.kind == Kind::entity; }
  bool isValue() const { return description_.kind == Kind::value; }
  std::vector<ZefAttr::Parameter> const& parameters() const { return description_.parameters; }
  // The type's own attributes, in the order of their declaration; of a value type, its fields.
  std::vector<Ptr<ZefAttr const>> const& attributes() const { return description_.attributes; }

  // An attribute of this type or of its bases; null when there is none.
  ZefAttr const* attr(Name const& name) const;
  ZefAttr const* attr(AttributeId id) const;
  // All attributes, the bases' first.
  std::vector<ZefAttr const*> const& allAttributes() const { return all_; }

  // A fresh object, in no tree; the name of a record that has a key is the key's text. RangeException for a type that
  // cannot be made from a name alone.
  virtual Ptr<PtrInterface> newObject(Name const& name) const;
  // A fresh entity, entered into the directory.
  Ptr<Entity> newEntity(Name const& name, Dir* dir) const;

  // The adapter of an object of this type.
  Ptr<GenericIf> genericIf(Ptr<PtrInterface> const& object, bool isConst) const;
  // The same for a value of this type; for one that is an object, by the object's own type.
  Ptr<GenericIf> genericIf(Value const& value, bool isConst) const;
  // A notifiee that hands what it hears to the listener; null for a type whose model asks for none.
  virtual Ptr<PtrInterface::NotifieeConst> newAdapter(Ptr<GenericIfListener> const& listener) const;

  // Enters a type under its name, and its attributes under theirs.
  static void typeNodeIs(ZefType const* type, Name const& name);
  // Null for a type that has not been used or registered yet.
  static ZefType const* byName(Name const& qualifiedName);
  // In the order of their registration.
  static std::vector<ZefType const*> const& all();

 private:
  Name name_;
  Description description_;
  std::vector<ZefAttr const*> all_;
  std::unordered_map<std::string_view, ZefAttr const*> byName_;
};

// The type of Zef::Entity, base of all entities' types.
ZefType const* entityType();
// Stands for objects whose own type is not known.
ZefType const* objectType();

// Calls back for every object that stands in an attribute of this one, as its child or as a member of a collection, in
// the order of declaration, each with its attribute and its key (empty for a single child). What is no entity is a
// record. The call may remove the object, and others.
void forEachChild(PtrInterface const& object,
                  std::function<void(PtrInterface& child, ZefAttr const& attribute, String8 const& key)> const& call);

template <class T>
Name const& typeName() {
  return T::_fwkType()->qualifiedName();
}

template <class T>
ZefType const* typeOf();

template <class T>
ZefType::Description valueDescription() {
  ZefType::Description description{typeText<T>(), nullptr, ZefType::Kind::value, {}, {}};
  if constexpr (ModelNumber<T>) {
    description.parameters.push_back({"value", &typeOf<typename T::Representation>});
  } else if constexpr (ModelValue<T>) {
    AttributeId id = firstAttributeId;
    auto const add = [&]<class F>(Field<T, F> const& field) {
      // Without operations: GenericIfValue reads a field by its name.
      description.attributes.emplace_back(
          make<ZefAttr>(field.name, id++, ZefAttr::Kind::value, ZefAttr::Access::readOnly, &typeOf<F>));
      description.parameters.push_back({field.name, &typeOf<F>});
    };
    std::apply([&](auto const&... fields) { (add(fields), ...); }, T::fwkFields());
  }
  return description;
}

// The type object of a type that no model declares: a built-in one, an enumeration, an identifier.
template <class T>
struct Builtin {
  static ZefType const* _fwkType() {
    static auto const* const type = new ZefType(valueDescription<T>());
    return type;
  }
};

template <class T>
constexpr bool pointsAtConst() {
  if constexpr (requires { typename PointerTo<T>::Pointee; }) return std::is_const_v<typename PointerTo<T>::Pointee>;
  return false;
}

// The type object of anything that an attribute, a key or a parameter may be; of a pointer, that of what it points at.
template <class T>
ZefType const* typeOf() {
  if constexpr (requires { typename PointerTo<T>::Pointee; }) {
    using Object = std::remove_const_t<typename PointerTo<T>::Pointee>;
    if constexpr (requires { Object::_fwkType(); }) {
      return Object::_fwkType();
    } else {
      return objectType();
    }
  } else if constexpr (requires { T::_fwkType(); }) {
    return T::_fwkType();
  } else {
    return Builtin<T>::_fwkType();
  }
}

}  // namespace Zef
