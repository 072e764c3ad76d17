#include "ui/update_prompt_presenter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "tests/support/recording_toolkit.h"
#include "ui/prompt_window_size.h"

namespace pellam {
namespace {

using namespace testing_support;
using Action = OrvoUpdatePromptAction;

constexpr const char* sentenceWithVersions =
    "Editor version 2.5 is now available － you have 2.0. Would you like to download it now?";

class UpdatePromptPresenterTest : public testing::Test {
 protected:
  static OrvoUpdatePromptInput input(const FeedEntry& changes = {}) {
    OrvoUpdatePromptInput input;
    input.feed = {{"type", "update"},
                  {"url", "https://example.com/notes.html"},
                  {"title", "Editor 2.5"},
                  {"current", "2.5"},
                  {"app-installer", "https://example.com/Editor.zip"}};
    for (const auto& [key, value] : changes) input.feed.set(key, value);
    input.allowInstallAction = true;
    input.applicationName = "Editor";
    input.applicationVersion = "2.0";
    input.applicationBuild = 100;
    input.applicationLogoImageName = "AppIcon";
    input.localizationBundle = "/Applications/Editor.app";
    input.defaultWindowWidth = 600;
    input.defaultWindowHeight = 500;
    return input;
  }

  bool present(const OrvoUpdatePromptInput& input) {
    return presenter_->presentUpdatePrompt(input,
                                           [this](const Action& action) { answers_.push_back(action); });
  }
  // The prompt that is open now.
  RecordedWindow& shown() {
    window_ = toolkit_->openWindow();
    if (!window_) throw std::logic_error("no prompt is open");
    return *window_;
  }
  std::vector<std::string> visibleButtons() {
    std::vector<std::string> titles;
    for (const UpdatePromptButton& button : shown().prompt->buttons) {
      if (!button.isHidden) titles.push_back(button.title + (button.isDefault ? " ⏎" : ""));
    }
    return titles;
  }

