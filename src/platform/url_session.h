#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/url.h"
#include "platform/value.h"

namespace platform {

/// Header fields in the order in which they were first set; names are compared without case.
class HTTPHeaderFields {
 public:
  using Field = std::pair<std::string, std::string>;

  void set(std::string_view name, std::string_view value);  ///< replaces
  void add(std::string_view name, std::string_view value);  ///< joins to an earlier value with a comma
  [[nodiscard]] const std::string* find(std::string_view name) const;
  [[nodiscard]] const std::vector<Field>& fields() const { return fields_; }
  [[nodiscard]] Value dictionary() const;  ///< as "%@" prints them

 private:
  std::vector<Field> fields_;
};

struct URLRequest {
  std::optional<URL> url;  ///< absent when none could be made: the request then fails as unsupported
  std::string httpMethod = "GET";
  HTTPHeaderFields headers;
  std::optional<Value> httpBody;  ///< bytes
  bool httpShouldHandleCookies = true;
};

struct HTTPURLResponse {
  URL url;  ///< of the last request, after redirects
  int statusCode = 0;
  HTTPHeaderFields headers;
};

inline constexpr float URLSessionTaskPriorityDefault = 0.5F;
inline constexpr float URLSessionTaskPriorityLow = 0.25F;

/// Loads one request at a time or many, as the platform's session does with the default configuration, no delegate and
/// no delegate queue. It follows redirects, decodes compressed responses and verifies certificates. A request fails
/// after 60 s without progress.
class URLSession {
 public:
  /// Runs exactly once per resumed task, on the session's own serial queue, in the order of completion, never on the
  /// main thread (except when no thread can be made) and never inside resume(). Body bytes (empty without a body),
  /// response and error are each null where the platform gives nil. An error may come with a response.
  using DataTaskHandler = std::function<void(const Value* data, const HTTPURLResponse* response, const Error* error)>;

  /// Does not start until it is resumed. The handler and its captures are released once the handler has run.
  class DataTask {
   public:
    virtual ~DataTask() = default;
    virtual void setPriority(float priority) = 0;  ///< 0 to 1, relative to the process's other tasks
    virtual void resume() = 0;                     ///< a second call does nothing
  };

  virtual ~URLSession() = default;
  virtual std::shared_ptr<DataTask> dataTaskWithRequest(URLRequest request, DataTaskHandler handler) = 0;

  /// A new session of the current process. It lives at least until its tasks have completed.
  static std::shared_ptr<URLSession> sessionWithDefaultConfiguration();
};

}  // namespace platform
