#include "services/url_loading/tcp_counters.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace services {
namespace {

TEST(TCPCounters, CountWhatIsSentAndWhatHasArrivedUnread) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(listener, any, size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, any, &size), 0);
  ASSERT_EQ(connect(client, any, size), 0);
  const int server = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  std::array<char, 1000> bytes{};
  for (std::uint64_t sent = 1000; sent <= 3000; sent += 1000) {
    ASSERT_EQ(send(server, bytes.data(), bytes.size(), 0), 1000);
    EXPECT_EQ(bytesSent(server), sent);
    ASSERT_EQ(recv(client, bytes.data(), bytes.size(), MSG_PEEK | MSG_WAITALL), 1000);
    EXPECT_EQ(bytesReceived(client), sent);
    ASSERT_EQ(recv(client, bytes.data(), bytes.size(), MSG_WAITALL), 1000);
  }
  EXPECT_EQ(bytesSent(client), 0U);
  for (const int each : {listener, client, server}) close(each);
  EXPECT_EQ(bytesReceived(-1), 0U);
}

}  // namespace
}  // namespace services
