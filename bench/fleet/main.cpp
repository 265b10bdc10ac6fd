// Measures phones in one process, and libcurl alone, against a server. Prints lines of a name and a number, which
// bench/fleet/run compares.

#include <curl/curl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/fleet/phones.h"

namespace {

using std::chrono::duration;
using std::chrono::steady_clock;

double residentKiB() {
  std::ifstream file("/proc/self/statm");
  double pages = 0;
  file >> pages >> pages;
  return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void print(const char* name, double value) { std::printf("%s %.6g\n", name, value); }

int measureMemory(const std::string& url, std::size_t phones) {
  bench::Phones fleet(url, 64);
  fleet.add(1);
  fleet.registerAll();  // what is made once
  const double memory = residentKiB();
  const double cpu = cpuSeconds();
  fleet.add(phones);
  fleet.registerAll();
  print("kib_per_phone", (residentKiB() - memory) / static_cast<double>(phones));
  print("kib", residentKiB() - memory);
  print("cpu_seconds", cpuSeconds() - cpu);
  print("not_accepted", static_cast<double>(fleet.notAccepted()));
  return 0;
}

/// As a fleet does it: phones and a network of their own for each core.
int measureRate(const std::string& url, std::size_t inFlight, double seconds) {
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  std::atomic<std::uint64_t> requests = 0;
  std::atomic<std::uint64_t> notAccepted = 0;
  std::barrier begin(static_cast<std::ptrdiff_t>(cores) + 1);
  std::barrier end(static_cast<std::ptrdiff_t>(cores) + 1);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < cores; ++i) {
    threads.emplace_back([&] {
      bench::Phones fleet(url, inFlight / cores);
      fleet.add(10 * inFlight / cores);
      fleet.sendFor(std::chrono::seconds(1));
      const std::uint64_t before = fleet.accepted();
      begin.arrive_and_wait();
      fleet.sendFor(std::chrono::duration_cast<std::chrono::nanoseconds>(duration<double>(seconds)));
      requests += fleet.accepted() - before;
      notAccepted += fleet.notAccepted();
      end.arrive_and_wait();
    });
  }
  begin.arrive_and_wait();
  const double cpu = cpuSeconds();
  const auto start = steady_clock::now();
  end.arrive_and_wait();
  const auto sent = static_cast<double>(requests);
  print("requests_per_second", sent / duration<double>(steady_clock::now() - start).count());
  print("cpu_us_per_request", (cpuSeconds() - cpu) * 1e6 / sent);
  print("requests", sent);
  print("not_accepted", static_cast<double>(notAccepted));
  return 0;
}

/// A registration as the phones send it, on a connection of its own, by one handle that is used again and again.
int measureLibcurl(const std::string& url, double seconds) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURL* const handle = curl_easy_init();
  curl_slist* lines = nullptr;
  for (const char* line :
       {"Authorization: Bearer bearer", "notificationid: 5a0000000000000000a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5",
        "Content-Type: text/plain", "mapid;", "apid;", "Accept: */*", "Accept-Language: en-US,en;q=0.9",
        "Accept-Encoding: gzip, deflate", "User-Agent: PellionHost", "Connection: keep-alive"}) {
    lines = curl_slist_append(lines, line);
  }
  const std::string address = url + "/portal/project/pushnotification/device?status=register";
  curl_easy_setopt(handle, CURLOPT_URL, address.c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, lines);
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "");
  curl_easy_setopt(handle, CURLOPT_FRESH_CONNECT, 1L);
  curl_easy_setopt(handle, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  constexpr auto ignore = [](char*, std::size_t size, std::size_t count, void*) { return size * count; };
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, +ignore);
  const double cpu = cpuSeconds();
  const auto start = steady_clock::now();
  double requests = 0;
  for (; steady_clock::now() - start < duration<double>(seconds); ++requests) {
    if (curl_easy_perform(handle) != CURLE_OK) return 1;
  }
  print("requests_per_second", requests / duration<double>(steady_clock::now() - start).count());
  print("cpu_us_per_request", (cpuSeconds() - cpu) * 1e6 / requests);
  print("requests", requests);
  curl_slist_free_all(lines);
  curl_easy_cleanup(handle);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view what = count > 1 ? arguments[1] : "";
  if (what == "memory" && count == 4) return measureMemory(arguments[2], std::strtoul(arguments[3], nullptr, 10));
  if (what == "rate" && count == 5) {
    return measureRate(arguments[2], std::strtoul(arguments[3], nullptr, 10), std::strtod(arguments[4], nullptr));
  }
  if (what == "libcurl" && count == 4) return measureLibcurl(arguments[2], std::strtod(arguments[3], nullptr));
  std::fputs("Usage: pellion_fleet_bench memory URL PHONES | rate URL IN_FLIGHT SECONDS | libcurl URL SECONDS\n",
             stderr);
  return 2;
}
