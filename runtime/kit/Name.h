#pragma once

#include "runtime/kit/String8.h"

namespace Zef {

// The name of an entity, and a key of collections. A string's value, and a type of its own.
class Name {
 public:
  Name() = default;
  Name(char const* text) : text_(text) {}         // NOLINT(google-explicit-constructor): a text names
  Name(String8 text) : text_(std::move(text)) {}  // NOLINT(google-explicit-constructor): as above

  String8 const& stringValue() const { return text_; }
  operator String8 const&() const { return text_; }  // NOLINT(google-explicit-constructor): a name reads as a text
  char const* charPtr() const { return text_.charPtr(); }
  std::string_view view() const { return text_.view(); }
  bool empty() const { return text_.empty(); }
  U32 hash() const { return text_.hash(); }

  bool operator==(Name const& other) const { return text_ == other.text_; }
  bool operator==(char const* other) const { return text_ == other; }
  std::strong_ordering operator<=>(Name const& other) const { return text_ <=> other.text_; }

 private:
  String8 text_;
};

inline std::ostream& operator<<(std::ostream& stream, Name const& name) { return stream << name.stringValue(); }

}  // namespace Zef
