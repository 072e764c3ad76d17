#pragma once

#include <functional>
#include <string>

#include "pellam/progress_window.h"
#include "tools/pellam_update/update_reporter.h"

namespace pellam {

// The coordinator's progress window for a program without windows: states go to the reporter, and the button
// is pressed at once, because the user agreed beforehand.
class ConsoleProgressWindow final : public OrvoUpdateProgressWindow {
 public:
  explicit ConsoleProgressWindow(UpdateReporter& reporter) : reporter_(reporter) {}
  void update(const OrvoUpdateProgressWindowState& state) override { reporter_.progress(state); }
  void showReadyToInstallAndRelaunch(const std::string& title, const std::string& /*buttonTitle*/,
                                     std::function<void()> action) override {
    reporter_.progress({title, std::nullopt, 1.0});
    action();
  }
  void requestUserAttention() override {}
  void close() override {}

 private:
  UpdateReporter& reporter_;
};

}  // namespace pellam
