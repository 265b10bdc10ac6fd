#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "services/property_list/property_list.h"
#include "services/property_list/property_list_reading.h"

namespace services {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";
constexpr std::string_view containers[] = {"plist", "dict", "array"};
constexpr std::string_view scalars[] = {"key", "string", "integer", "real", "true", "false", "date", "data"};

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(whiteSpace), text.size());
  return text.substr(begin, text.find_last_not_of(whiteSpace) + 1 - begin);
}

struct Signed {
  bool isNegative;
  std::string_view digits;
};
Signed withoutSign(std::string_view text) {
  text = trimmed(text);
  const bool hasSign = text.starts_with('-') || text.starts_with('+');
  return {text.starts_with('-'), text.substr(hasSign ? 1 : 0)};
}

/// Returns decimal digits, or nothing for text that is no integer of 64 bits.
std::optional<std::string> plainInteger(std::string_view content) {
  auto [isNegative, digits] = withoutSign(content);
  const bool isHexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
  if (isHexadecimal) digits.remove_prefix(2);
  std::uint64_t magnitude = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, magnitude, isHexadecimal ? 16 : 10);
  constexpr std::uint64_t mostNegative = std::uint64_t{1} << 63;
  if (result.ec != std::errc() || result.ptr != end || (isNegative && magnitude > mostNegative)) return std::nullopt;
  return (isNegative && magnitude != 0 ? "-" : "") + std::to_string(magnitude);
}

std::optional<std::string> plainReal(std::string_view content) {
  const auto [isNegative, digits] = withoutSign(content);
  double magnitude = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, magnitude);
  const bool isWhole = result.ec == std::errc() && result.ptr == end;
  // from_chars also accepts a second sign and "nan(...)".
  if (!isWhole || digits.starts_with('-') || digits.ends_with(')')) return std::nullopt;
  return (isNegative ? "-" : "") + std::string(digits);
}

bool isDate(std::string_view text) {
  constexpr std::string_view pattern = "0000-00-00T00:00:00Z";
  const bool isShaped = std::ranges::equal(text, pattern, [](char character, char place) {
    return place == '0' ? character >= '0' && character <= '9' : character == place;
  });
  if (!isShaped) return false;
  const auto number = [text](std::size_t at, std::size_t length) {
    unsigned value = 0;
    std::from_chars(text.data() + at, text.data() + at + length, value);
    return value;
  };
  const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(number(0, 4))),
                                        std::chrono::month(number(5, 2)), std::chrono::day(number(8, 2))};
  return day.ok() && number(11, 2) < 24 && number(14, 2) < 60 && number(17, 2) < 60;
}

// Requires the padding: libplist drops characters that are no whole group of four.
bool isBase64(std::string_view text) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string digits(text);
  std::erase_if(digits, [](char c) { return whiteSpace.find(c) != std::string_view::npos; });
  const std::size_t padding = std::min(digits.find_first_not_of(alphabet), digits.size());
  return digits.size() % 4 == 0 && digits.size() - padding <= 2 &&
         digits.find_first_not_of('=', padding) == std::string::npos;
}

