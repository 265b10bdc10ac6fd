#pragma once

#include <charconv>
#include <stdexcept>
#include <string>
#include <string_view>

namespace bench {

/// The number that a program received for the argument `name`. Throws std::invalid_argument for anything except digits,
/// for a number below `least`, and for one that does not fit.
template <class Number>
Number numberFrom(std::string_view name, std::string_view text, Number least) {
  Number number{};
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) {
    throw std::invalid_argument(std::string(name) + ": " + std::string(text) + " is too large");
  }
  if (error != std::errc() || stop != text.data() + text.size() || number < least) {
    throw std::invalid_argument(std::string(name) + " must be a number of at least " + std::to_string(least) +
                                ", not \"" + std::string(text) + "\"");
  }
  return number;
}

}  // namespace bench
