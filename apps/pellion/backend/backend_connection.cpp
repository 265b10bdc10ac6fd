#include "pellion/backend/backend_connection.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <system_error>

#include "pellion/text/input_error.h"
#include "services/url_loading/network.h"
#include "services/url_loading/tcp_counters.h"

namespace pellion {
namespace {

constexpr std::chrono::nanoseconds forEver = std::chrono::nanoseconds::max();

/// The port of one end of the connection; `name` is getsockname or getpeername.
std::uint16_t portOf(int socket, int (*name)(int, sockaddr*, socklen_t*)) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  name(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

/// The timeout for poll(), for which a negative value means no limit.
int millisecondsOf(std::chrono::nanoseconds duration) {
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(duration).count();
  return count > std::numeric_limits<int>::max() ? -1 : static_cast<int>(count);
}

/// Like poll(), but a signal that this program handles does not end it.
int pollFor(std::chrono::nanoseconds duration, std::span<pollfd> events) {
  using Clock = std::chrono::steady_clock;
  for (const Clock::time_point start = Clock::now();;) {
    const auto left = std::max(duration - (Clock::now() - start), std::chrono::nanoseconds::zero());
    const int count = poll(events.data(), events.size(), millisecondsOf(left));
    if (count >= 0 || errno != EINTR) return count;
  }
}

}  // namespace

Descriptor::~Descriptor() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::unique_ptr<Descriptor> boundToLoopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto bound = std::make_unique<Descriptor>(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int yes = 1;
  setsockopt(bound->get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  if (bind(bound->get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return bound;
  throw InputError("port " + std::to_string(port) + " is not available: " + std::strerror(errno) +
                   "; give another one, or 0 for any free port");
}

std::uint16_t localPort(int socket) { return portOf(socket, &getsockname); }

Signal::Signal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor() < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}
void Signal::set() const { eventfd_write(descriptor(), 1); }
void Signal::clear() const {
  eventfd_t value = 0;
  eventfd_read(descriptor(), &value);
}

BackendConnection::BackendConnection(int socket, void* tlsSession, const Signal& ending, services::Network* network)
    : socket_(socket),
      tlsSession_(static_cast<gnutls_session_t>(tlsSession)),
      ending_(ending),
      network_(network),
      clientPort_(portOf(socket, &getpeername)),
      serverPort_(localPort(socket)) {}

void BackendConnection::give(const Answer& answer, std::string_view method) const {
  const auto [once, endlessly] = onWire(answer, method);
  bool goesOn = writeSlowly(once, answer.pace);
  while (goesOn && !endlessly.empty()) goesOn = writeSlowly(endlessly, answer.pace);
  if (goesOn && answer.then == Answer::End::resets) reset();
  if (goesOn && answer.then == Answer::End::waits) static_cast<void>(keepSilent(forEver));
}

bool BackendConnection::waitFor(std::chrono::milliseconds duration) const {
  pollfd events[] = {{ending_.descriptor(), POLLIN, 0}};
  return pollFor(duration, events) == 0;
}

bool BackendConnection::writeSlowly(std::string_view bytes, std::chrono::nanoseconds pace) const {
  if (pace.count() == 0) return write(bytes);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if ((i > 0 && !keepSilent(pace)) || !write(bytes.substr(i, 1))) return false;
  }
  return true;
}

bool BackendConnection::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t size = sendSome(bytes);
    if (size >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(size));
    } else if (errno == EAGAIN) {
      pollfd events[] = {{socket_, POLLOUT, 0}, {ending_.descriptor(), POLLIN, 0}};
      if (pollFor(forEver, events) < 0 || events[1].revents != 0) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

/// Like send(). GnuTLS wants the same bytes again when it could not send them at once.
ssize_t BackendConnection::sendSome(std::string_view bytes) const {
  if (tlsSession_ == nullptr) return send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  const ssize_t size = gnutls_record_send(tlsSession_, bytes.data(), bytes.size());
  if (size < 0) errno = size == GNUTLS_E_AGAIN ? EAGAIN : size == GNUTLS_E_INTERRUPTED ? EINTR : EPIPE;
  return size;
}

bool BackendConnection::keepSilent(std::chrono::nanoseconds duration) const {
  const auto isOver = std::make_shared<Signal>();
  if (network_ != nullptr) {
    network_->announce({clientPort_, serverPort_, services::bytesSent(socket_), duration, [isOver] { isOver->set(); }});
  }
  pollfd events[] = {{socket_, POLLRDHUP, 0}, {ending_.descriptor(), POLLIN, 0}, {isOver->descriptor(), POLLIN, 0}};
  const int count = pollFor(network_ == nullptr ? duration : forEver, events);
  return count >= 0 && events[0].revents == 0 && events[1].revents == 0;
}

/// Linux resets a connection when its socket is connected to no address.
void BackendConnection::reset() const {
  const sockaddr unspecified{AF_UNSPEC, {}};
  static_cast<void>(connect(socket_, &unspecified, sizeof unspecified));
}

}  // namespace pellion
