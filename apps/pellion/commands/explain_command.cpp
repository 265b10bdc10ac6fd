#include "pellion/commands/explain_command.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "pellion/explain/explain.h"
#include "pellion/explain/explanation_reports.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/input_error.h"
#include "pellion/text/input_file.h"
#include "pellion/text/json_reader.h"
#include "pellion/text/text_width.h"

namespace pellion {
namespace {

namespace fs = std::filesystem;

constexpr int nothingFound = 0;
constexpr int errorFound = 1;
constexpr int someUnusable = 2;

constexpr FileKind payloadFile{"a payload, a JSON object", "the push service takes 4096 bytes", 64U << 10};
constexpr FileKind configurationFile{"a configuration: JSON, a scenario or a property list",
                                     "a configuration is a page"};

/// A file to read, or "-" for standard input.
struct Input {
  std::string path;
  bool isNamed = true;  ///< by the caller, not only found in a directory
};

std::vector<Input> payloadsBelow(const fs::path& directory) {
  const auto isHidden = [](const fs::path& path) { return path.filename().native().starts_with('.'); };
  std::vector<Input> inputs;
  for (auto entry = fs::recursive_directory_iterator(directory); entry != fs::recursive_directory_iterator(); ++entry) {
    if (isHidden(entry->path())) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file() &&
               (entry->path().extension() == ".json" || entry->path().extension() == ".apns")) {
      inputs.push_back({entry->path().lexically_normal().string(), false});
    }
  }
  std::ranges::sort(inputs, {}, &Input::path);
  return inputs;
}

std::vector<Input> inputsOf(const ExplainArguments& arguments) {
  std::vector<Input> inputs;
  for (const std::string& path : arguments.paths) {
    std::error_code ignored;  // reading the file reports any error of the path
    if (path == "-" || !fs::is_directory(path, ignored)) {
      inputs.push_back({path});
      continue;
    }
    const std::vector<Input> below = payloadsBelow(path);
    if (below.empty())
      throw InputError(path + ": no .json or .apns file is there; give payloads, or directories that hold some");
    inputs.insert(inputs.end(), below.begin(), below.end());
  }
  if (inputs.empty()) inputs.push_back({"-"});
  std::vector<std::string> paths{arguments.configuration.value_or("")};
  for (const Input& input : inputs) paths.push_back(input.path);
  refuseStandardInputTwice(paths);
  return inputs;
}

std::string read(const std::string& path, const FileKind& kind, const Surroundings& surroundings) {
  if (path == "-" && surroundings.inputIsTerminal) {
    surroundings.err << "Waiting for " << kind.name << ", on standard input; Ctrl-D ends it.\n" << std::flush;
  }
  return readInputFile(path, kind);
}

std::string counted(std::size_t count, const char* name) {
  return std::to_string(count) + " " + name + (count == 1 ? "" : "s");
}

class ExplainCommand {
 public:
  ExplainCommand(const ExplainArguments& arguments, const Surroundings& surroundings)
      : arguments_(arguments), surroundings_(surroundings), inputs_(inputsOf(arguments)) {}

  int run() {
    ExplainOptions options{.urlSchemes = arguments_.urlSchemes,
                           .action = arguments_.action,
                           .configuration = {},
                           .isVoIP = arguments_.isVoIP};
    if (arguments_.configuration) {
      const std::string& path = *arguments_.configuration;
      options.configuration = judgeConfiguration(inputName(path), read(path, configurationFile, surroundings_));
      explanations_.push_back({.file = options.configuration->file,
                               .happenings = {},
                               .findings = options.configuration->findings,
                               .unusable = {}});
    }
    Explainer explainer(std::move(options));
    return arguments_.fixes ? fix(explainer) : report(explainer);
  }

 private:
  int fix(Explainer& explainer) {
    if (inputs_.size() > 1)
      throw InputError("--fix writes one payload, and " + std::to_string(inputs_.size()) + " are given; give one");
    const std::string& path = inputs_.front().path;
    const std::string name = inputName(path);
    const std::string corrected = explainer.corrected(name, read(path, payloadFile, surroundings_));
    surroundings_.out << corrected << '\n';
    // What is left, at its place in what was written.
    explanations_.push_back(explainer.explain(name, corrected, false));
    if (path != "-") explanations_.back().file += ", corrected";
    for (const Explanation& each : explanations_) writeFindings(surroundings_.err, each, {});
    return status();
  }

