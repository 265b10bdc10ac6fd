// JSON text to Value: simdjson checks and parses the text; one pass over its result builds the document.

#include <simdjson.h>

#include <charconv>
#include <memory>
#include <new>

#include "platform/json_serialization.h"
#include "value/utf8.h"
#include "value/value_storage.h"

namespace platform::JSONSerialization {
namespace {

namespace dom = simdjson::dom;

constexpr std::size_t maximumDepth = 512;
constexpr std::size_t keptCapacity = std::size_t{256} << 10;  // of a thread's parser, in bytes of text
constexpr std::size_t saturatedCount = 0xFFFFFF;              // where simdjson stops counting a container's children

struct Encoding {
  const char* name;  // a name that ICU knows; null for UTF-8
  std::size_t byteOrderMarkSize;
};

/// Decides by the byte order mark, or else by the positions of zeros: the first two characters of JSON text are ASCII.
Encoding encodingOf(std::string_view text) {
  using namespace std::string_view_literals;
  if (text.starts_with("\xEF\xBB\xBF"sv)) return {nullptr, 3};
  if (text.starts_with("\xFF\xFE\0\0"sv)) return {"UTF-32LE", 4};
  if (text.starts_with("\0\0\xFE\xFF"sv)) return {"UTF-32BE", 4};
  if (text.starts_with("\xFF\xFE"sv)) return {"UTF-16LE", 2};
  if (text.starts_with("\xFE\xFF"sv)) return {"UTF-16BE", 2};
  if (text.size() < 4) return {nullptr, 0};
  if (text.starts_with("\0\0\0"sv)) return {"UTF-32BE", 0};
  if (text.substr(1).starts_with("\0\0\0"sv)) return {"UTF-32LE", 0};
  if (text[0] == '\0') return {"UTF-16BE", 0};
  if (text[1] == '\0') return {"UTF-16LE", 0};
  return {nullptr, 0};
}

bool isWideInteger(std::string_view token) {
  if (token.find_first_of(".eE") != std::string_view::npos) return false;
  std::uint64_t magnitude = 0;
  std::int64_t number = 0;
  const char* end = token.data() + token.size();
  const auto result = token.starts_with('-') ? std::from_chars(token.data(), end, number)
                                             : std::from_chars(token.data(), end, magnitude);
  return result.ec == std::errc::result_out_of_range;
}

/// Returns where the string that opens at `at` ends, its closing quote included.
std::size_t endOfString(std::string_view text, std::size_t at) {
  do {
    at = text.find_first_of("\"\\", at + 1);
    if (at == std::string_view::npos) return text.size();
    if (text[at] == '"') return at + 1;
    ++at;
  } while (at < text.size());
  return text.size();
}

/// simdjson rejects integers beyond 64 bits. The platform reads them as floating point; an added exponent does so here.
std::string withWideIntegersAsFloating(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at != text.size();) {
    const bool isNumber = text[at] == '-' || (text[at] >= '0' && text[at] <= '9');
    std::size_t end = at + 1;
    if (text[at] == '"') end = endOfString(text, at);
    if (isNumber) end = std::min(text.find_first_not_of("0123456789.eE+-", at), text.size());
    const std::string_view token = text.substr(at, end - at);
    result += token;
    if (isNumber && isWideInteger(token)) result += "e0";
    at = end;
  }
  return result;
}

/// Copies simdjson's tree. The parser has limited its depth.
class TreeBuilder {
 public:
  explicit TreeBuilder(std::size_t textSize) : document_(3 * textSize + 256) {}

  simdjson::error_code build(const dom::element& root, std::optional<Value>& result) {
    Value slot;  // borrowed from the document: copied before the document ends
    place(slot, root);
    if (isTooDeep_) return simdjson::DEPTH_ERROR;
    result = slot;
    return simdjson::SUCCESS;
  }

