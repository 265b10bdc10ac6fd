#include <fstream>
#include <iterator>

#include "fuzz/phone.h"
#include "host/property_list.h"

// What stands in the shared store, which another process may have written: the file itself, where the input begins as
// one does, and otherwise an item in a sound file, the badge count or the statistics that the extension has left.

namespace fuzz {
namespace {

using platform::Value;

constexpr const char* badgeKey = "pellionBadgeCount";
constexpr const char* statisticsKey = "pellionDidReceivePushNotification";

Phone& phone() {
  thread_local Phone phone;
  return phone;
}

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void useFile(std::string_view contents) {
  static const test::TemporaryDirectory directory;
  const std::filesystem::path path = directory.path() / "items.sqlite";
  std::filesystem::remove(path.string() + "-journal");
  std::ofstream(path, std::ios::binary) << contents;

  std::vector<std::string> problems;
  host::ItemStore store(path, [&](const std::string& problem) { problems.push_back(problem); });
  const std::optional<Value> badge = store.data(badgeKey);
  require(badge == store.data(badgeKey), "an item stays as it is");
  const Value item = Value::bytes(contents.substr(0, 100));
  const bool isStored = store.setData("key", item);
  require(isStored || !problems.empty(), "what is not stored has a reason");
  if (problems.empty()) require(store.data("key") == item, "what is stored is there");
  for (const std::string& problem : problems) {
    require(problem.find(path.string()) == 0 && problem.find('\n') == std::string::npos,
            "a problem is one line that names the file", problem);
  }
  if (problems.size() == 3) require(contentsOf(path) == contents, "a file that is no store stays as it is");
}

/// What the item reads as, or nothing.
std::optional<Value> readItem(std::string_view contents) {
  try {
    return host::parsePropertyList(contents, "item");
  } catch (const host::PropertyListError&) {
    return std::nullopt;
  }
}

bool canBeJSON(const Value& value) {
  try {
    platform::JSONSerialization::dataWithJSONObject(value);
    return true;
  } catch (const platform::Exception&) {
    return false;
  }
}

void requireBadge(const std::optional<Value>& item) {
  const bool isCount = !item || item->isNumber() || item->ifString();
  const Happenings happenings = phone().observe([&] {
    const std::int64_t count = PLMessaging::shared().getBadgeCount();
    require(count == (item ? item->integerValue() : 0), "the badge is the item");
  });
  require(happenings.raised == !isCount, "a badge that is no number raises");
  require(happenings.problems.empty() == item.has_value(), "an item that cannot be read is told of");
}

void requireDrained(const std::optional<Value>& item) {
  const bool isList = item && item->ifList() != nullptr;
  const bool isSent = isList && canBeJSON(*item);
  const Happenings happenings = phone().observe([] { host::becomeActive(); }, std::chrono::seconds(4));
  require(happenings.raised == (item && !isList), "statistics that are no list raise");
  require(Value::list(happenings.sent) == (isSent ? *item : Value::list({})), "the statistics are sent as they are");
  const host::ProcessScope scope(*phone()->process());
  const auto left = platform::UserDefaults::initWithSuiteName(Phone::appGroup)->objectForKey(statisticsKey);
  require(left == (isList ? Value::list({}) : item), "what was sent is gone, and nothing else");
}

void useItem(std::string_view contents) {
  const std::optional<Value> item = readItem(contents);
  host::ItemStore store(phone()->appGroups() / (std::string(Phone::appGroup) + ".sqlite"),
                        [](const std::string& problem) { require(false, "the store is sound", problem); });
  store.setData(badgeKey, Value::bytes(contents));
  requireBadge(item);
  store.setData(statisticsKey, Value::bytes(contents));
  requireDrained(item);
}

}  // namespace

void run(std::string_view input) {
  if (input.starts_with("SQLite")) {
    useFile(input);
  } else {
    useItem(input);
  }
}

}  // namespace fuzz
