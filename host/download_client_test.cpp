#include "host/download_client.h"

#include <gtest/gtest.h>

#include <deque>
#include <thread>
#include <vector>

#include "host/download_delegate.h"
#include "host/ready_install_confirmation.h"
#include "platform/url_session.h"

namespace pellam {
namespace {

using Code = URLLoadingError::Code;

const URL address = *URL::parse("http://example.com/archive.zip");

// Plays a list of events to the delegate when a task is resumed, on the resuming thread.
struct ScriptedSessions final : URLSessionMaking, std::enable_shared_from_this<ScriptedSessions> {
  using Event = std::function<void(URLSessionDataDelegate&)>;

  struct Task final : URLSessionDataTask {
    Task(std::shared_ptr<ScriptedSessions> owner, std::shared_ptr<URLSessionDataDelegate> receiver)
        : sessions(std::move(owner)), delegate(std::move(receiver)) {}
    void resume() override {
      if (cancelled) {
        delegate->didComplete(URLLoadingError(Code::cancelled, "cancelled"));
        return;
      }
      for (const Event& event : sessions->events) event(*delegate);
    }
    void cancel() override { cancelled = true; }
    std::shared_ptr<ScriptedSessions> sessions;
    std::shared_ptr<URLSessionDataDelegate> delegate;
    bool cancelled = false;
  };
  struct Session final : URLSession {
    explicit Session(std::shared_ptr<ScriptedSessions> made) : owner(std::move(made)) {}
    std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest&,
                                                 std::shared_ptr<URLSessionDataDelegate> delegate) override {
      return std::make_shared<Task>(owner, std::move(delegate));
    }
    void finishTasksAndInvalidate() override { ++owner->invalidations; }
    std::shared_ptr<ScriptedSessions> owner;
  };
  std::shared_ptr<URLSession> makeSession() override { return std::make_shared<Session>(shared_from_this()); }

  void respond(std::optional<std::int64_t> length) {
    events.emplace_back([length](auto& delegate) { delegate.didReceiveResponse({address, 200, length}); });
  }
  void send(std::size_t count) {
    events.emplace_back([count](auto& delegate) {
      const std::vector<std::uint8_t> bytes(count, 'x');
      delegate.didReceiveData(bytes);
    });
  }
  void complete(std::optional<URLLoadingError> error = std::nullopt) {
    events.emplace_back([error](auto& delegate) { delegate.didComplete(error); });
  }

  std::vector<Event> events;
  int invalidations = 0;
};

class DownloadClientTest : public testing::Test {
 protected:
  NetworkData download(const CancellationToken& cancellation = {}) {
    return OrvoUpdateURLSessionInstallerNetworkClient(sessions_).data(
        address, [this](const auto& progress) { progress_.push_back(progress); }, cancellation);
  }

  std::shared_ptr<ScriptedSessions> sessions_ = std::make_shared<ScriptedSessions>();
  std::vector<OrvoUpdateInstallerDownloadProgress> progress_;
};

TEST_F(DownloadClientTest, ReportsTheResponseAndEveryChunk) {
  sessions_->respond(1000);
  sessions_->send(600);
  sessions_->send(600);  // more than was stated
  sessions_->complete();
  EXPECT_EQ(download().body.size(), 1200U);
  EXPECT_EQ(progress_,
            (std::vector<OrvoUpdateInstallerDownloadProgress>{{0, 1000}, {600, 1000}, {1200, 1000}}));
  EXPECT_EQ(progress_.back().progressFraction(), 1.0);
  EXPECT_EQ(sessions_->invalidations, 1);
}

TEST_F(DownloadClientTest, AnUnusableLengthCountsAsUnknown) {
  for (const std::optional<std::int64_t> length :
       {std::optional<std::int64_t>(), std::optional<std::int64_t>(0), std::optional<std::int64_t>(-1)}) {
    sessions_->events.clear();
    progress_.clear();
    sessions_->respond(length);
    sessions_->send(5);
    sessions_->complete();
    (void)download();
    EXPECT_EQ(progress_,
              (std::vector<OrvoUpdateInstallerDownloadProgress>{{0, std::nullopt}, {5, std::nullopt}}));
  }
  // A length that nobody could hold is not made room for.
  sessions_->events.clear();
  sessions_->respond(INT64_MAX);
  sessions_->send(5);
  sessions_->complete();
  EXPECT_EQ(download().body.size(), 5U);
}

TEST_F(DownloadClientTest, TheFirstCompletionWins) {
  sessions_->respond(std::nullopt);
  sessions_->complete();
  sessions_->complete(URLLoadingError(Code::networkConnectionLost, "late"));
  EXPECT_EQ(download().body.size(), 0U);
  EXPECT_EQ(sessions_->invalidations, 1);
}

TEST_F(DownloadClientTest, FailuresPassThroughAndASilentServerIsOne) {
  const auto codeOf = [this] {
    try {
      (void)download();
    } catch (const URLLoadingError& error) {
      return error.code();
    }
    return Code::unknown;
  };
  sessions_->complete(URLLoadingError(Code::timedOut, "slow"));
  EXPECT_EQ(codeOf(), Code::timedOut);
  sessions_->events.clear();
  sessions_->complete();
  EXPECT_EQ(codeOf(), Code::badServerResponse);
}

TEST_F(DownloadClientTest, CancellingBeforeTheTaskExistsTransfersNothing) {
  sessions_->respond(std::nullopt);
  sessions_->send(5);
  sessions_->complete();
  CancellationSource source;
  source.cancel();
  EXPECT_THROW((void)download(source.token()), URLLoadingError);
  EXPECT_TRUE(progress_.empty());
}

TEST(DownloadDefaultTest, AClientWithoutProgressReportsOnceAtTheEnd) {
  struct Plain final : OrvoUpdateInstallerNetworkClient {
    using OrvoUpdateInstallerNetworkClient::data;
    NetworkData data(const URL& url, const CancellationToken&) override {
      return {ByteBuffer(std::string_view("12345")), {url, 200, length}};
    }
    std::optional<std::int64_t> length;
  };
  Plain client;
  for (const auto& [stated, expected] :
       {std::pair<std::optional<std::int64_t>, std::int64_t>{9, 9}, {0, 5}, {std::nullopt, 5}}) {
    client.length = stated;
    std::vector<OrvoUpdateInstallerDownloadProgress> progress;
    OrvoUpdateInstallerNetworkClient& base = client;
    (void)base.data(address, [&](const auto& value) { progress.push_back(value); }, {});
    EXPECT_EQ(progress, (std::vector<OrvoUpdateInstallerDownloadProgress>{{5, expected}}));
  }
}

TEST(ReadyInstallConfirmationTest, TheFirstResolveWinsAndNoneIsLost) {
  std::vector<std::string> resumed;
  const auto waiter = [&](const std::exception_ptr& result) {
    resumed.emplace_back(result ? "cancelled" : "pressed");
  };
  OrvoUpdateReadyInstallConfirmation pressed;
  pressed.setContinuation(waiter);
  EXPECT_FALSE(pressed.isResolved());
  pressed.resolve(nullptr);
  pressed.resolve(std::make_exception_ptr(OperationCancelled()));
  OrvoUpdateReadyInstallConfirmation cancelled;
  cancelled.resolve(std::make_exception_ptr(OperationCancelled()));
  cancelled.setContinuation(waiter);
  EXPECT_EQ(resumed, (std::vector<std::string>{"pressed", "cancelled"}));
  EXPECT_TRUE(cancelled.isResolved());
}

}  // namespace
}  // namespace pellam
