#pragma once

#include <cstdint>

namespace services {

// What the kernel counts for a TCP connection on loopback: what one end has sent may not have reached the other yet,
// where a busy machine delivers it later. 0 for what is no such socket.

std::uint64_t bytesSent(int socket);      ///< handed over by the program at this end
std::uint64_t bytesReceived(int socket);  ///< in order, whether the program at this end has read them or not

}  // namespace services
