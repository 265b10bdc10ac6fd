#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "platform/text.h"

namespace test {

/// A line of the log as "verbose +[Class method]: text", with " (marker)" behind it if the marker is not the tag's.
inline std::string logLine(std::string_view tag, std::string_view function, std::string_view marker,
                           std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> markers[] = {
      {"pellion-log", "\u200B\u200B\u200B\U0001F916\u200B"},
      {"pellion-warning", "\u200B\u200B\u200B\u26A0\uFE0F"},
      {"warning", "\u26A0\uFE0F"},
      {"verbose", "\U0001F7E3"},
  };
  const bool fits = std::ranges::find(markers, std::pair(tag, marker)) != std::end(markers);
  return platform::format("%@ %@: %@", {tag, function, text}) + (fits ? "" : " (marker)");
}

}  // namespace test
