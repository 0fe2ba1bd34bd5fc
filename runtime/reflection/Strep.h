#pragma once

#include "runtime/reflection/Value.h"

// The text form of values, as traces and inspection write it and as it is read back:
//
//   Value('Orvane::ContainsEntry', ** {'container': 1, 'containee': 2})
//
// Numbers are decimal, booleans True and False. Texts stand in single quotes; a quote and a backslash in them have a
// backslash before them, and what does not print is \n, \r, \t or \xHH. The reader takes spaces between the parts, and
// fields in any order; a field that is left out keeps its default. What it does not take is a RangeException.
namespace Zef {

String8 valueToStrep(unsigned long long value);
String8 valueToStrep(long long value);
inline String8 valueToStrep(U8 value) { return valueToStrep(static_cast<unsigned long long>(value)); }
inline String8 valueToStrep(U32 value) { return valueToStrep(static_cast<unsigned long long>(value)); }
inline String8 valueToStrep(S32 value) { return valueToStrep(static_cast<long long>(value)); }
// No pointer is a bool: a literal is a text.
template <std::same_as<bool> T>
String8 valueToStrep(T value) {
  return value ? "True" : "False";
}
String8 valueToStrep(double value);
String8 valueToStrep(String8 const& value);
template <class T>
requires ModelNumber<T> String8 valueToStrep(T const& value) { return valueToStrep(value.value()); }
template <ModelEnum T>
String8 valueToStrep(T value) {
  return enumText(enumTable(value), static_cast<U32>(value));
}
// The address, or None.
String8 valueToStrepOfRawPtr(void const* object);
template <class T>
String8 valueToStrep(Ptr<T> const& value) {
  return valueToStrepOfRawPtr(value.get());
}

// The text of a value type, field by field.
class ValueText {
 public:
  explicit ValueText(String8 const& qualifiedName) : text_(String8("Value('") + qualifiedName + "', ** {") {}
  void add(String8 const& name, String8 const& value) {
    text_ += String8(separator_) + valueToStrep(name) + ": " + value;
    separator_ = ", ";
  }
  String8 done() const { return text_ + "})"; }

 private:
  String8 text_;
  char const* separator_ = "";
};

template <ModelValue T>
String8 valueToStrep(T const& value) {
  ValueText text(T::fwkName());
  auto const add = [&](auto const& field) { text.add(field.name, valueToStrep(value.*field.member)); };
  std::apply([&](auto const&... fields) { (add(fields), ...); }, T::fwkFields());
  return text.done();
}

// Goes past a text that must stand here; a blank in it stands for white space, or none.
void needString(String8::IteratorConst& at, String8::IteratorConst const& end, char const* text);

// Reads one value and goes past it.
void sequenceToValue(U8& value, String8::IteratorConst& at, String8::IteratorConst const& end);
void sequenceToValue(U32& value, String8::IteratorConst& at, String8::IteratorConst const& end);
void sequenceToValue(bool& value, String8::IteratorConst& at, String8::IteratorConst const& end);
void sequenceToValue(double& value, String8::IteratorConst& at, String8::IteratorConst const& end);
void sequenceToValue(String8& value, String8::IteratorConst& at, String8::IteratorConst const& end);
template <class T>
requires ModelNumber<T>
void sequenceToValue(T& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  typename T::Representation number{};
  sequenceToValue(number, at, end);
  value = T(number);
}
// An object is no text: the one form of it that can be read is None, for no object.
void sequenceToValueOfPtr(Ptr<PtrInterface>& value, String8::IteratorConst& at, String8::IteratorConst const& end);
template <class T>
void sequenceToValue(Ptr<T>& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  Ptr<PtrInterface> object;
  sequenceToValueOfPtr(object, at, end);
  value = dynamicCast<T>(object);
}
template <ModelValue T>
void sequenceToValue(T& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  value = T(at, end);
}

// Throws the error anew, with the name of the attribute that it came from.
[[noreturn]] void rethrowFromDeserializeAttr(RangeException const& error, String8& attribute);

// What of a value type's reader does not depend on the type.
class ValueSequence {
 public:
  ValueSequence(char const* qualifiedName, String8::IteratorConst& at, String8::IteratorConst const& end);
  // Reads the name of the next field; false at the end of the value, which is read too.
  bool nextField(String8& name);
  [[noreturn]] void throwUnknown(String8 const& name) const;

 private:
  char const* name_;  // without its namespace
  String8::IteratorConst& at_;
  String8::IteratorConst const& end_;
  bool first_ = true;
};

// The body of T(at, end).
template <class T>
void readFields(T& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  ValueSequence sequence(T::fwkName(), at, end);
  for (String8 name; sequence.nextField(name);) {
    auto const readIf = [&](auto const& field) {
      if (!(name == field.name)) return false;
      try {
        sequenceToValue(value.*field.member, at, end);
      } catch (RangeException const& error) {
        rethrowFromDeserializeAttr(error, name);
      }
      return true;
    };
    bool const known = std::apply([&](auto const&... fields) { return (readIf(fields) || ...); }, T::fwkFields());
    if (!known) sequence.throwUnknown(name);
  }
}

[[noreturn]] void throwJunk(String8::IteratorConst const& at, String8 const& text);

// Reads a whole text.
template <class T>
T strepToValue(String8 const& text) {
  String8::IteratorConst at(text);
  auto const end = String8::IteratorConst::end(text);
  T value{};
  sequenceToValue(value, at, end);
  if (!(at == end)) throwJunk(at, text);
  return value;
}

}  // namespace Zef
