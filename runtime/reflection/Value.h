#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "runtime/kit/Declarations.h"
#include "runtime/kit/Exception.h"
#include "runtime/kit/Name.h"
#include "runtime/kit/Ptr.h"
#include "runtime/kit/String8.h"

namespace Zef {

// What crosses the reflective interface: nothing, a boolean, a number, a text, a record (names with values, in order)
// or an object. It knows no model type; toValue and fromValue convert, and fromValue throws RangeException with the
// reason when a value does not fit.
class Value {
 public:
  using Record = std::vector<std::pair<String8, Value>>;

  Value() = default;
  // A Value is whatever it is made from; but no pointer is a bool.
  template <std::integral T>
  Value(T value) {  // NOLINT(google-explicit-constructor)
    if constexpr (std::same_as<T, bool>) {
      value_ = value;
    } else {
      value_ = static_cast<std::int64_t>(value);
    }
  }
  Value(double value) : value_(value) {}                        // NOLINT(google-explicit-constructor)
  Value(String8 value) : value_(std::move(value)) {}            // NOLINT(google-explicit-constructor)
  Value(char const* value) : value_(String8(value)) {}          // NOLINT(google-explicit-constructor)
  Value(Record value) : value_(std::move(value)) {}             // NOLINT(google-explicit-constructor)
  Value(Ptr<PtrInterface> value) : value_(std::move(value)) {}  // NOLINT(google-explicit-constructor)

  bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
  // Null when it holds something else.
  template <class T>
  T const* get() const {
    return std::get_if<T>(&value_);
  }
  bool operator==(Value const& other) const = default;

  // How an error message shows it: `the text "up"`, `the number 7`.
  String8 description() const;

