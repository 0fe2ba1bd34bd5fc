#pragma once

#include <type_traits>

#include "runtime/Attribute.h"
#include "runtime/Type.h"

// From a type's readers and setters to its type object. Generated sources use it, and a hand-written type can:
//
//   ZefType const* Lamp::_fwkType() {
//     static ZefType const* const type = TypeBuilder<Lamp>("Shop::Lamp", entityType())
//                                            .value<&Lamp::brightness, &Lamp::brightnessIs>("brightness",
//                                            brightnessAttr) .done();
//     return type;
//   }

namespace Zef {

template <class>
struct FunctionOf;
template <class C, class R, class... Args>
struct FunctionOf<R (C::*)(Args...)> {
  using Class = C;
  using Result = std::remove_cvref_t<R>;
  using Arguments = std::tuple<std::remove_cvref_t<Args>...>;
};
template <class C, class R, class... Args>
struct FunctionOf<R (C::*)(Args...) const> : FunctionOf<R (C::*)(Args...)> {};

template <auto function>
using ResultOf = typename FunctionOf<decltype(function)>::Result;
// The first argument of a function that takes one or more.
template <auto function>
using ArgumentOf = std::tuple_element_t<0, typename FunctionOf<decltype(function)>::Arguments>;

template <class Owner>
class AttrOf : public ZefAttr {
 public:
  using ZefAttr::ZefAttr;

 protected:
  static Owner const& of(PtrInterface const& object) { return static_cast<Owner const&>(object); }
  static Owner& of(PtrInterface& object) { return static_cast<Owner&>(object); }
};

template <class T>
ZefType const* pointeeType() {
  if constexpr (requires { typename PointerTo<T>::Pointee; }) {
    using Object = std::remove_const_t<typename PointerTo<T>::Pointee>;
    if constexpr (requires { Object::_fwkType(); }) return Object::_fwkType();
  }
  return nullptr;
}

template <class T>
constexpr ZefAttr::Kind kindOf() {
  return requires { typename PointerTo<T>::Pointee; }
  ? ZefAttr::Kind::reference : ZefAttr::Kind::value;
}

template <class Owner, auto reader, auto setter>
class ValueAttr final : public AttrOf<Owner> {
  using T = ResultOf<reader>;

 public:
  ValueAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::writable, typeText<T>()) {}
  ZefType const* objectType() const override { return pointeeType<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>((this->of(object).*reader)()); }
  void set(PtrInterface& object, Value const& value) const override { (this->of(object).*setter)(fromValue<T>(value)); }
};

template <class Owner, auto reader>
class ReadOnlyAttr final : public AttrOf<Owner> {
  using T = ResultOf<reader>;

 public:
  ReadOnlyAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::readOnly, typeText<T>()) {}
  ZefType const* objectType() const override { return pointeeType<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>((this->of(object).*reader)()); }
};

template <class Owner, class T>
class FixedAttr final : public AttrOf<Owner> {
 public:
  FixedAttr(char const* name, AttributeId id, T Owner::*field)
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::fixed, typeText<T>()), field_(field) {}
  ZefType const* objectType() const override { return pointeeType<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>(this->of(object).*field_); }
  void set(PtrInterface& object, Value const& value) const override { this->of(object).*field_ = fromValue<T>(value); }

 private:
  T Owner::*field_;
};

// A fixed pointer to a record that reads and is set as the record's values: setting makes a new record.
template <class Owner, class Record>
class RecordAttr final : public AttrOf<Owner> {
 public:
  RecordAttr(char const* name, AttributeId id, Ptr<Record const> Owner::*field)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::value, ZefAttr::Access::fixed, Record::_fwkType()->qualifiedName()),
        field_(field) {}

  Value get(PtrInterface const& object) const override {
    Ptr<Record const> const& record = this->of(object).*field_;
    if (!record) return {};
    Value::Record values;
    for (ZefAttr const* attribute : Record::_fwkType()->allAttributes()) {
      values.emplace_back(attribute->name(), attribute->get(*record));
    }
    return values;
  }
  void set(PtrInterface& object, Value const& value) const override {
    if (value.isNull()) {
      this->of(object).*field_ = nullptr;
      return;
    }
    auto const* values = value.get<Value::Record>();
    if (values == nullptr) throwUnfit(format("a %s", this->typeText().charPtr()), value);
    auto const record = make<Record>();
    for (auto const& [name, entry] : *values) {
      ZefAttr const* const attribute = Record::_fwkType()->attr(name);
      if (attribute == nullptr) {
        throwRangeException(format("%s: no such attribute in %s", name.charPtr(), this->typeText().charPtr()));
      }
      try {
        attribute->set(*record, entry);
      } catch (RangeException const& error) {
        throwRangeException(format("%s: %s", name.charPtr(), error.what()));
      }
    }
    this->of(object).*field_ = record;
  }

 private:
  Ptr<Record const> Owner::*field_;
};

