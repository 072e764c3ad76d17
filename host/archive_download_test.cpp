#include "host/archive_download.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "pellam/installer_error.h"
#include "pellam/main_thread_queue.h"
#include "tests/support/coordinator_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Case = OrvoUpdateInstallerError::Case;

const URL primary = *URL::parse("http://a/Editor.zip");
const URL fallback = *URL::parse("http://b/Editor.zip");

// Keeps what is handed to the main thread until the test works it off; shows at once what is waited for.
struct LateMainThread final : MainThread {
  void perform(std::function<void()> work) override { later.push_back(std::move(work)); }
  void performAndWait(const std::function<void()>& work) override { work(); }
  void workOff() {
    for (const auto& work : std::exchange(later, {})) work();
  }
  std::vector<std::function<void()>> later;
};

ArchiveDownload download(std::shared_ptr<OrvoUpdateInstallerNetworkClient> network,
                         std::shared_ptr<MainThread> mainThread = std::make_shared<LateMainThread>()) {
  return {std::move(network), ProgressDisplay(std::move(mainThread), std::make_shared<FakeBundles>(), {}),
          DiagnosticLog()};
}

TEST(ArchiveDownload, TriesTheFallbackAfterEveryFailure) {
  using Answers = std::map<std::string, std::optional<int>>;
  struct Row {
    Answers answers;  // an address that is missing refuses the connection; no status is a file's
    std::optional<URL> second;
    std::vector<std::string> requests;
    std::optional<Case> error;
  };
  const std::string a = primary.text();
  const std::string b = fallback.text();
  const std::vector<Row> rows = {
      {{{a, 200}, {b, 200}}, fallback, {a}, std::nullopt},
      {{{a, 299}}, fallback, {a}, std::nullopt},
      {{{a, std::nullopt}}, std::nullopt, {a}, std::nullopt},
      {{{a, 404}, {b, std::nullopt}}, fallback, {a, b}, std::nullopt},
      {{{b, 200}}, fallback, {a, b}, std::nullopt},
      {{{a, 199}, {b, 300}}, fallback, {a, b}, Case::downloadFailed},
      {{}, fallback, {a, b}, Case::downloadFailed},
      {{{a, 500}}, std::nullopt, {a}, Case::downloadFailed},
      {{}, std::nullopt, {a}, Case::downloadFailed},
  };
  for (const Row& row : rows) {
    const auto network = std::make_shared<ScriptedNetwork>();
    network->answers = row.answers;
    std::optional<Case> error;
    try {
      EXPECT_EQ(download(network).fetch(primary, row.second, nullptr, {}).response.url.text(),
                row.requests.back());
    } catch (const OrvoUpdateInstallerError& thrown) {
      error = thrown.errorCase();
    }
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(network->requests, row.requests);
  }
}

TEST(ArchiveDownload, ACancellationIsNoFailureAndHasNoSecondAttempt) {
  for (const std::size_t cancelledAt : {1U, 2U}) {
    CancellationSource source;
    const auto network = std::make_shared<ScriptedNetwork>();
    network->onRequest = [&] {
      if (network->requests.size() == cancelledAt) source.cancel();
    };
    EXPECT_THROW((void)download(network).fetch(primary, fallback, nullptr, source.token()),
                 OperationCancelled);
    EXPECT_EQ(network->requests.size(), cancelledAt);
  }
}

// Reports progress while the download is under way and keeps the handler for afterwards.
struct ReportingNetwork final : OrvoUpdateInstallerNetworkClient {
  NetworkData data(const URL& url, const CancellationToken&) override {
    if (fails) throw URLLoadingError(URLLoadingError::Code::timedOut, "timed out");
    return {ByteBuffer(std::string_view("archive")), URLResponse{url, 200, std::nullopt}};
  }
  NetworkData data(const URL& url, const DownloadProgressHandler& given,
                   const CancellationToken& cancellation) override {
    handler = given;
    handler({500, 1000});
    if (during) during();
    handler({600, 1000});
    return data(url, cancellation);
  }
  DownloadProgressHandler handler;
  std::function<void()> during;
  bool fails = false;
};

struct StateWindow final : OrvoUpdateProgressWindow {
  void update(const OrvoUpdateProgressWindowState& state) override { states.push_back(state); }
  void showReadyToInstallAndRelaunch(const std::string&, const std::string&, std::function<void()>) override {
  }
  void requestUserAttention() override {}
  void close() override {}
  std::vector<OrvoUpdateProgressWindowState> states;
};

