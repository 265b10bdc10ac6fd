#include "host/objects/nserror.h"

#include "platform/value.h"

namespace host {

using platform::Value;

void NSError::defineClass(platform::ClassFace<NSError>& face) {
  face.method<&NSError::domain>("domain")
      .method<&NSError::code>("code")
      .method<&NSError::localizedDescription>("localizedDescription")
      .method<&NSError::description>("description");
}

id NSError::domain() const { return platform::boxed(Value(error_.domain)); }
id NSError::localizedDescription() const { return platform::boxed(Value(error_.localizedDescription)); }
id NSError::description() const { return platform::boxed(Value(error_.description())); }

}  // namespace host
