#pragma once

// The types behind the handles of platform/objc.h.
//
// Sending takes no lock: a class keeps, directly after its own class pointer, a small table of the methods that were
// recently found for it. The table points at the methods themselves, which live as long as their class. So a new
// implementation takes effect at once, and only a new method empties tables. The runtime's mutex protects all other
// data of the classes; an object's lock (objectLock) protects all data that belongs to one object.
//
// A process has its own classes, because it may change them, but few of their methods are ever used. What a class has
// when it is registered is a list that all processes share (method_list.h); a method gets its objc_method when it is
// first found.

#include <array>
#include <atomic>
#include <cstdint>
#include <forward_list>
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

#include "host/objc/method_list.h"
#include "host/objc/runtime_functions.h"
#include "platform/objc.h"
#include "platform/reference.h"
#include "platform/send.h"
#include "platform/value.h"

namespace host {
class Runtime;
struct MethodCache;
}  // namespace host

struct objc_selector {
  std::uint32_t place;  ///< where method caches look first, modulo their size
  std::string name;
};

struct objc_object {
  std::atomic<Class> isa;
};

struct objc_method {
  SEL name;
  std::atomic<IMP> implementation;
  std::atomic<const char*> acceptedTypes;  ///< the last caller's encoding that was found to match; never for the marker
  const char* types;                       ///< as declared, interned; null when none was declared
  Class owner;
  Method next;  ///< of the same class
};

struct objc_ivar {
  std::ptrdiff_t offset;
  std::string name;
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
  std::vector<objc_protocol*> adopted = {};  ///< all registered, so that adoption has no circles
};

namespace host {

/// The methods that were recently found for a class: open addressing, never completely full. A cache that has become
/// too small stays until its class ends, because another thread may still read it.
struct MethodCache {
  std::uint32_t mask;  ///< one less than its size
  std::uint32_t used;
  MethodCache* former;

  [[nodiscard]] std::atomic<Method>* places() { return reinterpret_cast<std::atomic<Method>*>(this + 1); }
};

/// The cache of all classes that no message has reached yet.
extern struct NoMethodCache {
  MethodCache cache;
  std::atomic<Method> place;
} noMethodCache;

/// What few classes have.
struct ClassExtras {
  std::vector<Protocol*> protocols = {};
  std::forward_list<objc_ivar> ivars = {};
};

}  // namespace host

struct objc_class : objc_object {
  std::atomic<host::MethodCache*> cache{&host::noMethodCache.cache};
  Class superclass = nullptr;
  Class describedClass = nullptr;  ///< of a metaclass: the class that is its instance
  host::Runtime* runtime = nullptr;
  const char* name = nullptr;
  std::size_t instanceSize = 0;
  std::shared_ptr<host::MethodList> declared = {};  ///< from its registration on it is shared, and does not change
  Method methods = nullptr;                         ///< those that were found or were added later; these come first
  Class firstSubclass = nullptr;
  Class nextSubclass = nullptr;  ///< of the same superclass
  std::unique_ptr<host::ClassExtras> extras = {};
  bool isMeta = false;
  bool isRegistered = false;
  bool boxesValue = false;         ///< instances hold a platform::Value; inherited
  bool notifiesObservers = false;  ///< made by key-value observing
};

