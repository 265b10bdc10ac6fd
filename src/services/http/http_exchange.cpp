#include "services/http/http_exchange.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "services/http/server_certificate.h"
#include "value/ascii.h"

namespace services {
namespace {

/// Whether the text consists of digits that give a number of bytes.
bool isLength(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

/// Replaces line breaks by spaces, as in RFC 9110 (5.5): libcurl leaves them within a value and in place of an empty
/// one. Spaces at the ends do not belong to the value.
std::string fieldValue(std::string value) {
  std::ranges::replace_if(
      value, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  value.erase(value.find_last_not_of(" \t") + 1);
  return value.erase(0, value.find_first_not_of(" \t"));
}

}  // namespace

Transfer::Transfer(const platform::URLRequest& request, HTTPURL url, std::string_view userAgent, X509_STORE* trust,
                   EasyHandles& handles)
    : request_(request), url_(std::move(url)), userAgent_(userAgent), handles_(handles), handle_(handles.take()) {
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // a look-up of a name that takes longer than the transfer ends by itself
  set(CURLOPT_CURLU, url_.handle());
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PROXY, "");  // no proxy, whatever the environment says
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  // Sessions share no connections. On a connection that is not used again, libcurl never repeats a request.
  set(CURLOPT_FRESH_CONNECT, 1L);
  set(CURLOPT_FORBID_REUSE, 1L);
  // The network thread applies the limit on waiting, which counts from the last progress.
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::numeric_limits<int>::max()));
  set(CURLOPT_HEADERFUNCTION, &Transfer::receiveHead);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Transfer::receive);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &Transfer::noteProgress);
  set(CURLOPT_XFERINFODATA, this);
  describeRequest();
  if (trust != nullptr) secureConnection(trust);
}

// A handle that has been in TLS is not used again: a handshake costs far more than a handle.
Transfer::~Transfer() {
  if (keepsHandle_ && trust_ == nullptr) handles_.giveBack(std::move(handle_));
}

void Transfer::describeRequest() {
  const std::string& method = request_.httpMethod;
  if (request_.httpBody || method == "POST") {
    const platform::ByteView body = request_.httpBody ? request_.httpBody->bytes() : platform::ByteView();
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, body.empty() ? "" : reinterpret_cast<const char*>(body.data()));
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  } else if (method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  }
  set(CURLOPT_CUSTOMREQUEST, method.c_str());
  lines_ = libcurlLines(wireFields(request_, userAgent_));
  list_.reserve(lines_.size());
  for (std::string& line : lines_) {
    list_.push_back({line.data(), nullptr});
    if (list_.size() > 1) list_[list_.size() - 2].next = &list_.back();
  }
  set(CURLOPT_HTTPHEADER, list_.data());
}

void Transfer::onConnected(std::function<void()> callback) {
  isConnected_ = std::move(callback);
  constexpr auto notify = [](void* self, char*, char*, int, int) {
    static_cast<Transfer*>(self)->isConnected_();
    return CURL_PREREQFUNC_OK;
  };
  set(CURLOPT_PREREQFUNCTION, +notify);
  set(CURLOPT_PREREQDATA, this);
}

/// libcurl sends Host first, also one that the request has.
std::vector<WireField> Transfer::fields() const {
  std::vector<WireField> fields = wireFields(request_, userAgent_);
  const auto isHost = [](const WireField& field) { return value::asciiLowercase(field.first) == "host"; };
  const auto own = std::ranges::find_if(fields, isHost);
  if (own == fields.end()) {
    fields.insert(fields.begin(), {"Host", url_.hostField()});
  } else {
    std::rotate(fields.begin(), own, std::next(own));
  }
  return fields;
}

void Transfer::secureConnection(X509_STORE* trust) {
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  // The cipher suites of TLS 1.2 with forward secrecy that the platform has; TLS 1.3 has no others.
  set(CURLOPT_SSL_CIPHER_LIST, "ECDHE+AESGCM:ECDHE+CHACHA20:ECDHE+AES");
  set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  // libcurl would read its bundle again for each connection; the store below has been read once.
  set(CURLOPT_CAINFO, static_cast<char*>(nullptr));
  set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  trust_ = trust;
  constexpr auto prepare = [](CURL*, void* context, void* self) {
    auto* const tls = static_cast<SSL_CTX*>(context);
    SSL_CTX_set_security_level(tls, 2);  // whatever the system's configuration says
    SSL_CTX_set1_cert_store(tls, static_cast<Transfer*>(self)->trust_);
    SSL_CTX_set_cert_verify_callback(tls, &Transfer::verify, self);
    SSL_CTX_set_app_data(tls, self);
    SSL_CTX_set_info_callback(tls, &Transfer::noteAlert);
    return CURLE_OK;
  };
  set(CURLOPT_SSL_CTX_FUNCTION, +prepare);
  set(CURLOPT_SSL_CTX_DATA, this);
}

