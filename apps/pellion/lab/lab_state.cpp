#include "pellion/lab/lab_state.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "pellion/document/presentation.h"
#include "pellion/document/statistics_status.h"
#include "pellion/steps/extension_step.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

constexpr std::size_t mostNotifications = 50;
constexpr std::size_t mostURLs = 20;

const Value& entry(const Value& details, std::string_view name) {
  static const Value absentEntry;
  const Value* found = details.find(name);
  return found == nullptr ? absentEntry : *found;
}

std::string textOr(const Value& value, std::string_view otherwise = "") {
  return std::string(value.ifString() ? value.text() : otherwise);
}

/// A text of the alert, or the key of a localized one, as the application's resources are not known here.
std::string alertText(const Value& payload, std::string_view name, std::string_view key) {
  const Value& alert = entry(entry(payload, "aps"), "alert");
  if (alert.ifString()) return name == "body" ? std::string(alert.text()) : std::string();
  return textOr(entry(alert, name), textOr(entry(alert, key)));
}

Value asValue(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

/// The configuration's decision under one of the keys that a step "consent" overrides.
Value::Entry decision(const Value& configuration, std::string_view name, std::string_view key) {
  const Value& value = entry(configuration, key);
  const bool isIdentifier = name.ends_with("Id");
  if (isIdentifier) return {name, value.ifString() ? value : Value()};
  return {name, value == Value(true)};
}

void append(std::vector<Value>& list, const Value& element, std::size_t most) {
  list.push_back(element);
  if (list.size() > most) list.erase(list.begin());
}

}  // namespace

/// What an event changes.
struct LabState::Row {
  std::string_view actor;
  std::string_view what;
  void (LabState::*change)(const host::Event& event);
};
const LabState::Row LabState::rows[] = {{"app", "launched", &LabState::onLaunch},
                                        {"app", "ended", &LabState::onEnd},
                                        {"app", "active", &LabState::onActive},
                                        {"platform", "delivered", &LabState::onDelivery},
                                        {"platform", "shown without application", &LabState::onDelivery},
                                        {"platform", "presents", &LabState::onPresentation},
                                        {"user", "responded", &LabState::onResponse},
                                        {"user", "consent", &LabState::onConsent},
                                        {"platform", "token", &LabState::onToken},
                                        {"platform", "opened URL", &LabState::onOpenedURL},
                                        {"platform", "set badge", &LabState::onBadge},
                                        {"shared store", "stored", &LabState::onStored},
                                        {"network", "sends", &LabState::onStatistics},
                                        {"app", "sets delegate", &LabState::onDelegate},
                                        {"app", "rewired", &LabState::onKit},
                                        {"app", "registers interceptor", &LabState::onInterceptor},
                                        {"app", "unregisters interceptor", &LabState::onInterceptorGone},
                                        {"user", "dismissed without application", &LabState::onDismissal},
                                        {"backend", "configured", &LabState::onBackend},
                                        {"backend", "answer", &LabState::onAnswer}};

LabState::LabState(const Scenario& scenario)
    : firstDelegate_(scenario.application.delegate),
      firstNotificationDelegate_(scenario.application.notificationDelegate) {
  const Value& configuration = scenario.configuration.value;
  consent_ = {decision(configuration, "anonymousUser", "ANONYMOUS_USER"),
              decision(configuration, "anonymousTracking", "ANONYMOUS_TRACKING"),
              decision(configuration, "anonymousId", "ANONYMOUS_ID"), decision(configuration, "deviceId", "DEVICE_ID")};
}

void LabState::observe(const host::Event& event) {
  const std::lock_guard lock(mutex_);
  for (const Row& row : rows) {
    if (row.actor == event.actor && row.what == event.what) (this->*row.change)(event);
  }
}

void LabState::onLaunch(const host::Event& /*event*/) {
  isOpen_ = true;
  delegate_ = asValue(firstDelegate_);
  notificationDelegate_ = asValue(firstNotificationDelegate_);
  interceptors_.clear();
  kits_.clear();
}

