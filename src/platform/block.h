#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/exception.h"
#include "platform/objc.h"

namespace platform {

// A block is an object with code and captured state. Methods pass it as a bare BlockPtr; code that keeps a block holds
// a Block. Two handles refer to the same block exactly when they are the same pointer.
//
// The backend implements the next five functions.
/// Makes a block with the code `invoke` and room for `size` bytes of captured state (alignment of max_align_t).
/// `dispose` destroys the state. The caller owns the block.
id blockCreate(IMP invoke, std::size_t size, void (*dispose)(void* state));
IMP blockInvoke(id block);
void* blockState(id block);
/// Returns another reference to a block, or a copy of a block that is still on its maker's stack. Null gives null.
id blockCopy(id block);
void blockRelease(id block);

template <class Signature>
struct BlockObject;
/// The handle by which methods take and return a block: bare, possibly null. Its type encoding is "@?".
template <class Signature>
using BlockPtr = BlockObject<Signature>*;

template <class Signature>
id blockId(BlockPtr<Signature> block) {
  return reinterpret_cast<id>(block);
}

/// Calls a block, which must not be null: as on the platform, calling a null block is a programming error. What the
/// block raises passes as the platform's own exception, which no `catch` need see.
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
