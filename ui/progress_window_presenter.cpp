#include "ui/progress_window_presenter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "foundation/text_format.h"
#include "localization/localized_text.h"
#include "text/unicode_text.h"
#include "ui/view_search.h"
#include "ui/window_layout.h"

namespace pellam {

namespace {

constexpr WindowSize contentSize{420, 132};

// The press of the action button. The action is copied first: it may update the window, which replaces it.
std::function<void(Button&)> pressing(std::function<void()> action) {
  return [action = std::move(action)](Button& button) {
    const std::function<void()> called = action;
    button.setEnabled(false);
    if (called) called();
  };
}

std::optional<std::string> trimmedName(const Bundle& bundle, const char* key) {
  const PropertyListText* name = bundle.informationDictionary.findString(key);
  const std::string_view trimmed = name == nullptr ? std::string_view() : text::trimmed(*name);
  return trimmed.empty() ? std::nullopt : std::optional<std::string>(trimmed);
}

}  // namespace

std::shared_ptr<Window> OrvoUpdateProgressWindowPresenter::showProgressWindow(
    const std::string& title, const std::optional<std::string>& windowTitle) {
  WindowDescription description;
  description.title = resolvedWindowTitle(windowTitle);
  description.contentSize = contentSize;
  std::shared_ptr<Window> window = toolkit_->makeWindow(description);
  if (const std::shared_ptr<View> contentView = window->contentView()) configureProgressContent(*contentView);
  updateProgressWindow(window, {title, std::nullopt, std::nullopt});
  window->center();
  window->makeKeyAndOrderFront();
  return window;
}

void OrvoUpdateProgressWindowPresenter::updateProgressWindow(const std::shared_ptr<Window>& window,
                                                             const OrvoUpdateProgressWindowState& state) {
  const std::shared_ptr<View> contentView = window ? window->contentView() : nullptr;
  if (!contentView) return;
  auto bar = orvoUpdateProgressDescendant<ProgressIndicator>(*contentView, progressIndicatorIdentifier);
  if (!bar) {
    configureProgressContent(*contentView);
    bar = orvoUpdateProgressDescendant<ProgressIndicator>(*contentView, progressIndicatorIdentifier);
  }
  if (const auto title = orvoUpdateProgressDescendant<Label>(*contentView, titleLabelIdentifier)) {
    title->setText(state.title);
  }
  if (const auto status = orvoUpdateProgressDescendant<Label>(*contentView, statusLabelIdentifier)) {
    const std::string text = state.statusText.value_or("");
    status->setText(text);
    status->setHidden(text.empty());
  }
  if (const auto button = orvoUpdateProgressDescendant<Button>(*contentView, actionButtonIdentifier)) {
    button->setActionHandler(pressing({}));
    button->setEnabled(false);
    button->setHidden(true);
  }
  if (!bar) return;
  if (state.progressFraction) {
    const double fraction = std::isnan(*state.progressFraction) ? 0 : *state.progressFraction;
    bar->stopAnimation();
    bar->setIndeterminate(false);
    bar->setValue(std::clamp(fraction, 0.0, 1.0));
  } else {
    bar->setIndeterminate(true);
    bar->setValue(0);
    bar->startAnimation();
  }
}

void OrvoUpdateProgressWindowPresenter::showReadyToInstallAndRelaunch(const std::shared_ptr<Window>& window,
                                                                      const std::string& title,
                                                                      const std::string& buttonTitle,
                                                                      std::function<void()> action) {
  updateProgressWindow(window, {title, std::nullopt, 1.0});
  const std::shared_ptr<View> contentView = window ? window->contentView() : nullptr;
  if (!contentView) return;
  const auto button = orvoUpdateProgressDescendant<Button>(*contentView, actionButtonIdentifier);
  if (!button) return;
  button->setTitle(buttonTitle);
  button->setActionHandler(pressing(std::move(action)));
  button->setHidden(false);
  button->setEnabled(true);
  button->sizeToFit();
}

void OrvoUpdateProgressWindowPresenter::configureProgressContent(View& contentView) {
  contentView.removeAllSubviews();
  ProgressContent content;
  content.layout = progressLayout;
  content.titleIdentifier = titleLabelIdentifier;
  content.statusIdentifier = statusLabelIdentifier;
  content.barIdentifier = progressIndicatorIdentifier;
  content.buttonIdentifier = actionButtonIdentifier;
  toolkit_->buildProgressContent(contentView, content);
}

std::optional<std::string> OrvoUpdateProgressWindowPresenter::hostApplicationName() const {
  const std::optional<Bundle> bundle = bundles_->bundleAt(bundles_->mainBundlePath());
  if (!bundle) return std::nullopt;
  if (auto name = trimmedName(*bundle, "CFBundleDisplayName")) return name;
  return trimmedName(*bundle, "CFBundleName");
}

std::string OrvoUpdateProgressWindowPresenter::resolvedWindowTitle(
    const std::optional<std::string>& windowTitle) const {
  std::string given(text::trimmed(windowTitle.value_or("")));
  if (!given.empty()) return given;
  const std::filesystem::path mainBundle = bundles_->mainBundlePath();
  if (const std::optional<std::string> name = hostApplicationName()) {
    return formatText(localized(*bundles_, mainBundle, localized_texts::applicationUpdate), {*name});
  }
  return localized(*bundles_, mainBundle, localized_texts::softwareUpdate);
}

}  // namespace pellam