void LabState::onEnd(const host::Event& /*event*/) {
  isOpen_ = false;
  delegate_ = notificationDelegate_ = Value();
  interceptors_.clear();
  kits_.clear();
}

void LabState::onActive(const host::Event& /*event*/) { isOpen_ = true; }

LabState::Shown* LabState::find(const std::string& name) {
  const auto found = std::ranges::find(notifications_, name, &Shown::name);
  return found == notifications_.end() ? nullptr : &*found;
}

/// A platform counts what the sender asks for, when it shows the notification.
void LabState::countBadge(const Value& payload) {
  const Value& badge = entry(entry(payload, "aps"), "badge");
  if (badge.kind() == Value::Kind::integer) badge_ = badge.integer();
}

void LabState::onDelivery(const host::Event& event) {
  const std::string name = textOr(entry(event.details, "notification"), "without a name");
  if (const Value* payload = event.details.find("payload")) payloads_[name] = *payload;
  const Value& payload = payloads_[name];
  isOpen_ = entry(event.details, "in") == Value("foreground");
  if (!isOpen_) countBadge(payload);
  if (!isOpen_ && !showsAlert(payload)) return;
  Shown shown{.name = name,
              .payload = payload,
              .buttons = {},
              .time = std::chrono::duration<double>(event.time).count(),
              .presented = Value::list({})};
  if (const Shown* earlier = find(name)) shown.buttons = earlier->buttons;
  if (!isOpen_) shown.presented = Value::list({"banner", "list"});
  notifications_.insert(notifications_.begin(), std::move(shown));
  if (notifications_.size() > mostNotifications) notifications_.pop_back();
}

void LabState::onPresentation(const host::Event& event) {
  if (notifications_.empty()) return;
  Shown& shown = notifications_.front();
  shown.presented = entry(event.details, "options");
  if (std::ranges::find(shown.presented.elements(), Value("badge")) != shown.presented.elements().end()) {
    countBadge(shown.payload);
  }
}

/// One that was tapped stays on the page, to be tapped again.
void LabState::onResponse(const host::Event& event) {
  if (entry(event.details, "with") == Value("dismiss")) removeLatest(entry(event.details, "notification"));
}
void LabState::onDismissal(const host::Event& event) { removeLatest(entry(event.details, "notification")); }

void LabState::removeLatest(const Value& name) {
  const auto found = std::ranges::find(notifications_, textOr(name), &Shown::name);
  if (found != notifications_.end()) notifications_.erase(found);
}

void LabState::onConsent(const host::Event& event) {
  for (Value::Entry& each : consent_) {
    if (const Value* decided = event.details.find(each.key.text())) each.value = *decided;
  }
}

void LabState::onToken(const host::Event& event) { token_ = entry(event.details, "token"); }
void LabState::onOpenedURL(const host::Event& event) { append(opened_, entry(event.details, "url"), mostURLs); }
void LabState::onBadge(const host::Event& event) { badge_ = entry(event.details, "number").integer(); }

void LabState::onStored(const host::Event& event) {
  if (entry(event.details, "key") == Value(badgeKey)) sharedBadge_ = entry(event.details, "value");
}

void LabState::Count::add(std::string_view status) {
  for (const auto& [name, count] :
       {std::pair("delivered", &delivered), std::pair("responded", &responded), std::pair("converted", &converted)}) {
    if (status == name) ++*count;
  }
}

Value LabState::Count::document() const {
  return Value::dictionary({{"delivered", delivered}, {"responded", responded}, {"converted", converted}});
}

void LabState::onStatistics(const host::Event& event) {
  for (const Value& statistics : statisticsIn(event.details)) {
    const std::string id = compactJSON(entry(statistics, "notificationid"));
    auto known = std::ranges::find(byNotification_, id, &std::pair<std::string, Count>::first);
    if (known == byNotification_.end()) known = byNotification_.insert(known, {id, {}});
    known->second.add(statusName(statistics));
    total_.add(statusName(statistics));
  }
}

