#include "platform/key_value_observing.h"
#include "host/objc/runtime_functions.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/objc/objc_runtime.h"
#include "platform/class_face.h"
#include "platform/exception.h"
#include "platform/process.h"
#include "platform/text.h"
#include "value/type_encoding.h"

// An observed object is switched to a subclass of its class whose setters notify the observers. The subclass, made once
// for each class, returns the original class when asked for its class. When its name is taken, objects keep their
// class: then only willChangeValueForKey: and didChangeValueForKey: notify the observers.

namespace host {

struct Observation {
  Observation(id newObserver, std::string_view newKey, SEL newSetter, std::uint64_t newOptions, void* newContext)
      : identity(newObserver),
        observer(newObserver),
        key(newKey),
        setter(newSetter),
        options(newOptions),
        context(newContext) {}

  id identity;  ///< for comparison only
  platform::Weak observer;
  std::string key;
  SEL setter;
  std::uint64_t options;
  void* context;
  std::atomic<bool> isRemoved{false};
};

namespace {

using platform::Strong;
using platform::Value;

/// Returns the class from which the object got its notifying setters, or null.
Class notifyingClassOf(id object) {
  return findClass(object_getClass(object), [](Class each) { return each->notifiesObservers; });
}
Class apparentClassOf(id object) {
  const Class notifying = notifyingClassOf(object);
  return notifying == nullptr ? object_getClass(object) : notifying->superclass;
}

SEL setterOf(std::string key) {
  if (!key.empty() && key[0] >= 'a' && key[0] <= 'z') key[0] = static_cast<char>(key[0] - 'a' + 'A');
  return sel_registerName(("set" + key + ":").c_str());
}

using Observations = std::vector<std::shared_ptr<Observation>>;

template <class Test>
Observations observationsOf(id object, Test test) {
  const std::lock_guard lock(objectLock(object));
  Observations found;
  if (headerOf(object).side.load(std::memory_order_relaxed) == nullptr) return found;
  const Observations& all = sideData(object).observations;
  std::copy_if(all.begin(), all.end(), std::back_inserter(found), [&](const auto& each) { return test(*each); });
  return found;
}

Value valueOf(id object) { return platform::unboxed(object).value_or(Value()); }
template <class T>
Value valueOf(T number) {
  return Value(number);
}

template <class T>
Value currentValue(id object, const std::string& key) {
  const SEL getter = sel_registerName(key.c_str());
  return valueOf(platform::send<T()>(object, getter));
}

void notifyObservers(const Observations& observations, id object, const Value& oldValue, const Value& newValue) {
  static const SEL callback = sel_registerName(platform::observeValueForKeyPathSelector);
  for (const auto& each : observations) {
    const Strong observer = each->observer.load();
    if (!observer || each->isRemoved) continue;
    std::vector<Value::Entry> change{{"kind", 1}};  // the only kind of change: setting
    if ((each->options & platform::NSKeyValueObservingOptionNew) != 0) {
      change.push_back({platform::NSKeyValueChangeNewKey, newValue});
    }
    if ((each->options & platform::NSKeyValueObservingOptionOld) != 0) {
      change.push_back({platform::NSKeyValueChangeOldKey, oldValue});
    }
    platform::send<void(id, id, id, void*)>(observer.get(), callback, platform::boxed(Value(each->key)), object,
                                            platform::boxed(Value::dictionary(change)), each->context);
  }
}

/// Replaces a setter in the notifying class; T is the property's type.
template <class T>
void notifyingSetter(id self, SEL setter, T value) {
  const platform::AutoreleasePool pool;
  const Strong kept(self);  // an observer may release the last reference
  const Class original = class_getSuperclass(notifyingClassOf(self));
  const auto set = reinterpret_cast<void (*)(id, SEL, T)>(class_getMethodImplementation(original, setter));
  const Observations observations = observationsOf(self, [&](const auto& each) { return each.setter == setter; });
  if (observations.empty()) return set(self, setter, value);
  const std::string key = observations.front()->key;
  const Value oldValue = currentValue<T>(self, key);
  set(self, setter, value);
  notifyObservers(observations, self, oldValue, currentValue<T>(self, key));
}

/// What observing needs of a property's type.
struct PropertyType {
  char letter;
  IMP notifyingSetter;
  Value (*currentValue)(id object, const std::string& key);
};
template <class... T>
const PropertyType* propertyTypeAmong(char letter) {
  static const PropertyType types[] = {
      {*platform::encodingOf<T>(), host::asIMP(&notifyingSetter<T>), &currentValue<T>}...};
  const auto* found = std::ranges::find(types, letter, &PropertyType::letter);
  return found == std::end(types) ? nullptr : found;
}
/// Returns null for a type that cannot be observed.
const PropertyType* propertyTypeOf(char letter) {
  return propertyTypeAmong<id, bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t, float, double>(letter);
}

/// Of a key whose setter may be missing: the getter gives the type.
Value currentValueByGetter(id object, const std::string& key) {
  const Method getter = class_getInstanceMethod(object_getClass(object), sel_registerName(key.c_str()));
  const auto letters = value::typeLetters(method_getTypeEncoding(getter));
  const PropertyType* type = letters && letters->size() == 3 ? propertyTypeOf(letters->front()) : nullptr;
  if (type != nullptr) return type->currentValue(object, key);
  throw platform::Exception("NSUnknownKeyException",
                            platform::format("[<%@ %p> valueForUndefinedKey:]: this class is not key value "
                                             "coding-compliant for the key %@.",
                                             {class_getName(apparentClassOf(object)), object, key}));
}

Observations observationsOfKey(id object, const std::string& key) {
  return observationsOf(object, [&](const auto& each) { return each.key == key; });
}
std::string keyText(id key) { return std::string(platform::unboxed(key).value_or(Value("")).text()); }

void willChangeValue(id self, SEL, id boxedKey) {
  std::string key = keyText(boxedKey);
  if (observationsOfKey(self, key).empty()) return;
  Value oldValue = currentValueByGetter(self, key);
  const std::lock_guard lock(objectLock(self));
  sideData(self).announcedChanges.push_back({std::move(key), std::move(oldValue)});
}

/// Returns the old value of the latest announced change of the key, which it ends, or nothing.
std::optional<Value> endAnnouncedChange(id object, const std::string& key) {
  const std::lock_guard lock(objectLock(object));
  if (headerOf(object).side.load(std::memory_order_relaxed) == nullptr) return std::nullopt;
  auto& changes = sideData(object).announcedChanges;
  const auto latest = std::find_if(changes.rbegin(), changes.rend(), [&](const auto& each) { return each.key == key; });
  if (latest == changes.rend()) return std::nullopt;
  std::optional<Value> oldValue = std::move(latest->oldValue);
  changes.erase(std::next(latest).base());
  return oldValue;
}

void didChangeValue(id self, SEL, id boxedKey) {
  const std::string key = keyText(boxedKey);
  const std::optional<Value> oldValue = endAnnouncedChange(self, key);
  if (!oldValue) return;    // not observed when it was announced
  const Strong kept(self);  // an observer may release the last reference
  notifyObservers(observationsOfKey(self, key), self, *oldValue, currentValueByGetter(self, key));
}

class NotifyingClasses {
 public:
  /// Returns null when its name is taken; the first time, this is reported.
  Class subclassOf(Class original) {
    const std::string name = std::string("NSKVONotifying_") + original->name;
    const auto [cls, isFirst] = makeOnce(original, name);
    if (cls == nullptr && isFirst) {
      reportObstacle(std::string("does not notify observers of ") + original->name + " when a setter is called",
                     "key-value observing needs a class named " + name + ", and the name is taken",
                     "rename that class, or call willChangeValueForKey: and didChangeValueForKey:");
    }
    return cls;
  }

