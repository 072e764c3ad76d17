#include "host/progress_display.h"

#include <utility>

namespace pellam {

ProgressDisplay::ProgressDisplay(std::shared_ptr<MainThread> mainThread,
                                 std::shared_ptr<BundleLoading> bundles,
                                 std::filesystem::path localizationBundle)
    : mainThread_(std::move(mainThread)),
      bundles_(std::move(bundles)),
      localizationBundle_(std::move(localizationBundle)) {}

void ProgressDisplay::show(const Window& window, const LocalizedText& title,
                           const std::optional<LocalizedText>& statusText,
                           std::optional<double> progressFraction) const {
  if (!window) return;
  OrvoUpdateProgressWindowState state{localized(title), std::nullopt, progressFraction};
  if (statusText) state.statusText = localized(*statusText);
  mainThread_->performAndWait([&] { window->update(state); });
}

std::string ProgressDisplay::localized(const LocalizedText& text) const {
  return pellam::localized(*bundles_, localizationBundle_, text);
}

}  // namespace pellam
