#include "platform/window_toolkit.h"

#include <optional>
#include <utility>

#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/linux/ui/alert_window.h"
#include "platform/linux/ui/display_connection.h"
#include "platform/linux/ui/release_notes_view.h"
#include "platform/linux/ui/system_window.h"
#include "platform/linux/ui/system_window_toolkit.h"
#include "platform/linux/ui/view_handles.h"
#include "platform/linux/ui/window_contents.h"
#include "platform/linux/ui/window_manager_hints.h"

namespace pellam {

namespace {

class SystemWindowToolkit final : public WindowToolkit {
 public:
  SystemWindowToolkit(std::filesystem::path resources, std::function<bool()> isWebContentConfined)
      : resources_(std::move(resources)), isWebContentConfined_(std::move(isWebContentConfined)) {}

  [[nodiscard]] std::shared_ptr<Window> makeWindow(const WindowDescription& description) override {
    return std::make_shared<SystemWindow>(description, floatingWindows_);
  }

  void buildPromptContent(View& contentView, UpdatePromptContent content) override {
    GtkWidget* widget = widgetOf(contentView);
    if (widget == nullptr || gtk_widget_get_root(widget) == nullptr) return;
    if (!isWebContentAllowed_) isWebContentAllowed_ = isWebContentConfined_();
    fillWithPrompt(widget, content, resources_, *isWebContentAllowed_);
  }

  void buildProgressContent(View& contentView, const ProgressContent& content) override {
    if (GtkWidget* widget = widgetOf(contentView)) fillWithProgress(widget, content);
  }

  [[nodiscard]] AlertAnswer runModal(const AlertDescription& alert) override { return runAlert(alert); }

  void requestUserAttention() override {
    GListModel* windows = gtk_window_get_toplevels();
    GtkWindow* candidate = nullptr;
    for (guint at = 0; at < g_list_model_get_n_items(windows); ++at) {
      auto* window = GTK_WINDOW(g_list_model_get_item(windows, at));
      g_object_unref(window);
      // Who is looking at the application already has seen it.
      if (gtk_window_is_active(window) != FALSE) return;
      if (gtk_widget_get_mapped(GTK_WIDGET(window)) != FALSE) candidate = window;
    }
    if (candidate != nullptr) demandAttention(candidate);
  }

 private:
  std::filesystem::path resources_;
  std::function<bool()> isWebContentConfined_;
  std::optional<bool> isWebContentAllowed_;
  // Shared with the windows, which may stay longer.
  std::shared_ptr<FloatingWindows> floatingWindows_ = std::make_shared<FloatingWindows>();
};

}  // namespace

std::shared_ptr<WindowToolkit> makeWindowToolkit(std::filesystem::path resources,
                                                 std::function<bool()> isWebContentConfined) {
  connectToDisplay();
  return std::make_shared<SystemWindowToolkit>(std::move(resources), std::move(isWebContentConfined));
}

std::shared_ptr<WindowToolkit> makeSystemWindowToolkit(const BundleLoading& bundles,
                                                       std::shared_ptr<ChildProcessRunning> childProcesses) {
  return makeWindowToolkit(
      bundles.mainBundlePath() / "Contents" / "Resources",
      [children = std::move(childProcesses)] { return canConfineWebContent(*children); });
}

}  // namespace pellam
