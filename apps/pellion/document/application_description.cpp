#include "pellion/document/application_description.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <utility>

#include "pellion/text/similar_name.h"
#include "platform/ui_application.h"
#include "platform/user_notifications.h"

namespace pellion {
namespace {

using platform::Value;

constexpr CallbackKind callbacks[] = {
    {"token", "application:didRegisterForRemoteNotificationsWithDeviceToken:", "the device token"},
    {"failure", "application:didFailToRegisterForRemoteNotificationsWithError:", "the failed registration"},
    {"background",
     "application:didReceiveRemoteNotification:fetchCompletionHandler:", "the notification in the background"},
    {"foreground",
     "userNotificationCenter:willPresentNotification:withCompletionHandler:", "the notification in the foreground"},
    {"response", "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:", "the response"},
};

// Tables of the meaning of each word in a scenario.
template <class T>
using Word = std::pair<std::string_view, T>;

constexpr Word<Behaviour::Answers> answers[] = {{"at once", Behaviour::Answers::atOnce},
                                                {"later", Behaviour::Answers::later},
                                                {"twice", Behaviour::Answers::twice},
                                                {"never", Behaviour::Answers::never}};
constexpr Word<std::uint64_t> fetchResults[] = {{"newData", platform::UIBackgroundFetchResultNewData},
                                                {"noData", platform::UIBackgroundFetchResultNoData},
                                                {"failed", platform::UIBackgroundFetchResultFailed}};
constexpr Word<std::uint64_t> presentations[] = {{"banner", platform::UNNotificationPresentationOptionBanner},
                                                 {"list", platform::UNNotificationPresentationOptionList},
                                                 {"sound", platform::UNNotificationPresentationOptionSound},
                                                 {"badge", platform::UNNotificationPresentationOptionBadge}};
constexpr std::string_view protocols[] = {"UIApplicationDelegate", "UNUserNotificationCenterDelegate"};
constexpr std::string_view platformClasses[] = {"UIApplication",         "UNUserNotificationCenter",
                                                "UNNotification",        "UNNotificationRequest",
                                                "UNNotificationContent", "UNNotificationResponse"};

std::string_view text(std::string_view word) { return word; }
template <class T>
std::string_view text(const Word<T>& word) {
  return word.first;
}

template <const auto& words>
bool isWord(const Value& value) {
  return value.ifString() && std::ranges::any_of(words, [&](const auto& word) { return text(word) == value.text(); });
}

template <class T, std::size_t count>
T meaning(const Word<T> (&words)[count], const Value& value) {
  return std::ranges::find(words, value.text(), &Word<T>::first)->second;
}

bool isEmptyObject(const Value& value) { return isObject(value) && value.entries().empty(); }
bool isResult(const Value& value) { return isWord<fetchResults>(value) || isIntegerIn(value, 0, INT32_MAX); }

/// The prefixes of the platform's and the module's classes are reserved, because no class can be made a second time.
bool isClassName(const Value& value) {
  const std::string_view text = value.text();
  const auto isPart = [](unsigned char character) { return std::isalnum(character) != 0 || character == '_'; };
  constexpr std::string_view taken[] = {"NS", "UI", "UN", "PL"};
  return value.ifString() && !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0 &&
         std::ranges::all_of(text, isPart) &&
         std::ranges::none_of(taken, [&](std::string_view prefix) { return text.starts_with(prefix); });
}

const Shape answersShape{R"("at once", "later", "twice" or "never")", isWord<answers>};
const Shape presentationShape{R"("banner", "list", "sound" or "badge")", isWord<presentations>};
const Shape protocolShape{R"("UIApplicationDelegate" or "UNUserNotificationCenterDelegate")", isWord<protocols>};
const Shape protocolsShape{"a list of protocols", isList, {}, &protocolShape};

const Shape unansweredShape{"{}, because this callback takes no answer", isEmptyObject};
const Field backgroundFields[] = {{"answers", &answersShape}, {"result", &fetchResultShape}};
const Field foregroundFields[] = {{"answers", &answersShape}, {"shows", &presentationsShape}};
const Field responseFields[] = {{"answers", &answersShape}};
const Shape backgroundShape{"an object", isObject, backgroundFields};
const Shape foregroundShape{"an object", isObject, foregroundFields};
const Shape responseShape{"an object", isObject, responseFields};
const Field callbackFields[] = {{callbacks[0].name, &unansweredShape},
                                {callbacks[1].name, &unansweredShape},
                                {callbacks[2].name, &backgroundShape},
                                {callbacks[3].name, &foregroundShape},
                                {callbacks[4].name, &responseShape}};
const Shape behavioursShape{"an object of callbacks and their behaviour", isObject, callbackFields};

bool isDelegate(const Value& value) {
  return isObject(value) && (value.find("class") == nullptr || value.entries().size() == 1);
}
const Field delegateFields[] = {{"class", &shapes::text},
                                {"declares", &protocolsShape},
                                {"implements", &behavioursShape},
                                {"inherits", &shapes::text},
                                {"forwardsTo", &shapes::text}};
const Shape delegateShape{"an object that describes the delegate's class, or one with \"class\" alone", isDelegate,
                          delegateFields};

constexpr std::size_t mostDelegates = 64;
void checkDelegates(std::string_view file, const JSONNode& delegates) {
  for (const auto& [position, name, node] : delegates.members) {
    checkShape(file, {position, name, {}, {}}, classNameShape, "the name of a delegate");
  }
}

const Shape missingClassShape{
    "UIApplication, UNUserNotificationCenter, UNNotification, UNNotificationRequest, UNNotificationContent or "
    "UNNotificationResponse",
    isWord<platformClasses>};
const Shape missingClassesShape{"a list of classes of the platform", isList, {}, &missingClassShape};
const Shape linkedBeforeShape{"17, the release that changed how URLs are parsed",
                              [](const Value& value) { return isIntegerIn(value, 17, 17); }};
const Field applicationFields[] = {{"delegate", &shapes::textOrNull},
                                   {"notificationDelegate", &shapes::textOrNull},
                                   {"missingClasses", &missingClassesShape},
                                   {"startsService", &shapes::boolean},
                                   {"linkedBefore", &linkedBeforeShape}};

Behaviour readBehaviour(const Value& text) {
  Behaviour behaviour;
  if (const Value* how = text.find("answers")) behaviour.answers = meaning(answers, *how);
  if (const Value* result = text.find("result")) {
    behaviour.value =
        result->ifString() ? meaning(fetchResults, *result) : static_cast<std::uint64_t>(result->integer());
  }
  if (const Value* shows = text.find("shows")) behaviour.value = presentationOptions(*shows);
  return behaviour;
}

std::vector<std::string> textsIn(const JSONNode& list) {
  std::vector<std::string> texts;
  for (const JSONNode& element : list.elements) texts.emplace_back(element.value.text());
  return texts;
}

std::optional<std::string> nameIn(const JSONNode& node, std::string_view field) {
  const JSONNode* name = node.find(field);
  return name == nullptr || name->value.isNull() ? std::nullopt : std::optional<std::string>(name->value.text());
}

DelegateDescription readDelegate(const JSONNode& node) {
  DelegateDescription delegate{.classOf = nameIn(node, "class"),
                               .inherits = nameIn(node, "inherits"),
                               .forwardsTo = nameIn(node, "forwardsTo"),
                               .declares = {std::begin(protocols), std::end(protocols)},
                               .implements = {}};
  if (const JSONNode* declares = node.find("declares")) delegate.declares = textsIn(*declares);
  for (std::size_t i = 0; i < std::size(callbacks); ++i) {
    const Value* implements = node.value.find("implements");
    const Value* behaviour = implements == nullptr ? nullptr : implements->find(callbacks[i].name);
    if (behaviour != nullptr) delegate.implements.emplace(static_cast<Callback>(i), readBehaviour(*behaviour));
  }
  return delegate;
}

constexpr std::string_view links[] = {"class", "inherits", "forwardsTo"};

/// One delegate leads to another if it is its instance, inherits from it or forwards to it; none may lead to itself.
bool leadsTo(const JSONNode& delegates, const std::string& from, const std::string& to, std::set<std::string>& seen) {
  if (from == to) return true;
  const JSONNode* node = delegates.find(from);
  if (node == nullptr || !seen.insert(from).second) return false;
  return std::ranges::any_of(links, [&](std::string_view link) {
    const auto next = nameIn(*node, link);
    return next && leadsTo(delegates, *next, to, seen);
  });
}

void checkLinks(std::string_view file, const JSONNode& delegates, const ApplicationDescription& application) {
  for (const JSONMember& delegate : delegates.members) {
    for (const std::string_view link : links) {
      const JSONNode* name = delegate.value.find(link);
      if (name == nullptr) continue;
      checkDelegateName(file, application, *name);
      std::set<std::string> seen;
      if (!leadsTo(delegates, std::string(name->value.text()), delegate.name, seen)) continue;
      throw errorAt(file, name->position,
                    "\"" + std::string(link) + "\" leads from \"" + delegate.name +
                        "\" back to itself; name a delegate that does not lead to it");
    }
  }
}

}  // namespace

const Shape classNameShape{"a letter, then letters, digits and _; the prefixes NS, UI, UN and PL are reserved",
                           isClassName};
const Shape fetchResultShape{R"("newData", "noData", "failed" or an integer from 0 to 2147483647)", isResult};
const Shape presentationsShape{"a list of presentation options", isList, {}, &presentationShape};
const Shape delegatesShape{
    "an object of at most 64 delegates by name",
    [](const Value& value) { return isObject(value) && value.entries().size() <= mostDelegates; },
    {},
    &delegateShape,
    checkDelegates};
const Shape applicationShape{"an object", isObject, applicationFields};

std::span<const CallbackKind> callbackKinds() { return callbacks; }

Value fetchResultName(std::uint64_t result) {
  const auto word = std::ranges::find(fetchResults, result, &Word<std::uint64_t>::second);
  return word == std::end(fetchResults) ? Value(static_cast<std::int64_t>(result)) : Value(word->first);
}

Value presentationNames(std::uint64_t options) {
  std::vector<Value> names;
  for (const auto& [name, option] : presentations) {
    if ((options & option) != 0) names.emplace_back(name);
  }
  return Value::list(names);
}

std::uint64_t presentationOptions(const Value& names) {
  std::uint64_t options = 0;
  for (const Value& name : names.elements()) options |= meaning(presentations, name);
  return options;
}

ApplicationDescription readApplication(std::string_view file, const JSONNode* delegates, const JSONNode* application) {
  ApplicationDescription description;
  if (delegates != nullptr) {
    for (const JSONMember& member : delegates->members) {
      description.delegates.emplace(member.name, readDelegate(member.value));
    }
  }
  const DelegateDescription usual = readDelegate({});
  description.delegates.try_emplace(*description.delegate, usual);
  const auto [center, isNew] = description.delegates.try_emplace(*description.notificationDelegate, usual);
  if (isNew) {
    center->second.implements = {{Callback::foreground, {.value = platform::UNNotificationPresentationOptionBanner}},
                                 {Callback::response, {}}};
  }
  if (delegates != nullptr) checkLinks(file, *delegates, description);
  if (application == nullptr) return description;
  for (auto [field, name] : {std::pair("delegate", &description.delegate),
                             std::pair("notificationDelegate", &description.notificationDelegate)}) {
    const JSONNode* node = application->find(field);
    if (node == nullptr) continue;
    checkDelegateName(file, description, *node);
    *name = nameIn(*application, field);
  }
  if (const JSONNode* missing = application->find("missingClasses")) description.missingClasses = textsIn(*missing);
  if (const JSONNode* starts = application->find("startsService"))
    description.startsService = *starts->value.ifBoolean();
  description.linkedBefore17 = application->find("linkedBefore") != nullptr;
  return description;
}

void checkDelegateName(std::string_view file, const ApplicationDescription& application, const JSONNode& name) {
  if (name.value.isNull() || application.delegates.contains(name.value.text())) return;
  std::vector<std::string_view> known;
  for (const auto& [each, delegate] : application.delegates) known.push_back(each);
  throw errorAt(file, name.position,
                "there is no delegate \"" + std::string(name.value.text()) + "\"; " +
                    remedyForName(name.value.text(), known, "there are"));
}

}  // namespace pellion
