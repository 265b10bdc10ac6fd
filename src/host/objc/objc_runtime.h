#pragma once

// What stands behind the handles of platform/objc.h.
//
// Sending reads no lock: a class keeps, right behind its own class pointer, a small table of the methods that were
// found for it lately. The table points at the methods themselves, which live as long as their class, so that a new
// implementation is seen at once and only a new method empties tables. All else of the classes is under the
// runtime's mutex, all that hangs on one object under that object's (objectLock).

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/objc/runtime_functions.h"
#include "platform/objc.h"
#include "platform/reference.h"
#include "platform/value.h"

namespace host {
class Runtime;
constexpr std::uint32_t methodCacheSize = 32;
}  // namespace host

struct objc_selector {
  std::uint32_t place;  ///< where method caches look first
  std::string name;
};

struct objc_object {
  std::atomic<Class> isa;
};

struct objc_method {
  SEL name;
  std::atomic<IMP> implementation;
  std::atomic<const char*> acceptedTypes;  ///< the last caller's encoding that was found to fit; never for the marker
  const char* types;                       ///< as declared, interned; null when nothing was
  Class owner;
};

struct objc_ivar {
  std::ptrdiff_t offset;
};

struct objc_protocol {
  objc_protocol(const char* newName, host::Runtime* owner) : name(newName), runtime(owner) {}

  std::string name;
  host::Runtime* runtime;
  std::atomic<bool> isRegistered{false};  ///< from then on nothing changes, and reading takes no lock
  struct Description {
    objc_method_description method;
    bool isRequired;
    bool isInstance;
  };
  std::vector<Description> methods = {};
};

struct objc_class : objc_object {
  std::array<std::atomic<Method>, host::methodCacheSize> cache{};  // open addressing, never quite full
  std::uint32_t cached = 0;
  bool isMeta = false;
  bool isRegistered = false;
  bool boxesValue = false;         ///< instances hold a platform::Value; inherited
  bool notifiesObservers = false;  ///< made by key-value observing
  Class superclass = nullptr;
  host::Runtime* runtime = nullptr;
  std::size_t instanceSize = 0;
  std::string name;
  std::unordered_map<SEL, std::unique_ptr<objc_method>> methods;
  std::map<std::string, objc_ivar, std::less<>> ivars;
  std::vector<Protocol*> protocols;
  std::vector<Class> subclasses;
};

namespace host {

struct Observation;  // host/key_value_observing.cpp

struct Association {
  const void* key;
  objc_AssociationPolicy policy;
  id value;
  platform::Strong held;  ///< empty for OBJC_ASSOCIATION_ASSIGN
};

/// What few objects have, made on first use.
struct SideData {
  std::unordered_set<id*> weakSlots;
  std::vector<Association> associations;
  std::vector<std::shared_ptr<Observation>> observations;
};

/// Stands in memory right before every object, classes included.
struct alignas(std::max_align_t) ObjectHeader {
  /// A mark in `count` once the last reference is gone: no new one counts, and releasing does not deallocate again.
  static constexpr std::uint32_t deallocating = 1U << 31U;
  std::atomic<std::uint32_t> count{1};  // references
  std::atomic<SideData*> side{nullptr};
};

inline ObjectHeader& headerOf(id object) { return reinterpret_cast<ObjectHeader*>(object)[-1]; }

/// For very short work: taking it costs one atomic exchange, giving it back a plain write.
class SpinLock {
 public:
  void lock() noexcept {
    for (int tries = 0; isTaken_.exchange(true, std::memory_order_acquire); ++tries) {
      if (tries % 64 == 63) std::this_thread::yield();
    }
  }
  void unlock() noexcept { isTaken_.store(false, std::memory_order_release); }

 private:
  std::atomic<bool> isTaken_{false};
};

/// One of a fixed number of locks, chosen by address; never take a second one but through WeakSlotLock.
SpinLock& objectLock(const void* object);
/// With objectLock(object) held.
SideData& sideData(id object);
/// Another reference, unless the object is being deallocated. Its memory must be certain to exist.
inline bool tryRetain(id object) {
  auto& count = headerOf(object).count;
  std::uint32_t seen = count.load(std::memory_order_relaxed);
  while (seen != 0 && (seen & ObjectHeader::deallocating) == 0) {
    if (count.compare_exchange_weak(seen, seen + 1, std::memory_order_relaxed)) return true;
  }
  return false;
}
/// The end of every object: weak slots read null, associations and observations end, the memory goes.
void disposeObject(id object);

/// A copy of `text` that lives as long as the program, the same one for equal texts.
const char* interned(std::string_view text);

/// The method that runs for `selector`, inherited ones included, or null.
Method findMethod(Class cls, SEL selector);
/// With the runtime's mutex held: forgets what `cls` and its subclasses found.
void emptyMethodCaches(Class cls);
/// The one implementation that stands for "no method": raises "unrecognized selector" when called.
IMP forwardingMarker();

struct MethodDeclaration {
  const char* selector;
  const char* types;
};
/// Registers a protocol whose methods are optional instance methods.
void defineOptionalProtocol(const char* name, std::span<const MethodDeclaration> methods);

/// The first class from `cls` upwards that `test` accepts, or null.
template <class Test>
Class findClass(Class cls, Test test) {
  while (cls != nullptr && !test(cls)) cls = cls->superclass;
  return cls;
}

/// The classes and protocols of a process.
class Runtime {
 public:
  Runtime();
  Runtime(const Runtime&) = delete;
  Runtime& operator=(const Runtime&) = delete;
  ~Runtime();

  static Runtime& current();

  /// Null when the name is taken. A null superclass makes a root.
  Class allocateClassPair(Class superclass, const char* name);
  void registerClassPair(Class cls);
  void disposeClassPair(Class cls);
  /// From now on nobody finds the class by its name; whoever has it keeps it. False: there is none.
  bool hideClass(std::string_view name);
  Class findRegisteredClass(std::string_view name);

  Protocol* findProtocol(std::string_view name);
  Protocol* allocateProtocol(const char* name);
  void registerProtocol(Protocol* protocol);

  std::mutex& mutex() { return mutex_; }

  // The platform's own classes that the host makes instances of.
  Class object = nullptr;
  Class block = nullptr;
  Class notification = nullptr;
  std::array<Class, 8> boxes{};  ///< by platform::Value::Kind
  platform::Strong null;         ///< the null object

 private:
  struct ClassPair;
  std::mutex mutex_;
  std::vector<std::unique_ptr<ClassPair>> pairs_;
  std::map<std::string, Class, std::less<>> classes_;
  std::vector<std::unique_ptr<objc_protocol>> allProtocols_;
  std::map<std::string, Protocol*, std::less<>> protocols_;
};

// Each defines its classes in a new runtime, in this order.
void defineRootClasses(Runtime& runtime);
void defineBlockClasses(Runtime& runtime);
void defineBoxClasses(Runtime& runtime);
void defineNotificationClass(Runtime& runtime);

}  // namespace host
