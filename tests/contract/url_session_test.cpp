#include "platform/url_session.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "services/network_client.h"
#include "tests/contract/url_session_fixture.h"
#include "tests/support/loopback_http_server.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace std::chrono_literals;
using testing_support::LoopbackHTTPServer;
using testing_support::LoopbackSocket;
using testing_support::patience;
using testing_support::Recorder;
using testing_support::TemporaryFolder;
using testing_support::URLSessionContractTest;
using Code = URLLoadingError::Code;
using Request = LoopbackHTTPServer::Request;
using Connection = LoopbackHTTPServer::Connection;

void expectSuccess(const Recorder& recorder, int status, const std::string& body) {
  EXPECT_EQ(recorder.events, body.empty() ? "rc" : "rdc");
  EXPECT_EQ(recorder.error, std::nullopt) << recorder.error->what();
  ASSERT_TRUE(recorder.response);
  EXPECT_EQ(recorder.response->statusCode, status);
  EXPECT_EQ(recorder.body, body);
}

TEST_F(URLSessionContractTest, ReportsOneResponseThenTheBodyThenOneCompletion) {
  LoopbackHTTPServer server([](const Request& request, const Connection& connection) {
    if (request.path == "/whole") connection.answer("200 OK", "hello, world");
    if (request.path == "/empty") connection.answer("200 OK", "");
    if (request.path == "/absent") connection.answer("404 Not Found", "no such page");
    if (request.path == "/broken") connection.answer("500 Internal Server Error", "sorry");
    if (request.path == "/unstated") connection.send(Connection::head("200 OK") + "until the end");
    if (request.path == "/chunked") {
      connection.send(Connection::head("200 OK", "Transfer-Encoding: chunked\r\n"));
      connection.send("6\r\nin two\r\n7\r\n pieces\r\n0\r\n\r\n");
    }
  });
  const struct {
    const char* path;
    int status;
    const char* body;
    std::optional<std::int64_t> length;
  } rows[] = {
      {"/whole", 200, "hello, world", 12},
      {"/empty", 200, "", 0},
      {"/absent", 404, "no such page", 12},
      {"/broken", 500, "sorry", 5},
      {"/unstated", 200, "until the end", std::nullopt},
      {"/chunked", 200, "in two pieces", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const auto recorder = load(server.address(row.path));
    expectSuccess(*recorder, row.status, row.body);
    EXPECT_EQ(recorder->response->expectedContentLength, row.length);
    EXPECT_EQ(recorder->response->url.text(), server.address(row.path));
  }
}

TEST_F(URLSessionContractTest, SendsTheRequestsHeadersAndUndoesTheBodysEncoding) {
  // "compressed text" as gzip -n makes it.
  const std::string compressed(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\x4b\xce\xcf\x2d\x28\x4a\x2d\x2e\x4e\x4d\x51\x28\x49\xad\x28"
      "\x01\x00\xc2\x18\xd8\xd8\x0f\x00\x00\x00",
      35);
  LoopbackHTTPServer server([&](const Request&, const Connection& connection) {
    connection.answer("200 OK", compressed, "Content-Encoding: gzip\r\n");
  });
  const URLRequest request{*URL::parse(server.address("/feed?channel=a%20b")),
                           {{"Accept", "application/x-feed"}, {"X-Trial", "one, two"}},
                           std::nullopt};
  expectSuccess(*load(request), 200, "compressed text");
  ASSERT_EQ(server.requests().size(), 1U);
  Request received = server.requests().front();
  EXPECT_EQ(received.path, "/feed?channel=a%20b");
  EXPECT_EQ(received.headers["accept"], "application/x-feed");
  EXPECT_EQ(received.headers["x-trial"], "one, two");
  EXPECT_EQ(received.headers["user-agent"], "Editor/2.4.1");
  EXPECT_NE(received.headers["accept-encoding"].find("gzip"), std::string::npos);

  (void)load({*URL::parse(server.address("/")), {{"User-Agent", "a name of its own"}}, std::nullopt});
  EXPECT_EQ(server.requests().back().headers["user-agent"], "a name of its own");
}

TEST_F(URLSessionContractTest, FollowsRedirectsToTheLastAddressButNotForEver) {
  LoopbackHTTPServer server([&server](const Request& request, const Connection& connection) {
    const auto redirect = [&](const std::string& status, const std::string& address) {
      connection.answer(status, "elsewhere", "Location: " + address + "\r\n");
    };
    if (request.path == "/relative") redirect("302 Found", "absolute");
    if (request.path == "/absolute") redirect("301 Moved Permanently", server.address("/step/10"));
    if (request.path == "/step/0") connection.answer("200 OK", "arrived");
    if (request.path.starts_with("/step/")) {
      redirect("307 Temporary Redirect", "/step/" + std::to_string(std::stoi(request.path.substr(6)) - 1));
    }
    if (request.path.starts_with("/endless")) redirect("302 Found", request.path + "x");
  });
  const auto arrived = load(server.address("/relative"));
  expectSuccess(*arrived, 200, "arrived");
  EXPECT_EQ(arrived->response->url.text(), server.address("/step/0"));
  EXPECT_EQ(arrived->response->expectedContentLength, 7);
  EXPECT_EQ(load(server.address("/endless"))->code(), Code::httpTooManyRedirects);
}

TEST_F(URLSessionContractTest, TellsFailuresApartByTheirCodes) {
  const LoopbackSocket deaf;
  const auto refused = load(deaf.address("/"));
  EXPECT_EQ(refused->code(), Code::cannotConnectToHost);
  EXPECT_EQ(refused->events, "c");
  EXPECT_STRNE(refused->error->what(), "");

  EXPECT_EQ(load("unheard-of://127.0.0.1/")->code(), Code::unsupportedURL);

  // A machine without any network says that instead.
  const auto unknown = load("http://host.invalid/")->code();
  EXPECT_TRUE(unknown == Code::cannotFindHost || unknown == Code::notConnectedToInternet)
      << static_cast<int>(unknown.value_or(Code::unknown));

  LoopbackHTTPServer server([](const Request& request, const Connection& connection) {
    if (request.path == "/half") {
      connection.send(Connection::head("200 OK", "Content-Length: 1000\r\n") + std::string(500, 'x'));
    }
  });
  const auto half = load(server.address("/half"));
  EXPECT_EQ(half->code(), Code::networkConnectionLost);
  ASSERT_TRUE(half->response);
  EXPECT_EQ(half->response->expectedContentLength, 1000);
  EXPECT_LE(half->body.size(), 500U);

  // Whether no answer at all is a bad one or a lost connection is for each system to say.
  const auto silent = load(server.address("/silent"));
  EXPECT_TRUE(silent->error);
  EXPECT_EQ(silent->events, "c");
}

TEST_F(URLSessionContractTest, GivesUpOnAServerThatStandsStill) {
  LoopbackHTTPServer server([](const Request& request, const Connection& connection) {
    if (request.path == "/begun") {
      connection.send(Connection::head("200 OK", "Content-Length: 1000\r\n") + std::string(500, 'x'));
    }
    connection.waitUntilClosed();
  });
  for (const char* path : {"/mute", "/begun"}) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(load({*URL::parse(server.address(path)), {}, 1s})->code(), Code::timedOut) << path;
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, 900ms) << path;
    EXPECT_LE(taken, 4s) << path;
  }
}

