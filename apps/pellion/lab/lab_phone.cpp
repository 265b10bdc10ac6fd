#include "pellion/lab/lab_phone.h"

#include <exception>
#include <utility>

#include "pellion/run/server_probe.h"
#include "pellion/text/input_error.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

void emitFailure(MessageLog& log, const std::string& error) {
  log.append("refused", compactJSON(Value::dictionary({{"error", error}})));
}

}  // namespace

LabPhone::LabPhone(services::Network& network, const std::string& scenario, std::optional<std::string> server)
    : network_(network), server_(std::move(server)) {
  SessionDocument document("scenario", scenario);
  const Scenario opened = document.opened();
  if (server_) checkServer(*server_, std::span(&opened, 1), "your own server");
  std::promise<void> started;
  std::future<void> start = started.get_future();
  thread_ = std::thread([this, document = std::move(document), started = std::move(started)]() mutable {
    work(std::move(document), std::move(started));
  });
  try {
    start.get();
  } catch (...) {
    thread_.join();
    throw;
  }
}

LabPhone::~LabPhone() {
  interrupt();
  thread_.join();
}

void LabPhone::interrupt() {
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
  if (session_ != nullptr) session_->interrupt();
  changed_.notify_all();
}

void LabPhone::perform(const Value& action) {
  LabSession::check(action);
  const std::lock_guard lock(mutex_);
  if (waiting_.size() >= mostWaitingActions) {
    throw InputError("the phone is busy, and " + std::to_string(mostWaitingActions) + " actions wait; try again later");
  }
  waiting_.push_back(action);
  changed_.notify_all();
}

std::optional<std::string> LabPhone::scenario() const {
  const std::lock_guard lock(mutex_);
  return kept_;
}

std::optional<Value> LabPhone::nextAction() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
  if (isEnding_) return std::nullopt;
  Value action = std::move(waiting_.front());
  waiting_.pop_front();
  return action;
}

void LabPhone::work(SessionDocument document, std::promise<void> started) {
  std::optional<LabSession> session;
  try {
    session.emplace(std::move(document), network_, server_,
                    [this](std::string kind, std::string data) { log_.append(std::move(kind), std::move(data)); });
  } catch (...) {
    started.set_exception(std::current_exception());
    return;
  }
  const auto publish = [&](LabSession* running) {
    const std::lock_guard lock(mutex_);
    session_ = running;
  };
  publish(&*session);
  started.set_value();
  while (const auto action = nextAction()) {
    try {
      session->perform(*action);
    } catch (const std::exception& error) {  // usually an InputError
      emitFailure(log_, error.what());
    }
    std::optional<std::string> kept = session->kept();
    const std::lock_guard lock(mutex_);
    kept_ = std::move(kept);
  }
  publish(nullptr);
}

}  // namespace pellion
