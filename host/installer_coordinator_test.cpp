#include "host/installer_coordinator.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "foundation/installer_error.h"
#include "host/main_thread_queue.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using Case = OrvoUpdateInstallerError::Case;

class InstallerCoordinatorTest : public testing::Test {
 protected:
  InstallerCoordinatorTest() {
    helper_ = folder_.write("Editor.app/Contents/MacOS/PellamUpdateInstaller", "#!/bin/sh\n");
    fs::permissions(helper_, fs::perms::owner_all);
    network_->answers["http://a/Editor.zip"] = 200;
  }

  OrvoUpdateInstallerCoordinator& coordinator() {
    if (!coordinator_) {
      coordinator_ = std::make_unique<OrvoUpdateInstallerCoordinator>(
          files_, network_, unzipper_, opener_, validator_, launcher_,
          [] {
            return OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
          },
          OrvoUpdateInstallerCoordinatorEnvironment{
              mainThread_,
              std::make_shared<EnglishBundles>(),
              {},
              makeSystemUUIDGenerator(),
              clock_,
              [this](const std::string& line) { log_.push_back(line); }});
    }
    return *coordinator_;
  }

  OrvoAppBundleUpdateRequest request() const {
    OrvoAppBundleUpdateRequest request;
    request.archiveURL = URL::parse("http://a/Editor.zip");
    request.archiveFileName = "Editor.zip";
    request.applicationName = "Editor";
    request.installedApplicationURL = folder_ / "Editor.app";
    request.hostIdentity = {"com.example.editor", "1.0", 100, "TEAM", false};
    request.helperExecutableURL = helper_;
    request.installerSubdirectoryName = "SeamlessInstaller";
    request.failureReportAttemptIdentifier = "attempt";
    return request;
  }

  // Runs the work on a worker while this thread is the main thread, as in a host.
  template <typename Work>
  void onWorker(const Work& work) {
    std::exception_ptr failure;
    std::thread worker([&] {
      try {
        work();
      } catch (...) {
        failure = std::current_exception();
      }
      mainThread_->stop();
    });
    mainThread_->run();
    worker.join();
    if (failure) std::rethrow_exception(failure);
  }

  // The case that an install of the request ends with.
  Case failureOf(const OrvoAppBundleUpdateRequest& request) {
    try {
      coordinator().installAppBundleUpdate(request, nullptr, [](const auto&) {}, {});
    } catch (const OrvoUpdateInstallerError& error) {
      return error.errorCase();
    }
    ADD_FAILURE() << "the installation did not fail";
    return Case::relaunchFailed;
  }

  TemporaryFolder folder_;
  fs::path helper_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<ScriptedNetwork> network_ = std::make_shared<ScriptedNetwork>();
  std::shared_ptr<FolderMaker> unzipper_ = std::make_shared<FolderMaker>();
  std::shared_ptr<RecordingOpener> opener_ = std::make_shared<RecordingOpener>();
  std::shared_ptr<RecordingValidator> validator_ = std::make_shared<RecordingValidator>();
  std::shared_ptr<RecordingLauncher> launcher_ = std::make_shared<RecordingLauncher>();
  std::shared_ptr<MainThreadQueue> mainThread_ = std::make_shared<MainThreadQueue>();
  std::shared_ptr<PellamClock> clock_ = std::make_shared<FixedClock>();
  std::vector<std::string> log_;
  std::unique_ptr<OrvoUpdateInstallerCoordinator> coordinator_;
};

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
  void showReadyToInstallAndRelaunch(const std::string&, const std::string&,
                                     std::function<void()> action) override {
    action();
  }
  void requestUserAttention() override {}
  void close() override {}
  std::vector<double> fractions;

 private:
  ChattyNetwork& network_;
};

