#include <algorithm>

#include "feed/offer_kind.h"
#include "foundation/decimal.h"
#include "foundation/text_format.h"
#include "pellam/feed_keys.h"
#include "text/unicode_text.h"
#include "ui/prompt_window_size.h"
#include "ui/update_prompt_presenter.h"

namespace pellam {

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
