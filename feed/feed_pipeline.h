#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "feed/feed_eligibility.h"

namespace pellam {

// The entry that a check acts on, whole, with both decisions about it.
struct OrvoUpdateFeedProcessingCandidate {
  FeedEntry feed;
  OrvoUpdateFeedApplicabilityResult applicability;
  OrvoUpdateFeedDisplayResult display;

  friend bool operator==(const OrvoUpdateFeedProcessingCandidate&,
                         const OrvoUpdateFeedProcessingCandidate&) = default;
};

struct OrvoUpdateFeedPipelineResult {
  std::optional<OrvoUpdateFeedProcessingCandidate> selectedCandidate;  // none when no entry qualifies

  friend bool operator==(const OrvoUpdateFeedPipelineResult&, const OrvoUpdateFeedPipelineResult&) = default;
};

// Picks the first entry, in the order of the feed, that is an update, applies and is due. An entry that is
// not due yet does not block those behind it; entries behind the selected one are not looked at. Stateless;
// any thread; never fails.
class OrvoUpdateFeedProcessingEvaluator {
 public:
  OrvoUpdateFeedEligibilityEvaluator eligibilityEvaluator;

  [[nodiscard]] std::optional<OrvoUpdateFeedProcessingCandidate> selectFirstProcessableUpdate(
      const std::vector<FeedEntry>& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
      const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const;
};

// The first step of a check: from the parsed feed to the candidate.
class OrvoUpdateFeedPipelineEvaluator {
 public:
  OrvoUpdateFeedProcessingEvaluator processingEvaluator;

  [[nodiscard]] OrvoUpdateFeedPipelineResult evaluate(
      const std::vector<FeedEntry>& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
      const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const;
};

// What the host passes into the second step, built after the first.
struct OrvoUpdateFeedPipelineApplicationInput {
  OrvoUpdateFeedPipelineResult pipelineResult;
  bool canProcessUpdateFeeds = false;
  bool shouldConfirmNoUpdatesDialog = false;      // the check would end with "no updates found"
  bool shouldSetSleepInterval = false;            // the next fetch time is wanted
  PropertyListDictionary existingNewsDictionary;  // the identifiers shown last, by feed type key
  std::string feedTypeKey;                        // this feed's key in that dictionary
  std::int64_t defaultRefetchIntervalSeconds = 0;
  std::int64_t minimumRefetchIntervalSeconds = 0;  // the lower bound for an interval that the entry gives
};

// What the host does with the outcome.
struct OrvoUpdateFeedPipelineApplicationResult {
  bool didProcessSelectedUpdate = false;          // a candidate with an identifier was processed
  bool shouldMarkUpdateCheckPerformedOK = false;  // record the check as successful
  bool shouldHideNoUpdatesFoundDialog = false;    // an offer was shown instead
  std::optional<PropertyListDictionary> updatedNewsDictionary;  // to be stored in place of the old one
  std::optional<double> resolvedSleepInterval;                  // seconds; none leaves the schedule unchanged

  friend bool operator==(const OrvoUpdateFeedPipelineApplicationResult&,
                         const OrvoUpdateFeedPipelineApplicationResult&) = default;
};

// The second step: shows the candidate when it is due and tells the host what to store. Stateless. Calls the
// callback on the calling thread, at most once; since that presents the offer, the host calls `apply` on the
// main thread. What the callback throws passes through, and nothing has changed then.
class OrvoUpdateFeedPipelineApplier {
 public:
  // Presents the entry; true when it was presented.
  using DisplaySelectedUpdate = std::function<bool(const FeedEntry& feed)>;

  [[nodiscard]] OrvoUpdateFeedPipelineApplicationResult apply(
      const OrvoUpdateFeedPipelineApplicationInput& input,
      const DisplaySelectedUpdate& displaySelectedUpdate) const;
};

}  // namespace pellam