/// libcurl's own record of the verdict does not distinguish a bad certificate from a missing one.
int Transfer::verify(X509_STORE_CTX* certificates, void* self) {
  int& verdict = static_cast<Transfer*>(self)->verifyResult_;
  verdict = verifyServer(certificates);
  return verdict == X509_V_OK ? 1 : 0;
}

/// libcurl takes the end of the connection for the end of the data in TLS.
void Transfer::noteAlert(const SSL* connection, int where, int alert) {
  if (where != SSL_CB_READ_ALERT || (alert & 0xff) != SSL_AD_CLOSE_NOTIFY) return;
  static_cast<Transfer*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(connection)))->hasCloseNotify_ = true;
}

std::size_t Transfer::receiveHead(const char* line, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t length = size * count;
  transfer.headSize_ += length;
  if (transfer.headSize_ > maximumHeadSize) {
    transfer.fault_ = URLErrorCode::dataLengthExceedsMaximum;
  } else if (*line == '\r' || *line == '\n') {
    transfer.fault_ = transfer.endHead();
  }
  return transfer.fault_ ? CURL_WRITEFUNC_ERROR : length;
}

/// Checks what libcurl accepts: protocols that were not requested, status codes that do not have three digits (those of
/// an "HTTP/2" line), and lengths that contradict each other.
std::optional<URLErrorCode> Transfer::endHead() {
  long status = 0;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  if (status == 101 || status < 100 || status > 999) return URLErrorCode::cannotParseResponse;
  std::optional<std::string> length;
  curl_header* field = nullptr;
  for (std::size_t i = 0; curl_easy_header(handle(), "Content-Length", i, CURLH_HEADER, -1, &field) == CURLHE_OK; ++i) {
    if (!isLength(field->value) || length.value_or(field->value) != field->value)
      return URLErrorCode::cannotParseResponse;
    length = field->value;
  }
  hasHead_ = status >= 200;
  const bool isCoded = curl_easy_header(handle(), "Transfer-Encoding", 0, CURLH_HEADER, -1, &field) == CURLHE_OK;
  const bool hasBody = status != 204 && status != 304 && request_.httpMethod != "HEAD";
  endsWithConnection_ = hasHead_ && hasBody && !isCoded && !length;
  return std::nullopt;
}

std::size_t Transfer::receive(const char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t length = size * count;
  if (length > maximumBodySize - transfer.body_.size()) {
    transfer.fault_ = URLErrorCode::dataLengthExceedsMaximum;
    return CURL_WRITEFUNC_ERROR;
  }
  transfer.body_.append(data, length);
  return length;
}

int Transfer::noteProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
  auto& transfer = *static_cast<Transfer*>(self);
  long requestHead = 0;
  long responseHead = 0;
  curl_easy_getinfo(transfer.handle(), CURLINFO_REQUEST_SIZE, &requestHead);
  curl_easy_getinfo(transfer.handle(), CURLINFO_HEADER_SIZE, &responseHead);
  const curl_off_t moved = received + sent + requestHead + responseHead;
  if (std::exchange(transfer.movedBytes_, moved) != moved) transfer.lastProgress_ = std::chrono::steady_clock::now();
  return 0;
}

TransferTimes Transfer::times() const {
  const auto number = [&](CURLINFO info) {
    curl_off_t value = 0;
    curl_easy_getinfo(handle(), info, &value);
    return value;
  };
  TransferTimes times;
  const curl_off_t beforeRequest = number(CURLINFO_PRETRANSFER_TIME_T);  // zero until the connection is established
  const curl_off_t total = number(CURLINFO_TOTAL_TIME_T);
  times.connecting = std::chrono::microseconds(beforeRequest != 0 ? beforeRequest : total);
  times.answering = std::chrono::microseconds(beforeRequest != 0 ? total - beforeRequest : 0);
  times.receivedBytes = static_cast<std::size_t>(number(CURLINFO_SIZE_DOWNLOAD_T));
  return times;
}

std::optional<platform::HTTPURLResponse> Transfer::response() const {
  if (!hasHead_) return std::nullopt;
  long status = 0;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  platform::HTTPURLResponse response{*request_.url, static_cast<int>(status), {}};
  for (curl_header* field = nullptr; (field = curl_easy_nextheader(handle(), CURLH_HEADER, -1, field)) != nullptr;) {
    response.headers.add(field->name, fieldValue(field->value));
  }
  return response;
}

}  // namespace services