void LabState::onDelegate(const host::Event& event) {
  (entry(event.details, "of") == Value("application") ? delegate_ : notificationDelegate_) =
      entry(event.details, "name");
}

void LabState::onKit(const host::Event& event) { kits_.push_back(entry(event.details, "name")); }

void LabState::onInterceptor(const host::Event& event) {
  if (entry(event.details, "isRefused") != Value(true)) interceptors_.push_back(entry(event.details, "name"));
}

void LabState::onInterceptorGone(const host::Event& event) { std::erase(interceptors_, entry(event.details, "name")); }

void LabState::onBackend(const host::Event& event) {
  connection_ = event.details.find("connection") == nullptr ? Value() : event.details;
  if (!connection_.isNull()) return;
  if (const Value* times = event.details.find("times")) {
    nextAnswers_.push_back({event.details, times->integer()});
  } else {
    nextAnswers_.clear();
    standingAnswer_ = event.details;
  }
}

void LabState::onAnswer(const host::Event& /*event*/) {
  if (!nextAnswers_.empty() && --nextAnswers_.front().left == 0) nextAnswers_.pop_front();
}

Value LabState::backend() const {
  if (!connection_.isNull()) return connection_;
  if (nextAnswers_.empty()) return standingAnswer_;
  const auto& [step, left] = nextAnswers_.front();
  std::vector<Value::Entry> entries(step.entries().begin(), step.entries().end());
  entries.push_back({"times", left});  // the last value of a repeated key stays
  return Value::dictionary(entries);
}

std::optional<std::pair<std::string, Value>> LabState::latest() {
  const std::lock_guard lock(mutex_);
  if (notifications_.empty()) return std::nullopt;
  return std::pair(notifications_.front().name, notifications_.front().payload);
}

void LabState::setButtons(const std::string& notification, const std::vector<std::string>& actions) {
  const std::lock_guard lock(mutex_);
  if (Shown* shown = find(notification)) shown->buttons = actions;
}

void LabState::setOpen(bool isOpen) {
  const std::lock_guard lock(mutex_);
  isOpen_ = isOpen;
}

bool LabState::isOpen() const {
  const std::lock_guard lock(mutex_);
  return isOpen_;
}

std::vector<Value::Entry> LabState::entries() const {
  const std::lock_guard lock(mutex_);
  std::vector<Value> notifications;
  for (const Shown& shown : notifications_) {
    std::vector<Value> buttons;
    for (const std::string& action : shown.buttons) {
      buttons.push_back(Value::dictionary({{"action", action}, {"title", action}}));
    }
    notifications.push_back(Value::dictionary({{"name", shown.name},
                                               {"title", alertText(shown.payload, "title", "title-loc-key")},
                                               {"subtitle", alertText(shown.payload, "subtitle", "subtitle-loc-key")},
                                               {"body", alertText(shown.payload, "body", "loc-key")},
                                               {"buttons", Value::list(buttons)},
                                               {"time", shown.time},
                                               {"shown", shown.presented}}));
  }
  std::vector<Value> counts;
  for (const auto& [id, count] : byNotification_) {
    counts.push_back(Value::dictionary({{"id", id}, {"count", count.document()}}));
  }
  return {{"open", isOpen_},
          {"badge", badge_ ? Value(*badge_) : Value()},
          {"sharedBadge", sharedBadge_},
          {"token", token_},
          {"consent", Value::dictionary(consent_)},
          {"opened", Value::list(opened_)},
          {"notifications", Value::list(notifications)},
          {"total", total_.document()},
          {"byNotification", Value::list(counts)},
          {"applicationDelegate", delegate_},
          {"notificationDelegate", notificationDelegate_},
          {"interceptors", Value::list(interceptors_)},
          {"kits", Value::list(kits_)},
          {"backend", backend()}};
}

}  // namespace pellion
