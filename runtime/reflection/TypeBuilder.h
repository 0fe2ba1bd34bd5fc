#pragma once

#include <initializer_list>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

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

template <class T>
constexpr ZefAttr::Kind kindOf() {
  return requires { typename PointerTo<T>::Pointee; }
  ? ZefAttr::Kind::reference : ZefAttr::Kind::value;
}

template <class T>
T taken(ZefAttr const& attribute, Value const& value) {
  T result = fromValue<T>(value);
  requireWithin(attribute.bounds(), value);
  return result;
}

// An object's attributes as a record's values, and the other way round.
Value recordOf(PtrInterface const& object);
void fillFromRecord(PtrInterface& object, Value const& value);

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

// A key's text in its one spelling.
template <class Key>
String8 keyAgain(String8 const& text) {
  return keyText(newKeyFromText<Key>(text));
}

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

// The part of a type's builder that knows no type.
class TypeBuilderBase {
 protected:
  TypeBuilderBase(char const* qualifiedName, ZefType const* base, ZefType::Kind kind)
      : description_{qualifiedName, base, kind, {}, {}} {}

  void argument(char const* name, ZefAttr::TypeOf type, bool pointsAtConst) {
    description_.parameters.push_back({name, type, pointsAtConst});
  }
  // Enters an attribute; the ones below are about the one that was entered last.
  ZefAttr::Operations& add(char const* name, AttributeId id, ZefAttr::Kind kind, ZefAttr::Access access,
                           ZefAttr::TypeOf type, bool givesConst = false);
  void keyIs(ZefAttr::TypeOf type) { last_->keyType_ = type; }
  void constantIs(Value value) { last_->constant_ = std::move(value); }
  void isMutationIs(bool on) { last_->isMutation_ = on; }
  void parameter(char const* name, ZefAttr::TypeOf type, bool pointsAtConst) {
    last_->parameters_.push_back({name, type, pointsAtConst});
  }
  void boundsIs(Bounds const& bounds) { last_->bounds_ = bounds; }

  ZefType::Description description_;

 private:
  Ptr<ZefAttr> last_;
};

template <class T>
class TypeBuilder : public TypeBuilderBase {
  using Kind = ZefAttr::Kind;
  using Access = ZefAttr::Access;

 public:
  TypeBuilder(char const* qualifiedName, ZefType const* base)
      : TypeBuilderBase(qualifiedName, base,
                        std::derived_from<T, Entity> ? ZefType::Kind::entity : ZefType::Kind::record) {}

  // What the constructor takes next.
  template <class V>
  TypeBuilder& argument(char const* name) {
    TypeBuilderBase::argument(name, &typeOf<V>, pointsAtConst<V>());
    return *this;
  }

  template <auto reader, auto setter>
  TypeBuilder& value(char const* name, AttributeId id) {
    using V = ResultOf<reader>;
    auto& does = add(name, id, kindOf<V>(), Access::writable, &typeOf<V>, pointsAtConst<V>());
    does.get = &get<reader>;
    does.set = [](ZefAttr const& self, PtrInterface& object, Value const& given) {
      (of(object).*setter)(taken<V>(self, given));
    };
    return *this;
  }

  template <auto reader>
  TypeBuilder& readOnly(char const* name, AttributeId id) {
    using V = ResultOf<reader>;
    add(name, id, kindOf<V>(), Access::readOnly, &typeOf<V>, pointsAtConst<V>()).get = &get<reader>;
    return *this;
  }

  template <auto field>
  TypeBuilder& fixed(char const* name, AttributeId id) {
    using V = std::remove_cvref_t<decltype(std::declval<T&>().*field)>;
    auto& does = add(name, id, kindOf<V>(), Access::fixed, &typeOf<V>, pointsAtConst<V>());
    does.get = [](PtrInterface const& object) { return toValue<V>(of(object).*field); };
    does.set = [](ZefAttr const& self, PtrInterface& object, Value const& given) {
      of(object).*field = taken<V>(self, given);
    };
    return *this;
  }

