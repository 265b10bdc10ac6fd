#include "pellion/explain/configuration_judgement.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <utility>

#include "pellion/document/application_description.h"
#include "pellion/document/configuration_check.h"
#include "pellion/payload/link_text.h"
#include "pellion/text/input_file.h"
#include "pellion/text/json_path.h"
#include "pellion/text/similar_name.h"
#include "services/core_library/configuration.h"
#include "services/property_list/property_list.h"
#include "services/url_components.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

/// An entry without which less is sent than expected.
struct NeededEntry {
  std::string_view name;
  const char* otherwise;
  const char* remedy;
  bool stopsStatistics;
  Level level = Level::error;
};

constexpr std::array neededEntries{
    NeededEntry{"JWT_SECRET", "so no request body can be signed", "give the secret that the backend verifies with",
                true},
    NeededEntry{"BEARER_TOKEN", "so nothing is sent", "give the token that the backend accepts", true},
    NeededEntry{"APP_VERSION_ID", "so nothing is sent", "give the application's version id", true},
    NeededEntry{"APP_META", "so no statistics are sent", R"(give an object such as {"name": "Shop", "version": "4.2"})",
                true},
    NeededEntry{"PORTAL_ID", "so the path of statistics has an empty part and that of a registration holds \"(null)\"",
                "give the portal's id", false},
    NeededEntry{"PROJECT_ID", "so the path of statistics has an empty part and that of a registration holds \"(null)\"",
                "give the project's id", false},
    NeededEntry{
        "APP_GROUP",
        "so there is no shared store: the badge is not kept, and what the notification extension records is not sent",
        "give the application's App Group", false, Level::warning},
    NeededEntry{"FRAMEWORK_ID", "so requests name no framework", "give the framework's id", false, Level::warning},
};

/// A remedy for a name that resembles one of a configuration.
std::optional<std::string> entryMeantBy(const std::string& name) {
  constexpr std::array<std::string_view, 12> others{
      "SERVER_URL",         "DOMAIN", "MAP_ID",    "AP_ID",   "DEVICE_ID",       "ANONYMOUS_ID", "ANONYMOUS_USER",
      "ANONYMOUS_TRACKING", "GZIP",   "LOG_LEVEL", "CA_FILE", "CLEAR_TEXT_HOSTS"};
  constexpr std::size_t most = 3;
  std::vector<std::string_view> known(others.begin(), others.end());
  for (const NeededEntry& entry : neededEntries) known.push_back(entry.name);
  std::string upper = name;
  std::ranges::transform(upper, upper.begin(), [](unsigned char c) {
    return c == '-' || c == ' ' ? '_' : static_cast<char>(std::toupper(c));
  });
  if (upper.size() > 40) return std::nullopt;
  const auto nearest =
      std::ranges::min_element(known, {}, [&](std::string_view each) { return editDistance(upper, each); });
  if (editDistance(upper, *nearest) > most) return std::nullopt;
  return "write " + std::string(*nearest);
}

/// The document as JSON, or as a property list in whose XML the names are looked for.
class ConfigurationFile {
 public:
  ConfigurationFile(std::string_view file, std::string_view text) : file_(file), text_(text) {
    const std::string_view start = withoutByteOrderMark(text).substr(0, text.find_first_not_of(" \t\r\n") + 1);
    if (text.starts_with("bplist") || start.ends_with('<')) {
      try {
        entries_.value = services::parsePropertyList(text, file);
      } catch (const services::PropertyListError& error) {
        throw InputError(std::string(error.what()) + "; give a configuration as JSON or as a property list");
      }
    } else {
      readDocument();
    }
    if (document_.find("aps") != nullptr || document_.find("addInfo") != nullptr) {
      throw errorAt(
          file, document_.position,
          "this is a payload, not a configuration; give the configuration after --configuration and the payload alone");
    }
    if (entries_.value.ifDictionary() == nullptr) {
      throw errorAt(
          file_, entries_.position,
          R"(a configuration is an object of entries such as {"PORTAL_ID": "portal-1"}, a scenario that has one, or a property list)");
    }
  }

