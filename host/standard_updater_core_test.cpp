#include "host/standard_updater_core.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/standard_updater_fixture.h"

namespace pellam {
namespace {

using namespace testing_support;
using namespace std::chrono_literals;
using StandardUpdaterTest = StandardUpdaterFixture;

TEST_F(StandardUpdaterTest, DrawsTheStaggerGroupOnce) {
  updater_->start();
  untilPrompt();
  makeUpdater();
  updater_->start();
  EXPECT_EQ(draws_, 1);
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
      {failing(Code::networkConnectionLost), unable},
  };
  for (const Row& row : rows) {
    toolkit_->alerts.clear();
    row.prepare();
    updater_->checkForUpdates();
    until([&] { return !toolkit_->alerts.empty(); });
    EXPECT_EQ(toolkit_->alerts.front().messageText, row.message);
  }
}

TEST_F(StandardUpdaterTest, AFeedsIdentifierStaysOnItsLine) {
  feed_->serve({entry({{"id", "editor\r\nthe installer replaces /"}})});
  updater_->checkForUpdates();
  untilPrompt();
  untilLogged("offered editor\\r\\nthe installer replaces /");
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
  EXPECT_GE(jobs_, 4) << "what one check leaves to the system goes before the next";
  for (const std::uint64_t nap : time_->naps()) {
    if (nap != std::numeric_limits<std::uint64_t>::max()) {
      EXPECT_LE(nap, 3'600'000'000'000U) << "a machine may sleep";
    }
  }
}

// What only somebody who asks is told: a beta release, and an offer that was shown a moment ago.
TEST_F(StandardUpdaterTest, AnAutomaticCheckDoesNotOfferWhatAManualOneDoes) {
  const auto shownJustNow = [this] { remembered().setLastNewsDisplayedDate(time_->now()); };
  const std::vector<std::pair<FeedEntry, std::function<void()>>> rows = {
      {entry({{"current", "2.0b1"}}), [] {}}, {entry(), shownJustNow}};
  for (const auto& [offered, prepare] : rows) {
    settings_ = std::make_shared<MemorySettings>();
    logger_ = std::make_shared<RecordingLogger>();
    makeUpdater();
    prepare();
    feed_->serve({offered});
    updater_->start();
    until([&] { return logger_->count("nothing to offer") + logger_->count("offered") > 0; });
    EXPECT_EQ(logger_->count("offered"), 0);
    updater_->checkForUpdates();
    until([&] { return window() || logger_->count("nothing to offer") == 2; });
    ASSERT_NE(window(), nullptr) << "nothing is offered to somebody who asks";
    window()->performClose();
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
