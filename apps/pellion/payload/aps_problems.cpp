#include "pellion/payload/aps_problems.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "pellion/payload/envelope.h"
#include "pellion/payload/link_text.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/similar_name.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

bool isText(const Value& value) { return value.ifString().has_value(); }
bool isTextOrObject(const Value& value) { return isText(value) || value.ifDictionary() != nullptr; }
bool isCount(const Value& value) { return value.kind() == Value::Kind::integer && value.integer() >= 0; }
bool isOne(const Value& value) { return value.kind() == Value::Kind::integer && value.integer() == 1; }
bool isInterruptionLevel(const Value& value) {
  constexpr std::array<std::string_view, 4> levels{"passive", "active", "time-sensitive", "critical"};
  return isText(value) && std::ranges::find(levels, value.text()) != levels.end();
}
bool isScore(const Value& value) {
  const double score = value.kind() == Value::Kind::floating ? value.floating() : static_cast<double>(value.integer());
  return value.isNumber() && value.kind() != Value::Kind::boolean && score >= 0 && score <= 1;
}

std::optional<Value> asCount(const Value& value) {
  const std::string_view digits = value.text();
  std::uint32_t count = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  const bool isWhole = !digits.empty() && result.ec == std::errc() && result.ptr == digits.data() + digits.size();
  return isWhole ? std::optional(Value(count)) : std::nullopt;
}
std::optional<Value> asOne(const Value& value) {
  const bool meansYes = value == Value(1) || value == Value("1") || value == Value("true");
  return meansYes ? std::optional(Value(1)) : std::nullopt;
}
std::optional<Value> asNothing(const Value& /*value*/) { return std::nullopt; }

/// An entry of "aps": what it must be, and what the platform does otherwise.
struct PushEntry {
  std::string_view name;
  bool (*isRight)(const Value&);
  const char* expected;
  const char* otherwise;
  std::optional<Value> (*repaired)(const Value&) = asNothing;
  bool isTypical = false;  ///< its name at the top level of a payload is hardly the application's own
};

constexpr std::array pushEntries{
    PushEntry{"alert", isTextOrObject, "a text or an object", "so the platform shows nothing", asNothing, true},
    PushEntry{"badge", isCount, "a whole number from 0", "so the platform does not set the badge", asCount, true},
    PushEntry{"sound", isTextOrObject, "a text or an object", "so the platform plays nothing", asNothing, true},
    PushEntry{"content-available", isOne, "the number 1", "and only the number 1 wakes the application", asOne, true},
    PushEntry{"mutable-content", isOne, "the number 1", "and only the number 1 starts the notification extension",
              asOne, true},
    PushEntry{"category", isText, "a text", "so the notification has no buttons"},
    PushEntry{"thread-id", isText, "a text", "so the notification is not grouped", asNothing, true},
    PushEntry{"interruption-level", isInterruptionLevel, R"("passive", "active", "time-sensitive" or "critical")",
              "so the platform ignores it", asNothing, true},
    PushEntry{"relevance-score", isScore, "a number from 0 to 1", "so the platform ignores it", asNothing, true},
    PushEntry{"target-content-id", isText, "a text", "so the platform ignores it", asNothing, true},
};

/// What else an alert may have.
constexpr std::array<std::string_view, 10> alertNames{
    "title-loc-args", "subtitle-loc-args", "loc-args", "action-loc-key",  "launch-image",
    "summary-arg",    "summary-arg-count", "action",   "localized-title", "localized-body"};
constexpr std::array<std::string_view, 3> alertTexts{"title", "subtitle", "body"};
constexpr std::array<std::string_view, 6> shownTexts{"title",         "subtitle",         "body",
                                                     "title-loc-key", "subtitle-loc-key", "loc-key"};

bool isOneOrZero(const Value& value) {
  return value.kind() == Value::Kind::integer && (value.integer() == 0 || value.integer() == 1);
}

/// What an object under "sound" may have.
struct SoundEntry {
  std::string_view name;
  bool (*isRight)(const Value&);
  const char* expected;
};
constexpr std::array soundEntries{SoundEntry{"name", isText, "the name of a sound file, a text"},
                                  SoundEntry{"critical", isOneOrZero, "the number 0 or 1"},
                                  SoundEntry{"volume", isScore, "a number from 0 to 1"}};