TEST(ArchiveDownload, ProgressThatIsShownTooLateIsDropped) {
  for (const bool fails : {false, true}) {
    const auto network = std::make_shared<ReportingNetwork>();
    const auto mainThread = std::make_shared<LateMainThread>();
    auto window = std::make_shared<StateWindow>();
    network->fails = fails;
    network->during = [&] { mainThread->workOff(); };
    try {
      (void)download(network, mainThread).fetch(primary, std::nullopt, window, {});
      EXPECT_FALSE(fails);
    } catch (const OrvoUpdateInstallerError&) {
      EXPECT_TRUE(fails);
    }
    const std::vector<OrvoUpdateProgressWindowState> shown = {
        {"Downloading update…", "Preparing download…", 0.0},
        {"Downloading update…", "500 bytes of 1 KB", 0.5}};
    EXPECT_EQ(window->states, shown);
    network->handler({1000, 1000});
    mainThread->workOff();
    EXPECT_EQ(window->states, shown) << "neither what was on its way nor what comes after the end";
  }
}

TEST(ArchiveDownload, ProgressDoesNotKeepTheWindow) {
  const auto network = std::make_shared<ReportingNetwork>();
  const auto mainThread = std::make_shared<LateMainThread>();
  auto window = std::make_shared<StateWindow>();
  const std::weak_ptr<StateWindow> watched = window;
  (void)download(network, mainThread).fetch(primary, std::nullopt, window, {});
  window.reset();
  EXPECT_TRUE(watched.expired());
  mainThread->workOff();
}

// Reports one chunk and, while the main thread is still at showing it, 999 more.
struct ChattyNetwork final : OrvoUpdateInstallerNetworkClient {
  using OrvoUpdateInstallerNetworkClient::data;
  NetworkData data(const URL& url, const CancellationToken&) override {
    return {ByteBuffer(std::string_view("archive")), URLResponse{url, 200, std::nullopt}};
  }
  NetworkData data(const URL& url, const DownloadProgressHandler& handler,
                   const CancellationToken& cancellation) override {
    handler({1, 1000});
    firstIsShowing.get_future().wait();
    for (int chunk = 2; chunk <= 1000; ++chunk) handler({chunk, 1000});
    allGiven.set_value();
    EXPECT_EQ(lastShown.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    return data(url, cancellation);
  }
  std::promise<void> firstIsShowing;
  std::promise<void> allGiven;
  std::promise<void> lastShown;
};

struct SlowWindow final : OrvoUpdateProgressWindow {
  explicit SlowWindow(ChattyNetwork& network) : network_(network) {}
  void update(const OrvoUpdateProgressWindowState& state) override {
    if (state.progressFraction.value_or(0) == 0) return;
    fractions.push_back(*state.progressFraction);
    if (fractions.size() == 1) {
      network_.firstIsShowing.set_value();
      network_.allGiven.get_future().wait();
    }
    if (state.progressFraction == 1.0) network_.lastShown.set_value();
  }
  void showReadyToInstallAndRelaunch(const std::string&, const std::string&, std::function<void()>) override {
  }
  void requestUserAttention() override {}
  void close() override {}
  std::vector<double> fractions;

 private:
  ChattyNetwork& network_;
};

TEST(ArchiveDownload, ShowsTheLatestProgressAndNeverLosesTheLast) {
  const auto network = std::make_shared<ChattyNetwork>();
  const auto window = std::make_shared<SlowWindow>(*network);
  const auto mainThread = std::make_shared<MainThreadQueue>();
  std::thread worker([&] {
    (void)download(network, mainThread).fetch(primary, std::nullopt, window, {});
    mainThread->stop();
  });
  mainThread->run();
  worker.join();
  EXPECT_EQ(window->fractions, (std::vector{0.001, 1.0}));
}

TEST(ArchiveDownload, NeverShowsATotalBelowWhatWasReceived) {
  const ArchiveDownload texts = download(std::make_shared<ScriptedNetwork>());
  EXPECT_EQ(texts.downloadProgressStatusText({1'200'000, 1'000'000}), "1.2 MB of 1.2 MB");
  EXPECT_EQ(texts.downloadProgressStatusText({1'200'000, 12'000'000}), "1.2 MB of 12.0 MB");
  EXPECT_EQ(texts.downloadProgressStatusText({1'200'000, std::nullopt}), "1.2 MB downloaded");
  EXPECT_EQ(texts.downloadProgressStatusText({1'200'000, 0}), "1.2 MB downloaded");
  EXPECT_EQ(OrvoUpdateInstallerDownloadProgress({1200, 1000}).progressFraction(), 1.0);
  EXPECT_EQ(OrvoUpdateInstallerDownloadProgress({1200, 0}).progressFraction(), std::nullopt);
}

}  // namespace
}  // namespace pellam
