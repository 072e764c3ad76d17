#include "feed/feed_eligibility.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "feed/offer_kind.h"
#include "foundation/decimal.h"
#include "pellam/feed_keys.h"
#include "platform/calendar.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

// "lowest" or "lowest-highest", both inclusive; pieces between the first and the last "-" are ignored.
bool isInRange(std::string_view version, std::string_view range, const VersionComparing& versionComparator) {
  const std::string_view lowest = range.substr(0, range.find('-'));
  if (versionComparator(lowest, version) == ComparisonResult::descending) return false;
  const std::size_t lastSeparator = range.rfind('-');
  return lastSeparator == std::string_view::npos ||
         versionComparator(version, range.substr(lastSeparator + 1)) != ComparisonResult::descending;
}

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

OrvoUpdateFeedApplicabilityResult OrvoUpdateFeedEligibilityEvaluator::evaluateApplicability(
    const FeedEntry& feed, const OrvoUpdateFeedApplicabilityContext& context,
    const VersionComparing& versionComparator) const {
  OrvoUpdateFeedApplicabilityResult result;
  result.releaseDate = releaseDate(feed);
  result.resolvedFeedIdentifier = resolvedFeedIdentifier(feed);

  if (!isUpdateEntry(feed)) return result;
  if (!context.canProcessUpdateFeeds ||
      !passesApplicabilityConstraints(feed, result.releaseDate, context, versionComparator)) {
    return result;
  }

  const VersionEvaluation version = evaluateVersionAndBuild(feed, context, versionComparator);
  result.isBetaUpdate = version.isBetaUpdate;
  if (!version.isUpdate && !version.isNewBuild) return result;
  // A user who asks is offered betas too.
  if (version.isBetaUpdate && !context.checkForBetaReleasesEnabled && !context.isManualCheck) return result;
  result.shouldProcessFeed = true;
  result.isUpdate = version.isUpdate;
  result.isNewBuild = version.isNewBuild;
  return result;
}

std::optional<OrvoUpdateFeedObstacle> OrvoUpdateFeedEligibilityEvaluator::failedConstraint(
    const FeedEntry& feed, Date releaseDate, const OrvoUpdateFeedApplicabilityContext& context,
    const VersionComparing& versionComparator) {
  using Obstacle = OrvoUpdateFeedObstacle;
  if (!context.debugBypassApplicabilityChecks) {
    const PropertyListText* versions = readFeedKey(feed, OrvoUpdateFeedKeys::version);
    if (versions != nullptr && !isInRange(context.appVersion, *versions, versionComparator)) {
      return Obstacle::installedVersion;
    }

    const PropertyListText* sku = readFeedKey(feed, OrvoUpdateFeedKeys::sku);
    if (sku != nullptr && !context.acceptedSKUs.contains(sku->view())) return Obstacle::edition;

    const PropertyListText* language = readFeedKey(feed, OrvoUpdateFeedKeys::language);
    if (language != nullptr && (!context.preferredLanguageCode ||
                                !text::equalsIgnoringCase(*language, *context.preferredLanguageCode))) {
      return Obstacle::language;
    }

    const PropertyListText* systems = readFeedKey(feed, OrvoUpdateFeedKeys::os);
    if (systems != nullptr && !isInRange(context.currentOSVersion, *systems, versionComparator)) {
      return Obstacle::operatingSystem;
    }
  }

  // The bypass does not open the staged roll-out.
  if (context.shouldApplyUserStaggering && !context.isManualCheck && context.userStaggerGroup > 0 &&
      !isImportantUpdate(feed)) {
    const std::optional<Date> due = Calendar().addingDays(releaseDate, context.userStaggerGroup);
    if (context.now < due.value_or(distantPast)) return Obstacle::stagedRollOut;
  }
  return std::nullopt;
}

OrvoUpdateFeedEligibilityEvaluator::VersionEvaluation
OrvoUpdateFeedEligibilityEvaluator::evaluateVersionAndBuild(const FeedEntry& feed,
                                                            const OrvoUpdateFeedApplicabilityContext& context,
                                                            const VersionComparing& versionComparator) {
  VersionEvaluation evaluation;
  const PropertyListText* current = readFeedKey(feed, OrvoUpdateFeedKeys::currentVersion);
  if (context.debugBypassApplicabilityChecks || current == nullptr ||
      versionComparator(*current, context.appVersion) == ComparisonResult::descending) {
    evaluation.isUpdate = true;
  } else {
    const PropertyListText* buildText = readFeedKey(feed, OrvoUpdateFeedKeys::currentBuild);
    const std::optional<std::int64_t> build =
        buildText == nullptr ? std::nullopt : parseDecimal<std::int64_t>(*buildText);
    // A build counts only within one and the same version, as text.
    if (!build || text::compareLiterally(*current, context.appVersion) != 0 || context.appBuild < 1 ||
        *build <= context.appBuild) {
      return evaluation;
    }
    evaluation.isUpdate = true;
    evaluation.isNewBuild = true;
  }
  evaluation.isBetaUpdate = current != nullptr && text::containsLetter(*current);
  if (evaluation.isBetaUpdate) evaluation.isNewBuild = false;
  return evaluation;
}

Date OrvoUpdateFeedEligibilityEvaluator::releaseDate(const FeedEntry& feed) {
  const PropertyListText* day = readFeedKey(feed, OrvoUpdateFeedKeys::releaseDate);
  if (day == nullptr) return distantPast;
  return OrvoUpdateFeedKeys::releaseDateFormatter().parseDay(*day).value_or(distantPast);
}

std::optional<std::string> OrvoUpdateFeedEligibilityEvaluator::resolvedFeedIdentifier(const FeedEntry& feed) {
  if (const PropertyListText* identifier = readFeedKey(feed, OrvoUpdateFeedKeys::uid)) return *identifier;
  if (const PropertyListText* identifier = readFeedKey(feed, OrvoUpdateFeedKeys::feedVersionID))
    return *identifier;
  return std::nullopt;
}

bool OrvoUpdateFeedEligibilityEvaluator::isImportantUpdate(const FeedEntry& feed) {
  const PropertyListText* important = feed.findString(OrvoUpdateFeedKeys::important);
  return important != nullptr && *important == "1";
}

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
  if (!isUpdateEntry(feed)) return Obstacle::otherType;
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
