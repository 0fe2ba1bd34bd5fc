#pragma once

#include <array>
#include <initializer_list>
#include <type_traits>

#include "runtime/reflection/Attribute.h"
#include "runtime/reflection/GenericIf.h"
#include "runtime/reflection/Introspection.h"
#include "runtime/reflection/Type.h"

// From a type's readers and setters to its type object. Generated sources use it, and a hand-written type can:
//
//   ZefType const* Lamp::_fwkType() {
//     TypeBuilder<Lamp> type("Shop::Lamp", entityType());
//     type.value<&Lamp::brightness, &Lamp::brightnessIs>("brightness", brightnessAttr);
//     static ZefType const* const made = type.done();
//     return made;
//   }

namespace Zef {

template <class>
struct FunctionOf;
template <class C, class R, class... Args>
struct FunctionOf<R (C::*)(Args...)> {
  using Class = C;
  using Result = std::remove_cvref_t<R>;
  using Arguments = std::tuple<std::remove_cvref_t<Args>...>;
  static constexpr bool isConst = false;
};
template <class C, class R, class... Args>
struct FunctionOf<R (C::*)(Args...) const> : FunctionOf<R (C::*)(Args...)> {
  static constexpr bool isConst = true;
};

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
  template <class T>
  T taken(Value const& value) const {
    T result = fromValue<T>(value);
    requireWithin(this->bounds(), value);
    return result;
  }
};

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
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::writable, &typeOf<T>) {}
  bool givesConst() const override { return pointsAtConst<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>((this->of(object).*reader)()); }
  void set(PtrInterface& object, Value const& value) const override {
    (this->of(object).*setter)(this->template taken<T>(value));
  }
};

template <class Owner, auto reader>
class ReadOnlyAttr final : public AttrOf<Owner> {
  using T = ResultOf<reader>;

 public:
  ReadOnlyAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::readOnly, &typeOf<T>) {}
  bool givesConst() const override { return pointsAtConst<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>((this->of(object).*reader)()); }
};

template <class Owner, class T>
class FixedAttr final : public AttrOf<Owner> {
 public:
  FixedAttr(char const* name, AttributeId id, T Owner::*field)
      : AttrOf<Owner>(name, id, kindOf<T>(), ZefAttr::Access::fixed, &typeOf<T>), field_(field) {}
  bool givesConst() const override { return pointsAtConst<T>(); }
  Value get(PtrInterface const& object) const override { return toValue<T>(this->of(object).*field_); }
  void set(PtrInterface& object, Value const& value) const override {
    this->of(object).*field_ = this->template taken<T>(value);
  }

 private:
  T Owner::*field_;
};

// A fixed pointer to a record that reads and is set as the record's values: setting makes a new record.
template <class Owner, class Record>
class RecordAttr final : public AttrOf<Owner> {
 public:
  RecordAttr(char const* name, AttributeId id, Ptr<Record const> Owner::*field)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::value, ZefAttr::Access::fixed, &Record::_fwkType), field_(field) {}

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
    if (values == nullptr) throwUnfit(group(), value);
    auto const record = make<Record>();
    for (auto const& [name, entry] : *values) {
      ZefAttr const* const attribute = Record::_fwkType()->attr(name);
      if (attribute == nullptr) throwNoSuchName(name, group());
      try {
        attribute->set(*record, entry);
      } catch (RangeException const& error) {
        throwRangeException(format("%s: %s", name.charPtr(), error.what()));
      }
    }
    this->of(object).*field_ = record;
  }

 private:
  static String8 group() {
    std::vector<char const*> names;
    for (ZefAttr const* attribute : Record::_fwkType()->allAttributes()) names.push_back(attribute->name().charPtr());
    return groupOf(names);
  }

  Ptr<Record const> Owner::*field_;
};

template <class Owner, class T>
class ConstantAttr final : public AttrOf<Owner> {
 public:
  ConstantAttr(char const* name, AttributeId id, T value)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::value, ZefAttr::Access::readOnly, &typeOf<T>), value_(value) {}
  Value get(PtrInterface const& /*object*/) const override { return toValue<T>(value_); }

 private:
  T value_;
};

template <class Owner, auto reader, auto setter>
class ChildAttr final : public AttrOf<Owner> {
  using Object = typename ResultOf<reader>::Pointee;

