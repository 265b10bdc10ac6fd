#include <algorithm>
#include <limits>

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
  ~ClassPair() { dropSideData(); }
  void dropSideData() {
    instanceSide.dropSideData();
    classSide.dropSideData();
  }
  Headed<objc_class> instanceSide;
  Headed<objc_class> classSide;
};

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
  if (name == nullptr || classes_.contains(name) || (superclass != nullptr && !superclass->isRegistered)) {
    return nullptr;
  }
  auto pair = std::make_unique<ClassPair>();
  const Class cls = &pair->instanceSide.object;
  const Class meta = &pair->classSide.object;
  for (const Class each : {cls, meta}) {
    each->name = name;
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
  if (superclass != nullptr) superclass->subclasses.push_back(cls);
  meta->superclass->subclasses.push_back(meta);
  pairs_.push_back(std::move(pair));
  return cls;
}

// When two classes are allocated under one name, the first to be registered gets it. The other stays unregistered.
void Runtime::registerClassPair(Class cls) {
  const std::lock_guard lock(mutex_);
  if (classes_.emplace(cls->name, cls).second) cls->isRegistered = cls->isa.load()->isRegistered = true;
}

void Runtime::disposeClassPair(Class cls) {
  std::unique_ptr<ClassPair> ended;  // destroyed outside the lock: it may release objects
  const std::lock_guard lock(mutex_);
  const auto place =
      std::find_if(pairs_.begin(), pairs_.end(), [cls](const auto& pair) { return &pair->instanceSide.object == cls; });
  if (place == pairs_.end()) return;  // a metaclass ends with its class
  const Class meta = cls->isa;
  // Subclasses still need it. The metaclass of a root is its subclass too, but ends with it.
  if (std::ranges::any_of(cls->subclasses, [meta](Class each) { return each != meta; })) return;
  if (cls->superclass != nullptr) std::erase(cls->superclass->subclasses, cls);
  std::erase(meta->superclass->subclasses, meta);
  if (const auto found = classes_.find(cls->name); found != classes_.end() && found->second == cls)
    classes_.erase(found);
  ended = std::move(*place);
  pairs_.erase(place);
}

bool Runtime::hideClass(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = classes_.find(name);
  if (found == classes_.end()) return false;
  classes_.erase(found);
  return true;
}

Class Runtime::findRegisteredClass(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = classes_.find(name);
  return found == classes_.end() ? nullptr : found->second;
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

const char* class_getName(Class cls) { return cls == nullptr ? "nil" : cls->name.c_str(); }

Class class_getSuperclass(Class cls) { return cls == nullptr ? nullptr : cls->superclass; }

bool class_isMetaClass(Class cls) { return cls != nullptr && cls->isMeta; }

std::size_t class_getInstanceSize(Class cls) {
  constexpr std::size_t word = sizeof(Class);
  return cls == nullptr ? 0 : (cls->instanceSize + word - 1) / word * word;
}

bool class_addIvar(Class cls, const char* name, std::size_t size, std::uint8_t alignmentLog2, const char* /*types*/) {
  if (cls == nullptr || name == nullptr || cls->isMeta) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  if (cls->isRegistered || cls->ivars.contains(name)) return false;
  constexpr std::size_t most = std::numeric_limits<std::ptrdiff_t>::max();
  if (alignmentLog2 >= std::numeric_limits<std::ptrdiff_t>::digits) return false;
  const std::size_t alignment = std::size_t{1} << alignmentLog2;
  if (cls->instanceSize > most - alignment) return false;
  const std::size_t offset = (cls->instanceSize + alignment - 1) / alignment * alignment;
  if (size > most - offset) return false;
  cls->ivars.emplace(name, objc_ivar{static_cast<std::ptrdiff_t>(offset)});
  cls->instanceSize = offset + size;
  return true;
}

Ivar class_getInstanceVariable(Class cls, const char* name) {
  if (cls == nullptr || name == nullptr) return nullptr;
  const std::lock_guard lock(cls->runtime->mutex());
  const Class owner = host::findClass(cls, [name](Class each) { return each->ivars.contains(name); });
  return owner == nullptr ? nullptr : &owner->ivars.find(name)->second;
}

std::ptrdiff_t ivar_getOffset(Ivar ivar) { return ivar == nullptr ? 0 : ivar->offset; }
