#include "platform/user_defaults.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "host/phone/process.h"
#include "platform/process.h"
#include "services/defaults_value.h"
#include "services/item_store.h"
#include "services/property_list/property_list.h"

// Each suite is one store of items; each item is one property list. Handles are cheap: the process owns the stores.

namespace host {
namespace {

using platform::Value;

// Makes a file name from the group's name. All but plain characters become %XX, so that no name leaves the directory.
std::string fileName(std::string_view suite) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string name;
  for (const char c : suite) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (byte >= '0' && byte <= '9') || ((byte | 0x20U) >= 'a' && (byte | 0x20U) <= 'z') || c == '-' ||
                         c == '_' || (c == '.' && !name.empty());
    if (isPlain) {
      name += c;
    } else {
      name += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
  }
  return name + ".sqlite";
}

class Suites {
 public:
  services::ItemStore& find(std::string_view name) {
    const std::lock_guard lock(mutex_);
    const auto known = stores_.find(name);
    if (known != stores_.end()) return *known->second;
    Process& process = Process::current();
    auto store = process.stores().open(process.appGroups() / fileName(name), [&process](const std::string& problem) {
      process.report("shared store", "failed", Value::dictionary({{"problem", problem}}));
    });
    return *stores_.emplace(name, std::move(store)).first->second;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<services::ItemStore>, std::less<>> stores_;
};

class UserDefaults final : public platform::UserDefaults {
 public:
  explicit UserDefaults(std::string suite)
      : suite_(std::move(suite)), store_(platform::Process::shared<Suites>().find(suite_)) {}

  std::optional<Value> objectForKey(std::string_view key) override {
    const std::optional<Value> data = store_.data(key);
    if (!data) return std::nullopt;
    try {
      return services::parsePropertyList({reinterpret_cast<const char*>(data->bytes().data()), data->bytes().size()},
                                         suite_ + ", " + std::string(key));
    } catch (const services::PropertyListError& error) {
      return fail(error);
    }
  }

  void setObject(const Value& value, std::string_view key) override {
    services::requirePropertyList(value, key, [](id) { return false; });
    try {
      const std::string data = services::binaryPropertyList(value, suite_ + ", " + std::string(key));
      if (!store_.setData(key, Value::bytes(data))) return;
      Process::current().report("shared store", "stored", Value::dictionary({{"key", key}, {"value", value}}));
    } catch (const services::PropertyListError& error) {
      fail(error);
    }
  }

  /// Values are stored at once when they are set, but the request to store them is still an event.
  void synchronize() override {
    Process::current().report("shared store", "synchronized", Value::dictionary({{"suite", suite_}}));
  }

 private:
  static std::nullopt_t fail(const services::PropertyListError& error) {
    Process::current().report("shared store", "failed", Value::dictionary({{"problem", error.what()}}));
    return std::nullopt;
  }

  std::string suite_;
  services::ItemStore& store_;
};

}  // namespace
}  // namespace host

namespace platform {

std::shared_ptr<UserDefaults> UserDefaults::initWithSuiteName(std::string_view name) {
  return std::make_shared<host::UserDefaults>(std::string(name));
}

}  // namespace platform
