#include "runtime/kit/Exception.h"

#include <utility>

#include "runtime/kit/String8.h"

namespace Zef {

namespace {
Expect* innermost = nullptr;  // there is one thread that throws, the reactors'
}

Exception::Exception(std::string text, IdBitArray ids, bool quiet) : text_(std::move(text)), ids_(ids), quiet_(quiet) {}

void throwRangeException(char const* text) { throw RangeException(text); }
void throwRangeException(String8 const& text) { throw RangeException(std::string(text.view())); }
void throwNameInUseException(String8 const& text) { throw NameInUseException(std::string(text.view())); }

Expect::Expect(Exception::Id id) : id_(id), outer_(std::exchange(innermost, this)) {}

Expect::~Expect() { innermost = outer_; }

bool Expect::isExpected(Exception const& exception) {
  for (Expect const* guard = innermost; guard != nullptr; guard = guard->outer_) {
    if (exception.ids().has(guard->id_)) return true;
  }
  return false;
}

}  // namespace Zef
