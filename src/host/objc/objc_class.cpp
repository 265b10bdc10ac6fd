#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "host/objc/objc_runtime.h"
#include "platform/process.h"

namespace host {

struct Runtime::ClassPair {
  // An object directly follows its header.
  template <class T>
  struct Headed {
    ObjectHeader header{1U << 20U};  // no program releases a class so often
    T object;
    void dropSideData() { delete header.side.exchange(nullptr); }
  };
  ~ClassPair() {
    dropSideData();
    freeMethodCache(&instanceSide.object);
    freeMethodCache(&classSide.object);
  }
  void dropSideData() {
    instanceSide.dropSideData();
    classSide.dropSideData();
  }
  std::unique_ptr<char[]> name;
  Headed<objc_class> instanceSide;
  Headed<objc_class> classSide;
};

namespace {

Ivar ownIvar(Class cls, std::string_view name) {
  if (!cls->extras) return nullptr;
  const auto found = std::ranges::find(cls->extras->ivars, name, &objc_ivar::name);
  return found == cls->extras->ivars.end() ? nullptr : &*found;
}

void addSubclass(Class superclass, Class subclass) {
  subclass->nextSubclass = std::exchange(superclass->firstSubclass, subclass);
}

void removeSubclass(Class superclass, Class subclass) {
  Class* place = &superclass->firstSubclass;
  while (*place != subclass) place = &(*place)->nextSubclass;
  *place = subclass->nextSubclass;
}

}  // namespace

Runtime::Runtime() {
  defineRootClasses(*this);
  defineObserving(*this);
  defineBlockClasses(*this);
  defineBoxClasses(*this);
  defineNotificationClass(*this);
  defineInvocationClasses(*this);
}

Runtime::~Runtime() {
  null = {};
  for (const auto& pair : pairs_) pair->dropSideData();  // releases objects, which need their classes
}

Runtime& Runtime::current() { return platform::Process::shared<Runtime>(); }

Class Runtime::allocateClassPair(Class superclass, const char* name) {
  const std::lock_guard lock(mutex_);
  if (name == nullptr || findByName(name) != nullptr || (superclass != nullptr && !superclass->isRegistered)) {
    return nullptr;
  }
  auto pair = std::make_unique<ClassPair>();
  const Class cls = &pair->instanceSide.object;
  const Class meta = &pair->classSide.object;
  const std::size_t length = std::strlen(name) + 1;
  pair->name = std::make_unique<char[]>(length);
  std::memcpy(pair->name.get(), name, length);
  for (const Class each : {cls, meta}) {
    each->name = pair->name.get();
    each->runtime = this;
  }
  cls->isa = meta;
  cls->superclass = superclass;
  cls->instanceSize = superclass == nullptr ? sizeof(objc_object) : superclass->instanceSize;
  cls->boxesValue = superclass != nullptr && superclass->boxesValue;
  // A class is an object too: a root's class methods fall back to its instance methods, and every metaclass is an
  // instance of the root's metaclass.
  meta->isMeta = true;
  meta->describedClass = cls;
  meta->superclass = superclass == nullptr ? cls : superclass->isa.load();
  meta->isa = superclass == nullptr ? meta : superclass->isa.load()->isa.load();
  meta->instanceSize = sizeof(objc_class);
  if (superclass != nullptr) addSubclass(superclass, cls);
  addSubclass(meta->superclass, meta);
  pairs_.push_back(std::move(pair));
  return cls;
}

// When two classes are allocated under one name, the first to be registered gets it. The other stays unregistered.
void Runtime::registerClassPair(Class cls) {
  const std::lock_guard lock(mutex_);
  if (findByName(cls->name) != nullptr) return;
  classes_.insert(placeOf(cls->name), cls);
  for (const Class each : {cls, cls->isa.load()}) {
    each->isRegistered = true;
    each->declared = sharedMethodList(each->declared);
  }
}

/// Returns where a class of this name is, or would be.
std::vector<Class>::iterator Runtime::placeOf(std::string_view name) {
  return std::ranges::lower_bound(classes_, name, std::less<>(), [](Class cls) { return std::string_view(cls->name); });
}

Class* Runtime::findByName(std::string_view name) {
  const auto place = placeOf(name);
  return place != classes_.end() && (*place)->name == name ? &*place : nullptr;
}

void Runtime::disposeClassPair(Class cls) {
  std::unique_ptr<ClassPair> ended;  // destroyed outside the lock: it may release objects
  const std::lock_guard lock(mutex_);
  const auto place =
      std::find_if(pairs_.begin(), pairs_.end(), [cls](const auto& pair) { return &pair->instanceSide.object == cls; });
  if (place == pairs_.end()) return;  // a metaclass ends with its class
  const Class meta = cls->isa;
  // Subclasses still need it. The metaclass of a root is its subclass too, but ends with it.
  for (Class each = cls->firstSubclass; each != nullptr; each = each->nextSubclass) {
    if (each != meta) return;
  }
  if (cls->superclass != nullptr) removeSubclass(cls->superclass, cls);
  removeSubclass(meta->superclass, meta);
  if (Class* const found = findByName(cls->name); found != nullptr && *found == cls)
    classes_.erase(classes_.begin() + (found - classes_.data()));
  for (const Class each : {cls, meta}) {
    while (each->methods != nullptr) {
      const Method method = std::exchange(each->methods, each->methods->next);
      method->next = std::exchange(freeMethods_, method);
    }
  }
  ended = std::move(*place);
  pairs_.erase(place);
}

bool Runtime::hideClass(std::string_view name) {
  const std::lock_guard lock(mutex_);
  Class* const found = findByName(name);
  if (found == nullptr) return false;
  classes_.erase(classes_.begin() + (found - classes_.data()));
  return true;
}

Class Runtime::findRegisteredClass(std::string_view name) {
  const std::lock_guard lock(mutex_);
  Class* const found = findByName(name);
  return found == nullptr ? nullptr : *found;
}

Method Runtime::makeMethod(Class owner, const DeclaredMethod& declared) {
  if (freeMethods_ == nullptr) {
    auto& fresh = *methodBlocks_.emplace_back(std::make_unique<std::array<objc_method, methodsInABlock>>());
    for (objc_method& each : fresh) each.next = std::exchange(freeMethods_, &each);
  }
  const Method method = std::exchange(freeMethods_, freeMethods_->next);
  method->name = declared.name;
  method->implementation = declared.implementation;
  method->acceptedTypes = nullptr;
  method->types = declared.types;
  method->owner = owner;
  method->next = std::exchange(owner->methods, method);
  return method;
}

}  // namespace host

