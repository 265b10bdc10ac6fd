#include "pellion/lab/lab.h"

#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "value/hexadecimal.h"

namespace pellion {
namespace {

/// 64 random bits: no page guesses the phone of another.
std::string newID() {
  std::array<std::uint8_t, 8> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) throw std::bad_alloc();
  return value::hexText(bytes);
}

}  // namespace

Lab::~Lab() { endMessages(); }

std::string Lab::open(const std::string& scenario, std::optional<std::string> server) {
  const auto refuseTooMany = [this] {
    if (phones_.size() < mostPhones) return;
    throw TooManyPhones("there are " + std::to_string(mostPhones) +
                        " phones; close a tab with one, or restart the lab");
  };
  {
    const std::lock_guard lock(mutex_);
    refuseTooMany();
  }
  auto phone = std::make_shared<LabPhone>(network_, scenario, std::move(server));  // takes time: without the lock
  const std::lock_guard lock(mutex_);
  refuseTooMany();
  const std::string id = newID();
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