template <class Owner, class T>
class ConstantAttr final : public AttrOf<Owner> {
 public:
  ConstantAttr(char const* name, AttributeId id, T value)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::value, ZefAttr::Access::readOnly, typeText<T>()), value_(value) {}
  Value get(PtrInterface const& /*object*/) const override { return toValue<T>(value_); }

 private:
  T value_;
};

template <class Owner, auto reader, auto setter>
class ChildAttr final : public AttrOf<Owner> {
  using Object = typename ResultOf<reader>::Pointee;

 public:
  ChildAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::entity, ZefAttr::Access::writable, Object::_fwkType()->qualifiedName()) {
  }
  ZefType const* objectType() const override { return Object::_fwkType(); }
  Ptr<Entity> child(PtrInterface const& object) const override { return (this->of(object).*reader)(); }
  Ptr<Entity> childIs(PtrInterface& object) const override {
    if (!(this->of(object).*reader)()) (this->of(object).*setter)(make<Object>(this->name()));
    return child(object);
  }
  void childDel(PtrInterface& object) const override { (this->of(object).*setter)(nullptr); }
};

// find is x, create is xIs, del is xDel, iterator is xIteratorConst. A collection of objects that stand elsewhere
// creates none: its create is null.
template <class Owner, auto find, auto create, auto del, auto iterator>
class CollectionAttr final : public AttrOf<Owner> {
  using Key = ArgumentOf<find>;
  using Object = typename ResultOf<find>::Pointee;

 public:
  CollectionAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::collection, ZefAttr::Access::writable,
                      Object::_fwkType()->qualifiedName()) {}
  ZefType const* objectType() const override { return Object::_fwkType(); }
  String8 key(String8 const& text) const override { return keyText(keyFromText<Key>(text)); }
  std::vector<String8> keys(PtrInterface const& object) const override {
    std::vector<String8> keys;
    for (auto at = (this->of(object).*iterator)(); at; ++at) keys.push_back(keyText(Key(at.key())));
    return keys;
  }
  Ptr<PtrInterface> member(PtrInterface const& object, String8 const& key) const override {
    return (this->of(object).*find)(keyFromText<Key>(key));
  }
  Ptr<PtrInterface> memberIs(PtrInterface& object, String8 const& key) const override {
    if constexpr (std::is_null_pointer_v<decltype(create)>) {
      return ZefAttr::memberIs(object, key);
    } else {
      return (this->of(object).*create)(keyFromText<Key>(key));
    }
  }
  Ptr<PtrInterface> memberDel(PtrInterface& object, String8 const& key) const override {
    return (this->of(object).*del)(keyFromText<Key>(key));
  }
};

template <class Owner, auto map, auto setter, auto del>
class ValueMapAttr final : public AttrOf<Owner> {
  using Key = typename ResultOf<map>::key_type;
  using T = typename ResultOf<map>::mapped_type;

 public:
  ValueMapAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::valueMap, ZefAttr::Access::writable, typeText<T>()) {}
  String8 key(String8 const& text) const override { return keyText(keyFromText<Key>(text)); }
  std::vector<String8> keys(PtrInterface const& object) const override {
    std::vector<String8> keys;
    for (auto const& [key, value] : (this->of(object).*map)()) keys.push_back(keyText(key));
    return keys;
  }
  Value entry(PtrInterface const& object, String8 const& key) const override {
    auto const& values = (this->of(object).*map)();
    auto const found = values.find(keyFromText<Key>(key));
    return found == values.end() ? Value() : toValue<T>(found->second);
  }
  void entryIs(PtrInterface& object, String8 const& key, Value const& value) const override {
    (this->of(object).*setter)(keyFromText<Key>(key), fromValue<T>(value));
  }
  void entryDel(PtrInterface& object, String8 const& key) const override {
    (this->of(object).*del)(keyFromText<Key>(key));
  }
};

template <class Owner, auto valid, auto reader, auto setter, auto del>
class OptionalAttr final : public AttrOf<Owner> {
  using T = ResultOf<reader>;

 public:
  OptionalAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::optional, ZefAttr::Access::writable, typeText<T>()) {}
  Value get(PtrInterface const& object) const override {
    return (this->of(object).*valid)() ? toValue<T>((this->of(object).*reader)()) : Value();
  }
  void set(PtrInterface& object, Value const& value) const override {
    if (value.isNull()) {
      (this->of(object).*del)();
    } else {
      (this->of(object).*setter)(fromValue<T>(value));
    }
  }
};