  [[nodiscard]] const std::string& file() const { return file_; }
  [[nodiscard]] const Value& entries() const { return entries_.value; }
  [[nodiscard]] const JSONNode& document() const { return document_; }
  [[nodiscard]] bool isScenario() const { return isScenario_; }

  [[nodiscard]] Place place(std::string_view name) const {
    const bool exists = entries_.value.find(name) != nullptr;
    Place place{entries_.position, pathText(exists ? joined(prefix_, name) : prefix_), {}};
    const auto member = std::ranges::find(entries_.members, name, &JSONMember::name);
    if (member != entries_.members.end()) place.position = member->position;
    const std::size_t key = text_.find("<key>" + std::string(name) + "</key>");
    if (entries_.members.empty() && key != std::string_view::npos) {
      const std::string_view before = text_.substr(0, key);
      const std::size_t line = before.rfind('\n') + 1;
      place.position = {static_cast<int>(std::ranges::count(before, '\n')) + 1, static_cast<int>(key - line) + 1};
    }
    return place;
  }

 private:
  /// Only scenarios may have comments and surplus commas.
  void readDocument() {
    try {
      document_ = readJSON(file_, text_);
    } catch (const DocumentError&) {
      document_ = commentedScenario();
      if (document_.find("steps") == nullptr) throw;
    }
    isScenario_ = document_.find("steps") != nullptr;
    const JSONNode* configuration = document_.find("configuration");
    if (configuration == nullptr) {
      entries_ = isScenario_ ? defaultConfiguration() : document_;
    } else if (isScenario_ && configuration->value.ifString()) {
      readShared(*configuration);
    } else {
      entries_ = *configuration;
      prefix_ = {"configuration"};
    }
  }

  /// Without members for what is none: the error of the strict reader says more.
  [[nodiscard]] JSONNode commentedScenario() const {
    try {
      return readJSON(file_, text_, JSONForm::commented);
    } catch (const DocumentError&) {
      return {};
    }
  }

  void readShared(const JSONNode& name) {
    constexpr FileKind kind{"a configuration, a JSON object", "a configuration is a page"};
    const std::string path = (std::filesystem::path(file_).parent_path() / name.value.text()).string();
    try {
      entries_ = readJSON(path, readInputFile(path, kind));
    } catch (const InputError& error) {
      throw errorAt(file_, name.position, error.what());
    }
    file_ = path;
  }

  std::string file_;
  std::string_view text_;
  JSONNode document_;
  JSONNode entries_;
  JSONPath prefix_;
  bool isScenario_ = false;
};

class ConfigurationCheck {
 public:
  ConfigurationCheck(const ConfigurationFile& file, ConfigurationJudgement& judgement)
      : file_(file), judgement_(judgement) {}

  void run() {
    for (const Value::Entry& entry : file_.entries().entries()) checkEntry(entry);
    judgement_.phone.configuration = Value::dictionary(usable_);
    for (const NeededEntry& entry : neededEntries) {
      if (has(entry.name)) continue;
      const bool isGiven = !text(entry.name).empty() || file_.entries().find(entry.name) != nullptr;
      if (entry.stopsStatistics) stopSending(std::string(entry.name) + faultOf(entry.name));
      if (isGiven && isFound(entry.name)) continue;  // is wrong, which is said
      add("configuration-missing", entry.name,
          std::string(entry.name) + (isGiven ? " is empty, " : " is missing, ") + entry.otherwise, entry.remedy,
          entry.level);
    }
    checkServer();
    checkIdentity();
    checkToken();
    stopSending(fault_);
  }

 private:
  void checkToken() {
    if (value::asciiLowercase(text("BEARER_TOKEN")).starts_with("bearer ")) {
      add("configuration-token", "BEARER_TOKEN",
          R"(BEARER_TOKEN begins with "Bearer ", which the module adds itself, so requests carry it twice)",
          "give the token alone");
    }
  }