TEST_F(InstallerCoordinatorTest, ShowsTheLatestProgressOfADownloadAndNeverLosesTheLast) {
  const auto network = std::make_shared<ChattyNetwork>();
  const auto window = std::make_shared<SlowWindow>(*network);
  OrvoUpdateInstallerCoordinator coordinator(
      files_, network, unzipper_, opener_, validator_, launcher_,
      [] {
        return OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
      },
      {mainThread_,
       std::make_shared<EnglishBundles>(),
       {},
       makeSystemUUIDGenerator(),
       clock_,
       [](const auto&) {}});
  onWorker([&] { (void)coordinator.installAppBundleUpdate(request(), window, [](const auto&) {}, {}); });
  EXPECT_EQ(window->fractions, (std::vector{0.001, 1.0}));
}

TEST_F(InstallerCoordinatorTest, ShowsEveryPhaseAndHandsTheStagedBundleOver) {
  const auto window = std::make_shared<RecordingWindow>();
  std::vector<OrvoAppBundleInstallerLaunchProgress> progress;
  OrvoAppBundleReplacementRequest handed;
  onWorker([&] {
    handed = coordinator().installAppBundleUpdate(request(), window,
                                                  [&](const auto& event) { progress.push_back(event); }, {});
  });
  EXPECT_EQ(window->shown, (std::vector<std::string>{"Downloading update…|Preparing download…|0.00",
                                                     "Extracting update…|-|-", "Verifying update…|-|-",
                                                     "Ready to Install|Install and Relaunch", "attention",
                                                     "Preparing to install…|-|-", "closed"}));
  ASSERT_EQ(launcher_->requests.size(), 1U);
  EXPECT_EQ(launcher_->requests.front(), handed);
  EXPECT_EQ(progress, std::vector{OrvoAppBundleInstallerLaunchProgress::handoffStarted()});

  EXPECT_TRUE(handed.shouldRequestAuthorizationIfNeeded);
  EXPECT_EQ(handed.hostIdentity, request().hostIdentity);
  EXPECT_EQ(handed.launchUserContext->userName, "ada");
  EXPECT_EQ(handed.failureReportAttemptIdentifier, "attempt");
  EXPECT_EQ(handed.failureReportURL,
            folder_ / "Support/com.example.editor/SeamlessInstaller/PellamUpdateInstallerFailure.plist");
  EXPECT_TRUE(fs::is_directory(handed.failureReportURL->parent_path()));
  EXPECT_EQ(validator_->validated, std::vector{handed.stagedApplicationURL});

  const fs::path attempt = handed.stagedApplicationURL.parent_path();
  EXPECT_TRUE(isUUID(attempt.filename().string()));
  EXPECT_EQ(attempt.parent_path(), folder_ / "Support/Editor/SeamlessInstaller");
  EXPECT_EQ(unzipper_->archive, (attempt / "Editor.zip").string());
  EXPECT_FALSE(fs::exists(attempt / "Editor.zip"));
}

TEST_F(InstallerCoordinatorTest, RefusesBeforeAnythingIsDownloaded) {
  auto withoutArchive = request();
  withoutArchive.archiveURL.reset();
  EXPECT_EQ(failureOf(withoutArchive), Case::missingArchiveURL);
  auto withoutHelper = request();
  withoutHelper.helperExecutableURL.reset();
  EXPECT_EQ(failureOf(withoutHelper), Case::replacementHelperUnavailable);
  auto withPlainFile = request();
  withPlainFile.helperExecutableURL = folder_.write("helper", "not executable");
  EXPECT_EQ(failureOf(withPlainFile), Case::replacementHelperUnavailable);
  EXPECT_TRUE(network_->requests.empty());
}

TEST_F(InstallerCoordinatorTest, DownloadsFromTheFallbackAfterAnyFailure) {
  auto request = this->request();
  request.fallbackArchiveURL = URL::parse("http://b/Editor.zip");
  network_->answers = {{"http://a/Editor.zip", 404}, {"http://b/Editor.zip", std::nullopt}};
  coordinator().installAppBundleUpdate(request, nullptr, [](const auto&) {}, {});
  EXPECT_EQ(network_->requests, (std::vector<std::string>{"http://a/Editor.zip", "http://b/Editor.zip"}));

  network_->answers = {{"http://a/Editor.zip", 199}, {"http://b/Editor.zip", 300}};
  EXPECT_EQ(failureOf(request), Case::downloadFailed);
  network_->answers.clear();
  EXPECT_EQ(failureOf(request), Case::downloadFailed);
  EXPECT_EQ(failureOf(this->request()), Case::downloadFailed);
}

