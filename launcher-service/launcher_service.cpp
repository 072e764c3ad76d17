#include "launcher-service/launcher_service.h"

#include <exception>
#include <utility>

#include "launcher-service/helper_launcher.h"
#include "pellam/installer_error.h"

namespace pellam {

namespace {

using Service = OrvoAppBundleInstallerLauncherService;
using Result = OrvoAppBundleReplacementLaunchResult;
using Phase = OrvoAppBundleInstallerLaunchPhase;

Result refusalResult(const std::exception& error) {
  if (const auto* installerError = dynamic_cast<const OrvoUpdateInstallerError*>(&error)) {
    if (installerError->errorCase() == OrvoUpdateInstallerError::Case::replacementHelperUnavailable) {
      return Result::helperUnavailable();
    }
  }
  return Result::protocolFailure(
      OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::messageResolution, bridge(error)));
}

}  // namespace

Service::OrvoAppBundleInstallerLauncherService(
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver,
    std::uint64_t preAuthorizationTimeoutNanoseconds, std::uint64_t postAuthorizationTimeoutNanoseconds,
    MonotonicTimeProvider monotonicTimeProvider, LaunchProgressHandler progressHandler,
    std::shared_ptr<LaunchTasks> tasks, LauncherFactory launcherFactory)
    : launchResolver_(std::move(launchResolver)),
      preAuthorizationTimeoutNanoseconds_(preAuthorizationTimeoutNanoseconds),
      postAuthorizationTimeoutNanoseconds_(postAuthorizationTimeoutNanoseconds),
      monotonicTimeProvider_(std::move(monotonicTimeProvider)),
      progressHandler_(std::move(progressHandler)),
      tasks_(std::move(tasks)),
      launcherFactory_(std::move(launcherFactory)) {}

Service::OrvoAppBundleInstallerLauncherService(
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceLaunchResolving> launchResolver,
    std::uint64_t preAuthorizationTimeoutNanoseconds, std::uint64_t postAuthorizationTimeoutNanoseconds,
    const MonotonicTimeProvider& monotonicTimeProvider, LaunchProgressHandler progressHandler,
    std::shared_ptr<LaunchTasks> tasks, const ServicePlatform& platform)
    : OrvoAppBundleInstallerLauncherService(std::move(launchResolver), preAuthorizationTimeoutNanoseconds,
                                            postAuthorizationTimeoutNanoseconds, monotonicTimeProvider,
                                            std::move(progressHandler), std::move(tasks),
                                            makeDefaultLauncherFactory(platform, monotonicTimeProvider)) {}

void Service::launchReplacement(const PropertyListDictionary& message, Reply reply) {
  progressHandler_(OrvoAppBundleInstallerLaunchProgress::handoffStarted());
  const auto budget = std::make_shared<OrvoAppBundleInstallerLaunchPhaseBudget>(
      preAuthorizationTimeoutNanoseconds_, postAuthorizationTimeoutNanoseconds_, monotonicTimeProvider_);
  OrvoAppBundleXPCReplacementLaunch launch;
  try {
    launch = launchResolver_->makeLaunch(message);
  } catch (const std::exception& error) {
    reply(refusalResult(error).xpcDictionary());
    return;
  }
  if (!budget->preAuthorizationShouldProceed()) {
    reply(Result::timedOut(Phase::messageResolution).xpcDictionary());
    return;
  }
  try {
    const auto launcher = launcherFactory_(launch.hostProcessIdentifier, budget);
    tasks_->start([launcher, request = std::move(launch.request), progress = progressHandler_, reply] {
      reply(launcher->launchReplacement(request, progress).xpcDictionary());
    });
  } catch (const std::exception& error) {
    reply(refusalResult(error).xpcDictionary());
  }
}

Service::LauncherFactory makeDefaultLauncherFactory(const ServicePlatform& platform,
                                                    MonotonicTimeProvider monotonicTimeProvider) {
  return [platform, time = std::move(monotonicTimeProvider)](
             std::int32_t hostProcessIdentifier,
             const std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget>& budget) {
    OrvoAppBundleLaunchdHelperLauncher::Collaborators with;
    with.permissionChecker =
        std::make_shared<OrvoAppBundleReplacementWriteProbe>(platform.fileSystem, platform.identifiers);
    with.ownershipMatcher =
        std::make_shared<OrvoAppBundleReplacementOwnershipMatcher>(platform.fileSystem, platform.identifiers);
    with.authorizationProvider =
        std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(platform.securityClient);
    with.jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(platform.jobControl);
    with.processIdentifierProvider = [hostProcessIdentifier] { return hostProcessIdentifier; };
    with.launchUserContextProvider = [process = platform.processInformation] {
      return OrvoAppBundleLaunchdUserContext::currentProcess(*process);
    };
    with.preAuthorizationShouldProceed = [budget] { return budget->preAuthorizationShouldProceed(); };
    with.beginPostAuthorizationPhase = [budget] { budget->beginPostAuthorizationPhase(); };
    with.postAuthorizationShouldProceed = [budget] { return budget->postAuthorizationShouldProceed(); };
    with.monotonicTimeProvider = time;
    with.bundles = platform.bundles;
    return std::make_shared<OrvoAppBundleLaunchdHelperLauncher>(std::move(with));
  };
}

}  // namespace pellam
