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

namespace {

// What follows reads a registered protocol, which no longer changes, or runs with the runtime's mutex held.

std::unique_lock<std::mutex> lockUnlessRegistered(const objc_protocol& protocol) {
  if (protocol.isRegistered.load(std::memory_order_acquire)) return {};
  return std::unique_lock(protocol.runtime->mutex());
}

bool protocolConforms(const objc_protocol* protocol, const objc_protocol* wanted) {
  return protocol == wanted || std::ranges::any_of(protocol->adopted, [wanted](const objc_protocol* each) {
           return protocolConforms(each, wanted);
         });
}

/// The protocol's own descriptions come first, then those of the protocols that it adopts, in the order of adoption.
const objc_protocol::Description* findDescription(const objc_protocol& protocol, SEL name, bool isRequired,
                                                  bool isInstance) {
  for (const auto& each : protocol.methods) {
    if (each.method.name == name && each.isRequired == isRequired && each.isInstance == isInstance) return &each;
  }
  for (const objc_protocol* adopted : protocol.adopted) {
    if (const auto* found = findDescription(*adopted, name, isRequired, isInstance)) return found;
  }
  return nullptr;
}

}  // namespace

void defineOptionalProtocol(const char* name, std::span<const MethodDeclaration> methods) {
  Protocol* protocol = objc_allocateProtocol(name);
  protocol_addProtocol(protocol, objc_getProtocol("NSObject"));
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
  const auto lock = host::lockUnlessRegistered(*protocol);
  const auto* found = host::findDescription(*protocol, name, isRequired, isInstance);
  return found == nullptr ? objc_method_description{nullptr, nullptr} : found->method;
}

void protocol_addProtocol(Protocol* protocol, Protocol* addition) {
  if (protocol == nullptr || addition == nullptr || !addition->isRegistered) return;
  const std::lock_guard lock(protocol->runtime->mutex());
  if (!protocol->isRegistered) protocol->adopted.push_back(addition);
}

bool protocol_conformsToProtocol(Protocol* protocol, Protocol* other) {
  if (protocol == nullptr || other == nullptr) return false;
  const auto lock = host::lockUnlessRegistered(*protocol);
  return host::protocolConforms(protocol, other);
}

bool class_addProtocol(Class cls, Protocol* protocol) {
  if (cls == nullptr || protocol == nullptr || class_conformsToProtocol(cls, protocol)) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  if (!cls->extras) cls->extras = std::make_unique<host::ClassExtras>();
  cls->extras->protocols.push_back(protocol);
  return true;
}

bool class_conformsToProtocol(Class cls, Protocol* protocol) {
  if (cls == nullptr || protocol == nullptr) return false;
  const std::lock_guard lock(cls->runtime->mutex());
  return cls->extras && std::ranges::any_of(cls->extras->protocols, [protocol](Protocol* each) {
           return host::protocolConforms(each, protocol);
         });
}
