#include "platform/sample/application.h"

#include <atomic>
#include <utility>

#include "platform/linux/ui/alert_window.h"
#include "platform/linux/ui/display_connection.h"
#include "platform/linux/ui/gtk_object.h"

namespace pellam {

namespace {

constexpr const char* actionKey = "pellam-menu-action";

void menuItemActivated(GSimpleAction* action, GVariant*, gpointer) {
  runGuarded([&] {
    const std::function<void()> work = *attachedValue<std::function<void()>>(action, actionKey);
    if (work) work();
  });
}

class WindowedApplication final : public Application {
 public:
  WindowedApplication() { allowAlerts(); }
  ~WindowedApplication() override {
    if (!window_) return;
    g_signal_handlers_disconnect_by_data(window_.get(), this);
    gtk_window_destroy(window_.get());
  }

  void showDocumentWindow(const std::string& title, const std::string& text, const std::string& menuTitle,
                          std::vector<ApplicationMenuItem> menu) override {
    window_ = ObjectReference<GtkWindow>(GTK_WINDOW(gtk_window_new()));
    GtkWindow* window = window_.get();
    gtk_window_set_title(window, displayableLine(title).c_str());
    gtk_window_set_default_size(window, 640, 440);
    GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(content), makeMenuBar(menuTitle, std::move(menu)));
    gtk_box_append(GTK_BOX(content), makeDocument(title, text));
    gtk_window_set_child(window, content);
    g_signal_connect(window, "close-request", G_CALLBACK(+[](GtkWindow*, WindowedApplication* self) {
                       end(*self->isStopping_);
                       return TRUE;
                     }),
                     this);
    gtk_window_present(window);
  }

  void run() override {
    g_main_context_acquire(nullptr);
    while (!*isStopping_) g_main_context_iteration(nullptr, TRUE);
    g_main_context_release(nullptr);
  }

  void stop() override {
    // On the main thread, in its turn: an open alert has a loop of its own, which has to end first.
    makeSystemMainThread()->perform([isStopping = isStopping_] { end(*isStopping); });
  }

 private:
  static void end(std::atomic<bool>& isStopping) {
    isStopping = true;
    closeOpenAlerts();
  }

  GtkWidget* makeMenuBar(const std::string& menuTitle, std::vector<ApplicationMenuItem> items) {
    const auto actions = ObjectReference<GSimpleActionGroup>::adopt(g_simple_action_group_new());
    const auto menu = ObjectReference<GMenu>::adopt(g_menu_new());
    for (std::size_t at = 0; at < items.size(); ++at) {
      const std::string name = "item" + std::to_string(at);
      const auto action = ObjectReference<GSimpleAction>::adopt(g_simple_action_new(name.c_str(), nullptr));
      attachValue(action.get(), actionKey, std::move(items[at].action));
      g_signal_connect(action.get(), "activate", G_CALLBACK(menuItemActivated), nullptr);
      g_action_map_add_action(G_ACTION_MAP(actions.get()), G_ACTION(action.get()));
      g_menu_append(menu.get(), displayableLine(items[at].title).c_str(), ("menu." + name).c_str());
    }
    gtk_widget_insert_action_group(GTK_WIDGET(window_.get()), "menu", G_ACTION_GROUP(actions.get()));
    const auto bar = ObjectReference<GMenu>::adopt(g_menu_new());
    g_menu_append_submenu(bar.get(), displayableLine(menuTitle).c_str(), G_MENU_MODEL(menu.get()));
    return gtk_popover_menu_bar_new_from_model(G_MENU_MODEL(bar.get()));
  }

  static GtkWidget* makeDocument(const std::string& title, const std::string& text) {
    GtkWidget* view = gtk_text_view_new();
    gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(view), GTK_WRAP_WORD_CHAR);
    for (auto setMargin : {gtk_text_view_set_left_margin, gtk_text_view_set_right_margin,
                           gtk_text_view_set_top_margin, gtk_text_view_set_bottom_margin}) {
      setMargin(GTK_TEXT_VIEW(view), 12);
    }
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(view)), displayableText(text).c_str(),
                             -1);
    gtk_accessible_update_property(GTK_ACCESSIBLE(view), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   displayableLine(title).c_str(), -1);
    GtkWidget* scroller = gtk_scrolled_window_new();
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), view);
    gtk_widget_set_vexpand(scroller, TRUE);
    return scroller;
  }

  ObjectReference<GtkWindow> window_;
  // Shared with what stop() has left for the main thread to do.
  std::shared_ptr<std::atomic<bool>> isStopping_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

std::unique_ptr<Application> makeSystemApplication(const std::string& identifier, const std::string& name) {
  g_set_prgname(identifier.c_str());
  g_set_application_name(displayableLine(name).c_str());
  connectToDisplay();
  return std::make_unique<WindowedApplication>();
}

}  // namespace pellam
