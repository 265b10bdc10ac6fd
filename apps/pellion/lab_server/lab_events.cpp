#include "pellion/lab_server/lab_events.h"

#include <algorithm>
#include <utility>

namespace pellion {

LabEvents::LabEvents(std::shared_ptr<LabPhone> phone, std::uint64_t after, std::chrono::milliseconds heartbeat,
                     const std::atomic<bool>& isEnding)
    : phone_(std::move(phone)), last_(after), heartbeat_(heartbeat), isEnding_(isEnding), text_(": messages\n\n") {}

std::size_t LabEvents::read(char* to, std::size_t most) {
  if (sent_ == text_.size()) fill();
  const std::size_t count = text_.copy(to, most, sent_);
  sent_ += count;
  return count;
}

/// Leaves the text empty at the end of the stream.
void LabEvents::fill() {
  constexpr std::size_t mostAtOnce = 200;
  text_.clear();
  sent_ = 0;
  phone_->noteUse();
  // Asked before the wait: the server sets it first and then ends the messages.
  if (isEnding_) return;
  const auto messages = phone_->messages().after(last_, mostAtOnce, heartbeat_);
  if (!messages) return;
  for (const MessageLog::Message& message : *messages) {
    text_ += "id: " + std::to_string(message.id) + "\nevent: " + message.kind + "\ndata: " + message.data + "\n\n";
    last_ = message.id;
  }
  if (text_.empty()) text_ = ":\n\n";
}

}  // namespace pellion
