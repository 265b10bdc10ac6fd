#include "services/url_loading/tcp_counters.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace services {
namespace {

tcp_info infoOf(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return {};
  return info;
}

}  // namespace

std::uint64_t bytesSent(int socket) {
  const tcp_info info = infoOf(socket);
  return info.tcpi_bytes_sent - info.tcpi_bytes_retrans + info.tcpi_notsent_bytes;
}

std::uint64_t bytesReceived(int socket) { return infoOf(socket).tcpi_bytes_received; }

}  // namespace services
