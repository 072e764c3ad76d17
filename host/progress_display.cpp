#include "host/progress_display.h"

#include <utility>

namespace pellam {

ProgressDisplay::ProgressDisplay(std::shared_ptr<MainThread> mainThread,
                                 std::shared_ptr<BundleLoading> bundles,
                                 std::filesystem::path localizationBundle)
    : mainThread_(std::move(mainThread)),
      bundles_(std::move(bundles)),
      localizationBundle_(std::move(localizationBundle)) {}

void ProgressDisplay::show(const Window& window, OrvoUpdateProgressWindowState state) const {
  if (!window) return;
  state.title = localized(state.title);
  if (state.statusText) state.statusText = localized(*state.statusText);
  mainThread_->performAndWait([&] { window->update(state); });
}

std::string ProgressDisplay::localized(const std::string& text) const {
  return bundles_->localizedString(localizationBundle_, text, "Updates", text);
}

}  // namespace pellam
