#include "runtime/kit/String8.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

namespace Zef {

namespace {
constexpr U32 pinMask = 0xff000000U;
constexpr U32 pinned = 0x1f000000U;
}  // namespace

void memDel(void* block, unsigned size) { ::operator delete(block, static_cast<std::size_t>(size)); }

template <class Char>
unsigned StringN<Char>::Data::entries(unsigned length) {
  return static_cast<unsigned>(sizeof(Data)) + length + 1;
}

template <class Char>
typename StringN<Char>::Data* StringN<Char>::Data::create(unsigned length) {
  auto* data = new (::operator new(entries(length))) Data;
  data->length_ = length;
  data->bytes()[length] = '\0';
  return data;
}

template <class Char>
StringN<Char>::StringN(std::string_view text) {
  if (text.empty()) return;
  data_ = Data::create(static_cast<unsigned>(text.size()));
  std::memcpy(data_->bytes(), text.data(), text.size());
}

template <class Char>
void StringN<Char>::hold() const {
  if (data_ == nullptr) return;
  if ((data_->count_.load(std::memory_order_relaxed) & pinMask) == pinned) return;
  data_->count_.fetch_add(1, std::memory_order_relaxed);
}

template <class Char>
void StringN<Char>::drop() {
  if (data_ == nullptr) return;
  if ((data_->count_.load(std::memory_order_relaxed) & pinMask) == pinned) return;
  if (data_->count_.fetch_sub(1, std::memory_order_acq_rel) == 1) memDel(data_, Data::entries(data_->length_));
}

template <class Char>
void StringN<Char>::textIs(std::string_view text) {
  *this = StringN(text);
}

template <class Char>
long long StringN<Char>::pos(long long start, char const* text, unsigned length) const {
  if (start < 0) start = 0;
  auto const at = view().find(std::string_view(text, length), static_cast<std::size_t>(start));
  return at == std::string_view::npos ? -1 : static_cast<long long>(at);
}

template <class Char>
long long StringN<Char>::lastPos(long long start, char const* text, unsigned length) const {
  auto const from = start < 0 ? std::string_view::npos : static_cast<std::size_t>(start);
  auto const at = view().rfind(std::string_view(text, length), from);
  return at == std::string_view::npos ? -1 : static_cast<long long>(at);
}

template <class Char>
long long StringN<Char>::posOf(unsigned from, StringN const& text) const {
  return pos(from, text.charPtr(), text.length());
}

// FNV-1a: short keys of one shape ("Ethernet3/5") spread well over all bits.
template <class Char>
U32 StringN<Char>::hash() const {
  if (data_ != nullptr && data_->hash_ != 0) return data_->hash_;
  U32 hash = 2166136261U;
  for (char const c : view()) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  if (data_ != nullptr) data_->hash_ = hash;
  return hash;
}

template class StringN<unsigned char>;

String8 String8::lowerCase(unsigned count) const {
  std::string text(view());
  auto const end = text.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(count, text.size()));
  std::transform(text.begin(), end, text.begin(),
                 [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
  return String8(std::string_view(text));
}

String8 String8::substr(long long start, unsigned length) const {
  if (start < 0) start = 0;
  auto const text = view();
  if (static_cast<std::size_t>(start) >= text.size()) return {};
  return String8(text.substr(static_cast<std::size_t>(start), length == ~0U ? std::string_view::npos : length));
}

String8& String8::operator+=(String8 const& other) { return *this = *this + other; }
String8& String8::operator+=(char const* other) { return *this = *this + other; }

namespace {
String8 join(std::string_view left, std::string_view right) {
  std::string text;
  text.reserve(left.size() + right.size());
  text.append(left).append(right);
  return String8(std::string_view(text));
}
}  // namespace

String8 operator+(String8 const& left, String8 const& right) { return join(left.view(), right.view()); }
String8 operator+(String8 const& left, char const* right) { return join(left.view(), right); }
String8 operator+(char const* left, String8 const& right) { return join(left, right.view()); }

std::ostream& operator<<(std::ostream& stream, String8 const& text) { return stream << text.view(); }

String8 format(char const* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  va_list again;
  va_copy(again, arguments);
  int const length = std::vsnprintf(nullptr, 0, pattern, arguments);
  va_end(arguments);
  std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  return String8(std::string_view(text));
}

}  // namespace Zef
