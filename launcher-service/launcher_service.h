#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "launcher-protocol/helper_launching.h"
#include "launcher-service/launch_resolver.h"
#include "launcher-service/launch_tasks.h"
#include "launcher-service/phase_budget.h"
#include "launcher-service/service_platform.h"
#include "platform/clock.h"
#include "platform/service_connection.h"

namespace pellam {

// Answers the replacement messages of one connection: exactly one reply each, never an error. A message is
// resolved on the connection's thread; the launch itself runs as a task, which keeps what it needs alive, so
// that it goes on when the host or the connection is gone.
class OrvoAppBundleInstallerLauncherService final : public OrvoAppBundleInstallerLauncherXPCProtocol {
 public:
  using LauncherFactory = std::function<std::shared_ptr<OrvoAppBundleUpdateHelperLaunching>(
      std::int32_t hostProcessIdentifier, std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget> budget)>;

  OrvoAppBundleInstallerLauncherService(
      std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver,
      std::uint64_t preAuthorizationTimeoutNanoseconds, std::uint64_t postAuthorizationTimeoutNanoseconds,
      MonotonicTimeProvider monotonicTimeProvider, LaunchProgressHandler progressHandler,
      std::shared_ptr<LaunchTasks> tasks, LauncherFactory launcherFactory);

  // With the launcher of the platform: makeDefaultLauncherFactory().
  OrvoAppBundleInstallerLauncherService(
      std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver,
      std::uint64_t preAuthorizationTimeoutNanoseconds, std::uint64_t postAuthorizationTimeoutNanoseconds,
      const MonotonicTimeProvider& monotonicTimeProvider, LaunchProgressHandler progressHandler,
      std::shared_ptr<LaunchTasks> tasks, const ServicePlatform& platform);

  // The reply may be called before this returns, or later on the launch's thread.
  void launchReplacement(const PropertyListDictionary& message, Reply reply) override;

 private:
  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver_;
  std::uint64_t preAuthorizationTimeoutNanoseconds_;
  std::uint64_t postAuthorizationTimeoutNanoseconds_;
  MonotonicTimeProvider monotonicTimeProvider_;
  LaunchProgressHandler progressHandler_;
  std::shared_ptr<LaunchTasks> tasks_;
  LauncherFactory launcherFactory_;
};

// Makes a launchd helper launcher over the platform for each launch.
[[nodiscard]] OrvoAppBundleInstallerLauncherService::LauncherFactory makeDefaultLauncherFactory(
    const ServicePlatform& platform, MonotonicTimeProvider monotonicTimeProvider);

}  // namespace pellam
