#pragma once

#include <utility>

#include "platform/objc.h"

namespace platform {

/// Owns one reference to an object, or none. The C++ form of a strong variable.
class Strong {
 public:
  Strong() noexcept = default;
  Strong(id object) noexcept : object_(objc_retain(object)) {}  // NOLINT(google-explicit-constructor): as `id x = y`
  Strong(const Strong& other) noexcept : Strong(other.object_) {}
  Strong(Strong&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Strong& operator=(Strong other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Strong() { objc_release(object_); }

  /// Takes over a reference that the caller already owns.
  static Strong adopt(id object) noexcept {
    Strong strong;
    strong.object_ = object;
    return strong;
  }

  [[nodiscard]] id get() const noexcept { return object_; }
  /// Gives the reference to the current autorelease pool: the form in which a method returns an object.
  [[nodiscard]] id autoreleased() && noexcept { return objc_autorelease(std::exchange(object_, nullptr)); }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  friend bool operator==(const Strong& left, const Strong& right) noexcept { return left.object_ == right.object_; }

 private:
  id object_ = nullptr;
};

/// Refers to an object without keeping it alive; reads null once it is gone. The C++ form of a weak variable.
class Weak {
 public:
  Weak() noexcept = default;
  explicit Weak(id object) noexcept { objc_storeWeak(&slot_, object); }
  Weak(const Weak& other) noexcept : Weak(other.load().get()) {}
  Weak& operator=(const Weak& other) noexcept {
    store(other.load().get());
    return *this;
  }
  ~Weak() { objc_destroyWeak(&slot_); }

  void store(id object) noexcept { objc_storeWeak(&slot_, object); }
  [[nodiscard]] Strong load() const noexcept { return Strong::adopt(objc_loadWeakRetained(&slot_)); }

 private:
  mutable id slot_ = nullptr;
};

/// Its destructor releases what was autoreleased on this thread since its construction.
class AutoreleasePool {
 public:
  AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;
  ~AutoreleasePool() { objc_autoreleasePoolPop(pool_); }

 private:
  void* pool_;
};

}  // namespace platform
