#include <algorithm>

#include "host/objc/objc_runtime.h"

namespace host {

Protocol* Runtime::findProtocol(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = protocols_.find(name);
  return found == protocols_.end() ? nullptr : found->second;
}

Protocol* Runtime::allocateProtocol(const char* name) {
  const std::lock_guard lock(mutex_);
  if (name == nullptr || protocols_.contains(name)) return nullptr;
  return allProtocols_.emplace_back(std::make_unique<objc_protocol>(name, this)).get();
}

void Runtime::registerProtocol(Protocol* protocol) {
  const std::lock_guard lock(mutex_);
  if (protocols_.emplace(protocol->name, protocol).second) protocol->isRegistered = true;
}

void defineOptionalProtocol(const char* name, std::span<const MethodDeclaration> methods) {
  Protocol* protocol = objc_allocateProtocol(name);
  for (const auto& [selector, types] : methods) {
    protocol_addMethodDescription(protocol, sel_registerName(selector), types, false, true);
  }
  objc_registerProtocol(protocol);
}

}  // namespace host

Protocol* objc_getProtocol(const char* name) {
  return name == nullptr ? nullptr : host::Runtime::current().findProtocol(name);
}

Protocol* objc_allocateProtocol(const char* name) { return host::Runtime::current().allocateProtocol(name); }

void objc_registerProtocol(Protocol* protocol) {
  if (protocol != nullptr) protocol->runtime->registerProtocol(protocol);
}

const char* protocol_getName(Protocol* protocol) { return protocol == nullptr ? "nil" : protocol->name.c_str(); }

void protocol_addMethodDescription(Protocol* protocol, SEL name, const char* types, bool isRequired, bool isInstance) {
  if (protocol == nullptr || name == nullptr) return;
  const std::lock_guard lock(protocol->runtime->mutex());
  if (protocol->isRegistered) return;
  const char* kept = types == nullptr ? nullptr : host::interned(types);
  protocol->methods.push_back({{name, kept}, isRequired, isInstance});
}

objc_method_description protocol_getMethodDescription(Protocol* protocol, SEL name, bool isRequired, bool isInstance) {
  if (protocol == nullptr) return {nullptr, nullptr};
  std::unique_lock lock(protocol->runtime->mutex(), std::defer_lock);
  if (!protocol->isRegistered.load(std::memory_order_acquire)) lock.lock();
  const auto found = std::find_if(protocol->methods.begin(), protocol->methods.end(), [&](const auto& each) {
    return each.method.name == name && each.isRequired == isRequired && each.isInstance == isInstance;
  });
  return found == protocol->methods.end() ? objc_method_description{nullptr, nullptr} : found->method;
}

bool class_addProtocol(Class cls, Protocol* protocol) {
  if (cls == nullptr || protocol == nullptr || class_conformsToProtocol(cls, protocol)) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  cls->protocols.push_back(protocol);
  return true;
}

bool class_conformsToProtocol(Class cls, Protocol* protocol) {
  if (cls == nullptr || protocol == nullptr) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  return std::find(cls->protocols.begin(), cls->protocols.end(), protocol) != cls->protocols.end();
}
