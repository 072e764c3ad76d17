#include <gtk/gtk.h>

#include <thread>

#include "host/ready_install_confirmation.h"
#include "pellam/cancellation.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/linux/ui/alert_window.h"
#include "tests/support/recording_toolkit.h"
#include "tests/support/window_test_fixture.h"
#include "ui/presented_progress_window.h"
#include "ui/update_alert_presenter.h"
#include "ui/update_prompt_presenter.h"

namespace pellam {

namespace {

using testing_support::FakeBundles;
using testing_support::RecordingWorkspace;
using Action = OrvoUpdatePromptAction;

FeedEntry offer(const FeedEntry& changes = {}) {
  FeedEntry entry = {{"type", "update"},
                     {"url", "about:blank"},
                     {"title", "Editor 2.0"},
                     {"current", "2.5"},
                     {"app-installer", "https://example.com/Editor.zip"}};
  for (const auto& [key, value] : changes) entry.set(key, value);
  return entry;
}

// The presenters over real windows.
class PresentedWindows : public WindowTest {
 protected:
  OrvoUpdatePromptInput input(const FeedEntry& changes = {}) {
    OrvoUpdatePromptInput input;
    input.feed = offer(changes);
    input.allowInstallAction = true;
    input.applicationName = "Editor";
    input.applicationVersion = "2.0";
    input.applicationBuild = 100;
    input.applicationLogoImageName = "EditorLogo";
    input.defaultWindowWidth = 600;
    input.defaultWindowHeight = 500;
    return input;
  }
  bool present(const OrvoUpdatePromptInput& input) {
    const bool isShown =
        prompts().presentUpdatePrompt(input, [this](const Action& action) { answers_.push_back(action); });
    if (isShown) {
      EXPECT_TRUE(robot::waitUntil([] {
        return robot::newestWindow() != nullptr && gtk_window_is_active(robot::newestWindow()) != FALSE;
      }));
      robot::handleEventsFor(std::chrono::milliseconds(60));
    }
    return isShown;
  }
  OrvoUpdatePromptPresenter& prompts() {
    if (!prompts_) prompts_ = std::make_unique<OrvoUpdatePromptPresenter>(toolkit_, bundles_, workspace_);
    return *prompts_;
  }
  static GtkWidget* seen(const std::string& text) {
    GtkWidget* widget = robot::findText(GTK_WIDGET(robot::newestWindow()), text);
    return widget != nullptr && gtk_widget_get_mapped(widget) != FALSE ? widget : nullptr;
  }

