#pragma once

#include <compare>
#include <concepts>
#include <limits>
#include <ostream>
#include <span>
#include <type_traits>

#include "runtime/kit/Ptr.h"
#include "runtime/kit/String8.h"

// What C++ knows of the declarations of a model: enumerations, fields of value types, strong integers.
namespace Zef {

// What a publisher may give where a type holds more: a number from `least` to `most`, a text of at most `most` bytes,
// and of a record each of its numbers and texts. An infinite reading is no number, and passes.
struct Bounds {
  double least = -std::numeric_limits<double>::infinity();
  double most = std::numeric_limits<double>::infinity();
};

// What an enumeration of a model knows about itself. An open one admits numbers without a name.
struct Enumerator {
  char const* name;
  U32 number;
};
struct EnumTable {
  char const* qualifiedName;
  std::span<Enumerator const> enumerators;
  bool open;
};

// An enumeration of a model: the generated code declares enumTable(E) beside it.
template <class E>
concept ModelEnum = std::is_enum_v<E> && requires(E e) {
  { enumTable(e) } -> std::convertible_to<EnumTable const&>;
};

// A field of a value type; T::fwkFields() gives them all, in order.
template <class T, class F>
struct Field {
  char const* name;
  F T::*member;
  Bounds bounds = {};
};
template <class T, class F>
Field(char const*, F T::*) -> Field<T, F>;
template <class T, class F>
Field(char const*, F T::*, Bounds) -> Field<T, F>;

// A value type of a model: a plain struct whose fields are known.
template <class T>
concept ModelValue = requires {
  T::fwkFields();
  { T::fwkName() } -> std::convertible_to<char const*>;
};

// A strong integer: a number with a type of its own, usable as a key.
template <class Derived, std::unsigned_integral T>
class Number {
 public:
  using Representation = T;

  constexpr Number() = default;
  constexpr explicit Number(T value) : value_(value) {}
  constexpr T value() const { return value_; }
  constexpr U32 hash() const { return value_; }

  friend constexpr bool operator==(Derived const& left, Derived const& right) { return left.value() == right.value(); }
  friend constexpr auto operator<=>(Derived const& left, Derived const& right) {
    return left.value() <=> right.value();
  }
  friend std::ostream& operator<<(std::ostream& stream, Derived const& number) {
    return stream << static_cast<unsigned>(number.value());
  }

 private:
  T value_ = 0;
};
template <class T>
concept ModelNumber = requires {
  typename T::Representation;
}
&&std::derived_from<T, Number<T, typename T::Representation>>;

// A hand-written identifier that is built from a text and gives it back.
template <class T>
concept Identifier = requires(T id, String8 const& text) {
  id.handleInitialized(text);
  { id.stringValue() } -> std::convertible_to<String8>;
};

template <class T>
struct PointerTo {};
template <class T>
struct PointerTo<Ptr<T>> {
  using Pointee = T;
};

}  // namespace Zef
