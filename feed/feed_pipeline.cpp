#include "feed/feed_pipeline.h"

#include <algorithm>

#include "feed/offer_kind.h"
#include "foundation/decimal.h"
#include "pellam/feed_keys.h"

namespace pellam {

namespace {

// The seconds that an entry asks for; 0 when it asks for nothing usable.
std::int64_t requestedInterval(const FeedEntry& feed) {
  const PropertyListValue* value = feed.find(OrvoUpdateFeedKeys::interval);
  if (value == nullptr) return 0;
  if (const std::optional<std::int64_t> number = value->numberAsInteger()) return *number;
  const PropertyListText* text = value->string();
  return text == nullptr ? 0 : parseDecimal<std::int64_t>(*text).value_or(0);
}

}  // namespace

std::optional<OrvoUpdateFeedProcessingCandidate>
OrvoUpdateFeedProcessingEvaluator::selectFirstProcessableUpdate(
    const std::vector<FeedEntry>& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
    const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const {
  for (const FeedEntry& entry : feed) {
    if (!isUpdateEntry(entry)) continue;
    OrvoUpdateFeedApplicabilityResult applicability =
        eligibilityEvaluator.evaluateApplicability(entry, applicabilityContext, versionComparator);
    if (!applicability.shouldProcessFeed) continue;
    OrvoUpdateFeedDisplayResult display =
        eligibilityEvaluator.evaluateDisplay(entry, applicability, displayContext, versionComparator);
    if (!display.isEligibleForProcessing || !display.resolvedFeedIdentifier) continue;
    return OrvoUpdateFeedProcessingCandidate{entry, std::move(applicability), std::move(display)};
  }
  return std::nullopt;
}

OrvoUpdateFeedPipelineResult OrvoUpdateFeedPipelineEvaluator::evaluate(
    const std::vector<FeedEntry>& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
    const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const {
  return {processingEvaluator.selectFirstProcessableUpdate(feed, applicabilityContext, displayContext,
                                                           versionComparator)};
}

OrvoUpdateFeedPipelineApplicationResult OrvoUpdateFeedPipelineApplier::apply(
    const OrvoUpdateFeedPipelineApplicationInput& input,
    const DisplaySelectedUpdate& displaySelectedUpdate) const {
  OrvoUpdateFeedPipelineApplicationResult result;
  result.shouldMarkUpdateCheckPerformedOK = input.shouldConfirmNoUpdatesDialog && input.canProcessUpdateFeeds;
  const auto& candidate = input.pipelineResult.selectedCandidate;
  if (!candidate || !candidate->display.resolvedFeedIdentifier) return result;

  if (candidate->display.shouldDisplayNow && displaySelectedUpdate(candidate->feed)) {
    result.updatedNewsDictionary = input.existingNewsDictionary;
    result.updatedNewsDictionary->set(input.feedTypeKey, *candidate->display.resolvedFeedIdentifier);
    result.shouldHideNoUpdatesFoundDialog = input.canProcessUpdateFeeds;
  }
  result.didProcessSelectedUpdate = true;
  if (!input.shouldSetSleepInterval) return result;

  const std::int64_t requested = requestedInterval(candidate->feed);
  const std::int64_t seconds = requested != 0
                                   ? std::max(requested, input.minimumRefetchIntervalSeconds)
                                   : std::max<std::int64_t>(input.defaultRefetchIntervalSeconds, 0);
  result.resolvedSleepInterval = static_cast<double>(seconds);
  return result;
}

}  // namespace pellam
