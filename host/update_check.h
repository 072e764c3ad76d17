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
#include "host/installed_application.h"
#include "host/update_settings.h"
#include "pellam/cancellation.h"
#include "pellam/host_errors.h"
#include "pellam/update_offer.h"
#include "platform/clock.h"
#include "services/network_client.h"

namespace pellam {

struct UpdateCheckResult {
  OrvoUpdateFeedPipelineResult pipeline;
  OrvoUpdateFeedPipelineApplicationResult application;

  // The same as applications read it.
  [[nodiscard]] UpdateDecision decision() const;
};

[[nodiscard]] UpdateOffer offerOf(const OrvoUpdateFeedProcessingCandidate& candidate);

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
  // Bytes. Ten thousands of entries fit; what a small compressed answer can grow to does not.
  static constexpr std::size_t maximumFeedLength = std::size_t{64} << 20;

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
                           const std::function<bool(const UpdateOffer&)>& display) const;

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