  std::shared_ptr<RecordingToolkit> toolkit_ = std::make_shared<RecordingToolkit>();
  std::shared_ptr<FakeBundles> bundles_ = std::make_shared<FakeBundles>();
  std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
  std::unique_ptr<OrvoUpdatePromptPresenter> presenter_ =
      std::make_unique<OrvoUpdatePromptPresenter>(toolkit_, bundles_, workspace_);
  std::vector<Action> answers_;
  std::shared_ptr<RecordedWindow> window_;
};

TEST_F(UpdatePromptPresenterTest, ShowsTheOfferInAWindowOfItsOwn) {
  ASSERT_TRUE(present(input()));
  const RecordedWindow& window = shown();
  EXPECT_EQ(window.description.title, "Editor 2.5");
  EXPECT_EQ(window.description.contentSize, (WindowSize{600, 500}));
  EXPECT_EQ(window.description.minimumSize, (WindowSize{600, 500}));
  EXPECT_TRUE(window.description.isClosable);
  EXPECT_TRUE(window.description.isResizable);
  EXPECT_EQ(window.steps, (std::vector<std::string>{"center", "front"}));
  const UpdatePromptContent& content = *window.prompt;
  EXPECT_EQ(content.logoImageName, "AppIcon");
  EXPECT_EQ(content.headline, "A new version is available!");
  EXPECT_EQ(content.sentence, sentenceWithVersions);
  EXPECT_EQ(content.caption, "Release Notes:");
  EXPECT_EQ(content.releaseNotes->text(), "https://example.com/notes.html");
  EXPECT_EQ(content.timeout.count(), 60);
  EXPECT_EQ(visibleButtons(), (std::vector<std::string>{"Install Update ⏎", "Remind Me Later"}));
  EXPECT_TRUE(answers_.empty());
}

TEST_F(UpdatePromptPresenterTest, RefusesWhatIsNoOffer) {
  const std::vector<FeedEntry> changes = {{{"url", ""}},
                                          {{"url", 7}},
                                          {{"type", "Update"}},
                                          {{"type", "news"}},
                                          {{"type", ""}},
                                          {{"type", true}},
                                          {{"url", PropertyListArray{"https://example.com"}}}};
  for (const FeedEntry& change : changes) EXPECT_FALSE(present(input(change))) << change.begin()->first;
  auto without = input();
  without.feed.erase("url");
  EXPECT_FALSE(present(without));
  EXPECT_EQ(toolkit_->windows.size(), 0U);
  EXPECT_TRUE(answers_.empty());
}

TEST_F(UpdatePromptPresenterTest, ShowsANotesAddressOnlyWhenItIsOne) {
  for (const std::string address : {"not an address", "https://[::1", "%zz", " "}) {
    presenter_->dismissPrompt();
    ASSERT_TRUE(present(input({{"url", address}}))) << address;
    EXPECT_FALSE(shown().prompt->releaseNotes) << address;
  }
}

TEST_F(UpdatePromptPresenterTest, NamesTheVersions) {
  struct Row {
    FeedEntry feed;
    std::int64_t installedBuild;
    std::string title;
    std::string headline;
    std::string sentence;
  };
  const std::string plain = "A new version is available!";
  const std::string beta = "A new beta version is available!";
  const std::string stability = "Stability Update Available";
  const auto versions = [](const std::string& offered) {
    return "Editor version " + offered +
           " is now available － you have 2.0. Would you like to download it now?";
  };
  const std::vector<Row> rows = {
      {{{"current", "2.5b3"}}, 100, "Editor 2.5", beta, versions("2.5b3")},
      {{{"current", "2.5"}}, 100, "Editor 2.5", plain, versions("2.5")},
      {{{"current", "2.5β"}}, 100, "Editor 2.5", beta, versions("2.5β")},
      {{{"current", "２.５"}}, 100, "Editor 2.5", plain, versions("２.５")},
      {{{"current", ""}}, 100, "Editor 2.5", plain, versions("")},
      {{{"current", 2.5}}, 100, "Editor 2.5", plain, versions("X")},
      {{{"current", "%@ 100%"}}, 100, "Editor 2.5", plain, versions("%@ 100%")},
      {{{"title", 5}}, 100, "", plain, versions("2.5")},
      {{{"title", "<b>a</b>\r\nb\x01\u2028שלום"}}, 100, "<b>a</b>  b  שלום", plain, versions("2.5")},
      {{{"title", "a\u202A\u202E\u2066\u2069\u202F\u206A"}},
       100,
       "a    \u202F\u206A",
       plain,
       versions("2.5")},
      {{{"current", "2.0"}, {"currentbuild", "120"}},
       100,
       stability,
       stability,
       "A stability update for Editor 2.0 is available. You have build 100; build 120 is ready to install."},
      {{{"current", "2.0"}, {"currentbuild", "+101"}},
       100,
       stability,
       stability,
       "A stability update for Editor 2.0 is available. You have build 100; build 101 is ready to install."},
      {{{"current", "2.0"}, {"currentbuild", "2"}},
       1,
       stability,
       stability,
       "A stability update for Editor 2.0 is available. You have build 1; build 2 is ready to install."},
      {{{"current", "2.0"}, {"currentbuild", "120"}}, 0, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0"}, {"currentbuild", "120"}}, -1, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0"}, {"currentbuild", "100"}}, 100, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0"}, {"currentbuild", "abc"}}, 100, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0"}, {"currentbuild", " 120"}}, 100, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0"}, {"currentbuild", 120}}, 100, "Editor 2.5", plain, versions("2.0")},
      {{{"current", "2.0.0"}, {"currentbuild", "120"}}, 100, "Editor 2.5", plain, versions("2.0.0")},
  };
  for (const Row& row : rows) {
    presenter_->dismissPrompt();
    auto offer = input(row.feed);
    offer.applicationBuild = row.installedBuild;
    ASSERT_TRUE(present(offer));
    EXPECT_EQ(shown().description.title, row.title) << row.sentence;
    EXPECT_EQ(shown().prompt->headline, row.headline) << row.sentence;
    EXPECT_EQ(shown().prompt->sentence, row.sentence);
  }
}