 public:
  ChildAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::entity, ZefAttr::Access::writable, &Object::_fwkType) {}
  Ptr<Entity> child(PtrInterface const& object) const override { return (this->of(object).*reader)(); }
  Ptr<Entity> childIs(PtrInterface& object) const override {
    if (!(this->of(object).*reader)()) (this->of(object).*setter)(make<Object>(this->name()));
    return child(object);
  }
  void childDel(PtrInterface& object) const override { (this->of(object).*setter)(nullptr); }
};

template <class IteratorConst, class Key>
class CollectionWalk final : public ZefAttr::Walk {
 public:
  explicit CollectionWalk(IteratorConst at) : at_(std::move(at)) {}
  bool more() const override { return static_cast<bool>(at_); }
  void advance() override { ++at_; }
  Value key() const override { return toValue<Key>(Key(at_.key())); }
  String8 keyText() const override { return Zef::keyText(Key(at_.key())); }
  Value value() const override { return Ptr<PtrInterface>(at_.ptr()); }

 private:
  IteratorConst at_;
};

// find is x, create is xIs, del is xDel, iterator is xIteratorConst, startAt is xStartAt. A collection of objects that
// stand elsewhere creates none: its create is null.
template <class Owner, auto find, auto create, auto del, auto iterator, auto startAt>
class CollectionAttr final : public AttrOf<Owner> {
  using Key = ArgumentOf<find>;
  using Object = typename ResultOf<find>::Pointee;
  using At = CollectionWalk<ResultOf<iterator>, Key>;

 public:
  CollectionAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::collection, ZefAttr::Access::writable, &Object::_fwkType) {}
  ZefType const* keyType() const override { return typeOf<Key>(); }
  bool makesMembers() const override { return !std::is_null_pointer_v<decltype(create)>; }
  String8 key(String8 const& text) const override { return keyText(newKeyFromText<Key>(text)); }
  std::unique_ptr<ZefAttr::Walk> walk(PtrInterface const& object) const override {
    return std::make_unique<At>((this->of(object).*iterator)());
  }
  std::unique_ptr<ZefAttr::Walk> walkFrom(PtrInterface const& object, String8 const& key) const override {
    return std::make_unique<At>((this->of(object).*startAt)(keyFromText<Key>(key)));
  }
  Ptr<PtrInterface> member(PtrInterface const& object, String8 const& key) const override {
    return (this->of(object).*find)(keyFromText<Key>(key));
  }
  Ptr<PtrInterface> memberIs(PtrInterface& object, String8 const& key) const override {
    if constexpr (std::is_null_pointer_v<decltype(create)>) {
      return ZefAttr::memberIs(object, key);
    } else {
      return (this->of(object).*create)(newKeyFromText<Key>(key));
    }
  }
  Ptr<PtrInterface> memberDel(PtrInterface& object, String8 const& key) const override {
    return (this->of(object).*del)(keyFromText<Key>(key));
  }
};

// Walks by the key where it stands, since entries may come and go.
template <class Map>
class ValueMapWalk final : public ZefAttr::Walk {
 public:
  ValueMapWalk(Ptr<PtrInterface const> owner, Map const& map, typename Map::const_iterator at)
      : owner_(std::move(owner)), map_(map) {
    take(at);
  }
  bool more() const override { return more_; }
  void advance() override { take(map_.upper_bound(key_)); }
  Value key() const override { return toValue(key_); }
  String8 keyText() const override { return Zef::keyText(key_); }
  Value value() const override {
    auto const found = map_.find(key_);
    return found == map_.end() ? Value() : toValue(found->second);
  }

 private:
  void take(typename Map::const_iterator at) {
    more_ = at != map_.end();
    if (more_) key_ = at->first;
  }

  Ptr<PtrInterface const> owner_;
  Map const& map_;
  typename Map::key_type key_{};
  bool more_ = false;
};

template <class Owner, auto map, auto setter, auto del>
class ValueMapAttr final : public AttrOf<Owner> {
  using Map = ResultOf<map>;
  using Key = typename Map::key_type;
  using T = typename Map::mapped_type;

