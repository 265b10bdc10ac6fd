#include "pellion/lab_server/lab_server.h"

#include <gmock/gmock.h>

#include <optional>

#include "pellion/text/json_reader.h"
#include "pellion/text/json_writer.h"
#include "services/gzip.h"
#include "tests/lab/lab_client.h"
#include "tests/support/bytes.h"
#include "tests/support/cases.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;
using Fields = test::LabClient::Fields;

/// A lab with a small page.
class LabOverHTTP : public Test {
 protected:
  LabOverHTTP() { start({}); }

  void start(LabServer::Options options) {
    options.page = files_;
    server_.emplace(options);
    const std::string location = server_->address().substr(server_->address().find("/?"));
    const std::string reply = test::LabClient(server_->port(), "GET", location, {}).readAll();
    cookie_ = test::between(reply, "Set-Cookie: ", ";");
  }
  [[nodiscard]] test::LabClient request(const std::string& method, const std::string& path,
                                        const std::string& body = "", Fields changed = {}) const {
    changed.insert(changed.begin(), {"Cookie", cookie_});
    return {server_->port(), method, path, changed, body};
  }
  [[nodiscard]] std::string reply(const std::string& method, const std::string& path, const std::string& body = "",
                                  const Fields& changed = {}) const {
    return request(method, path, body, changed).readAll();
  }
  [[nodiscard]] static std::string statusOf(const std::string& reply) {
    return reply.empty() ? "" : reply.substr(9, 3);
  }
  [[nodiscard]] static std::string bodyOf(const std::string& reply) { return reply.substr(reply.find("\r\n\r\n") + 4); }
  /// Opens a phone and returns "/api/phones/ID".
  [[nodiscard]] std::string openPhone() const {
    const std::string opened = reply("POST", "/api/phones", "{}");
    EXPECT_EQ(statusOf(opened), "201") << opened;
    return "/api/phones/" + test::textAt(readJSON("reply", bodyOf(opened)).value, "phone");
  }

  static Value packed(std::string_view text) { return services::gzip(test::bytesOf(text), 1).value(); }
  static std::string_view textOfBytes(const Value& bytes) {
    return {reinterpret_cast<const char*>(bytes.bytes().data()), bytes.bytes().size()};
  }

  const Value page_ = packed("<!doctype html><style nonce=\"{nonce}\"></style>");
  const Value script_ = packed("start();");
  const std::vector<LabPageFile> files_{{"/", "text/html; charset=utf-8", textOfBytes(page_)},
                                        {"/lab.js", "text/javascript; charset=utf-8", textOfBytes(script_)}};
  std::optional<LabServer> server_;
  std::string cookie_;
};

TEST_F(LabOverHTTP, ServesThePageToItsCookieAlone) {
  const std::string first = reply("GET", "/");
  EXPECT_THAT(first, AllOf(HasSubstr("HTTP/1.1 200"), HasSubstr("Content-Type: text/html; charset=utf-8\r\n"),
                           HasSubstr("Cache-Control: no-store\r\n"), HasSubstr("X-Content-Type-Options: nosniff\r\n"),
                           HasSubstr("Referrer-Policy: no-referrer\r\n"),
                           HasSubstr("Cross-Origin-Opener-Policy: same-origin\r\n"),
                           HasSubstr("Cross-Origin-Resource-Policy: same-origin\r\n")));
  const std::string nonce = test::between(first, "style nonce=\"", "\"");
  EXPECT_GE(nonce.size(), 32U);
  EXPECT_EQ(test::between(first, "Content-Security-Policy: ", "\r\n"),
            "default-src 'none'; script-src 'self'; style-src 'self' 'nonce-" + nonce +
                "'; connect-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'none'; "
                "frame-ancestors 'none'");
  EXPECT_NE(test::between(reply("GET", "/"), "style nonce=\"", "\""), nonce);

  EXPECT_THAT(reply("GET", "/lab.js"), AllOf(HasSubstr("style-src 'self';"), EndsWith("\r\n\r\nstart();")));
  const std::string compressed = reply("GET", "/lab.js", "", {{"Accept-Encoding", "br, GZIP;q=0.5"}});
  EXPECT_THAT(compressed, HasSubstr("Content-Encoding: gzip\r\n"));
  EXPECT_EQ(decompressed(bodyOf(compressed)), "start();");
  for (const char* const other : {"gzip;q=0", "gzip; q=0.0", "x-gzip", ""}) {
    EXPECT_THAT(reply("GET", "/lab.js", "", {{"Accept-Encoding", other}}), Not(HasSubstr("Content-Encoding"))) << other;
  }
  for (const char* const path : {"/", "/lab.js", "/api/explain", "/nothing"}) {
    const std::string closed = reply("GET", path, "", {{"Cookie", ""}});
    EXPECT_EQ(statusOf(closed), "403") << path;
    EXPECT_THAT(closed, Not(HasSubstr("start()")));
    EXPECT_THAT(closed, HasSubstr("Content-Security-Policy: ")) << path;
  }
}

