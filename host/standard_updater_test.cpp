#include "host/standard_updater.h"

#include <gtest/gtest.h>

#include <limits>

#include "feed/feed_entry.h"
#include "host/update_settings.h"
#include "platform/identifiers.h"
#include "tests/support/coordinator_fakes.h"
#include "tests/support/recording_toolkit.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/updater_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Error = OrvoUpdateInstallerError;
using Case = OrvoUpdateInstallerError::Case;
using namespace std::chrono_literals;

class StandardUpdaterTest : public testing::Test {
 protected:
  StandardUpdaterTest() {
    const auto helper = folder_.write("Editor.app/Contents/MacOS/PellamUpdateInstaller", "#!/bin/sh\n");
    std::filesystem::permissions(helper, std::filesystem::perms::owner_all);
    downloads_->answers["https://a/Editor.zip"] = 200;
    feed_->serve({entry()});
    makeUpdater();
  }

  static FeedEntry entry(const FeedEntry& changes = {}) {
    FeedEntry entry = {{"type", "update"},
                       {"id", "editor-2"},
                       {"url", "https://a/notes.html"},
                       {"title", "Editor 2.0"},
                       {"current", "2.0"},
                       {"interval", "7200"},
                       {"app-installer", "https://a/Editor.zip"}};
    for (const auto& [key, value] : changes) entry.set(key, value);
    return entry;
  }
  static FeedEntry installerEntry() {
    FeedEntry changed = entry({{"installer", "https://a/Editor.zip"}});
    changed.erase("app-installer");
    return changed;
  }

  // The application starts anew: what is on disk and in the settings stays.
  void makeUpdater() {
    updater_.reset();
    const auto coordinator = std::make_shared<OrvoUpdateInstallerCoordinator>(
        files_, downloads_, unzipper_, opener_, validator_, launcher_,
        [] {
          return OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
        },
        OrvoUpdateInstallerCoordinatorEnvironment{mainThread_,
                                                  std::make_shared<EnglishBundles>(),
                                                  {},
                                                  makeSystemUUIDGenerator(),
                                                  time_,
                                                  [](const auto&) {}});
    InstalledApplication application;
    application.path = folder_ / "Editor.app";
    application.identity = {"Editor", "com.example.editor", "1.0", "100"};
    application.build = 100;
    OrvoStandardUpdaterConfiguration configuration{.feedURL = *URL::parse("https://a/feed.plist")};
    configuration.manualUpdateURL = manualUpdateURL_;
    OrvoStandardUpdaterCollaborators collaborators{application,
                                                   mainThread_,
                                                   toolkit_,
                                                   std::make_shared<TranslatingBundles>(),
                                                   workspace_,
                                                   settings_,
                                                   feed_,
                                                   coordinator,
                                                   reports_,
                                                   makeSystemUUIDGenerator(),
                                                   time_,
                                                   time_->sleep(),
                                                   [this] {
                                                     ++draws_;
                                                     return std::uint64_t{10};
                                                   },
                                                   logger_,
                                                   [this] {
                                                     ++terminations_;
                                                     if (onTerminate_) onTerminate_();
                                                   }};
    updater_ = std::make_unique<OrvoStandardUpdater>(configuration, std::move(collaborators));
  }

  // Is the main thread until that is so.
  void until(const std::function<bool()>& isDone) { mainThread_->serviceUntil(isDone); }
  void untilLogged(const std::string& line, int times = 1) {
    until([&] { return logger_->count(line) >= times; });
  }
  // The open window; waits for one with a button of that title when one is named.
  std::shared_ptr<RecordedWindow> window() { return toolkit_->openWindow(); }
  void untilPrompt() {
    until([&] { return window() && window()->prompt; });
  }
  // Accepts the offer and, when the update is ready, its installation.
  void installOffer(bool confirms = true) {
    untilPrompt();
    ASSERT_TRUE(window()->click("Install Update"));
    if (!confirms) return;
    until([&] { return window() && window()->click("Install and Relaunch"); });
  }
  UpdateSettings remembered() { return UpdateSettings(settings_); }