 public:
  ValueMapAttr(char const* name, AttributeId id)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::valueMap, ZefAttr::Access::writable, &typeOf<T>) {}
  String8 key(String8 const& text) const override { return keyText(newKeyFromText<Key>(text)); }
  ZefType const* keyType() const override { return typeOf<Key>(); }
  std::unique_ptr<ZefAttr::Walk> walk(PtrInterface const& object) const override {
    auto const& values = (this->of(object).*map)();
    return std::make_unique<ValueMapWalk<Map>>(&object, values, values.begin());
  }
  std::unique_ptr<ZefAttr::Walk> walkFrom(PtrInterface const& object, String8 const& key) const override {
    auto const& values = (this->of(object).*map)();
    return std::make_unique<ValueMapWalk<Map>>(&object, values, values.lower_bound(keyFromText<Key>(key)));
  }
  Value entry(PtrInterface const& object, String8 const& key) const override {
    auto const& values = (this->of(object).*map)();
    auto const found = values.find(keyFromText<Key>(key));
    return found == values.end() ? Value() : toValue<T>(found->second);
  }
  void entryIs(PtrInterface& object, String8 const& key, Value const& value) const override {
    (this->of(object).*setter)(newKeyFromText<Key>(key), fromValue<T>(value));
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
      : AttrOf<Owner>(name, id, ZefAttr::Kind::optional, ZefAttr::Access::writable, &typeOf<T>) {}
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
  static constexpr std::size_t count = std::tuple_size_v<Arguments>;
  using Which = std::make_index_sequence<count>;

 public:
  FunctionAttr(char const* name, AttributeId id, std::array<char const*, count> const& parameters)
      : AttrOf<Owner>(name, id, ZefAttr::Kind::function, ZefAttr::Access::readOnly, resultType()) {
    addParameters(parameters, Which());
  }
  std::vector<ZefAttr::Parameter> const& parameters() const override { return parameters_; }
  bool isMutation() const override { return !FunctionOf<decltype(function)>::isConst; }
  bool givesConst() const override { return pointsAtConst<Result>(); }
  Value call(PtrInterface& object, std::vector<Value> const& given) const override {
    if (given.size() > count) GenericIf::throwUnknownArgException(this->name(), count + 1);
    if (given.size() < count) argumentRefused(given.size(), "is missing");
    return callWith(this->of(object), argumentsOf(given, Which()));
  }

 private:
  static ZefAttr::TypeOf resultType() {
    if constexpr (std::is_void_v<Result>) {
      return nullptr;
    } else {
      return &typeOf<Result>;
    }
  }
  template <std::size_t... I>
  void addParameters(std::array<char const*, count> const& names, std::index_sequence<I...> /*which*/) {
    (parameters_.push_back(
         {names[I], &typeOf<std::tuple_element_t<I, Arguments>>, pointsAtConst<std::tuple_element_t<I, Arguments>>()}),
     ...);
  }
  [[noreturn]] void argumentRefused(std::size_t at, char const* reason) const {
    GenericIf::throwTypeException(this->name(),
                                  format("argument %zu, %s, %s", at + 1, parameters_[at].name.charPtr(), reason));
  }
  template <class T>
  T argument(std::vector<Value> const& given, std::size_t at) const {
    try {
      return fromValue<T>(given[at]);
    } catch (RangeException const& error) {
      argumentRefused(at, (String8("does not fit: ") + error.what()).charPtr());
    }
  }
  template <std::size_t... I>
  Arguments argumentsOf([[maybe_unused]] std::vector<Value> const& given, std::index_sequence<I...> /*which*/) const {
    return Arguments{argument<std::tuple_element_t<I, Arguments>>(given, I)...};
  }
  static Value callWith(Owner& object, Arguments const& arguments) {
    return std::apply(
        [&](auto const&... values) -> Value {
          if constexpr (std::is_void_v<Result>) {
            (object.*function)(values...);
            return {};
          } else {
            return toValue<Result>((object.*function)(values...));
          }
        },
        arguments);
  }

  std::vector<ZefAttr::Parameter> parameters_;
};

