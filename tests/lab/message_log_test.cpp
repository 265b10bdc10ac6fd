#include "pellion/lab/message_log.h"

#include <gmock/gmock.h>

#include <future>

namespace pellion {
namespace {

using namespace testing;
using std::chrono::milliseconds;

constexpr milliseconds noPatience{0};
constexpr std::chrono::hours longPatience{1};

std::vector<std::uint64_t> idsAfter(MessageLog& log, std::uint64_t id, std::size_t most = 1000) {
  std::vector<std::uint64_t> ids;
  const auto messages = log.after(id, most, noPatience);
  for (const MessageLog::Message& message : messages.value()) ids.push_back(message.id);
  return ids;
}

TEST(MessageLog, ReturnsWhatFollowsAnIDWithoutReplacedStates) {
  MessageLog log;
  for (const char* kind : {"event", "state", "chain", "event", "state", "refused", "chain", "event"}) {
    log.append(kind, "{}");
  }
  EXPECT_THAT(idsAfter(log, 0), ElementsAre(1, 4, 5, 6, 7, 8));
  EXPECT_THAT(idsAfter(log, 4, 2), ElementsAre(5, 6));
  EXPECT_THAT(idsAfter(log, 8), IsEmpty());
}

TEST(MessageLog, KeepsTheLastMessages) {
  MessageLog log;
  log.append("chain", "{}");
  log.append("state", "{}");
  for (std::size_t i = 0; i < MessageLog::mostMessages + 10; ++i) log.append("event", "{}");
  EXPECT_THAT(idsAfter(log, 0, 3), ElementsAre(1, 2, 15)) << "the chain and the state are the present ones";
  const std::string large(MessageLog::mostBytes / 2, ' ');
  for (int i = 0; i < 3; ++i) log.append("event", large);
  EXPECT_EQ(idsAfter(log, 0).size(), 3U);
}

TEST(MessageLog, WakesReadersForAMessageAndForItsEnd) {
  MessageLog log;
  const auto reading = [&](std::uint64_t id) {
    return std::async(std::launch::async, [&log, id] { return log.after(id, 10, longPatience); });
  };
  auto first = reading(0);
  log.append("event", "1");
  EXPECT_EQ(first.get().value().at(0).data, "1");
  auto next = reading(1);
  log.end();
  EXPECT_FALSE(next.get());
  log.append("event", "2");
  EXPECT_EQ(log.after(0, 10, longPatience).value().size(), 1U) << "what came before the end can still be read";
}

}  // namespace
}  // namespace pellion
