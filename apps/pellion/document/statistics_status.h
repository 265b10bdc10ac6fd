#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/value.h"

namespace pellion {

/// The statuses of statistics entries.
inline constexpr std::array<std::pair<std::int64_t, std::string_view>, 3> statusNames{
    {{4, "delivered"}, {5, "responded"}, {6, "converted"}}};

inline std::vector<std::string_view> allStatusNames() {
  std::vector<std::string_view> names;
  std::ranges::transform(statusNames, std::back_inserter(names), &std::pair<std::int64_t, std::string_view>::second);
  return names;
}

/// The name of the status of a statistics entry; empty if this is no such entry, or its status has no name.
inline std::string_view statusName(const platform::Value& entry) {
  const platform::Value* status = entry.find("status");
  if (status == nullptr || entry.find("notificationid") == nullptr) return {};
  const auto named = std::ranges::find_if(
      statusNames, [&](const auto& each) { return status->isNumber() && *status == platform::Value(each.first); });
  return named == statusNames.end() ? std::string_view() : named->second;
}

/// The statistics entries anywhere in the details of an event, in their order.
inline std::vector<platform::Value> statisticsIn(const platform::Value& details) {
  std::vector<platform::Value> found;
  std::vector<platform::Value> unread{details};
  while (!unread.empty()) {
    const platform::Value next = std::move(unread.back());
    unread.pop_back();
    if (!statusName(next).empty()) found.push_back(next);
    const auto elements = next.elements();
    unread.insert(unread.end(), elements.rbegin(), elements.rend());
    for (std::size_t left = next.entries().size(); left > 0; --left) unread.push_back(next.entries()[left - 1].value);
  }
  return found;
}

}  // namespace pellion
