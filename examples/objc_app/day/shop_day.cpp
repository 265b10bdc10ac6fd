#include "objc_app/day/shop_day.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "pellion/run/event_details.h"
#include "pellion/text/input_error.h"
#include "pellion/text/json_writer.h"
#include "platform/json_serialization.h"
#include "platform/user_notifications.h"
#include "services/property_list/property_list.h"

using pellion::InputError;
using platform::Value;

namespace {

constexpr std::chrono::seconds longestWait{5};  // a longer time passes at once: nothing of the module waits so long

const Value& at(const Value& dictionary, std::string_view key) {
  static const Value null;
  const Value* value = dictionary.find(key);
  return value != nullptr ? *value : null;
}

bool is(const PhoneEvent& event, std::string_view actor, std::string_view what) {
  return event.actor == actor && event.what == what;
}

/// What follows from the fact that these are other programs, or is shown on request alone.
bool isLeftOut(const PhoneEvent& event) {
  return event.actor == "network" || event.what == "synchronized" || is(event, "module", "log");
}

/// "[dataUsingEncoding:] unrecognized selector": the classes of numbers and texts are each platform's own.
Value comparableReason(const Value& reason) {
  constexpr std::string_view end = ": unrecognized selector sent to instance";
  const std::string text = reason.description();
  const std::size_t space = text.find(' ');
  const std::size_t found = text.find(end);
  if (found == std::string::npos || space > found) return reason;
  return '[' + text.substr(space + 1, found - space - 1) + " unrecognized selector";
}

/// Without the port that the system chose and the program's name.
Value comparable(const Value& details) {
  std::vector<Value::Entry> entries;
  for (const auto& [name, value] : details.entries()) {
    if (name == Value("reason")) {
      entries.push_back({name, comparableReason(value)});
      continue;
    }
    if (name != Value("headers")) {
      entries.push_back({name, value});
      continue;
    }
    std::vector<Value> fields;
    for (const Value& field : value.elements()) {
      const Value& fieldName = field.elements()[0];
      if (fieldName != Value("Host") && fieldName != Value("User-Agent")) fields.push_back(field);
    }
    entries.push_back({name, Value::list(fields)});
  }
  return Value::dictionary(entries);
}

/// As JSON, where the order of names and the kind of a number do not count.
std::string textOf(const Value& value) {
  if (value.kind() != Value::Kind::dictionary && value.kind() != Value::Kind::list) return pellion::compactJSON(value);
  std::vector<std::string> parts;
  for (const Value& element : value.elements()) parts.push_back(textOf(element));
  for (const auto& [name, entry] : value.entries()) parts.push_back(name.description() + ": " + textOf(entry));
  if (value.kind() == Value::Kind::dictionary) std::ranges::sort(parts);
  std::string text;
  for (const std::string& part : parts) text.append(text.empty() ? "" : ", ").append(part);
  return '{' + text + '}';
}

constexpr std::string_view playedSteps[] = {"say",
                                            "launch",
                                            "token",
                                            "deliver",
                                            "deliverInBackground",
                                            "tap",
                                            "respond",
                                            "dismiss",
                                            "goal",
                                            "endSession",
                                            "badge",
                                            "extension",
                                            "activate",
                                            "advance",
                                            "expect",
                                            "setNotificationDelegate"};

void requirePlayed(const std::string& file, const pellion::Step& step) {
  const std::string_view name = step.kind->name;
  if (std::ranges::find(playedSteps, name) != std::end(playedSteps)) return;
  std::string known;
  for (const std::string_view each : playedSteps) known.append(known.empty() ? "" : ", ").append(each);
  throw pellion::errorAt(
      file, step.position,
      "the shop in Objective-C does not play the step \"" + std::string(name) + "\"; it plays " + known);
}

/// The shop is an application of its own, so it cannot be what any scenario describes.
void requirePlayed(const pellion::Scenario& scenario) {
  if (!scenario.application.missingClasses.empty()) {
    throw InputError(scenario.file +
                     ": the shop in Objective-C has all classes of the platform; leave out \"missingClasses\"");
  }
  std::size_t launches = 0;
  for (const pellion::Step& step : scenario.steps) {
    requirePlayed(scenario.file, step);
    const std::string_view name = step.kind->name;
    if (name == "setNotificationDelegate" && step.argument.value != Value("MemberNotificationDelegate")) {
      throw pellion::errorAt(scenario.file, step.argument.position,
                             "the shop in Objective-C has no such delegate to set; it has MemberNotificationDelegate");
    }
    if (name == "launch" && ++launches > 1) {
      throw pellion::errorAt(scenario.file, step.position,
                             "the shop in Objective-C is launched once; remove this step");
    }
  }
}

Value actionIdentifier(const Value& with) {
  if (with == Value("tap")) return platform::UNNotificationDefaultActionIdentifier;
  if (with == Value("dismiss")) return platform::UNNotificationDismissActionIdentifier;
  return with;
}

/// Adds an entry at the front.
Value with(Value::Entry first, const Value& dictionary) {
  std::vector<Value::Entry> entries{std::move(first)};
  entries.insert(entries.end(), dictionary.entries().begin(), dictionary.entries().end());
  return Value::dictionary(entries);
}

/// An event of the system for the shop, as UISystemMain.h lists them.
using Command = std::vector<Value::Entry>;

Command action(const char* name, const Value& sender) {
  return {{"event", "action"}, {"action", name}, {"sender", sender}};
}
Command token(const Value& details, const Value& /*payload*/) {
  return {{"event", "token"}, {"token", at(details, "token").description()}};
}
Command delivered(const Value& details, const Value& payload) {
  return {{"event", at(details, "in")}, {"payload", payload}};
}
Command responded(const Value& details, const Value& payload) {
  return {{"event", "response"}, {"payload", payload}, {"action", actionIdentifier(at(details, "with"))}};
}
Command goal(const Value& details, const Value& /*payload*/) {
  return action("count:", with({"action", "event"}, details));
}
Command sessionEnded(const Value& details, const Value& /*payload*/) {
  return action("count:", with({"action", "session"}, details));
}
Command setsDelegate(const Value& /*details*/, const Value& /*payload*/) { return action("signIn:", nullptr); }
Command setsBadge(const Value& details, const Value& /*payload*/) {
  const bool isApplications = at(details, "through") == Value("application");
  return action(isApplications ? "fillBasket:" : "order:", at(details, "count"));
}
Command active(const Value& /*details*/, const Value& /*payload*/) { return {{"event", "active"}}; }

/// What the scenario, the system or the user did on the simulated phone, and what the shop receives for it.
constexpr struct {
  std::string_view actor;
  std::string_view what;
  Command (*command)(const Value& details, const Value& payload);
} repeatedEvents[] = {
    {"platform", "token", token},
    {"platform", "delivered", delivered},
    {"user", "responded", responded},
    {"core library", "goal", goal},
    {"core library", "session ended", sessionEnded},
    {"app", "sets delegate", setsDelegate},
    {"app", "sets badge", setsBadge},
    {"app", "active", active},
};

}  // namespace