 private:
  void place(Value& slot, const dom::element& element) {
    switch (element.type()) {
      case dom::element_type::NULL_VALUE: break;
      case dom::element_type::BOOL: new (&slot) Value(element.get_bool().value_unsafe()); break;
      case dom::element_type::INT64: new (&slot) Value(element.get_int64().value_unsafe()); break;
      case dom::element_type::UINT64: new (&slot) Value(element.get_uint64().value_unsafe()); break;
      case dom::element_type::DOUBLE: new (&slot) Value(element.get_double().value_unsafe()); break;
      case dom::element_type::STRING: document_.text(slot, element.get_string().value_unsafe()); break;
      case dom::element_type::ARRAY: placeList(slot, element.get_array().value_unsafe()); break;
      case dom::element_type::OBJECT: placeDictionary(slot, element.get_object().value_unsafe()); break;
    }
  }
  void placeList(Value& slot, const dom::array& array) {
    isTooDeep_ |= ++depth_ > maximumDepth;
    Value* next = document_.list(slot, countOf(array));
    for (const dom::element element : array) place(*next++, element);
    --depth_;
  }
  void placeDictionary(Value& slot, const dom::object& object) {
    isTooDeep_ |= ++depth_ > maximumDepth;
    Value::Entry* next = document_.dictionary(slot, countOf(object));
    for (const auto field : object) {
      document_.text(next->key, field.key);
      place(next++->value, field.value);
    }
    DocumentBuilder::endDictionary(slot);
    --depth_;
  }
  template <class Container>
  static std::size_t countOf(const Container& container) {
    if (container.size() < saturatedCount) return container.size();
    return static_cast<std::size_t>(std::distance(container.begin(), container.end()));
  }

  DocumentBuilder document_;
  std::size_t depth_ = 0;
  bool isTooDeep_ = false;
};

/// A parser keeps its buffers from one text to the next, unless that text was very large.
class ThreadParser {
 public:
  simdjson::error_code parse(std::string_view text, dom::element& root) {
    if (parser_ == nullptr) {
      // One more, because simdjson counts the document itself, but does not count an empty container.
      parser_ = std::make_unique<dom::parser>();
      if (parser_->allocate(4096, maximumDepth + 1) != simdjson::SUCCESS) throw std::bad_alloc();
    }
    return parser_->parse(text.data(), text.size()).get(root);
  }
  void trim() {
    if (parser_->capacity() > keptCapacity) parser_.reset();
  }
  static ThreadParser& current() {
    thread_local ThreadParser parser;
    return parser;
  }

 private:
  std::unique_ptr<dom::parser> parser_;
};

const char* debugDescription(simdjson::error_code error) {
  switch (error) {
    case simdjson::EMPTY: return "Unable to parse empty data.";
    case simdjson::DEPTH_ERROR: return "Too many nested arrays or dictionaries.";
    case simdjson::UTF8_ERROR: return "Unable to convert data to string.";
    case simdjson::INCORRECT_TYPE:
      return "JSON text did not start with array or object and option to allow fragments not set.";
    default: return simdjson::error_message(error);
  }
}

simdjson::error_code decode(std::string_view text, std::optional<Value>& result) {
  const Encoding encoding = encodingOf(text);
  text.remove_prefix(encoding.byteOrderMarkSize);
  if (encoding.name != nullptr) {
    const std::optional<std::string> converted = value::toUTF8(text, encoding.name);
    return converted ? decode(*converted, result) : simdjson::UTF8_ERROR;
  }
  ThreadParser& parser = ThreadParser::current();
  dom::element root;
  simdjson::error_code error = parser.parse(text, root);
  if (error == simdjson::NUMBER_ERROR) error = parser.parse(withWideIntegersAsFloating(text), root);
  if (error == simdjson::SUCCESS && !root.is_array() && !root.is_object()) error = simdjson::INCORRECT_TYPE;
  if (error == simdjson::SUCCESS) error = TreeBuilder(text.size()).build(root, result);
  parser.trim();
  return error;
}

}  // namespace

std::optional<Value> JSONObjectWithData(ByteView data, Error* error) {
  std::optional<Value> result;
  // Empty bytes may have no address, and the parser would copy from it.
  const auto code =
      data.empty() ? simdjson::EMPTY : decode({reinterpret_cast<const char*>(data.data()), data.size()}, result);
  if (code != simdjson::SUCCESS && error != nullptr) {
    *error = {std::string(cocoaErrorDomain), 3840, "The data couldn’t be read because it isn’t in the correct format.",
              Value::dictionary({{"NSDebugDescription", debugDescription(code)}})};
  }
  return result;
}

}  // namespace platform::JSONSerialization