// T::_Type, the type object of an entity or a record.
template <class T>
class TypeObject : public ZefType {
  template <class Member>
  using Key = std::remove_cvref_t<decltype(std::declval<Member const&>().fwkKey())>;
  static constexpr bool isMadeFromKey() {
    if constexpr (requires(T const& t) { t.fwkKey(); }) return std::is_constructible_v<T, Key<T>>;
    return false;
  }

 public:
  using ZefType::ZefType;

  Ptr<PtrInterface> newObject(Name const& name) const override {
    if constexpr (std::derived_from<T, Entity> && std::is_constructible_v<T, Name>) {
      return make<T>(name);
    } else if constexpr (!std::derived_from<T, Entity> && std::is_default_constructible_v<T>) {
      return make<T>();
    } else if constexpr (isMadeFromKey()) {
      return make<T>(keyFromText<Key<T>>(name.stringValue()));
    } else {
      return ZefType::newObject(name);
    }
  }
  using ZefType::genericIf;
  Ptr<GenericIf> genericIf(Ptr<PtrInterface> const& object, bool isConst) const override {
    if constexpr (requires { typename T::GenericIf_; }) {
      return make<typename T::GenericIf_>(dynamicCast<T>(object), isConst);
    } else if constexpr (std::derived_from<T, Entity>) {
      return make<GenericIfEntity>(object, isConst);
    } else {
      return ZefType::genericIf(object, isConst);
    }
  }
  Ptr<PtrInterface::NotifieeConst> newAdapter(Ptr<GenericIfListener> const& listener) const override {
    if constexpr (requires { typename T::GenericIf_::GenericIf_Adapter_; }) {
      return make<typename T::GenericIf_::GenericIf_Adapter_>(listener);
    } else {
      return ZefType::newAdapter(listener);
    }
  }
};

// The body of T::_fwkType() of a model's type: the first use of one type registers all of its model, in order.
template <class Describe>
ZefType const* modelType(ZefType const*& made, void (*registerModel)(), Describe describe) {
  if (made != nullptr) return made;
  registerModel();
  if (made == nullptr) made = describe();
  return made;
}

// The type object of a value type or a strong integer that a model declares.
template <class T>
ZefType const* valueType() {
  auto const* const type = new ZefType(valueDescription<T>());
  ZefType::typeNodeIs(type, type->qualifiedName());
  return type;
}

template <class T>
class TypeBuilder {
 public:
  TypeBuilder(char const* qualifiedName, ZefType const* base)
      : description_{qualifiedName,
                     base,
                     std::derived_from<T, Entity> ? ZefType::Kind::entity : ZefType::Kind::record,
                     {},
                     {}} {}

  // What the constructor takes next.
  template <class V>
  TypeBuilder& argument(char const* name) {
    description_.parameters.push_back({name, &typeOf<V>, pointsAtConst<V>()});
    return *this;
  }

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
  template <auto find, auto create, auto del, auto iterator, auto startAt>
  TypeBuilder& collection(char const* name, AttributeId id) {
    return add<CollectionAttr<T, find, create, del, iterator, startAt>>(name, id);
  }
  template <auto map, auto setter, auto del>
  TypeBuilder& valueMap(char const* name, AttributeId id) {
    return add<ValueMapAttr<T, map, setter, del>>(name, id);
  }
  template <auto valid, auto reader, auto setter, auto del>
  TypeBuilder& optional(char const* name, AttributeId id) {
    return add<OptionalAttr<T, valid, reader, setter, del>>(name, id);
  }
  // With the names of the parameters.
  template <auto member, class... Names>
  TypeBuilder& function(char const* name, AttributeId id, Names... parameters) {
    return add<FunctionAttr<T, member>>(name, id, std::array<char const*, sizeof...(Names)>{parameters...});
  }

  // Of the attribute that was added last.
  TypeBuilder& within(Bounds const& bounds) {
    last_->boundsIs(bounds);
    return *this;
  }

  ZefType const* done() {
    auto const* const type = new TypeObject<T>(std::move(description_));
    ZefType::typeNodeIs(type, type->qualifiedName());
    return type;
  }

 private:
  template <class Attr, class... Args>
  TypeBuilder& add(Args... args) {
    last_ = make<Attr>(args...);
    description_.attributes.emplace_back(last_);
    return *this;
  }

  Ptr<ZefAttr> last_;
  ZefType::Description description_;
};

}  // namespace Zef
