#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "feed/feed_parser.h"
#include "feed/feed_pipeline.h"
#include "foundation/cancellation.h"
#include "foundation/clock.h"
#include "foundation/network_client.h"
#include "host/installed_application.h"
#include "host/update_settings.h"

namespace pellam {

// The server answered, but not with a feed. what() is one line.
class FeedNotServed : public PellamError {
 public:
  explicit FeedNotServed(int statusCode)
      : statusCode_(statusCode),
        what_("The feed's server answered with status " + std::to_string(statusCode) + ".") {}
  [[nodiscard]] BridgedError bridged() const override { return {"Pellam.UpdateCheck", statusCode_, what_}; }
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

 private:
  int statusCode_;
  std::string what_;
};

// How one check differs from the next.
struct UpdateCheckOptions {
  bool isManualCheck = true;
  bool checkForBetaReleases = false;  // in addition to the user's setting
  std::optional<std::string> preferredLanguageCode;
  std::set<std::string, std::less<>> acceptedSKUs;
  std::string currentOSVersion;
  std::optional<std::int64_t> staggerGroup;  // overrides the remembered one
  // The host would end this check by telling the user that there is no update.
  bool shouldConfirmNoUpdatesDialog = true;
  // False for a look that must not count as having shown the offer.
  bool remembersWhatIsShown = true;
};

struct UpdateCheckResult {
  OrvoUpdateFeedPipelineResult pipeline;
  OrvoUpdateFeedPipelineApplicationResult application;
};

// An entry that is not offered, and why.
struct UpdateObstacle {
  FeedEntry entry;
  OrvoUpdateFeedObstacle reason = OrvoUpdateFeedObstacle::otherType;
};

// One check for updates as a host makes it: fetch and parse, fill the two contexts, evaluate, show, remember.
class UpdateCheck {
 public:
  static constexpr std::int64_t defaultRefetchIntervalSeconds = 86'400;
  static constexpr std::int64_t minimumRefetchIntervalSeconds = 3'600;

  UpdateCheck(std::shared_ptr<PellamNetworkClient> network, std::shared_ptr<UpdateSettings> settings,
              std::shared_ptr<PellamClock> clock)
      : network_(std::move(network)), settings_(std::move(settings)), clock_(std::move(clock)) {}

  // Blocks; never on the main thread. Throws URLLoadingError, FeedNotServed, OrvoUpdateFeedParserError or
  // OperationCancelled.
  [[nodiscard]] std::vector<FeedEntry> fetch(const URL& feed, const CancellationToken& cancellation) const;

  // Picks the entry to act on and calls `display` with it when it is due; what is to be remembered is then
  // stored. Runs where `display` may show something.
  UpdateCheckResult decide(const std::vector<FeedEntry>& feed, const InstalledApplication& application,
                           const UpdateCheckOptions& options,
                           const std::function<bool(const FeedEntry&)>& display) const;

  // Why the feed's first updates are not offered, so many at most. Stores nothing.
  [[nodiscard]] std::vector<UpdateObstacle> obstacles(const std::vector<FeedEntry>& feed,
                                                      const InstalledApplication& application,
                                                      const UpdateCheckOptions& options,
                                                      std::size_t atMost) const;

 private:
  struct Contexts {
    OrvoUpdateFeedApplicabilityContext applicability;
    OrvoUpdateFeedDisplayContext display;
  };
  [[nodiscard]] Contexts contexts(const InstalledApplication& application, const UpdateCheckOptions& options,
                                  Date now) const;

  std::shared_ptr<PellamNetworkClient> network_;
  std::shared_ptr<UpdateSettings> settings_;
  std::shared_ptr<PellamClock> clock_;
};

}  // namespace pellam
