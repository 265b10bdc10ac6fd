#include "pellion/lab/lab_action.h"

#include "pellion/document/presentation.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

const Field actionFields[] = {{"do", &shapes::text, true}, {"payload", &shapes::text},
                              {"name", &shapes::text},     {"notification", &shapes::text},
                              {"with", &shapes::text},     {"seconds", &shapes::seconds},
                              {"step", &shapes::any}};

}  // namespace

const Shape actionShape{"an action such as {\"do\": \"open\"}", isObject, actionFields};

std::string textIn(const Value& action, std::string_view name) {
  const Value* text = action.find(name);
  return text == nullptr ? std::string() : std::string(text->text());
}

Value payloadIn(const Value& action) {
  const std::string text = textIn(action, "payload");
  const JSONNode payload = readJSON("the payload", text);
  if (!isObject(payload.value)) throw errorAt("the payload", payload.position, "it is no JSON object; write one: {…}");
  if (const std::size_t size = compactJSON(payload.value).size(); size > largestPushPayload) {
    throw InputError("the payload has " + std::to_string(size) + " bytes, and the push service takes " +
                     std::to_string(largestPushPayload) + "; shorten it");
  }
  return payload.value;
}

Payload payloadToRecordIn(const Value& action) try {
  return readPayload("the payload", compactJSON(payloadIn(action)));
} catch (const OtherDocument&) {
  throw InputError(otherDocument);
}

}  // namespace pellion
