#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/shape.h"
#include "pellion/text/json_reader.h"

namespace pellion {

/// The methods of the application's two delegates by which the platform notifies it of remote notifications.
enum class Callback : std::uint8_t { token, failure, background, foreground, response };

struct CallbackKind {
  std::string_view name;  ///< in a scenario
  const char* selector;
  std::string_view subject;  ///< what the callback reports, for a reader
};
/// In the order of Callback: the application's delegate has the first three, the notification center's has the others.
std::span<const CallbackKind> callbackKinds();
inline const CallbackKind& kindOf(Callback callback) { return callbackKinds()[static_cast<std::size_t>(callback)]; }

/// How an object responds to a callback that expects an answer.
struct Behaviour {
  enum class Answers : std::uint8_t { atOnce, later, twice, never };
  Answers answers = Answers::atOnce;
  std::uint64_t value = 0;  ///< the fetch result, or the presentation options
  bool operator==(const Behaviour&) const = default;
};

/// "newData", "noData", "failed"; any other value unchanged.
platform::Value fetchResultName(std::uint64_t result);
/// Converts to the list of "banner", "list", "sound" and "badge", and back.
platform::Value presentationNames(std::uint64_t options);
std::uint64_t presentationOptions(const platform::Value& names);

/// An object of the application that can be a delegate or an interceptor. It also describes the object's class, unless
/// the object is an instance of another object's class. The names refer to other objects.
struct DelegateDescription {
  std::optional<std::string> classOf;
  std::optional<std::string> inherits;
  std::optional<std::string> forwardsTo;
  std::vector<std::string> declares;
  std::map<Callback, Behaviour> implements;
  bool operator==(const DelegateDescription&) const = default;
};

/// The application of a scenario. By default its application delegate implements none of the callbacks and its
/// notification center's delegate implements both.
struct ApplicationDescription {
  std::map<std::string, DelegateDescription, std::less<>> delegates;
  std::optional<std::string> delegate = "AppDelegate";
  std::optional<std::string> notificationDelegate = "NotificationDelegate";
  std::vector<std::string> missingClasses;  ///< classes of the platform
  bool startsService = true;
  bool linkedBefore17 = false;
  bool operator==(const ApplicationDescription&) const = default;
};

extern const Shape fetchResultShape;
extern const Shape presentationsShape;
extern const Shape delegatesShape;
extern const Shape applicationShape;
/// A name that a class of the application may have.
extern const Shape classNameShape;

/// Reads a scenario's "delegates" and "application", which fit their shapes or are null. Throws InputError for a name
/// that no object has, and for objects that inherit from or forward to themselves.
ApplicationDescription readApplication(std::string_view file, const JSONNode* delegates, const JSONNode* application);

/// Throws InputError unless `name`, a text or null, is the name of a delegate or null.
void checkDelegateName(std::string_view file, const ApplicationDescription& application, const JSONNode& name);

}  // namespace pellion