ShopDay::ShopDay(const pellion::Scenario& scenario, std::filesystem::path bundle, std::ostream& out, bool inColour)
    : scenario_(scenario),
      bundle_(std::move(bundle)),
      timeline_(out, {.inColour = inColour, .abridges = true}),
      out_(out),
      backend_({.secret = std::string(at(scenario.configuration.value, "JWT_SECRET").text()),
                .notify =
                    [this](std::string_view what, const Value& details) {
                      events_.add({"backend", std::string(what), details});
                    },
                .keepsRequests = false}) {
  requirePlayed(scenario);
  pellion::TemporaryDirectory::write([this] { configure(); });
}

void ShopDay::configure() const {
  services::writePropertyList(storage_.path() / "PellionInfo.plist",
                              with({"SERVER_URL", backend_.url()}, scenario_.configuration.value));
  const std::filesystem::path defaults = storage_.path() / "defaults";
  const std::filesystem::path file = storage_.path() / "GNUstep.conf";
  std::filesystem::create_directory(defaults);
  std::ofstream(file) << "GNUSTEP_USER_DEFAULTS_DIR=" << defaults.string() << '\n';
  // Foundation reads no file that others could have written.
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

bool ShopDay::play(const std::vector<PhoneEvent>& phoneDay) {
  for (const PhoneEvent& event : phoneDay) {
    if (isLeftOut(event)) continue;
    time_ = std::chrono::duration<double>(event.time).count();
    if (event.actor == "scenario" || event.actor == "expectation") {
      if (is(event, "scenario", "passed")) end();
      const bool claimsSuccess = event.actor == "expectation" || event.what == "passed";
      if (differences_ == 0 || !claimsSuccess) show(event, event.details);
    } else if (!repeat(event)) {
      follow(event);
    }
  }
  conclude();
  return differences_ == 0;
}

void ShopDay::conclude() {
  const std::string events = std::to_string(compared_) + (compared_ == 1 ? " event" : " events") + " compared";
  out_ << (differences_ == 0 ? "✓ the same as on the simulated phone: " + events
                             : "✗ not the same as on the simulated phone: " + events + ", " +
                                   std::to_string(differences_) + (differences_ == 1 ? " difference" : " differences"))
       << '\n'
       << std::flush;
}

/// Does again what the scenario, the system or the user did; returns false for what this led to.
bool ShopDay::repeat(const PhoneEvent& event) {
  const auto* const row =
      std::ranges::find_if(repeatedEvents, [&](const auto& each) { return is(event, each.actor, each.what); });
  const bool isRow = row != std::end(repeatedEvents);
  const bool isLaunch = is(event, "app", "launched");
  const bool isExtension = is(event, "extension", "leaves");
  if (!isRow && !isLaunch && !isExtension && !is(event, "clock", "advances")) return false;
  show(event, event.details);
  if (isRow) {
    send(row->command(event.details, payloadOf(event)));
  } else if (isLaunch) {
    launch();
  } else if (isExtension) {
    runExtension(event);
  } else {
    advance(event);
  }
  return true;
}

void ShopDay::launch() {
  shop_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{bundle_ / "Shop"},
      std::map<std::string, std::string>{{"SHOP_CONFIGURATION", storage_.path() / "PellionInfo.plist"},
                                         {"SHOP_STORAGE", storage_.path() / "keychain"},
                                         {"GNUSTEP_CONFIG_FILE", storage_.path() / "GNUstep.conf"}},
      [this](const std::string& line) { receive(line); });
  awaitDone();
}

