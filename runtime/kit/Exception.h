#pragma once

#include <exception>
#include <string>
#include <utility>

#include "runtime/kit/Types.h"

namespace Zef {

class String8;

class Exception : public std::exception {
 public:
  using Id = U32;

  // A set of exception ids 0 to 63, by which tracing knows an exception that was to be expected.
  class IdBitArray {
   public:
    IdBitArray& add(Id id) {
      bits_ |= std::uint64_t{1} << (id & 63U);
      return *this;
    }
    bool has(Id id) const { return ((bits_ >> (id & 63U)) & 1U) != 0; }

   private:
    std::uint64_t bits_ = 0;
  };

  explicit Exception(std::string text) : Exception(std::move(text), IdBitArray()) {}
  Exception(std::string text, IdBitArray ids, bool quiet = false);

  char const* what() const noexcept override { return text_.c_str(); }
  std::string const& text() const { return text_; }
  IdBitArray const& ids() const { return ids_; }
  bool quiet() const { return quiet_; }

 private:
  std::string text_;
  IdBitArray ids_;
  bool quiet_;
};

// What collections and value parsers throw: a key, an index or a value that does not fit.
class RangeException : public Exception {
 public:
  static constexpr Id id = 12;
  using Exception::Exception;
};

// Two things that want the same name, or one thing built twice in different ways.
class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

[[noreturn]] void throwRangeException(char const* text);
[[noreturn]] void throwRangeException(String8 const& text);
[[noreturn]] void throwNameInUseException(String8 const& text);

// Declares, for its scope, that exceptions with this id may be thrown in normal operation.
class Expect {
 public:
  explicit Expect(Exception::Id id);
  ~Expect();
  Expect(Expect const&) = delete;
  Expect& operator=(Expect const&) = delete;

  static bool isExpected(Exception const& exception);

 private:
  Exception::Id id_;
  Expect* outer_;
};

}  // namespace Zef