  std::shared_ptr<FakeBundles> bundles_ = std::make_shared<FakeBundles>();
  std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
  std::unique_ptr<OrvoUpdatePromptPresenter> prompts_;
  std::vector<Action> answers_;
};

TEST_F(PresentedWindows, ThePromptReportsEachAnswerOnce) {
  struct Row {
    const char* what;
    bool allowsInstalling;
    std::function<void()> act;
    std::vector<Action> answers;
  };
  const auto click = [](const char* title) { return [title] { robot::click(seen(title)); }; };
  const Row rows[] = {
      {"install", true, click("Install Update"), {Action::install(offer())}},
      {"install by Return", true, [] { robot::press("Return"); }, {Action::install(offer())}},
      {"remind", true, click("Remind Me Later"), {Action::remindLater("update")}},
      {"remind, nothing to install", false, click("Remind Me Later"), {Action::remindLater("update")}},
      {"OK", false, click("OK"), {Action::dismissed()}},
      {"OK by Return", false, [] { robot::press("Return"); }, {Action::dismissed()}},
      {"closed", true, [] { robot::closeByWindowManager(robot::newestWindow()); }, {Action::dismissed()}},
      {"dismissed by the program", true, [this] { prompts().dismissPrompt(); }, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    OrvoUpdatePromptInput offered = input();
    offered.allowInstallAction = row.allowsInstalling;
    ASSERT_TRUE(present(offered));
    EXPECT_EQ(seen("Skip This Update"), nullptr);
    row.act();
    EXPECT_TRUE(robot::waitUntil([] { return robot::newestWindow() == nullptr; })) << "the prompt is gone";
    EXPECT_EQ(answers_, row.answers);
    answers_.clear();
  }
}

TEST_F(PresentedWindows, AManualCheckReplacesAnOpenPrompt) {
  ASSERT_TRUE(present(input()));
  EXPECT_FALSE(present(input({{"current", "3.0b1"}}))) << "an automatic one does not";
  OrvoUpdatePromptInput manual = input({{"current", "3.0b1"}, {"size", "{700, 300}"}});
  manual.isManualCheck = true;
  ASSERT_TRUE(present(manual));
  EXPECT_TRUE(answers_.empty());
  EXPECT_NE(seen("A new beta version is available!"), nullptr);
  GtkWidget* content = gtk_window_get_child(robot::newestWindow());
  EXPECT_EQ(gtk_widget_get_width(content), 700);
  EXPECT_EQ(gtk_widget_get_height(content), 500);
  robot::press("Return");
  ASSERT_TRUE(robot::waitUntil([&] { return answers_.size() == 1; }));
  EXPECT_EQ(*answers_[0].feed.findString("current"), "3.0b1");

  ASSERT_TRUE(present(input({{"current", "2.0"}, {"currentbuild", "120"}})));
  EXPECT_NE(seen("Stability Update Available"), nullptr);
  EXPECT_NE(seen("A stability update for Editor 2.0 is available. You have build 100; build 120 is ready to "
                 "install."),
            nullptr);
}

TEST_F(PresentedWindows, TheProgressWindowShowsAWholeInstallation) {
  using Presenter = OrvoUpdateProgressWindowPresenter;
  PresentedProgressWindow progress(toolkit_, bundles_, "Downloading update…");
  ASSERT_TRUE(robot::waitUntil([] { return robot::newestWindow() != nullptr; }));
  GtkWindow* window = robot::newestWindow();
  robot::handleEventsFor(std::chrono::milliseconds(60));
  const auto place = [&](const char* name) {
    return robot::placeInWindow(robot::findNamed(GTK_WIDGET(window), name));
  };
  const auto isSeen = [&](const char* name) {
    return gtk_widget_get_mapped(robot::findNamed(GTK_WIDGET(window), name)) != FALSE;
  };
  const auto fraction = [&] {
    return gtk_progress_bar_get_fraction(
        GTK_PROGRESS_BAR(robot::findNamed(GTK_WIDGET(window), Presenter::progressIndicatorIdentifier)));
  };
  GtkWidget* content = gtk_window_get_child(window);
  struct Row {
    OrvoUpdateProgressWindowState state;
    bool hasStatus;
    double fraction;
  };
  const Row rows[] = {
      {{"Downloading update…", "Preparing download…", 0.0}, true, 0},
      {{"Downloading update…", "1.2 MB of 4.8 MB", 0.25}, true, 0.25},
      {{"Downloading update…", "4.8 MB", 1.7}, true, 1},
      {{"Downloading update…", "", 0.5}, false, 0.5},
      {{"Extracting update…", std::nullopt, std::nullopt}, false, 0},
      {{"Verifying update…", std::string(10'000, 'W'), std::nullopt}, true, 0},
      {{std::string(10'000, 'W') + "\n<b>", std::nullopt, std::nullopt}, false, 0},
  };
  ASSERT_TRUE(robot::waitUntil([&] { return place(Presenter::progressIndicatorIdentifier).y > 0; }));
  const robot::Rectangle withoutStatus = place(Presenter::progressIndicatorIdentifier);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.state.title.substr(0, 30));
    progress.update(row.state);
    // Centred as one stack: a line more pushes the bar down.
    EXPECT_TRUE(robot::waitUntil([&] {
      return (place(Presenter::progressIndicatorIdentifier).y > withoutStatus.y) == row.hasStatus;
    }));
    EXPECT_EQ(gtk_widget_get_width(content), 420);
    EXPECT_EQ(gtk_widget_get_height(content), 132);
    EXPECT_EQ(isSeen(Presenter::statusLabelIdentifier), row.hasStatus);
    EXPECT_FALSE(isSeen(Presenter::actionButtonIdentifier));
    const robot::Rectangle bar = place(Presenter::progressIndicatorIdentifier);
    EXPECT_EQ(bar.x, 20);
    EXPECT_EQ(bar.width, 380);
    EXPECT_EQ(bar.height, 16);
    if (row.state.progressFraction) {
      EXPECT_EQ(fraction(), row.fraction);
    }
  }
  EXPECT_TRUE(robot::hasWord(window, "_NET_WM_STATE", "_NET_WM_STATE_ABOVE"));
  for (const char* action : {"RESIZE", "MAXIMIZE_HORZ"}) {
    const std::string word = std::string("_NET_WM_ACTION_") + action;
    EXPECT_FALSE(robot::hasWord(window, "_NET_WM_ALLOWED_ACTIONS", word.c_str())) << word;
  }
  robot::closeByWindowManager(window);
  robot::press("Escape");
  EXPECT_TRUE(gtk_widget_get_mapped(GTK_WIDGET(window))) << "the user cannot close it";

  int pressed = 0;
  progress.showReadyToInstallAndRelaunch("Ready to Install", "Install and Relaunch", [&] { ++pressed; });
  progress.requestUserAttention();
  ASSERT_TRUE(robot::waitUntil([&] { return isSeen(Presenter::actionButtonIdentifier); }));
  robot::handleEventsFor(std::chrono::milliseconds(60));
  EXPECT_EQ(gtk_widget_get_height(content), 132);
  EXPECT_EQ(fraction(), 1.0);
  for (int turn = 0; turn < 2; ++turn) {
    robot::click(robot::findNamed(GTK_WIDGET(window), Presenter::actionButtonIdentifier));
  }
  EXPECT_TRUE(robot::waitUntil([&] { return pressed > 0; }));
  EXPECT_EQ(pressed, 1);
  progress.update({"Preparing to install…", std::nullopt, std::nullopt});
  robot::handleEventsFor(std::chrono::milliseconds(50));
  EXPECT_FALSE(isSeen(Presenter::actionButtonIdentifier));
  progress.close();
  progress.update({"late", std::nullopt, std::nullopt});
  EXPECT_EQ(robot::newestWindow(), nullptr);
}

TEST_F(PresentedWindows, AlertsActOnTheirAnswers) {
  showMainWindow();
  std::vector<std::string> opened;
  OrvoUpdateAlertPresenter alerts(toolkit_, bundles_, [&](const URL& url) {
    opened.push_back(url.text());
    return true;
  });
  const auto answerWith = [this](std::function<void()> act) {
    mainThread_->perform([this, act] {
      const auto isActive = [this] {
        GtkWindow* window = robot::newestWindow();
        return window != mainWindow_ && gtk_window_is_active(window) != FALSE;
      };
      if (!robot::waitUntil(isActive)) {
        ADD_FAILURE() << "the alert does not become active";
        return closeOpenAlerts();
      }
      robot::handleEventsFor(std::chrono::milliseconds(50));
      act();
    });
  };
  const URL page = *URL::parse("https://example.com/manual");
  const auto phase = OrvoUpdateManualUpdateFailurePhase::installation;
  answerWith([] { robot::press("Escape"); });
  alerts.presentManualUpdateAlert({}, std::nullopt, page, phase);
  EXPECT_TRUE(opened.empty());
  answerWith([] { robot::click(seen("Update Manually")); });
  alerts.presentManualUpdateAlert({}, std::nullopt, page, phase);
  EXPECT_EQ(opened, std::vector<std::string>{"https://example.com/manual"});

  OrvoUpdateManualCheckCompletionInput check;
  check.shouldShowNoUpdatesFoundDialog = check.updateCheckPerformedOK = check.shouldOfferBetaToggle = true;
  check.applicationName = "Editor";
  answerWith([] {
    EXPECT_NE(seen("You are running the current version of Editor."), nullptr);
    robot::click(seen("Check for beta releases"));
    robot::press("Return");
  });
  EXPECT_EQ(alerts.presentManualCheckCompletionAlert(check).selectedBetaToggleState, true);
}

TEST_F(PresentedWindows, TheButtonAndACancellationMeet) {
  // What comes first counts, and the other has no effect; with the window on the main thread and the
  // installation on its own.
  for (const bool pressesFirst : {true, false}) {
    SCOPED_TRACE(pressesFirst);
    PresentedProgressWindow progress(toolkit_, bundles_, "Verifying update…");
    OrvoUpdateReadyInstallConfirmation confirmation;
    std::vector<std::string> outcome;
    confirmation.setContinuation(
        [&](const std::exception_ptr& error) { outcome.emplace_back(error ? "cancelled" : "confirmed"); });
    progress.showReadyToInstallAndRelaunch("Ready to Install", "Install and Relaunch",
                                           [&] { confirmation.resolve(nullptr); });
    ASSERT_TRUE(robot::waitUntil([] { return seen("Install and Relaunch") != nullptr; }));
    robot::handleEventsFor(std::chrono::milliseconds(60));
    const auto cancel = [&] {
      std::thread([&] { confirmation.resolve(std::make_exception_ptr(OperationCancelled())); }).join();
    };
    if (!pressesFirst) cancel();
    robot::click(seen("Install and Relaunch"));
    (void)robot::waitUntil([&] { return !outcome.empty(); });
    if (pressesFirst) cancel();
    EXPECT_EQ(outcome, std::vector<std::string>{pressesFirst ? "confirmed" : "cancelled"});
  }
}

TEST(DisplayConnection, WithoutADisplayIsOneClearLine) {
  // In a process of its own: a toolkit that is connected stays so.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto connect = [](const char* display) {
    unsetenv("WAYLAND_DISPLAY");
    display == nullptr ? unsetenv("DISPLAY") : setenv("DISPLAY", display, 1);
    try {
      (void)makeSystemWindowToolkit(*makeSystemBundleLoader(makeSystemFileSystem()),
                                    makeSystemChildProcessRunner("/usr/bin"));
      std::exit(1);
    } catch (const DisplayUnavailable& error) {
      (void)std::fprintf(stderr, "%s\n", error.what());
      std::exit(3);
    }
  };
  EXPECT_EXIT(connect(nullptr), testing::ExitedWithCode(3), "^no display is set\n$");
  EXPECT_EXIT(connect(":4999"), testing::ExitedWithCode(3), "^cannot open the display \":4999\"\n$");
}

}  // namespace

}  // namespace pellam
