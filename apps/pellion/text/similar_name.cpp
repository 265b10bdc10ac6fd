#include "pellion/text/similar_name.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "value/ascii.h"

namespace pellion {

std::size_t editDistance(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> cost(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) cost[i][0] = i;
  std::iota(cost[0].begin(), cost[0].end(), 0);
  for (std::size_t i = 1; i <= from.size(); ++i) {
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const bool isSame = from[i - 1] == to[j - 1];
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (isSame ? 0 : 1)});
      const bool isSwapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (isSwapped) cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
    }
  }
  return cost[from.size()][to.size()];
}

namespace {

/// Longer names are compared with none: the effort grows with the square of the length.
constexpr std::size_t longestName = 40;

/// Lower case, without what separates the words.
std::string plain(std::string_view name) {
  std::string text = value::asciiLowercase(name);
  std::erase_if(text, [](char c) { return c == '_' || c == '-' || c == ' '; });
  return text;
}

/// The slips between the two names, or none if they are too many.
std::optional<std::size_t> slips(std::string_view name, std::string_view known) {
  if (name.size() > longestName || known.size() > longestName) return std::nullopt;
  const std::string meant = plain(known);
  const std::size_t most = meant.size() > 8 ? 2 : std::min<std::size_t>(meant.size() / 3, 1);
  const std::size_t count = editDistance(plain(name), meant);
  return count <= most ? std::optional(count) : std::nullopt;
}

bool isBefore(std::string_view left, std::string_view right) {
  return value::asciiLowercase(left) < value::asciiLowercase(right);
}

}  // namespace

bool looksLike(std::string_view name, std::string_view known) { return slips(name, known).has_value(); }

std::optional<std::string_view> similarName(std::string_view name, std::span<const std::string_view> known) {
  std::optional<std::string_view> nearest;
  std::size_t fewest = longestName;
  for (const std::string_view each : known) {
    const auto count = slips(name, each);
    if (!count || *count >= fewest) continue;
    fewest = *count;
    nearest = each;
  }
  return nearest;
}

std::string remedyForName(std::string_view name, std::vector<std::string_view> known, std::string_view introduction,
                          std::string_view quote) {
  const auto quoted = [&](std::string_view text) { return std::string(quote).append(text).append(quote); };
  std::string text(introduction);
  if (const auto similar = similarName(name, known)) {
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    text.insert(0, "did you mean " + quoted(*similar) + "? ");
  }
  std::ranges::sort(known, isBefore);
  for (const std::string_view& each : known) text.append(&each == known.data() ? " " : ", ").append(quoted(each));
  return text;
}

namespace {

/// What stands between single spaces.
std::vector<std::string_view> wordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

}  // namespace

std::string withWrappedNames(std::string_view error) {
  constexpr std::size_t width = 100;
  constexpr std::size_t shortestList = 8;
  constexpr std::string_view indentation = "    ";
  if (error.size() <= width) return std::string(error);
  const std::vector<std::string_view> words = wordsOf(error);
  std::string text;
  std::size_t column = 0;
  for (std::size_t i = 0; i < words.size();) {
    const std::size_t first = i;  // a list is a run of words with a comma after each, and one more
    std::size_t last = i;
    while (last + 1 < words.size() && words[last].ends_with(',')) ++last;
    const bool isList = last - first + 1 >= shortestList;
    for (; i <= last; ++i) {
      if (isList && (i == first || column + words[i].size() > width)) {
        text.append("\n").append(indentation);
        column = indentation.size();
      } else if (i > 0) {
        text += ' ';
      }
      text += words[i];
      column += words[i].size() + 1;
    }
  }
  return text;
}

}  // namespace pellion
