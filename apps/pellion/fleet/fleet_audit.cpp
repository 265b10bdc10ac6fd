#include "pellion/fleet/fleet_audit.h"

#include "platform/json_serialization.h"

namespace pellion {
namespace {

std::string keyOf(std::string_view query, const Cargo& cargo) {
  return cargo.kind + ' ' + cargo.text + " of " + std::string(query);
}

/// As the module judges it: 200 with a JSON body.
bool isAccepted(const Answer& answer) {
  return answer.status == 200 && !answer.raw &&
         platform::JSONSerialization::JSONObjectWithData(platform::Value::bytes(answer.body).bytes(), nullptr);
}

}  // namespace

/// Nothing more is expected: both sides know the same.
bool FleetAudit::Account::isSettled() const {
  return phone[Ending::failed] == 0 && phone[Ending::lost] == 0 && phone.byEnding == backend.byEnding;
}

/// A phone knows what it has been answered; the backend may have answered more requests, whose answers were lost.
std::string FleetAudit::Account::fault() const {
  const auto numbers = [&] {
    return " (sent " + std::to_string(phone.total()) + ", answered " + std::to_string(backend.total()) + ")";
  };
  std::uint64_t inVain = 0;
  for (const Ending ending : {Ending::accepted, Ending::refused}) {
    if (backend[ending] < phone[ending]) {
      return std::string(endingNames[static_cast<std::size_t>(ending)]) +
             " by the phone's account, but not by the backend's" + numbers();
    }
    inVain += backend[ending] - phone[ending];
  }
  if (inVain > phone[Ending::failed] + phone[Ending::lost]) return "received more often than it was sent" + numbers();
  return {};
}

void FleetAudit::note(const std::string& key, bool isPhone, Ending ending) {
  const auto found = open_.try_emplace(key).first;
  Account& account = found->second;
  ++(isPhone ? account.phone : account.backend)[ending];
  if (isPhone) {
    ++settled_.sent;
    ++settled_.endings[ending];
  } else {
    ++settled_.received;
  }
  if (account.isSettled()) open_.erase(found);
}

void FleetAudit::ended(std::string_view query, const std::vector<Cargo>& cargo, Ending ending) {
  const std::lock_guard lock(mutex_);
  for (const Cargo& each : cargo) note(keyOf(query, each), true, ending);
}

void FleetAudit::received(const ReceivedRequest& request, const Answer& answer) {
  const std::vector<Cargo> cargo = cargoOf(request.findHeader("notificationid"), request.body);
  const Ending ending = isAccepted(answer) ? Ending::accepted : Ending::refused;
  const std::lock_guard lock(mutex_);
  for (const Cargo& each : cargo) note(keyOf(request.query(), each), false, ending);
}

FleetAudit::Verdict FleetAudit::verdict() {
  const std::lock_guard lock(mutex_);
  Verdict verdict = settled_;
  for (const auto& [key, account] : open_) {
    const std::string fault = account.fault();
    if (fault.empty()) {
      verdict.receivedInVain +=
          account.backend.total() - account.phone[Ending::accepted] - account.phone[Ending::refused];
    } else if (++verdict.differenceCount <= mostShown) {
      verdict.differences.push_back(key + ": " + fault);
    }
  }
  return verdict;
}

}  // namespace pellion