  int report(Explainer& explainer) {
    const bool isText = arguments_.format == "text";
    const bool isForReports = arguments_.format == "junit" || arguments_.format == "sarif";
    const bool withAccount = !isForReports && (arguments_.withAccount || inputs_.size() == 1);
    if (isText) write();
    for (const Input& input : inputs_) {
      if (explain(explainer, input, withAccount) && isText) write();
    }
    if (arguments_.format == "json") surroundings_.out << jsonReport(explanations_);
    if (arguments_.format == "junit") surroundings_.out << junitReport(explanations_);
    if (arguments_.format == "sarif") surroundings_.out << sarifReport(explanations_);
    if (isText) writeTotal();
    return status();
  }

  /// Returns false for another document that a directory happens to hold.
  bool explain(Explainer& explainer, const Input& input, bool withAccount) {
    try {
      explanations_.push_back(explained(explainer, input, withAccount));
      ++judged_;
      return true;
    } catch (const OtherDocument& error) {
      surroundings_.err << "not judged: " << printable(error.what()) << '\n';
      return false;
    }
  }

  Explanation explained(Explainer& explainer, const Input& input, bool withAccount) const {
    try {
      return explainer.explain(inputName(input.path), read(input.path, payloadFile, surroundings_), withAccount);
    } catch (const OtherDocument& error) {
      if (!input.isNamed) throw;
      return unusable(input, error.text(), error.position());
    } catch (const DocumentError& error) {
      return unusable(input, error.text(), error.position());
    } catch (const InputError& error) {
      std::string_view text = error.what();
      const std::string place = inputName(input.path) + ": ";
      if (text.starts_with(place)) text.remove_prefix(place.size());
      return unusable(input, text, std::nullopt);
    }
  }

  static Explanation unusable(const Input& input, std::string_view why, std::optional<Position> at) {
    return {.file = inputName(input.path),
            .happenings = {},
            .findings = {},
            .unusable = std::string(why),
            .unusableAt = at};
  }

  /// Writes the last explanation, if there is one.
  void write() {
    if (explanations_.empty()) return;
    const Explanation& explanation = explanations_.back();
    const TextLayout layout{surroundings_.inColour, surroundings_.columns};
    if (!explanation.unusable.empty()) {
      surroundings_.out.flush();
      surroundings_.err << "pellion: " << printable(explanation.unusableText()) << '\n';
      return;
    }
    writeFindings(surroundings_.out, explanation, layout);
    if (explanation.happenings.empty()) return;
    if (!explanation.findings.empty()) surroundings_.out << '\n';
    if (arguments_.withAccount || arguments_.action) {
      writeAccount(surroundings_.out, explanation, layout);
    } else {
      writeSummary(surroundings_.out, explanation, layout);
    }
    surroundings_.out << '\n';
  }

  void writeTotal() const {
    if (judged_ == 1 && unusable() == 1) return;
    surroundings_.out << counted(judged_, "payload") << ": " << counted(count(Level::error), "error") << ", "
                      << counted(count(Level::warning), "warning");
    if (unusable() > 0) surroundings_.out << ", " << unusable() << " unusable";
    surroundings_.out << '\n';
  }

  [[nodiscard]] std::size_t count(Level level) const {
    std::size_t sum = 0;
    for (const Explanation& each : explanations_) sum += each.count(level);
    return sum;
  }
  [[nodiscard]] std::size_t unusable() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(explanations_, [](const Explanation& each) { return !each.unusable.empty(); }));
  }
  [[nodiscard]] int status() const {
    if (unusable() > 0) return someUnusable;
    return count(Level::error) > 0 ? errorFound : nothingFound;
  }

  const ExplainArguments& arguments_;
  const Surroundings& surroundings_;
  std::vector<Input> inputs_;
  std::vector<Explanation> explanations_;
  std::size_t judged_ = 0;
};

}  // namespace

int runExplain(const ExplainArguments& arguments, const Surroundings& surroundings) {
  surroundings.cleanUpOnSignal(&TemporaryDirectory::removeAll);
  return ExplainCommand(arguments, surroundings).run();
}

}  // namespace pellion
