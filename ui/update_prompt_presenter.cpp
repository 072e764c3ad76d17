#include "ui/update_prompt_presenter.h"

#include <algorithm>
#include <utility>

#include "feed/offer_kind.h"
#include "foundation/decimal.h"
#include "foundation/text_format.h"
#include "pellam/feed_entry.h"
#include "pellam/feed_keys.h"
#include "text/unicode_text.h"
#include "ui/prompt_window_size.h"
#include "ui/window_layout.h"

namespace pellam {

namespace {

// A title bar has one line; whatever would break it or steer it becomes a space.
std::string onOneLine(const std::string& title) {
  std::string line;
  for (std::size_t offset = 0; offset < title.size();) {
    const std::size_t start = offset;
    const char32_t scalar = text::nextScalar(title, offset);
    const bool breaksLine =
        scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0) || scalar == 0x2028 || scalar == 0x2029;
    const bool steersDirection =
        (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
    if (breaksLine || steersDirection) {
      line += ' ';
    } else {
      line.append(title, start, offset - start);
    }
  }
  return line;
}

}  // namespace

OrvoUpdatePromptPresenter::OrvoUpdatePromptPresenter(std::shared_ptr<WindowToolkit> toolkit,
                                                     std::shared_ptr<BundleLoading> bundles,
                                                     std::shared_ptr<Workspace> workspace)
    : toolkit_(std::move(toolkit)),
      bundles_(std::move(bundles)),
      workspace_(std::move(workspace)),
      self_(std::make_shared<OrvoUpdatePromptPresenter*>(this)) {}

// Whoever is in the middle of a call finds the pointer empty.
OrvoUpdatePromptPresenter::~OrvoUpdatePromptPresenter() { *self_ = nullptr; }

bool OrvoUpdatePromptPresenter::presentUpdatePrompt(const OrvoUpdatePromptInput& input,
                                                    ActionHandler onAction) {
  if (promptWindow_) {
    if (!input.isManualCheck) return false;
    dismissPrompt();
  }
  const std::string urlString = feedText(input.feed, OrvoUpdateFeedKeys::url);
  if (urlString.empty()) return false;
  if (!isUpdateEntry(input.feed)) return false;

  WindowDescription description;
  description.title = onOneLine(promptWindowTitle(input));
  description.contentSize =
      resolvedWindowSize(input.feed, input.defaultWindowWidth, input.defaultWindowHeight);
  description.minimumSize = description.contentSize;
  description.isClosable = true;
  description.isResizable = true;
  const std::shared_ptr<Window> window = toolkit_->makeWindow(description);
  window->setWillCloseHandler(
      [weak = std::weak_ptr(self_), closing = static_cast<const Window*>(window.get())] {
        if (const auto self = weak.lock(); self && *self) (*self)->windowWillClose(closing);
      });
  if (const std::shared_ptr<View> contentView = window->contentView()) {
    configurePromptContent(*contentView, input, urlString);
  }

  actionHandler_ = std::move(onAction);
  displayedFeed_ = input.feed;
  shouldRemindOnWindowClose_ = true;
  promptWindow_ = window;
  window->center();
  window->makeKeyAndOrderFront();
  return true;
}

void OrvoUpdatePromptPresenter::dismissPrompt() {
  if (!promptWindow_) return;
  shouldRemindOnWindowClose_ = false;
  const std::shared_ptr<Window> window = promptWindow_;
  window->performClose();
  // A prompt that is being closed already, by the answer that led here, does not close twice.
  windowWillClose(window.get());
}

UpdatePromptButton OrvoUpdatePromptPresenter::button(const OrvoUpdatePromptInput& input,
                                                     const LocalizedText& title, const char* identifier,
                                                     void (OrvoUpdatePromptPresenter::*action)()) {
  UpdatePromptButton button;
  button.title = text(input, title);
  button.accessibilityIdentifier = identifier;
  button.action = [weak = std::weak_ptr(self_), action] {
    if (const auto self = weak.lock(); self && *self) ((*self)->*action)();
  };
  return button;
}

void OrvoUpdatePromptPresenter::configurePromptContent(View& contentView, const OrvoUpdatePromptInput& input,
                                                       const std::string& urlString) {
  using Presenter = OrvoUpdatePromptPresenter;
  constexpr const char* dismissIdentifier = "OrvoUpdatePromptPresenter.dismissButton";
  const bool offersInstall = input.allowInstallAction && offerKind(input.feed) != OfferKind::none;
  const UpdatePromptButton remind =
      button(input, localized_texts::remindMeLater, "OrvoUpdatePromptPresenter.remindLaterButton",
             &Presenter::remindLaterButtonPressed);

  UpdatePromptContent content;
  content.layout = promptLayout;
  if (offersInstall) {
    content.buttons = {
        button(input, localized_texts::installUpdate, "OrvoUpdatePromptPresenter.installButton",
               &Presenter::installButtonPressed),
        remind,
        button(input, localized_texts::skipThisUpdate, dismissIdentifier, &Presenter::dismissButtonPressed)};
    // By design this variant offers only installing and reminding.
    content.buttons.back().isHidden = true;
  } else {
    content.buttons = {
        button(input, localized_texts::dismissOK, dismissIdentifier, &Presenter::dismissButtonPressed),
        remind};
  }
  content.buttons.front().isDefault = true;

  content.logoImageName = input.applicationLogoImageName;
  content.headline = topTitleString(input);
  content.sentence = secondaryTitleString(input);
  content.caption = text(input, localized_texts::releaseNotes);
  content.releaseNotes = URL::parse(urlString);
  content.releaseNotesLinkTitle = text(input, localized_texts::showReleaseNotes);
  content.decidePolicy = [weak = std::weak_ptr(self_)](const NavigationAction& action) {
    const auto self = weak.lock();
    return self && *self ? (*self)->decidePolicy(action) : NavigationPolicy::cancel;
  };
  toolkit_->buildPromptContent(contentView, std::move(content));
}

void OrvoUpdatePromptPresenter::installButtonPressed() {
  shouldRemindOnWindowClose_ = false;
  if (!displayedFeed_) return;
  answer(OrvoUpdatePromptAction::install(*displayedFeed_));
}

void OrvoUpdatePromptPresenter::remindLaterButtonPressed() {
  const PropertyListText* type =
      displayedFeed_ ? displayedFeed_->findString(OrvoUpdateFeedKeys::type) : nullptr;
  answer(OrvoUpdatePromptAction::remindLater(type == nullptr ? std::string(OrvoUpdateFeedKeys::updateType)
                                                             : *type));
}

void OrvoUpdatePromptPresenter::dismissButtonPressed() { answer(OrvoUpdatePromptAction::dismissed()); }

void OrvoUpdatePromptPresenter::answer(const OrvoUpdatePromptAction& action) {
  shouldRemindOnWindowClose_ = false;
  // The handler leaves before it is called: it may run an event loop in which a second button is pressed.
  const ActionHandler handler = std::exchange(actionHandler_, nullptr);
  const std::shared_ptr<Window> window = promptWindow_;
  const std::shared_ptr<OrvoUpdatePromptPresenter*> self = self_;
  if (handler) handler(action);
  // Meanwhile the presenter may be gone, or show another prompt.
  if (*self == nullptr || !window || promptWindow_ != window) return;
  window->performClose();
}

void OrvoUpdatePromptPresenter::windowWillClose(const Window* window) {
  if (promptWindow_.get() != window) return;
  const std::shared_ptr<Window> closing = promptWindow_;
  if (std::exchange(shouldRemindOnWindowClose_, false)) {
    const ActionHandler handler = std::exchange(actionHandler_, nullptr);
    const std::shared_ptr<OrvoUpdatePromptPresenter*> self = self_;
    if (handler) handler(OrvoUpdatePromptAction::dismissed());
    if (*self == nullptr || promptWindow_ != closing) return;
  }
  promptWindow_.reset();
  displayedFeed_.reset();
  actionHandler_ = nullptr;
}

NavigationPolicy OrvoUpdatePromptPresenter::decidePolicy(const NavigationAction& action) {
  if (!action.isLinkActivated || !action.url) return NavigationPolicy::allow;
  // A browser that does not open leaves the prompt as it is, too.
  static_cast<void>(workspace_->open(*action.url));
  return NavigationPolicy::cancel;
}

std::string OrvoUpdatePromptPresenter::text(const OrvoUpdatePromptInput& input,
                                            const LocalizedText& text) const {
  return localized(*bundles_, input.localizationBundle, text);
}

std::string OrvoUpdatePromptPresenter::promptWindowTitle(const OrvoUpdatePromptInput& input) const {
  if (buildOnlyUpdate(input)) return text(input, localized_texts::stabilityUpdateAvailable);
  const PropertyListText* title = input.feed.findString(OrvoUpdateFeedKeys::title);
  return title == nullptr ? std::string() : text(input, {*title, "", ""});
}

std::string OrvoUpdatePromptPresenter::topTitleString(const OrvoUpdatePromptInput& input) const {
  if (buildOnlyUpdate(input)) return text(input, localized_texts::stabilityUpdateAvailable);
  const PropertyListText* version = input.feed.findString(OrvoUpdateFeedKeys::currentVersion);
  const bool isBeta = version != nullptr && text::containsLetter(*version);
  return text(input, isBeta ? localized_texts::newBetaVersion : localized_texts::newVersion);
}

std::string OrvoUpdatePromptPresenter::secondaryTitleString(const OrvoUpdatePromptInput& input) const {
  if (const std::optional<BuildOnlyUpdate> update = buildOnlyUpdate(input)) {
    return formatText(text(input, localized_texts::stabilityUpdateSentence),
                      {input.applicationName, update->version, std::to_string(input.applicationBuild),
                       std::to_string(update->build)});
  }
  const std::string key = input.applicationName + std::string(localized_texts::promptSentenceEnding);
  const PropertyListText* version = input.feed.findString(OrvoUpdateFeedKeys::currentVersion);
  return formatText(text(input, {key, "", ""}),
                    {version == nullptr ? std::string_view("X") : *version, input.applicationVersion});
}

std::optional<OrvoUpdatePromptPresenter::BuildOnlyUpdate> OrvoUpdatePromptPresenter::buildOnlyUpdate(
    const OrvoUpdatePromptInput& input) {
  const PropertyListText* version = input.feed.findString(OrvoUpdateFeedKeys::currentVersion);
  const PropertyListText* buildText = input.feed.findString(OrvoUpdateFeedKeys::currentBuild);
  const std::string offered = version == nullptr ? std::string() : *version;
  const std::int64_t build = buildText == nullptr ? 0 : parseDecimal<std::int64_t>(*buildText).value_or(0);
  if (offered != input.applicationVersion) return std::nullopt;
  if (input.applicationBuild < 1 || input.applicationBuild >= build) return std::nullopt;
  return BuildOnlyUpdate{offered, build};
}

WindowSize OrvoUpdatePromptPresenter::resolvedWindowSize(const FeedEntry& feed, double defaultWidth,
                                                         double defaultHeight) {
  const PropertyListText* stated = readFeedKey(feed, OrvoUpdateFeedKeys::size);
  const WindowSize size = stated == nullptr ? WindowSize() : sizeFromString(*stated);
  return {std::max(defaultWidth, std::min(size.width, maximumStatedPromptLength)),
          std::max(defaultHeight, std::min(size.height, maximumStatedPromptLength))};
}

bool OrvoUpdatePromptPresenter::hasNonEmptyStringValue(std::string_view key, const FeedEntry& feed) {
  return hasNonEmptyText(feed, key);
}

}  // namespace pellam
