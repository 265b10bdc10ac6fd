#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/received_request.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace pellion {

/// What the backend gives for a request.
struct Answer {
  int status = 200;
  std::string body = R"({"status":"ok"})";
  std::vector<NameAndValue> headers = {};
  std::chrono::milliseconds delay{};  ///< real time; a phone's virtual clock stands still meanwhile
  bool drop = false;                  ///< closes the connection without an answer

  static constexpr std::chrono::milliseconds longestDelay{60'000};
};

/// A backend on loopback that records and decodes every request and answers as told.
///
/// It stands on libmicrohttpd, which hands over header fields in the order of the wire, leaves a body alone that is
/// labelled gzip, and can close a connection without an answer. Each connection has a thread of its own; all
/// operations are safe from any thread.
class Backend {
 public:
  /// "request" (ReceivedRequest::details) or "answer" (status, body, headers; or dropped), on the connection's thread,
  /// before the other side can know.
  using Teller = std::function<void(std::string_view what, const platform::Value& details)>;

  struct Options {
    std::uint16_t port = 0;  ///< 0 for any free one
    std::optional<std::string> secret = {};
    Teller tell = [](std::string_view, const platform::Value&) {};
    bool keepsRequests = true;  ///< for takeRequests(); a backend that runs for days has no use for that
  };
  static constexpr std::size_t largestBody = 1U << 20;

  /// Throws InputError when the port cannot be had.
  explicit Backend(Options options);
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  /// Cuts delays short; returns when no request is being answered any more.
  ~Backend();

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  void setSecret(std::optional<std::string> secret);
  /// To all from now on; ends what was said before.
  void answerWith(Answer answer);
  /// To the next `times` requests, after those already spoken for.
  void answerNext(std::size_t times, const Answer& answer);
  /// The requests since the last call, in the order in which they were complete.
  std::vector<ReceivedRequest> takeRequests();

 private:
  struct Incoming;
  struct Callbacks;
  static bool receive(Incoming& incoming, std::string_view bodyPart);
  bool complete(MHD_Connection* connection, Incoming& incoming);
  Answer record(Incoming& incoming);
  static bool send(MHD_Connection* connection, const Answer& answer);

  const Teller tell_;
  const bool keepsRequests_;
  std::mutex mutex_;
  std::condition_variable stopping_;
  bool isStopping_ = false;
  std::optional<std::string> secret_;
  Answer standing_;
  std::deque<Answer> next_;
  std::vector<ReceivedRequest> received_;
  std::size_t count_ = 0;
  std::unique_ptr<MHD_Daemon, void (*)(MHD_Daemon*)> daemon_;
  std::uint16_t port_ = 0;
};

}  // namespace pellion
