#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace services {

/// Moves the bytes of libcurl's transfers. A turn costs what happened, however many transfers wait: epoll watches their
/// sockets and libcurl keeps their timers. All functions except wake() belong to one thread.
class TransferLoop {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Ended = std::function<void(CURL* handle, CURLcode result)>;

  TransferLoop();
  TransferLoop(const TransferLoop&) = delete;
  TransferLoop& operator=(const TransferLoop&) = delete;
  ~TransferLoop();

  void add(CURL* handle);
  void remove(CURL* handle) { curl_multi_remove_handle(multi_.get(), handle); }

  /// The socket whose bytes the transfer waits for, or CURL_SOCKET_BAD.
  [[nodiscard]] curl_socket_t socketOf(const CURL* handle) const;

  /// Waits for progress, wake() or `deadline`, whichever is first, makes the progress that is possible without waiting
  /// and passes on each transfer that has ended. `ended` may add and remove transfers.
  void turn(Time deadline, const Ended& ended);
  /// Ends the wait of the current or the next turn. Any thread.
  void wake() const;

 private:
  struct Cleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  static int watch(CURL* handle, curl_socket_t socket, int what, void* self, void* noted);
  static int closeSocket(void* self, curl_socket_t socket);
  void leaveEpoll(curl_socket_t socket);
  static int setTimer(CURLM* multi, long milliseconds, void* self);
  [[nodiscard]] int millisecondsUntil(Time deadline) const;
  void act(curl_socket_t socket, int what);

  const int events_;                                        // epoll
  const int wakeUp_;                                        // eventfd
  std::optional<Time> timer_;                               // libcurl's next
  std::unordered_map<curl_socket_t, const CURL*> watched_;  // with the transfer that uses it
  std::unordered_set<curl_socket_t> inEpoll_;               // also those of connections that no transfer uses
  std::unique_ptr<CURLM, Cleanup> multi_;
};

}  // namespace services
