#include <gtk/gtk.h>

#include "platform/linux/ui/alert_window.h"
#include "tests/support/window_test_fixture.h"

namespace pellam {

namespace {

class AlertWindow : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    if (!IsSkipped()) showMainWindow();
  }
  // Runs an alert, and `act` with its window as soon as it is there and active.
  AlertAnswer answer(const AlertDescription& description, const std::function<void(GtkWindow*)>& act) {
    mainThread_->perform([&, act] {
      if (!robot::waitUntil([&] { return isAlertActive(); })) {
        ADD_FAILURE() << "the alert does not become active";
        return closeOpenAlerts();
      }
      robot::handleEventsFor(std::chrono::milliseconds(50));
      act(robot::newestWindow());
    });
    return toolkit_->runModal(description);
  }
  [[nodiscard]] bool isAlertActive() const {
    GtkWindow* window = robot::newestWindow();
    return window != nullptr && window != mainWindow_ && gtk_window_is_active(window) != FALSE;
  }
  static void clickText(GtkWindow* window, const std::string& text) {
    robot::click(robot::findText(GTK_WIDGET(window), text));
  }
};

const AlertDescription twoButtons = {AlertStyle::warning,
                                     "Update Failed",
                                     "The update could not be installed automatically.",
                                     {"Update Manually", "Cancel"},
                                     std::nullopt};
const AlertDescription oneButton = {AlertStyle::warning, "Update Canceled", "", {"Understood"}, std::nullopt};
const AlertDescription systemButton = {AlertStyle::warning, "Download Failed", "", {}, std::nullopt};

AlertDescription withCheckbox(bool isOn) {
  return {AlertStyle::informational,
          "No Updates Available",
          "You are running the current version of Editor.",
          {},
          AlertCheckbox{"Check for beta releases", isOn}};
}

TEST_F(AlertWindow, EveryWayToAnswer) {
  const auto press = [](const char* key) { return [key](GtkWindow*) { robot::press(key); }; };
  const auto click = [](const char* text) { return [text](GtkWindow* window) { clickText(window, text); }; };
  const auto close = [](GtkWindow* window) { robot::closeByWindowManager(window); };
  const auto tickAndReturn = [](GtkWindow* window) {
    clickText(window, "Check for beta releases");
    robot::press("Return");  // with the focus on the checkbox
  };
  struct Row {
    const char* what;
    AlertDescription alert;
    std::function<void(GtkWindow*)> act;
    AlertAnswer answer;
  };
  const Row rows[] = {
      {"first", twoButtons, click("Update Manually"), {0, std::nullopt}},
      {"second", twoButtons, click("Cancel"), {1, std::nullopt}},
      {"Return", twoButtons, press("Return"), {0, std::nullopt}},
      {"Escape", twoButtons, press("Escape"), {1, std::nullopt}},
      {"close", twoButtons, close, {1, std::nullopt}},
      {"only", oneButton, click("Understood"), {0, std::nullopt}},
      {"only, Escape", oneButton, press("Escape"), {0, std::nullopt}},
      {"system", systemButton, click("OK"), {0, std::nullopt}},
      {"system, close", systemButton, close, {0, std::nullopt}},
      {"off, Return", withCheckbox(false), press("Return"), {0, false}},
      {"on, Escape", withCheckbox(true), press("Escape"), {0, true}},
      {"ticked", withCheckbox(false), tickAndReturn, {0, true}},
      {"unticked", withCheckbox(true), tickAndReturn, {0, false}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(answer(row.alert, row.act), row.answer);
    EXPECT_EQ(robot::newestWindow(), mainWindow_) << "the alert is gone";
  }
}

TEST_F(AlertWindow, BlocksTheOtherWindowsAndLetsOtherWorkGoOn) {
  int pressed = 0;
  g_signal_connect_swapped(gtk_window_get_child(mainWindow_), "clicked",
                           G_CALLBACK(+[](int* count) { ++*count; }), &pressed);
  bool isNestedWorkDone = false;
  AlertAnswer inner;
  const AlertAnswer outer = answer(twoButtons, [&](GtkWindow* window) {
    mainThread_->perform([&] { isNestedWorkDone = true; });
    EXPECT_TRUE(robot::waitUntil([&] { return isNestedWorkDone; }));
    const robot::Rectangle main = robot::placeOnScreen(gtk_window_get_child(mainWindow_));
    robot::clickAt(main.x + 20, main.y + main.height - 20);
    EXPECT_EQ(pressed, 0) << "the window behind gets no click";
    robot::closeByWindowManager(mainWindow_);
    gtk_window_present(window);
    // Another alert on top of this one.
    inner = answer(withCheckbox(true), [](GtkWindow* top) { clickText(top, "OK"); });
    clickText(window, "Cancel");
  });
  EXPECT_EQ(inner, (AlertAnswer{0, true}));
  EXPECT_EQ(outer, (AlertAnswer{1, std::nullopt}));
  robot::click(gtk_window_get_child(mainWindow_));
  EXPECT_EQ(pressed, 1) << "afterwards it does";
}

TEST_F(AlertWindow, TextIsTextAndStaysOnTheScreen) {
  std::string lines;
  for (int at = 0; at < 2000; ++at) lines += "line\n";
  for (const std::string& text : {std::string(10'000, 'W'), lines, std::string("<b>no markup</b> & \xff")}) {
    SCOPED_TRACE(text.substr(0, 20));
    AlertDescription alert = twoButtons;
    alert.messageText = alert.informativeText = text;
    (void)answer(alert, [&](GtkWindow* window) {
      const robot::Rectangle place = robot::placeOnScreen(gtk_window_get_child(window));
      EXPECT_GE(place.x, 0);
      EXPECT_GE(place.y, 0);
      EXPECT_LT(place.width, 700);
      EXPECT_LT(place.height, 500);
      clickText(window, "Cancel");
    });
  }
}

}  // namespace

}  // namespace pellam
