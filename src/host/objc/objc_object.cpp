#include <cstring>
#include <new>

#include "host/objc/objc_runtime.h"
#include "platform/send.h"

namespace host {
namespace {

constexpr int deepestDeallocation = 100;

void sendDealloc(id object) {
  static const SEL dealloc = sel_registerName("dealloc");
  platform::send<void()>(object, dealloc);
}

// A long chain of objects, each holding the next, must not overflow the stack: objects too deep in it wait in a list.
void deallocate(id object) {
  thread_local int depth = 0;
  thread_local std::vector<id> waiting;
  if (depth == deepestDeallocation) {
    waiting.push_back(object);
    return;
  }
  ++depth;
  sendDealloc(object);
  while (depth == 1 && !waiting.empty()) {
    const id next = waiting.back();
    waiting.pop_back();
    sendDealloc(next);
  }
  --depth;
}

}  // namespace

void disposeObject(id object) {
  ObjectHeader& header = headerOf(object);
  std::unique_ptr<SideData> side;
  if (header.side.load(std::memory_order_acquire) != nullptr) {
    const std::lock_guard lock(objectLock(object));
    side.reset(header.side.exchange(nullptr));
    for (id* slot : side->weakSlots) std::atomic_ref(*slot).store(nullptr, std::memory_order_release);
  }
  side.reset();  // outside the lock: it releases other objects
  header.~ObjectHeader();
  ::operator delete(&header);
}

}  // namespace host

id class_createInstance(Class cls, std::size_t extraBytes) {
  if (cls == nullptr) return nullptr;
  const std::size_t size = sizeof(host::ObjectHeader) + class_getInstanceSize(cls) + extraBytes;
  void* memory = std::memset(::operator new(size), 0, size);
  auto* header = new (memory) host::ObjectHeader;
  return new (header + 1) objc_object{cls};
}

void* object_getIndexedIvars(id object) {
  if (object == nullptr) return nullptr;
  return reinterpret_cast<char*>(object) + object->isa.load(std::memory_order_relaxed)->instanceSize;
}

Class object_getClass(id object) { return object == nullptr ? nullptr : object->isa.load(std::memory_order_acquire); }

Class object_setClass(id object, Class cls) {
  return object == nullptr ? nullptr : object->isa.exchange(cls, std::memory_order_acq_rel);
}

id objc_retain(id object) {
  if (object != nullptr) host::headerOf(object).count.fetch_add(1, std::memory_order_relaxed);
  return object;
}

void objc_release(id object) {
  if (object == nullptr) return;
  auto& count = host::headerOf(object).count;
  if (count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  count.store(host::ObjectHeader::deallocating + 1,
              std::memory_order_relaxed);  // dealloc may retain and release its object
  host::deallocate(object);
}
