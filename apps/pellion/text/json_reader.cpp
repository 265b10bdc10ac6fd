#include "pellion/text/json_reader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>

#include "pellion/text/json_cause.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

constexpr std::size_t deepestLevel = 64;
constexpr unsigned strictFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;
constexpr unsigned commentedFlags = strictFlags | rapidjson::kParseCommentsFlag | rapidjson::kParseTrailingCommasFlag;

/// Converts increasing offsets into positions; looks at each byte once.
class PositionCounter {
 public:
  explicit PositionCounter(std::string_view text) : text_(text) {}

  Position at(std::size_t offset) {
    for (; offset_ < std::min(offset, text_.size()); ++offset_) {
      if (text_[offset_] == '\n') {
        position_ = {position_.line + 1, 1};
      } else if ((text_[offset_] & 0xC0) != 0x80) {  // not inside a character
        ++position_.column;
      }
    }
    return position_;
  }

 private:
  std::string_view text_;
  std::size_t offset_ = 0;
  Position position_;
};

/// The reader reports a token after it has read it. Between two tokens there are only white space, comments, a comma or
/// a colon, so a token starts at the first other character after the end of the previous one.
class TreeBuilder {
 public:
  TreeBuilder(std::string_view file, std::string_view text, const rapidjson::MemoryStream& stream)
      : file_(file), text_(text), stream_(stream), positions_(text) {}

  bool Null() { return scalar({}); }
  bool Bool(bool boolean) { return scalar(boolean); }
  bool Int(int integer) { return scalar(integer); }
  bool Uint(unsigned integer) { return scalar(integer); }
  bool Int64(std::int64_t integer) { return scalar(integer); }
  bool Uint64(std::uint64_t integer) { return scalar(integer); }
  bool Double(double nearly) {
    // RapidJSON may be off by one bit, and may miss the end of the range.
    double nearest = nearly;
    const auto result = std::from_chars(text_.data() + nextToken(), text_.data() + text_.size(), nearest);
    if (result.ec == std::errc::result_out_of_range && std::abs(nearly) > 1) {
      throw errorAt(file_, token(), "not JSON: Number too big to be stored in double");
    }
    return scalar(nearest);
  }
  bool RawNumber(const char* /*text*/, rapidjson::SizeType /*length*/, bool /*copy*/) { return false; }
  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) { return scalar(checked({text, length})); }
  bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    const std::string_view name = checked({text, length});
    open_.back().members.push_back({token(), std::string(name), {}});
    return true;
  }
  bool StartObject() { return start(); }
  bool StartArray() { return start(); }
  bool EndObject(rapidjson::SizeType /*count*/) {
    std::vector<platform::Value::Entry> entries;
    for (const JSONMember& member : open_.back().members) entries.push_back({member.name, member.value.value});
    const platform::Value value = platform::Value::dictionary(entries);
    if (value.entries().size() != entries.size()) refuseRepeatedName();
    return end(value);
  }
  bool EndArray(rapidjson::SizeType /*count*/) {
    std::vector<platform::Value> elements;
    for (const JSONNode& element : open_.back().elements) elements.push_back(element.value);
    return end(platform::Value::list(elements));
  }

  [[nodiscard]] JSONNode takeRoot() { return std::move(*root_); }

 private:
  // RapidJSON accepts the second half of a surrogate pair alone as a character.
  std::string_view checked(std::string_view text) {
    if (wellFormed(text) != text) throw errorAt(file_, token(), "not JSON: The surrogate pair in string is invalid");
    return text;
  }
  std::size_t nextToken() const {
    std::size_t start = text_.find_first_not_of(" \t\r\n,:", end_);
    while (start < text_.size() && text_[start] == '/') {
      const std::string_view mark = text_.substr(start).starts_with("/*") ? "*/" : "\n";
      const std::size_t end = text_.find(mark, start + 2);
      if (end == std::string_view::npos) break;
      start = text_.find_first_not_of(" \t\r\n,:", end + mark.size());
    }
    return std::min(start, text_.size());
  }
  Position token() {
    const Position position = positions_.at(nextToken());
    end_ = stream_.Tell();
    return position;
  }
  bool scalar(platform::Value value) { return place({token(), std::move(value), {}, {}}); }
  bool start() {  // called before or after the bracket is read, so its end is counted here
    const std::size_t bracket = nextToken();
    const Position position = positions_.at(bracket);
    end_ = bracket + 1;
    if (open_.size() == deepestLevel) {
      throw errorAt(file_, position, "nested too deeply; at most " + std::to_string(deepestLevel) + " levels are read");
    }
    open_.push_back({position, {}, {}, {}});
    return true;
  }
  bool end(platform::Value value) {
    end_ = nextToken() + 1;
    JSONNode node = std::move(open_.back());
    open_.pop_back();
    node.value = std::move(value);
    return place(std::move(node));
  }
  bool place(JSONNode node) {
    if (open_.empty()) {
      root_ = std::move(node);
    } else if (auto& members = open_.back().members; !members.empty()) {
      members.back().value = std::move(node);
    } else {
      open_.back().elements.push_back(std::move(node));
    }
    return true;
  }
  [[noreturn]] void refuseRepeatedName() const {
    std::set<std::string_view> names;
    const auto& members = open_.back().members;
    const auto repeated =
        std::ranges::find_if(members, [&](const JSONMember& member) { return !names.insert(member.name).second; });
    throw errorAt(file_, repeated->position, "\"" + repeated->name + "\" is repeated here; remove one of the two");
  }

  std::string_view file_;
  std::string_view text_;
  const rapidjson::MemoryStream& stream_;
  PositionCounter positions_;
  std::size_t end_ = 0;  // of the previous token
  std::vector<JSONNode> open_;
  std::optional<JSONNode> root_;
};