void ShopDay::runExtension(const PhoneEvent& event) {
  std::vector<std::string> command{bundle_ / "PlugIns" / "ShopExtension"};
  for (const Value& entry : at(event.details, "entries").elements()) {
    command.push_back(at(entry, "notificationid").description() + ':' + at(entry, "timestamp").description());
  }
  ChildProcess extension(command, {{"GNUSTEP_CONFIG_FILE", storage_.path() / "GNUstep.conf"}},
                         [this](const std::string& line) { receive(line); });
  if (const int status = extension.wait(); status != 0) differ("the extension ends with " + std::to_string(status));
}

void ShopDay::advance(const PhoneEvent& event) {
  const Value& seconds = at(event.details, "seconds");
  const double duration = seconds.floating() + static_cast<double>(seconds.integer());
  time_ += duration;
  if (duration <= std::chrono::duration<double>(longestWait).count()) {
    send({{"event", "wait"}, {"seconds", seconds}});
  }
}

void ShopDay::send(std::vector<Value::Entry> entries) {
  if (!shop_) throw InputError("the day does not begin with the step \"launch\"; begin it so");
  entries.push_back({"time", time_});
  shop_->write(pellion::compactJSON(Value::dictionary(entries)));
  awaitDone();
}

void ShopDay::awaitDone() {
  if (!events_.take("system", "done")) throw InputError("the shop does not respond; see its messages above");
}

/// Of the event's notification, if it has one. Only the first event of a notification has the payload.
const Value& ShopDay::payloadOf(const PhoneEvent& event) {
  const std::string name = at(event.details, "notification").description();
  if (const Value* payload = event.details.find("payload")) payloads_.insert_or_assign(name, *payload);
  return payloads_[name];
}

/// Waits for what the phone's event was, and compares.
void ShopDay::follow(const PhoneEvent& event) {
  ++compared_;
  const auto found = events_.take(event.actor, event.what);
  if (!found) return differ("missing: " + event.actor + ", " + event.what + " " + textOf(event.details));
  const Value readable =
      scenario_.redaction.value(pellion::readableDetails({event.time, found->actor, found->what, found->details}));
  show(event, readable);
  const std::string wanted = textOf(comparable(event.details));
  const std::string got = textOf(comparable(readable));
  if (wanted != got) differ("on the simulated phone: " + wanted + "\nhere:                   " + got);
}

void ShopDay::show(const PhoneEvent& event, const Value& details) {
  timeline_({event.time, event.actor, event.what, details});
}

void ShopDay::differ(const std::string& text) {
  ++differences_;
  out_ << "✗ " << text << '\n' << std::flush;
}

void ShopDay::receive(const std::string& line) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(line.data());
  const auto event = platform::JSONSerialization::JSONObjectWithData({bytes, line.size()}, nullptr);
  const bool isEvent = event && event->find("actor") != nullptr && event->find("what") != nullptr;
  if (!isEvent) return events_.add({"shop", "writes", line});
  events_.add({std::string(at(*event, "actor").text()), std::string(at(*event, "what").text()), at(*event, "details")});
}

void ShopDay::end() {
  shop_->write(R"({"event": "end"})");
  if (const int status = shop_->wait(); status != 0) differ("the shop ends with " + std::to_string(status));
  events_.close();
  for (const auto& [actor, what, details] : events_.takeAll()) {
    if (actor == "module" && what == "log") continue;
    differ("only here: " + actor + ", " + what + " " + textOf(scenario_.redaction.value(details)));
  }
  shop_.reset();
}
