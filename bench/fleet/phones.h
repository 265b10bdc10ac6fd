#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/phone/phone.h"
#include "pellion/document/application_description.h"
#include "services/url_loading/network.h"

namespace bench {

/// Many phones of one thread, with stores in memory and one bundle, that send requests to a server in real time.
class Phones {
 public:
  Phones(const std::string& serverURL, std::size_t inFlight);
  ~Phones();

  void add(std::size_t count);
  [[nodiscard]] std::size_t count() const { return phones_.size(); }
  /// Each phone registers a device token, in turn.
  void registerAll();
  /// The phones register tokens and deliver notifications, in turn, as fast as they can.
  void sendFor(std::chrono::nanoseconds duration);

  [[nodiscard]] std::uint64_t accepted() const { return accepted_; }
  [[nodiscard]] std::uint64_t notAccepted() const { return notAccepted_; }

 private:
  struct Member;
  template <class Continues>
  void run(Continues continues);
  void send(Member& member);
  void note(const services::RequestOutcome& outcome);
  void wake(Member& member);

  pellion::ApplicationDescription application_;
  std::filesystem::path bundle_;
  std::shared_ptr<const services::Configuration> configuration_;
  std::size_t inFlight_;
  services::Network network_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Member*> ready_;  // with work in their main queues
  std::size_t ended_ = 0;       // requests since the last look
  std::uint64_t accepted_ = 0;
  std::uint64_t notAccepted_ = 0;
  std::uint64_t sent_ = 0;
  std::vector<std::unique_ptr<Member>> phones_;
};

}  // namespace bench
