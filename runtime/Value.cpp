#include "runtime/Value.h"

#include <charconv>
#include <cmath>

#include "runtime/Type.h"

namespace Zef {

String8 Value::description() const {
  if (auto const* flag = get<bool>()) return *flag ? "true" : "false";
  if (auto const* number = get<std::int64_t>()) return format("the number %lld", static_cast<long long>(*number));
  if (auto const* number = get<double>()) return format("the number %g", *number);
  if (auto const* text = get<String8>()) return format("the text \"%s\"", text->charPtr());
  if (get<Record>() != nullptr) return "a record";
  if (auto const* object = get<Ptr<PtrInterface>>()) {
    ZefType const* const type = *object ? (*object)->fwkType() : nullptr;
    return type == nullptr ? String8("an object") : format("a %s", type->qualifiedName().charPtr());
  }
  return "nothing";
}

void throwUnfit(String8 const& needed, Value const& value) {
  throwRangeException(format("%s is needed, not %s", needed.charPtr(), value.description().charPtr()));
}

U32 enumFromValue(EnumTable const& table, Value const& value) {
  auto const* text = value.get<String8>();
  if (text == nullptr) {
    auto const number = static_cast<U32>(integerFromValue(value, 0, std::numeric_limits<U32>::max()));
    if (table.open) return number;
    for (Enumerator const& enumerator : table.enumerators) {
      if (enumerator.number == number) return number;
    }
  } else {
    for (Enumerator const& enumerator : table.enumerators) {
      if (*text == enumerator.name) return enumerator.number;
    }
  }
  String8 names;
  for (Enumerator const& enumerator : table.enumerators) {
    names += format("%s%s (%u)", names.empty() ? "" : ", ", enumerator.name, enumerator.number);
  }
  throwUnfit(format("a %s: %s", table.qualifiedName, names.charPtr()), value);
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
  if (number == nullptr || (std::isfinite(*number) && std::abs(*number) > limit)) throwUnfit("a number", value);
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
