#pragma once

#include "platform/objc.h"
#include "platform/send.h"

// Messages that every object understands, and those of properties. Each selector is looked up once. A null object gives
// null or false.

namespace platform {

inline Class classOf(id object) {
  static const SEL selector = sel_registerName("class");
  return send<Class()>(object, selector);
}

inline bool isKindOfClass(id object, Class cls) {
  static const SEL selector = sel_registerName("isKindOfClass:");
  return send<bool(Class)>(object, selector, cls);
}

inline bool respondsToSelector(id object, SEL asked) {
  static const SEL selector = sel_registerName("respondsToSelector:");
  return send<bool(SEL)>(object, selector, asked);
}

inline bool conformsToProtocol(id object, Protocol* protocol) {
  static const SEL selector = sel_registerName("conformsToProtocol:");
  return send<bool(Protocol*)>(object, selector, protocol);
}

/// Reads a property that holds an object, through its getter.
inline id property(id object, const char* getter) { return send<id()>(object, sel_registerName(getter)); }

inline void setDelegate(id owner, id delegate) {
  static const SEL selector = sel_registerName("setDelegate:");
  send<void(id)>(owner, selector, delegate);
}

}  // namespace platform
