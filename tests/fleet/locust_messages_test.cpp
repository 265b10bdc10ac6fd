#include "pellion/fleet/locust_messages.h"

#include <gmock/gmock.h>

#include <msgpack.hpp>
#include <sstream>

namespace pellion {
namespace {

using namespace testing;
using namespace std::string_literals;
using std::chrono::microseconds;
using std::chrono::milliseconds;

/// MessagePack as text like JSON, where keys may be numbers.
std::string textOf(const std::string& bytes) {
  std::ostringstream text;
  text << msgpack::unpack(bytes.data(), bytes.size()).get();
  std::string json = text.str();
  std::erase(json, '\\');  // before each slash
  return json;
}

TEST(LocustMessages, AreTheseBytes) {
  const LocustCounts counts{{"Open", 3}, {"Other", 300}};
  const std::pair<std::string, std::string> cases[] = {
      {locustReady("w"),
       "\x93\xac"s
       "client_ready"
       "\xff\xa1w"s},
      {locustMessage("quit", "w"), "\x93\xa4quit\xc0\xa1w"s},
      {locustMessage("quit", "w\xff"), "\x93\xa4quit\xc0\xa4w\xef\xbf\xbd"s},
      {locustHeartbeat("w", "running", {12.5, 256}),
       "\x93\xa9heartbeat\x83\xa5state\xa7running\xb1"s
       "current_cpu_usage\xcb\x40\x29\0\0\0\0\0\0\xb4"s
       "current_memory_usage\xcd\x01\0\xa1w"s},
      {locustSpawningComplete("w", counts),
       "\x93\xb1spawning_complete\x82\xb2user_classes_count\x82\xa4Open\x03\xa5Other\xcd\x01\x2c\xaauser_count\xcd\x01\x2f"s
       "\xa1w"s},
      {locustException("w", "no"),
       "\x93\xa9"s
       "exception\x82\xa3msg\xa2no\xa9traceback\xa2no\xa1w"s},
  };
  for (const auto& [found, wanted] : cases) EXPECT_EQ(found, wanted);
}

TEST(LocustMessages, GroupResponseTimesAsLocustDoes) {
  const std::pair<microseconds, std::int64_t> cases[] = {
      {microseconds(0), 0},      {microseconds(499), 0},     {microseconds(500), 0},
      {microseconds(1500), 2},   {microseconds(2500), 2},    {microseconds(99'600), 100},
      {milliseconds(105), 100},  {milliseconds(147), 150},   {milliseconds(994), 990},
      {milliseconds(996), 1000}, {milliseconds(3432), 3400}, {milliseconds(58'760), 59'000}};
  for (const auto& [duration, wanted] : cases) EXPECT_EQ(locustResponseTime(duration), wanted) << duration.count();
}

TEST(LocustMessages, NameAClassForEachKind) {
  const std::pair<const char*, const char*> cases[] = {{"open application", "OpenApplication"},
                                                       {"iOS 17, in the background", "IOS17InTheBackground"},
                                                       {"v2app", "V2App"},
                                                       {"caf\xc3\xa9 user", "CafUser"},
                                                       {"17", ""},
                                                       {"\xc3\xa9", ""}};
  for (const auto& [kind, wanted] : cases) EXPECT_EQ(locustClassName(kind), wanted);
}

FleetFigures figuresOf(std::initializer_list<services::RequestOutcome> outcomes) {
  FleetFigures figures;
  for (const services::RequestOutcome& outcome : outcomes) figures.endpoints["POST /a"].record(outcome);
  return figures;
}

TEST(LocustStatistics, CountAsLocustDoes) {
  LocustStatistics statistics(1000.25);
  statistics.add(figuresOf({{.status = 200, .answering = milliseconds(150), .receivedBytes = 7, .isJSON = true},
                            {.status = 503, .connecting = milliseconds(1), .answering = milliseconds(2)},
                            {.isCancelled = true}}),
                 1001.5);
  FleetFigures later = figuresOf({{.errorCode = -1001}});
  later.endpoints["GET /lost"].record({.isCancelled = true});
  later.raised["R: r"] = 2;
  statistics.add(later, 1002.5);
  EXPECT_EQ(statistics.requests(), 3U);
  const std::string figures =
      R"x("last_request_timestamp":1002.5,"start_time":1000.25,"num_requests":3,"num_none_requests":1,)x"
      R"x("num_failures":2,"total_response_time":153,"max_response_time":150,"min_response_time":3,)x"
      R"x("total_content_length":7,"response_times":{3:1,150:1},"num_reqs_per_sec":{1001:2,1002:1},)x"
      R"x("num_fail_per_sec":{1001:1,1002:1}})x";
  const std::string wanted =
      R"x(["stats",{"stats":[{"name":"/a","method":"POST",)x" + figures +
      R"x(],"stats_total":{"name":"Aggregated","method":"",)x" + figures +
      R"x(,"errors":{"POST./a.503":{"name":"/a","method":"POST","error":"503","occurrences":1},)x"
      R"x("POST./a.The request timed out. (-1001)":{"name":"/a","method":"POST",)x"
      R"x("error":"The request timed out. (-1001)","occurrences":1},)x"
      R"x(".application ended.R: r":{"name":"application ended","method":"","error":"R: r","occurrences":2}},)x"
      R"x("user_classes_count":{"A":1,"B":2},"user_count":3},"w"])x";
  EXPECT_EQ(textOf(statistics.message("w", {{"A", 1}, {"B", 2}})), wanted);
}

TEST(LocustStatistics, SayNothingOfTimesWithoutRequests) {
  EXPECT_THAT(textOf(LocustStatistics(5).message("w", {})),
              AllOf(HasSubstr(R"("stats":[],)"), HasSubstr(R"("last_request_timestamp":null)"),
                    HasSubstr(R"("min_response_time":null)"), HasSubstr(R"("response_times":{})")));
}

/// [type, {"index": 4, "user_classes_count": counts, "timestamp": timestamp, ...}, "w"]
template <class Counts, class Timestamp>
std::string orderOf(const char* type, const Counts& counts, const Timestamp& timestamp) {
  msgpack::sbuffer bytes;
  msgpack::packer<msgpack::sbuffer> packer(bytes);
  packer.pack_array(3);
  packer.pack(type);
  packer.pack_map(6);
  packer.pack("index").pack(4);
  packer.pack("user_classes_count").pack(counts);
  packer.pack("timestamp").pack(timestamp);
  packer.pack("host").pack("http://h");
  packer.pack("stop_timeout").pack(2);
  packer.pack(7).pack_nil();
  packer.pack("w");
  return {bytes.data(), bytes.size()};
}

TEST(LocustOrders, AreRead) {
  const std::map<std::string, int> counts{{"A", 2}, {"B", 0}};
  const auto order = readLocustOrder(orderOf("spawn", counts, 17.5));
  ASSERT_TRUE(order && order->spawn);
  EXPECT_EQ(order->type, "spawn");
  EXPECT_EQ(order->spawn->timestamp, 17.5);
  EXPECT_EQ(order->spawn->counts, (LocustCounts{{"A", 2}, {"B", 0}}));
  EXPECT_EQ(order->spawn->host, "http://h");
  EXPECT_EQ(order->spawn->stopTimeout, std::chrono::seconds(2));
  EXPECT_EQ(readLocustOrder(orderOf("ack", counts, 0))->index, 4U);
  EXPECT_EQ(readLocustOrder("\x92\xa4stop\xc0"s)->type, "stop");
  EXPECT_EQ(readLocustOrder("\x93\xa3"
                            "ack\xc0\xa1w"s)
                ->index,
            std::nullopt)
      << "of an old master";
}

TEST(LocustOrders, AreRefusedIfTheyAreNone) {
  const std::map<std::string, int> counts{{"A", 2}};
  const std::string whole = orderOf("spawn", counts, 1.0);
  const std::string cases[] = {"",
                               "\xc1",
                               "\x80",
                               "\x91\xa4stop",
                               "\x92\x01\xc0",
                               whole.substr(0, whole.size() - 9),
                               orderOf("spawn", std::map<std::string, int>{{"A", -1}}, 1.0),
                               orderOf("spawn", std::map<int, int>{{1, 1}}, 1.0),
                               orderOf("spawn", std::map<std::string, std::string>{{"A", "1"}}, 1.0),
                               orderOf("spawn", std::vector<int>{1}, 1.0),
                               orderOf("spawn", counts, "now")};
  for (const std::string& bytes : cases) EXPECT_FALSE(readLocustOrder(bytes)) << PrintToString(bytes);
}

}  // namespace
}  // namespace pellion
