#include "platform/linux/ui/system_window.h"

#include <webkit/webkit.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "platform/linux/ui/view_handles.h"
#include "platform/linux/ui/window_manager_hints.h"

namespace pellam {

namespace {

// Room for a title bar.
constexpr int frameHeight = 48;

struct Pixels {
  int width;
  int height;
};

// The size of the monitor with the most room.
Pixels largestSize() {
  Pixels size{1, 1};
  GListModel* monitors = gdk_display_get_monitors(gdk_display_get_default());
  for (guint at = 0; at < g_list_model_get_n_items(monitors); ++at) {
    auto* monitor = GDK_MONITOR(g_list_model_get_item(monitors, at));
    GdkRectangle area;
    gdk_monitor_get_geometry(monitor, &area);
    g_object_unref(monitor);
    const Pixels usable{area.width, area.height - frameHeight};
    if (std::int64_t{usable.width} * usable.height > std::int64_t{size.width} * size.height) size = usable;
  }
  return size;
}

int pixels(double points, int limit) {
  if (!(points >= 1)) return 1;  // not a number, too
  return points >= limit ? limit : static_cast<int>(std::lround(points));
}

Pixels onScreen(const WindowSize& size) {
  const Pixels limit = largestSize();
  return {pixels(size.width, limit.width), pixels(size.height, limit.height)};
}

bool showsAnotherWindow(GtkWindow* window) {
  GListModel* windows = gtk_window_get_toplevels();
  for (guint at = 0; at < g_list_model_get_n_items(windows); ++at) {
    auto* other = GTK_WINDOW(g_list_model_get_item(windows, at));
    g_object_unref(other);  // the list keeps it
    if (other != window && gtk_widget_get_mapped(GTK_WIDGET(other)) != FALSE) return true;
  }
  return false;
}

gboolean keyPressed(GtkEventControllerKey* controller, guint key, guint, GdkModifierType state, gpointer) {
  if (key != GDK_KEY_Return && key != GDK_KEY_KP_Enter && key != GDK_KEY_ISO_Enter) return FALSE;
  if ((state & (GDK_CONTROL_MASK | GDK_ALT_MASK | GDK_SUPER_MASK)) != 0) return FALSE;
  auto* window = GTK_WINDOW(gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller)));
  // A button, or a link in a page, that has the focus is what is meant.
  GtkWidget* focus = gtk_window_get_focus(window);
  if (GTK_IS_BUTTON(focus) || WEBKIT_IS_WEB_VIEW(focus)) return FALSE;
  GtkWidget* button = gtk_window_get_default_widget(window);
  if (button == nullptr || gtk_widget_is_sensitive(button) == FALSE ||
      gtk_widget_get_visible(button) == FALSE) {
    return FALSE;
  }
  g_signal_emit_by_name(button, "clicked");
  return TRUE;
}

}  // namespace

void answerReturnWithDefaultButton(GtkWindow* window) {
  GtkEventController* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  g_signal_connect(keys, "key-pressed", G_CALLBACK(keyPressed), nullptr);
  gtk_widget_add_controller(GTK_WIDGET(window), keys);
}

SystemWindow::SystemWindow(const WindowDescription& description,
                           std::shared_ptr<FloatingWindows> floatingWindows)
    : floatingWindows_(std::move(floatingWindows)),
      title_(description.title),
      isClosable_(description.isClosable),
      // The role is stated: a window whose contents meet assistive technology first would go without one.
      window_(
          GTK_WINDOW(g_object_new(GTK_TYPE_WINDOW, "accessible-role", GTK_ACCESSIBLE_ROLE_WINDOW, nullptr))),
      content_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)) {
  GtkWindow* window = window_.get();
  gtk_window_set_title(window, displayableLine(title_).c_str());
  gtk_window_set_deletable(window, isClosable_ ? TRUE : FALSE);
  gtk_window_set_resizable(window, description.isResizable ? TRUE : FALSE);
  const Pixels size = onScreen(description.contentSize);
  gtk_window_set_default_size(window, size.width, size.height);
  // The request is the content's, so that a title bar drawn by the toolkit takes none of it.
  if (description.minimumSize || !description.isResizable) {
    const Pixels minimum = description.minimumSize ? onScreen(*description.minimumSize) : size;
    gtk_widget_set_size_request(content_, minimum.width, minimum.height);
  }
  gtk_window_set_child(window, content_);
  g_signal_connect(window, "close-request", G_CALLBACK(closeRequested), this);
  g_signal_connect(window, "map", G_CALLBACK(mapped), this);
  g_signal_connect(window, "realize", G_CALLBACK(realized), this);
  answerReturnWithDefaultButton(window);
  floatingWindows_->add(window);
}

