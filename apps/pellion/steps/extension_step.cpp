#include "pellion/steps/extension_step.h"

#include "host/phone/phone.h"
#include "pellion/run/scenario_run.h"
#include "platform/user_defaults.h"

namespace pellion {
namespace {

using platform::Value;

const Shape entriesShape{"a list of statistics entries", isList};
const Field extensionFields[] = {{"leaves", &entriesShape}};

/// Appends to the entries of an earlier run.
void leave(platform::UserDefaults& store, std::span<const Value> entries) {
  const Value earlier = store.objectForKey(pendingKey).value_or(Value::list({}));
  std::vector<Value> pending(earlier.elements().begin(), earlier.elements().end());
  pending.insert(pending.end(), entries.begin(), entries.end());
  store.setObject(Value::list(pending), pendingKey);
}

}  // namespace

const Shape extensionShape{"an object", isObject, extensionFields};

void runExtension(ScenarioRun& run, const JSONNode& work) {
  const std::optional<std::string> group = run.appGroup();
  if (!group) {
    throw InputError(run.place(work) +
                     ": the extension shares no store with the application; add APP_GROUP to the configuration");
  }
  run.phone().runExtension([&] {
    run.attempt("extension", [&] {
      const auto store = platform::UserDefaults::initWithSuiteName(*group);
      if (const JSONNode* entries = work.find("leaves")) {
        run.report("extension", "leaves", Value::dictionary({{"entries", entries->value}}));
        leave(*store, entries->value.elements());
      }
      run.report("extension", "reads badge",
                 Value::dictionary({{"badge", store->objectForKey(badgeKey).value_or(nullptr)}}));
    });
  });
}

std::optional<Value> sharedValue(ScenarioRun& run, std::string_view key) {
  std::optional<Value> value;
  const std::optional<std::string> group = run.appGroup();
  if (!group) return value;
  run.phone().runExtension([&] { value = platform::UserDefaults::initWithSuiteName(*group)->objectForKey(key); });
  return value;
}

}  // namespace pellion
