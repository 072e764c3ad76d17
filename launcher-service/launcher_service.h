#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "launcher-protocol/helper_launching.h"
#include "launcher-protocol/launch_timeouts.h"
#include "launcher-service/launch_resolver.h"
#include "launcher-service/launch_tasks.h"
#include "launcher-service/phase_budget.h"
#include "launcher-service/service_platform.h"
#include "pellam/cancellation.h"
#include "platform/clock.h"
#include "platform/service_connection.h"

namespace pellam {

// Answers the replacement messages of one connection: exactly one reply each, never an error. A message is
// resolved on the connection's thread; the launch itself runs as a task, which keeps what it needs alive, so
// that it goes on when the host or the connection is gone. The connection alone owns this object: its
// destruction is how the host's end is noticed, and ends the questions that were asked for that host.
class OrvoAppBundleInstallerLauncherService final : public OrvoAppBundleInstallerLauncherXPCProtocol {
 public:
  using LauncherFactory = std::function<std::shared_ptr<OrvoAppBundleUpdateHelperLaunching>(
      std::int32_t hostProcessIdentifier, std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget> budget,
      CancellationToken hostHasGone)>;

  struct Collaborators {
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver;
    LaunchTimeouts timeouts = serviceLaunchTimeouts;  // others in tests
    MonotonicTimeProvider monotonicTimeProvider;
    LaunchProgressHandler progressHandler;
    std::shared_ptr<LaunchTasks> tasks;
    LauncherFactory launcherFactory;  // the platform's: makeDefaultLauncherFactory()
  };

  explicit OrvoAppBundleInstallerLauncherService(Collaborators collaborators)
      : with_(std::move(collaborators)) {}
  ~OrvoAppBundleInstallerLauncherService() override { hostHasGone_.cancel(); }
  OrvoAppBundleInstallerLauncherService(const OrvoAppBundleInstallerLauncherService&) = delete;
  OrvoAppBundleInstallerLauncherService& operator=(const OrvoAppBundleInstallerLauncherService&) = delete;

  // The reply may be called before this returns, or later on the launch's thread.
  void launchReplacement(const PropertyListDictionary& message, Reply reply) override;

 private:
  Collaborators with_;
  CancellationSource hostHasGone_;
};

// Makes a launchd helper launcher over the platform for each launch.
[[nodiscard]] OrvoAppBundleInstallerLauncherService::LauncherFactory makeDefaultLauncherFactory(
    const ServicePlatform& platform, MonotonicTimeProvider monotonicTimeProvider);

}  // namespace pellam