  // A fixed pointer to a record that reads and is set as the record's values: setting makes a new record.
  template <auto field>
  TypeBuilder& record(char const* name, AttributeId id) {
    using Pointer = std::remove_cvref_t<decltype(std::declval<T&>().*field)>;
    using Record = std::remove_const_t<typename Pointer::Pointee>;
    auto& does = add(name, id, Kind::value, Access::fixed, &Record::_fwkType);
    does.get = [](PtrInterface const& object) {
      Pointer const& values = of(object).*field;
      return values ? recordOf(*values) : Value();
    };
    does.set = [](ZefAttr const& /*self*/, PtrInterface& object, Value const& given) {
      Ptr<Record> const values = given.isNull() ? nullptr : make<Record>();
      if (values) fillFromRecord(*values, given);
      of(object).*field = values;
    };
    return *this;
  }

  TypeBuilder& constant(char const* name, AttributeId id, U32 value) { return constantOf<U32>(name, id, value); }
  TypeBuilder& constant(char const* name, AttributeId id, U8 value) { return constantOf<U8>(name, id, value); }
  TypeBuilder& constant(char const* name, AttributeId id, char const* value) {
    return constantOf<String8>(name, id, value);
  }

  template <auto reader, auto setter>
  TypeBuilder& entity(char const* name, AttributeId id) {
    using Object = typename ResultOf<reader>::Pointee;
    auto& does = add(name, id, Kind::entity, Access::writable, &Object::_fwkType);
    does.child = [](PtrInterface const& object) { return Ptr<Entity>((of(object).*reader)()); };
    does.newChild = [](PtrInterface& object, Name const& child) { (of(object).*setter)(make<Object>(child)); };
    does.childDel = [](PtrInterface& object) { (of(object).*setter)(nullptr); };
    return *this;
  }

  // find is x, create is xIs, del is xDel, iterator is xIteratorConst, startAt is xStartAt. A collection of objects
  // that stand elsewhere creates none: its create is null.
  template <auto find, auto create, auto del, auto iterator, auto startAt>
  TypeBuilder& collection(char const* name, AttributeId id) {
    using Key = ArgumentOf<find>;
    using At = CollectionWalk<ResultOf<iterator>, Key>;
    auto& does = add(name, id, Kind::collection, Access::writable, &ResultOf<find>::Pointee::_fwkType);
    keyIs(&typeOf<Key>);
    does.key = &keyAgain<Key>;
    does.walk = [](PtrInterface const& object, String8 const* key) -> std::unique_ptr<ZefAttr::Walk> {
      if (key == nullptr) return std::make_unique<At>((of(object).*iterator)());
      return std::make_unique<At>((of(object).*startAt)(keyFromText<Key>(*key)));
    };
    does.member = [](PtrInterface const& object, String8 const& key) {
      return Ptr<PtrInterface>((of(object).*find)(keyFromText<Key>(key)));
    };
    if constexpr (!std::is_null_pointer_v<decltype(create)>) {
      does.memberIs = [](PtrInterface& object, String8 const& key) {
        return Ptr<PtrInterface>((of(object).*create)(newKeyFromText<Key>(key)));
      };
    }
    does.memberDel = [](PtrInterface& object, String8 const& key) {
      return Ptr<PtrInterface>((of(object).*del)(keyFromText<Key>(key)));
    };
    return *this;
  }

  template <auto map, auto setter, auto del>
  TypeBuilder& valueMap(char const* name, AttributeId id) {
    using Map = ResultOf<map>;
    using Key = typename Map::key_type;
    using V = typename Map::mapped_type;
    auto& does = add(name, id, Kind::valueMap, Access::writable, &typeOf<V>);
    keyIs(&typeOf<Key>);
    does.key = &keyAgain<Key>;
    does.walk = [](PtrInterface const& object, String8 const* key) -> std::unique_ptr<ZefAttr::Walk> {
      Map const& values = (of(object).*map)();
      auto const from = key == nullptr ? values.begin() : values.lower_bound(keyFromText<Key>(*key));
      return std::make_unique<ValueMapWalk<Map>>(&object, values, from);
    };
    does.entry = [](PtrInterface const& object, String8 const& key) {
      Map const& values = (of(object).*map)();
      auto const found = values.find(keyFromText<Key>(key));
      return found == values.end() ? Value() : toValue<V>(found->second);
    };
    does.entryIs = [](PtrInterface& object, String8 const& key, Value const& given) {
      (of(object).*setter)(newKeyFromText<Key>(key), fromValue<V>(given));
    };
    does.entryDel = [](PtrInterface& object, String8 const& key) { (of(object).*del)(keyFromText<Key>(key)); };
    return *this;
  }

