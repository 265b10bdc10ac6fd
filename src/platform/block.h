#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/exception.h"
#include "platform/objc.h"

namespace platform {

// A block is an object with code and captured state. Methods pass it as a bare BlockPtr; whoever keeps it holds a
// Block. Two handles are the same block exactly when they are the same pointer.
//
// These five are the backend's.
/// A new block, owned by the caller, whose code is `invoke` and with room for `size` bytes (alignment of max_align_t)
/// of captured state, which `dispose` ends.
id blockCreate(IMP invoke, std::size_t size, void (*dispose)(void* state));
IMP blockInvoke(id block);
void* blockState(id block);
/// Another reference to a block, or a copy of one that is still on its maker's stack. Null gives null.
id blockCopy(id block);
void blockRelease(id block);

template <class Signature>
struct BlockObject;
/// A block as methods take and give it: a bare, possibly null handle. Encoded "@?".
template <class Signature>
using BlockPtr = BlockObject<Signature>*;

template <class Signature>
id blockId(BlockPtr<Signature> block) {
  return reinterpret_cast<id>(block);
}

/// Calls a block, which must not be null: as on the platform, calling a null block is a programming error.
template <class R, class... A, class... Args>
R invoke(BlockPtr<R(A...)> block, Args&&... args) {
  const auto code = reinterpret_cast<R (*)(id, A...)>(blockInvoke(blockId(block)));
  return code(blockId(block), static_cast<A>(std::forward<Args>(args))...);
}

template <class Signature>
class Block;

/// Owns a reference to a block, or none. Copies share the one block and its captured state.
template <class R, class... A>
class Block<R(A...)> {
 public:
  using Pointer = BlockPtr<R(A...)>;

  Block() = default;
  explicit Block(Pointer block) : object_(blockCopy(blockId(block))) {}
  Block(const Block& other) : object_(blockCopy(other.object_)) {}
  Block(Block&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Block& operator=(Block other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Block() { blockRelease(object_); }
  template <class F>
  requires std::is_invocable_r_v<R, F&, A...>
  explicit Block(F function) {
    static_assert(alignof(F) <= alignof(std::max_align_t));
    constexpr auto code = [](id self, A... args) -> R {
      return enter([&]() -> R { return (*static_cast<F*>(blockState(self)))(args...); });
    };
    constexpr auto dispose = [](void* state) { std::destroy_at(static_cast<F*>(state)); };
    R (*const plain)(id, A...) = code;
    object_ = blockCreate(reinterpret_cast<IMP>(plain), sizeof(F), dispose);
    new (blockState(object_)) F(std::move(function));
  }

  [[nodiscard]] Pointer get() const { return reinterpret_cast<Pointer>(object_); }
  explicit operator bool() const { return object_ != nullptr; }
  R operator()(A... args) const { return invoke(get(), args...); }

 private:
  id object_ = nullptr;
};

}  // namespace platform
