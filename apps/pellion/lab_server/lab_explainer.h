#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "pellion/explain/explain.h"
#include "platform/value.h"

namespace pellion {

/// Explains payloads for the page. An Explainer has a phone and so belongs to one thread: this one has a thread of its
/// own, and keeps the Explainer of the last schemes. All operations are safe from any thread; they wait for each other.
class LabExplainer {
 public:
  static constexpr std::size_t largestPayload = 64U << 10;  ///< in bytes; the push service takes 4096

  LabExplainer();
  LabExplainer(const LabExplainer&) = delete;
  LabExplainer& operator=(const LabExplainer&) = delete;
  /// No operation is running any more.
  ~LabExplainer();

  /// The document "explanation" of docs/lab.schema.json.
  platform::Value explanation(const std::string& payload, const std::vector<std::string>& schemes);
  /// The document "fixed": after all corrections, or that of one finding. Throws InputError where there is none.
  platform::Value fixed(const std::string& payload, const std::vector<std::string>& schemes,
                        std::optional<std::size_t> finding);

 private:
  class Kept;
  using Order = std::packaged_task<std::optional<platform::Value>(Kept&)>;
  using Work = std::function<platform::Value(Explainer&)>;
  platform::Value run(const std::vector<std::string>& schemes, const Work& work);
  void runOrders();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Order> orders_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace pellion
