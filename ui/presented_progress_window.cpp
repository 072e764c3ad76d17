#include "ui/presented_progress_window.h"

#include <utility>

namespace pellam {

PresentedProgressWindow::PresentedProgressWindow(std::shared_ptr<WindowToolkit> toolkit,
                                                 std::shared_ptr<BundleLoading> bundles,
                                                 const std::string& title)
    : toolkit_(std::move(toolkit)),
      presenter_(toolkit_, std::move(bundles)),
      window_(presenter_.showProgressWindow(title, std::nullopt)) {}

void PresentedProgressWindow::update(const OrvoUpdateProgressWindowState& state) {
  presenter_.updateProgressWindow(window_, state);
}

void PresentedProgressWindow::showReadyToInstallAndRelaunch(const std::string& title,
                                                            const std::string& buttonTitle,
                                                            std::function<void()> action) {
  presenter_.showReadyToInstallAndRelaunch(window_, title, buttonTitle, std::move(action));
}

void PresentedProgressWindow::requestUserAttention() {
  if (window_) toolkit_->requestUserAttention();
}

void PresentedProgressWindow::close() {
  // Taken first: closing may run code that looks at this window.
  if (const std::shared_ptr<Window> window = std::exchange(window_, nullptr)) {
    presenter_.hideProgressWindow(*window);
  }
}

void PresentedProgressWindow::bringToFront() {
  if (window_) window_->makeKeyAndOrderFront();
}

}  // namespace pellam
