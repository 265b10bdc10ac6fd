#include "pellion/lab/message_log.h"

#include <algorithm>
#include <utility>

namespace pellion {

void MessageLog::append(std::string kind, std::string data) {
  const std::lock_guard lock(mutex_);
  if (hasEnded_) return;
  ++lastID_;
  if (kind == "state") drop(std::exchange(lastState_, lastID_));
  if (kind == "chain") drop(std::exchange(lastChain_, lastID_));
  bytes_ += data.size();
  messages_.push_back({lastID_, std::move(kind), std::move(data)});
  while (messages_.size() > mostMessages || bytes_ > mostBytes) dropOldest();
  changed_.notify_all();
}

/// Other than the present state and chain, without which a page that begins again shows nothing.
void MessageLog::dropOldest() {
  const auto isPast = [this](const Message& message) { return message.id != lastState_ && message.id != lastChain_; };
  const auto oldest = std::ranges::find_if(messages_, isPast);
  drop(oldest == messages_.end() ? messages_.front().id : oldest->id);
}

/// Nothing for a message that is dropped already.
void MessageLog::drop(std::uint64_t id) {
  const auto found = std::ranges::lower_bound(messages_, id, {}, &Message::id);
  if (found == messages_.end() || found->id != id) return;
  bytes_ -= found->data.size();
  messages_.erase(found);
}

std::optional<std::vector<MessageLog::Message>> MessageLog::after(std::uint64_t id, std::size_t most,
                                                                  std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return lastID_ > id || hasEnded_; });
  if (lastID_ <= id && hasEnded_) return std::nullopt;
  const auto first = std::ranges::upper_bound(messages_, id, {}, &Message::id);
  const auto count = std::min<std::ptrdiff_t>(messages_.end() - first, static_cast<std::ptrdiff_t>(most));
  return std::vector<Message>(first, first + count);
}

void MessageLog::end() {
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

}  // namespace pellion
