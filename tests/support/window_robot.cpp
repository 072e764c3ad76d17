#include "tests/support/window_robot.h"

#include <X11/Xatom.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <gdk/x11/gdkx.h>

#include <graphene.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace pellam::robot {

namespace {

GtkWidget* find(GtkWidget* below, const std::function<bool(GtkWidget*)>& isWanted) {
  if (below == nullptr || isWanted(below)) return below;
  for (GtkWidget* child = gtk_widget_get_first_child(below); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (GtkWidget* found = find(child, isWanted)) return found;
  }
  return nullptr;
}

std::string textOf(GtkWidget* widget) {
  const char* text = nullptr;
  if (GTK_IS_BUTTON(widget)) text = gtk_button_get_label(GTK_BUTTON(widget));
  if (GTK_IS_CHECK_BUTTON(widget)) text = gtk_check_button_get_label(GTK_CHECK_BUTTON(widget));
  if (GTK_IS_LABEL(widget)) text = gtk_label_get_text(GTK_LABEL(widget));
  return text == nullptr ? "" : text;
}

Display* display() { return gdk_x11_display_get_xdisplay(gdk_display_get_default()); }

::Window xWindow(GtkWindow* window) {
  return gdk_x11_surface_get_xid(gtk_native_get_surface(GTK_NATIVE(window)));
}

GtkWindow* newestThat(const std::function<bool(GtkWindow*)>& isWanted) {
  GListModel* windows = gtk_window_get_toplevels();
  for (guint at = g_list_model_get_n_items(windows); at-- > 0;) {
    auto* window = GTK_WINDOW(g_list_model_get_item(windows, at));
    g_object_unref(window);
    if (gtk_widget_get_mapped(GTK_WIDGET(window)) != FALSE && isWanted(window)) return window;
  }
  return nullptr;
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds atMost) {
  const auto deadline = std::chrono::steady_clock::now() + atMost;
  // Wakes the loop when nothing happens.
  const guint tick = g_timeout_add(
      10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool holds = condition();
  while (!holds && std::chrono::steady_clock::now() < deadline) {
    g_main_context_iteration(nullptr, TRUE);
    holds = condition();
  }
  g_source_remove(tick);
  return holds;
}

void handleEventsFor(std::chrono::milliseconds duration) {
  (void)waitUntil([] { return false; }, duration);
}

GtkWidget* findNamed(GtkWidget* below, const std::string& name) {
  return find(below, [&](GtkWidget* widget) { return gtk_widget_get_name(widget) == name; });
}

GtkWidget* findText(GtkWidget* below, const std::string& text) {
  return find(below, [&](GtkWidget* widget) { return textOf(widget) == text; });
}

GtkWidget* findOfType(GtkWidget* below, GType type) {
  return find(below, [&](GtkWidget* widget) { return g_type_is_a(G_OBJECT_TYPE(widget), type) != FALSE; });
}

GtkWindow* newestWindow() {
  return newestThat([](GtkWindow*) { return true; });
}

GtkWindow* windowTitled(const std::string& title) {
  return newestThat([&](GtkWindow* window) {
    const char* own = gtk_window_get_title(window);
    return own != nullptr && own == title;
  });
}

Rectangle placeInWindow(GtkWidget* widget) {
  graphene_rect_t bounds;
  GtkWidget* content = gtk_window_get_child(GTK_WINDOW(gtk_widget_get_root(widget)));
  if (gtk_widget_compute_bounds(widget, content, &bounds) == FALSE) return {};
  return {static_cast<int>(std::lround(bounds.origin.x)), static_cast<int>(std::lround(bounds.origin.y)),
          static_cast<int>(std::lround(bounds.size.width)),
          static_cast<int>(std::lround(bounds.size.height))};
}

Rectangle placeOnScreen(GtkWidget* widget) {
  auto* window = GTK_WINDOW(gtk_widget_get_root(widget));
  graphene_rect_t bounds;
  if (gtk_widget_compute_bounds(widget, GTK_WIDGET(window), &bounds) == FALSE) return {};
  double surfaceX = 0;
  double surfaceY = 0;
  gtk_native_get_surface_transform(GTK_NATIVE(window), &surfaceX, &surfaceY);
  int x = 0;
  int y = 0;
  ::Window child = None;
  XTranslateCoordinates(display(), xWindow(window), DefaultRootWindow(display()), 0, 0, &x, &y, &child);
  return {x + static_cast<int>(std::lround(surfaceX + bounds.origin.x)),
          y + static_cast<int>(std::lround(surfaceY + bounds.origin.y)),
          static_cast<int>(std::lround(bounds.size.width)),
          static_cast<int>(std::lround(bounds.size.height))};
}

void clickAt(int screenX, int screenY) {
  XTestFakeMotionEvent(display(), -1, screenX, screenY, CurrentTime);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(40));
  XTestFakeButtonEvent(display(), 1, True, CurrentTime);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(20));
  XTestFakeButtonEvent(display(), 1, False, CurrentTime);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(40));
}

void click(GtkWidget* widget) {
  // Once it is drawn and stays where it is.
  Rectangle place;
  (void)waitUntil([&] {
    const Rectangle before = std::exchange(place, placeOnScreen(widget));
    handleEventsFor(std::chrono::milliseconds(30));
    return place.width > 0 && place == before && place == placeOnScreen(widget);
  });
  clickAt(place.x + place.width / 2, place.y + place.height / 2);
}

void press(const char* key) {
  const KeyCode code = XKeysymToKeycode(display(), XStringToKeysym(key));
  XTestFakeKeyEvent(display(), code, True, CurrentTime);
  XTestFakeKeyEvent(display(), code, False, CurrentTime);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(60));
}

bool hasWord(GtkWindow* window, const char* property, const char* word) {
  Atom type = None;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* data = nullptr;
  XGetWindowProperty(display(), xWindow(window), XInternAtom(display(), property, False), 0, 64, False,
                     XA_ATOM, &type, &format, &count, &left, &data);
  const auto* atoms = reinterpret_cast<const Atom*>(data);
  const bool isThere = data != nullptr &&
                       std::find(atoms, atoms + count, XInternAtom(display(), word, False)) != atoms + count;
  if (data != nullptr) XFree(data);
  return isThere;
}

void closeByWindowManager(GtkWindow* window) {
  XEvent event = {};
  event.xclient.type = ClientMessage;
  event.xclient.window = xWindow(window);
  event.xclient.message_type = XInternAtom(display(), "_NET_CLOSE_WINDOW", False);
  event.xclient.format = 32;
  event.xclient.data.l[1] = 2;  // from a pager
  XSendEvent(display(), DefaultRootWindow(display()), False,
             SubstructureRedirectMask | SubstructureNotifyMask, &event);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(150));
}

void resizeByWindowManager(GtkWindow* window, int width, int height) {
  constexpr long sizeOnly = (1L << 10) | (1L << 11) | (2L << 12);
  XEvent event = {};
  event.xclient.type = ClientMessage;
  event.xclient.window = xWindow(window);
  event.xclient.message_type = XInternAtom(display(), "_NET_MOVERESIZE_WINDOW", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = sizeOnly;
  event.xclient.data.l[3] = width;
  event.xclient.data.l[4] = height;
  XSendEvent(display(), DefaultRootWindow(display()), False,
             SubstructureRedirectMask | SubstructureNotifyMask, &event);
  XFlush(display());
  handleEventsFor(std::chrono::milliseconds(150));
}

}  // namespace pellam::robot