TEST_F(InstallerCoordinatorTest, TheLogIsToldWhatFailed) {
  auto request = this->request();
  request.archiveURL = URL::parse("http://ada:secret@a/Editor.zip?token=x");
  request.fallbackArchiveURL = URL::parse("http://b/Editor.zip");
  network_->answers = {{"http://b/Editor.zip", 503}};
  EXPECT_EQ(failureOf(request), Case::downloadFailed);
  EXPECT_EQ(log_,
            (std::vector<std::string>{"Unable to download the update url=http://a/Editor.zip error=refused",
                                      "Unable to download the update url=http://b/Editor.zip status=503"}));
  log_.clear();
  network_->answers["http://a/Editor.zip"] = 200;
  files_->fullVolume = folder_ / "Support";
  coordinator().installAppBundleUpdate(this->request(), nullptr, [](const auto&) {}, {});
  ASSERT_EQ(log_.size(), 1U);
  EXPECT_TRUE(
      log_[0].starts_with("Unable to write the downloaded archive error=" + files_->fullVolume.string()))
      << log_[0];
  EXPECT_TRUE(log_[0].ends_with("/Editor.zip: No space left on device")) << log_[0];
}

TEST_F(InstallerCoordinatorTest, CancellingEndsEveryPhaseBeforeTheHandOff) {
  auto request = this->request();
  request.fallbackArchiveURL = URL::parse("http://b/Editor.zip");
  for (const std::string phase : {"download", "unpacking", "waiting", "before"}) {
    CancellationSource source;
    network_->requests.clear();
    network_->onRequest = phase == "download" ? std::function([&] { source.cancel(); }) : nullptr;
    unzipper_->succeeds = phase != "unpacking";  // an interrupt ends the tool, too
    unzipper_->onUnzip = phase == "unpacking" ? std::function([&] { source.cancel(); }) : nullptr;
    const auto window = std::make_shared<RecordingWindow>();
    window->onReady = [&](const std::function<void()>& action) {
      source.cancel();
      action();  // a press that comes too late changes nothing
    };
    if (phase == "before") source.cancel();
    mainThread_ = std::make_shared<MainThreadQueue>();
    coordinator_.reset();
    coordinator();
    EXPECT_THROW(onWorker([&] {
                   coordinator().installAppBundleUpdate(
                       request, window, [](const auto&) {}, source.token());
                 }),
                 OperationCancelled)
        << phase;
    EXPECT_EQ(network_->requests.size(), 1U) << phase << ": a cancelled download has no second attempt";
    EXPECT_EQ(window->shown.back(), "closed") << phase;
    EXPECT_TRUE(launcher_->requests.empty()) << phase;
  }
}

TEST_F(InstallerCoordinatorTest, StagesInTheTemporaryFolderWhenApplicationSupportIsFull) {
  files_->fullVolume = folder_ / "Support";
  const auto handed = coordinator().installAppBundleUpdate(request(), nullptr, [](const auto&) {}, {});
  EXPECT_EQ(handed.stagedApplicationURL.parent_path().parent_path(),
            folder_ / "Temporary/Editor/SeamlessInstaller");
  EXPECT_TRUE(fs::is_empty(folder_ / "Support/Editor/SeamlessInstaller"));

  files_->fullVolume = folder_.path();
  EXPECT_EQ(failureOf(request()), Case::writeFailed);
  files_->fullVolume.clear();
  for (const std::string name : {"", "..", "../x.zip", "a/b.zip"}) {
    auto named = request();
    named.archiveFileName = name;
    EXPECT_EQ(failureOf(named), Case::writeFailed) << name;
  }
}

