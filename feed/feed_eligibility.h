#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "feed/version_comparison.h"
#include "pellam/date.h"
#include "pellam/feed_entry.h"

namespace pellam {

// The running installation, filled in by the host for each check.
struct OrvoUpdateFeedApplicabilityContext {
  std::string appVersion;
  std::int64_t appBuild = 0;     // below 1: no newer build is ever offered
  std::string currentOSVersion;  // "14.5"
  std::optional<std::string> preferredLanguageCode;
  std::set<std::string, std::less<>> acceptedSKUs;
  bool canProcessUpdateFeeds = false;  // false: no entry is processed
  bool isManualCheck = false;          // the user asked for this check
  bool checkForBetaReleasesEnabled = false;
  bool shouldApplyUserStaggering = false;
  std::int64_t userStaggerGroup = 0;  // days after the release day; 0 or less means none
  Date now;
  bool debugBypassApplicabilityChecks =
      false;  // for testing a feed: ranges, edition and language let all pass
};

struct OrvoUpdateFeedApplicabilityResult {
  bool shouldProcessFeed = false;  // the entry applies and may be offered
  bool isUpdate = false;           // it offers something newer than what runs
  bool isNewBuild = false;         // it offers a newer build of the running version
  bool isBetaUpdate = false;       // the offered version is a beta
  Date releaseDate = distantPast;
  std::optional<std::string> resolvedFeedIdentifier;  // "id", else "version", else none

  friend bool operator==(const OrvoUpdateFeedApplicabilityResult&,
                         const OrvoUpdateFeedApplicabilityResult&) = default;
};

// What the host remembers of earlier checks, filled in for each check.
struct OrvoUpdateFeedDisplayContext {
  std::string appVersion;
  bool canProcessUpdateFeeds = false;  // false: every entry is shown once
  Date now;
  std::optional<Date> lastNewsDisplayedDate;
  std::int64_t checkUpdatesAfterHours = 0;  // the reminder interval; negative counts as 0
  bool isManualCheck = false;
  std::optional<std::string> storedFeedIdentifier;  // of the entry shown last
  bool shouldResetStoredFeedIdentifier = false;     // treat the stored one as absent
};

struct OrvoUpdateFeedDisplayResult {
  bool isEligibleForProcessing = false;  // the entry may be selected at this check
  bool shouldDisplayNow = false;         // it is to be shown to the user now
  std::optional<std::string> resolvedFeedIdentifier;
  std::optional<std::string> effectiveStoredFeedIdentifier;  // as this check sees it

  friend bool operator==(const OrvoUpdateFeedDisplayResult&, const OrvoUpdateFeedDisplayResult&) = default;
};

// What keeps an entry from being offered, for people who wonder. The rules' order is the evaluation's.
enum class OrvoUpdateFeedObstacle {
  otherType,
  switchedOff,
  installedVersion,
  edition,
  language,
  operatingSystem,
  stagedRollOut,
  notNewer,
  betaNotWanted,
  noIdentifier,
  shownBefore,
};

// Decides about one entry. Pure: reads the entry and the context, never the clock, settings or the network;
// days begin where the system's time zone has them begin. Stateless; any thread. Neither operation fails.
class OrvoUpdateFeedEligibilityEvaluator {
 public:
  // Whether the entry concerns this installation, and what kind of offer it is.
  [[nodiscard]] OrvoUpdateFeedApplicabilityResult evaluateApplicability(
      const FeedEntry& feed, const OrvoUpdateFeedApplicabilityContext& context,
      const VersionComparing& versionComparator) const;

  // Whether an applicable entry may be processed now, and whether it is to be shown. A reminder interval
  // whose seconds overflow 64 bits ends the program with a message.
  [[nodiscard]] OrvoUpdateFeedDisplayResult evaluateDisplay(
      const FeedEntry& feed, const OrvoUpdateFeedApplicabilityResult& applicability,
      const OrvoUpdateFeedDisplayContext& context, const VersionComparing& versionComparator) const;

  // The first rule that keeps the entry from being offered; nothing for an entry that is to be shown now.
  [[nodiscard]] std::optional<OrvoUpdateFeedObstacle> obstacle(
      const FeedEntry& feed, const OrvoUpdateFeedApplicabilityContext& applicabilityContext,
      const OrvoUpdateFeedDisplayContext& displayContext, const VersionComparing& versionComparator) const;

 private:
  struct VersionEvaluation {
    bool isUpdate = false;
    bool isNewBuild = false;
    bool isBetaUpdate = false;
  };

  // The first constraint that the entry fails.
  [[nodiscard]] static std::optional<OrvoUpdateFeedObstacle> failedConstraint(
      const FeedEntry& feed, Date releaseDate, const OrvoUpdateFeedApplicabilityContext& context,
      const VersionComparing& versionComparator);
  [[nodiscard]] static bool passesApplicabilityConstraints(const FeedEntry& feed, Date releaseDate,
                                                           const OrvoUpdateFeedApplicabilityContext& context,
                                                           const VersionComparing& versionComparator) {
    return !failedConstraint(feed, releaseDate, context, versionComparator);
  }
  [[nodiscard]] static VersionEvaluation evaluateVersionAndBuild(
      const FeedEntry& feed, const OrvoUpdateFeedApplicabilityContext& context,
      const VersionComparing& versionComparator);
  [[nodiscard]] static Date releaseDate(const FeedEntry& feed);
  [[nodiscard]] static std::optional<std::string> resolvedFeedIdentifier(const FeedEntry& feed);
  [[nodiscard]] static bool isImportantUpdate(const FeedEntry& feed);
};

}  // namespace pellam
