#include "services/url_loading/url_load.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "platform/json_serialization.h"
#include "services/http/content_encoding.h"
#include "services/http/redirect.h"
#include "services/http/url_loading_errors.h"
#include "services/http/wire_fields.h"

namespace services {
namespace {

using platform::Value;

Value textOf(const std::optional<platform::URL>& url) { return url ? Value(url->absoluteString()) : nullptr; }

template <class Fields>
Value pairs(const Fields& fields) {
  std::vector<Value> list;
  list.reserve(fields.size());
  for (const auto& [name, value] : fields) list.push_back(Value::list({name, value}));
  return Value::list(list);
}

}  // namespace

CURL* Load::fail(platform::Error error) {
  error_ = std::move(error);
  return nullptr;
}

void Load::failToStart(const std::string& reason) {
  error_ = urlError(URLErrorCode::unknown, task_.request.url,
                    "The request cannot be sent: no thread can be made for it: " + reason);
}

CURL* Load::begin(Resources& resources) {
  isSent_ = false;
  const platform::URLRequest& request = task_.request;
  const std::shared_ptr<const NetworkPolicy> policy = owner().networkPolicy();
  auto url = admissibleURL(request.url, *policy);
  if (auto* error = std::get_if<platform::Error>(&url)) return fail(std::move(*error));
  if (auto fault = wireFault(request)) return fail(urlError(URLErrorCode::unknown, request.url, *fault));
  X509_STORE* trust = nullptr;
  if (std::get<HTTPURL>(url).isEncrypted()) {
    const TrustStores::Store& store = resources.trustStores.find(policy->certificateAuthorities);
    if (!store.fault.empty()) return fail(urlError(URLErrorCode::secureConnectionFailed, request.url, store.fault));
    trust = store.certificates.get();
  }
  transfer_ = std::make_unique<Transfer>(request, std::get<HTTPURL>(std::move(url)), owner().userAgent(), trust,
                                         resources.handles);
  if (owner().hasListener()) transfer_->onConnected([this] { reportRequest(); });
  curl_easy_setopt(transfer_->handle(), CURLOPT_PRIVATE, this);
  if (!policy->sourceAddress.empty()) {
    curl_easy_setopt(transfer_->handle(), CURLOPT_INTERFACE, ("host!" + policy->sourceAddress).c_str());
  }
  return transfer_->handle();
}

Transfer::Time Load::deadline() const {
  if (waiting_ == Waiting::silence) return Transfer::Time::max();
  if (waiting_ == Waiting::tooLong) return {};
  return std::max(transfer_->lastProgress(), silenceEnded_.load()) + owner().networkPolicy()->requestTimeout;
}

bool Load::endSilence(bool timesOut) {
  silenceEnded_ = std::chrono::steady_clock::now();
  owner().beginOutsideWork();  // first: otherwise the owner's time could pass once more before it stands still
  Waiting waiting = Waiting::silence;
  const bool ends = waiting_.compare_exchange_strong(waiting, timesOut ? Waiting::tooLong : Waiting::server);
  if (!ends) owner().endOutsideWork();
  return ends;
}

void Load::drop() {
  measure();
  transfer_.reset();
}

/// Adds the transfer's times.
void Load::measure() {
  if (!owner().wantsOutcomes()) return;
  const TransferTimes times = transfer_->times();
  outcome_.connecting += times.connecting;
  outcome_.answering += times.answering;
  outcome_.receivedBytes = times.receivedBytes;
}

bool Load::end(CURLcode result) {
  measure();
  const std::unique_ptr<Transfer> transfer = std::move(transfer_);
  platform::URLRequest& request = task_.request;
  response_ = transfer->response();
  if (const std::optional<URLErrorCode> fault = transfer->fault()) {
    error_ = urlError(*fault, request.url);
  } else if (result != CURLE_OK) {
    error_ = transferError(result, transfer->verifyResult(), request.url);
  } else if (!response_ || transfer->isCutShort()) {  // its head is cut off, or its body may be
    error_ = urlError(URLErrorCode::networkConnectionLost, request.url);
  } else {
    transfer->keepHandle();
    auto step = nextStep(request, *response_, redirects_, *owner().networkPolicy());
    if (auto* next = std::get_if<platform::URLRequest>(&step)) {
      request = std::move(*next);
      if (owner().hasListener()) reportRedirect();
      ++redirects_;
      response_.reset();  // the next transfer may fail without a response of its own
      return true;
    }
    if (auto* error = std::get_if<platform::Error>(&step)) {
      error_ = std::move(*error);
    } else {
      body_ = transfer->takeBody();
    }
  }
  return false;
}

void Load::decodeBody() {
  const std::string* contentEncoding = response_->headers.find("Content-Encoding");
  if (contentEncoding == nullptr) return;
  auto decoded = decodeContent(std::move(body_), *contentEncoding, Transfer::maximumBodySize);
  if (auto* body = std::get_if<std::string>(&decoded)) {
    body_ = std::move(*body);
  } else {
    const bool isTooLong = std::get<DecodingFailure>(decoded) == DecodingFailure::tooLong;
    error_ = urlError(isTooLong ? URLErrorCode::dataLengthExceedsMaximum : URLErrorCode::cannotDecodeRawData,
                      response_->url);
  }
}

void Load::reportRequest() {
  isSent_ = true;
  const platform::URLRequest& request = task_.request;
  owner().report("sends", Value::dictionary({{"method", request.httpMethod},
                                             {"url", textOf(request.url)},
                                             {"headers", pairs(transfer_->fields())},
                                             {"body", request.httpBody.value_or(nullptr)}}));
}

void Load::reportRedirect() const {
  owner().report("redirected",
                 Value::dictionary({{"status", response_->statusCode}, {"url", textOf(task_.request.url)}}));
}

void Load::reportOutcome(const Value* data) const {
  const platform::URLRequest& request = task_.request;
  std::vector<Value::Entry> entries{{"method", request.httpMethod}, {"url", textOf(request.url)}};
  if (error_) {
    const Value::Entry more[] = {{"code", error_->code}, {"error", error_->localizedDescription}, {"isSent", isSent_}};
    entries.insert(entries.end(), std::begin(more), std::end(more));
  } else if (response_) {
    const Value::Entry more[] = {
        {"status", response_->statusCode}, {"headers", pairs(response_->headers.fields())}, {"body", *data}};
    entries.insert(entries.end(), std::begin(more), std::end(more));
  }
  owner().report(error_ ? "failed" : "answered", Value::dictionary(entries));
}

/// Runs before the handler, which may end what the owner keeps.
void Load::conclude(bool runsHandler) {
  if (!owner().wantsOutcomes()) return;
  outcome_.isCancelled = !runsHandler;
  if (response_) outcome_.status = response_->statusCode;
  if (error_) outcome_.errorCode = error_->code;
  outcome_.total = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started_);
  const auto* start = reinterpret_cast<const std::uint8_t*>(body_.data());
  outcome_.isJSON = !error_ && outcome_.status == 200 &&
                    platform::JSONSerialization::JSONObjectWithData({start, body_.size()}, nullptr).has_value();
  owner().ended(task_.request, outcome_);
}

void Load::runHandler() {
  std::optional<platform::Value> data;
  if (!error_) data = platform::Value::bytes(body_);
  body_ = {};
  if (owner().hasListener()) reportOutcome(platform::orNull(data));
  task_.handler(platform::orNull(data), platform::orNull(response_), platform::orNull(error_));
}

void Load::deliver() {
  owner().run([this] {
    const bool runsHandler = !isCancelled();
    if (!error_ && response_) decodeBody();
    conclude(runsHandler);
    if (runsHandler) runHandler();
    task_.handler = nullptr;
  });
}

}  // namespace services
