#include "platform/linux/ui/alert_window.h"

#include <glib/gi18n.h>

#include <algorithm>
#include <utility>

#include "platform/linux/ui/gtk_object.h"
#include "platform/linux/ui/system_window.h"
#include "platform/linux/ui/view_handles.h"
#include "platform/linux/ui/window_manager_hints.h"

namespace pellam {

namespace {

constexpr const char* alertKey = "pellam-alert";
constexpr int margin = 20;
constexpr int iconSize = 48;
constexpr int textSpacing = 10;
constexpr int buttonSpacing = 12;
constexpr int textWidth = 44;  // characters
constexpr int smallestTextWidth = 300;

class Alert {
 public:
  explicit Alert(const AlertDescription& description);
  Alert(const Alert&) = delete;
  Alert& operator=(const Alert&) = delete;
  ~Alert();

  AlertAnswer run();
  void press(std::size_t button);
  void pressLast() { press(lastButton_); }

 private:
  static gboolean closeRequested(GtkWindow*, Alert* self) {
    self->pressLast();
    return TRUE;
  }
  static gboolean keyPressed(GtkEventControllerKey*, guint key, guint, GdkModifierType, Alert* self) {
    if (key != GDK_KEY_Escape) return FALSE;
    self->pressLast();
    return TRUE;
  }
  static void mapped(GtkWidget* widget, gpointer) {
    offerFunctions(GTK_WINDOW(widget), {true, false});
    keepAboveOtherWindows(GTK_WINDOW(widget));
    if (gtk_window_get_transient_for(GTK_WINDOW(widget)) == nullptr) moveToCenter(GTK_WINDOW(widget));
  }
  GtkWidget* makeTexts(const AlertDescription& description);
  GtkWidget* makeButtons(std::vector<std::string> titles);

  ObjectReference<GtkWindow> window_;
  GMainLoop* loop_;
  GtkWidget* defaultButton_ = nullptr;  // the window's, as the next one
  GtkWidget* checkbox_ = nullptr;
  std::size_t lastButton_ = 0;
  std::optional<std::size_t> pressed_;
};

// The toolkit's own word, in the user's language.
std::string systemButtonTitle() {
  std::string title = g_dgettext("gtk40", "_OK");
  title.erase(std::remove(title.begin(), title.end(), '_'), title.end());
  return title;
}

// The window in front of which the alert belongs.
GtkWindow* frontWindow() {
  GtkWindow* front = nullptr;
  GListModel* windows = gtk_window_get_toplevels();
  for (guint at = 0; at < g_list_model_get_n_items(windows); ++at) {
    auto* window = GTK_WINDOW(g_list_model_get_item(windows, at));
    g_object_unref(window);
    if (gtk_widget_get_mapped(GTK_WIDGET(window)) == FALSE) continue;
    if (front == nullptr || gtk_window_is_active(window) != FALSE) front = window;
  }
  return front;
}

GtkWidget* makeIcon(AlertStyle style) {
  GtkWidget* icon =
      gtk_image_new_from_icon_name(style == AlertStyle::warning ? "dialog-warning" : "dialog-information");
  gtk_image_set_pixel_size(GTK_IMAGE(icon), iconSize);
  gtk_widget_set_valign(icon, GTK_ALIGN_START);
  gtk_accessible_update_state(GTK_ACCESSIBLE(icon), GTK_ACCESSIBLE_STATE_HIDDEN, TRUE, -1);
  return icon;
}

Alert::Alert(const AlertDescription& description)
    : window_(GTK_WINDOW(
          g_object_new(GTK_TYPE_WINDOW, "accessible-role", GTK_ACCESSIBLE_ROLE_ALERT_DIALOG, nullptr))),
      loop_(g_main_loop_new(nullptr, FALSE)) {
  GtkWindow* window = window_.get();
  const char* application = g_get_application_name();
  gtk_window_set_title(window, application == nullptr ? "" : application);
  gtk_window_set_modal(window, TRUE);
  gtk_window_set_resizable(window, FALSE);
  gtk_window_set_transient_for(window, frontWindow());
  gtk_accessible_update_property(
      GTK_ACCESSIBLE(window), GTK_ACCESSIBLE_PROPERTY_LABEL, displayableLine(description.messageText).c_str(),
      GTK_ACCESSIBLE_PROPERTY_DESCRIPTION, displayableLine(description.informativeText).c_str(), -1);

  GtkWidget* upper = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, margin);
  gtk_box_append(GTK_BOX(upper), makeIcon(description.style));
  gtk_box_append(GTK_BOX(upper), makeTexts(description));
  GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, margin);
  gtk_widget_set_margin_top(content, margin);
  gtk_widget_set_margin_bottom(content, margin);
  gtk_widget_set_margin_start(content, margin);
  gtk_widget_set_margin_end(content, margin);
  gtk_box_append(GTK_BOX(content), upper);
  gtk_window_set_child(window, content);
  gtk_box_append(GTK_BOX(content), makeButtons(description.buttonTitles));

