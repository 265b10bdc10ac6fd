#include "host/redirect.h"

#include <gtest/gtest.h>

#include "host/url_loading_errors.h"

namespace {

using platform::URL;

// What becomes of `method from` answered with `status` and `Location: location`.
struct Row {
  std::string method, from;
  int status;
  std::string location;
  std::string expected;  // "METHOD URL", then "+body" and "+auth" when they go along; an error's code; "deliver"
};

std::string outcomeOf(const Row& row) {
  platform::URLRequest request{URL::URLWithString(row.from), row.method, {}, platform::Value::bytes("body"), false};
  for (const char* name : {"Content-Type", "content-length", "Authorization", "X-Kept"}) request.headers.set(name, "x");
  platform::HTTPURLResponse response{*request.url, row.status, {}};
  if (row.location != "none") response.headers.set("location", row.location);
  const auto step = host::nextStep(request, response, 0, {});
  if (std::holds_alternative<host::Deliver>(step)) return "deliver";
  if (const auto* error = std::get_if<platform::Error>(&step)) return std::to_string(error->code);
  const auto& next = std::get<platform::URLRequest>(step);
  EXPECT_NE(next.headers.find("X-Kept"), nullptr);
  EXPECT_EQ(next.httpBody.has_value(), next.headers.find("Content-Type") != nullptr);
  EXPECT_EQ(next.httpBody.has_value(), next.headers.find("Content-Length") != nullptr);
  return next.httpMethod + " " + next.url->absoluteString() + (next.httpBody ? " +body" : "") +
         (next.headers.find("Authorization") != nullptr ? " +auth" : "");
}

TEST(Redirect, TurnsAResponseIntoTheNextRequest) {
  const Row rows[] = {
      {"POST", "https://a/x", 301, "/y", "GET https://a/y +auth"},
      {"POST", "https://a/x", 302, "/y", "GET https://a/y +auth"},
      {"POST", "https://a/x", 303, "/y", "GET https://a/y +auth"},
      {"POST", "https://a/x", 307, "/y", "POST https://a/y +body +auth"},
      {"POST", "https://a/x", 308, "/y", "POST https://a/y +body +auth"},
      {"PUT", "https://a/x", 301, "/y", "PUT https://a/y +body +auth"},
      {"PUT", "https://a/x", 303, "/y", "GET https://a/y +auth"},
      {"HEAD", "https://a/x", 303, "/y", "HEAD https://a/y +body +auth"},
      {"POST", "https://a/x", 307, "none", "deliver"},
      {"POST", "https://a/x", 300, "/y", "deliver"},
      {"POST", "https://a/x", 304, "/y", "deliver"},
      {"POST", "https://a/x", 200, "/y", "deliver"},
      {"GET", "https://a/x/y?q", 302, "../z#f", "GET https://a/z#f +body +auth"},
      {"GET", "https://a/x/y?q", 302, "?r", "GET https://a/x/y?r +body +auth"},
      {"GET", "https://a/x?q#f", 302, "#g", "GET https://a/x?q#g +body +auth"},
      {"GET", "https://a/x?q", 302, "?", "GET https://a/x? +body +auth"},
      {"GET", "https://a?q", 302, "y/./..//z/..", "GET https://a// +body +auth"},
      {"GET", "https://[::1]:8/x/", 302, "../../y/../..z", "GET https://[::1]:8/..z +body +auth"},
      {"GET", "https://a/x", 302, "a \xC3\xBC%2f?b c[0]", "GET https://a/a%20%C3%BC%2f?b%20c%5B0%5D +body +auth"},
      {"GET", "https://a/x", 302, "%2", "-1000"},
      {"GET", "https://a/x", 302, "https://A:443/y", "GET https://A:443/y +body +auth"},
      {"POST", "https://a/x", 307, "//b/y", "POST https://b/y +body"},
      {"POST", "https://a/x", 307, "https://a:444/y", "POST https://a:444/y +body"},
      {"POST", "http://localhost/x", 307, "https://localhost/x", "POST https://localhost/x +body"},
      {"POST", "http://localhost/x", 307, "http://127.0.0.1/x", "POST http://127.0.0.1/x +body"},
      {"POST", "https://localhost/x", 307, "http://localhost/x", "-1022"},
      {"POST", "http://localhost/x", 307, "http://b/x", "-1022"},
      {"GET", "https://a/x", 302, "ftp://a/x", "-1002"},
      {"GET", "https://a/x", 302, "ftp://a:99999/", "-1002"},
      {"GET", "https://a/x", 302, "mailto:", "-1002"},
      {"GET", "https://a/x", 302, "https:/b", "-1002"},
      {"GET", "https://a/x", 302, "https:/.//b", "-1002"},
      {"GET", "https://a/x", 302, "https:b", "-1002"},
      {"GET", "https://a/x", 302, "https:", "-1002"},
      {"GET", "https://a/x", 302, "https:///b", "-1002"},
      {"GET", "https://a/x", 302, "https://(b)/", "-1003"},
      {"GET", "https://a/x", 302, "https://a:99999/", "-1000"},
      {"GET", "https://a/x", 302, "https://[::1/y", "-1000"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(outcomeOf(row), row.expected) << row.method << ' ' << row.status << ' ' << row.location;
  }
}

}  // namespace
