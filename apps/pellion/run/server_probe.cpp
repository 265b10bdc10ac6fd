#include "pellion/run/server_probe.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <variant>

#include "pellion/text/input_error.h"
#include "services/http/http_url.h"
#include "services/url_components.h"

namespace pellion {
namespace {

constexpr int longestWaitInMilliseconds = 5000;

/// 0, or the error that prevented a connection.
int connectionError(const addrinfo& address) {
  const int descriptor = socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return errno;
  int error = connect(descriptor, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
  if (error == EINPROGRESS) {
    pollfd ready{descriptor, POLLOUT, 0};
    socklen_t size = sizeof error;
    if (poll(&ready, 1, longestWaitInMilliseconds) <= 0) {
      error = ETIMEDOUT;
    } else if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
      error = errno;
    }
  }
  close(descriptor);
  return error;
}

/// The policy with all hosts that the phone may be allowed to reach during a scenario.
services::NetworkPolicy policyOf(const Scenario& scenario) {
  services::NetworkPolicy policy;
  for (const JSONNode* configuration : configurationsOf(scenario)) {
    const JSONNode* hosts = configuration->find("CLEAR_TEXT_HOSTS");
    if (hosts == nullptr) continue;
    for (const JSONNode& host : hosts->elements) policy.clearTextHosts.emplace_back(host.value.text());
  }
  return policy;
}

InputError unusable(std::string_view name, const std::string& url) {
  return InputError(std::string(name) + " " + url +
                    ": not an http or https URL; give one such as https://push.example.org");
}

services::URLComponents partsOf(std::string_view name, const std::string& url) {
  auto parts = services::parseURLComponents(url);
  const bool isUsable = parts && parts->host && !parts->host->empty();
  if (!isUsable || (parts->scheme != "http" && parts->scheme != "https")) throw unusable(name, url);
  return *std::move(parts);
}

}  // namespace

void checkServerURL(const std::string& url, const Scenario& scenario, std::string_view name) {
  const services::URLComponents parts = partsOf(name, url);
  if (std::holds_alternative<services::HTTPURL>(
          services::admissibleURL(platform::URL::URLWithString(url), policyOf(scenario)))) {
    return;
  }
  if (parts.scheme == "https") throw unusable(name, url);
  throw InputError(std::string(name) + " " + url + ": clear text goes to loopback alone; use https, or name " +
                   *parts.host + " in the CLEAR_TEXT_HOSTS of " + scenario.file);
}

void checkServer(const std::string& url, std::span<const Scenario> scenarios, std::string_view name) {
  const services::URLComponents parts = partsOf(name, url);
  for (const Scenario& scenario : scenarios) checkServerURL(url, scenario, name);
  const std::string unreachable = std::string(name) + " " + url + ": cannot be reached: ";
  const std::string port = std::to_string(parts.port.value_or(parts.scheme == "https" ? 443 : 80));
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(parts.host->c_str(), port.c_str(), &hints, &found); error != 0) {
    throw InputError(unreachable + gai_strerror(error) + "; check the host name");
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
  int error = 0;
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    error = connectionError(*address);
    if (error == 0) return;
  }
  throw InputError(unreachable + std::strerror(error) + "; start it, or correct the URL");
}

}  // namespace pellion
