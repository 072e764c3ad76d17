#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "localization/localized_text.h"
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

  // `localizationBundle` is the bundle whose tables have the texts.
  ProgressDisplay(std::shared_ptr<MainThread> mainThread, std::shared_ptr<BundleLoading> bundles,
                  std::filesystem::path localizationBundle);

  // Returns when it is shown. Without a fraction the bar tells that something goes on.
  void show(const Window& window, const LocalizedText& title,
            const std::optional<LocalizedText>& statusText = std::nullopt,
            std::optional<double> progressFraction = std::nullopt) const;
  // In English where the bundle's table lacks the text. Reads the disk.
  [[nodiscard]] std::string localized(const LocalizedText& text) const;

  [[nodiscard]] const std::shared_ptr<MainThread>& mainThread() const { return mainThread_; }

 private:
  std::shared_ptr<MainThread> mainThread_;
  std::shared_ptr<BundleLoading> bundles_;
  std::filesystem::path localizationBundle_;
};

}  // namespace pellam
