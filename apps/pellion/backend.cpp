#include "pellion/backend.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "pellion/input_error.h"

namespace pellion {
namespace {

using platform::Value;

constexpr unsigned secondsUntilIdleConnectionsClose = 120;

Answer tooLargeAnswer() {
  return {.status = MHD_HTTP_CONTENT_TOO_LARGE,
          .body = R"({"status":"error","message":"a body may have )" + std::to_string(Backend::largestBody) +
                  R"( bytes"})"};
}

Value details(const Answer& answer, std::size_t number) {
  if (answer.drop) return Value::dictionary({{"number", number}, {"dropped", true}});
  std::vector<Value> headers;
  for (const auto& [name, value] : answer.headers) headers.push_back(Value::list({name, value}));
  return Value::dictionary({{"number", number},
                            {"status", answer.status},
                            {"delay", answer.delay.count()},
                            {"headers", Value::list(headers)},
                            {"body", answer.body}});
}

}  // namespace

struct Backend::Incoming {
  ReceivedRequest request;
  bool hasHeaders = false;
  std::size_t size = 0;  // of the body, also of what is not kept
};

/// The functions that the server library calls; `self` is the backend.
struct Backend::Callbacks {
  static void* begin(void* /*self*/, const char* target, MHD_Connection* /*connection*/) {
    auto incoming = std::make_unique<Incoming>();
    incoming->request.target = target;
    return incoming.release();
  }
  static MHD_Result handle(void* self, MHD_Connection* connection, const char* /*url*/, const char* method,
                           const char* /*version*/, const char* bodyPart, std::size_t* size, void** state) {
    auto& incoming = *static_cast<Incoming*>(*state);
    auto& backend = *static_cast<Backend*>(self);
    if (!incoming.hasHeaders) {
      incoming.hasHeaders = true;
      incoming.request.method = method;
      MHD_get_connection_values_n(connection, MHD_HEADER_KIND, &addHeader, &incoming);
      return MHD_YES;
    }
    if (*size == 0) return backend.complete(connection, incoming) ? MHD_YES : MHD_NO;
    const bool goOn = receive(incoming, {bodyPart, *size});
    *size = 0;
    return goOn ? MHD_YES : MHD_NO;
  }
  static MHD_Result addHeader(void* state, MHD_ValueKind /*kind*/, const char* name, std::size_t nameSize,
                              const char* value, std::size_t valueSize) {
    static_cast<Incoming*>(state)->request.headers.emplace_back(
        std::string(name, nameSize), value == nullptr ? std::string() : std::string(value, valueSize));
    return MHD_YES;
  }
  static void end(void* /*self*/, MHD_Connection* /*connection*/, void** state, MHD_RequestTerminationCode /*code*/) {
    delete static_cast<Incoming*>(std::exchange(*state, nullptr));
  }
};

Backend::Backend(Options options)
    : tell_(std::move(options.tell)),
      keepsRequests_(options.keepsRequests),
      secret_(std::move(options.secret)),
      daemon_(nullptr, &MHD_stop_daemon) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(options.port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  errno = 0;
  daemon_.reset(MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL, 0,
                                 nullptr, nullptr, &Callbacks::handle, this,                         //
                                 MHD_OPTION_SOCK_ADDR, reinterpret_cast<const sockaddr*>(&address),  //
                                 MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::begin, this,               //
                                 MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::end, this,                 //
                                 MHD_OPTION_CONNECTION_TIMEOUT, secondsUntilIdleConnectionsClose,    //
                                 MHD_OPTION_END));
  if (daemon_ == nullptr) {
    throw InputError("port " + std::to_string(options.port) + " cannot be had: " + std::strerror(errno) +
                     "; give another one, or 0 for any that is free");
  }
  port_ = MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_BIND_PORT)->port;
}

Backend::~Backend() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  stopping_.notify_all();
  daemon_.reset();
}

void Backend::setSecret(std::optional<std::string> secret) {
  const std::lock_guard lock(mutex_);
  secret_ = std::move(secret);
}

void Backend::answerWith(Answer answer) {
  const std::lock_guard lock(mutex_);
  next_.clear();
  standing_ = std::move(answer);
}

void Backend::answerNext(std::size_t times, const Answer& answer) {
  const std::lock_guard lock(mutex_);
  next_.insert(next_.end(), times, answer);
}

std::vector<ReceivedRequest> Backend::takeRequests() {
  const std::lock_guard lock(mutex_);
  return std::exchange(received_, {});
}

/// A body that is too large is read on, so that the sender gets to see the answer, but not for ever.
bool Backend::receive(Incoming& incoming, std::string_view bodyPart) {
  constexpr std::size_t largestDiscarded = 16 * largestBody;
  incoming.size += bodyPart.size();
  if (incoming.size <= largestBody) incoming.request.body += bodyPart;
  return incoming.size <= largestDiscarded;
}

/// Answers a request whose body is complete; false closes the connection.
bool Backend::complete(MHD_Connection* connection, Incoming& incoming) {
  const Answer answer = record(incoming);
  if (answer.delay.count() > 0) {
    std::unique_lock lock(mutex_);
    stopping_.wait_for(lock, std::min(answer.delay, Answer::longestDelay), [this] { return isStopping_; });
  }
  tell_("answer", details(answer, incoming.request.number));
  return !answer.drop && send(connection, answer);
}

Answer Backend::record(Incoming& incoming) {
  ReceivedRequest& request = incoming.request;
  request.queryItems = parseQuery(request.query());
  std::unique_lock lock(mutex_);
  const std::optional<std::string> secret = secret_;
  lock.unlock();
  const bool isTooLarge = incoming.size > largestBody;
  if (isTooLarge) {
    request.body.clear();
    request.decodedBody.emplace().steps.push_back(
        {"more than " + std::to_string(largestBody) + " bytes; not kept", true});
  } else if (!request.body.empty()) {
    request.decodedBody = decodeBody(request.body, secret);
  }

  lock.lock();
  request.number = ++count_;
  if (keepsRequests_) received_.push_back(request);
  Answer answer = standing_;
  if (isTooLarge) {
    answer = tooLargeAnswer();
  } else if (!next_.empty()) {
    answer = std::move(next_.front());
    next_.pop_front();
  }
  lock.unlock();
  tell_("request", request.details());
  return answer;
}

bool Backend::send(MHD_Connection* connection, const Answer& answer) {
  const std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)> response(
      MHD_create_response_from_buffer(answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY),
      &MHD_destroy_response);
  MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
  for (const auto& [name, value] : answer.headers) {
    MHD_del_response_header(response.get(), name.c_str(), MHD_get_response_header(response.get(), name.c_str()));
    MHD_add_response_header(response.get(), name.c_str(), value.c_str());
  }
  return MHD_queue_response(connection, static_cast<unsigned>(answer.status), response.get()) == MHD_YES;
}

}  // namespace pellion
