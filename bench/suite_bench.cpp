// Measures `pellion test` with many scenarios, two at once: each reads its file, launches a phone, sends four requests
// over real HTTP to its own backend and verifies them. The baseline sends four requests from libcurl to a libmicrohttpd
// of their own, two at once too: the threads, sockets and system calls without which no such scenario is possible.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <microhttpd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "pellion/suite/scenario_suite.h"

namespace {

constexpr std::size_t batch = 100;
constexpr std::size_t jobs = 2;

void wholeLife(benchmark::State& state) {
  const std::vector<pellion::SuiteFile> files(batch, {PELLION_SOURCE_DIR "/examples/scenarios/whole_life.json", true});
  std::string failure;
  while (state.KeepRunningBatch(batch)) {
    pellion::runSuite(files, {.jobs = jobs}, [&](std::size_t, const pellion::SuiteResult& result) {
      if (result.outcome != pellion::SuiteResult::Outcome::passed) failure = problemPlace(result);
    });
  }
  if (!failure.empty()) state.SkipWithError(failure.c_str());
}

/// Called when the request's head is there, then for its body, then at its end.
MHD_Result answerRequest(void* /*context*/, MHD_Connection* connection, const char* /*url*/, const char* /*method*/,
                         const char* /*version*/, const char* /*body*/, std::size_t* bodySize, void** request) {
  if (*request == nullptr || *bodySize != 0) {
    *request = connection;
    *bodySize = 0;
    return MHD_YES;
  }
  static char body[] = "{}";
  MHD_Response* response = MHD_create_response_from_buffer(sizeof body - 1, body, MHD_RESPMEM_PERSISTENT);
  const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return result;
}

std::size_t discard(const char* /*data*/, std::size_t size, std::size_t count, void* /*context*/) {
  return size * count;
}

bool sendBareRequest(const std::string& url) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, "eyJwbnN0YXRzIjpbXX0");
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &discard);
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  return curl_easy_perform(handle.get()) == CURLE_OK;
}

bool sendBareRequests() {
  constexpr int requests = 4;
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const std::unique_ptr<MHD_Daemon, decltype(&MHD_stop_daemon)> server(
      MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION, 0, nullptr, nullptr,
                       &answerRequest, nullptr, MHD_OPTION_SOCK_ADDR, &loopback, MHD_OPTION_END),
      MHD_stop_daemon);
  if (server == nullptr) return false;
  const std::uint16_t port = MHD_get_daemon_info(server.get(), MHD_DAEMON_INFO_BIND_PORT)->port;
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
  bool areAnswered = true;
  for (int i = 0; i < requests; ++i) areAnswered = sendBareRequest(url) && areAnswered;
  return areAnswered;
}

void bareRequests(benchmark::State& state) {
  std::atomic<bool> areAnswered = true;
  while (state.KeepRunningBatch(batch)) {
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> workers;
    for (std::size_t i = 0; i < jobs; ++i) {
      workers.emplace_back([&] {
        while (next++ < batch) areAnswered = sendBareRequests() && areAnswered;
      });
    }
  }
  if (!areAnswered) state.SkipWithError("a request was not answered");
}

BENCHMARK(bareRequests)->Name("scenario/bare_requests")->UseRealTime();
BENCHMARK(wholeLife)->Name("scenario/whole_life")->UseRealTime();

}  // namespace
