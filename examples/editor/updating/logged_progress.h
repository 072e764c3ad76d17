#pragma once

#include <functional>
#include <string>
#include <utility>

#include "pellam/launch_progress.h"
#include "pellam/progress_window.h"

namespace pellam {

// Takes one line for each thing that happens; called from any thread.
using LineLog = std::function<void(const std::string&)>;

// The sample has no windows: its progress goes to the log, and it agrees to the installation at once.
class LoggedProgress final : public OrvoUpdateProgressWindow {
 public:
  explicit LoggedProgress(LineLog log) : log_(std::move(log)) {}
  void update(const OrvoUpdateProgressWindowState& state) override;
  void showReadyToInstallAndRelaunch(const std::string& title, const std::string& buttonTitle,
                                     std::function<void()> action) override;
  void requestUserAttention() override {}
  void close() override;

 private:
  LineLog log_;
  std::string lastTitle_;
};

// One line for a step of the hand-off.
[[nodiscard]] std::string launchText(const OrvoAppBundleInstallerLaunchProgress& progress);

}  // namespace pellam