TEST_F(URLSessionContractTest, ATaskThatWasCancelledBeforeNeverTransfersAnything) {
  LoopbackHTTPServer server(
      [](const Request&, const Connection& connection) { connection.answer("200 OK", "x"); });
  const auto recorder = std::make_shared<Recorder>();
  const auto task = session_->dataTask({*URL::parse(server.address("/")), {}, {}}, recorder);
  task->cancel();
  task->resume();
  ASSERT_TRUE(recorder->waitForCompletion());
  EXPECT_EQ(recorder->code(), Code::cancelled);
  // Another one that comes and goes shows that nothing of the first is still on its way.
  expectSuccess(*load(server.address("/")), 200, "x");
  EXPECT_EQ(recorder->eventsSoFar(), "c");
  EXPECT_EQ(server.connectionCount(), 1U);
}

TEST_F(URLSessionContractTest, CancellingEndsARunningTaskSoonAndOnce) {
  LoopbackHTTPServer server([](const Request& request, const Connection& connection) {
    if (request.path != "/mute") {
      connection.send(Connection::head("200 OK", "Content-Length: 100000\r\n") + std::string(1000, 'x'));
    }
    connection.waitUntilClosed();
  });
  {
    SCOPED_TRACE("from another thread, while it stands still");
    const auto recorder = std::make_shared<Recorder>();
    const auto task = start(server.address("/begun"), recorder);
    ASSERT_TRUE(recorder->waitForData());
    const auto begin = std::chrono::steady_clock::now();
    task->cancel();
    task->cancel();
    ASSERT_TRUE(recorder->waitForCompletion());
    EXPECT_LE(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_EQ(recorder->code(), Code::cancelled);
    task->cancel();
    EXPECT_EQ(recorder->eventsSoFar(), "rdc");
  }
  {
    SCOPED_TRACE("before there is an answer");
    const auto recorder = std::make_shared<Recorder>();
    const auto task = start(server.address("/mute"), recorder);
    task->cancel();
    ASSERT_TRUE(recorder->waitForCompletion());
    EXPECT_EQ(recorder->code(), Code::cancelled);
    EXPECT_EQ(recorder->eventsSoFar(), "c");
  }
  for (const char event : {'r', 'd'}) {
    SCOPED_TRACE(std::string("on the session's thread, at ") + event);
    const auto recorder = std::make_shared<Recorder>();
    const auto task = session_->dataTask({*URL::parse(server.address("/begun")), {}, {}}, recorder);
    recorder->onEvent = [&](char now) {
      if (now == event) task->cancel();
    };
    task->resume();
    ASSERT_TRUE(recorder->waitForCompletion());
    EXPECT_EQ(recorder->code(), Code::cancelled);
  }
}

TEST_F(URLSessionContractTest, CancellingEndsTheReadingOfAFile) {
  const TemporaryFolder folder;
  const auto file = folder.write("large", "");
  std::filesystem::resize_file(file, std::uintmax_t{256} << 20);
  const auto recorder = std::make_shared<Recorder>();
  const auto task = session_->dataTask({*URL::parse("file://" + file.string()), {}, {}}, recorder);
  recorder->onEvent = [&](char now) {
    if (now == 'd') task->cancel();
  };
  task->resume();
  ASSERT_TRUE(recorder->waitForCompletion());
  EXPECT_EQ(recorder->code(), Code::cancelled);
  EXPECT_EQ(recorder->events, "rdc");
}

TEST_F(URLSessionContractTest, CancellingACompletedTaskChangesNothing) {
  LoopbackHTTPServer server(
      [](const Request&, const Connection& connection) { connection.answer("200 OK", "all of it"); });
  const auto recorder = std::make_shared<Recorder>();
  const auto task = start(server.address("/"), recorder);
  ASSERT_TRUE(recorder->waitForCompletion());
  task->cancel();
  expectSuccess(*load(server.address("/")), 200, "all of it");
  EXPECT_EQ(recorder->eventsSoFar(), "rdc");
  EXPECT_EQ(recorder->error, std::nullopt);
}

TEST_F(URLSessionContractTest, ReadsFiles) {
  const TemporaryFolder folder;
  folder.write("a folder/file", "on this machine");
  folder.write("empty", "");
  const std::string base = "file://" + folder.path().string();
  const auto present = load(base + "/a%20folder/file");
  EXPECT_EQ(present->events, "rdc");
  EXPECT_EQ(present->error, std::nullopt);
  EXPECT_EQ(present->body, "on this machine");
  ASSERT_TRUE(present->response);
  EXPECT_EQ(present->response->statusCode, std::nullopt);
  EXPECT_EQ(present->response->expectedContentLength, 15);

  const auto empty = load(base + "/empty");
  EXPECT_EQ(empty->error, std::nullopt);
  EXPECT_EQ(empty->events, "rc");

  const auto missing = load(base + "/missing");
  EXPECT_EQ(missing->code(), Code::fileDoesNotExist);
  EXPECT_EQ(missing->events, "c");
}

TEST_F(URLSessionContractTest, DeliversALargeBodyWholeAndInOrder) {
  std::string large(std::size_t{24} << 20, '\0');
  std::uint32_t state = 1;
  for (char& c : large) {
    state = state * 1664525U + 1013904223U;
    c = static_cast<char>(state >> 24U);
  }
  LoopbackHTTPServer server(
      [&](const Request&, const Connection& connection) { connection.answer("200 OK", large); });
  const auto recorder = load(server.address("/"));
  EXPECT_EQ(recorder->error, std::nullopt);
  EXPECT_EQ(recorder->response->expectedContentLength, static_cast<std::int64_t>(large.size()));
  EXPECT_TRUE(recorder->body == large) << recorder->body.size() << " bytes arrived";
}

TEST_F(URLSessionContractTest, AnInvalidatedSessionLetsItsTasksFinish) {
  std::mutex held;
  LoopbackHTTPServer server([&](const Request&, const Connection& connection) {
    connection.send(Connection::head("200 OK", "Content-Length: 10\r\n") + "first");
    const std::lock_guard guard(held);
    connection.send(" last");
  });
  std::unique_lock hold(held);
  const auto recorder = std::make_shared<Recorder>();
  const auto task = start(server.address("/"), recorder);
  ASSERT_TRUE(recorder->waitForData());
  session_->finishTasksAndInvalidate();
  session_->finishTasksAndInvalidate();
  hold.unlock();
  ASSERT_TRUE(recorder->waitForCompletion());
  expectSuccess(*recorder, 200, "first last");

  for (const char event : {'r', 'c'}) {
    SCOPED_TRACE(std::string("invalidated on the session's own thread, at ") + event);
    session_ = makeSystemURLSessions("Editor/2.4.1")->makeSession();
    const auto other = std::make_shared<Recorder>();
    other->onEvent = [&](char now) {
      if (now == event) session_->finishTasksAndInvalidate();
    };
    const auto otherTask = start(server.address("/"), other);
    ASSERT_TRUE(other->waitForCompletion());
    expectSuccess(*other, 200, "first last");
  }
}

TEST_F(URLSessionContractTest, LetsGoOfTheDelegateOnceTheTaskHasCompleted) {
  LoopbackHTTPServer server([](const Request& request, const Connection& connection) {
    if (request.path == "/") connection.answer("200 OK", "x");
    connection.waitUntilClosed();
  });
  for (const bool isCancelled : {false, true}) {
    auto recorder = std::make_shared<Recorder>();
    const std::weak_ptr<Recorder> watched = recorder;
    const auto task = start(server.address(isCancelled ? "/mute" : "/"), recorder);
    if (isCancelled) task->cancel();
    ASSERT_TRUE(recorder->waitForCompletion());
    recorder.reset();
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!watched.expired() && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(watched.expired()) << (isCancelled ? "cancelled" : "completed");
  }
}

// The client that an application makes without further ado passes on what the server says.
TEST_F(URLSessionContractTest, TheNetworkClientNeedsNoSessionsGiven) {
  LoopbackHTTPServer server([](const Request&, const Connection& connection) {
    connection.answer("404 Not Found", "no such page");
  });
  PellamURLSessionNetworkClient client;
  const NetworkData data = client.data({*URL::parse(server.address("/")), {}, {}}, CancellationToken());
  EXPECT_EQ(data.response.statusCode, 404);
  EXPECT_EQ(std::string(data.body.span().begin(), data.body.span().end()), "no such page");
}

}  // namespace
}  // namespace pellam