  GtkEventController* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  g_signal_connect(keys, "key-pressed", G_CALLBACK(keyPressed), this);
  gtk_widget_add_controller(GTK_WIDGET(window), keys);
  answerReturnWithDefaultButton(window);
  g_signal_connect(window, "close-request", G_CALLBACK(closeRequested), this);
  g_signal_connect(window, "map", G_CALLBACK(mapped), nullptr);
  g_object_set_data(G_OBJECT(window), alertKey, this);
}

Alert::~Alert() {
  g_object_set_data(G_OBJECT(window_.get()), alertKey, nullptr);
  g_signal_handlers_disconnect_by_data(window_.get(), this);
  gtk_window_destroy(window_.get());
  g_main_loop_unref(loop_);
}

GtkWidget* Alert::makeTexts(const AlertDescription& description) {
  GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, textSpacing);
  gtk_widget_set_hexpand(texts, TRUE);
  gtk_widget_set_size_request(texts, smallestTextWidth, -1);
  gtk_box_append(GTK_BOX(texts), makeParagraph(description.messageText, "pellam-message", textWidth));
  if (!description.informativeText.empty()) {
    gtk_box_append(GTK_BOX(texts),
                   makeParagraph(description.informativeText, "pellam-informative", textWidth));
  }
  if (description.suppressionCheckbox) {
    checkbox_ =
        gtk_check_button_new_with_label(displayableLine(description.suppressionCheckbox->title).c_str());
    gtk_check_button_set_active(GTK_CHECK_BUTTON(checkbox_),
                                description.suppressionCheckbox->isOn ? TRUE : FALSE);
    gtk_box_append(GTK_BOX(texts), checkbox_);
  }
  return texts;
}

GtkWidget* Alert::makeButtons(std::vector<std::string> titles) {
  if (titles.empty()) titles.push_back(systemButtonTitle());
  lastButton_ = titles.size() - 1;
  GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, buttonSpacing);
  gtk_widget_set_halign(row, GTK_ALIGN_END);
  for (std::size_t at = 0; at < titles.size(); ++at) {
    GtkWidget* button = makePushButton(titles[at], [this, at] { press(at); });
    gtk_box_prepend(GTK_BOX(row), button);
    if (at == 0) defaultButton_ = button;
  }
  return row;
}

void Alert::press(std::size_t button) {
  if (!pressed_) pressed_ = button;
  g_main_loop_quit(loop_);
}

AlertAnswer Alert::run() {
  // The texts and the checkbox would take the focus otherwise, and Return with it.
  makeDefaultButton(defaultButton_);
  gtk_window_present(window_.get());
  if (!pressed_) g_main_loop_run(loop_);
  AlertAnswer answer{pressed_.value_or(lastButton_), std::nullopt};
  if (checkbox_ != nullptr) {
    answer.suppressionIsOn = gtk_check_button_get_active(GTK_CHECK_BUTTON(checkbox_)) != FALSE;
  }
  return answer;
}

// An application that ends opens no further alerts. Main thread only.
bool areAlertsEnding = false;

}  // namespace

AlertAnswer runAlert(const AlertDescription& description) {
  if (!areAlertsEnding) return Alert(description).run();
  AlertAnswer last;
  last.buttonIndex = description.buttonTitles.empty() ? 0 : description.buttonTitles.size() - 1;
  if (description.suppressionCheckbox) last.suppressionIsOn = description.suppressionCheckbox->isOn;
  return last;
}

void allowAlerts() { areAlertsEnding = false; }

void closeOpenAlerts() {
  areAlertsEnding = true;
  GListModel* windows = gtk_window_get_toplevels();
  for (guint at = g_list_model_get_n_items(windows); at-- > 0;) {
    auto* window = G_OBJECT(g_list_model_get_item(windows, at));
    if (auto* alert = static_cast<Alert*>(g_object_get_data(window, alertKey))) alert->pressLast();
    g_object_unref(window);
  }
}

}  // namespace pellam
