#include "pellion/lab_server/lab_server.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "pellion/backend/backend_connection.h"
#include "pellion/lab_server/lab_events.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

constexpr unsigned mostConnections = 200;
constexpr unsigned secondsUntilIdleConnectionsClose = 120;
/// Of a body that is too large or of a request that is refused, so that the sender receives the reply.
constexpr std::size_t largestDiscarded = 16 * LabRequest::largestBody;

/// The fields of every reply. The page may load only what this server has, and nothing may frame or read it.
void addFields(MHD_Response* response, const LabReply& reply) {
  const auto add = [&](const char* name, const std::string& value) {
    MHD_add_response_header(response, name, value.c_str());
  };
  const std::string styles = reply.nonce.empty() ? "'self'" : "'self' 'nonce-" + reply.nonce + "'";
  add("Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src " + styles +
                                     "; connect-src 'self'; img-src 'self' data:; base-uri 'none'; "
                                     "form-action 'none'; frame-ancestors 'none'");
  add("X-Content-Type-Options", "nosniff");
  add("Referrer-Policy", "no-referrer");
  add("Cache-Control", "no-store");
  add("Cross-Origin-Opener-Policy", "same-origin");
  add("Cross-Origin-Resource-Policy", "same-origin");
  if (!reply.type.empty()) add("Content-Type", reply.type);
  for (const auto& [name, value] : reply.headers) add(name.c_str(), value);
}

}  // namespace

struct LabServer::Incoming {
  LabRequest request;
  std::optional<LabReply> refusal;
  bool hasBegun = false;
  std::size_t size = 0;  // of the whole body, including the parts that are not kept
};

/// The functions that the server library calls; `self` is the server.
struct LabServer::Callbacks {
  static void* create(void* self, const char* /*target*/, MHD_Connection* /*connection*/) {
    static_cast<LabServer*>(self)->countRequest(1);
    return new Incoming;
  }
  static MHD_Result handle(void* self, MHD_Connection* connection, const char* path, const char* method,
                           const char* /*version*/, const char* bodyPart, std::size_t* size, void** state) {
    auto& incoming = *static_cast<Incoming*>(*state);
    auto& server = *static_cast<LabServer*>(self);
    if (!incoming.hasBegun) {
      incoming.hasBegun = true;
      server.begin(incoming, connection, method, path);
      return MHD_YES;
    }
    if (*size == 0) return static_cast<MHD_Result>(server.reply(connection, incoming));
    incoming.size += *size;
    incoming.request.isTooLarge = incoming.size > LabRequest::largestBody;
    if (!incoming.refusal && !incoming.request.isTooLarge) incoming.request.body.append(bodyPart, *size);
    *size = 0;
    return incoming.size <= largestDiscarded ? MHD_YES : MHD_NO;
  }
  static MHD_Result addHeader(void* request, MHD_ValueKind /*kind*/, const char* name, const char* value) {
    static_cast<LabRequest*>(request)->headers.emplace_back(value::asciiLowercase(name), value == nullptr ? "" : value);
    return MHD_YES;
  }
  static void end(void* self, MHD_Connection* /*connection*/, void** state, MHD_RequestTerminationCode /*code*/) {
    delete static_cast<Incoming*>(std::exchange(*state, nullptr));
    static_cast<LabServer*>(self)->countRequest(-1);
  }
  static ssize_t readEvents(void* events, std::uint64_t /*position*/, char* buffer, std::size_t size) {
    const std::size_t count = static_cast<LabEvents*>(events)->read(buffer, size);
    return count == 0 ? MHD_CONTENT_READER_END_OF_STREAM : static_cast<ssize_t>(count);
  }
  static void endEvents(void* events) { delete static_cast<LabEvents*>(events); }
};

LabServer::LabServer(Options options)
    : listener_(boundToLoopback(options.port)),
      port_(localPort(listener_->get())),
      heartbeat_(options.heartbeat),
      access_(port_),
      routes_(options.page),
      daemon_(nullptr, &MHD_stop_daemon) {
  listen(listener_->get(), SOMAXCONN);
  const unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL;
  daemon_.reset(MHD_start_daemon(flags, 0, nullptr, nullptr, &Callbacks::handle, this,             //
                                 MHD_OPTION_LISTEN_SOCKET, listener_->get(),                       //
                                 MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::create, this,            //
                                 MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::end, this,               //
                                 MHD_OPTION_CONNECTION_LIMIT, mostConnections,                     //
                                 MHD_OPTION_CONNECTION_TIMEOUT, secondsUntilIdleConnectionsClose,  //
                                 MHD_OPTION_STRICT_FOR_CLIENT, 1,                                  //
                                 MHD_OPTION_END));
  if (daemon_ == nullptr) throw std::system_error(errno, std::generic_category(), "the lab's server cannot be started");
  listener_->release();  // now owned by the daemon
  idleThread_ = std::thread([this] { closeIdlePhones(); });
}

LabServer::~LabServer() {
  constexpr std::chrono::seconds patience{2};  // with a client that does not read its reply
  std::unique_lock lock(mutex_);
  isEnding_ = true;
  changed_.notify_all();
  routes_.lab().endMessages();
  changed_.wait_for(lock, patience, [this] { return running_ == 0; });
  lock.unlock();
  daemon_.reset();
  idleThread_.join();
}

void LabServer::countRequest(int change) {
  const std::lock_guard lock(mutex_);
  running_ += change;
  changed_.notify_all();
}

void LabServer::begin(Incoming& incoming, MHD_Connection* connection, const char* method, const char* path) const {
  LabRequest& request = incoming.request;
  request.method = method;
  request.path = path;
  MHD_get_connection_values(connection, MHD_HEADER_KIND, &Callbacks::addHeader, &request);
  const auto value = [&](MHD_ValueKind kind, const std::string& name) {
    const char* const found = MHD_lookup_connection_value(connection, kind, name.c_str());
    return found == nullptr ? std::nullopt : std::optional<std::string>(found);
  };
  request.cookie = value(MHD_COOKIE_KIND, access_.cookieName());
  request.token = value(MHD_GET_ARGUMENT_KIND, "token");
  request.after = value(MHD_GET_ARGUMENT_KIND, "after");
  incoming.refusal = access_.check(request);
}

int LabServer::reply(MHD_Connection* connection, const Incoming& incoming) {
  const LabReply reply = isEnding_          ? failureReply(503, "the lab is ending; start pellion lab again")
                         : incoming.refusal ? *incoming.refusal
                                            : routes_.reply(incoming.request);
  Response response(nullptr, &MHD_destroy_response);
  if (reply.stream != nullptr) {
    constexpr std::size_t blockSize = 16U << 10;
    auto events = std::make_unique<LabEvents>(reply.stream, reply.after, heartbeat_, isEnding_);
    response.reset(MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, blockSize, &Callbacks::readEvents, events.get(),
                                                     &Callbacks::endEvents));
    if (response != nullptr) static_cast<void>(events.release());
  } else {
    auto* const bytes = const_cast<char*>(reply.body.data());  // copied
    response.reset(MHD_create_response_from_buffer(reply.body.size(), bytes, MHD_RESPMEM_MUST_COPY));
  }
  if (response == nullptr) return MHD_NO;
  addFields(response.get(), reply);
  return MHD_queue_response(connection, reply.status, response.get());
}

void LabServer::closeIdlePhones() {
  constexpr std::chrono::minutes pause{1};
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, pause, [this] { return isEnding_.load(); })) {
    lock.unlock();
    routes_.lab().closeIdle(std::chrono::steady_clock::now());
    lock.lock();
  }
}

}  // namespace pellion
