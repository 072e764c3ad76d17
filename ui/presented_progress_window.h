#pragma once

#include <memory>

#include "pellam/progress_window.h"
#include "ui/progress_window_presenter.h"

namespace pellam {

// A window of the presenter, as an installation uses it. Every operation runs on the main thread; after
// close() they all do nothing, and the last reference may then be dropped on any thread.
class PresentedProgressWindow final : public OrvoUpdateProgressWindow {
 public:
  // Shows the window with that title line.
  PresentedProgressWindow(std::shared_ptr<WindowToolkit> toolkit, std::shared_ptr<BundleLoading> bundles,
                          const std::string& title);

  void update(const OrvoUpdateProgressWindowState& state) override;
  void showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                     std::function<void()> action) override;
  void requestUserAttention() override;
  void close() override;

  void bringToFront();

 private:
  std::shared_ptr<WindowToolkit> toolkit_;
  OrvoUpdateProgressWindowPresenter presenter_;
  std::shared_ptr<Window> window_;  // null once closed
};

}  // namespace pellam
