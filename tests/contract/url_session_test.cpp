#include "platform/url_session.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "foundation/network_client.h"
#include "tests/support/loopback_http_server.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace std::chrono_literals;
using testing_support::LoopbackHTTPServer;
using testing_support::LoopbackSocket;
using testing_support::TemporaryFolder;
using Code = URLLoadingError::Code;
using Request = LoopbackHTTPServer::Request;
using Connection = LoopbackHTTPServer::Connection;

constexpr auto patience = 30s;

// Keeps what a task reports, and that it reports it in order and one at a time. `onEvent` is called on the
// session's thread, after the event has been kept.
class Recorder final : public URLSessionDataDelegate {
 public:
  std::function<void(char event)> onEvent = [](char) {};

  void didReceiveResponse(const URLResponse& received) override {
    record('r', [&] { response = received; });
  }
  void didReceiveData(std::span<const std::uint8_t> bytes) override {
    record('d', [&] { body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()); });
  }
  void didComplete(const std::optional<URLLoadingError>& failure) override {
    record('c', [&] { error = failure; });
  }

  // False when the task has not completed in time.
  bool waitForCompletion() {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [this] { return hasCompleted_; });
  }
  bool waitForData() {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [this] { return !body.empty(); });
  }
  std::string eventsSoFar() {
    const std::lock_guard guard(lock_);
    return events;
  }
  [[nodiscard]] std::optional<Code> code() const {
    return error ? std::optional(error->code()) : std::nullopt;
  }

  // To be read after the completion.
  std::string events;  // a letter each; data that follows data counts once
  std::string body;
  std::optional<URLResponse> response;
  std::optional<URLLoadingError> error;

 private:
  template <typename Work>
  void record(char event, const Work& work) {
    EXPECT_NE(std::this_thread::get_id(), maker_) << "on the thread of whoever asked for it";
    EXPECT_FALSE(isBusy_.exchange(true)) << "two events at a time";
    {
      const std::lock_guard guard(lock_);
      work();
      if (event != 'd' || !events.ends_with('d')) events += event;
    }
    changed_.notify_all();
    onEvent(event);
    isBusy_ = false;
    if (event != 'c') return;
    const std::lock_guard guard(lock_);
    hasCompleted_ = true;
    changed_.notify_all();
  }

  std::thread::id maker_ = std::this_thread::get_id();
  std::atomic<bool> isBusy_ = false;
  std::mutex lock_;
  std::condition_variable changed_;
  bool hasCompleted_ = false;
};

class URLSessionContractTest : public testing::Test {
 protected:
  // What the environment says about proxies is not meant for this machine's own addresses.
  static void SetUpTestSuite() { ::setenv("no_proxy", "*", 1); }

  // One task from its beginning to its end.
  std::shared_ptr<Recorder> load(const std::string& address) { return load({*URL::parse(address), {}, {}}); }
  std::shared_ptr<Recorder> load(const URLRequest& request) {
    auto recorder = std::make_shared<Recorder>();
    const auto task = session_->dataTask(request, recorder);
    task->resume();
    EXPECT_TRUE(recorder->waitForCompletion()) << request.url.text();
    return recorder;
  }
  std::shared_ptr<URLSessionDataTask> start(const std::string& address,
                                            const std::shared_ptr<Recorder>& recorder) {
    auto task = session_->dataTask({*URL::parse(address), {}, {}}, recorder);
    task->resume();
    return task;
  }

  std::shared_ptr<URLSession> session_ = makeSystemURLSessions()->makeSession();
};

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
  EXPECT_NE(received.headers["accept-encoding"].find("gzip"), std::string::npos);
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

TEST_F(URLSessionContractTest, NeverFollowsARedirectToAFile) {
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
    session_ = makeSystemURLSessions()->makeSession();
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
