#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

#include "launcher-protocol/launch_timeouts.h"
#include "platform/clock.h"

namespace pellam {

// The time that one launch may take before the user is asked for authorization and after. The first period
// runs from construction, the second from beginPostAuthorizationPhase(). A period of 0 never allows anything;
// it does not mean "without limit". Thread-safe; the clock is read while the lock is held.
class OrvoAppBundleInstallerLaunchPhaseBudget {
 public:
  OrvoAppBundleInstallerLaunchPhaseBudget(const LaunchTimeouts& timeouts,
                                          MonotonicTimeProvider monotonicTimeProvider);

  [[nodiscard]] bool preAuthorizationShouldProceed();
  // A second call starts the period again.
  void beginPostAuthorizationPhase();
  // False before beginPostAuthorizationPhase().
  [[nodiscard]] bool postAuthorizationShouldProceed();

 private:
  [[nodiscard]] std::optional<std::uint64_t> deadlineAfter(std::chrono::nanoseconds timeout) const;
  [[nodiscard]] bool isAhead(const std::optional<std::uint64_t>& deadline) const;

  std::mutex lock_;
  const std::chrono::nanoseconds postAuthorizationTimeout_;
  const MonotonicTimeProvider monotonicTimeProvider_;
  const std::optional<std::uint64_t> preAuthorizationDeadline_;
  std::optional<std::uint64_t> postAuthorizationDeadline_;
};

}  // namespace pellam