 private:
  std::pair<Class, bool> makeOnce(Class original, const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto [place, isFirst] = classes_.try_emplace(original, nullptr);
    if (isFirst) place->second = make(original, name);
    return {place->second, isFirst};
  }
  static Class make(Class original, const std::string& name) {
    const Class made = objc_allocateClassPair(original, name.c_str(), 0);
    if (made == nullptr) return nullptr;
    made->notifiesObservers = true;
    constexpr auto apparent = +[](id self, SEL) { return apparentClassOf(self); };
    class_addMethod(made, sel_registerName("class"), host::asIMP(apparent), platform::encodingOfFunction(apparent));
    objc_registerClassPair(made);
    return made;
  }

  std::mutex mutex_;
  std::map<Class, Class> classes_;
};

[[noreturn]] void raiseUnobservable(id object, const std::string& key, const char* why) {
  throw platform::Exception(platform::invalidArgumentException,
                            platform::format("Cannot observe the key path \"%@\" of <%@ %p>: %@.",
                                             {key, class_getName(apparentClassOf(object)), object, why}));
}

/// Makes the object's setter for the key notify. A property without a setter never changes through one.
void makeNotify(id object, const std::string& key, SEL setter) {
  const Method method = class_getInstanceMethod(object_getClass(object), setter);
  if (method == nullptr) return;
  const auto letters = value::typeLetters(method->types);
  const bool isSetter = letters && letters->size() == 4 && letters->front() == 'v';
  const PropertyType* type = isSetter ? propertyTypeOf(letters->back()) : nullptr;
  if (type == nullptr) raiseUnobservable(object, key, "its setter takes neither an object nor a number");
  Class cls = notifyingClassOf(object);
  if (cls == nullptr) {
    cls = platform::Process::shared<NotifyingClasses>().subclassOf(object_getClass(object));
    if (cls == nullptr) return;
    object_setClass(object, cls);
  }
  class_addMethod(cls, setter, type->notifyingSetter, method->types);
}

/// Of several matching registrations, removes the latest. An absent context matches any.
void removeObservation(id object, id observer, const std::string& key, std::optional<void*> context) {
  std::shared_ptr<Observation> removed;  // destroyed outside the lock
  {
    const std::lock_guard lock(objectLock(object));
    Observations& all = sideData(object).observations;
    const auto found = std::find_if(all.rbegin(), all.rend(), [&](const auto& each) {
      return each->identity == observer && each->key == key && (!context || each->context == *context);
    });
    if (found != all.rend()) {
      removed = std::move(*found);
      all.erase(std::next(found).base());
    }
  }
  if (removed != nullptr) {
    removed->isRemoved = true;
    return;
  }
  throw platform::Exception(
      platform::rangeException,
      platform::format(
          "Cannot remove an observer <%@ %p> for the key path \"%@\" from <%@ %p> because it is not "
          "registered as an observer.",
          {class_getName(apparentClassOf(observer)), observer, key, class_getName(apparentClassOf(object)), object}));
}

// The messages of observing: a proxy forwards them to the object whose setters are called.

void addObservation(id self, SEL, id observer, id keyPath, std::uint64_t options, void* context) {
  if (observer == nullptr) return;
  const std::string key = keyText(keyPath);
  if (key.empty() || key.find('.') != std::string::npos) raiseUnobservable(self, key, "it is not a single key");
  const SEL setter = setterOf(key);
  makeNotify(self, key, setter);
  auto observation = std::make_shared<Observation>(observer, key, setter, options, context);
  const std::lock_guard lock(objectLock(self));
  sideData(self).observations.push_back(std::move(observation));
}
void removeLatestObservation(id self, SEL, id observer, id keyPath) {
  removeObservation(self, observer, keyText(keyPath), std::nullopt);
}
void removeObservationOfContext(id self, SEL, id observer, id keyPath, void* context) {
  removeObservation(self, observer, keyText(keyPath), context);
}

constexpr const char* addSelector = "addObserver:forKeyPath:options:context:";
constexpr const char* removeSelector = "removeObserver:forKeyPath:";
constexpr const char* removeContextSelector = "removeObserver:forKeyPath:context:";

id boxedKeyPath(const char* keyPath) { return platform::boxed(Value(keyPath == nullptr ? "" : keyPath)); }

}  // namespace

void defineObserving(Runtime& runtime) {
  platform::ClassFace<Observation>(runtime.object)
      .method<addObservation>(addSelector)
      .method<removeLatestObservation>(removeSelector)
      .method<removeObservationOfContext>(removeContextSelector)
      .method<willChangeValue>("willChangeValueForKey:")
      .method<didChangeValue>("didChangeValueForKey:");
}

}  // namespace host

namespace platform {

void addObserver(id object, id observer, const char* keyPath, std::uint64_t options, void* context) {
  const AutoreleasePool pool;
  send<void(id, id, std::uint64_t, void*)>(object, sel_registerName(host::addSelector), observer,
                                           host::boxedKeyPath(keyPath), options, context);
}

void removeObserver(id object, id observer, const char* keyPath) {
  const AutoreleasePool pool;
  send<void(id, id)>(object, sel_registerName(host::removeSelector), observer, host::boxedKeyPath(keyPath));
}

void removeObserver(id object, id observer, const char* keyPath, void* context) {
  const AutoreleasePool pool;
  send<void(id, id, void*)>(object, sel_registerName(host::removeContextSelector), observer,
                            host::boxedKeyPath(keyPath), context);
}

}  // namespace platform
