#pragma once

#include <gtk/gtk.h>

#include <chrono>
#include <functional>
#include <string>

namespace pellam {

// A person at the screen, for tests: looks for things in this process's windows, points, clicks and types
// through the X server, and waits while events are handled.
namespace robot {

// Handles events until the condition holds; false when it does not within the time.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                             std::chrono::milliseconds atMost = std::chrono::seconds(15));
void handleEventsFor(std::chrono::milliseconds duration);

// The first widget below that has the name, or that is a label, button or check button with the text; hidden
// ones, too.
[[nodiscard]] GtkWidget* findNamed(GtkWidget* below, const std::string& name);
[[nodiscard]] GtkWidget* findText(GtkWidget* below, const std::string& text);
[[nodiscard]] GtkWidget* findOfType(GtkWidget* below, GType type);
// The newest visible window, and the one with the title.
[[nodiscard]] GtkWindow* newestWindow();
[[nodiscard]] GtkWindow* windowTitled(const std::string& title);

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const Rectangle&, const Rectangle&) = default;
};
// Within the window's content, and on the screen.
[[nodiscard]] Rectangle placeInWindow(GtkWidget* widget);
[[nodiscard]] Rectangle placeOnScreen(GtkWidget* widget);

void click(GtkWidget* widget);
void clickAt(int screenX, int screenY);
// A key of X's names: "Return", "Escape", "space", "Tab".
void press(const char* key);

// Whether one of the window manager's words ("_NET_WM_STATE_ABOVE") is among those of a property.
[[nodiscard]] bool hasWord(GtkWindow* window, const char* property, const char* word);

// What the window manager is asked to do by its users.
void closeByWindowManager(GtkWindow* window);
void resizeByWindowManager(GtkWindow* window, int width, int height);

}  // namespace robot

}  // namespace pellam
