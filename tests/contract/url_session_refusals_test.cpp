// What a session refuses, and what it does not take for the server's answer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/contract/url_session_fixture.h"
#include "tests/support/loopback_http_server.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using testing_support::LoopbackHTTPServer;
using testing_support::LoopbackSocket;
using testing_support::TemporaryFolder;
using Code = URLLoadingError::Code;
using Request = LoopbackHTTPServer::Request;
using Connection = LoopbackHTTPServer::Connection;
using URLSessionRefusalsTest = testing_support::URLSessionContractTest;

TEST_F(URLSessionRefusalsTest, NeverFollowsARedirectToAFile) {
  const TemporaryFolder folder;
  const std::string file = folder.write("secret", "of this machine").string();
  LoopbackHTTPServer server([&](const Request&, const Connection& connection) {
    connection.answer("302 Found", "", "Location: file://" + file + "\r\n");
  });
  const auto recorder = load(server.address("/"));
  EXPECT_EQ(recorder->body, "");
  if (!recorder->error) {
    ASSERT_TRUE(recorder->response);
    EXPECT_EQ(recorder->response->statusCode, 302);
    EXPECT_EQ(recorder->response->url.text(), server.address("/"));
  }
}

// A system that does not read the variable connects directly, to nobody, and fails alike.
TEST_F(URLSessionRefusalsTest, AProxysAnswerIsNeverTakenForTheServers) {
  const LoopbackSocket deaf;
  const std::string address = "https" + deaf.address("/feed").substr(4);
  for (const std::string status : {"200 Connection established", "403 Forbidden", "502 Bad Gateway"}) {
    SCOPED_TRACE(status);
    // What follows the tunnel's opening is no TLS, so that the server's own answer never comes.
    LoopbackHTTPServer proxy([&](const Request&, const Connection& connection) {
      connection.send("HTTP/1.1 " + status + "\r\nVia: 1.1 proxy\r\n\r\nnot for you");
    });
    ::setenv("https_proxy", proxy.address("").c_str(), 1);
    ::unsetenv("no_proxy");
    const auto recorder = load(address);
    ::unsetenv("https_proxy");
    ::setenv("no_proxy", "*", 1);
    EXPECT_EQ(recorder->events, "c");
    EXPECT_FALSE(recorder->response);
    const bool isOpened = status.starts_with("200") && proxy.connectionCount() > 0;
    EXPECT_EQ(recorder->code(), isOpened ? Code::secureConnectionFailed : Code::cannotConnectToHost);
  }
}

TEST_F(URLSessionRefusalsTest, GuessesNothingForAnAddressThatIsNotWhole) {
  LoopbackHTTPServer server(
      [](const Request&, const Connection& connection) { connection.answer("200 OK", "x"); });
  const std::string port = server.address("").substr(std::string("http://127.0.0.1").size());
  const struct {
    std::string address;
    Code code;
  } rows[] = {
      {"localhost" + port + "/feed", Code::unsupportedURL},
      {"//127.0.0.1" + port + "/feed", Code::unsupportedURL},
      {"localhost", Code::unsupportedURL},
      {"/feed", Code::unsupportedURL},
      {"App.zip", Code::unsupportedURL},
      {"ftp://127.0.0.1/feed", Code::unsupportedURL},
      {"http:localhost", Code::badURL},
      {"http:/127.0.0.1" + port + "/feed", Code::badURL},
      {"https:///127.0.0.1" + port + "/feed", Code::badURL},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.address);
    const auto recorder = load(row.address);
    EXPECT_EQ(recorder->events, "c");
    EXPECT_EQ(recorder->code(), row.code);
  }
  EXPECT_EQ(server.connectionCount(), 0U);
}

TEST_F(URLSessionRefusalsTest, ABodyBeyondTheRequestsLimitEndsTheTransfer) {
  // A megabyte of zeros as gzip -n makes it; a little more than a thousand bytes.
  const std::string compressed = std::string(
                                     "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\xff\xed\xc1\x31\x01\x00\x00\x00"
                                     "\xc2\xa0\xf5\x4f\x6d\x08\x5f\xa0",
                                     25) +
                                 std::string(1016, '\0') +
                                 std::string("\x3e\x03\x1c\xea\x38\xa7\x00\x00\x10\x00", 10);
  LoopbackHTTPServer server([&](const Request& request, const Connection& connection) {
    if (request.path == "/stated") connection.answer("200 OK", std::string(100'000, 'x'));
    if (request.path == "/unstated") connection.send(Connection::head("200 OK") + std::string(100'000, 'x'));
    if (request.path == "/packed") connection.answer("200 OK", compressed, "Content-Encoding: gzip\r\n");
  });
  const struct {
    const char* path;
    std::size_t length;
  } rows[] = {{"/stated", 100'000}, {"/unstated", 100'000}, {"/packed", std::size_t{1} << 20}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const URL address = *URL::parse(server.address(row.path));
    const auto whole = load({address, {}, std::nullopt, row.length});
    EXPECT_EQ(whole->error, std::nullopt) << whole->error->what();
    EXPECT_EQ(whole->body.size(), row.length);
    const auto tooLong = load({address, {}, std::nullopt, row.length - 1});
    EXPECT_EQ(tooLong->code(), Code::dataLengthExceedsMaximum);
    EXPECT_LT(tooLong->body.size(), row.length);
  }
}

}  // namespace
}  // namespace pellam