 private:
  std::variant<std::monostate, bool, std::int64_t, double, String8, Record, Ptr<PtrInterface>> value_;
};

// Throws RangeException: what was needed, and what came.
[[noreturn]] void throwUnfit(String8 const& needed, Value const& value);
// The same for a name that a group of values does not have.
[[noreturn]] void throwNoSuchName(String8 const& name, String8 const& group);

// Throws RangeException: what is taken, and what came.
void requireWithin(Bounds const& bounds, Value const& value);

// The number that a name or a number stands for.
U32 enumFromValue(EnumTable const& table, Value const& value);
// What enumFromValue takes for the number: its name, or the number itself when it has none.
Value enumToValue(EnumTable const& table, U32 number);
// The name, or the number in decimal when it has none.
String8 enumText(EnumTable const& table, U32 number);

// The type's name as a model writes it.
template <class T>
String8 typeText() {
  if constexpr (std::same_as<T, bool>) {
    return "bool";
  } else if constexpr (std::same_as<T, U8>) {
    return "U8";
  } else if constexpr (std::same_as<T, U32>) {
    return "U32";
  } else if constexpr (std::same_as<T, S32>) {
    return "S32";
  } else if constexpr (std::same_as<T, float>) {
    return "float";
  } else if constexpr (std::same_as<T, double>) {
    return "double";
  } else if constexpr (std::same_as<T, String8>) {
    return "Zef::String8";
  } else if constexpr (std::same_as<T, Name>) {
    return "Zef::Name";
  } else if constexpr (ModelEnum<T>) {
    return enumTable(T()).qualifiedName;
  } else if constexpr (requires { typename PointerTo<T>::Pointee; }) {
    return "an object";
  } else {
    return T::fwkName();
  }
}

std::int64_t integerFromValue(Value const& value, std::int64_t low, std::int64_t high);
double realFromValue(Value const& value, double limit);
String8 textFromValue(Value const& value);

template <class T>
Value toValue(T const& value) {
  if constexpr (std::same_as<T, bool> || std::integral<T>) {
    return Value(value);
  } else if constexpr (std::floating_point<T>) {
    return Value(static_cast<double>(value));
  } else if constexpr (std::same_as<T, String8>) {
    return Value(value);
  } else if constexpr (std::same_as<T, Name> || Identifier<T>) {
    return Value(String8(value.stringValue()));
  } else if constexpr (ModelEnum<T>) {
    return enumToValue(enumTable(value), static_cast<U32>(value));
  } else if constexpr (ModelNumber<T>) {
    return Value(value.value());
  } else if constexpr (requires { typename PointerTo<T>::Pointee; }) {
    // A value carries objects as they are; whether an attribute gives write access to one is the attribute's type.
    using Object = std::remove_const_t<typename PointerTo<T>::Pointee>;
    return value ? Value(Ptr<PtrInterface>(const_cast<Object*>(value.get()))) : Value();
  } else {
    static_assert(ModelValue<T>);
    Value::Record record;
    std::apply([&](auto const&... fields) { (record.emplace_back(fields.name, toValue(value.*fields.member)), ...); },
               T::fwkFields());
    return Value(std::move(record));
  }
}

template <class T>
T fromValue(Value const& value);

// Reads one entry of a record into the field of its name; false when the field has another name.
template <class T, class F>
bool fieldFromValue(T& target, Field<T, F> const& field, String8 const& name, Value const& value) {
  if (!(name == field.name)) return false;
  try {
    target.*field.member = fromValue<F>(value);
    requireWithin(field.bounds, value);
  } catch (RangeException const& error) {
    throwRangeException(format("%s: %s", field.name, error.what()));
  }
  return true;
}

// How a message says what a group of values takes: by its names, which are those of a model.
String8 groupOf(std::span<char const* const> names);

template <ModelValue T>
String8 groupOf() {
  return std::apply([](auto const&... fields) { return groupOf(std::array{fields.name...}); }, T::fwkFields());
}

// A field that the record leaves out keeps its default.
template <ModelValue T>
T recordFromValue(Value const& value) {
  auto const* record = value.get<Value::Record>();
  if (record == nullptr) throwUnfit(groupOf<T>(), value);
  T result;
  for (auto const& entry : *record) {
    bool const known = std::apply(
        [&](auto const&... fields) { return (fieldFromValue(result, fields, entry.first, entry.second) || ...); },
        T::fwkFields());
    if (!known) throwNoSuchName(entry.first, groupOf<T>());
  }
  return result;
}

template <class T>
T fromValue(Value const& value) {
  if constexpr (std::same_as<T, bool>) {
    auto const* flag = value.get<bool>();
    if (flag == nullptr) throwUnfit("true or false", value);
    return *flag;
  } else if constexpr (std::integral<T>) {
    return static_cast<T>(integerFromValue(value, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  } else if constexpr (std::floating_point<T>) {
    return static_cast<T>(realFromValue(value, std::numeric_limits<T>::max()));
  } else if constexpr (std::same_as<T, String8>) {
    return textFromValue(value);
  } else if constexpr (std::same_as<T, Name>) {
    return Name(textFromValue(value));
  } else if constexpr (Identifier<T>) {
    T id;
    id.handleInitialized(textFromValue(value));
    return id;
  } else if constexpr (ModelEnum<T>) {
    return static_cast<T>(enumFromValue(enumTable(T()), value));
  } else if constexpr (ModelNumber<T>) {
    return T(fromValue<typename T::Representation>(value));
  } else if constexpr (requires { typename PointerTo<T>::Pointee; }) {
    if (value.isNull()) return T();
    auto const* object = value.get<Ptr<PtrInterface>>();
    using Object = typename PointerTo<T>::Pointee;
    T const result = object == nullptr ? T() : dynamicCast<Object>(*object);
    if (result) return result;
    if constexpr (requires { Object::_fwkType(); }) throwUnfit(String8("a ") + Object::_fwkType()->name(), value);
    throwUnfit("an object", value);
  } else {
    return recordFromValue<T>(value);
  }
}

// The text of a collection's key, as an inventory and a path write it. A key of several fields is their texts with a
// "/" between; only the last may hold one itself.
template <class Key>
String8 keyText(Key const& key) {
  if constexpr (std::integral<Key>) {
    return format("%u", static_cast<unsigned>(key));
  } else if constexpr (ModelNumber<Key>) {
    return keyText(key.value());
  } else if constexpr (std::same_as<Key, String8>) {
    return key;
  } else if constexpr (std::same_as<Key, Name> || Identifier<Key>) {
    return key.stringValue();
  } else {
    String8 text;
    char const* separator = "";
    auto const add = [&](auto const& field) {
      text += separator + keyText(key.*field.member);
      separator = "/";
    };
    std::apply([&](auto const&... fields) { (add(fields), ...); }, Key::fwkFields());
    return text;
  }
}

U32 numberFromKeyText(String8 const& text, U32 high);
// Takes the text up to the first "/" off the front of `text`; all of it when `last`.
String8 cutKeyField(String8& text, bool last);

// Reads such a text; RangeException when it is no key of that type.
template <class Key>
Key keyFromText(String8 const& text);

// The same for a key that is to be entered: it cannot be empty.
template <class Key>
Key newKeyFromText(String8 const& text) {
  Key key = keyFromText<Key>(text);
  if (text.empty()) throwRangeException("a key cannot be empty");
  return key;
}

template <class Key>
Key keyFromText(String8 const& text) {
  if constexpr (std::integral<Key>) {
    return static_cast<Key>(numberFromKeyText(text, std::numeric_limits<Key>::max()));
  } else if constexpr (ModelNumber<Key>) {
    return Key(keyFromText<typename Key::Representation>(text));
  } else if constexpr (std::same_as<Key, String8> || std::same_as<Key, Name>) {
    return Key(text);
  } else if constexpr (Identifier<Key>) {
    Key key;
    key.handleInitialized(text);
    return key;
  } else {
    Key key;
    String8 rest = text;
    std::apply(
        [&](auto const&... fields) {
          std::size_t left = sizeof...(fields);
          auto const read = [&](auto const& field) {
            using F = std::remove_cvref_t<decltype(key.*field.member)>;
            key.*field.member = keyFromText<F>(cutKeyField(rest, --left == 0));
          };
          (read(fields), ...);
        },
        Key::fwkFields());
    return key;
  }
}

}  // namespace Zef
