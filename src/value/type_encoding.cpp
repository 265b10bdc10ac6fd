#include "value/type_encoding.h"

#include <string_view>

#include "platform/exception.h"

namespace value {
namespace {

constexpr std::string_view scalars = "cCsSiIlLqQfdB*@#:v";
constexpr std::string_view qualifiers = "rnNoORV";
constexpr std::string_view offset = "+-0123456789";
constexpr std::string_view opening = "{(<";
constexpr std::string_view closing = "})>";

class Reader {
 public:
  explicit Reader(std::string_view rest) : rest_(rest) {}

  [[nodiscard]] bool atEnd() const { return rest_.empty(); }
  [[nodiscard]] std::string_view rest() const { return rest_; }

  /// The next type's letter, or 0. Also skips the offset after the type.
  char next() {
    skipAny(qualifiers);
    const char letter = take();
    bool isWellFormed = scalars.find(letter) != std::string_view::npos;
    char result = letter;
    if (letter == '@') {
      result = skipObjectDetails();
    } else if (letter == '^') {
      isWellFormed = skipPointee();
    }
    skipAny(offset);
    return isWellFormed ? result : '\0';
  }

 private:
  char take() {
    if (rest_.empty()) return '\0';
    const char letter = rest_.front();
    rest_.remove_prefix(1);
    return letter;
  }
  void skipAny(std::string_view letters) {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(letters), rest_.size()));
  }

  // @"ClassName", or @? with the block's own encoding in angle brackets.
  char skipObjectDetails() {
    if (rest_.starts_with('"')) {
      const auto end = rest_.find('"', 1);
      if (end == std::string_view::npos) return '\0';
      rest_.remove_prefix(end + 1);
    } else if (rest_.starts_with('?')) {
      take();
      return rest_.starts_with('<') && !skipNested() ? '\0' : '?';
    }
    return '@';
  }

  bool skipPointee() {
    skipAny("^rnNoORV");
    if (rest_.empty()) return false;
    if (opening.find(rest_.front()) != std::string_view::npos) return skipNested();
    take();
    return true;
  }

  bool skipNested() {
    int depth = 0;
    do {
      const char letter = take();
      if (letter == '\0') return false;
      if (opening.find(letter) != std::string_view::npos) ++depth;
      if (closing.find(letter) != std::string_view::npos) --depth;
    } while (depth > 0);
    return true;
  }

  std::string_view rest_;
};

}  // namespace

std::optional<std::string> typeLetters(const char* types) {
  if (types == nullptr) return std::nullopt;
  std::string letters;
  for (Reader reader(types); !reader.atEnd();) {
    const char letter = reader.next();
    if (letter == '\0' || (letter == 'v' && !letters.empty())) return std::nullopt;
    letters.push_back(letter);
  }
  const bool isMethod = letters.size() >= 3 && (letters[1] == '@' || letters[1] == '#') && letters[2] == ':';
  return isMethod ? std::optional(letters) : std::nullopt;
}

std::vector<std::string> typeParts(const char* types) {
  std::vector<std::string> parts;
  for (Reader reader(types); !reader.atEnd();) {
    const std::string_view before = reader.rest();
    reader.next();
    const std::string_view part = before.substr(0, before.size() - reader.rest().size());
    parts.emplace_back(part.substr(0, part.find_last_not_of(offset) + 1));
  }
  return parts;
}

void raiseOtherTypes(const char* className, const char* selector, bool isClassMethod, const char* call,
                     const char* declared) {
  throw platform::Exception(platform::invalidArgumentException, std::string(isClassMethod ? "+[" : "-[") + className +
                                                                    ' ' + selector + "]: called as \"" + call +
                                                                    "\" but declared as \"" + declared + '"');
}

}  // namespace value
