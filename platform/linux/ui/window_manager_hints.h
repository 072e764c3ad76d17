#pragma once

#include <gtk/gtk.h>

#include <optional>

namespace pellam {

// What the toolkit has no words for and X11 window managers understand. On other displays, where such things
// are the compositor's own business, nothing happens. The window must be mapped.

struct WindowPosition {
  int x = 0;
  int y = 0;
};

void keepAboveOtherWindows(GtkWindow* window);
void showOnAllDesktops(GtkWindow* window);
void demandAttention(GtkWindow* window);
// What the frame offers beside moving the window.
struct WindowFunctions {
  bool closing = false;
  bool resizing = false;
};
void offerFunctions(GtkWindow* window, WindowFunctions functions);

// Shows a window that is not mapped yet, asks for attention, and leaves the focus where it is. False where
// that cannot be said; nothing was done.
[[nodiscard]] bool showUnfocused(GtkWindow* window);

// In the middle of the work area of the monitor that it is on.
void moveToCenter(GtkWindow* window);
[[nodiscard]] std::optional<WindowPosition> positionOnScreen(GtkWindow* window);
void moveTo(GtkWindow* window, WindowPosition position);

}  // namespace pellam