std::string join(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

template <bool (*accepts)(std::string_view)>
std::optional<std::string> unchanged(std::string_view content) {
  return accepts(content) ? std::optional(std::string(content)) : std::nullopt;
}
bool isEmpty(std::string_view content) { return content.empty(); }

struct Rule {
  std::string_view element;
  std::optional<std::string> (*plain)(std::string_view content);
  const char* expected;
};
constexpr Rule rules[] = {
    {"integer", plainInteger, "an integer of 64 bits, decimal or 0x and hexadecimal"},
    {"real", plainReal, "a number, nan or infinity"},
    {"date", unchanged<isDate>, "a date such as 2026-01-31T12:00:00Z"},
    {"data", unchanged<isBase64>, "Base64 text, padded"},
    {"true", unchanged<isEmpty>, "to be empty"},
    {"false", unchanged<isEmpty>, "to be empty"},
};

class XMLCheck {
 public:
  XMLCheck(std::string_view text, std::string_view name) : text_(text), name_(name) {}

  std::string run() {
    const std::size_t zero = text_.find('\0');
    if (zero != std::string_view::npos) fail(zero, "a zero byte, which text cannot contain");
    std::size_t at = 0;
    for (std::size_t markup; (markup = text_.find('<', at)) != std::string_view::npos;) {
      checkText(at, markup);
      at = readMarkup(markup);
    }
    checkText(at, text_.size());
    if (!open_.empty()) fail(open_.back().at, join({"<", open_.back().element, "> is never closed"}));
    if (!hasRoot_) fail(0, "not a property list, neither XML nor binary");
    return std::move(plain_).append(text_.substr(copied_));
  }

 private:
  struct Element {
    std::string_view element;
    std::size_t at;       // of its tag
    std::size_t content;  // after its tag
    std::size_t children = 0;
  };

  [[noreturn]] void fail(std::size_t at, const std::string& problem) const {
    const auto line = 1 + std::ranges::count(text_.substr(0, at), '\n');
    throw PropertyListError(join({name_, ":", std::to_string(line), ": ", problem}));
  }

  void checkText(std::size_t begin, std::size_t end) const {
    if (!open_.empty() && !isContainer(open_.back().element)) return;
    const std::size_t stray = text_.substr(0, end).find_first_not_of(whiteSpace, begin);
    if (stray != std::string_view::npos) {
      fail(stray,
           hasRoot_ ? "text outside <string>, <key> and the like" : "not a property list, neither XML nor binary");
    }
  }

  std::size_t readMarkup(std::size_t at) {
    const std::string_view markup = text_.substr(at);
    if (markup.starts_with("<!--")) return behind("-->", at, "a comment");
    if (markup.starts_with("<![CDATA[")) {
      const std::size_t end = behind("]]>", at, "a CDATA section");
      checkText(at, end);
      return end;
    }
    if (markup.starts_with("<?")) return behind("?>", at, "a processing instruction");
    const std::size_t end = behind(">", at, "a tag");
    std::string_view tag = text_.substr(at + 1, end - at - 2);
    if (tag.starts_with('!')) {
      if (tag.find('[') != std::string_view::npos) fail(at, "a document type with declarations is not supported");
    } else if (tag.starts_with('/')) {
      close(tag.substr(1), at);
    } else {
      const bool isEmpty = tag.ends_with('/');
      if (isEmpty) tag.remove_suffix(1);
      open(tag.substr(0, tag.find_first_of(whiteSpace)), at, end);
      if (isEmpty && open_.back().element == "key") fail(at, "an empty key is written <key></key>");
      if (isEmpty) close(open_.back().element, end);
    }
    return end;
  }

  std::size_t behind(std::string_view terminator, std::size_t at, const char* what) const {
    const std::size_t end = text_.find(terminator, at);
    if (end == std::string_view::npos) fail(at, join({what, " is never closed"}));
    return end + terminator.size();
  }

  static bool isContainer(std::string_view element) {
    return std::ranges::find(containers, element) != std::end(containers);
  }

  void open(std::string_view element, std::size_t at, std::size_t content) {
    const std::string tag = join({"<", element, ">"});
    if (!isContainer(element) && std::ranges::find(scalars, element) == std::end(scalars)) {
      fail(at, tag + " is not an element of a property list");
    }
    if (open_.empty() && hasRoot_) fail(at, tag + " after the end of the property list");
    if (!open_.empty() && element == "plist") fail(at, tag + " inside another element");
    if (open_.empty() && element == "key") fail(at, "<key> where a value is expected");
    if (!open_.empty()) checkPlace(element, tag, at);
    const bool isWrapped = !open_.empty() && open_.front().element == "plist";
    if (open_.size() == deepestPropertyList + (isWrapped ? 1 : 0)) {
      fail(at, "more than " + std::to_string(deepestPropertyList) + " levels");
    }
    hasRoot_ = true;
    open_.push_back({element, at, content});
  }

  void checkPlace(std::string_view element, const std::string& tag, std::size_t at) {
    Element& parent = open_.back();
    const bool isValuePlace = parent.element != "dict" || parent.children % 2 == 1;
    if (!isContainer(parent.element)) fail(at, join({tag, " inside <", parent.element, ">"}));
    if (parent.element == "plist" && parent.children == 1) fail(at, tag + " after the one value of <plist>");
    if (isValuePlace == (element == "key")) {
      fail(at, isValuePlace ? "<key> where a value is expected" : tag + " where a <key> is expected");
    }
    ++parent.children;
  }

  void close(std::string_view element, std::size_t at) {
    element = element.substr(0, element.find_first_of(whiteSpace));
    if (open_.empty() || open_.back().element != element) {
      fail(at, join({"</", element, "> closes ",
                     open_.empty() ? "no open element" : join({"<", open_.back().element, ">"})}));
    }
    const Element& closed = open_.back();
    if (element == "dict" && closed.children % 2 == 1) fail(at, "the last <key> has no value");
    if (element == "plist" && closed.children == 0) fail(at, "<plist> contains no value");
    copyContent(closed, at);
    open_.pop_back();
  }

  void copyContent(const Element& closed, std::size_t end) {
    const auto* rule = std::ranges::find(rules, closed.element, &Rule::element);
    if (rule == std::end(rules)) return;
    const std::string_view content = text_.substr(closed.content, end - closed.content);
    const std::optional<std::string> plain = rule->plain(content);
    if (!plain) {
      fail(closed.at,
           join({"<", closed.element, "> contains \"", content.substr(0, 40), "\", expected ", rule->expected}));
    }
    plain_.append(text_.substr(copied_, closed.content - copied_)).append(*plain);
    copied_ = end;
  }

  std::string_view text_;
  std::string_view name_;
  std::vector<Element> open_;
  bool hasRoot_ = false;
  std::string plain_;       // the document in the form for libplist,
  std::size_t copied_ = 0;  // complete up to here in the text
};

}  // namespace

std::string checkedXMLPropertyList(std::string_view text, std::string_view name) { return XMLCheck(text, name).run(); }

}  // namespace services
