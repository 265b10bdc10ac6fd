#include "services/http/redirect.h"

#include <gtest/gtest.h>

#include "services/http/url_loading_errors.h"
#include "tests/support/cases.h"

namespace {

using platform::URL;
using platform::Value;

/// The next request as "METHOD URL", with "+body" and "+auth" if it has them; an error's code; or "deliver".
std::string outcomeOf(const Value& row) {
  const std::string location = test::textAt(row, "location");
  platform::URLRequest request{
      URL::URLWithString(test::textAt(row, "from")), test::textAt(row, "method"), {}, Value::bytes("body"), false};
  for (const char* name : {"Content-Type", "content-length", "Authorization", "X-Kept"}) request.headers.set(name, "x");
  platform::HTTPURLResponse response{*request.url, static_cast<int>(test::at(row, "status").integer()), {}};
  if (location != "none") response.headers.set("location", location);
  const auto step = services::nextStep(request, response, 0, {});
  if (std::holds_alternative<services::Deliver>(step)) return "deliver";
  if (const auto* error = std::get_if<platform::Error>(&step)) return std::to_string(error->code);
  const auto& next = std::get<platform::URLRequest>(step);
  EXPECT_NE(next.headers.find("X-Kept"), nullptr);
  EXPECT_EQ(next.httpBody.has_value(), next.headers.find("Content-Type") != nullptr);
  EXPECT_EQ(next.httpBody.has_value(), next.headers.find("Content-Length") != nullptr);
  return next.httpMethod + " " + next.url->absoluteString() + (next.httpBody ? " +body" : "") +
         (next.headers.find("Authorization") != nullptr ? " +auth" : "");
}

TEST(Redirect, TurnsAResponseIntoTheNextRequest) {
  for (const Value& row : test::caseRows("services/cases/redirects.json")) {
    EXPECT_EQ(outcomeOf(row), test::textAt(row, "becomes")) << row.description();
  }
}

}  // namespace
