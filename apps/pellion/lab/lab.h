#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "pellion/lab/lab_phone.h"
#include "pellion/text/input_error.h"
#include "services/url_loading/network.h"

namespace pellion {

/// The phones of the lab, by id. All operations are safe from any thread.
class Lab {
 public:
  static constexpr std::size_t mostPhones = 32;
  static constexpr std::chrono::hours longestIdle{1};
  /// The same when there are as many phones as there may be and a page wants another.
  static constexpr std::chrono::minutes longestIdleWhenFull{15};

  class TooManyPhones : public InputError {
   public:
    using InputError::InputError;
  };

  Lab() = default;
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;
  /// Ends all phones.
  ~Lab();

  /// Returns the new phone's id. Throws InputError for a scenario or server that cannot be used, TooManyPhones when
  /// there are as many as there may be.
  std::string open(const std::string& scenario, std::optional<std::string> server,
                   std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now());
  /// Null for an id that no phone has any more.
  std::shared_ptr<LabPhone> phone(const std::string& id);
  /// Returns false for an id that no phone has.
  bool close(const std::string& id);
  /// Ends the phones whose pages have not used them since before `now` minus longestIdle.
  void closeIdle(std::chrono::steady_clock::time_point now);
  /// Ends the messages of all phones, so that no reader waits any more.
  void endMessages();

 private:
  void closeLongestUnused(std::chrono::steady_clock::time_point now);

  services::Network network_;
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<LabPhone>> phones_;
};

}  // namespace pellion
