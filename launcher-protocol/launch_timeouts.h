#pragma once

#include <chrono>

namespace pellam {

// How long a launch may take before the user is asked for authorization, or altogether when nobody is asked,
// and how long after the answer. The time that the user takes to answer is never limited. Zero is no limit to
// the host, and no time at all to the service.
struct LaunchTimeouts {
  std::chrono::nanoseconds preAuthorization{};
  std::chrono::nanoseconds postAuthorization{};

  friend constexpr bool operator==(const LaunchTimeouts&, const LaunchTimeouts&) = default;
};

// The host grants a little more than the service takes, so that the service's answer is the one that counts.
inline constexpr LaunchTimeouts serviceLaunchTimeouts{.preAuthorization = std::chrono::seconds(25),
                                                      .postAuthorization = std::chrono::seconds(10)};
inline constexpr LaunchTimeouts hostLaunchTimeouts{.preAuthorization = std::chrono::seconds(30),
                                                   .postAuthorization = std::chrono::seconds(15)};
static_assert(hostLaunchTimeouts.preAuthorization > serviceLaunchTimeouts.preAuthorization &&
              hostLaunchTimeouts.postAuthorization > serviceLaunchTimeouts.postAuthorization);

}  // namespace pellam
