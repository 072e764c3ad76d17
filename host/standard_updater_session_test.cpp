#include "host/standard_updater_core.h"

#include <gtest/gtest.h>

#include "tests/support/standard_updater_fixture.h"

namespace pellam {
namespace {

using namespace testing_support;
using namespace std::chrono_literals;
using Case = OrvoUpdateInstallerError::Case;
using StandardUpdaterInstallationTest = StandardUpdaterFixture;

TEST_F(StandardUpdaterInstallationTest, LeadsFromTheAutomaticCheckToTheEndOfTheApplication) {
  updater_->start();
  untilPrompt();
  EXPECT_EQ(window()->title(), "Editor 2.0");
  EXPECT_EQ(remembered().storedFeedIdentifier(), "editor-2");
  EXPECT_EQ(remembered().lastNewsDisplayedDate(), time_->now());
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 2h);
  EXPECT_EQ(remembered().staggerGroup(), 3) << "ten of seven days";

  const auto prompt = window();
  ASSERT_TRUE(prompt->click("Install Update"));
  EXPECT_FALSE(prompt->isOpen);
  EXPECT_TRUE(updater_->isInstalling());
  const auto progress = window();
  EXPECT_EQ(progress->title(), "Software Update");
  until([&] { return progress->click("Install and Relaunch"); });
  EXPECT_EQ(terminations_, 0);
  until([&] { return terminations_ == 1; });
  EXPECT_FALSE(progress->isOpen);
  EXPECT_EQ(toolkit_->attentionRequests, 1);
  EXPECT_TRUE(toolkit_->alerts.empty());
  ASSERT_EQ(launcher_->requests.size(), 1U);
  EXPECT_EQ(launcher_->requests.front().installedApplicationURL, folder_ / "Editor.app");
  EXPECT_EQ(launcher_->requests.front().failureReportAttemptIdentifier,
            settings_->stringForKey("PellamUpdateAttemptIdentifier"));
}

TEST_F(StandardUpdaterInstallationTest, OpensASeparateInstallerAndStays) {
  feed_->serve({installerEntry()});
  updater_->checkForUpdates();
  installOffer(false);
  untilLogged("opened the installer");
  ASSERT_EQ(opener_->opened.size(), 1U);
  EXPECT_EQ(opener_->opened.front().filename(), "Editor Installer.pkg");
  EXPECT_EQ(terminations_, 0);
  EXPECT_FALSE(updater_->isInstalling());
  EXPECT_EQ(window(), nullptr);
  EXPECT_TRUE(toolkit_->alerts.empty());
  EXPECT_FALSE(settings_->stringForKey("PellamUpdateAttemptIdentifier"));
}

// Every error of an installation, with an address for the manual update and without one.
TEST_F(StandardUpdaterInstallationTest, TellsHowAnInstallationFailed) {
  using Result = OrvoAppBundleReplacementLaunchResult;
  using Phase = OrvoAppBundleInstallerLaunchPhase;
  const OrvoAppBundleInstallerFailureDiagnostic diagnostic{Phase::jobSubmission, "D", 7, "text"};
  struct Row {
    std::optional<Case> error;     // raised on the way to the launch
    std::optional<Result> result;  // of the launch
    std::string message;
    std::string withoutAddress;
  };
  const std::string installation =
      "The update could not be installed automatically. You can download and install it manually.";
  const std::string later = "Please try again later.";
  const std::string failed = "Update Failed";
  std::vector<Row> rows = {
      {std::nullopt, Result::launchFailed(diagnostic), failed, installation},
      {std::nullopt, Result::protocolFailure(diagnostic), failed, installation},
      {std::nullopt, Result::timedOut(Phase::preAuthorization), failed, installation},
      {std::nullopt, Result::authorizationDenied(-60005), failed, installation},
      {std::nullopt, Result::helperUnavailable(), failed, installation},
      {Case::missingArchiveURL, std::nullopt, "Download Failed", later},
      {Case::downloadFailed, std::nullopt, "Download Failed", later},
  };
  for (int number = static_cast<int>(Case::writeFailed); number <= static_cast<int>(Case::relaunchFailed);
       ++number) {
    rows.push_back({static_cast<Case>(number), std::nullopt, failed, installation});
  }
  EXPECT_EQ(rows.size(), 7U + 17U);
  const std::vector<std::string> choice = {"Update Manually", "Cancel"};
  for (const bool hasAddress : {false, true}) {
    manualUpdateURL_ = hasAddress ? URL::parse("https://a/download") : std::nullopt;
    makeUpdater();
    for (const Row& row : rows) {
      toolkit_->alerts.clear();
      validator_->error = row.error;
      launcher_->result = row.result.value_or(Result::launched());
      updater_->checkForUpdates();
      installOffer(!row.error);
      until([&] { return !toolkit_->alerts.empty(); });
      const AlertDescription& alert = toolkit_->alerts.front();
      EXPECT_EQ(alert.messageText, row.message);
      EXPECT_EQ(alert.buttonTitles == choice, hasAddress) << row.message;
      if (!hasAddress) {
        EXPECT_EQ(alert.informativeText, row.withoutAddress);
      }
      EXPECT_EQ(window(), nullptr) << "the progress window is closed";
    }
  }
  EXPECT_TRUE(workspace_->opened.empty());
  toolkit_->answers = {{0, std::nullopt}};
  updater_->checkForUpdates();
  installOffer(false);
  until([&] { return !workspace_->opened.empty(); });
  EXPECT_EQ(workspace_->opened, std::vector<std::string>{"https://a/download"});
  EXPECT_EQ(terminations_, 0);
  EXPECT_FALSE(settings_->stringForKey("PellamUpdateAttemptIdentifier"));
}

TEST_F(StandardUpdaterInstallationTest, TellsACancelledAuthorizationApartFromAFailure) {
  launcher_->result = OrvoAppBundleReplacementLaunchResult::authorizationCancelled(-60006);
  manualUpdateURL_ = URL::parse("https://a/download");
  makeUpdater();
  updater_->checkForUpdates();
  installOffer();
  until([&] { return !toolkit_->alerts.empty(); });
  EXPECT_EQ(toolkit_->alerts.front().messageText, "Update Canceled");
  EXPECT_EQ(toolkit_->alerts.front().buttonTitles, std::vector<std::string>{"OK"});
}

TEST_F(StandardUpdaterInstallationTest, SaysNothingWhenTheUserCancels) {
  updater_->checkForUpdates();
  untilPrompt();
  window()->click("Install Update");
  const auto progress = window();
  until([&] { return toolkit_->attentionRequests == 1; });
  updater_->cancelInstallation();
  untilLogged("the installation was cancelled");
  EXPECT_FALSE(progress->isOpen);
  EXPECT_TRUE(toolkit_->alerts.empty());
  EXPECT_TRUE(launcher_->requests.empty());
}

// The entry's separate installer is where the user can go when the host names no page.
TEST_F(StandardUpdaterInstallationTest, SendsTheUserToWebAddressesOnly) {
  const std::vector<std::pair<std::string, std::size_t>> rows = {
      {"https://a/Installer.zip", 2}, {"http://a/Installer.zip", 2},
      {"file:///etc/passwd", 1},      {"x-app://run", 1},
      {"not an address", 1},          {"", 1}};
  validator_->error = Case::signatureValidationFailed;
  for (const auto& [address, buttons] : rows) {
    toolkit_->alerts.clear();
    feed_->serve({entry({{"installer", address}})});
    updater_->checkForUpdates();
    installOffer(false);
    until([&] { return !toolkit_->alerts.empty(); });
    EXPECT_EQ(toolkit_->alerts.front().buttonTitles.size(), buttons) << address;
  }
}

TEST_F(StandardUpdaterInstallationTest, ShowsTheHelpersReportOnce) {
  manualUpdateURL_ = URL::parse("https://a/download");
  makeUpdater();
  updater_->checkForUpdates();
  installOffer();
  until([&] { return terminations_ == 1; });
  const std::string attempt = settings_->stringForKey("PellamUpdateAttemptIdentifier").value_or("");
  reports_->writeFailureReport("another attempt's", "com.example.editor", time_->now(), "other");
  reports_->writeFailureReport("replacementFailed", "com.example.editor", time_->now(), attempt);
  feed_->serve({entry({{"current", "1.0"}})});
  manualUpdateURL_.reset();  // the address of the attempt is remembered
  for (const int start : {1, 2}) {
    makeUpdater();
    updater_->start();
    updater_->checkForUpdates();
    until([&] { return toolkit_->alerts.size() == 1U + static_cast<std::size_t>(start); });
    EXPECT_EQ(toolkit_->alerts.back().messageText, "No Updates Available");
  }
  EXPECT_EQ(toolkit_->alerts.front().messageText, "Update Failed");
  EXPECT_EQ(toolkit_->alerts.front().buttonTitles.size(), 2U);
  EXPECT_EQ(logger_->count("an earlier update failed: replacementFailed"), 1);
  EXPECT_FALSE(settings_->stringForKey("PellamUpdateAttemptIdentifier"));
}

TEST_F(StandardUpdaterInstallationTest, RemovesWhatEarlierAttemptsLeft) {
  const std::string attempt = "Support/Editor/SeamlessInstaller/0B5E2F0A-8E1A-4E38-9B7C-6E0C1D6A7F11";
  std::filesystem::create_directories(folder_ / attempt);
  files_->creationDates["0B5E2F0A-8E1A-4E38-9B7C-6E0C1D6A7F11"] = time_->now() - 11min;
  updater_->start();
  untilPrompt();
  EXPECT_FALSE(std::filesystem::exists(folder_ / attempt));
}

}  // namespace
}  // namespace pellam
