#include "pellion/lab/message_log.h"

#include <algorithm>
#include <utility>

namespace pellion {

void MessageLog::append(std::string kind, std::string data) {
  const std::lock_guard lock(mutex_);
  if (hasEnded_) return;
  ++lastID_;
  if (kind == "state") lastState_ = lastID_;
  if (kind == "chain") lastChain_ = lastID_;
  bytes_ += data.size();
  messages_.push_back({lastID_, std::move(kind), std::move(data)});
  while (messages_.size() > mostMessages || bytes_ > mostBytes) dropOldest();
  changed_.notify_all();
}

void MessageLog::dropOldest() {
  bytes_ -= messages_.front().data.size();
  messages_.pop_front();
}

std::optional<std::vector<MessageLog::Message>> MessageLog::after(std::uint64_t id, std::size_t most,
                                                                  std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return lastID_ > id || hasEnded_; });
  if (lastID_ <= id && hasEnded_) return std::nullopt;
  std::vector<Message> found;
  for (auto next = std::ranges::upper_bound(messages_, id, {}, &Message::id);
       next != messages_.end() && found.size() < most; ++next) {
    const bool isReplaced =
        (next->kind == "state" && next->id != lastState_) || (next->kind == "chain" && next->id != lastChain_);
    if (!isReplaced) found.push_back(*next);
  }
  return found;
}

void MessageLog::end() {
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

}  // namespace pellion
