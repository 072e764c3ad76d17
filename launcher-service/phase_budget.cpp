#include "launcher-service/phase_budget.h"

#include <limits>
#include <utility>

namespace pellam {

OrvoAppBundleInstallerLaunchPhaseBudget::OrvoAppBundleInstallerLaunchPhaseBudget(
    std::uint64_t preAuthorizationTimeoutNanoseconds, std::uint64_t postAuthorizationTimeoutNanoseconds,
    MonotonicTimeProvider monotonicTimeProvider)
    : postAuthorizationTimeoutNanoseconds_(postAuthorizationTimeoutNanoseconds),
      monotonicTimeProvider_(std::move(monotonicTimeProvider)),
      preAuthorizationDeadline_(deadlineAfter(preAuthorizationTimeoutNanoseconds)) {}

bool OrvoAppBundleInstallerLaunchPhaseBudget::preAuthorizationShouldProceed() {
  const std::lock_guard guard(lock_);
  return isAhead(preAuthorizationDeadline_);
}

void OrvoAppBundleInstallerLaunchPhaseBudget::beginPostAuthorizationPhase() {
  const std::lock_guard guard(lock_);
  postAuthorizationDeadline_ = deadlineAfter(postAuthorizationTimeoutNanoseconds_);
}

bool OrvoAppBundleInstallerLaunchPhaseBudget::postAuthorizationShouldProceed() {
  const std::lock_guard guard(lock_);
  return isAhead(postAuthorizationDeadline_);
}

std::optional<std::uint64_t> OrvoAppBundleInstallerLaunchPhaseBudget::deadlineAfter(
    std::uint64_t timeoutNanoseconds) const {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t now = monotonicTimeProvider_();
  if (timeoutNanoseconds == 0) return std::nullopt;
  return timeoutNanoseconds > largest - now ? largest : now + timeoutNanoseconds;
}

bool OrvoAppBundleInstallerLaunchPhaseBudget::isAhead(const std::optional<std::uint64_t>& deadline) const {
  return deadline && *deadline >= monotonicTimeProvider_();
}

}  // namespace pellam
