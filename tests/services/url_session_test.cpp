#include "tests/services/url_session_fixture.h"

#include <gmock/gmock.h>

#include "tests/support/temporary_directory.h"

namespace {

using namespace test;
using namespace testing;
using platform::URLRequest;
using Then = LoopbackServer::Then;

constexpr long day = 86'400;  // seconds

TEST_F(URLSessionTest, SendsTheRequestsFieldsAndNoneOfLibcurls) {
  const std::string accept = "Accept: */*\r\nAccept-Language: en-US,en;q=0.9\r\nAccept-Encoding: gzip, deflate\r\n";
  const std::string added = accept + "User-Agent: PellionHost\r\nConnection: keep-alive\r\n";
  const struct {
    URLRequest request;
    std::string fields;
  } rows[] = {
      {request("", "POST", "body", {{"mapid", ""}, {"content-length", "999"}, {"X-b", " "}, {"Authorization", "B t"}}),
       "mapid:\r\ncontent-length: 4\r\nX-b:\r\nAuthorization: B t\r\n" + added},
      {request("", "POST", std::nullopt, {{"Content-Encoding", "gzip"}}),
       "Content-Encoding: gzip\r\nContent-Length: 0\r\n" + added},
      {request("", "PUT", std::string(3'000'000, 'x')), "Content-Length: 3000000\r\n" + added},
      {request("", "GET", std::nullopt, {{"Content-Length", "7"}}), added},
      {request("", "GET", std::nullopt, {{"user-agent", "Mine"}, {"CONNECTION", "close"}}),
       "user-agent: Mine\r\nCONNECTION: close\r\n" + accept},
  };
  LoopbackServer server(always(plainOK));
  for (auto [made, fields] : rows) {
    made.url = platform::URL::URLWithString(server.url("//a/../b?c=d%20&e", "user:secret@127.0.0.1"));
    EXPECT_EQ(load(made).body, "{}");
    const auto seen = server.requests().back();
    EXPECT_EQ(seen.head, made.httpMethod + " //a/../b?c=d%20&e HTTP/1.1\r\nHost: " + server.authority() + "\r\n" +
                             fields + "\r\n");
    EXPECT_EQ(seen.body, made.httpBody ? textOf(*made.httpBody) : "");
  }
}

TEST_F(URLSessionTest, ReturnsTheResponseWithItsFields) {
  LoopbackServer server(
      always("HTTP/1.1 100 Continue\r\nEarly: 1\r\n\r\nHTTP/1.1 418 Odd\r\nA:  b \r\nX: 1\r\nx: 2\r\nE:\r\nF: \t \r\n"
             "Transfer-Encoding: chunked\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\nTrailer: 1\r\n\r\n"));
  const Outcome outcome = load(request(server.url("/p?q")));
  EXPECT_EQ(outcome.body, "abc");
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 418);
  EXPECT_EQ(outcome.response->url.absoluteString(), server.url("/p?q"));
  EXPECT_THAT(outcome.response->headers.fields(), ElementsAre(Pair("A", "b"), Pair("X", "1,2"), Pair("E", ""),
                                                              Pair("F", ""), Pair("Transfer-Encoding", "chunked")));
}

