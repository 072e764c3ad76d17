#include "host/update_check.h"

#include <algorithm>

#include "feed/offer_kind.h"
#include "feed/version_comparison.h"
#include "pellam/feed_entry.h"
#include "pellam/feed_keys.h"

namespace pellam {

namespace {
// A feed may state any interval; one mistyped answer must not silence the checks for years.
constexpr double longestSleepSeconds = 30.0 * 86'400;
}  // namespace

std::vector<FeedEntry> UpdateCheck::fetch(const URL& feed, const CancellationToken& cancellation) const {
  const URLRequest request{feed, {{"Cache-Control", "no-cache"}}, std::nullopt, maximumFeedLength};
  try {
    const NetworkData data = network_->data(request, cancellation);
    const std::optional<int> status = data.response.statusCode;
    if (status && (*status < 200 || *status > 299)) throw FeedNotServed(*status);
    return OrvoUpdateFeedParser().parseFeed(data.body.span());
  } catch (const URLLoadingError& error) {
    if (error.code() == URLLoadingError::Code::cancelled) throw OperationCancelled();
    throw;
  }
}

UpdateCheck::Contexts UpdateCheck::contexts(const InstalledApplication& application,
                                            const UpdateCheckOptions& options, Date now) const {
  const std::int64_t staggerGroup =
      options.staggerGroup ? *options.staggerGroup : settings_->staggerGroup().value_or(0);

  OrvoUpdateFeedApplicabilityContext applicability;
  applicability.appVersion = application.identity.versionString;
  applicability.appBuild = application.build;
  applicability.currentOSVersion = options.currentOSVersion;
  applicability.preferredLanguageCode = options.preferredLanguageCode;
  applicability.acceptedSKUs = options.acceptedSKUs;
  applicability.canProcessUpdateFeeds = true;
  applicability.isManualCheck = options.reason == CheckReason::manual;
  applicability.checkForBetaReleasesEnabled =
      options.checkForBetaReleases || settings_->checkForBetaReleases();
  applicability.shouldApplyUserStaggering = true;
  applicability.userStaggerGroup = staggerGroup;
  applicability.now = now;

  OrvoUpdateFeedDisplayContext displayContext;
  displayContext.appVersion = application.identity.versionString;
  displayContext.canProcessUpdateFeeds = true;
  displayContext.now = now;
  // A display in the future was dated by a clock that was ahead; it must not hold back offers for years.
  const std::optional<Date> lastDisplay = settings_->lastNewsDisplayedDate();
  if (lastDisplay && *lastDisplay <= now) displayContext.lastNewsDisplayedDate = lastDisplay;
  displayContext.checkUpdatesAfterHours = settings_->checkUpdatesAfterHours();
  displayContext.isManualCheck = options.reason == CheckReason::manual;
  displayContext.storedFeedIdentifier = settings_->storedFeedIdentifier();
  return {std::move(applicability), std::move(displayContext)};
}

std::vector<UpdateObstacle> UpdateCheck::obstacles(const std::vector<FeedEntry>& feed,
                                                   const InstalledApplication& application,
                                                   const UpdateCheckOptions& options,
                                                   std::size_t atMost) const {
  const Contexts filled = contexts(application, options, clock_->now());
  std::vector<UpdateObstacle> found;
  for (const FeedEntry& entry : feed) {
    if (found.size() == atMost) break;
    const std::optional<OrvoUpdateFeedObstacle> reason = OrvoUpdateFeedEligibilityEvaluator().obstacle(
        entry, filled.applicability, filled.display, &OrvoUpdateVersionComparison::compare);
    if (reason && *reason != OrvoUpdateFeedObstacle::otherType) found.push_back({entry, *reason});
  }
  return found;
}

UpdateCheckResult UpdateCheck::decide(const std::vector<FeedEntry>& feed,
                                      const InstalledApplication& application,
                                      const UpdateCheckOptions& options,
                                      const std::function<bool(const UpdateOffer&)>& display) const {
  const Date now = clock_->now();
  const Contexts filled = contexts(application, options, now);
  UpdateCheckResult result;
  result.pipeline = OrvoUpdateFeedPipelineEvaluator().evaluate(feed, filled.applicability, filled.display,
                                                               &OrvoUpdateVersionComparison::compare);

  OrvoUpdateFeedPipelineApplicationInput input;
  input.pipelineResult = result.pipeline;
  input.canProcessUpdateFeeds = true;
  input.shouldConfirmNoUpdatesDialog = options.shouldConfirmNoUpdatesDialog;
  input.shouldSetSleepInterval = true;
  input.existingNewsDictionary = settings_->newsDictionary();
  input.feedTypeKey = UpdateSettings::feedTypeKey;
  input.defaultRefetchIntervalSeconds = defaultRefetchIntervalSeconds;
  input.minimumRefetchIntervalSeconds = minimumRefetchIntervalSeconds;

  bool wasDisplayed = false;
  result.application = OrvoUpdateFeedPipelineApplier().apply(input, [&](const FeedEntry&) {
    wasDisplayed = display(offerOf(*result.pipeline.selectedCandidate));
    return wasDisplayed;
  });
  if (!options.remembersWhatIsShown) return result;
  if (result.application.updatedNewsDictionary) {
    settings_->setNewsDictionary(*result.application.updatedNewsDictionary);
  }
  if (wasDisplayed) settings_->setLastNewsDisplayedDate(now);
  if (const std::optional<double> interval = result.application.resolvedSleepInterval) {
    const double seconds = std::min(*interval, longestSleepSeconds);
    settings_->setNextFetchDate(now + std::chrono::seconds(static_cast<std::int64_t>(seconds)));
  }
  return result;
}

UpdateOffer offerOf(const OrvoUpdateFeedProcessingCandidate& candidate) {
  UpdateOffer offer;
  offer.entry = candidate.feed;
  offer.kind = offerKind(candidate.feed);
  offer.identifier = candidate.display.resolvedFeedIdentifier.value_or("");
  offer.version = feedText(candidate.feed, OrvoUpdateFeedKeys::currentVersion);
  offer.build = feedText(candidate.feed, OrvoUpdateFeedKeys::currentBuild);
  offer.title = feedText(candidate.feed, OrvoUpdateFeedKeys::title);
  offer.releaseNotes = feedText(candidate.feed, OrvoUpdateFeedKeys::url);
  offer.isNewBuild = candidate.applicability.isNewBuild;
  offer.isBeta = candidate.applicability.isBetaUpdate;
  offer.isDue = candidate.display.shouldDisplayNow;
  return offer;
}

UpdateDecision UpdateCheckResult::decision() const {
  UpdateDecision decision;
  if (pipeline.selectedCandidate) decision.offer = offerOf(*pipeline.selectedCandidate);
  decision.wasShown = application.shouldHideNoUpdatesFoundDialog;
  decision.secondsToNextCheck = application.resolvedSleepInterval;
  return decision;
}

}  // namespace pellam
