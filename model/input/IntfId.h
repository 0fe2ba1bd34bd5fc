#pragma once

#include <compare>
#include <ostream>

#include "runtime/kit/String8.h"

namespace Morvet {

// Identifies an interface. It is built from the interface's name and hashes on its own.
class IntfId {
 public:
  IntfId() = default;
  explicit IntfId(Zef::String8 const& name) { handleInitialized(name); }

  // Builds the identifier; RangeException when the text is no name of an interface: it must begin with a letter and
  // hold no blanks.
  void handleInitialized(Zef::String8 const& name);
  Zef::String8 const& stringValue() const { return name_; }
  U32 hash() const { return name_.hash(); }

  bool operator==(IntfId const& other) const { return name_ == other.name_; }
  std::strong_ordering operator<=>(IntfId const& other) const { return name_ <=> other.name_; }

  static char const* fwkName() { return "Morvet::IntfId"; }

 private:
  Zef::String8 name_;
};

std::ostream& operator<<(std::ostream& stream, IntfId const& id);

}  // namespace Morvet
