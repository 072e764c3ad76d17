#include "host/installer_coordinator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/coordinator_fixture.h"

namespace pellam {
namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using Case = OrvoUpdateInstallerError::Case;

using InstallerCoordinatorTest = CoordinatorFixture;

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

TEST_F(InstallerCoordinatorTest, TakesNoLinkForABundle) {
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

// Another attempt may fail while this one waits for the user: its report must not be taken for this one's.
TEST_F(InstallerCoordinatorTest, ClearsAReportThatAppearsWhileTheUserIsAsked) {
  const fs::path report =
      folder_ / "Support/com.example.editor/SeamlessInstaller/PellamUpdateInstallerFailure.plist";
  const auto window = std::make_shared<RecordingWindow>();
  window->onReady = [&](const std::function<void()>& action) {
    folder_.write(report, "another's");
    action();
  };
  launcher_->onLaunch = [&] { EXPECT_FALSE(fs::exists(report)) << "cleared before the hand-off"; };
  onWorker([&] { coordinator().installAppBundleUpdate(request(), window, [](const auto&) {}, {}); });
  EXPECT_EQ(launcher_->requests.size(), 1U);
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
  const auto first = std::make_shared<RecordingWindow>();
  const auto second = std::make_shared<RecordingWindow>();
  const auto third = std::make_shared<RecordingWindow>();
  unzipper_->onUnzip = [&] {
    EXPECT_THROW((void)coordinator().installUpdate({}, second, {}), InstallationInProgress);
    EXPECT_THROW(coordinator().installAppBundleUpdate(request(), third, [](const auto&) {}, {}),
                 InstallationInProgress);
  };
  onWorker([&] { coordinator().installAppBundleUpdate(request(), first, [](const auto&) {}, {}); });
  EXPECT_EQ(second->shown, std::vector<std::string>{"closed"});
  EXPECT_EQ(third->shown, std::vector<std::string>{"closed"});
  EXPECT_EQ(first->shown.size(), 7U) << "the first goes on";
  EXPECT_EQ(first->shown.back(), "closed");
  EXPECT_EQ(launcher_->requests.size(), 1U);
  auto next = request();
  next.archiveURL.reset();
  EXPECT_EQ(failureOf(next), Case::missingArchiveURL) << "the turn is given back";
}

class InstallerFileTest : public CoordinatorFixture {
 protected:
  InstallerFileTest() {
    unzipper_->folders = {"Documents"};
    request_.archiveURL = URL::parse("http://a/Editor.zip");
    request_.archiveFileName = "Editor.zip";
    request_.installerFileName = "Editor Installer.pkg";
    request_.applicationName = "Editor";
    request_.installerSubdirectoryName = "Installer";
  }
  std::optional<Case> failure(const CancellationToken& cancellation = {}) {
    try {
      coordinator().installUpdate(request_, nullptr, cancellation);
    } catch (const OrvoUpdateInstallerError& error) {
      return error.errorCase();
    }
    return std::nullopt;
  }
  std::vector<std::string> namesInSharedFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(shared_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  const fs::path shared_ = folder_ / "Support/Editor/Installer";
  const fs::path installer_ = shared_ / "Editor Installer.pkg";
  OrvoUpdateInstallerRequest request_;
};

TEST_F(InstallerFileTest, OpensTheInstallerOfAnArchive) {
  const auto window = std::make_shared<RecordingWindow>();
  std::string opened;
  onWorker([&] { opened = coordinator().installUpdate(request_, window, {}); });
  EXPECT_EQ(opened, installer_.string());
  EXPECT_EQ(opener_->opened, std::vector{installer_});
  EXPECT_EQ(window->shown,
            (std::vector<std::string>{"Downloading update…|Preparing download…|0.00",
                                      "Extracting update…|-|-", "Opening installer…|-|-", "closed"}));
  EXPECT_EQ(namesInSharedFolder(), (std::vector<std::string>{"Documents", "Editor Installer.pkg"}));

  request_.installerFileName = "../../../other.pkg";
  folder_.write("other.pkg", "");
  EXPECT_EQ(failure(), Case::launchFailed);
  EXPECT_EQ(opener_->opened.size(), 1U) << "a name from the feed must not leave the archive";
}

TEST_F(InstallerFileTest, ALaterArchiveTakesThePlaceOfAnEarlierOne) {
  EXPECT_EQ(failure(), std::nullopt);
  unzipper_->files = {{"Editor Installer.pkg", "newer"}};
  EXPECT_EQ(failure(), std::nullopt);
  EXPECT_EQ(TemporaryFolder::read(installer_), "newer");
  EXPECT_EQ(opener_->opened.size(), 2U);
  EXPECT_EQ(namesInSharedFolder(), (std::vector<std::string>{"Documents", "Editor Installer.pkg"}));
}

TEST_F(InstallerFileTest, AnArchiveThatIsOfNoUseLeavesTheEarlierOneAndOpensNothing) {
  EXPECT_EQ(failure(), std::nullopt);
  const std::vector<std::string> before = namesInSharedFolder();
  unzipper_->files = {{"readme.txt", ""}};
  EXPECT_EQ(failure(), Case::launchFailed) << "the installer that is there is an earlier archive's";
  EXPECT_EQ(namesInSharedFolder(), before);
  unzipper_->files = {{"Editor Installer.pkg", "newer"}};
  files_->onMove = [](const fs::path& source, const fs::path&) {
    throw std::system_error(EIO, std::generic_category(), source.string());
  };
  EXPECT_EQ(failure(), Case::unzipFailed);
  files_->onMove = nullptr;
  CancellationSource source;
  unzipper_->onUnzip = [&] { source.cancel(); };
  EXPECT_THROW((void)failure(source.token()), OperationCancelled);
  fs::remove(shared_ / "Editor.zip");  // stays after a failure
  EXPECT_EQ(namesInSharedFolder(), before);
  unzipper_->succeeds = false;
  EXPECT_EQ(failure(), Case::unzipFailed);
  EXPECT_EQ(TemporaryFolder::read(installer_), "installer");
  EXPECT_EQ(opener_->opened.size(), 1U);
}

TEST_F(InstallerFileTest, AnInstallerThatNobodyOpensIsAFailure) {
  opener_->succeeds = false;
  EXPECT_EQ(failure(), Case::launchFailed);
  EXPECT_EQ(opener_->opened, std::vector{installer_});
}

}  // namespace
}  // namespace pellam
