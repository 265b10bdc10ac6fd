#include "pellion/document/presentation.h"

#include <algorithm>
#include <string_view>

namespace pellion {
namespace {

using platform::Value;

const Value* entryOfAPS(const Value& payload, std::string_view name) {
  const Value* aps = payload.find("aps");
  return aps == nullptr ? nullptr : aps->find(name);
}

bool isText(const Value* value) { return value != nullptr && value->ifString() && !value->text().empty(); }

}  // namespace

bool showsAlert(const Value& payload) {
  constexpr std::string_view texts[] = {"title", "subtitle", "body", "title-loc-key", "subtitle-loc-key", "loc-key"};
  const Value* alert = entryOfAPS(payload, "alert");
  return isText(alert) || (alert != nullptr && std::ranges::any_of(texts, [&](std::string_view name) {
                             return isText(alert->find(name));
                           }));
}

bool isPresented(const Value& payload) {
  return showsAlert(payload) || entryOfAPS(payload, "sound") != nullptr || entryOfAPS(payload, "badge") != nullptr;
}

bool wakesApplication(const Value& payload) {
  const Value* wakes = entryOfAPS(payload, "content-available");
  return wakes != nullptr && wakes->kind() == Value::Kind::integer && wakes->integer() == 1;
}

}  // namespace pellion