TEST_F(UpdatePromptPresenterTest, LooksEveryTextUpInItsTable) {
  bundles_->translations = {
      {"Editor version %@ is now available － you have %@. Would you like to download it now?",
       "Sie haben %2$@; %1$@ ist da."},
      {"Install Update", "Installieren"}};
  ASSERT_TRUE(present(input()));
  EXPECT_EQ(shown().prompt->sentence, "Sie haben 2.0; 2.5 ist da.");
  EXPECT_EQ(shown().prompt->buttons.front().title, "Installieren");
  using LookUp = FakeBundles::LookUp;
  const auto wasLookedUp = [&](const LookUp& lookUp) {
    return std::find(bundles_->lookedUp.begin(), bundles_->lookedUp.end(), lookUp) !=
           bundles_->lookedUp.end();
  };
  const std::string bundle = "/Applications/Editor.app";
  EXPECT_TRUE(wasLookedUp({bundle, "", "Editor 2.5"}));
  EXPECT_TRUE(wasLookedUp({bundle, "", "A new version is available!"}));
  EXPECT_TRUE(wasLookedUp({bundle, "Updates", "Install Update"}));
  EXPECT_TRUE(wasLookedUp({bundle, "", "Remind Me Later"}));
  EXPECT_TRUE(wasLookedUp({bundle, "Updates", "Skip This Update"}));
  EXPECT_TRUE(wasLookedUp({bundle, "", "Release Notes:"}));
  presenter_->dismissPrompt();
  auto withoutInstall = input({{"current", "2.0"}, {"currentbuild", "120"}});
  withoutInstall.allowInstallAction = false;
  ASSERT_TRUE(present(withoutInstall));
  EXPECT_TRUE(wasLookedUp({bundle, "", "OK"}));
  EXPECT_TRUE(wasLookedUp({bundle, "Updates", "Stability Update Available"}));
}

TEST_F(UpdatePromptPresenterTest, OffersInstallingOnlyWhereItIsPossible) {
  const std::vector<std::string> install = {"Install Update ⏎", "Remind Me Later"};
  const std::vector<std::string> noInstall = {"OK ⏎", "Remind Me Later"};
  struct Row {
    PropertyListValue appInstaller;
    PropertyListValue installer;
    bool isAllowed;
    std::vector<std::string> buttons;
  };
  const std::vector<Row> rows = {
      {"https://a/b.zip", "", true, install},
      {"", "https://a/b.zip", true, install},
      {" \n\t", "https://a/b.zip", true, install},
      {7, "https://a/b.zip", true, install},
      {"https://a/b.zip", "", false, noInstall},
      {" \u00A0\n", "\t", true, noInstall},
      {"", "", true, noInstall},
      {7, true, true, noInstall},
  };
  for (const Row& row : rows) {
    presenter_->dismissPrompt();
    auto offer = input({{"app-installer", row.appInstaller}, {"installer", row.installer}});
    offer.allowInstallAction = row.isAllowed;
    ASSERT_TRUE(present(offer));
    EXPECT_EQ(visibleButtons(), row.buttons) << row.appInstaller.description();
  }
  ASSERT_FALSE(present(input()));
  presenter_->dismissPrompt();
  ASSERT_TRUE(present(input()));
  EXPECT_EQ(shown().prompt->buttons.back().title, "Skip This Update");
  EXPECT_TRUE(shown().prompt->buttons.back().isHidden);
}