/// A name without what people spell differently.
std::string plainName(std::string_view name) {
  std::string plain = value::asciiLowercase(name);
  std::erase_if(plain, [](char c) { return c == '_' || c == '-' || c == ' '; });
  return plain;
}

/// `shortest` is the least number of letters of a name with a slip.
const PushEntry* entryMeantBy(std::string_view name, std::size_t shortest = 5) {
  const std::string plain = plainName(name);
  const auto* const found = std::ranges::find_if(pushEntries, [&](const PushEntry& entry) {
    const std::string known = plainName(entry.name);
    return plain == known || (plain.size() >= shortest && plain.size() < 24 && known.size() > shortest &&
                              editDistance(plain, known) == 1);
  });
  return found == pushEntries.end() ? nullptr : found;
}

class PushCheck {
 public:
  explicit PushCheck(const Payload& payload) : payload_(payload), aps_(payload.value().find("aps")) {}

  Problems run() {
    if (!payload_.envelope.empty()) {
      add("provider-request", {}, payload_.envelope,
          "that payload is judged here; give it alone, as its correction does");
      problems_.back().level = Level::warning;
    }
    checkTarget();
    checkTopLevel();
    if (aps_ == nullptr) {
      checkAbsence();
    } else if (aps_->ifDictionary() == nullptr) {
      add("aps-not-an-object", {false, {"aps"}},
          "\"aps\" " + beingOf(*aps_) + ", so the platform drops the notification",
          R"(write an object: "aps": {"alert": "…"})");
      if (isText(*aps_)) correct({{false, {"aps"}, Value::dictionary({{"alert", *aps_}})}});
    } else {
      checkEntries();
      checkAlert();
      checkSound();
      checkPurpose();
    }
    return std::move(problems_);
  }

 private:
  void checkTarget() {
    const Value* target = payload_.value().find(simulatorTarget);
    const bool isSimulators = payload_.file.ends_with(".apns");
    if (target != nullptr && !isText(*target)) {
      add("simulator-target", {false, {std::string(simulatorTarget)}},
          inQuotes(simulatorTarget) + " " + beingOf(*target), "give it the application's bundle identifier, a text");
    } else if (target == nullptr && isSimulators) {
      add("simulator-target", {},
          "the file has no " + inQuotes(simulatorTarget) + ", so the simulator cannot tell which application it is for",
          "write " + inQuotes(simulatorTarget) +
              R"(: "com.example.shop", or name the application when you push the file)");
      problems_.back().level = Level::warning;
    } else if (target != nullptr && !isSimulators) {
      add("simulator-target", {false, {std::string(simulatorTarget)}, true},
          inQuotes(simulatorTarget) +
              " is for the simulator alone; a push service delivers it as data of the application",
          "remove it from what is sent, or name the file .apns");
      correct({{false, {std::string(simulatorTarget)}, std::nullopt}});
      problems_.back().level = Level::warning;
    }
  }

  /// Entries of "aps" that stand beside it.
  void checkTopLevel() {
    for (const Value::Entry& entry : payload_.value().entries()) {
      const std::string name(entry.key.text());
      const PushEntry* meant = entryMeantBy(name);
      if (meant == nullptr || !meant->isTypical || (aps_ != nullptr && aps_->find(meant->name) != nullptr)) continue;
      if (aps_ != nullptr && aps_->ifDictionary() == nullptr) continue;
      add("aps-key-misplaced", {false, {name}, true},
          inQuotes(name) + " stands beside \"aps\", where the platform does not read it",
          "move it into \"aps\" as " + inQuotes(meant->name));
      correct({{false, {name}, std::nullopt}, {false, {"aps", std::string(meant->name)}, entry.value}});
    }
  }

