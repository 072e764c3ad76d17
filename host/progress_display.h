#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "pellam/main_thread.h"
#include "pellam/progress_window.h"
#include "platform/bundle_loading.h"

namespace pellam {

// The progress window as the steps of an installation reach it: texts in the user's language, on the main
// thread. Everything may be called from any thread; a window that is absent shows nothing. A value that
// shares its collaborators.
class ProgressDisplay {
 public:
  using Window = std::shared_ptr<OrvoUpdateProgressWindow>;

  // `localizationBundle` is the bundle whose "Updates" table has the texts.
  ProgressDisplay(std::shared_ptr<MainThread> mainThread, std::shared_ptr<BundleLoading> bundles,
                  std::filesystem::path localizationBundle);

  // Shows the state, whose texts are given in English, and returns when it is shown.
  void show(const Window& window, OrvoUpdateProgressWindowState state) const;
  // The text itself where the table lacks it. Reads the disk.
  [[nodiscard]] std::string localized(const std::string& text) const;

  [[nodiscard]] const std::shared_ptr<MainThread>& mainThread() const { return mainThread_; }

 private:
  std::shared_ptr<MainThread> mainThread_;
  std::shared_ptr<BundleLoading> bundles_;
  std::filesystem::path localizationBundle_;
};

}  // namespace pellam