  TemporaryFolder folder_;
  std::shared_ptr<RedirectedFileSystem> files_ = std::make_shared<RedirectedFileSystem>(folder_.path());
  std::shared_ptr<ScriptedNetwork> downloads_ = std::make_shared<ScriptedNetwork>();
  std::shared_ptr<FolderMaker> unzipper_ = std::make_shared<FolderMaker>();
  std::shared_ptr<RecordingOpener> opener_ = std::make_shared<RecordingOpener>();
  std::shared_ptr<RecordingValidator> validator_ = std::make_shared<RecordingValidator>();
  std::shared_ptr<RecordingLauncher> launcher_ = std::make_shared<RecordingLauncher>();
  std::shared_ptr<ServicedMainThread> mainThread_ = ServicedMainThread::make(std::make_shared<NoMainLoop>());
  std::shared_ptr<RecordingToolkit> toolkit_ = std::make_shared<RecordingToolkit>();
  std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
  std::shared_ptr<MemorySettings> settings_ = std::make_shared<MemorySettings>();
  std::shared_ptr<ScriptedFeed> feed_ = std::make_shared<ScriptedFeed>();
  std::shared_ptr<ManualTime> time_ = std::make_shared<ManualTime>();
  std::shared_ptr<RecordingLogger> logger_ = std::make_shared<RecordingLogger>();
  std::shared_ptr<OrvoAppBundleUpdateFailureReportStore> reports_ =
      std::make_shared<OrvoAppBundleUpdateFailureReportStore>(files_, time_);
  std::optional<URL> manualUpdateURL_;
  int draws_ = 0;
  int terminations_ = 0;
  std::function<void()> onTerminate_;
  std::unique_ptr<OrvoStandardUpdater> updater_;
};