template <class Owner, auto function>
class FunctionAttr final : public AttrOf<Owner> {
  using Arguments = typename FunctionOf<decltype(function)>::Arguments;
  using Result = ResultOf<function>;

 public:
  FunctionAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::function, ZefAttr::Access::readOnly, "function") {}
  Value call(PtrInterface& object, std::vector<Value> const& arguments) const override {
    if (arguments.size() != std::tuple_size_v<Arguments>) {
      throwRangeException(format("%s takes %zu arguments, not %zu", this->name().charPtr(),
                                 std::tuple_size_v<Arguments>, arguments.size()));
    }
    return callWith(this->of(object), arguments, std::make_index_sequence<std::tuple_size_v<Arguments>>());
  }

 private:
  template <std::size_t... I>
  static Value callWith(Owner& object, [[maybe_unused]] std::vector<Value> const& arguments,
                        std::index_sequence<I...> /*which*/) {
    if constexpr (std::is_void_v<Result>) {
      (object.*function)(fromValue<std::tuple_element_t<I, Arguments>>(arguments[I])...);
      return {};
    } else {
      return toValue<Result>((object.*function)(fromValue<std::tuple_element_t<I, Arguments>>(arguments[I])...));
    }
  }
};

template <class T>
class TypeBuilder {
 public:
  TypeBuilder(char const* qualifiedName, ZefType const* base) : qualifiedName_(qualifiedName), base_(base) {}

  template <auto reader, auto setter>
  TypeBuilder& value(char const* name, AttributeId id) {
    return add<ValueAttr<T, reader, setter>>(name, id);
  }
  template <auto reader>
  TypeBuilder& readOnly(char const* name, AttributeId id) {
    return add<ReadOnlyAttr<T, reader>>(name, id);
  }
  template <class V>
  TypeBuilder& fixed(char const* name, AttributeId id, V T::*field) {
    return add<FixedAttr<T, V>>(name, id, field);
  }
  template <class Record>
  TypeBuilder& record(char const* name, AttributeId id, Ptr<Record const> T::*field) {
    return add<RecordAttr<T, Record>>(name, id, field);
  }
  TypeBuilder& constant(char const* name, AttributeId id, U32 value) {
    return add<ConstantAttr<T, U32>>(name, id, value);
  }
  TypeBuilder& constant(char const* name, AttributeId id, U8 value) {
    return add<ConstantAttr<T, U8>>(name, id, value);
  }
  TypeBuilder& constant(char const* name, AttributeId id, char const* value) {
    return add<ConstantAttr<T, String8>>(name, id, value);
  }
  template <auto reader, auto setter>
  TypeBuilder& entity(char const* name, AttributeId id) {
    return add<ChildAttr<T, reader, setter>>(name, id);
  }
  template <auto find, auto create, auto del, auto iterator>
  TypeBuilder& collection(char const* name, AttributeId id) {
    return add<CollectionAttr<T, find, create, del, iterator>>(name, id);
  }
  template <auto map, auto setter, auto del>
  TypeBuilder& valueMap(char const* name, AttributeId id) {
    return add<ValueMapAttr<T, map, setter, del>>(name, id);
  }
  template <auto valid, auto reader, auto setter, auto del>
  TypeBuilder& optional(char const* name, AttributeId id) {
    return add<OptionalAttr<T, valid, reader, setter, del>>(name, id);
  }
  template <auto member>
  TypeBuilder& function(char const* name, AttributeId id) {
    return add<FunctionAttr<T, member>>(name, id);
  }

  ZefType const* done() {
    return new ZefType(qualifiedName_, base_, std::derived_from<T, Entity>, factory(), std::move(attributes_));
  }

 private:
  template <class Attr, class... Args>
  TypeBuilder& add(Args... args) {
    attributes_.push_back(std::make_unique<Attr>(args...));
    return *this;
  }
  static ZefType::Factory factory() {
    if constexpr (std::derived_from<T, Entity> && std::is_constructible_v<T, Name>) {
      return [](Name const& name) { return Ptr<PtrInterface>(make<T>(name)); };
    } else if constexpr (!std::derived_from<T, Entity> && std::is_default_constructible_v<T>) {
      return [](Name const&) { return Ptr<PtrInterface>(make<T>()); };
    } else {
      return nullptr;
    }
  }

  char const* qualifiedName_;
  ZefType const* base_;
  ZefType::Attributes attributes_;
};

}  // namespace Zef
