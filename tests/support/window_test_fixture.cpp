#include "tests/support/window_test_fixture.h"

#include <gio/gio.h>

#include <cstdlib>

#include "platform/linux/ui/alert_window.h"
#include "platform/linux/ui/release_notes_view.h"
#include "ui/window_layout.h"

namespace pellam {

namespace {

// The window manager, for as long as the tests run.
class WindowManager : public testing::Environment {
 public:
  void SetUp() override {
    if (std::getenv("DISPLAY") == nullptr) return;
    process_ = g_subprocess_new(
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE),
        nullptr, "openbox", "--sm-disable", nullptr);
  }
  void TearDown() override {
    if (process_ == nullptr) return;
    g_subprocess_force_exit(process_);
    g_object_unref(process_);
  }

 private:
  GSubprocess* process_ = nullptr;
};

[[maybe_unused]] testing::Environment* const windowManager =
    testing::AddGlobalTestEnvironment(new WindowManager);  // owned by the test program

}  // namespace

void WindowTest::SetUp() {
  if (std::getenv("DISPLAY") == nullptr) GTEST_SKIP() << "there is no display";
  allowAlerts();
  toolkit_ = makeWindowToolkit(
      PELLAM_TEST_IMAGES, [] { return canConfineWebContent(*makeSystemChildProcessRunner("/usr/bin")); });
}

void WindowTest::TearDown() {
  if (mainWindow_ != nullptr) gtk_window_destroy(mainWindow_);
  robot::handleEventsFor(std::chrono::milliseconds(20));
}

void WindowTest::showMainWindow() {
  mainWindow_ = GTK_WINDOW(gtk_window_new());
  gtk_window_set_title(mainWindow_, "Editor");
  gtk_window_set_default_size(mainWindow_, 900, 700);
  GtkWidget* button = gtk_button_new_with_label("Ordinary button");
  gtk_window_set_child(mainWindow_, button);
  // A window manager that has just started, or is busy, may overlook a window; shown again, it gets the
  // focus.
  bool isActive = false;
  for (int attempt = 0; attempt < 5 && !isActive; ++attempt) {
    if (attempt > 0) gtk_widget_set_visible(GTK_WIDGET(mainWindow_), FALSE);
    gtk_window_present(mainWindow_);
    isActive = robot::waitUntil([&] { return gtk_window_is_active(mainWindow_) != FALSE; });
  }
  EXPECT_TRUE(isActive);
}

GtkWindow* WindowTest::Prompt::widget() const { return robot::windowTitled("Editor 2.0"); }

GtkWidget* WindowTest::Prompt::button(const std::string& title) const {
  return robot::findText(GTK_WIDGET(widget()), title);
}

UpdatePromptContent WindowTest::promptContent(const std::optional<std::string>& page) {
  UpdatePromptContent content;
  content.layout = promptLayout;
  content.logoImageName = "EditorLogo";
  content.headline = "A new version is available!";
  content.sentence =
      "Editor version 2.0 is now available － you have 1.0. Would you like to download it now?";
  content.caption = "Release Notes:";
  if (page) content.releaseNotes = URL::parse(*page);
  content.releaseNotesLinkTitle = "Show Release Notes";
  content.buttons = {{"Install Update", "install", true, false, {}},
                     {"Remind Me Later", "remind", false, false, {}},
                     {"Skip This Update", "skip", false, true, {}}};
  return content;
}

WindowTest::Prompt WindowTest::showPrompt(UpdatePromptContent content, WindowSize size) {
  Prompt prompt;
  prompt.window = toolkit_->makeWindow({"Editor 2.0", size, size, true, true});
  prompt.window->setWillCloseHandler([events = prompt.events] { events->push_back("closed"); });
  for (UpdatePromptButton& button : content.buttons) {
    button.action = [events = prompt.events, title = button.title] { events->push_back(title); };
  }
  if (!content.decidePolicy) {
    content.decidePolicy = [asked = prompt.asked](const NavigationAction& action) {
      asked->push_back(action);
      return action.isLinkActivated ? NavigationPolicy::cancel : NavigationPolicy::allow;
    };
  }
  toolkit_->buildPromptContent(*prompt.window->contentView(), std::move(content));
  prompt.window->center();
  prompt.window->makeKeyAndOrderFront();
  EXPECT_TRUE(robot::waitUntil(
      [&] { return prompt.widget() != nullptr && gtk_window_is_active(prompt.widget()) != FALSE; }));
  robot::handleEventsFor(std::chrono::milliseconds(50));
  return prompt;
}

}  // namespace pellam
