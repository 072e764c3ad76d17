#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pellam/main_thread.h"
#include "platform/linux/ui/system_window_toolkit.h"
#include "tests/support/window_robot.h"

namespace pellam {

// Tests of windows run on a display with a window manager. scripts/test gives them both.
class WindowTest : public testing::Test {
 protected:
  void SetUp() override;

  // A window of the application's own, as every real one has it.
  void showMainWindow();
  struct Prompt {
    std::shared_ptr<Window> window;
    std::shared_ptr<std::vector<std::string>> events = std::make_shared<std::vector<std::string>>();
    std::shared_ptr<std::vector<NavigationAction>> asked = std::make_shared<std::vector<NavigationAction>>();
    [[nodiscard]] GtkWindow* widget() const;
    [[nodiscard]] GtkWidget* button(const std::string& title) const;
  };
  // Whatever a loaded machine takes for them.
  static void expectEvents(const Prompt& prompt, const std::vector<std::string>& events) {
    (void)robot::waitUntil([&] { return *prompt.events == events; }, std::chrono::seconds(2));
    EXPECT_EQ(*prompt.events, events);
  }
  // A prompt on screen, its page (or none) asked for. Buttons and closing are recorded as events.
  [[nodiscard]] Prompt showPrompt(UpdatePromptContent content, WindowSize size = {600, 500});
  [[nodiscard]] static UpdatePromptContent promptContent(
      const std::optional<std::string>& page = std::nullopt);

  std::shared_ptr<WindowToolkit> toolkit_;
  std::shared_ptr<MainThread> mainThread_ = makeSystemMainThread();
  GtkWindow* mainWindow_ = nullptr;
  void TearDown() override;
};

}  // namespace pellam
