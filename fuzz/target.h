#pragma once

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "platform/value.h"

// A target is one function over an input of any bytes, with the rules that hold for every input. libFuzzer calls it
// with generated inputs; replay.cpp calls it with the stored inputs.

namespace fuzz {

/// Each *_fuzz.cpp defines it. An exception that leaves it is a finding.
void run(std::string_view input);

/// If the rule does not hold, prints it with the details and ends the program: the input is a finding.
template <class... Details>
void require(bool holds, std::string_view rule, const Details&... details) {
  if (holds) return;
  std::cerr << "Broken rule: " << rule << '\n';
  ((std::cerr << "  " << details << '\n'), ...);
  std::abort();
}

inline platform::ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string_view textOf(platform::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Requires that an error's text is one line that begins with the file's name.
inline void requireOneLineAbout(std::string_view file, std::string_view text) {
  require(text.size() > file.size() + 2 && text.starts_with(file) && text[file.size()] == ':' &&
              text.find('\n') == std::string_view::npos,
          "an error is one line that names the file", text);
}

}  // namespace fuzz
