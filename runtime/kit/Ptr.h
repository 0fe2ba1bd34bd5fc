#pragma once

#include <concepts>
#include <cstddef>
#include <ostream>
#include <type_traits>
#include <utility>

#include "runtime/kit/Exception.h"
#include "runtime/kit/PtrInterface.h"

namespace Zef {

// A nullable strong pointer to a PtrInterface. Ptr<T const> gives read-only access.
template <class T>
class Ptr {
 public:
  using Pointee = T;

  Ptr() = default;
  Ptr(std::nullptr_t) {}                   // NOLINT(google-explicit-constructor): a null pointer is a null Ptr
  Ptr(T* raw) : raw_(raw) { hold(raw_); }  // NOLINT(google-explicit-constructor): as a plain pointer converts
  Ptr(Ptr const& other) : raw_(other.raw_) { hold(raw_); }
  Ptr(Ptr&& other) noexcept : raw_(std::exchange(other.raw_, nullptr)) {}
  // As plain pointers convert.
  // NOLINTBEGIN(google-explicit-constructor)
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other) : raw_(other.get()) { hold(raw_); }
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
  noexcept : raw_(other.release()) {}
  // NOLINTEND(google-explicit-constructor)
  ~Ptr() { drop(raw_); }

  Ptr& operator=(Ptr const& other) {  // NOLINT(bugprone-unhandled-self-assignment): equal pointers change nothing
    if (raw_ != other.raw_) {
      T* const old = raw_;
      hold(other.raw_);
      raw_ = other.raw_;
      drop(old);
    }
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    if (this != &other) drop(std::exchange(raw_, std::exchange(other.raw_, nullptr)));
    return *this;
  }

  T* operator->() const { return raw_; }
  T& operator*() const { return *raw_; }
  T* get() const { return raw_; }
  explicit operator bool() const { return raw_ != nullptr; }

  // Takes over a reference that is counted already.
  static Ptr adopt(T* raw) {
    Ptr ptr;
    ptr.raw_ = raw;
    return ptr;
  }
  // Gives the counted reference away and becomes null.
  T* release() { return std::exchange(raw_, nullptr); }

  template <class U>
  bool operator==(Ptr<U> const& other) const {
    return raw_ == other.get();
  }
  bool operator==(std::nullptr_t) const { return raw_ == nullptr; }
  bool operator==(T const* other) const { return raw_ == other; }

 private:
  static void hold(T* raw) {
    if (raw != nullptr) raw->newReference();
  }
  static void drop(T* raw) {
    if (raw != nullptr) raw->deleteReference();
  }

  T* raw_ = nullptr;
};

template <class T>
std::ostream& operator<<(std::ostream& stream, Ptr<T> const& ptr) {
  return stream << static_cast<void const*>(ptr.get());
}

// A pointer that is never null: made from a null Ptr it throws RangeException "null ValidPtr".
template <class T>
class ValidPtr {
 public:
  ValidPtr(Ptr<T> ptr) : ptr_(std::move(ptr)) {  // NOLINT(google-explicit-constructor): it is a check on the way
    if (!ptr_) throwRangeException("null ValidPtr");
  }
  T* operator->() const { return ptr_.get(); }
  T& operator*() const { return *ptr_; }
  T* get() const { return ptr_.get(); }
  operator Ptr<T> const&() const { return ptr_; }  // NOLINT(google-explicit-constructor)

 private:
  Ptr<T> ptr_;
};

// A new object with exactly one owner: the pointer that is returned.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
  return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

// Null when the object is null or of another type.
template <class T, class U>
Ptr<T> dynamicCast(Ptr<U> const& ptr) {
  return Ptr<T>(dynamic_cast<T*>(ptr.get()));
}

}  // namespace Zef
