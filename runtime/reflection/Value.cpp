#include "runtime/reflection/Value.h"

#include <charconv>
#include <cmath>

#include "runtime/reflection/Type.h"

namespace Zef {

String8 Value::description() const {
  if (auto const* flag = get<bool>()) return *flag ? "true" : "false";
  if (auto const* number = get<std::int64_t>()) return format("the number %lld", static_cast<long long>(*number));
  if (auto const* number = get<double>()) return format("the number %g", *number);
  if (auto const* text = get<String8>()) return format("the text \"%s\"", text->charPtr());
  if (get<Record>() != nullptr) return "a record";
  if (auto const* object = get<Ptr<PtrInterface>>()) {
    ZefType const* const type = *object ? (*object)->fwkType() : nullptr;
    return type == nullptr ? String8("an object") : String8("a ") + type->name();
  }
  return "nothing";
}

void throwUnfit(String8 const& needed, Value const& value) {
  throwRangeException(format("%s is needed, not %s", needed.charPtr(), value.description().charPtr()));
}

void throwNoSuchName(String8 const& name, String8 const& group) {
  throwRangeException(format("%s: no such name in %s", name.charPtr(), group.charPtr()));
}

String8 groupOf(std::span<char const* const> names) {
  String8 text = "a group of ";
  char const* separator = "";
  for (char const* name : names) {
    text += String8(separator) + name;
    separator = ", ";
  }
  return text;
}

void requireWithin(Bounds const& bounds, Value const& value) {
  if (auto const* record = value.get<Value::Record>()) {
    for (auto const& [name, field] : *record) {
      try {
        requireWithin(bounds, field);
      } catch (RangeException const& error) {
        throwRangeException(format("%s: %s", name.charPtr(), error.what()));
      }
    }
    return;
  }
  if (auto const* text = value.get<String8>()) {
    if (text->length() > bounds.most) {
      throwRangeException(format("a text of at most %.0f bytes is needed, not one of %u", bounds.most, text->length()));
    }
    return;
  }
  auto const* whole = value.get<std::int64_t>();
  auto const* real = value.get<double>();
  double const number = whole != nullptr ? static_cast<double>(*whole) : real != nullptr ? *real : 0;
  if (!std::isfinite(number) || (number >= bounds.least && number <= bounds.most)) return;
  throwUnfit(std::isfinite(bounds.least) ? format("a number from %.0f to %.0f", bounds.least, bounds.most)
                                         : format("a number of at most %.0f", bounds.most),
             value);
}

U32 enumFromValue(EnumTable const& table, Value const& value) {
  auto const* text = value.get<String8>();
  auto const* number = value.get<std::int64_t>();
  for (Enumerator const& enumerator : table.enumerators) {
    if (text != nullptr && *text == enumerator.name) return enumerator.number;
    if (number != nullptr && *number == enumerator.number) return enumerator.number;
  }
  if (table.open && number != nullptr && *number >= 0 && *number <= std::numeric_limits<U32>::max()) {
    return static_cast<U32>(*number);
  }
  String8 names;
  for (Enumerator const& enumerator : table.enumerators) names += String8(enumerator.name) + ", ";
  throwUnfit(format("one of %sor its number,", names.charPtr()), value);
}

Value enumToValue(EnumTable const& table, U32 number) {
  for (Enumerator const& enumerator : table.enumerators) {
    if (enumerator.number == number) return enumerator.name;
  }
  return number;
}

String8 enumText(EnumTable const& table, U32 number) {
  Value const value = enumToValue(table, number);
  auto const* name = value.get<String8>();
  return name == nullptr ? format("%u", number) : *name;
}

std::int64_t integerFromValue(Value const& value, std::int64_t low, std::int64_t high) {
  auto const* number = value.get<std::int64_t>();
  if (number == nullptr || *number < low || *number > high) {
    throwUnfit(format("a whole number from %lld to %lld", static_cast<long long>(low), static_cast<long long>(high)),
               value);
  }
  return *number;
}

double realFromValue(Value const& value, double limit) {
  if (auto const* whole = value.get<std::int64_t>()) return static_cast<double>(*whole);
  auto const* number = value.get<double>();
  if (number == nullptr) throwUnfit("a number", value);
  if (std::isfinite(*number) && std::abs(*number) > limit) {
    throwUnfit(format("a number from %g to %g", -limit, limit), value);
  }
  return *number;
}

String8 textFromValue(Value const& value) {
  auto const* text = value.get<String8>();
  if (text == nullptr) throwUnfit("a text", value);
  return *text;
}

U32 numberFromKeyText(String8 const& text, U32 high) {
  std::string_view const digits = text.view();
  U32 number = 0;
  auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  // Keys are compared as texts in a publisher's file, so each number has one spelling.
  bool const plain = digits.size() < 2 || digits.front() != '0';
  if (error != std::errc() || end != digits.data() + digits.size() || !plain || number > high) {
    throwRangeException(format("a key from 0 to %u is needed, not \"%s\"", high, text.charPtr()));
  }
  return number;
}

String8 cutKeyField(String8& text, bool last) {
  long long const slash = last ? -1 : text.pos(0, "/", 1);
  if (slash < 0) {
    String8 field = text;
    if (!last) throwRangeException(format("\"%s\" has too few parts for its key", text.charPtr()));
    text = String8();
    return field;
  }
  String8 field = text.substr(0, static_cast<unsigned>(slash));
  text = text.substr(slash + 1, static_cast<unsigned>(-1));
  return field;
}

}  // namespace Zef
