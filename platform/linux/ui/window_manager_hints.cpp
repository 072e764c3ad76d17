#include "platform/linux/ui/window_manager_hints.h"

#include <gdk/x11/gdkx.h>

#include <algorithm>
#include <array>

namespace pellam {

namespace {

// gdkx.h marks nothing of this for other displays: each call begins here.
struct X11Window {
  GdkSurface* surface = nullptr;
  Display* display = nullptr;
  ::Window window = None;

  explicit X11Window(GtkWindow* of) {
    GdkSurface* candidate = gtk_native_get_surface(GTK_NATIVE(of));
    if (candidate == nullptr || !GDK_IS_X11_SURFACE(candidate)) return;
    surface = candidate;
    display = gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface));
    window = gdk_x11_surface_get_xid(surface);
  }
  explicit operator bool() const { return surface != nullptr; }
  [[nodiscard]] int scale() const { return gdk_surface_get_scale_factor(surface); }
};

// Asks the window manager, which listens at the root window.
void sendToWindowManager(const X11Window& x11, const char* type, std::array<long, 5> data) {
  XEvent event = {};
  event.xclient.type = ClientMessage;
  event.xclient.window = x11.window;
  event.xclient.message_type = XInternAtom(x11.display, type, False);
  event.xclient.format = 32;
  std::copy(data.begin(), data.end(), event.xclient.data.l);
  XSendEvent(x11.display, DefaultRootWindow(x11.display), False,
             SubstructureRedirectMask | SubstructureNotifyMask, &event);
}

constexpr long fromApplication = 1;

void addState(GtkWindow* of, const char* state) {
  constexpr long add = 1;
  const X11Window x11(of);
  if (!x11) return;
  const auto atom = static_cast<long>(XInternAtom(x11.display, state, False));
  sendToWindowManager(x11, "_NET_WM_STATE", {add, atom, 0, fromApplication, 0});
}

}  // namespace

void keepAboveOtherWindows(GtkWindow* window) { addState(window, "_NET_WM_STATE_ABOVE"); }

void demandAttention(GtkWindow* window) { addState(window, "_NET_WM_STATE_DEMANDS_ATTENTION"); }

void offerFunctions(GtkWindow* window, WindowFunctions functions) {
  const X11Window x11(window);
  if (!x11) return;
  // The toolkit names what is not offered, which not every window manager reads. Its decorations are kept.
  enum Function : unsigned long { resize = 2, move = 4, minimize = 8, maximize = 16, close = 32 };
  constexpr std::size_t functionsAt = 1;
  constexpr long length = 5;
  const Atom property = XInternAtom(x11.display, "_MOTIF_WM_HINTS", False);
  Atom type = None;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  XGetWindowProperty(x11.display, x11.window, property, 0, length, False, property, &type, &format, &count,
                     &left, &data);
  if (data != nullptr && format == 32 && count == length) {
    auto* hints = reinterpret_cast<unsigned long*>(data);
    hints[functionsAt] = move | (functions.resizing ? resize | maximize : 0UL) |
                         (functions.closing ? close : 0UL) |
                         (functions.closing && functions.resizing ? minimize : 0UL);
    XChangeProperty(x11.display, x11.window, property, property, 32, PropModeReplace, data, length);
  }
  if (data != nullptr) XFree(data);
}

bool showUnfocused(GtkWindow* window) {
  gtk_widget_realize(GTK_WIDGET(window));
  const X11Window x11(window);
  if (!x11) return false;
  gdk_x11_surface_set_user_time(x11.surface, 0);
  gtk_widget_set_visible(GTK_WIDGET(window), TRUE);
  demandAttention(window);
  return true;
}

void showOnAllDesktops(GtkWindow* window) {
  constexpr guint32 everyDesktop = 0xFFFFFFFF;
  const X11Window x11(window);
  if (x11) gdk_x11_surface_move_to_desktop(x11.surface, everyDesktop);
}

void moveToCenter(GtkWindow* window) {
  const X11Window x11(window);
  if (!x11) return;
  GdkMonitor* monitor = gdk_display_get_monitor_at_surface(gdk_surface_get_display(x11.surface), x11.surface);
  if (monitor == nullptr) return;
  GdkRectangle area;
  gdk_x11_monitor_get_workarea(monitor, &area);
  // The surface has its size only after the first layout.
  GtkRequisition least;
  gtk_widget_get_preferred_size(GTK_WIDGET(window), &least, nullptr);
  int width = 0;
  int height = 0;
  gtk_window_get_default_size(window, &width, &height);
  const int x = area.x + (area.width - std::max(width, least.width)) / 2;
  const int y = area.y + (area.height - std::max(height, least.height)) / 2;
  XMoveWindow(x11.display, x11.window, x * x11.scale(), y * x11.scale());
}

std::optional<WindowPosition> positionOnScreen(GtkWindow* window) {
  const X11Window x11(window);
  if (!x11) return std::nullopt;
  int x = 0;
  int y = 0;
  ::Window child = None;
  XTranslateCoordinates(x11.display, x11.window, DefaultRootWindow(x11.display), 0, 0, &x, &y, &child);
  return WindowPosition{x / x11.scale(), y / x11.scale()};
}

void moveTo(GtkWindow* window, WindowPosition position) {
  // The position is the content's, not that of the frame around it.
  constexpr long staticGravity = StaticGravity;
  constexpr long hasPosition = (1L << 8) | (1L << 9);
  const X11Window x11(window);
  if (!x11) return;
  sendToWindowManager(x11, "_NET_MOVERESIZE_WINDOW",
                      {staticGravity | hasPosition | (fromApplication << 12), position.x * x11.scale(),
                       position.y * x11.scale(), 0, 0});
}

}  // namespace pellam
