#include "fuzz/target.h"
#include "pellion/text/json_reader.h"
#include "platform/json_serialization.h"

// Converts JSON text to Value and back. Compares with the reader of scenarios, which uses another library and rejects
// more: repeated names, deep nesting, encodings other than UTF-8.

namespace fuzz {
namespace {

using platform::Value;

constexpr std::size_t deepest = 512;

std::size_t depthOf(const Value& value) {
  std::size_t depth = 0;
  for (const Value& element : value.elements()) depth = std::max(depth, depthOf(element));
  for (const Value::Entry& entry : value.entries()) depth = std::max(depth, depthOf(entry.value));
  return depth + (value.kind() == Value::Kind::list || value.kind() == Value::Kind::dictionary ? 1 : 0);
}

void requireEveryEntryFound(const Value& value) {
  for (const Value& element : value.elements()) requireEveryEntryFound(element);
  for (const Value::Entry& entry : value.entries()) {
    require(value.find(entry.key.text()) == &entry.value, "an entry is found by its key", entry.key.text());
    requireEveryEntryFound(entry.value);
  }
}

Value rewritten(const Value& value) {
  const Value text = platform::JSONSerialization::dataWithJSONObject(value);
  const std::optional<Value> again = platform::JSONSerialization::JSONObjectWithData(text.bytes(), nullptr);
  require(again && *again == value, "a written value reads back as the same value", textOf(text.bytes()));
  require(again->hash() == value.hash(), "equal values have equal hashes", textOf(text.bytes()));
  return *again;
}

/// The first writing turns some floating point numbers into integers, -0.0 among them; later ones change nothing.
void requireRoundTrip(const Value& value) {
  const Value settled = rewritten(rewritten(value));
  const Value text = platform::JSONSerialization::dataWithJSONObject(settled);
  const Value again = rewritten(settled);
  require(platform::JSONSerialization::dataWithJSONObject(again) == text, "a value is always written as the same text",
          textOf(text.bytes()));
  require(again.description() == settled.description(), "equal values have equal descriptions", settled.description());
}

/// Whether the text alone allows the expectation that the other reader agrees.
bool isCommon(std::string_view text) {
  return !text.starts_with("\xFF\xFE") && !text.starts_with("\xFE\xFF") && text.find('\0') == std::string_view::npos;
}

void requireAgreement(std::string_view text, const std::optional<Value>& value) {
  try {
    const Value other = pellion::readJSON("text", text).value;
    const bool isContainer = other.ifList() != nullptr || other.ifDictionary() != nullptr;
    require(value.has_value() == isContainer, "both readers accept the same texts");
    require(!value || *value == other, "both readers read the same value", other.description());
  } catch (const pellion::DocumentError& error) {
    requireOneLineAbout("text", error.what());
    // It also rejects 0e999 as a number out of range.
    const std::string_view why = error.text();
    const bool refusesMore = why.starts_with("nested too deeply") || why.ends_with("remove one of the two") ||
                             why.ends_with("Number too big to be stored in double");
    require(!value || refusesMore, "both readers reject the same texts", error.what());
  }
}

}  // namespace

void run(std::string_view input) {
  platform::Error error;
  const std::optional<Value> value = platform::JSONSerialization::JSONObjectWithData(bytesOf(input), &error);
  if (value) {
    require(depthOf(*value) <= deepest, "no value is deeper than the limit");
    requireEveryEntryFound(*value);
    requireRoundTrip(*value);
  } else {
    const Value* reason = error.userInfo.find("NSDebugDescription");
    require(error.code == 3840 && !error.localizedDescription.empty() && reason != nullptr && !reason->text().empty(),
            "an error has a reason", error.description());
  }
  if (isCommon(input)) requireAgreement(input, value);
}

}  // namespace fuzz