  template <auto valid, auto reader, auto setter, auto del>
  TypeBuilder& optional(char const* name, AttributeId id) {
    using V = ResultOf<reader>;
    auto& does = add(name, id, Kind::optional, Access::writable, &typeOf<V>);
    does.get = [](PtrInterface const& object) {
      return (of(object).*valid)() ? toValue<V>((of(object).*reader)()) : Value();
    };
    does.set = [](ZefAttr const& /*self*/, PtrInterface& object, Value const& given) {
      if (given.isNull()) {
        (of(object).*del)();
      } else {
        (of(object).*setter)(fromValue<V>(given));
      }
    };
    return *this;
  }

  // With the names of the parameters.
  template <auto member, class... Names>
  TypeBuilder& function(char const* name, AttributeId id, Names... parameters) {
    using Function = FunctionOf<decltype(member)>;
    using Result = typename Function::Result;
    using Arguments = typename Function::Arguments;
    ZefAttr::TypeOf result = nullptr;
    if constexpr (!std::is_void_v<Result>) result = &typeOf<Result>;
    auto& does = add(name, id, Kind::function, Access::readOnly, result, pointsAtConst<Result>());
    isMutationIs(!Function::isConst);
    [&]<class... Args>(std::tuple<Args...> const* /*of*/) {
      (parameter(parameters, &typeOf<Args>, pointsAtConst<Args>()), ...);
    }(static_cast<Arguments const*>(nullptr));
    does.call = [](ZefAttr const& self, PtrInterface& object, std::vector<Value> const& given) {
      return callWith<member, Result>(self, of(object), given, static_cast<Arguments const*>(nullptr),
                                      std::index_sequence_for<Names...>());
    };
    return *this;
  }

  // Of the attribute that was added last.
  TypeBuilder& within(Bounds const& bounds) {
    boundsIs(bounds);
    return *this;
  }

  ZefType const* done() {
    auto const* const type = new TypeObject<T>(std::move(description_));
    ZefType::typeNodeIs(type, type->qualifiedName());
    return type;
  }

 private:
  static T const& of(PtrInterface const& object) { return static_cast<T const&>(object); }
  static T& of(PtrInterface& object) { return static_cast<T&>(object); }
  template <auto reader>
  static Value get(PtrInterface const& object) {
    return toValue<ResultOf<reader>>((of(object).*reader)());
  }
  template <class V>
  TypeBuilder& constantOf(char const* name, AttributeId id, V const& value) {
    add(name, id, Kind::value, Access::readOnly, &typeOf<V>);
    constantIs(toValue<V>(value));
    return *this;
  }

  template <class V>
  static V argumentOf(ZefAttr const& self, std::vector<Value> const& given, std::size_t at) {
    try {
      return fromValue<V>(given[at]);
    } catch (RangeException const& error) {
      self.throwArgument(at, String8("does not fit: ") + error.what());
    }
  }
  template <auto member, class Result, class... Args, std::size_t... I>
  static Value callWith([[maybe_unused]] ZefAttr const& self, T& object,
                        [[maybe_unused]] std::vector<Value> const& given, std::tuple<Args...> const* /*of*/,
                        std::index_sequence<I...> /*which*/) {
    std::tuple<Args...> const arguments{argumentOf<Args>(self, given, I)...};
    if constexpr (std::is_void_v<Result>) {
      (object.*member)(std::get<I>(arguments)...);
      return {};
    } else {
      return toValue<Result>((object.*member)(std::get<I>(arguments)...));
    }
  }
};

}  // namespace Zef
