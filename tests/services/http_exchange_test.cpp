#include "services/http/http_exchange.h"

#include <gtest/gtest.h>

#include <variant>

#include "tests/services/url_session_fixture.h"

namespace {

using namespace test;

TEST(TransferTest, RecordsProgressWhenAByteMoves) {
  LoopbackServer server(always(plainOK));
  const platform::URLRequest made = request(server.url("/"));
  auto url = services::admissibleURL(made.url, services::NetworkPolicy());
  services::EasyHandles handles;
  services::Transfer transfer(made, std::get<services::HTTPURL>(std::move(url)), "", nullptr, handles);
  const auto begin = transfer.lastProgress();
  EXPECT_EQ(curl_easy_perform(transfer.handle()), CURLE_OK);
  EXPECT_GT(transfer.lastProgress(), begin);
}

}  // namespace
