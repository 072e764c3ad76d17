#include "launcher-service/phase_budget.h"

#include <limits>
#include <utility>

namespace pellam {

OrvoAppBundleInstallerLaunchPhaseBudget::OrvoAppBundleInstallerLaunchPhaseBudget(
    const LaunchTimeouts& timeouts, MonotonicTimeProvider monotonicTimeProvider)
    : postAuthorizationTimeout_(timeouts.postAuthorization),
      monotonicTimeProvider_(std::move(monotonicTimeProvider)),
      preAuthorizationDeadline_(deadlineAfter(timeouts.preAuthorization)) {}

bool OrvoAppBundleInstallerLaunchPhaseBudget::preAuthorizationShouldProceed() {
  const std::lock_guard guard(lock_);
  return isAhead(preAuthorizationDeadline_);
}

void OrvoAppBundleInstallerLaunchPhaseBudget::beginPostAuthorizationPhase() {
  const std::lock_guard guard(lock_);
  postAuthorizationDeadline_ = deadlineAfter(postAuthorizationTimeout_);
}

bool OrvoAppBundleInstallerLaunchPhaseBudget::postAuthorizationShouldProceed() {
  const std::lock_guard guard(lock_);
  return isAhead(postAuthorizationDeadline_);
}

std::optional<std::uint64_t> OrvoAppBundleInstallerLaunchPhaseBudget::deadlineAfter(
    std::chrono::nanoseconds timeout) const {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t now = monotonicTimeProvider_();
  if (timeout.count() <= 0) return std::nullopt;
  const auto nanoseconds = static_cast<std::uint64_t>(timeout.count());
  return nanoseconds > largest - now ? largest : now + nanoseconds;
}

bool OrvoAppBundleInstallerLaunchPhaseBudget::isAhead(const std::optional<std::uint64_t>& deadline) const {
  return deadline && *deadline >= monotonicTimeProvider_();
}

}  // namespace pellam