TEST_F(UpdatePromptPresenterTest, TakesTheLargerSize) {
  const std::string digits(400, '9');
  const std::vector<std::pair<std::string, WindowSize>> rows = {
      {"{400, 300}", {600, 500}},
      {"{900, 700}", {900, 700}},
      {"{900, 300}", {900, 500}},
      {"900", {900, 500}},
      {"900 700 5", {900, 700}},
      {"w=900;h=7.5e2", {900, 750}},
      {"", {600, 500}},
      {"garbage", {600, 500}},
      {"{-900, -700}", {600, 500}},
      {"{nan, inf}", {600, 500}},
      {"{1e999, 700}", {600, 700}},
      {"{1e9, 1e300}", {4096, 4096}},
      {"{900.5,700.25}", {900.5, 700.25}},
      {"{" + digits + ", 700}", {600, 700}},
      {"{", {600, 500}},
      {"{-, 900}", {900, 500}},
      {"{0x384, 700}", {600, 500}},
      {"{9e, 700}", {600, 700}},
  };
  for (const auto& [text, size] : rows) {
    const FeedEntry feed = {{"size", text}};
    EXPECT_EQ(OrvoUpdatePromptPresenter::resolvedWindowSize(feed, 600, 500), size) << text.substr(0, 40);
  }
  EXPECT_EQ(OrvoUpdatePromptPresenter::resolvedWindowSize({{"size", 900}}, 600, 500), (WindowSize{600, 500}));
  EXPECT_EQ(OrvoUpdatePromptPresenter::resolvedWindowSize({{"size", "1e999"}}, 0, 0), WindowSize());
  EXPECT_EQ(OrvoUpdatePromptPresenter::resolvedWindowSize({}, 8000, 500), (WindowSize{8000, 500}))
      << "only what a feed states is limited";
}

TEST_F(UpdatePromptPresenterTest, ReportsOneAnswerAndThenCloses) {
  const auto offer = input();
  struct Row {
    const char* button;
    Action action;
  };
  const std::vector<Row> rows = {{"Install Update", Action::install(offer.feed)},
                                 {"Remind Me Later", Action::remindLater("update")}};
  for (const Row& row : rows) {
    answers_.clear();
    bool wasOpen = false;
    ASSERT_TRUE(presenter_->presentUpdatePrompt(offer, [&](const Action& action) {
      answers_.push_back(action);
      wasOpen = toolkit_->openWindow() != nullptr;
    }));
    const auto window = toolkit_->openWindow();
    ASSERT_TRUE(window->click(row.button));
    EXPECT_EQ(answers_, std::vector{row.action}) << row.button;
    EXPECT_TRUE(wasOpen) << "the answer comes before the window closes";
    EXPECT_FALSE(window->isOpen);
    EXPECT_FALSE(presenter_->isPromptOpen());
    EXPECT_FALSE(window->click(row.button));
  }
  auto withoutInstall = offer;
  withoutInstall.allowInstallAction = false;
  answers_.clear();
  ASSERT_TRUE(present(withoutInstall));
  EXPECT_FALSE(shown().click("Install Update"));
  EXPECT_TRUE(shown().click("OK"));
  EXPECT_EQ(answers_, std::vector{Action::dismissed()});
}

TEST_F(UpdatePromptPresenterTest, ReportsTheCloseButtonOnceAsDismissed) {
  ASSERT_TRUE(present(input()));
  const auto window = toolkit_->openWindow();
  window->performClose();
  window->performClose();
  EXPECT_EQ(answers_, std::vector{Action::dismissed()});
  EXPECT_FALSE(presenter_->isPromptOpen());
  EXPECT_TRUE(present(input())) << "the next prompt opens";
}

TEST_F(UpdatePromptPresenterTest, ReportsNothingWhenItIsTakenAway) {
  ASSERT_TRUE(present(input()));
  presenter_->dismissPrompt();
  presenter_->dismissPrompt();
  EXPECT_EQ(toolkit_->openWindow(), nullptr);

  ASSERT_TRUE(present(input()));
  const auto first = toolkit_->openWindow();
  EXPECT_FALSE(present(input({{"title", "automatic"}})));
  EXPECT_TRUE(first->isOpen) << "an automatic check leaves an open prompt alone";
  auto manual = input({{"title", "manual"}});
  manual.isManualCheck = true;
  ASSERT_TRUE(present(manual));
  EXPECT_FALSE(first->isOpen);
  EXPECT_EQ(shown().description.title, "manual");
  EXPECT_EQ(toolkit_->openWindowCount(), 1U);

  window_.reset();
  const auto second = toolkit_->openWindow();
  presenter_.reset();
  EXPECT_TRUE(second->isOpen) << "only the test holds it now";
  EXPECT_TRUE(second->click("Install Update")) << "a late click finds nobody";
  second->performClose();
  EXPECT_TRUE(answers_.empty());
}