TEST_F(URLSessionTest, ReportsAnErrorWithoutAResponse) {
  const std::string insecure = "policy requires the use of a secure connection.";
  const std::string unknownHost = "A server with the specified hostname could not be found.";
  const std::string badValue = "The value of the header field \"a\" contains a line break or a zero byte.";
  const std::string authority = "The certificate authorities in /nonexistent/authority.pem cannot be read: a file";
  policy_.certificateAuthorities = "/nonexistent/authority.pem";
  const std::string tooLong = std::string(64, 'a') + ".invalid";  // for a name server to be asked
  policy_.clearTextHosts = {tooLong};
  LoopbackServer server(always(plainOK));
  const std::string good = server.url("/");
  LoopbackServer redirecting(always(LoopbackServer::answer("302 Found", "", "Location: https://127.0.0.1:1/\r\n")));
  const auto withField = [&](const std::string& name, const std::string& value) {
    return request(good, "POST", "body", {{name, value}});
  };
  const struct {
    URLRequest request;
    int code;
    std::string text;
  } rows[] = {
      {request("not a URL"), -1002, "unsupported URL"},
      {request("relative/path"), -1002, "unsupported URL"},
      {request("http://127.0.0.1:99999/"), -1000, "bad URL"},
      {request("HTTP://128.0.0.1/"), -1022, insecure},
      {request("http://127.0.0.1.example.com/"), -1022, insecure},
      {request("http://127.0.0.1@example.com/"), -1022, insecure},
      {request("http://backend.localhost/"), -1022, insecure},
      {request("http://[::2]/"), -1022, insecure},
      {request("http://" + tooLong + "/"), -1003, unknownHost},
      {request("https://push.(null)/"), -1003, unknownHost},
      {request(LoopbackServer(always("")).url("/")), -1004, "Could not connect to the server."},
      {request(server.url("/", "127.1.2.3")), -1004, "Could not connect to the server."},
      {request("https://127.0.0.1:1/"), -1200, authority},
      {request(redirecting.url("/")), -1200, authority},
      {request(good, "GET / HTTP/1.1\r\n"), -1, "The HTTP method \"GET / HTTP/1.1??\" is not a token."},
      {withField("a\r\nb", "x"), -1, "The name of the header field \"a??b\" is not a token."},
      {withField("a:b", "x"), -1, "The name of the header field \"a:b\" is not a token."},
      {withField("a", "x\r\nb: c"), -1, badValue},
      {withField("a", std::string("x\0y", 3)), -1, badValue},
      {withField("Transfer-Encoding", "chunked"), -1, "The header field \"Transfer-Encoding\" cannot be set"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = load(row.request);
    EXPECT_EQ(outcome.code(), row.code) << row.text;
    EXPECT_THAT(outcome.text(), HasSubstr(row.text));
    EXPECT_FALSE(outcome.response);
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(URLSessionTest, AllowsClearTextToHostsThatThePolicyNames) {
  policy_.clearTextHosts = {"Backend.localhost"};  // which libcurl itself resolves to loopback
  LoopbackServer server(always(plainOK));
  EXPECT_EQ(load(request(server.url("/", "backend.LOCALHOST"))).body, "{}");
}

TEST_F(URLSessionTest, SendsFromTheAddressThatThePolicyNames) {
  LoopbackServer server(always(plainOK));
  for (const auto& [address, isOfThisMachine] : {std::pair("127.0.0.9", true), std::pair("192.0.2.1", false)}) {
    process_.reset();
    policy_.sourceAddress = address;
    EXPECT_EQ(load(request(server.url("/"))).response.has_value(), isOfThisMachine) << address;
  }
}

TEST_F(URLSessionTest, ReportsErrorsOfTheConnection) {
  const std::string lost = "The network connection was lost.";
  const std::string raw = "cannot decode raw data";
  const std::string parse = "cannot parse response";
  const std::string tooLong = "resource exceeds maximum size";
  const std::string gzipField = "Content-Encoding: gzip\r\n";
  std::string interim, fields;
  for (int i = 0; i < 20'000; ++i) interim += "HTTP/1.1 103 Early Hints\r\n\r\n";
  for (int i = 0; i < 1'000; ++i) fields += "X" + std::to_string(i) + ": " + std::string(1'000, 'x') + "\r\n";
  const struct {
    LoopbackServer::Reply reply;
    int code;
    std::string text;
    bool hasResponse;
  } rows[] = {
      {{"HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n\r\n", Then::hold}, -1017, parse, false},
      {{"HTTP/2 1200 OK\r\n\r\n", Then::close}, -1017, parse, false},
      {{"HTTP/1.1 200 OK\r\nContent-Length: 2, 4\r\n\r\n{}", Then::hold}, -1017, parse, false},
      {{interim, Then::hold}, -1103, tooLong, false},
      {{"HTTP/1.1 200 OK\r\n" + fields, Then::hold}, -1103, tooLong, false},
      {{"", Then::close}, -1005, lost, false},
      {{"", Then::reset}, -1005, lost, false},
      {{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", Then::close}, -1005, lost, true},
      {{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n", Then::close}, -1005, lost, true},
      {{"", Then::hold}, -1001, "The request timed out.", false},
      {{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", Then::hold}, -1001, "The request timed out.", true},
      {{LoopbackServer::answer("200 OK", "no gzip", gzipField)}, -1015, raw, true},
      {{LoopbackServer::answer("200 OK", gzip("some text").substr(0, 12), gzipField)}, -1015, raw, true},
  };
  for (const auto& row : rows) {
    LoopbackServer server([&](const auto&) { return row.reply; });
    process_.reset();
    policy_.requestTimeout = std::chrono::milliseconds(row.code == -1001 ? 250 : 60'000);
    const Outcome outcome = load(request(server.url("/x"), "POST", "body"));
    EXPECT_EQ(outcome.code(), row.code) << row.reply.bytes.substr(0, 99);
    EXPECT_EQ(outcome.text(), row.text);
    EXPECT_EQ(outcome.response.has_value(), row.hasResponse) << row.reply.bytes.substr(0, 99);
    EXPECT_EQ(server.requests().size(), 1U) << "a POST must not be repeated";
    EXPECT_EQ(outcome.error->userInfo, platform::Value::dictionary({{"NSErrorFailingURLStringKey", server.url("/x")},
                                                                    {"NSLocalizedDescription", row.text}}));
  }
}

TEST_F(URLSessionTest, DecodesResponsesUpTo16MiB) {
  const std::string zlib("\x78\x9c\xcb\x48\xcd\xc9\xc9\x07\x00\x06\x2c\x02\x15", 13);  // "hello"
  const std::string most(std::size_t{16} * 1024 * 1024, 'x');
  const struct {
    std::string encoding, body;
    std::optional<std::string> decoded;  // nothing: too long
    Then then = Then::close;
  } rows[] = {
      {"gzip", gzip("hello"), "hello"},
      {"X-GZIP", gzip("hello") + gzip("hello"), "hellohello"},
      {"gzip", "", ""},
      {"gzip , gzip", gzip(gzip("hello")), "hello"},
      {"deflate", zlib, "hello"},
      {"deflate", zlib.substr(2, 7), "hello"},
      {"unheard-of", gzip("hello"), gzip("hello")},
      {"identity", most, most},
      {"identity", most + "x", {}, Then::hold},  // ends although the server goes on
      {"gzip", gzip(most), most},
      {"gzip", gzip(most + "x"), {}},
  };
  for (const auto& row : rows) {
    LoopbackServer server(
        always("HTTP/1.1 200 OK\r\nContent-Encoding: " + row.encoding + "\r\n\r\n" + row.body, row.then));
    const Outcome outcome = load(request(server.url("/")));
    EXPECT_TRUE(outcome.body == row.decoded) << row.encoding << ", " << row.body.size() << " bytes";
    EXPECT_EQ(outcome.code(), row.decoded ? 0 : -1103);
  }
}

TEST_F(URLSessionTest, FollowsUpTo20RedirectsAsTheirResponsesSay) {
  LoopbackServer server([&](const LoopbackServer::Request& seen) -> LoopbackServer::Reply {
    if (seen.head.starts_with("POST /first")) {
      return {LoopbackServer::answer("302 Found", "moved", "Location: second?x\r\n")};
    }
    if (seen.head.starts_with("POST /again")) {
      return {LoopbackServer::answer("307 Again", "", "Location: /again\r\n")};
    }
    if (seen.head.starts_with("GET /nowhere")) return {LoopbackServer::answer("302 Found", "here", "Location:\r\n")};
    return {plainOK};
  });
  const Outcome followed =
      load(request(server.url("/first"), "POST", "body", {{"Content-Type", "text/plain"}, {"Authorization", "B t"}}));
  EXPECT_EQ(followed.body, "{}");
  EXPECT_EQ(followed.response->url.absoluteString(), server.url("/second?x"));
  EXPECT_THAT(server.requests().at(1).head, AllOf(StartsWith("GET /second?x HTTP/1.1\r\n"),
                                                  HasSubstr("Authorization: B t"), Not(HasSubstr("Content-"))));
  EXPECT_EQ(server.requests().at(1).body, "");
  EXPECT_EQ(load(request(server.url("/again"), "POST", "body")).text(), "too many HTTP redirects");
  EXPECT_EQ(server.requests().size(), 2U + 21U);
  EXPECT_EQ(server.requests().back().body, "body");
  EXPECT_EQ(load(request(server.url("/nowhere"))).body, "here") << "an empty Location is none";
}

TEST_F(URLSessionTest, VerifiesCertificatesAlways) {
  const CertificateAuthority trusted;
  const CertificateAuthority weak("Weak Authority", {.makeKey = [] { return EVP_EC_gen("P-224"); }});
  const CertificateAuthority old("Old Authority", {.until = 9'000 * day, .digest = EVP_sha1()});
  const CertificateAuthority other("Other Authority");
  const CertificateAuthority forger;  // has the trusted one's name
  const TemporaryDirectory directory;
  policy_.certificateAuthorities = directory.path() / "authority.pem";
  for (const auto* authority : {&trusted, &weak, &old}) authority->writePEM(policy_.certificateAuthorities);
  const auto speaking = [&](const char* ciphers, int newestVersion) {
    Identity identity = trusted.issue({.makeKey = [] { return EVP_RSA_gen(2048); }});
    identity.ciphers = ciphers;
    identity.newestVersion = newestVersion;
    return identity;
  };
  const std::string insecure = "An SSL error has occurred and a secure connection to the server cannot be made.";
  const std::string invalid = "The certificate for this server is invalid";
  const std::string unnamed = ": it names no host in a subject alternative name.";
  const std::string tooLong = ": it is valid for more than 825 days.";
  const std::string noServer = ": an extended key usage does not allow server authentication.";
  const std::string weakKey = ": a key is neither RSA with 2048 bits or more nor ECC with 256.";
  const std::string weakSignature = ": a signature is not made with SHA-2.";
  const struct {
    Identity identity;
    int code;
    std::string text;
  } rows[] = {
      {trusted.issue(), 0, ""},
      {other.issue(), -1202, invalid + "."},
      {forger.issue(), -1202, invalid + "."},
      {trusted.issue({.names = "DNS:elsewhere.example,IP:127.0.0.2"}), -1202, invalid + "."},
      {trusted.issue({.names = "DNS:127.0.0.1"}), -1202, invalid + "."},
      {trusted.issue({.names = ""}), -1202, invalid + unnamed},
      {trusted.issue({.names = "email:127.0.0.1"}), -1202, invalid + unnamed},
      {trusted.issue({.from = -7200, .until = -3600}), -1201, "The certificate for this server has expired."},
      {trusted.issue({.from = 1800}), -1201, "The certificate for this server is not yet valid."},
      {trusted.issue({.from = -day, .until = 824 * day}), 0, ""},
      {trusted.issue({.from = -day, .until = 824 * day + 1}), -1202, invalid + tooLong},
      {trusted.issue({.from = -day, .until = 5 * 365 * day}), -1202, invalid + tooLong},
      {trusted.issue({.usage = ""}), -1202, invalid + noServer},
      {trusted.issue({.usage = "clientAuth"}), -1202, invalid + noServer},
      {trusted.issue({.usage = "anyExtendedKeyUsage"}), -1202, invalid + noServer},
      {trusted.issue({.usage = "clientAuth,serverAuth"}), 0, ""},
      {trusted.issue({.makeKey = [] { return EVP_RSA_gen(2040); }}), -1202, invalid + weakKey},
      {trusted.issue({.makeKey = [] { return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"); }}), -1202,
       invalid + weakKey},
      {weak.issue(), -1202, invalid + weakKey},
      {trusted.issue({.digest = EVP_sha1()}), -1202, invalid + weakSignature},
      {trusted.issue({.digest = EVP_sha384()}), 0, ""},
      {old.issue(), 0, ""},
      {speaking("DEFAULT", TLS1_2_VERSION), 0, ""},
      {speaking("AES128-GCM-SHA256:AES256-SHA", TLS1_2_VERSION), -1200, insecure},
      {speaking("DEFAULT@SECLEVEL=0", TLS1_1_VERSION), -1200, insecure},
  };
  for (const auto& row : rows) {
    LoopbackServer server(always(plainOK), row.identity);
    const Outcome outcome = load(request(server.url("/"), "POST", "body"));
    const auto number = &row - rows;
    EXPECT_EQ(outcome.code(), row.code) << "row " << number;
    EXPECT_EQ(outcome.text(), row.text) << "row " << number;
    EXPECT_EQ(server.requests().size(), row.code == 0 ? 1U : 0U);
  }
}

TEST_F(URLSessionTest, RejectsATruncatedResponseOverTLS) {
  const CertificateAuthority trusted;
  const TemporaryDirectory directory;
  policy_.certificateAuthorities = directory.path() / "authority.pem";
  trusted.writePEM(policy_.certificateAuthorities);
  const std::string endless = "HTTP/1.1 200 OK\r\n\r\n{}";
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n";
  const struct {
    LoopbackServer::Reply reply;
    int code;
    const char* method = "POST";
  } rows[] = {
      {{endless, Then::close}, 0},
      {{endless, Then::cut}, -1005},
      {{"HTTP/1.1 302 Found\r\nLocation: /\r\n\r\n", Then::cut}, -1005},
      {{plainOK, Then::cut}, 0},
      {{chunked + "0\r\n\r\n", Then::cut}, 0},
      {{chunked, Then::cut}, -1005},
      {{"HTTP/1.1 204 No Content\r\n\r\n", Then::cut}, 0},
      {{"HTTP/1.1 200 OK\r\n\r\n", Then::cut}, 0, "HEAD"},
  };
  for (const auto& row : rows) {
    LoopbackServer server(always(row.reply.bytes, row.reply.then), trusted.issue());
    EXPECT_EQ(load(request(server.url("/"), row.method)).code(), row.code) << row.reply.bytes;
    EXPECT_EQ(server.requests().size(), 1U);
  }
}

}  // namespace