TEST_F(StandardUpdaterTest, LeadsFromTheAutomaticCheckToTheEndOfTheApplication) {
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

TEST_F(StandardUpdaterTest, OpensASeparateInstallerAndStays) {
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

TEST_F(StandardUpdaterTest, DrawsTheStaggerGroupOnce) {
  updater_->start();
  untilPrompt();
  makeUpdater();
  updater_->start();
  EXPECT_EQ(draws_, 1);
}

// Every error of an installation, with an address for the manual update and without one.
TEST_F(StandardUpdaterTest, TellsHowAnInstallationFailed) {
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

TEST_F(StandardUpdaterTest, TellsACancelledAuthorizationApartFromAFailure) {
  launcher_->result = OrvoAppBundleReplacementLaunchResult::authorizationCancelled(-60006);
  manualUpdateURL_ = URL::parse("https://a/download");
  makeUpdater();
  updater_->checkForUpdates();
  installOffer();
  until([&] { return !toolkit_->alerts.empty(); });
  EXPECT_EQ(toolkit_->alerts.front().messageText, "Update Canceled");
  EXPECT_EQ(toolkit_->alerts.front().buttonTitles, std::vector<std::string>{"OK"});
}

TEST_F(StandardUpdaterTest, SaysNothingWhenTheUserCancels) {
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
TEST_F(StandardUpdaterTest, SendsTheUserToWebAddressesOnly) {
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

TEST_F(StandardUpdaterTest, AnswersTheUserWhateverTheCheckFinds) {
  struct Row {
    std::function<void()> prepare;
    std::string message;
  };
  const std::string unable = "Unable to Check For Updates";
  const std::string offline = "Unable to Check For Updates. Internet appears to be offline.";
  const auto failing = [this](URLLoadingError::Code code) { return [this, code] { feed_->fail(code); }; };
  const auto serving = [this](std::vector<FeedEntry> feed) { return [this, feed] { feed_->serve(feed); }; };
  using Code = URLLoadingError::Code;
  const std::vector<Row> rows = {
      {serving({entry({{"current", "1.0"}})}), "No Updates Available"},
      {serving({entry({{"type", "news"}})}), "No Updates Available"},
      {serving({entry({{"url", ""}})}), unable},  // an offer that cannot be shown
      {serving({}), unable},
      {[this] { feed_->serveText("<html>"); }, unable},
      {[this] { feed_->serveText("gone", 404); }, unable},
      {failing(Code::timedOut), unable},
      {failing(Code::cannotConnectToHost), unable},
      {failing(Code::serverCertificateUntrusted), unable},
      {failing(Code::notConnectedToInternet), offline},
      {failing(Code::cannotFindHost), offline},
      {failing(Code::networkConnectionLost), offline},
  };
  for (const Row& row : rows) {
    toolkit_->alerts.clear();
    row.prepare();
    updater_->checkForUpdates();
    until([&] { return !toolkit_->alerts.empty(); });
    EXPECT_EQ(toolkit_->alerts.front().messageText, row.message);
  }
}

TEST_F(StandardUpdaterTest, KeepsTheBetaSettingThatTheUserChose) {
  feed_->serve({entry({{"current", "1.0"}})});
  toolkit_->answers = {{0, true}};
  updater_->checkForUpdates();
  until([&] { return toolkit_->alerts.size() == 1; });
  EXPECT_EQ(toolkit_->alerts.back().suppressionCheckbox, (AlertCheckbox{"Check for beta releases", false}));
  EXPECT_TRUE(remembered().checkForBetaReleases());
  updater_->checkForUpdates();
  until([&] { return toolkit_->alerts.size() == 2; });
  EXPECT_TRUE(toolkit_->alerts.back().suppressionCheckbox->isOn);
}

TEST_F(StandardUpdaterTest, ChecksAgainWhenTheTimeHasCome) {
  feed_->fail(URLLoadingError::Code::timedOut);
  updater_->start();
  untilLogged("the check failed");
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 15min);
  time_->advance(15min);
  untilLogged("the check failed", 2);
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 30min);
  feed_->serve({entry({{"current", "1.0"}})});
  time_->advance(30min);
  untilLogged("nothing to offer");
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 24h);
  EXPECT_TRUE(toolkit_->alerts.empty()) << "automatic checks are silent";

  makeUpdater();
  updater_->start();
  time_->advance(23h);
  makeUpdater();
  updater_->start();
  feed_->serve({entry()});
  EXPECT_EQ(feed_->requests(), 3) << "a restart does not check earlier";
  time_->advance(1h);
  untilPrompt();
  EXPECT_EQ(feed_->requests(), 4);
  for (const std::uint64_t nap : time_->naps()) {
    if (nap != std::numeric_limits<std::uint64_t>::max()) {
      EXPECT_LE(nap, 3'600'000'000'000U) << "a machine may sleep";
    }
  }
}

TEST_F(StandardUpdaterTest, RemindsWhenTheReminderIsDue) {
  feed_->serve({entry({{"interval", "1000000"}})});
  updater_->start();
  untilPrompt();
  window()->click("Remind Me Later");
  EXPECT_EQ(window(), nullptr);
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 24h);
  time_->advance(24h);
  untilPrompt();
  EXPECT_EQ(feed_->requests(), 2);

  window()->performClose();
  EXPECT_EQ(remembered().nextFetchDate(), time_->now() + 1'000'000s) << "a dismissed offer waits its turn";
}

TEST_F(StandardUpdaterTest, ShowsTheHelpersReportOnce) {
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

TEST_F(StandardUpdaterTest, RemovesWhatEarlierAttemptsLeft) {
  const std::string attempt = "Support/Editor/SeamlessInstaller/0B5E2F0A-8E1A-4E38-9B7C-6E0C1D6A7F11";
  std::filesystem::create_directories(folder_ / attempt);
  files_->creationDates["0B5E2F0A-8E1A-4E38-9B7C-6E0C1D6A7F11"] = time_->now() - 11min;
  updater_->start();
  untilPrompt();
  EXPECT_FALSE(std::filesystem::exists(folder_ / attempt));
}

TEST_F(StandardUpdaterTest, AnswersTheUserOverACheckThatIsOnItsWay) {
  feed_->hold(true);
  feed_->serve({entry({{"current", "1.0"}})});
  updater_->start();
  untilLogged("checking");
  updater_->checkForUpdates();
  updater_->checkForUpdates();
  feed_->hold(false);
  until([&] { return !toolkit_->alerts.empty(); });
  EXPECT_EQ(toolkit_->alerts.front().messageText, "No Updates Available");
  EXPECT_EQ(toolkit_->alerts.size(), 1U);
  EXPECT_EQ(logger_->count("checking"), 1);
}

TEST_F(StandardUpdaterTest, ShowsOneWindowAtATime) {
  updater_->start();
  untilPrompt();
  const auto first = window();
  feed_->serve({entry({{"title", "newer"}})});
  updater_->checkForUpdates();
  until([&] { return !first->isOpen; });
  EXPECT_EQ(window()->title(), "newer");
  EXPECT_EQ(toolkit_->openWindowCount(), 1U);

  // A check that is on its way when the user installs has nothing more to say.
  feed_->hold(true);
  updater_->checkForUpdates();
  window()->click("Install Update");
  const auto progress = window();
  EXPECT_EQ(progress->steps.size(), 2U);
  until([&] { return toolkit_->attentionRequests == 1; });
  EXPECT_EQ(progress->steps.size(), 3U) << "the user asked, and sees the installation";
  updater_->checkForUpdates();
  EXPECT_EQ(progress->steps.size(), 4U);
  EXPECT_EQ(toolkit_->openWindowCount(), 1U);
  EXPECT_EQ(feed_->requests(), 3);
}

TEST_F(StandardUpdaterTest, ShowsNothingUnderAnOpenAlert) {
  feed_->serve({entry({{"current", "1.0"}})});
  updater_->start();
  untilLogged("nothing to offer");
  bool wasOffered = true;
  toolkit_->whileAlertIsOpen = [&] {
    feed_->serve({entry()});
    time_->advance(24h);
    untilLogged("checking", 3);
    int pieces = 0;
    mainThread_->perform([&] { ++pieces; });
    until([&] { return pieces == 1 && feed_->requests() == 3; });
    mainThread_->perform([&] { ++pieces; });
    until([&] { return pieces == 2; });
    wasOffered = window() != nullptr;
  };
  updater_->checkForUpdates();
  untilPrompt();
  EXPECT_FALSE(wasOffered);
}

// The updater goes at every bad moment; nothing hangs, nothing stays on screen, nobody is called any more.
TEST_F(StandardUpdaterTest, GoesAtAnyMoment) {
  bool isDownloading = false;
  const std::vector<std::pair<std::string, std::function<void()>>> moments = {
      {"before anything", [] {}},
      {"asleep", [&] { updater_->start(), untilPrompt(), window()->performClose(); }},
      {"fetching", [&] { feed_->hold(true), updater_->start(), untilLogged("checking"); }},
      {"just begun", [&] { updater_->start(), updater_->checkForUpdates(); }},
      {"prompting", [&] { updater_->start(), untilPrompt(); }},
      {"about to download", [&] { updater_->checkForUpdates(), installOffer(false); }},
      {"downloading",
       [&] {
         updater_->checkForUpdates(), installOffer(false);
         until([&] { return isDownloading; });
       }},
      {"waiting for the user",
       [&] {
         updater_->checkForUpdates(), installOffer(false);
         until([&] { return toolkit_->attentionRequests == 1; });
       }},
      {"handing over", [&] { updater_->checkForUpdates(), installOffer(true); }},
      {"ending the application",
       [&] {
         onTerminate_ = [&] { updater_.reset(); };
         updater_->checkForUpdates(), installOffer(true);
         until([&] { return updater_ == nullptr; });
       }},
      {"inside an alert",
       [&] {
         updater_->start(), untilPrompt();
         feed_->fail(URLLoadingError::Code::timedOut);
         toolkit_->whileAlertIsOpen = [&] {
           updater_.reset();
           EXPECT_EQ(window(), nullptr) << "the prompt does not wait for the alert";
         };
         updater_->checkForUpdates();
         until([&] { return updater_ == nullptr; });
       }},
  };
  downloads_->onRequest = [&] { mainThread_->perform([&] { isDownloading = true; }); };
  for (const auto& [name, moment] : moments) {
    isDownloading = false;
    feed_->hold(false);
    feed_->serve({entry()});
    settings_ = std::make_shared<MemorySettings>();
    logger_ = std::make_shared<RecordingLogger>();
    toolkit_->attentionRequests = 0;
    toolkit_->alerts.clear();
    makeUpdater();
    moment();
    updater_.reset();
    EXPECT_EQ(window(), nullptr) << name;
    const std::size_t alerts = toolkit_->alerts.size();
    bool isQuiet = false;
    mainThread_->perform([&] { isQuiet = true; });
    until([&] { return isQuiet; });
    EXPECT_EQ(toolkit_->alerts.size(), alerts) << name;
  }
}

}  // namespace
}  // namespace pellam
