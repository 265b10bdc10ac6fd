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
#include "services/url_loading/network.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace pellion {

class Descriptor;
class Signal;

/// A server's certificate, or a chain that begins with it, and its key, both in PEM.
struct ServerIdentity {
  std::string certificate;
  std::string key;
};

/// A backend on loopback that records and decodes every request and answers as configured.
///
/// It uses libmicrohttpd, which passes on header fields in the order of the wire, does not decompress a body that is
/// labelled gzip, and can send answers that no correct server sends. Each connection has its own thread and carries one
/// request. With TLS, it uses GnuTLS as libmicrohttpd does. All operations are safe from any thread.
class Backend {
 public:
  /// `what` is "request" (ReceivedRequest::details) or "answer" (pellion::details of the answer). Called on the
  /// connection's thread, before the other side can notice the event.
  using Notify = std::function<void(std::string_view what, const platform::Value& details)>;

  /// Returns the answer to a request that is refused whatever answers are set. Called like Notify.
  using Refusal = std::function<std::optional<Answer>(const ReceivedRequest& request)>;

  struct Options {
    std::uint16_t port = 0;  ///< 0 for any free port
    std::optional<std::string> secret = {};
    Notify notify = [](std::string_view, const platform::Value&) {};
    services::Network* network = nullptr;  ///< of phones in this program; their time passes during a slow answer
    bool keepsRequests = true;             ///< for takeRequests(); false for a backend that runs for days
    Answer answer = {};                    ///< as answerWith()
    std::deque<Answer> next = {};          ///< as answerNext()
    Refusal refuses = [](const ReceivedRequest&) { return std::nullopt; };
    std::optional<ServerIdentity> identity = {};  ///< for https
  };
  static constexpr std::size_t largestBody = 1U << 20;

  /// Throws InputError when the port is not available.
  explicit Backend(Options options);
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  /// Cuts answers short; returns when no request is being answered any more.
  ~Backend();

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] std::string url() const {
    return (identity_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_);
  }

  void setSecret(std::optional<std::string> secret);
  enum class Connections { accepted, refused, closed };  ///< closed: before anything is read
  /// How new connections are treated. Refusing them also cuts the existing ones. Notify must not call this.
  void setConnections(Connections connections);
  /// Answers all requests from now on; replaces earlier instructions.
  void answerWith(Answer answer);
  /// Answers the next `times` requests that have no answer assigned yet.
  void answerNext(std::size_t times, const Answer& answer);
  /// The requests since the last call, in the order in which they became complete.
  std::vector<ReceivedRequest> takeRequests();

 private:
  struct Incoming;
  struct Callbacks;
  static bool receive(Incoming& incoming, std::string_view bodyPart);
  void complete(MHD_Connection* connection, Incoming& incoming);
  Answer record(Incoming& incoming);
  void listen();
  void stopListening();

  const Notify notify_;
  services::Network* const network_;
  const bool keepsRequests_;
  const Refusal refuses_;
  std::optional<ServerIdentity> identity_;
  const std::unique_ptr<Signal> ending_;
  std::mutex mutex_;
  std::optional<std::string> secret_;
  Answer standing_;
  std::deque<Answer> next_;
  std::vector<ReceivedRequest> received_;
  std::size_t count_ = 0;
  std::atomic<Connections> connections_ = Connections::accepted;
  std::mutex listeningMutex_;
  const std::unique_ptr<Descriptor> reservation_;  // keeps the port while no socket listens on it
  std::uint16_t port_;
  std::unique_ptr<MHD_Daemon, void (*)(MHD_Daemon*)> daemon_;
};

}  // namespace pellion