  [[nodiscard]] std::string text(std::string_view name) const {
    const Value* value = judgement_.phone.configuration.find(name);
    return value != nullptr ? std::string(value->text()) : std::string();
  }
  [[nodiscard]] bool has(std::string_view name) const {
    const Value* value = judgement_.phone.configuration.find(name);
    return value != nullptr && *value != Value("");
  }
  [[nodiscard]] bool isTrue(std::string_view name) const {
    const Value* value = judgement_.phone.configuration.find(name);
    return value != nullptr && value->ifBoolean().value_or(false);
  }
  [[nodiscard]] bool isFound(std::string_view name) const {
    return std::ranges::any_of(judgement_.findings, [&](const Finding& each) { return each.text.starts_with(name); });
  }

  void checkEntry(const Value::Entry& entry) {
    if (entry.value.isNull()) return;  // absent
    const std::string name(entry.key.text());
    if (name == "CA_FILE" && entry.value.ifString()) {
      if (const auto fault = certificateFault(file_.file(), entry.value.text())) addValue(name, *fault);
      return;
    }
    try {
      const Value alone = Value::dictionary({{"SERVER_URL", "http://127.0.0.1"}, {"JWT_SECRET", "-"}, entry});
      if (entry.value != Value("")) services::configurationFrom(alone, name);
      usable_.push_back(entry);
    } catch (const services::ConfigurationError& error) {
      addValue(name, error.problem());
    }
  }

  /// Adds the finding of an entry that cannot be used; the problem may have a remedy after a semicolon.
  void addValue(const std::string& name, const std::string& problem) {
    const std::size_t split = std::min(problem.find("; "), problem.size());
    const bool isUnknown = problem.find(" is not a known key") != std::string::npos;
    const std::string remedy =
        split < problem.size() ? problem.substr(split + 2) : "correct the entry, or leave it out";
    add(isUnknown ? "configuration-unknown" : "configuration-value", name, problem.substr(0, split),
        isUnknown ? entryMeantBy(name).value_or(remedy) : remedy);
  }

  /// A scenario may have placeholders for the built-in backend.
  [[nodiscard]] std::string serverURL() const {
    std::string url = text("SERVER_URL");
    if (!file_.isScenario()) return url;
    for (const auto& [placeholder, meaning] :
         {std::pair("{backend}", "http://127.0.0.1:80"), std::pair("{backendPort}", "80")}) {
      const std::size_t found = url.find(placeholder);
      if (found != std::string::npos) return url.replace(found, std::string_view(placeholder).size(), meaning);
    }
    return url;
  }

  void checkServer() {
    const std::string url = serverURL();
    if (url.empty()) {
      const bool isWrong = isFound("SERVER_URL");
      if (!isWrong && (file_.isScenario() || has("DOMAIN"))) return;
      stopSending("SERVER_URL" + faultOf("SERVER_URL"));
      if (isWrong) return;  // which is said
      add("configuration-missing", "SERVER_URL", "SERVER_URL and DOMAIN are missing, so requests have no host",
          "give the server's URL as SERVER_URL");
      return;
    }
    const auto parts = services::parseURLComponents(url);
    constexpr const char* otherwise = "SERVER_URL in the configuration makes every request fail";
    const bool isWeb = parts && (parts->scheme == "https" || parts->scheme == "http");
    if (!isWeb || parts->host.value_or("").empty()) {
      add("configuration-server", "SERVER_URL",
          "SERVER_URL is " + inQuotes(url) + ", which is no https URL with a host, so every request fails",
          "write it as in https://push.example.com");
      stopSending(otherwise);
    } else if (url.find_first_of("?#") != std::string::npos) {
      add("configuration-server", "SERVER_URL",
          "SERVER_URL has a query or a fragment, behind which the path of every request is lost",
          "give scheme, host and port alone");
      stopSending("SERVER_URL in the configuration loses the path of every request");
    } else if (url.ends_with('/')) {
      add("configuration-server", "SERVER_URL", "SERVER_URL ends with a slash, so every path begins with \"//sdk\"",
          "remove the slash at its end", Level::warning);
    } else if (parts->scheme == "http" && !allowsClearText(*parts->host)) {
      add("configuration-server", "SERVER_URL",
          "SERVER_URL is clear-text http to a host that is not allowed it, so every request fails with -1022",
          "use https, or name the host in CLEAR_TEXT_HOSTS");
      stopSending(otherwise);
    }
  }

