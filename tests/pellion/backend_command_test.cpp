#include <gmock/gmock.h>

#include <openssl/pem.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "pellion/cli/command_line.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/text/json_reader.h"
#include "services/gzip.h"
#include "services/jwt.h"
#include "tests/support/bytes.h"
#include "tests/support/cases.h"
#include "tests/support/certificates.h"
#include "tests/support/raw_client.h"

namespace pellion {
namespace {

using namespace testing;
using platform::Value;
using test::bytesOf;

std::string signedBy(const char* secret, platform::ByteView content) {
  return services::signedJWT(R"({"alg":"HS256"})", content, secret).value();
}

/// Runs `pellion backend` while a test talks to it.
class BackendCommand : public Test {
 protected:
  int run(
      std::vector<std::string> arguments, const std::function<void(std::uint16_t port)>& work = [](auto) {}) {
    arguments.insert(arguments.begin(), "backend");
    out_.str("");
    err_.str("");
    const auto whileRunning = [&](const std::function<void()>& start) {
      start();
      const std::string listening = out_.str() + err_.str();
      work(static_cast<std::uint16_t>(std::stoi(listening.substr(listening.rfind(':') + 1))));
    };
    return runCommandLine(arguments, {.out = out_, .err = err_, .runUntilEnd = whileRunning});
  }
  std::string write(const std::string& name, const std::string& text) {
    const std::string path = directory_.path() / name;
    std::ofstream(path) << text;
    return path;
  }
  /// The statuses of the answers to that many requests, "" for none.
  std::vector<std::string> statuses(const std::vector<std::string>& arguments, int count) {
    std::vector<std::string> found;
    const int status = run(arguments, [&](std::uint16_t port) {
      for (int i = 0; i < count; ++i) found.push_back(statusOf(test::exchange(port, test::post("/"))));
    });
    EXPECT_EQ(status, 0) << err_.str();
    return found;
  }
  static std::string statusOf(const std::string& answer) { return answer.empty() ? "" : answer.substr(9, 3); }