SystemWindow::~SystemWindow() {
  willClose_ = nullptr;
  destroy();
}

std::shared_ptr<View> SystemWindow::contentView() { return isClosed_ ? nullptr : makeViewHandle(content_); }

void SystemWindow::center() {
  if (isClosed_) return;
  isCenteringDue_ = true;
  if (gtk_widget_get_mapped(GTK_WIDGET(window_.get())) != FALSE) mapped(GTK_WIDGET(window_.get()), this);
}

void SystemWindow::makeKeyAndOrderFront() {
  if (isClosed_) return;
  // What the user types into another application must not answer a window that has just appeared. An
  // application that shows nothing else has nothing to be active with.
  const bool mayTakeFocus = floatingWindows_->isApplicationActive() || !showsAnotherWindow(window_.get());
  if (mayTakeFocus || !showUnfocused(window_.get())) gtk_window_present(window_.get());
}

void SystemWindow::performClose() {
  if (isClosable_) close();
}

void SystemWindow::close() {
  if (std::exchange(isClosed_, true)) return;
  // The handler may drop the last handle of this window. One that stays must not keep what the window held.
  const ObjectReference<GtkWindow> window = std::exchange(window_, {});
  g_signal_handlers_disconnect_by_data(window.get(), this);
  forgetSurface();
  const std::function<void()> willClose = std::exchange(willClose_, nullptr);
  if (willClose) runGuarded(willClose);
  gtk_window_destroy(window.get());
}

void SystemWindow::destroy() {
  if (std::exchange(isClosed_, true)) return;
  g_signal_handlers_disconnect_by_data(window_.get(), this);
  forgetSurface();
  gtk_window_destroy(window_.get());
}

// Some window managers let windows be minimized that do not offer it.
void SystemWindow::stateChanged(GdkToplevel* surface, GParamSpec*, SystemWindow* self) {
  if ((gdk_toplevel_get_state(surface) & GDK_TOPLEVEL_STATE_MINIMIZED) != 0) {
    gtk_window_unminimize(self->window_.get());
  }
}

gboolean SystemWindow::closeRequested(GtkWindow*, SystemWindow* self) {
  self->performClose();
  return TRUE;
}

void SystemWindow::realized(GtkWidget* window, SystemWindow* self) {
  if (self->isClosable_) return;
  // Until the window goes, and its surface with it; the handler goes earlier when this object does.
  GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(window));
  g_signal_connect(surface, "notify::state", G_CALLBACK(stateChanged), self);
  self->surface_ = ObjectReference<GdkSurface>(surface);
}

void SystemWindow::forgetSurface() {
  if (surface_) g_signal_handlers_disconnect_by_data(surface_.get(), this);
  surface_ = {};
}

void SystemWindow::mapped(GtkWidget* widget, SystemWindow* self) {
  auto* window = GTK_WINDOW(widget);
  offerFunctions(window, {self->isClosable_, gtk_window_get_resizable(window) != FALSE});
  keepAboveOtherWindows(window);
  showOnAllDesktops(window);
  if (std::exchange(self->isCenteringDue_, false)) moveToCenter(window);
}

}  // namespace pellam