  void checkAbsence() {
    if (payload_.isVoIP) return;
    if (std::ranges::any_of(problems_, [](const Problem& each) { return each.code == "aps-key-misplaced"; })) return;
    for (const Value::Entry& entry : payload_.value().entries()) {
      const std::string name(entry.key.text());
      if (editDistance(plainName(name), "aps") > 1 || entry.value.ifDictionary() == nullptr) continue;
      add("aps-missing", {false, {name}, true}, "the payload has no \"aps\", and " + inQuotes(name) + " looks like it",
          "write \"aps\"");
      correct({{false, {name}, std::nullopt}, {false, {"aps"}, entry.value}});
      return;
    }
    add("aps-missing", {}, "the payload has no \"aps\", so the platform neither shows it nor wakes the application",
        R"(give it "aps": {"alert": "…"}, or "aps": {"content-available": 1} to wake the application)");
  }

  void checkEntries() {
    for (const Value::Entry& entry : aps_->entries()) {
      const std::string name(entry.key.text());
      const PushEntry* meant = entryMeantBy(name, 4);  // no application has names of its own here
      if (meant == nullptr) {
        checkMisplacedText(name, entry.value);
      } else if (meant->name != name) {
        add("aps-key-misspelt", {false, {"aps", name}, true},
            "the platform does not read " + inQuotes(name) + "; it looks like " + inQuotes(meant->name),
            "write " + inQuotes(meant->name));
        if (aps_->find(meant->name) == nullptr) {
          correct({{false, {"aps", name}, std::nullopt}, {false, {"aps", std::string(meant->name)}, entry.value}});
        }
      } else if (!meant->isRight(entry.value)) {
        addWrongValue(*meant, entry.value);
      }
    }
  }

  void addWrongValue(const PushEntry& entry, const Value& value) {
    const auto repaired = entry.repaired(value);
    add("aps-value", {false, {"aps", std::string(entry.name)}},
        inQuotes(entry.name) + " " + beingOf(value) + ", " + entry.otherwise,
        repaired ? "write " + inQuotes(entry.name) + ": " + compactJSON(*repaired)
                 : "give it " + std::string(entry.expected) + ", or leave it out");
    if (repaired) correct({{false, {"aps", std::string(entry.name)}, *repaired}});
    if (value.kind() == Value::Kind::boolean) problems_.back().level = Level::warning;
  }

  void checkMisplacedText(const std::string& name, const Value& value) {
    if (std::ranges::find(alertTexts, name) == alertTexts.end()) return;
    add("aps-key-misplaced", {false, {"aps", name}, true},
        inQuotes(name) + " stands in \"aps\" itself, where the platform does not read it",
        "move it into \"alert\": " + shortened("{" + inQuotes(name) + ": " + compactJSON(value) + "}"));
    const Value* alert = aps_->find("alert");
    if (alert == nullptr || alert->ifDictionary() != nullptr) {
      correct({{false, {"aps", name}, std::nullopt}, {false, {"aps", "alert", name}, value}});
    }
  }

  void checkAlert() {
    const Value* alert = aps_->find("alert");
    if (alert != nullptr && *alert == Value("")) {
      add("alert-without-text", {false, {"aps", "alert"}}, "\"alert\" is empty, so the platform shows nothing",
          R"(write "alert": {"title": "…", "body": "…"}, or leave it out)");
    }
    if (alert == nullptr || alert->ifDictionary() == nullptr) return;
    const std::size_t before = problems_.size();
    for (const Value::Entry& entry : alert->entries()) checkAlertName(std::string(entry.key.text()), entry.value);
    const bool isTextMisspelt = std::any_of(problems_.begin() + static_cast<std::ptrdiff_t>(before), problems_.end(),
                                            [](const Problem& each) { return each.code == "aps-key-misspelt"; });
    const auto shows = [&](std::string_view name) {
      const Value* text = alert->find(name);
      return text != nullptr && *text != Value("");
    };
    for (const std::string_view name : shownTexts) {
      const Value* text = alert->find(name);
      if (text == nullptr || isText(*text)) continue;
      add("aps-value", {false, {"aps", "alert", std::string(name)}},
          inQuotes(name) + " " + beingOf(*text) + ", so the platform does not show it", "give it a text");
    }
    if (isTextMisspelt || std::ranges::any_of(shownTexts, shows)) return;
    add("alert-without-text", {false, {"aps", "alert"}},
        "\"alert\" has no \"title\" and no \"body\", so the platform shows nothing",
        R"(write "alert": {"title": "…", "body": "…"})");
  }

