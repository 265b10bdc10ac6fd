#include "pellion/backend/backend.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "pellion/backend/backend_connection.h"

namespace pellion {
namespace {

int socketOf(MHD_Connection* connection) {
  return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/// Null without TLS.
void* tlsSessionOf(MHD_Connection* connection) {
  const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_GNUTLS_SESSION);
  return info == nullptr ? nullptr : info->tls_session;
}

constexpr unsigned secondsUntilIdleConnectionsClose = 120;

Answer tooLargeAnswer() {
  return {.status = MHD_HTTP_CONTENT_TOO_LARGE,
          .body = R"({"status":"error","message":"a body may have )" + std::to_string(Backend::largestBody) +
                  R"( bytes"})"};
}

}  // namespace

struct Backend::Incoming {
  ReceivedRequest request;
  bool hasHeaders = false;
  std::size_t size = 0;  // of the whole body, including the parts that are not kept
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
    if (*size == 0) {
      backend.complete(connection, incoming);
      return MHD_NO;  // closes the connection
    }
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
  static void notify(void* self, MHD_Connection* connection, void** /*state*/, MHD_ConnectionNotificationCode code) {
    const bool isNew = code == MHD_CONNECTION_NOTIFY_STARTED;
    const bool isClosed = static_cast<Backend*>(self)->connections_ == Connections::closed;
    if (isNew && isClosed) shutdown(socketOf(connection), SHUT_RDWR);
  }
  static void end(void* /*self*/, MHD_Connection* /*connection*/, void** state, MHD_RequestTerminationCode /*code*/) {
    delete static_cast<Incoming*>(std::exchange(*state, nullptr));
  }
};

Backend::Backend(Options options)
    : notify_(std::move(options.notify)),
      network_(options.network),
      keepsRequests_(options.keepsRequests),
      refuses_(std::move(options.refuses)),
      identity_(std::move(options.identity)),
      ending_(std::make_unique<Signal>()),
      secret_(std::move(options.secret)),
      standing_(std::move(options.answer)),
      next_(std::move(options.next)),
      reservation_(boundToLoopback(options.port)),
      port_(localPort(reservation_->get())),
      daemon_(nullptr, &MHD_stop_daemon) {
  listen();
}

Backend::~Backend() { stopListening(); }

void Backend::listen() {
  std::unique_ptr<Descriptor> listener = boundToLoopback(port_);
  ::listen(listener->get(), SOMAXCONN);
  MHD_OptionItem tls[] = {{MHD_OPTION_END, 0, nullptr}, {MHD_OPTION_END, 0, nullptr}, {MHD_OPTION_END, 0, nullptr}};
  if (identity_) {
    tls[0] = {MHD_OPTION_HTTPS_MEM_KEY, 0, identity_->key.data()};
    tls[1] = {MHD_OPTION_HTTPS_MEM_CERT, 0, identity_->certificate.data()};
  }
  const unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL;
  daemon_.reset(MHD_start_daemon(identity_ ? flags | MHD_USE_TLS : flags, 0,                       //
                                 nullptr, nullptr, &Callbacks::handle, this,                       //
                                 MHD_OPTION_LISTEN_SOCKET, listener->get(),                        //
                                 MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::begin, this,             //
                                 MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::notify, this,           //
                                 MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::end, this,               //
                                 MHD_OPTION_CONNECTION_TIMEOUT, secondsUntilIdleConnectionsClose,  //
                                 MHD_OPTION_ARRAY, tls,                                            //
                                 MHD_OPTION_END));
  if (daemon_ == nullptr)
    throw std::system_error(errno, std::generic_category(), "the local backend cannot be started");
  listener->release();  // now owned by the daemon
}

void Backend::stopListening() {
  ending_->set();
  daemon_.reset();
  ending_->clear();
}

void Backend::setConnections(Connections connections) {
  const std::lock_guard lock(listeningMutex_);
  connections_ = connections;
  if (connections == Connections::refused) {
    stopListening();
  } else if (daemon_ == nullptr) {
    listen();
  }
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

/// Continues to read a body that is too large, up to a limit, so that the sender receives the answer.
bool Backend::receive(Incoming& incoming, std::string_view bodyPart) {
  constexpr std::size_t largestDiscarded = 16 * largestBody;
  incoming.size += bodyPart.size();
  if (incoming.size <= largestBody) incoming.request.body += bodyPart;
  return incoming.size <= largestDiscarded;
}

void Backend::complete(MHD_Connection* connection, Incoming& incoming) {
  const Answer answer = record(incoming);
  const BackendConnection end(socketOf(connection), tlsSessionOf(connection), *ending_, network_);
  if (answer.delay.count() > 0 && !end.waitFor(std::min(answer.delay, Answer::longestDelay))) return;
  notify_("answer", details(answer, incoming.request.number));
  end.give(answer, incoming.request.method);
}

Answer Backend::record(Incoming& incoming) {
  ReceivedRequest& request = incoming.request;
  std::unique_lock lock(mutex_);
  const std::optional<std::string> secret = secret_;
  lock.unlock();
  const bool isTooLarge = incoming.size > largestBody;
  if (isTooLarge) request.body.clear();
  request.decode(secret);
  if (isTooLarge) {
    request.decodedBody.emplace().steps.push_back(
        {"more than " + std::to_string(largestBody) + " bytes; discarded", true});
  }

  std::optional<Answer> refusal = isTooLarge ? tooLargeAnswer() : refuses_(request);
  lock.lock();
  request.number = ++count_;
  if (keepsRequests_) received_.push_back(request);
  Answer answer = standing_;
  if (refusal) {
    answer = std::move(*refusal);
  } else if (!next_.empty()) {
    answer = std::move(next_.front());
    next_.pop_front();
  }
  lock.unlock();
  notify_("request", request.details());
  return answer;
}

}  // namespace pellion
