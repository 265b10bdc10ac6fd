#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/backend/answer.h"
#include "pellion/backend/received_request.h"
#include "services/http/network.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace host {
class Network;
}

namespace pellion {

class Descriptor;
class Signal;

/// A backend on loopback that records and decodes every request and answers as told.
///
/// It stands on libmicrohttpd, which hands over header fields in the order of the wire, leaves a body alone that is
/// labelled gzip, and lets answers be written that no server should give. Each connection has a thread of its own and
/// one request; all operations are safe from any thread.
class Backend {
 public:
  /// "request" (ReceivedRequest::details) or "answer" (what pellion::details says of one), on the connection's thread,
  /// before the other side can know.
  using Teller = std::function<void(std::string_view what, const platform::Value& details)>;

  struct Options {
    std::uint16_t port = 0;  ///< 0 for any free one
    std::optional<std::string> secret = {};
    Teller tell = [](std::string_view, const platform::Value&) {};
    host::Network* network = nullptr;  ///< of phones in this program: their time passes while an answer is slow
    bool keepsRequests = true;         ///< for takeRequests(); a backend that runs for days has no use for that
  };
  static constexpr std::size_t largestBody = 1U << 20;

  /// Throws InputError when the port cannot be had.
  explicit Backend(Options options);
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  /// Cuts answers short; returns when no request is being answered any more.
  ~Backend();

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  void setSecret(std::optional<std::string> secret);
  enum class Connections { accepted, refused, closed };  ///< closed: before anything is read
  /// What becomes of new ones; refusing them cuts the others too. Not for a Teller.
  void setConnections(Connections connections);
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
  void complete(MHD_Connection* connection, Incoming& incoming);
  Answer record(Incoming& incoming);
  void listen();
  void stopListening();

  const Teller tell_;
  host::Network* const network_;
  const bool keepsRequests_;
  const std::unique_ptr<Signal> ending_;
  std::mutex mutex_;
  std::optional<std::string> secret_;
  Answer standing_;
  std::deque<Answer> next_;
  std::vector<ReceivedRequest> received_;
  std::size_t count_ = 0;
  std::atomic<Connections> connections_ = Connections::accepted;
  std::mutex listeningMutex_;
  const std::unique_ptr<Descriptor> reservation_;  // keeps the port while nobody listens
  std::uint16_t port_;
  std::unique_ptr<MHD_Daemon, void (*)(MHD_Daemon*)> daemon_;
};

}  // namespace pellion
