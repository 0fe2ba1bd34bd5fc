#include "runtime/reflection/Strep.h"

#include <array>
#include <charconv>
#include <cstring>

namespace Zef {

namespace {

struct Escape {
  char character;
  char letter;
};
constexpr std::array escapes{Escape{'\'', '\''}, Escape{'\\', '\\'}, Escape{'\n', 'n'}, Escape{'\r', 'r'},
                             Escape{'\t', 't'}};

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isPrintable(char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; }

[[noreturn]] void throwAt(String8::IteratorConst const& at, char const* what) {
  throwRangeException(format("%s at column %lld", what, at.position()));
}

unsigned hexDigit(String8::IteratorConst& at, String8::IteratorConst const& end) {
  constexpr std::string_view digits = "0123456789abcdef";
  if (at == end) throwAt(at, "premature end of a text");
  std::size_t const digit = digits.find(*at >= 'A' && *at <= 'F' ? static_cast<char>(*at + ('a' - 'A')) : *at);
  if (digit == std::string_view::npos) throwAt(at, "no hexadecimal digit");
  ++at;
  return static_cast<unsigned>(digit);
}

char escaped(String8::IteratorConst& at, String8::IteratorConst const& end) {
  if (at == end) throwAt(at, "premature end of a text");
  char const letter = *at;
  for (Escape const& escape : escapes) {
    if (letter != escape.letter) continue;
    ++at;
    return escape.character;
  }
  if (letter != 'x') throwAt(at, "no such escape");
  ++at;
  unsigned const high = hexDigit(at, end);
  return static_cast<char>(high << 4U | hexDigit(at, end));
}

// The characters from here on that a number or a word can consist of.
std::string word(String8::IteratorConst& at, String8::IteratorConst const& end) {
  std::string found;
  for (; !(at == end) && (std::isalnum(static_cast<unsigned char>(*at)) != 0 || std::strchr("+-._", *at) != nullptr);
       ++at) {
    found += *at;
  }
  return found;
}

template <class T>
void readNumber(T& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  String8::IteratorConst const start = at;
  std::string const text = word(at, end);
  auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) throwAt(start, "number out of range");
  if (error != std::errc() || stop != text.data() + text.size()) throwAt(start, "no number");
}

}  // namespace

String8 valueToStrep(unsigned long long value) { return format("%llu", value); }
String8 valueToStrep(long long value) { return format("%lld", value); }
String8 valueToStrep(double value) {
  std::array<char, 32> text{};  // the shortest text that is read back as the same number
  auto const result = std::to_chars(text.data(), text.data() + text.size(), value);
  return String8(std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

String8 valueToStrep(String8 const& value) {
  std::string text = "'";
  for (char const c : value.view()) {
    bool done = false;
    for (Escape const& escape : escapes) {
      if (c != escape.character) continue;
      text += {'\\', escape.letter};
      done = true;
    }
    if (done) continue;
    if (isPrintable(c)) {
      text += c;
    } else {
      text += format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c))).view();
    }
  }
  return String8(std::string_view(text + "'"));
}

String8 valueToStrepOfRawPtr(void const* object) { return object == nullptr ? String8("None") : format("%p", object); }

void needString(String8::IteratorConst& at, String8::IteratorConst const& end, char const* text) {
  for (char const* needed = text; *needed != '\0'; ++needed) {
    if (*needed == ' ') {
      while (!(at == end) && isSpace(*at)) ++at;
    } else if (at == end || *at != *needed) {
      throwRangeException(format("\"%s\" is needed at column %lld", text, at.position()));
    } else {
      ++at;
    }
  }
}

void sequenceToValue(U8& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  readNumber(value, at, end);
}

void sequenceToValue(U32& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  readNumber(value, at, end);
}

void sequenceToValue(double& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  readNumber(value, at, end);
}

void sequenceToValue(bool& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  String8::IteratorConst const start = at;
  std::string const text = word(at, end);
  if (text != "True" && text != "False") throwAt(start, "neither True nor False");
  value = text == "True";
}

void sequenceToValueOfPtr(Ptr<PtrInterface>& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  String8::IteratorConst const start = at;
  if (word(at, end) != "None") throwAt(start, "an object has no text to be read from");
  value = nullptr;
}

void sequenceToValue(String8& value, String8::IteratorConst& at, String8::IteratorConst const& end) {
  if (at == end || *at != '\'') throwAt(at, "no text in quotes");
  std::string text;
  for (++at;;) {
    if (at == end) throwAt(at, "premature end of a text");
    char const c = *at;
    ++at;
    if (c == '\'') break;
    text += c == '\\' ? escaped(at, end) : c;
  }
  value = String8(std::string_view(text));
}

void rethrowFromDeserializeAttr(RangeException const& error, String8& attribute) {
  throwRangeException(format("attribute %s: %s", attribute.charPtr(), error.what()));
}

ValueSequence::ValueSequence(char const* qualifiedName, String8::IteratorConst& at, String8::IteratorConst const& end)
    : at_(at), end_(end) {
  char const* const colon = std::strrchr(qualifiedName, ':');
  name_ = colon == nullptr ? qualifiedName : colon + 1;
  String8 const quoted = String8(" '") + qualifiedName + "'";
  for (char const* part : {" Value", " (", quoted.charPtr(), " ,", " **", " {"}) needString(at_, end_, part);
}

bool ValueSequence::nextField(String8& name) {
  needString(at_, end_, " ");
  if (at_ == end_) throwRangeException(format("premature end of value type %s", name_));
  if (*at_ == '}') {
    needString(at_, end_, "} ");
    needString(at_, end_, ") ");
    return false;
  }
  if (!first_) needString(at_, end_, ", ");
  first_ = false;
  sequenceToValue(name, at_, end_);
  needString(at_, end_, " : ");
  return true;
}

void ValueSequence::throwUnknown(String8 const& name) const {
  throwRangeException(format("%s has no such attribute: %s", name_, name.charPtr()));
}

void throwJunk(String8::IteratorConst const& at, String8 const& text) {
  throw RangeException(format("junk at column %lld deserializing %s", at.position(), text.charPtr()).charPtr(),
                       Exception::IdBitArray().add(RangeException::id));
}

}  // namespace Zef