std::optional<JSONCause> causeOf(std::string_view text, const rapidjson::ParseResult& error) {
  const bool wantsComma = error.Code() == rapidjson::kParseErrorObjectMissCommaOrCurlyBracket ||
                          error.Code() == rapidjson::kParseErrorArrayMissCommaOrSquareBracket;
  return causeOfJSONError(text, error.Offset(), wantsComma);
}

/// The reader's own words for an error without a usual cause, except where plainer ones exist.
std::string reasonFor(const rapidjson::ParseResult& error) {
  switch (error.Code()) {
    case rapidjson::kParseErrorDocumentEmpty: return "the document is empty; write an object: {…}";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "a second document begins here; leave one of the two, or write them to two files";
    case rapidjson::kParseErrorStringInvalidEncoding:
      return "this character is not UTF-8, perhaps Latin-1; save the text as UTF-8";
    default: break;
  }
  const std::string_view reason = rapidjson::GetParseError_En(error.Code());
  return std::string(reason.substr(0, reason.find_last_not_of('.') + 1));
}

}  // namespace

std::string placeText(std::string_view file, Position position) {
  return std::string(file) + ":" + std::to_string(position.line) + ":" + std::to_string(position.column);
}

DocumentError::DocumentError(std::string_view file, Position position, std::string_view text)
    : InputError(placeText(file, position) + ": " + std::string(text)), position_(position), text_(printable(text)) {}

DocumentError errorAt(std::string_view file, Position position, std::string_view text) {
  return {file, position, text};
}

const JSONNode* JSONNode::find(std::string_view name) const {
  const auto member = std::ranges::find(members, name, &JSONMember::name);
  return member == members.end() ? nullptr : &member->value;
}

std::string_view withoutByteOrderMark(std::string_view text) {
  return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
}

std::string repairedJSON(std::string_view text) {
  constexpr int mostRepairs = 1000;
  std::string repaired(withoutByteOrderMark(text));
  for (int i = 0; i < mostRepairs; ++i) {
    rapidjson::MemoryStream stream(repaired.data(), repaired.size());
    rapidjson::BaseReaderHandler<> ignored;
    rapidjson::Reader reader;
    const rapidjson::ParseResult result = reader.Parse<strictFlags>(stream, ignored);
    const auto cause = result.IsError() ? causeOf(repaired, result) : std::nullopt;
    if (!cause || !cause->repair) break;
    repaired.replace(cause->offset, cause->repair->length, cause->repair->replacement);
  }
  return repaired;
}

JSONNode readJSON(std::string_view file, std::string_view text, JSONForm form) {
  text = withoutByteOrderMark(text);  // RapidJSON would also accept half a mark
  // A memory stream: unlike a string stream it is not copied while numbers are read, so Tell() is always correct.
  rapidjson::MemoryStream stream(text.data(), text.size());
  TreeBuilder builder(file, text, stream);
  rapidjson::Reader reader;
  const rapidjson::ParseResult result = form == JSONForm::commented ? reader.Parse<commentedFlags>(stream, builder)
                                                                    : reader.Parse<strictFlags>(stream, builder);
  if (result.IsError()) {
    if (const auto cause = causeOf(text, result)) {
      throw errorAt(file, PositionCounter(text).at(cause->offset), "not JSON: " + cause->text);
    }
    throw errorAt(file, PositionCounter(text).at(result.Offset()), "not JSON: " + reasonFor(result));
  }
  if (stream.Tell() < text.size()) {  // a NUL character ends the stream
    throw errorAt(file, PositionCounter(text).at(stream.Tell()), "not JSON: there is a NUL character here; remove it");
  }
  return builder.takeRoot();
}

}  // namespace pellion
