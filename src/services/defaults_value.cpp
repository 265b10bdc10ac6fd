#include "services/defaults_value.h"

#include <algorithm>
#include <vector>

#include "platform/exception.h"
#include "platform/text.h"

namespace services {

using platform::Value;

void requirePropertyList(const Value& value, std::string_view key, bool (*isPropertyList)(id object)) {
  std::vector<const Value*> unchecked{&value};
  while (!unchecked.empty()) {
    const Value& next = *unchecked.back();
    unchecked.pop_back();
    const bool isOddObject = next.ifObject() != nullptr && !isPropertyList(next.ifObject());
    const bool hasOddKey =
        std::ranges::any_of(next.entries(), [](const Value::Entry& entry) { return !entry.key.ifString(); });
    if (next.isNull() || isOddObject || hasOddKey) {
      throw platform::Exception(
          platform::invalidArgumentException,
          platform::format("Attempt to insert non-property list object %@ for key %@", {value, key}));
    }
    for (const Value& element : next.elements()) unchecked.push_back(&element);
    for (const Value::Entry& entry : next.entries()) unchecked.push_back(&entry.value);
  }
}

}  // namespace services
