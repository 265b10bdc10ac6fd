#include "pellion/suite/suite_reporter.h"

#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "pellion/text/json_writer.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

using SuiteOutcome = SuiteResult::Outcome;

/// For people: what went wrong stands at the end, one line for each difference.
class TextReporter : public SuiteReporter {
 public:
  TextReporter(const Surroundings& surroundings, bool isVerbose) : surroundings_(surroundings), isVerbose_(isVerbose) {}

  void show(const SuiteResult& result) override {
    if (isVerbose_ && result.timeline) out() << result.timeline(surroundings_.inColour);
    out() << result.warnings;
    if (isVerbose_ && result.outcome == SuiteOutcome::noScenario) {
      out() << "not run: " << printable(result.file) << " has no \"steps\"\n";
    }
    out().flush();
    if (result.hasPassed()) return;
    for (const std::string& text : problemTexts(result)) {
      problems_.push_back({result.outcome, problemPlace(result) + ": " + text});
    }
  }

  void end(const SuiteCounts& counts) override {
    showProblems();
    showCounts(counts);
  }

 protected:
  [[nodiscard]] std::ostream& out() const { return surroundings_.out; }

  /// What is unusable goes to the error output, as with the other commands.
  void showProblems() const {
    for (const auto& [outcome, line] : problems_) {
      if (outcome == SuiteOutcome::failed) {
        out() << line << '\n' << std::flush;
      } else {
        surroundings_.err << "pellion: " << line << '\n';
      }
    }
  }

  void showCounts(const SuiteCounts& counts) const {
    out() << counts.passed << " passed, " << counts.failed << " failed";
    if (counts.unusable > 0) out() << ", " << counts.unusable << " unusable";
    if (counts.notRun > 0) out() << ", " << counts.notRun << " not run";
    out() << '\n';
  }

 private:
  struct Problem {
    SuiteOutcome outcome;
    std::string line;
  };
  const Surroundings& surroundings_;
  const bool isVerbose_;
  std::vector<Problem> problems_;
};

std::string problemsJoined(const SuiteResult& result, const char* separator) {
  std::string all;
  for (const std::string& text : problemTexts(result)) all.append(all.empty() ? "" : separator).append(text);
  return all;
}

/// As TextReporter, and one annotation for each file. Names from scenarios must not act as commands: until the token,
/// which they cannot know, GitHub takes none.
class GitHubReporter : public TextReporter {
 public:
  GitHubReporter(const Surroundings& surroundings, bool isVerbose) : TextReporter(surroundings, isVerbose) {
    std::random_device random;
    for (int i = 0; i < 4; ++i) token_ += std::to_string(random());
    out() << "::stop-commands::" << token_ << '\n';
  }

  void show(const SuiteResult& result) override {
    TextReporter::show(result);
    if (result.hasPassed()) return;
    annotations_ += "::error file=" + property(result.file);
    if (result.position) {
      annotations_ +=
          ",line=" + std::to_string(result.position->line) + ",col=" + std::to_string(result.position->column);
    }
    annotations_ += ",title=" + property(result.name) + "::" + data(problemsJoined(result, "\n")) + '\n';
  }

  void end(const SuiteCounts& counts) override {
    showProblems();
    out() << "::" << token_ << "::\n" << annotations_;
    showCounts(counts);
  }

 private:
  static std::string withEscapes(std::string_view text, std::string_view special) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string copy;
    for (const char character : text) {
      if (special.find(character) == std::string_view::npos) {
        copy += character;
      } else {
        const auto code = static_cast<unsigned char>(character);
        copy.append({'%', digits[code >> 4], digits[code & 15]});
      }
    }
    return copy;
  }
  static std::string data(std::string_view text) { return withEscapes(text, "%\r\n"); }
  static std::string property(std::string_view text) { return withEscapes(printable(text), "%\r\n:,"); }

  std::string token_;
  std::string annotations_;
};

/// TAP, version 14: a test point for each file, with a YAML block for what went wrong. Every JSON text is a YAML text.
class TAPReporter : public SuiteReporter {
 public:
  TAPReporter(const Surroundings& surroundings, bool isVerbose) : out_(surroundings.out), isVerbose_(isVerbose) {
    out_ << "TAP version 14\n";
  }

  void show(const SuiteResult& result) override {
    out_ << (result.hasPassed() ? "" : "not ") << "ok " << ++count_ << " - " << description(result.file);
    if (result.name != result.file) out_ << ": " << description(result.name);
    if (result.outcome == SuiteOutcome::noScenario) out_ << " # SKIP has no \"steps\"";
    if (result.outcome == SuiteOutcome::notRun) out_ << " # SKIP not run after the first failure";
    out_ << '\n';
    if (!result.hasPassed()) showProblems(result);
    out_.flush();
  }

  void end(const SuiteCounts& /*counts*/) override { out_ << "1.." << count_ << '\n'; }

 private:
  static std::string description(std::string_view text) {
    std::string copy;
    for (const char character : printable(text)) {
      if (character == '#' || character == '\\') copy += '\\';
      copy += character;
    }
    return copy;
  }
  static std::string quoted(std::string_view text) { return compactJSON(platform::Value(printable(text))); }

  void showProblems(const SuiteResult& result) {
    out_ << "  ---\n  message: " << quoted(problemsJoined(result, "; "))
         << "\n  severity: " << (result.outcome == SuiteOutcome::failed ? "fail" : "error")
         << "\n  at:\n    file: " << quoted(result.file) << '\n';
    if (result.position) {
      out_ << "    line: " << result.position->line << "\n    column: " << result.position->column << '\n';
    }
    if (isVerbose_ && result.timeline) showTimeline(result.timeline(false));
    out_ << "  ...\n";
  }

  void showTimeline(const std::string& timeline) {
    out_ << "  timeline:\n";
    std::istringstream lines(timeline);
    for (std::string line; std::getline(lines, line);) out_ << "    - " << quoted(line) << '\n';
  }

  std::ostream& out_;
  const bool isVerbose_;
  std::size_t count_ = 0;
};

class Lister : public TextReporter {
 public:
  explicit Lister(const Surroundings& surroundings) : TextReporter(surroundings, false) {}

  void show(const SuiteResult& result) override {
    if (result.outcome == SuiteOutcome::passed)
      out() << printable(result.file) << '\t' << printable(result.name) << '\n';
    if (result.outcome != SuiteOutcome::noScenario) TextReporter::show(result);
  }
  void end(const SuiteCounts& /*counts*/) override { showProblems(); }
};

}  // namespace

std::unique_ptr<SuiteReporter> suiteReporter(std::string_view format, const Surroundings& surroundings,
                                             bool isVerbose) {
  if (format == "tap") return std::make_unique<TAPReporter>(surroundings, isVerbose);
  if (format == "github") return std::make_unique<GitHubReporter>(surroundings, isVerbose);
  return std::make_unique<TextReporter>(surroundings, isVerbose);
}

std::unique_ptr<SuiteReporter> suiteLister(const Surroundings& surroundings) {
  return std::make_unique<Lister>(surroundings);
}

}  // namespace pellion
