#include "pellion/suite/junit_report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <ostream>
#include <string_view>
#include <system_error>

#include "pellion/text/input_error.h"
#include "pellion/text/text_width.h"
#include "pellion/text/xml_text.h"

namespace pellion {
namespace {

using SuiteOutcome = SuiteResult::Outcome;

std::string attribute(const char* name, std::string_view text) { return xmlAttribute(name, text); }

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

/// The differences first, because some readers show only the beginning.
std::string failureText(const SuiteResult& result) {
  std::string text;
  for (const auto& [place, wanted, found] : result.mismatches) {
    text += printable(place) + "\n  wanted: " + printable(wanted) + "\n  found:  " + printable(found) + '\n';
  }
  return text + '\n' + result.timeline(false);
}

void writeCase(std::ostream& out, const SuiteResult& result) {
  out << "    <testcase" << attribute("name", result.name) << attribute("classname", className(result.file))
      << attribute("file", result.file);
  if (result.position) out << attribute("line", std::to_string(result.position->line));
  out << attribute("time", result.seconds);
  if (result.outcome == SuiteOutcome::passed) {
    out << "/>\n";
    return;
  }
  if (result.outcome == SuiteOutcome::notRun) {
    out << ">\n      <skipped/>\n    </testcase>\n";
    return;
  }
  const bool hasFailed = result.outcome == SuiteOutcome::failed;
  const char* element = hasFailed ? "failure" : "error";
  const std::string problem = problemPlace(result) + ": " + problemTexts(result).front();
  out << ">\n      <" << element << attribute("message", problem)
      << attribute("type", hasFailed ? "expectation" : "input") << '>'
      << xmlEscaped(hasFailed ? failureText(result) : problem) << "</" << element << ">\n    </testcase>\n";
}

void writeSuite(std::ostream& out, std::span<const SuiteResult> results, std::chrono::system_clock::time_point started,
                std::chrono::duration<double> seconds) {
  const SuiteCounts counts = countResults(results);
  // Some schemas require entries that others merely allow: an empty package, a property, both outputs.
  out << R"(<?xml version="1.0" encoding="UTF-8"?>)"
      << "\n<testsuites>\n  <testsuite" << attribute("name", "pellion") << R"( id="0" package="")"
      << attribute("timestamp", timeText(started)) << attribute("hostname", hostName())
      << attribute("tests", std::to_string(counts.passed + counts.failed + counts.unusable + counts.notRun))
      << attribute("failures", std::to_string(counts.failed)) << attribute("errors", std::to_string(counts.unusable))
      << attribute("skipped", std::to_string(counts.notRun)) << attribute("time", seconds)
      << ">\n    <properties>\n      <property" << attribute("name", "version") << attribute("value", PELLION_VERSION)
      << "/>\n    </properties>\n";
  for (const SuiteResult& result : results) {
    if (result.outcome != SuiteOutcome::noScenario) writeCase(out, result);
  }
  out << "    <system-out/>\n    <system-err/>\n  </testsuite>\n</testsuites>\n";
}

std::string cannotBeWritten(const std::filesystem::path& path, int error) {
  return path.string() + ": " + std::strerror(error) + "; give --junit a file that can be written";
}

/// Creates the file with the rights that the umask leaves, or those of the file that it will replace.
void create(const std::filesystem::path& path, const std::filesystem::path& replaced) {
  struct stat old {};
  const bool exists = stat(replaced.c_str(), &old) == 0;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (descriptor < 0) throw InputError(cannotBeWritten(replaced, errno));
  if (exists) fchmod(descriptor, old.st_mode & ACCESSPERMS);
  close(descriptor);
}

/// The process's number keeps runs beside each other apart.
std::filesystem::path temporaryFor(std::filesystem::path path) { return path += ".new-" + std::to_string(getpid()); }

}  // namespace

/// A link stays a link: what it leads to is replaced.
JUnitReport::JUnitReport(const std::string& path) : path_(path) {
  std::error_code ignored;
  if (std::filesystem::exists(path_, ignored)) path_ = std::filesystem::canonical(path_, ignored);
  replaces_ = std::filesystem::is_regular_file(path_, ignored) || !std::filesystem::exists(path_, ignored);
  if (std::filesystem::is_directory(path_, ignored)) throw InputError(cannotBeWritten(path_, EISDIR));
  if (!replaces_) return;
  const std::filesystem::path temporary = temporaryFor(path_);
  create(temporary, path_);
  std::filesystem::remove(temporary, ignored);
}

void JUnitReport::write(std::span<const SuiteResult> results, std::chrono::duration<double> seconds) const {
  const std::filesystem::path written = replaces_ ? temporaryFor(path_) : path_;
  if (replaces_) create(written, path_);
  std::ofstream file(written, std::ios::binary | std::ios::trunc);
  if (!file) throw InputError(cannotBeWritten(path_, errno));
  writeSuite(file, results, started_, seconds);
  file.close();
  std::error_code error;
  if (file && replaces_) std::filesystem::rename(written, path_, error);
  if (file && !error) return;
  if (replaces_) std::filesystem::remove(written, error);
  throw InputError(path_.string() + ": not all of the report could be written; is the disk full?");
}

}  // namespace pellion