  /// A name in the alert that belongs beside it, or that is misspelt.
  void checkAlertName(const std::string& name, const Value& value) {
    const auto isKnown = [&](const auto& names) { return std::ranges::find(names, name) != names.end(); };
    if (isKnown(shownTexts) || isKnown(alertNames)) return;
    const PushEntry* entry = entryMeantBy(name);
    if (entry != nullptr && entry->name != "alert") {
      add("aps-key-misplaced", {false, {"aps", "alert", name}, true},
          inQuotes(name) + " stands in \"alert\", where the platform does not read it",
          "move it into \"aps\" itself, as " + inQuotes(entry->name));
      if (aps_->find(entry->name) == nullptr) {
        correct({{false, {"aps", "alert", name}, std::nullopt}, {false, {"aps", std::string(entry->name)}, value}});
      }
      return;
    }
    const auto isMeant = [&](std::string_view known) {
      const std::string plain = plainName(name);
      return plain == plainName(known) || (known.size() >= 4 && editDistance(plain, plainName(known)) == 1);
    };
    const auto* meant = std::ranges::find_if(shownTexts, isMeant);
    std::string_view right = meant != shownTexts.end() ? *meant : std::string_view();
    if (right.empty()) {
      const auto* other = std::ranges::find_if(alertNames, isMeant);
      if (other == alertNames.end()) return;
      right = *other;
    }
    add("aps-key-misspelt", {false, {"aps", "alert", name}, true},
        "the platform does not read " + inQuotes(name) + " in \"alert\"; it looks like " + inQuotes(right),
        "write " + inQuotes(right));
    if (aps_->find("alert")->find(right) != nullptr) return;
    correct({{false, {"aps", "alert", name}, std::nullopt}, {false, {"aps", "alert", std::string(right)}, value}});
  }

  void checkSound() {
    const Value* sound = aps_->find("sound");
    if (sound == nullptr) return;
    for (const SoundEntry& entry : soundEntries) {
      const Value* value = sound->find(entry.name);
      if (value == nullptr || entry.isRight(*value)) continue;
      add("aps-value", {false, {"aps", "sound", std::string(entry.name)}},
          inQuotes(entry.name) + " of \"sound\" " + beingOf(*value) + ", so the platform plays nothing",
          "give it " + std::string(entry.expected) + ", or leave it out");
    }
  }

  void checkPurpose() {
    const auto has = [&](std::string_view name) { return aps_->find(name) != nullptr; };
    const bool isShown = has("alert") || has("sound") || has("badge");
    const Value* wakes = aps_->find("content-available");
    const bool isBroken =
        std::ranges::any_of(problems_, [](const Problem& each) { return each.code.starts_with("aps-"); });
    if (!isShown && wakes == nullptr && !isBroken && !payload_.isVoIP) {
      add("aps-empty", {false, {"aps"}},
          "\"aps\" has no alert, sound or badge to present and no \"content-available\", so nothing happens",
          R"(give it "alert": "…", or "content-available": 1)");
    }
    if (has("alert") && wakes != nullptr && *wakes == Value(1)) {
      add("alert-and-background", {false, {"aps", "content-available"}, true},
          "\"content-available\" stands beside an alert: the platform may wake the application and also present the "
          "notification, and each is recorded as a delivery",
          "send the alert and the push in the background separately, or expect two entries \"delivered\"");
      problems_.back().level = Level::warning;
    }
    if (has("mutable-content") && !has("alert") && !isBroken) {
      add("mutable-without-alert", {false, {"aps", "mutable-content"}, true},
          "\"mutable-content\" has no effect without an alert: the notification extension is not started",
          "add an \"alert\", or leave it out");
      problems_.back().level = Level::warning;
    }
  }

  void add(const char* code, Spot spot, std::string text, std::string remedy) {
    problems_.push_back({code, std::move(spot), std::move(text), std::move(remedy)});
  }
  void correct(std::vector<Edit> edits) { problems_.back().correction = std::move(edits); }

  const Payload& payload_;
  const Value* aps_;
  Problems problems_;
};

}  // namespace

Problems apsProblems(const Payload& payload) { return PushCheck(payload).run(); }

}  // namespace pellion
