#pragma once

#include "platform/class_face.h"
#include "platform/reference.h"

/// A box with one object that it does not keep alive: `object` reads null once the object is gone.
class PLXSafeWeakContainer {
 public:
  [[nodiscard]] platform::Strong object() const { return object_.load(); }
  void setObject(id object) { object_.store(object); }

  static constexpr const char* className = "PLXSafeWeakContainer";
  static void defineClass(platform::ClassFace<PLXSafeWeakContainer>& face) {
    face.method<&PLXSafeWeakContainer::autoreleasedObject>("object").method<&PLXSafeWeakContainer::setObject>(
        "setObject:");
  }

 private:
  [[nodiscard]] id autoreleasedObject() const { return object().autoreleased(); }

  platform::Weak object_;
};