TEST_F(InstallerCoordinatorTest, FindsTheOneBundleOfTheArchive) {
  struct Row {
    std::vector<std::string> folders;
    std::optional<Case> error;
  };
  const std::vector<Row> rows = {
      {{"sub/folder/Editor.app", ".Hidden.app"}, std::nullopt},
      {{"Editor.APP/Contents/Helper.app"}, std::nullopt},
      {{"Editor.app", "Other.APP"}, Case::multipleAppBundlesFound},
      {{"Editor.apple", "app"}, Case::noAppBundleFound},
      {{".hidden/Editor.app"}, Case::noAppBundleFound},
  };
  for (const Row& row : rows) {
    unzipper_->folders = row.folders;
    if (row.error) {
      EXPECT_EQ(failureOf(request()), *row.error) << row.folders.front();
    } else {
      const auto handed = coordinator().installAppBundleUpdate(request(), nullptr, [](const auto&) {}, {});
      EXPECT_TRUE(
          handed.stagedApplicationURL.string().ends_with(fs::path(row.folders.front()).begin()->string()) ||
          row.folders.front().find("Editor.app") != std::string::npos);
    }
  }
  unzipper_->folders = {"folder"};
  unzipper_->link = {"folder", "Editor.app"};
  EXPECT_EQ(failureOf(request()), Case::invalidArchive) << "a link is no bundle";
  unzipper_->succeeds = false;
  EXPECT_EQ(failureOf(request()), Case::unzipFailed);
}

TEST_F(InstallerCoordinatorTest, PassesTheValidatorsErrorOnAndLaunchesNothing) {
  validator_->error = Case::teamIdentifierMismatch;
  EXPECT_EQ(failureOf(request()), Case::teamIdentifierMismatch);
  EXPECT_TRUE(launcher_->requests.empty());
}

TEST_F(InstallerCoordinatorTest, ClearsAnOldFailureReportBeforeTheHandOff) {
  const fs::path report =
      folder_.write("Support/com.example.editor/SeamlessInstaller/PellamUpdateInstallerFailure.plist", "old");
  coordinator().installAppBundleUpdate(request(), nullptr, [](const auto&) {}, {});
  EXPECT_FALSE(fs::exists(report));

  folder_.write("Support/com.example.editor/SeamlessInstaller/PellamUpdateInstallerFailure.plist", "old");
  files_->unremovable = report;
  launcher_->requests.clear();
  EXPECT_EQ(failureOf(request()), Case::replacementLaunchFailed);
  EXPECT_TRUE(launcher_->requests.empty());
}

TEST_F(InstallerCoordinatorTest, TurnsEveryLaunchResultIntoItsError) {
  using Result = OrvoAppBundleReplacementLaunchResult;
  using Error = OrvoUpdateInstallerError;
  using Phase = OrvoAppBundleInstallerLaunchPhase;
  const OrvoAppBundleInstallerFailureDiagnostic diagnostic{Phase::jobSubmission, "D", 7, "text"};
  const std::vector<std::pair<Result, Error>> rows = {
      {Result::launchFailed(diagnostic), Error::replacementHelperLaunchFailed(diagnostic)},
      {Result::protocolFailure(diagnostic), Error::replacementHelperProtocolFailure(diagnostic)},
      {Result::authorizationDenied(-60005), Error::authorizationDenied(-60005)},
      {Result::authorizationCancelled(-60006), Error::authorizationCancelled(-60006)},
      {Result::timedOut(Phase::postAuthorization),
       Error::replacementHelperLaunchTimedOut(Phase::postAuthorization)},
      {Result::helperUnavailable(), Error(Case::replacementHelperUnavailable)},
  };
  for (const auto& [result, error] : rows) {
    launcher_->result = result;
    try {
      coordinator().installAppBundleUpdate(request(), nullptr, [](const auto&) {}, {});
      ADD_FAILURE() << error.summary();
    } catch (const OrvoUpdateInstallerError& thrown) {
      EXPECT_EQ(thrown, error) << thrown.summary();
    }
  }
}

TEST_F(InstallerCoordinatorTest, RefusesASecondInstallationAtOnce) {
  bool refused = false;
  unzipper_->onUnzip = [&] {
    try {
      coordinator().installUpdate({}, nullptr, {});
    } catch (const InstallationInProgress&) {
      refused = true;
    }
  };
  coordinator().installAppBundleUpdate(request(), nullptr, [](const auto&) {}, {});
  EXPECT_TRUE(refused);
  EXPECT_EQ(failureOf([&] {
              auto next = request();
              next.archiveURL.reset();
              return next;
            }()),
            Case::missingArchiveURL)
      << "the turn is given back";
}

