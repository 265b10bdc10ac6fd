#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/url_session.h"
#include "services/http/easy_handles.h"
#include "services/http/http_url.h"
#include "services/http/url_loading_errors.h"
#include "services/http/wire_fields.h"

namespace services {

struct TransferTimes {
  std::chrono::microseconds connecting{};  ///< until the connection was established or failed
  std::chrono::microseconds answering{};   ///< since the connection was established
  std::size_t receivedBytes = 0;           ///< of the body
};

/// One request on a connection of its own and its response: no redirects, no retries, no proxies, no cookies.
/// Belongs to the network thread.
class Transfer {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr std::size_t maximumBodySize = std::size_t{16} * 1024 * 1024;
  static constexpr std::size_t maximumHeadSize = std::size_t{256} * 1024;  // all interim responses included

  /// The request, whose URL is `url`, `trust` and `handles` must outlive the transfer. `trust` is null for http.
  Transfer(const platform::URLRequest& request, HTTPURL url, std::string_view userAgent, X509_STORE* trust,
           EasyHandles& handles);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  /// The handle must not be in use by libcurl any more.
  ~Transfer();

  [[nodiscard]] CURL* handle() const { return handle_.get(); }
  /// Calls `callback` when the connection is established, before the first byte of the request. It must not throw.
  void onConnected(std::function<void()> callback);
  /// The header fields that are sent, in the order of the wire.
  [[nodiscard]] std::vector<WireField> fields() const;
  /// When a byte last moved, in either direction; initially, when the transfer was made.
  [[nodiscard]] Time lastProgress() const { return lastProgress_; }

  [[nodiscard]] TransferTimes times() const;

  // After libcurl has finished the transfer.
  /// Why the transfer was cut off, whatever libcurl reports as the reason.
  [[nodiscard]] std::optional<URLErrorCode> fault() const { return fault_; }
  /// OpenSSL's verdict; X509_V_OK as long as no certificate has arrived.
  [[nodiscard]] int verifyResult() const { return verifyResult_; }
  [[nodiscard]] std::optional<platform::HTTPURLResponse> response() const;  ///< absent when its head is incomplete
  /// Whether the connection's end was the end of the body, and TLS did not confirm that end (RFC 9112, 9.8).
  [[nodiscard]] bool isCutShort() const { return trust_ != nullptr && endsWithConnection_ && !hasCloseNotify_; }
  /// After a response without a fault: lets the handle be used again.
  void keepHandle() { keepsHandle_ = true; }
  [[nodiscard]] std::string takeBody() { return std::move(body_); }

 private:
  template <class T>
  void set(CURLoption option, T value) {
    curl_easy_setopt(handle_.get(), option, value);
  }
  void describeRequest();
  void secureConnection(X509_STORE* trust);
  [[nodiscard]] std::optional<URLErrorCode> endHead();
  static int verify(X509_STORE_CTX* certificates, void* self);
  static void noteAlert(const SSL* connection, int where, int alert);
  static std::size_t receiveHead(const char* line, std::size_t size, std::size_t count, void* self);
  static std::size_t receive(const char* data, std::size_t size, std::size_t count, void* self);
  static int noteProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

  const platform::URLRequest& request_;
  HTTPURL url_;
  const std::string userAgent_;
  EasyHandles& handles_;
  EasyHandles::Handle handle_;
  std::vector<std::string> lines_;
  std::vector<curl_slist> list_;  // of lines_
  std::function<void()> isConnected_;
  X509_STORE* trust_ = nullptr;
  int verifyResult_ = X509_V_OK;
  std::string body_;
  std::size_t headSize_ = 0;
  bool keepsHandle_ = false;
  bool hasHead_ = false;
  bool endsWithConnection_ = false;
  bool hasCloseNotify_ = false;
  std::optional<URLErrorCode> fault_;
  Time lastProgress_ = std::chrono::steady_clock::now();
  curl_off_t movedBytes_ = 0;
};

}  // namespace services