TEST_F(LabOverHTTP, RefusesWhatItCannotServe) {
  const std::string phone = openPhone();
  const std::string large(LabRequest::largestBody + 1, ' ');
  const std::tuple<const char*, std::string, std::string, const char*, const char*> cases[] = {
      {"GET", "/lab.css", "", "404", "nothing is at /lab.css"},
      {"GET", "/api/phones/1/2/events", "", "404", ""},
      {"GET", "/api/phones//events", "", "404", ""},
      {"GET", "/api/phones/0123456789abcdef/events", "", "404", "reload the page to get another"},
      {"DELETE", "/api/phones/0123456789abcdef", "", "404", ""},
      {"GET", phone + "/scenario", "", "409", "do something first"},
      {"GET", "/api/phones", "", "405", "it takes POST"},
      {"POST", "/", "{}", "405", "it takes GET"},
      {"PUT", phone, "{}", "405", "it takes DELETE"},
      {"POST", "/api/explain", large, "413", "2 MiB"},
      {"POST", "/api/explain", "", "415", "application/json"},
      {"POST", "/api/explain", "{", "400", "body:1:2: "},
      {"POST", "/api/explain", std::string(100, '['), "400", "body:1:"},
      {"POST", "/api/explain", "{}", "400", R"(the body has no \"payload\")"},
      {"POST", "/api/explain", R"({"payload": 1})", "400", R"(\"payload\" cannot be 1; expected a string)"},
      {"POST", "/api/explain", R"({"payload": "", "schemes": ["a b"]})", "400", "expected the scheme of a URL"},
      {"POST", "/api/fix", R"({"payload": "{}", "finding": -1})", "400", "expected the index of a finding"},
      {"POST", "/api/fix", R"({"payload": "{}", "finding": 9})", "400", "no correction belongs to finding 9"},
      {"POST", "/api/phones", R"({"scenario": "{"})", "400", "scenario:1:2: "},
      {"POST", "/api/phones", R"({"server": "http://user:secret@[/"})", "400", ""},
      {"POST", phone + "/actions", R"({"do": "fly"})", "400", "fly"},
  };
  for (const auto& [method, path, body, status, text] : cases) {
    const std::string refused = reply(method, path, body);
    EXPECT_EQ(statusOf(refused), status) << method << " " << path << refused;
    const std::string error = test::textAt(readJSON("reply", bodyOf(refused)).value, "error");
    EXPECT_THAT(compactJSON(Value(error)), AllOf(HasSubstr(text), Not(HasSubstr("secret")))) << path;
    EXPECT_EQ(refused.find("Allow: ") != std::string::npos, std::string(status) == "405") << path;
  }
  EXPECT_EQ(statusOf(reply("POST", "/api/explain", "{}", {{"Content-Type", "text/plain"}})), "415");
  EXPECT_EQ(statusOf(reply("GET", "/", "", {{"Host", "lab.example"}})), "421");
  EXPECT_EQ(statusOf(reply("GET", phone + "/events", "", {{"Last-Event-ID", "1x"}})), "400");
}

TEST_F(LabOverHTTP, StreamsTheMessagesOfAPhoneAndResumes) {
  const std::string phone = openPhone();
  EXPECT_EQ(statusOf(reply("POST", phone + "/actions", R"({"do": "open"})")), "202");
  test::LabClient stream = request("GET", phone + "/events");
  stream.readUntil("\"open\":true");
  const std::string first = stream.readUntil("\"busy\":false");
  EXPECT_THAT(first, AllOf(HasSubstr("HTTP/1.1 200"), HasSubstr("Content-Type: text/event-stream\r\n"),
                           HasSubstr("\nevent: event\ndata: {"), HasSubstr("\nevent: state\ndata: {")));
  const std::size_t lastID = first.rfind("\nid: ");
  const std::string last = test::between(first.substr(lastID), "id: ", "\n");

  EXPECT_EQ(statusOf(reply("POST", phone + "/actions", R"({"do": "close"})")), "202");
  test::LabClient resumed = request("GET", phone + "/events", "", {{"Last-Event-ID", last}});
  test::LabClient begun = request("GET", phone + "/events?after=" + last);
  for (test::LabClient* const each : {&resumed, &begun}) {
    const std::string next = each->readUntil("\nevent: state");
    EXPECT_GT(std::stoi(test::between(next, "\nid: ", "\n")), std::stoi(last)) << next;
  }

  stream.readUntil("\"open\":false");
  EXPECT_THAT(
      reply("GET", phone + "/scenario"),
      AllOf(HasSubstr("Content-Disposition: attachment; filename=\"scenario.json\"\r\n"), HasSubstr("\"steps\"")));
  EXPECT_EQ(statusOf(reply("DELETE", phone)), "204");
  EXPECT_THAT(resumed.readAll(), EndsWith("\r\n0\r\n\r\n")) << "the stream ends with its phone";
  EXPECT_EQ(statusOf(reply("GET", phone + "/events")), "404");
}

TEST_F(LabOverHTTP, ShowsThatASilentStreamIsAlive) {
  server_.reset();
  start({.heartbeat = std::chrono::milliseconds(1)});
  const std::string phone = openPhone();
  test::LabClient stream = request("GET", phone + "/events");
  EXPECT_THAT(stream.readUntil("\r\n:\n\n\r\n"), HasSubstr("\r\n:\n\n\r\n"));
}

TEST_F(LabOverHTTP, EndsInOrderWithAnOpenStream) {
  const std::string phone = openPhone();
  test::LabClient stream = request("GET", phone + "/events");
  stream.readUntil(": messages");
  server_.reset();
  EXPECT_THAT(stream.readAll(), EndsWith("\r\n0\r\n\r\n"));
}

TEST_F(LabOverHTTP, HasAsManyPhonesAsAreAllowed) {
  std::string last;
  for (std::size_t i = 0; i < Lab::mostPhones; ++i) last = openPhone();
  const std::string refused = reply("POST", "/api/phones", "{}");
  EXPECT_EQ(statusOf(refused), "503");
  EXPECT_THAT(refused, HasSubstr("close a tab"));
  EXPECT_EQ(statusOf(reply("DELETE", last)), "204");
  EXPECT_NE(openPhone(), last);
}

}  // namespace
}  // namespace pellion