// What a handler may do: the answer is still one, and what it set up stays.
TEST_F(UpdatePromptPresenterTest, SurvivesWhatItsHandlerDoes) {
  const auto answer = [](RecordedWindow& window, bool byCloseButton) {
    if (byCloseButton) {
      window.performClose();
    } else {
      window.click("Remind Me Later");
    }
  };
  for (const bool byCloseButton : {false, true}) {
    int reports = 0;
    auto next = input({{"title", "next"}});
    next.isManualCheck = true;
    ASSERT_TRUE(presenter_->presentUpdatePrompt(input(), [&](const Action&) {
      ++reports;
      EXPECT_TRUE(present(next));
    }));
    answer(*toolkit_->openWindow(), byCloseButton);
    EXPECT_EQ(shown().description.title, "next");
    EXPECT_EQ(toolkit_->openWindowCount(), 1U);
    shown().click("Remind Me Later");
    EXPECT_EQ(answers_, std::vector{Action::remindLater("update")}) << "the next prompt reports for itself";
    answers_.clear();
    window_.reset();

    ASSERT_TRUE(presenter_->presentUpdatePrompt(input(), [&](const Action&) {
      ++reports;
      presenter_->installButtonPressed();
      presenter_->dismissButtonPressed();
      presenter_->dismissPrompt();
    }));
    answer(*toolkit_->openWindow(), byCloseButton);
    EXPECT_EQ(toolkit_->openWindow(), nullptr);

    ASSERT_TRUE(presenter_->presentUpdatePrompt(input(), [&](const Action&) {
      ++reports;
      presenter_.reset();
    }));
    answer(*toolkit_->openWindow(), byCloseButton);
    EXPECT_EQ(toolkit_->openWindow(), nullptr);
    EXPECT_EQ(reports, 3);
    presenter_ = std::make_unique<OrvoUpdatePromptPresenter>(toolkit_, bundles_, workspace_);
  }
}

TEST_F(UpdatePromptPresenterTest, SendsClickedLinksToTheBrowser) {
  ASSERT_TRUE(present(input()));
  const auto decide = shown().prompt->decidePolicy;
  const URL link = *URL::parse("https://example.com/more");
  EXPECT_EQ(decide({true, link}), NavigationPolicy::cancel);
  workspace_->succeeds = false;
  EXPECT_EQ(decide({true, link}), NavigationPolicy::cancel);
  EXPECT_EQ(workspace_->opened, (std::vector<std::string>{link.text(), link.text()}));
  EXPECT_EQ(decide({false, link}), NavigationPolicy::allow);
  EXPECT_EQ(decide({true, std::nullopt}), NavigationPolicy::allow);
  EXPECT_EQ(workspace_->opened.size(), 2U);
  EXPECT_TRUE(presenter_->isPromptOpen());
  EXPECT_TRUE(answers_.empty());
  presenter_.reset();
  EXPECT_EQ(decide({true, link}), NavigationPolicy::cancel) << "a page that outlives its prompt goes nowhere";
  EXPECT_EQ(workspace_->opened.size(), 2U);
}

TEST_F(UpdatePromptPresenterTest, TakesTextsOfAnyLength) {
  const std::string longText(10'000, 'W');
  ASSERT_TRUE(present(input({{"title", longText}, {"current", longText}})));
  EXPECT_EQ(shown().description.title.size(), longText.size());
  EXPECT_NE(shown().prompt->sentence.find(longText), std::string::npos);
}

}  // namespace
}  // namespace pellam
