#include "pellion/cli/junit_report.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string_view>

#include "pellion/document/text_width.h"

namespace pellion {
namespace {

using SuiteOutcome = SuiteResult::Outcome;

/// Escapes printable text for XML.
std::string escaped(std::string_view text) {
  std::string copy;
  for (std::size_t at = 0; at < text.size(); ++at) {
    switch (text[at]) {
      case '&': copy += "&amp;"; break;
      case '<': copy += "&lt;"; break;
      case '>': copy += "&gt;"; break;
      case '"': copy += "&quot;"; break;
      case '\xEF':  // U+FFFE and U+FFFF are not XML characters
        copy += text.substr(at).starts_with("\xEF\xBF\xBE") || text.substr(at).starts_with("\xEF\xBF\xBF")
                    ? "\uFFFD"
                    : text.substr(at, 3);
        at += 2;
        break;
      default: copy += text[at];
    }
  }
  return copy;
}

std::string attribute(const char* name, std::string_view text) {
  return std::string(" ") + name + "=\"" + escaped(printable(text)) + '"';
}

std::string attribute(const char* name, std::chrono::duration<double> seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.6f", seconds.count());
  return attribute(name, text.data());
}

/// In UTC, without a time zone: the schemas allow none.
std::string timeText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  return text.data();
}

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 && name.front() != '\0' ? name.data() : "localhost";
}

/// "examples.scenarios.a_day": readers show the part before the last dot as the package.
std::string className(std::filesystem::path file) {
  std::string name;
  file.replace_extension();
  for (const std::filesystem::path& part : file) {
    if (part == "." || part == ".." || part == "/") continue;
    name.append(name.empty() ? "" : ".").append(part.string());
  }
  return name;
}

void writeCase(std::ostream& out, const SuiteResult& result) {
  out << "    <testcase" << attribute("name", result.name) << attribute("classname", className(result.file))
      << attribute("time", result.seconds);
  if (result.outcome == SuiteOutcome::passed) {
    out << "/>\n";
    return;
  }
  const bool hasFailed = result.outcome == SuiteOutcome::failed;
  const char* element = hasFailed ? "failure" : "error";
  out << ">\n      <" << element << attribute("message", result.message)
      << attribute("type", hasFailed ? "expectation" : "input") << '>'
      << escaped(hasFailed ? result.mismatches : printable(result.message)) << "</" << element
      << ">\n    </testcase>\n";
}

}  // namespace

JUnitReport::JUnitReport(const std::string& path) : file_(path, "--junit", OutputFile::toBeHandedOn) {}

void JUnitReport::write(std::span<const SuiteResult> results, std::chrono::duration<double> seconds) {
  const auto count = [&](SuiteOutcome outcome) {
    return std::to_string(std::ranges::count(results, outcome, &SuiteResult::outcome));
  };
  const auto others =
      static_cast<std::size_t>(std::ranges::count(results, SuiteOutcome::noScenario, &SuiteResult::outcome));
  std::ostream& out = file_.stream();
  // Some schemas require entries that others merely allow: an empty package, a property, both outputs.
  out << R"(<?xml version="1.0" encoding="UTF-8"?>)"
      << "\n<testsuites>\n  <testsuite" << attribute("name", "pellion") << R"( id="0" package="")"
      << attribute("timestamp", timeText(started_)) << attribute("hostname", hostName())
      << attribute("tests", std::to_string(results.size() - others))
      << attribute("failures", count(SuiteOutcome::failed)) << attribute("errors", count(SuiteOutcome::unusable))
      << attribute("time", seconds) << ">\n    <properties>\n      <property" << attribute("name", "version")
      << attribute("value", PELLION_VERSION) << "/>\n    </properties>\n";
  for (const SuiteResult& result : results) {
    if (result.outcome != SuiteOutcome::noScenario) writeCase(out, result);
  }
  out << "    <system-out/>\n    <system-err/>\n  </testsuite>\n</testsuites>\n";
  file_.close("report");
}

}  // namespace pellion