TEST_F(InstallerCoordinatorTest, OpensTheInstallerOfAnInstallerArchive) {
  OrvoUpdateInstallerRequest request;
  request.archiveURL = URL::parse("http://a/Editor.zip");
  request.archiveFileName = "Editor.zip";
  request.installerFileName = "Editor Installer.pkg";
  request.applicationName = "Editor";
  request.installerSubdirectoryName = "Installer";
  const auto window = std::make_shared<RecordingWindow>();
  std::string opened;
  onWorker([&] { opened = coordinator().installUpdate(request, window, {}); });
  EXPECT_EQ(opened, (folder_ / "Support/Editor/Installer/Editor Installer.pkg").string());
  EXPECT_EQ(window->shown,
            (std::vector<std::string>{"Downloading update…|Preparing download…|0.00",
                                      "Extracting update…|-|-", "Opening installer…|-|-", "closed"}));

  request.installerFileName = "../../../other.pkg";
  opener_->opened.clear();
  try {
    coordinator().installUpdate(request, nullptr, {});
    ADD_FAILURE();
  } catch (const OrvoUpdateInstallerError& error) {
    EXPECT_EQ(error.errorCase(), Case::launchFailed);
  }
  EXPECT_TRUE(opener_->opened.empty()) << "a name from the feed must not leave the archive";
}

TEST_F(InstallerCoordinatorTest, RemovesOnlyStaleAttempts) {
  const std::string base = "Support/Editor/SeamlessInstaller/";
  const Date now = clock_->now();
  const auto attempt = [&](const std::string& name, std::chrono::seconds age) {
    fs::create_directories(folder_ / (base + name));
    files_->creationDates[name] = now - age;
    return folder_ / (base + name);
  };
  const fs::path fresh = attempt("00000000-0000-4000-8000-000000000001", std::chrono::seconds(599));
  const fs::path stale = attempt("00000000-0000-4000-8000-00000000000a", std::chrono::seconds(600));
  const fs::path running = attempt("00000000-0000-4000-8000-000000000003", std::chrono::hours(99));
  const fs::path named = attempt("keep", std::chrono::hours(99));
  const fs::path file = folder_.write(base + "00000000-0000-4000-8000-000000000005", "");
  files_->creationDates[file.filename().string()] = now - std::chrono::hours(99);
  fs::create_directories(running / "Editor.app");

  EXPECT_EQ(coordinator().removeStaleInstallerAttempts("Editor", "SeamlessInstaller", running / "Editor.app"),
            1);
  EXPECT_FALSE(fs::exists(stale));
  for (const fs::path& kept : {fresh, running, named, file}) EXPECT_TRUE(fs::exists(kept)) << kept;
  EXPECT_EQ(log_, std::vector{"Removed 1 stale installer attempt folders from " +
                              (folder_ / "Support/Editor/SeamlessInstaller").string() + "."});
}

TEST_F(InstallerCoordinatorTest, NeverShowsATotalBelowWhatWasReceived) {
  EXPECT_EQ(coordinator().downloadProgressStatusText({1'200'000, 1'000'000}), "1.2 MB of 1.2 MB");
  EXPECT_EQ(coordinator().downloadProgressStatusText({1'200'000, 12'000'000}), "1.2 MB of 12.0 MB");
  EXPECT_EQ(coordinator().downloadProgressStatusText({1'200'000, std::nullopt}), "1.2 MB downloaded");
  EXPECT_EQ(coordinator().downloadProgressStatusText({1'200'000, 0}), "1.2 MB downloaded");
  EXPECT_EQ(OrvoUpdateInstallerDownloadProgress({1200, 1000}).progressFraction(), 1.0);
  EXPECT_EQ(OrvoUpdateInstallerDownloadProgress({1200, 0}).progressFraction(), std::nullopt);
}

}  // namespace
}  // namespace pellam
