#include "pellion/fleet/locust_socket.h"

#include <cstring>
#include <zmq.hpp>

#include "pellion/text/input_error.h"

namespace pellion {

struct LocustSocket::Sockets {
  zmq::context_t context;
  zmq::socket_t messages{context, zmq::socket_type::dealer};
  zmq::socket_t events{context, zmq::socket_type::pair};
};

LocustSocket::LocustSocket(const std::string& endpoint, const std::string& identity)
    : sockets_(std::make_unique<Sockets>()) {
  constexpr int idleSeconds = 30;
  constexpr int firstPause = 100;  // milliseconds before it connects again
  constexpr int longestPause = 1000;
  constexpr const char* eventsEndpoint = "inproc://events";
  zmq::socket_t& messages = sockets_->messages;
  messages.set(zmq::sockopt::routing_id, identity);
  messages.set(zmq::sockopt::linger, 0);
  messages.set(zmq::sockopt::ipv6, true);
  messages.set(zmq::sockopt::tcp_keepalive, 1);
  messages.set(zmq::sockopt::tcp_keepalive_idle, idleSeconds);
  messages.set(zmq::sockopt::reconnect_ivl, firstPause);
  messages.set(zmq::sockopt::reconnect_ivl_max, longestPause);
  sockets_->events.set(zmq::sockopt::linger, 0);
  try {
    if (zmq_socket_monitor(messages, eventsEndpoint, ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED) != 0) {
      throw zmq::error_t();
    }
    sockets_->events.connect(eventsEndpoint);
    messages.connect(endpoint);
  } catch (const zmq::error_t& error) {
    throw InputError(endpoint + ": no connection can be made: " + error.what() +
                     "; give --master the master's host and port, such as 10.0.0.1:5557");
  }
}

LocustSocket::~LocustSocket() { zmq_socket_monitor(sockets_->messages, nullptr, 0); }

void LocustSocket::send(const std::string& message) {
  // Without room the master has not read for long; it writes the worker off, and the worker it.
  static_cast<void>(sockets_->messages.send(zmq::buffer(message), zmq::send_flags::dontwait));
}

std::optional<std::string> LocustSocket::receive() {
  zmq::message_t message;
  if (!sockets_->messages.recv(message, zmq::recv_flags::dontwait)) return std::nullopt;
  return message.to_string();
}

std::optional<LocustSocket::Change> LocustSocket::takeChange() {
  zmq::message_t event;
  if (!sockets_->events.recv(event, zmq::recv_flags::dontwait)) return std::nullopt;
  std::uint16_t number = 0;  // its first two bytes; the endpoint follows in a part of its own
  if (event.size() >= sizeof number) std::memcpy(&number, event.data(), sizeof number);
  zmq::message_t endpoint;
  static_cast<void>(sockets_->events.recv(endpoint));
  return number == ZMQ_EVENT_DISCONNECTED ? Change::lost : Change::connected;
}

void LocustSocket::waitFor(std::chrono::milliseconds longest) {
  zmq::pollitem_t items[] = {{sockets_->messages, 0, ZMQ_POLLIN, 0}, {sockets_->events, 0, ZMQ_POLLIN, 0}};
  zmq::poll(items, std::size(items), longest);
}

void LocustSocket::linger(std::chrono::milliseconds longest) {
  sockets_->messages.set(zmq::sockopt::linger, static_cast<int>(longest.count()));
}

}  // namespace pellion