Class objc_getClass(const char* name) {
  return name == nullptr ? nullptr : host::Runtime::current().findRegisteredClass(name);
}

// No declaration here can reach extra bytes after a class, so none are allocated.
Class objc_allocateClassPair(Class superclass, const char* name, std::size_t /*extraBytes*/) {
  host::Runtime& runtime = superclass == nullptr ? host::Runtime::current() : *superclass->runtime;
  return runtime.allocateClassPair(superclass, name);
}

void objc_registerClassPair(Class cls) {
  if (cls != nullptr) cls->runtime->registerClassPair(cls);
}

void objc_disposeClassPair(Class cls) {
  if (cls != nullptr) cls->runtime->disposeClassPair(cls);
}

const char* class_getName(Class cls) { return cls == nullptr ? "nil" : cls->name; }

Class class_getSuperclass(Class cls) { return cls == nullptr ? nullptr : cls->superclass; }

bool class_isMetaClass(Class cls) { return cls != nullptr && cls->isMeta; }

std::size_t class_getInstanceSize(Class cls) {
  constexpr std::size_t word = sizeof(Class);
  return cls == nullptr ? 0 : (cls->instanceSize + word - 1) / word * word;
}

bool class_addIvar(Class cls, const char* name, std::size_t size, std::uint8_t alignmentLog2, const char* /*types*/) {
  if (cls == nullptr || name == nullptr || cls->isMeta) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  if (cls->isRegistered || host::ownIvar(cls, name) != nullptr) return false;
  constexpr std::size_t most = std::numeric_limits<std::ptrdiff_t>::max();
  if (alignmentLog2 >= std::numeric_limits<std::ptrdiff_t>::digits) return false;
  const std::size_t alignment = std::size_t{1} << alignmentLog2;
  if (cls->instanceSize > most - alignment) return false;
  const std::size_t offset = (cls->instanceSize + alignment - 1) / alignment * alignment;
  if (size > most - offset) return false;
  if (!cls->extras) cls->extras = std::make_unique<host::ClassExtras>();
  cls->extras->ivars.push_front({static_cast<std::ptrdiff_t>(offset), name});
  cls->instanceSize = offset + size;
  return true;
}

Ivar class_getInstanceVariable(Class cls, const char* name) {
  if (cls == nullptr || name == nullptr) return nullptr;
  const std::lock_guard lock(cls->runtime->mutex());
  Ivar found = nullptr;
  host::findClass(cls, [&](Class each) { return (found = host::ownIvar(each, name)) != nullptr; });
  return found;
}

std::ptrdiff_t ivar_getOffset(Ivar ivar) { return ivar == nullptr ? 0 : ivar->offset; }
