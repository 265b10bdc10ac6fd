#include <cctype>
#include <set>

#include "pellion/explain/explanation_reports.h"
#include "pellion/explain/finding_rules.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

/// A file's name as a relative or absolute URI reference.
std::string uriOf(std::string_view file) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view plain = "-._~/!$&'()*+,;=@";
  std::string uri = file.starts_with('/') ? "file://" : "";
  for (const char c : file) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 && (std::isalnum(byte) != 0 || plain.find(c) != std::string_view::npos)) {
      uri += c;
    } else {
      uri += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
  }
  return uri;
}

Value resultFor(const Explanation& explanation, const char* level, const std::string& code, const std::string& text,
                const Place& place) {
  const Value region = Value::dictionary({{"startLine", place.position.line}, {"startColumn", place.position.column}});
  const Value artifact = Value::dictionary({{"uri", uriOf(explanation.file)}});
  std::string path = place.path.empty() ? "$" : place.path;
  if (place.inText) path += ", in its text " + place.inText->path;
  const Value location =
      Value::dictionary({{"physicalLocation", Value::dictionary({{"artifactLocation", artifact}, {"region", region}})},
                         {"logicalLocations", Value::list({Value::dictionary({{"fullyQualifiedName", path}})})}});
  return Value::dictionary({{"ruleId", code},
                            {"level", level},
                            {"message", Value::dictionary({{"text", text}})},
                            {"locations", Value::list({location})}});
}

Value jsonOf(const FindingRule& rule) {
  const auto message = [](const std::string& text) { return Value::dictionary({{"text", text}}); };
  const std::string summary(rule.summary);
  const std::string remedy(rule.remedy);
  return Value::dictionary({{"id", rule.code},
                            {"shortDescription", message(summary)},
                            {"fullDescription", message(summary + ". " + std::string(rule.consequence))},
                            {"help", message(remedy + " See \"Findings\" in docs/explain.md.")}});
}

}  // namespace

std::string sarifReport(const std::vector<Explanation>& explanations) {
  constexpr const char* unusable = "unusable";
  std::set<std::string> codes;
  std::vector<Value> results;
  for (const Explanation& explanation : explanations) {
    if (!explanation.unusable.empty()) {
      codes.insert(unusable);
      results.push_back(resultFor(explanation, "error", unusable, explanation.unusable,
                                  {explanation.unusableAt.value_or(Position{}), "$", {}}));
    }
    for (const Finding& finding : explanation.findings) {
      codes.insert(finding.code);
      results.push_back(resultFor(explanation, nameOf(finding.level), finding.code,
                                  finding.text + "; " + finding.remedy, finding.place));
    }
  }
  std::vector<Value> rules;
  rules.reserve(codes.size());
  for (const std::string& code : codes) rules.push_back(jsonOf(ruleOf(code)));
  const Value driver = Value::dictionary(
      {{"name", "pellion explain"}, {"semanticVersion", PELLION_VERSION}, {"rules", Value::list(rules)}});
  const Value run = Value::dictionary({{"tool", Value::dictionary({{"driver", driver}})},
                                       {"columnKind", "unicodeCodePoints"},
                                       {"results", Value::list(results)}});
  return prettyJSON(Value::dictionary({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                                       {"version", "2.1.0"},
                                       {"runs", Value::list({run})}})) +
         '\n';
}

}  // namespace pellion
