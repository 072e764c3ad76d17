#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "pellam/progress_window.h"
#include "platform/bundle_loading.h"
#include "platform/window_toolkit.h"

namespace pellam {

// Creates and updates the small window in which an installation shows what it is doing. Keeps nothing about
// a window: its views are found again at each update by their identifiers, so that whoever holds the window
// can update it, and content that other code has replaced is built again. A null or closed window is
// ignored. Main thread only.
class OrvoUpdateProgressWindowPresenter {
 public:
  static constexpr const char* titleLabelIdentifier = "OrvoUpdateProgressWindowPresenter.titleLabel";
  static constexpr const char* statusLabelIdentifier = "OrvoUpdateProgressWindowPresenter.statusLabel";
  static constexpr const char* progressIndicatorIdentifier =
      "OrvoUpdateProgressWindowPresenter.progressIndicator";
  static constexpr const char* actionButtonIdentifier = "OrvoUpdateProgressWindowPresenter.actionButton";

  OrvoUpdateProgressWindowPresenter(std::shared_ptr<WindowToolkit> toolkit,
                                    std::shared_ptr<BundleLoading> bundles)
      : toolkit_(std::move(toolkit)), bundles_(std::move(bundles)) {}

  // Creates, fills and shows a window that the user cannot close. The title is shown as it is.
  [[nodiscard]] std::shared_ptr<Window> showProgressWindow(const std::string& title,
                                                           const std::optional<std::string>& windowTitle);
  // Withdraws a button that was offered before.
  void updateProgressWindow(const std::shared_ptr<Window>& window,
                            const OrvoUpdateProgressWindowState& state);
  // Shows the title over a full bar and offers the button. A press disables it and then calls the action, so
  // that no second press can come.
  void showReadyToInstallAndRelaunch(const std::shared_ptr<Window>& window, const std::string& title,
                                     const std::string& buttonTitle, std::function<void()> action);
  void hideProgressWindow(Window& window) { window.close(); }

  // Replaces whatever the content view holds.
  void configureProgressContent(View& contentView);
  // The main bundle's display name, else its name; nothing when both are missing or blank.
  [[nodiscard]] std::optional<std::string> hostApplicationName() const;
  // The given title without blanks around it; without one, a title made from the host's name.
  [[nodiscard]] std::string resolvedWindowTitle(const std::optional<std::string>& windowTitle) const;

 private:
  std::shared_ptr<WindowToolkit> toolkit_;
  std::shared_ptr<BundleLoading> bundles_;
};

}  // namespace pellam
