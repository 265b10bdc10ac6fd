#include <sstream>

#include "pellion/explain/explanation_reports.h"
#include "pellion/text/xml_text.h"

namespace pellion {
namespace {

std::string linesOf(const Explanation& explanation) {
  std::ostringstream lines;
  writeFindings(lines, explanation, {});
  return lines.str();
}

/// The text of the first error.
std::string messageFor(const Explanation& explanation) {
  for (const Finding& finding : explanation.findings) {
    if (finding.level == Level::error) return finding.text + "; " + finding.remedy;
  }
  return {};
}

void writeCase(std::ostream& out, const Explanation& explanation) {
  out << "    <testcase" << xmlAttribute("name", explanation.file) << R"( classname="pellion.explain" time="0")";
  if (!explanation.unusable.empty()) {
    out << ">\n      <error" << xmlAttribute("message", explanation.unusableText()) << R"( type="input"/>)"
        << "\n    </testcase>\n";
  } else if (explanation.findings.empty()) {
    out << "/>\n";
  } else if (explanation.count(Level::error) == 0) {
    out << ">\n      <system-out>" << xmlEscaped(linesOf(explanation)) << "</system-out>\n    </testcase>\n";
  } else {
    out << ">\n      <failure" << xmlAttribute("message", messageFor(explanation)) << R"( type="finding">)"
        << xmlEscaped(linesOf(explanation)) << "</failure>\n    </testcase>\n";
  }
}

}  // namespace

std::string junitReport(const std::vector<Explanation>& explanations) {
  std::size_t failures = 0;
  std::size_t errors = 0;
  std::ostringstream cases;
  for (const Explanation& explanation : explanations) {
    if (!explanation.unusable.empty()) {
      ++errors;
    } else if (explanation.count(Level::error) > 0) {
      ++failures;
    }
    writeCase(cases, explanation);
  }
  std::ostringstream out;
  out << R"(<?xml version="1.0" encoding="UTF-8"?>)"
      << "\n<testsuites>\n  <testsuite"
      << R"( name="pellion explain" id="0" package="")" << xmlAttribute("tests", std::to_string(explanations.size()))
      << xmlAttribute("failures", std::to_string(failures)) << xmlAttribute("errors", std::to_string(errors))
      << R"( time="0">)"
      << "\n    <properties>\n      <property" << xmlAttribute("name", "version")
      << xmlAttribute("value", PELLION_VERSION) << "/>\n    </properties>\n"
      << cases.str() << "    <system-out/>\n    <system-err/>\n  </testsuite>\n</testsuites>\n";
  return out.str();
}

}  // namespace pellion