namespace host {

struct Observation;  // host/objc/key_value_observing.cpp

struct Association {
  const void* key;
  objc_AssociationPolicy policy;
  id value;
  platform::Strong held;  ///< empty for OBJC_ASSOCIATION_ASSIGN
};

/// A change that an object has announced by willChangeValueForKey: and not yet ended.
struct AnnouncedChange {
  std::string key;
  platform::Value oldValue;
};

/// Data that few objects have, made on first use.
struct SideData {
  std::unordered_set<id*> weakSlots;
  std::vector<Association> associations;
  std::vector<std::shared_ptr<Observation>> observations;
  std::vector<AnnouncedChange> announcedChanges;
};

/// Directly precedes every object in memory, classes included.
struct alignas(std::max_align_t) ObjectHeader {
  /// A mark in `count` after the last release: new references do not count, and no release deallocates again.
  static constexpr std::uint32_t deallocating = 1U << 31U;
  std::atomic<std::uint32_t> count{1};  // references
  std::atomic<SideData*> side{nullptr};
};

inline ObjectHeader& headerOf(id object) { return reinterpret_cast<ObjectHeader*>(object)[-1]; }

/// For very short work: locking costs one atomic exchange, unlocking a plain write.
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

/// One of a fixed number of locks, chosen by address. A second one must be taken only through WeakSlotLock.
SpinLock& objectLock(const void* object);
/// With objectLock(object) held.
SideData& sideData(id object);
/// Adds a reference, unless the object is being deallocated. The caller guarantees that its memory exists.
inline bool tryRetain(id object) {
  auto& count = headerOf(object).count;
  std::uint32_t seen = count.load(std::memory_order_relaxed);
  while (seen != 0 && (seen & ObjectHeader::deallocating) == 0) {
    if (count.compare_exchange_weak(seen, seen + 1, std::memory_order_relaxed)) return true;
  }
  return false;
}
/// The end of every object: weak slots read null, associations and observations end, the memory is freed.
void disposeObject(id object);

/// Implemented by the phone: reports what the runtime does not do, why, and what to change.
void reportObstacle(const std::string& effect, const std::string& reason, const std::string& remedy);

/// Returns a copy of `text` that lives as long as the program, the same one for equal texts.
const char* interned(std::string_view text);

/// Returns the method that runs for `selector`, inherited ones included, or null.
Method findMethod(Class cls, SEL selector);
/// With the runtime's mutex held: the method of this name that the class itself has, or null.
Method ownMethod(Class cls, SEL selector);
/// With the runtime's mutex held: empties the method caches of `cls` and its subclasses.
void emptyMethodCaches(Class cls);
/// Frees the method caches of a class that ends.
void freeMethodCaches(Class cls);
/// As findMethod; a class without such a method first gets the chance to add it (resolveInstanceMethod:).
Method methodOrResolved(Class cls, SEL selector);

/// The one implementation that means "no method": forwards its call. Called directly, it passes on only arguments that
/// are integers and pointers, and few of them, because it does not know their types.
IMP forwardingMarker();
/// From target to target: two objects that forward to each other must not hang the program.
constexpr int longestForwarding = 64;
/// Returns what the receiver's forwardingTargetForSelector: returns, or null when that is the receiver itself.
id forwardingTarget(id receiver, SEL selector);
/// The call of a message that the receiver does not implement: it forwards, or raises "unrecognized selector". `types`
/// is a well-formed encoding.
platform::MethodCall forwardedCall(id receiver, const char* types);
[[noreturn]] void raiseUnrecognized(id receiver, SEL selector);
[[noreturn]] void raiseOtherTypes(id receiver, SEL selector, const char* call, const char* declared);

struct MethodDeclaration {
  const char* selector;
  const char* types;
};
/// Registers a protocol that adopts NSObject and whose methods are optional instance methods.
void defineOptionalProtocol(const char* name, std::span<const MethodDeclaration> methods);

/// Returns the first class from `cls` upwards that `test` accepts, or null.
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

  /// Returns null when the name is taken. A null superclass makes a root.
  Class allocateClassPair(Class superclass, const char* name);
  void registerClassPair(Class cls);
  void disposeClassPair(Class cls);
  /// From now on no look-up finds the class by its name; existing references stay valid. False: no such class.
  bool hideClass(std::string_view name);
  Class findRegisteredClass(std::string_view name);

  Protocol* findProtocol(std::string_view name);
  Protocol* allocateProtocol(const char* name);
  void registerProtocol(Protocol* protocol);

  std::mutex& mutex() { return mutex_; }
  /// With the mutex held: a method of `owner`, which is found there from now on.
  Method makeMethod(Class owner, const DeclaredMethod& declared);

  // Classes of the platform that the host makes instances of.
  Class object = nullptr;
  Class block = nullptr;
  Class notification = nullptr;
  Class methodSignature = nullptr;
  Class invocation = nullptr;
  std::array<Class, 8> boxes{};   ///< indexed by platform::Value::Kind
  platform::Strong null;          ///< the null object
  IMP resolvesNothing = nullptr;  ///< the roots' own resolveInstanceMethod:

 private:
  struct ClassPair;
  std::mutex mutex_;
  std::vector<Class>::iterator placeOf(std::string_view name);
  Class* findByName(std::string_view name);

  static constexpr std::size_t methodsInABlock = 32;
  std::vector<std::unique_ptr<std::array<objc_method, methodsInABlock>>> methodBlocks_;
  Method freeMethods_ = nullptr;
  std::vector<std::unique_ptr<ClassPair>> pairs_;
  std::vector<Class> classes_;  ///< those that look-ups find, by name
  std::vector<std::unique_ptr<objc_protocol>> allProtocols_;
  std::map<std::string, Protocol*, std::less<>> protocols_;
};

// Each function defines its classes, or methods of NSObject, in a new runtime, in this order.
void defineRootClasses(Runtime& runtime);
void defineObserving(Runtime& runtime);
void defineBlockClasses(Runtime& runtime);
void defineBoxClasses(Runtime& runtime);
void defineNotificationClass(Runtime& runtime);
void defineInvocationClasses(Runtime& runtime);

}  // namespace host
