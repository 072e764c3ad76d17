#include "platform/linux/ui/floating_windows.h"

#include <optional>
#include <vector>

#include "platform/linux/ui/gtk_object.h"
#include "platform/linux/ui/window_manager_hints.h"

namespace pellam {

namespace {

constexpr const char* floatingKey = "pellam-floating";
// Between two windows of one application the focus is nowhere for a moment.
constexpr guint settlingMilliseconds = 150;

struct Floating {
  bool isHiddenByUs = false;
  std::optional<WindowPosition> position;
};

std::vector<GtkWindow*> allWindows() {
  std::vector<GtkWindow*> windows;
  GListModel* model = gtk_window_get_toplevels();
  for (guint at = 0; at < g_list_model_get_n_items(model); ++at) {
    auto* window = GTK_WINDOW(g_list_model_get_item(model, at));
    windows.push_back(window);
    g_object_unref(window);  // the list keeps it
  }
  return windows;
}

bool isAnyActive() {
  for (GtkWindow* window : allWindows()) {
    if (gtk_window_is_active(window) != FALSE) return true;
  }
  return false;
}

}  // namespace

FloatingWindows::FloatingWindows() {
  for (GtkWindow* window : allWindows()) watch(window);
  g_signal_connect(gtk_window_get_toplevels(), "items-changed", G_CALLBACK(watchNewWindows), this);
}

FloatingWindows::~FloatingWindows() {
  if (settling_ != 0) g_source_remove(settling_);
  g_signal_handlers_disconnect_by_data(gtk_window_get_toplevels(), this);
  for (GtkWindow* window : allWindows()) g_signal_handlers_disconnect_by_data(window, this);
}

void FloatingWindows::add(GtkWindow* window) { attachValue(window, floatingKey, Floating{}); }

void FloatingWindows::watch(GtkWindow* window) {
  g_signal_connect(window, "notify::is-active", G_CALLBACK(activityChanged), this);
}

void FloatingWindows::watchNewWindows(GListModel* windows, guint position, guint, guint added,
                                      FloatingWindows* self) {
  for (guint at = position; at < position + added; ++at) {
    auto* window = GTK_WINDOW(g_list_model_get_item(windows, at));
    self->watch(window);
    g_object_unref(window);
  }
}

bool FloatingWindows::isApplicationActive() const {
  constexpr gint64 moment = 1'000'000;
  return isAnyActive() || g_get_monotonic_time() - lastActive_ < moment;
}

void FloatingWindows::activityChanged(GtkWindow*, GParamSpec*, FloatingWindows* self) {
  self->lastActive_ = g_get_monotonic_time();
  if (isAnyActive()) {
    self->showAll();
  } else if (self->settling_ == 0) {
    self->settling_ = g_timeout_add(settlingMilliseconds, settle, self);
  }
}

gboolean FloatingWindows::settle(gpointer data) {
  auto* self = static_cast<FloatingWindows*>(data);
  self->settling_ = 0;
  if (!isAnyActive()) self->hideAll();
  return G_SOURCE_REMOVE;
}

void FloatingWindows::hideAll() {
  std::vector<GtkWindow*> floating;
  bool isAnotherVisible = false;
  for (GtkWindow* window : allWindows()) {
    if (gtk_widget_get_mapped(GTK_WIDGET(window)) == FALSE) continue;
    if (attachedValue<Floating>(window, floatingKey) != nullptr) {
      floating.push_back(window);
    } else {
      isAnotherVisible = true;
    }
  }
  if (!isAnotherVisible) return;
  for (GtkWindow* window : floating) {
    auto* state = attachedValue<Floating>(window, floatingKey);
    state->isHiddenByUs = true;
    state->position = positionOnScreen(window);
    gtk_widget_set_visible(GTK_WIDGET(window), FALSE);
  }
}

void FloatingWindows::showAll() {
  for (GtkWindow* window : allWindows()) {
    auto* state = attachedValue<Floating>(window, floatingKey);
    if (state == nullptr || !state->isHiddenByUs) continue;
    state->isHiddenByUs = false;
    gtk_widget_set_visible(GTK_WIDGET(window), TRUE);
    if (state->position) moveTo(window, *state->position);
  }
}

}  // namespace pellam
