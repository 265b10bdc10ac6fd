#include "pellion/lab/lab.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "pellion/lab/random_hex.h"

namespace pellion {

// All at once, before the map ends one after the other.
Lab::~Lab() {
  endMessages();
  for (const auto& [id, phone] : phones_) phone->interrupt();
}

std::string Lab::open(const std::string& scenario, std::optional<std::string> server,
                      std::chrono::steady_clock::time_point now) {
  const auto refuseTooMany = [this] {
    if (phones_.size() < mostPhones) return;
    throw TooManyPhones("there are " + std::to_string(mostPhones) +
                        " phones; close a tab with one, or restart the lab");
  };
  closeLongestUnused(now);
  {
    const std::lock_guard lock(mutex_);
    refuseTooMany();
  }
  auto phone = std::make_shared<LabPhone>(network_, scenario, std::move(server));  // takes time: without the lock
  const std::lock_guard lock(mutex_);
  refuseTooMany();
  std::string id = randomHex(8);  // no page guesses the phone of another
  phones_.emplace(id, std::move(phone));
  return id;
}

std::shared_ptr<LabPhone> Lab::phone(const std::string& id) {
  const std::lock_guard lock(mutex_);
  const auto found = phones_.find(id);
  return found == phones_.end() ? nullptr : found->second;
}

// The last owner of a phone ends it, outside of the lock.
bool Lab::close(const std::string& id) {
  std::unique_lock lock(mutex_);
  const auto phone = phones_.extract(id);
  lock.unlock();
  if (phone.empty()) return false;
  phone.mapped()->messages().end();
  return true;
}

/// Makes room for another phone where there is none, if one is likely to have lost its page.
void Lab::closeLongestUnused(std::chrono::steady_clock::time_point now) {
  std::unique_lock lock(mutex_);
  if (phones_.size() < mostPhones) return;
  const auto oldest = std::ranges::min_element(phones_, {}, [](const auto& each) { return each.second->lastUse(); });
  if (now - oldest->second->lastUse() < longestIdleWhenFull) return;
  const std::string id = oldest->first;
  lock.unlock();
  close(id);
}

void Lab::closeIdle(std::chrono::steady_clock::time_point now) {
  std::vector<std::string> idle;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, phone] : phones_) {
      if (now - phone->lastUse() > longestIdle) idle.push_back(id);
    }
  }
  for (const std::string& id : idle) close(id);
}

void Lab::endMessages() {
  const std::lock_guard lock(mutex_);
  for (const auto& [id, phone] : phones_) phone->messages().end();
}

}  // namespace pellion
