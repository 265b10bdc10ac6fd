#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "pellion/backend/answer.h"
#include "pellion/backend/received_request.h"
#include "pellion/fleet/fleet_figures.h"

namespace pellion {

/// Compares what phones sent with what the built-in backend received, token by token and entry by entry. What agrees
/// on both sides is forgotten at once, so that the size follows from what is in flight. Any thread.
class FleetAudit {
 public:
  /// A phone's request has ended. `query` is that of its URL, which names the phone or its user.
  void ended(std::string_view query, const std::vector<Cargo>& cargo, Ending ending);
  /// The backend has received a request and answers it so.
  void received(const ReceivedRequest& request, const Answer& answer);

  struct Verdict {
    std::uint64_t sent = 0;                ///< tokens and entries that phones handed over to the network
    std::uint64_t received = 0;            ///< those that the backend received
    EndingCounts endings;                  ///< of those sent
    std::uint64_t receivedInVain = 0;      ///< received, but the phone's request failed or was lost with its process
    std::vector<std::string> differences;  ///< a line for each, at most `mostShown`
    std::uint64_t differenceCount = 0;
  };
  static constexpr std::size_t mostShown = 20;
  /// Once all requests have ended on both sides.
  [[nodiscard]] Verdict verdict();

 private:
  struct Account {
    EndingCounts phone;
    EndingCounts backend;  ///< accepted or refused
    [[nodiscard]] bool isSettled() const;
    [[nodiscard]] std::string fault() const;
  };
  void note(const std::string& key, bool isPhone, Ending ending);

  std::mutex mutex_;
  std::unordered_map<std::string, Account> open_;
  Verdict settled_;
};

}  // namespace pellion
