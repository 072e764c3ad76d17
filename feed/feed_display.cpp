#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "feed/feed_eligibility.h"
#include "pellam/feed_keys.h"

namespace pellam {

namespace {

// When the next reminder is due: `hours` after the last one.
Date nextAllowedDisplay(Date lastDisplay, std::int64_t hours) {
  constexpr std::int64_t secondsPerHour = 3600;
  const std::int64_t counted = std::max<std::int64_t>(hours, 0);
  if (counted > std::numeric_limits<std::int64_t>::max() / secondsPerHour) {
    // The host's setting is broken; going on would show or hide offers at random.
    std::fputs("Fatal error: checkUpdatesAfterHours overflows when counted in seconds\n", stderr);
    std::abort();
  }
  const std::int64_t seconds = counted * secondsPerHour;
  // An instant beyond the range of dates is later than any other.
  const auto room = std::chrono::floor<std::chrono::seconds>(
      lastDisplay < Date() ? Date::max() - Date() : Date::max() - lastDisplay);
  return seconds > room.count() ? Date::max() : lastDisplay + std::chrono::seconds(seconds);
}

}  // namespace

OrvoUpdateFeedDisplayResult OrvoUpdateFeedEligibilityEvaluator::evaluateDisplay(
    const FeedEntry& feed, const OrvoUpdateFeedApplicabilityResult& applicability,
    const OrvoUpdateFeedDisplayContext& context, const VersionComparing& versionComparator) const {
  OrvoUpdateFeedDisplayResult result;
  result.resolvedFeedIdentifier = applicability.resolvedFeedIdentifier;
  result.effectiveStoredFeedIdentifier = context.storedFeedIdentifier;
  if (!applicability.shouldProcessFeed || (!applicability.isUpdate && !applicability.isNewBuild))
    return result;
  if (!applicability.resolvedFeedIdentifier) return result;

  if (context.shouldResetStoredFeedIdentifier) result.effectiveStoredFeedIdentifier.reset();

  bool isDue = true;
  if (context.canProcessUpdateFeeds) {
    const auto isForced = [&] {
      if (applicability.isNewBuild) return true;
      const PropertyListText* mustUpdate = readFeedKey(feed, OrvoUpdateFeedKeys::mustUpdate);
      return mustUpdate != nullptr &&
             versionComparator(context.appVersion, *mustUpdate) == ComparisonResult::same;
    };
    if (context.lastNewsDisplayedDate && !context.isManualCheck && !isForced()) {
      isDue =
          context.now >= nextAllowedDisplay(*context.lastNewsDisplayedDate, context.checkUpdatesAfterHours);
    }
    result.isEligibleForProcessing = isDue;
    result.shouldDisplayNow = isDue;
    return result;
  }
  // Show each entry once.
  const std::optional<std::string>& shown = result.effectiveStoredFeedIdentifier;
  result.isEligibleForProcessing = true;
  result.shouldDisplayNow = !shown || *shown != *applicability.resolvedFeedIdentifier;
  return result;
}

std::optional<OrvoUpdateFeedObstacle> OrvoUpdateFeedEligibilityEvaluator::obstacle(
    const FeedEntry& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
    const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const {
  using Obstacle = OrvoUpdateFeedObstacle;
  const PropertyListText* type = feed.findString(OrvoUpdateFeedKeys::type);
  if (type == nullptr || *type != OrvoUpdateFeedKeys::updateType) return Obstacle::otherType;
  if (!applicabilityContext.canProcessUpdateFeeds) return Obstacle::switchedOff;
  const OrvoUpdateFeedApplicabilityResult applicability =
      evaluateApplicability(feed, applicabilityContext, versionComparator);
  if (!applicability.shouldProcessFeed) {
    const std::optional<Obstacle> constraint =
        failedConstraint(feed, applicability.releaseDate, applicabilityContext, versionComparator);
    if (constraint) return constraint;
    return applicability.isBetaUpdate ? Obstacle::betaNotWanted : Obstacle::notNewer;
  }
  const OrvoUpdateFeedDisplayResult display =
      evaluateDisplay(feed, applicability, displayContext, versionComparator);
  if (!display.resolvedFeedIdentifier) return Obstacle::noIdentifier;
  if (!display.isEligibleForProcessing || !display.shouldDisplayNow) return Obstacle::shownBefore;
  return std::nullopt;
}

}  // namespace pellam