  [[nodiscard]] bool allowsClearText(const std::string& host) const {
    if (host == "localhost" || host == "::1" || host.starts_with("127.")) return true;
    const Value* hosts = judgement_.phone.configuration.find("CLEAR_TEXT_HOSTS");
    return hosts != nullptr && std::ranges::any_of(hosts->elements(), [&](const Value& each) {
             return value::asciiLowercase(each.text()) == host;
           });
  }

  void checkIdentity() {
    const bool isAnonymous = isTrue("ANONYMOUS_USER");
    const bool isTracked = isTrue("ANONYMOUS_TRACKING");
    if (isAnonymous && isTracked) {
      if (!has("ANONYMOUS_ID")) {
        stopSending("ANONYMOUS_ID" + faultOf("ANONYMOUS_ID"));
        add("configuration-identity", "ANONYMOUS_USER",
            "the user is anonymous and ANONYMOUS_ID is missing, so requests come from \"(null)\"", "give ANONYMOUS_ID");
      }
      return;
    }
    if (!has("DEVICE_ID")) {
      add("configuration-identity", "DEVICE_ID", "DEVICE_ID is missing, so requests come from \"(null)\"",
          "give the device's id");
    }
    if (isAnonymous) {
      add("configuration-identity", "ANONYMOUS_USER",
          "the user is anonymous, but ANONYMOUS_TRACKING is not true, so requests carry the device's id",
          "set ANONYMOUS_TRACKING to true if the device is not to be identified", Level::warning);
    }
  }

  [[nodiscard]] std::string faultOf(std::string_view name) const {
    if (isFound(name)) return " in the configuration cannot be used";
    return file_.entries().find(name) != nullptr ? " is empty in the configuration"
                                                 : " is missing in the configuration";
  }

  void stopSending(std::string why) {
    if (judgement_.phone.whyNothingIsSent.empty()) judgement_.phone.whyNothingIsSent = std::move(why);
  }

  void add(const char* code, std::string_view name, std::string what, std::string remedy, Level level = Level::error) {
    if (level == Level::error && fault_.empty()) {
      const bool isWrong = has(name) || std::string_view(code) == "configuration-value";
      fault_ = std::string(name) + (isWrong ? " in the configuration cannot be used" : faultOf(name));
    }
    judgement_.findings.push_back({level, code, file_.place(name), std::move(what), std::move(remedy)});
  }

  const ConfigurationFile& file_;
  ConfigurationJudgement& judgement_;
  std::vector<Value::Entry> usable_;
  std::string fault_;  ///< of the first entry with an error
};

std::vector<std::string> schemesIn(const JSONNode& document, std::string_view name) {
  std::vector<std::string> schemes;
  const JSONNode* list = document.find(name);
  if (list == nullptr) return schemes;
  for (const JSONNode& scheme : list->elements) schemes.push_back(value::asciiLowercase(scheme.value.text()));
  return schemes;
}

}  // namespace

ConfigurationJudgement judgeConfiguration(std::string_view file, std::string_view text) {
  const ConfigurationFile configuration(file, text);
  ConfigurationJudgement judgement{.file = configuration.file(), .phone = {}, .knowsSchemes = false, .findings = {}};
  ConfigurationCheck(configuration, judgement).run();
  if (configuration.isScenario()) {
    const JSONNode& scenario = configuration.document();
    judgement.knowsSchemes = true;
    judgement.phone.urlSchemes = {.own = schemesIn(scenario, "urlSchemes"),
                                  .queried = schemesIn(scenario, "queriedSchemes"),
                                  .installed = schemesIn(scenario, "installedSchemes")};
    const JSONNode* application = scenario.find("application");
    judgement.phone.linkedBefore17 = application != nullptr && application->find("linkedBefore") != nullptr;
  }
  std::ranges::stable_sort(judgement.findings, {}, [](const Finding& each) {
    return std::pair(each.place.position.line, each.place.position.column);
  });
  return judgement;
}

}  // namespace pellion
