#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/presentation.h"
#include "pellion/explain/configuration_judgement.h"
#include "pellion/explain/explain_happenings.h"
#include "pellion/explain/finding.h"

namespace pellion {

// Explains why a notification was not counted, opened the wrong URL or ended an application. Runs payloads through the
// real module on a simulated phone, reports what they lead to and points out problems.

/// What there is to say about one file.
struct Explanation {
  static constexpr std::size_t largestPayload = largestPushPayload;  ///< in bytes
  static constexpr std::size_t largestVoIPPayload = 5120;            ///< the same for a VoIP push

  std::string file;
  std::size_t size = 0;  ///< as compact JSON
  std::size_t limit = largestPayload;
  std::vector<Happening> happenings;  ///< the account; empty if none is asked for
  std::vector<Finding> findings;
  std::string unusable;  ///< why the file is no payload, without its place; the rest is empty then
  std::optional<Position> unusableAt = {};

  /// The same with the file, and the position where that is known.
  [[nodiscard]] std::string unusableText() const;
  [[nodiscard]] std::size_t count(Level level) const;
};

struct ExplainOptions {
  std::vector<std::string> urlSchemes = {};                  ///< schemes that the application declares
  std::optional<std::string> action = {};                    ///< report only this: "tap", "dismiss" or an identifier
  std::optional<ConfigurationJudgement> configuration = {};  ///< of the application
  bool isVoIP = false;
  /// The reader has the application's phone before them and no command line: remedies name what is there, and the
  /// schemes are all that the application declares.
  bool isForPage = false;
};

/// A phone on which payloads are explained, one after the other.
class Explainer {
 public:
  /// Throws InputError for a scheme that is none.
  explicit Explainer(ExplainOptions options);

  /// `withAccount` adds what the payload leads to. Throws InputError for a payload that cannot be read.
  Explanation explain(std::string_view file, std::string_view text, bool withAccount = true);

  /// The payload after all corrections that are certain, as a JSON document. Throws InputError as above.
  std::string corrected(std::string_view file, std::string_view text);
  /// The payload after the correction of one finding, which explain() numbers from 0. Throws InputError also if that
  /// finding does not exist or has no correction.
  std::string corrected(std::string_view file, std::string_view text, std::size_t finding);

 private:
  Problems problemsOf(Payload& payload);
  Problems observed(const Payload& payload);
  Problems actionProblems(const Payload& payload, const Happening& happening);
  Payload read(std::string_view file, std::string_view text) const;

  ExplainOptions options_;
  ExplainPhone phone_;
};

/// What happenings with the same outcome lead to, in a few words.
struct SummaryLine {
  std::string happenings;  ///< "tapped, button \"buy\" tapped"; empty if nothing can happen to the notification
  std::string outcome;     ///< "recorded, opens https://shop.example/sale"
  bool isGood = false;
};
std::vector<SummaryLine> summaryOf(const Explanation& explanation);

struct TextLayout {
  bool inColour = false;
  std::size_t width = 100;
};

/// For people: a line for each finding.
void writeFindings(std::ostream& out, const Explanation& explanation, const TextLayout& layout);
/// What the payload leads to in a few lines.
void writeSummary(std::ostream& out, const Explanation& explanation, const TextLayout& layout);
/// The full account.
void writeAccount(std::ostream& out, const Explanation& explanation, const TextLayout& layout);

}  // namespace pellion
