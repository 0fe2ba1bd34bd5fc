#pragma once

#include <atomic>
#include <compare>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/kit/Types.h"

namespace Zef {

// Frees string storage; told the block's size again.
void memDel(void* block, unsigned size);

// A handle of one pointer to a shared, immutable, counted block of characters. A null handle is an empty text.
// Positions are byte offsets; -1 stands for "not found", and as a length for "to the end".
template <class Char>
class StringN {
 public:
  class Data {
   public:
    // Bytes of storage for a text of that length, with the closing zero that charPtr() promises.
    static unsigned entries(unsigned length);
    bool operator==(Data const& other) const { return view() == other.view(); }
    bool operator<(Data const& other) const { return view() < other.view(); }
    std::string_view view() const { return {bytes(), length_}; }

   private:
    friend class StringN;
    static Data* create(unsigned length);
    char const* bytes() const { return reinterpret_cast<char const*>(this + 1); }
    char* bytes() { return reinterpret_cast<char*>(this + 1); }

    std::atomic<U32> count_{1};
    U32 length_ = 0;
    mutable U32 hash_ = 0;  // 0 until it is asked for
  };

  StringN() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): a text is a text
  StringN(char const* text) : StringN(std::string_view(text)) {}
  explicit StringN(std::string_view text);
  StringN(StringN const& other) : data_(other.data_) { hold(); }
  StringN(StringN&& other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
  ~StringN() { drop(); }
  StringN& operator=(StringN const& other) {
    StringN copy(other);
    std::swap(data_, copy.data_);
    return *this;
  }
  StringN& operator=(StringN&& other) noexcept {
    std::swap(data_, other.data_);
    return *this;
  }

  char const* charPtr() const { return data_ == nullptr ? "" : data_->bytes(); }
  unsigned length() const { return data_ == nullptr ? 0 : data_->length_; }
  bool empty() const { return length() == 0; }
  std::string_view view() const { return data_ == nullptr ? std::string_view() : data_->view(); }

  // Where `text` begins, looking from `start` on; -1 when it does not stand there.
  long long pos(long long start, char const* text, unsigned length) const;
  // The last place at or before `start` where `text` begins; start -1 means from the end.
  long long lastPos(long long start, char const* text, unsigned length) const;
  long long posOf(unsigned from, StringN const& text) const;
  U32 hash() const;

  bool operator==(StringN const& other) const { return data_ == other.data_ || view() == other.view(); }
  std::strong_ordering operator<=>(StringN const& other) const { return view() <=> other.view(); }

 protected:
  void textIs(std::string_view text);

 private:
  void hold() const;
  void drop();

  Data* data_ = nullptr;
};

extern template class StringN<unsigned char>;

class String8 : public StringN<unsigned char> {
 public:
  class IteratorConst;

  using StringN::StringN;
  String8() = default;

  String8& operator=(char const* text) {
    textIs(text);
    return *this;
  }
  // The text with its first `count` characters (-1: all of them) in lower case.
  String8 lowerCase(unsigned count) const;
  String8 substr(long long start, unsigned length) const;
  String8& operator+=(String8 const& other);
  String8& operator+=(char const* other);
  bool operator==(String8 const& other) const { return StringN::operator==(other); }
  bool operator==(char const* other) const { return view() == other; }
  std::strong_ordering operator<=>(String8 const& other) const { return view() <=> other.view(); }
};

// A place in a text, which must outlive it.
class String8::IteratorConst {
 public:
  explicit IteratorConst(String8 const& text, long long position = 0) : text_(text.view()), position_(position) {}
  // The end of the text.
  static IteratorConst end(String8 const& text) { return IteratorConst(text, text.length()); }

  char operator*() const { return text_[static_cast<std::size_t>(position_)]; }
  IteratorConst& operator++() {
    ++position_;
    return *this;
  }
  bool operator==(IteratorConst const& other) const { return position_ == other.position_; }
  // The column, from 0.
  long long position() const { return position_; }

 private:
  std::string_view text_;
  long long position_;
};

String8 operator+(String8 const& left, String8 const& right);
String8 operator+(String8 const& left, char const* right);
String8 operator+(char const* left, String8 const& right);
std::ostream& operator<<(std::ostream& stream, String8 const& text);

using String = String8;

// A printf into a string.
String8 format(char const* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Zef