  const TemporaryDirectory directory_;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(BackendCommand, AnswersAsItsOptionsSay) {
  EXPECT_THAT(statuses({"--status", "503", "--delay", "0.01"}, 2), ElementsAre("503", "503"));
  EXPECT_THAT(out_.str(),
              AllOf(HasSubstr("responds with 503 after 10 ms"),
                    ContainsRegex("\n[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}  backend       POST /\n"),
                    ContainsRegex("\n[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}  backend       responds with")));
  EXPECT_THAT(statuses({"--drop"}, 2), ElementsAre("", ""));
  const std::string script = write("script", R"([{"status": 503, "times": 2}, {"sends": "nothing"}, {"status": 202}])");
  EXPECT_THAT(statuses({"--script", script}, 5), ElementsAre("503", "503", "", "202", "202"));
}

TEST_F(BackendCommand, IsStrictWithWhatTheModuleWouldNotSend) {
  const std::string json = R"({"pnstats": []})";
  const Value packed = *services::gzip(bytesOf(json), 1);
  const std::string path = "/base/sdk/v1/portal/project/channel/add?deviceid=d";
  const std::string bearer = "Authorization: Bearer right-token\r\n";
  const std::string gzip = bearer + "Content-Encoding: gzip\r\n";
  const std::tuple<std::string, std::string, std::string, const char*> requests[] = {
      {path, bearer, signedBy("secret", bytesOf(json)), "200"},
      {path, gzip, signedBy("secret", packed.bytes()), "200"},
      {"/sdk/v1/portal/project/pushnotification/device", gzip, "", "200"},
      {path, bearer, "", "400"},
      {"/sdk/v1///pushnotification/device", gzip, "", "404"},
      {"/sdk/v1/portal/(null)/pushnotification/device", gzip, "", "404"},
      {"/sdk/v1/portal/project/channel/remove", bearer, "", "404"},
      {"/channel/add", bearer, "", "404"},
      {path, "", "", "401"},
      {path, "Authorization: Basic right-token\r\n", "", "401"},
      {path, "Authorization: Bearer wrong-token\r\n", "", "401"},
      {path, bearer, signedBy("another", bytesOf(json)), "401"},
      {path, bearer, json, "415"},
      {path, bearer, signedBy("secret", bytesOf("no JSON")), "415"},
      {path, bearer, signedBy("secret", packed.bytes()), "415"},
      {path, gzip, signedBy("secret", bytesOf(json)), "415"},
  };
  run({"--strict", "--secret", "secret", "--bearer", "right-token", "--status", "200"}, [&](std::uint16_t port) {
    const std::string get = test::exchange(port, "GET " + path + " HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(get, AllOf(HasSubstr(" 405 "), HasSubstr("Allow: POST\r\n")));
    for (const auto& [target, headers, body, status] : requests) {
      EXPECT_EQ(statusOf(test::exchange(port, test::post(target, headers, body))), status) << target << headers << body;
    }
  });
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("the bearer token is another one"), Not(HasSubstr("ht-token"))));
}

TEST_F(BackendCommand, WritesALineOfJSONForEachRequest) {
  const std::string script = write("script", R"([{"status": 404, "body": "gone\n"}, {"sends": "nothing"}])");
  run({"--json", "--secret", "shared-secret", "--script", script}, [](std::uint16_t port) {
    test::exchange(port, test::post("/x?deviceid=shared-secret"));
    test::exchange(port, test::post("/y"));
  });
  EXPECT_THAT(err_.str(), StartsWith("Listening on http://127.0.0.1:"));
  std::istringstream lines(out_.str());
  std::vector<std::string> found;
  for (std::string line; std::getline(lines, line);) {
    const Value request = readJSON("line", line).value;
    EXPECT_THAT(test::textAt(request, "time"), MatchesRegex("20[0-9-]{8}T[0-9:]{8}\\.[0-9]{3}Z"));
    const Value* const status = test::at(request, "answer").find("status");
    found.push_back(test::textAt(test::at(request, "request"), "path") + (status == nullptr ? "" : " 404"));
  }
  EXPECT_THAT(found, ElementsAre("/x 404", "/y"));
  EXPECT_THAT(out_.str(), AllOf(HasSubstr(R"("body":"gone\n")"), Not(HasSubstr("ed-secret"))));
}

TEST_F(BackendCommand, ServesAPhoneOverTLS) {
  const test::CertificateAuthority authority;
  const test::Identity identity = authority.issue();
  authority.writePEM(directory_.path() / "authority");
  const std::string certificate = directory_.path() / "certificate";
  const std::string key = directory_.path() / "key";
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(certificate.c_str(), "w"), std::fclose);
  PEM_write_X509(file.get(), identity.certificate.get());
  file.reset(std::fopen(key.c_str(), "w"));
  PEM_write_PrivateKey(file.get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  file.reset();
  const std::string body(1U << 20, 'x');
  const std::string script = write("script", R"([{"raw": "HTTP/1.1 200 OK\r\n\r\n{\"a\": \")" + body + R"(\"}"}])");
  const std::string scenario =
      std::filesystem::proximate(write("s.json", R"({"name": "N", "configuration": {"JWT_SECRET": "s", "DEVICE_ID": "d",
      "BEARER_TOKEN": "b", "APP_VERSION_ID": "v", "CA_FILE": "authority"}, "steps": ["launch", {"token": "0a"},
      {"expect": {"requests": [{"method": "POST"}], "keychain": {"com.tovrin.pellion.apnstoken": "0a"}}}]})"));
  // The authority is named relative to the file that names it, whatever the current directory is.
  create_directories(directory_.path() / "below");
  const std::string sharing = std::filesystem::proximate(
      write("below/s.json", R"({"configuration": "../shared.json", "steps": ["launch", {"token": "0b"},
      {"expect": {"keychain": {"com.tovrin.pellion.apnstoken": "0b"}}}]})"));
  write("shared.json",
        R"({"JWT_SECRET": "s", "DEVICE_ID": "d", "BEARER_TOKEN": "b", "APP_VERSION_ID": "v", "CA_FILE": "authority"})");
  const std::string untrusting = write("untrusting.json", R"({"steps": ["launch", {"token": "0c"},
      {"expect": {"keychain": {"com.tovrin.pellion.apnstoken": "0c"}}}]})");
  const int status = run({"--tls", certificate, key, "--script", script}, [&](std::uint16_t port) {
    std::ostringstream out;
    const std::string url = "https://127.0.0.1:" + std::to_string(port);
    for (const std::string& each : {scenario, sharing}) {
      EXPECT_EQ(runCommandLine({"run", each, "--server", url}, {.out = out, .err = out}), 0) << out.str();
    }
    EXPECT_EQ(runCommandLine({"run", untrusting, "--server", url}, {.out = out, .err = out}), 1);
    EXPECT_THAT(test::singleSpaced(out.str()),
                HasSubstr("error -1202, because the server's certificate is not trusted; "
                          "give the file of the authority that signed it as CA_FILE"));
    EXPECT_EQ(test::exchange(port, test::post("/")).find("200"), std::string::npos) << "without TLS";
  });
  EXPECT_EQ(status, 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("POST /sdk/v1/"));

  EXPECT_EQ(run({"--tls", key, certificate}), 2);
  EXPECT_THAT(err_.str(), HasSubstr(key + ": holds no certificate in PEM"));
  EXPECT_EQ(run({"--tls", certificate, certificate}), 2);
  EXPECT_THAT(err_.str(), HasSubstr(certificate + ": holds no private key in PEM"));
}

TEST_F(BackendCommand, SaysWhichOptionsAndScriptsCannotBeUsed) {
  const std::pair<std::vector<std::string>, std::string> options[] = {
      {{"--status", "42"}, "42 not in range 200 to 599"},
      {{"--drop", "--status", "200"}, "--status excludes --drop"},
      {{"--delay", "61"}, "not in range"},
      {{"--strict"}, "--strict requires --secret"},
      {{"--tls", "a"}, "--tls: At least 2 required"},
      {{"--tls", "a", "b"}, "a: No such file or directory; give the path of a certificate in PEM"},
  };
  for (const auto& [arguments, text] : options) {
    EXPECT_EQ(run(arguments), 2) << text;
    EXPECT_THAT(err_.str(), HasSubstr(text));
  }
  const std::pair<const char*, const char*> scripts[] = {
      {"{}", ":1:1: a script cannot be {}; expected a list"},
      {"[]", ":1:1: a script needs an answer"},
      {R"([{"status": 42}])", ":1:13: \"status\" cannot be 42"},
      {R"([{"connection": "refused"}])", ":1:17: a script answers requests, and has no \"connection\""},
      {R"([{"times": 2}])", ":1:12: the last answer stays; leave its \"times\" out"},
  };
  for (const auto& [script, text] : scripts) {
    const std::string path = write("script", script);
    EXPECT_EQ(run({"--script", path}), 2) << text;
    EXPECT_THAT(err_.str(), HasSubstr(path + text));
  }
}

}  // namespace
}  // namespace pellion
