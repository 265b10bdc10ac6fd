#include <sqlite3.h>

#include <fstream>
#include <iterator>

#include "fuzz/phone.h"
#include "services/property_list/property_list.h"
#include "services/sqlite_store.h"

// The content of the shared store, which another process may have written. An input that begins like the file is used
// as the file itself. Any other input is an item in an intact file: the badge count or the statistics of the extension.

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

/// Whether SQLite finds every page of the file valid.
bool isSound(const std::filesystem::path& path) {
  sqlite3* database = nullptr;
  std::string verdict;
  const auto note = [](void* context, int, char** columns, char**) {
    *static_cast<std::string*>(context) += columns[0];
    return 0;
  };
  if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_exec(database, "PRAGMA integrity_check", note, &verdict, nullptr);
  }
  sqlite3_close(database);
  return verdict == "ok";
}

/// Two cases are left out. In a damaged file, SQLite may silently overwrite what it has just stored, so an item may not
/// be found again. An unusable file with a write-ahead log changes, because the store switches every file to the
/// rollback journal before it reads it.
void useFile(std::string_view contents) {
  static const test::TemporaryDirectory directory;
  const std::filesystem::path path = directory.path() / "items.sqlite";
  std::filesystem::remove(path.string() + "-journal");
  std::ofstream(path, std::ios::binary) << contents;
  const bool isIntact = isSound(path);

  std::vector<std::string> problems;
  services::SQLiteStore store(path, [&](const std::string& problem) { problems.push_back(problem); });
  const std::optional<Value> badge = store.data(badgeKey);
  require(badge == store.data(badgeKey), "an item does not change");
  const Value item = Value::bytes(contents.substr(0, 100));
  const bool isStored = store.setData("key", item);
  require(isStored || !problems.empty(), "a failed write reports a reason");
  if (isStored && isIntact) require(store.data("key") == item, "a stored item can be read");
  for (const std::string& problem : problems) {
    require(problem.find(path.string()) == 0 && problem.find('\n') == std::string::npos,
            "a problem is one line that names the file", problem);
  }
  const bool hasLog = contents.size() >= 20 && (contents[18] == 2 || contents[19] == 2);
  if (problems.size() == 3 && !hasLog)
    require(contentsOf(path) == contents, "a file that is not a store does not change");
}

/// The value of the item, or nothing.
std::optional<Value> readItem(std::string_view contents) {
  try {
    return services::parsePropertyList(contents, "item");
  } catch (const services::PropertyListError&) {
    return std::nullopt;
  }
}

std::string describe(const std::optional<Value>& value) { return value ? value->description() : "(absent)"; }

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
    require(count == (item ? item->integerValue() : 0), "the badge equals the stored item");
  });
  require(happenings.raised == !isCount, "a badge that is not a number raises");
  require(happenings.problems.empty() == item.has_value(), "an item that cannot be read is reported");
}

/// The module asks the pending list for its count and sends it unchanged when that is not 0; it looks at no entry. Of
/// the kinds that an item can have, a list and a dictionary have a count; the others raise. A list that JSON cannot
/// hold (bytes, a number that is not finite) is removed like any other, but its request has no body to compare.
void requireDrained(const std::optional<Value>& item) {
  const bool hasCount = item && (item->ifList() != nullptr || item->ifDictionary() != nullptr);
  const bool isDrained = hasCount && item->elements().size() + item->entries().size() != 0;
  const bool isSent = isDrained && canBeJSON(*item);
  const Happenings happenings = phone().observe([] { host::becomeActive(); }, std::chrono::seconds(4));
  require(happenings.raised == (item && !hasCount), "only statistics without a count raise");
  require(happenings.uploads == (isSent ? std::vector{*item} : std::vector<Value>()),
          "the statistics are sent unchanged");
  require(happenings.synchronized == (isDrained ? 1 : 0), "the store is written only when the statistics are removed");
  const host::ProcessScope scope(*phone()->process());
  const auto left = platform::UserDefaults::initWithSuiteName(Phone::appGroup)->objectForKey(statisticsKey);
  // Compares the texts: nan does not even equal itself.
  require(describe(left) == describe(isDrained ? Value::list({}) : item),
          "only the statistics that were sent are removed");
}

void useItem(std::string_view contents) {
  const std::optional<Value> item = readItem(contents);
  services::SQLiteStore store(phone()->appGroups() / (std::string(Phone::appGroup) + ".sqlite"),
                              [](const std::string& problem) { require(false, "the store has no problem", problem); });
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
