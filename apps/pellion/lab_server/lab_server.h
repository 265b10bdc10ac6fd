#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "pellion/lab_server/lab_access.h"
#include "pellion/lab_server/lab_page.h"
#include "pellion/lab_server/lab_routes.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace pellion {

class Descriptor;

/// The lab on loopback: the page, its phones and its explanations over HTTP, from the constructor to the destructor.
/// Each connection has a thread of its own, so that a stream of events may wait.
class LabServer {
 public:
  struct Options {
    std::uint16_t port = 0;  ///< 0 for any free port
    std::span<const LabPageFile> page = builtInLabPage();
    std::chrono::milliseconds heartbeat{15'000};  ///< of streams of events
  };

  /// Throws InputError when the port is not available.
  explicit LabServer(Options options);
  LabServer(const LabServer&) = delete;
  LabServer& operator=(const LabServer&) = delete;
  /// Ends the streams, lets the requests that are running end, and ends all phones.
  ~LabServer();

  [[nodiscard]] std::uint16_t port() const { return port_; }
  /// The address that opens the page, with its token.
  [[nodiscard]] std::string address() const { return access_.address(); }

 private:
  struct Incoming;
  struct Callbacks;
  void countRequest(int change);
  void begin(Incoming& incoming, MHD_Connection* connection, const char* method, const char* path) const;
  int reply(MHD_Connection* connection, const Incoming& incoming);
  void closeIdlePhones();

  const std::unique_ptr<Descriptor> listener_;
  const std::uint16_t port_;
  const std::chrono::milliseconds heartbeat_;
  const LabAccess access_;
  LabRoutes routes_;
  std::atomic<bool> isEnding_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  int running_ = 0;  ///< requests without a complete reply
  std::thread idleThread_;
  std::unique_ptr<MHD_Daemon, void (*)(MHD_Daemon*)> daemon_;
};

}  // namespace pellion
