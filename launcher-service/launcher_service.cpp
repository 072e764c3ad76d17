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

void Service::launchReplacement(const PropertyListDictionary& message, Reply reply) {
  with_.progressHandler(OrvoAppBundleInstallerLaunchProgress::handoffStarted());
  const auto budget =
      std::make_shared<OrvoAppBundleInstallerLaunchPhaseBudget>(with_.timeouts, with_.monotonicTimeProvider);
  OrvoAppBundleXPCReplacementLaunch launch;
  try {
    launch = with_.launchResolver->makeLaunch(message);
  } catch (const std::exception& error) {
    reply(refusalResult(error).xpcDictionary());
    return;
  }
  if (!budget->preAuthorizationShouldProceed()) {
    reply(Result::timedOut(Phase::messageResolution).xpcDictionary());
    return;
  }
  try {
    const auto launcher = with_.launcherFactory(launch.hostProcessIdentifier, budget, hostHasGone_.token());
    with_.tasks->start([launcher, request = std::move(launch.request), progress = with_.progressHandler,
                        reply] { reply(launcher->launchReplacement(request, progress).xpcDictionary()); });
  } catch (const std::exception& error) {
    reply(refusalResult(error).xpcDictionary());
  }
}

Service::LauncherFactory makeDefaultLauncherFactory(const ServicePlatform& platform,
                                                    MonotonicTimeProvider monotonicTimeProvider) {
  return [platform, time = std::move(monotonicTimeProvider)](
             std::int32_t hostProcessIdentifier,
             const std::shared_ptr<OrvoAppBundleInstallerLaunchPhaseBudget>& budget,
             CancellationToken hostHasGone) {
    return std::make_shared<OrvoAppBundleLaunchdHelperLauncher>(
        OrvoAppBundleLaunchdHelperLauncher::Collaborators{
            .authorizationProvider =
                std::make_shared<OrvoAppBundleSecurityAuthorizationProvider>(platform.securityClient),
            .jobSubmitter = std::make_shared<OrvoAppBundleServiceManagementJobSubmitter>(platform.jobControl),
            .processIdentifierProvider = [hostProcessIdentifier] { return hostProcessIdentifier; },
            .preAuthorizationShouldProceed = [budget] { return budget->preAuthorizationShouldProceed(); },
            .beginPostAuthorizationPhase = [budget] { budget->beginPostAuthorizationPhase(); },
            .postAuthorizationShouldProceed = [budget] { return budget->postAuthorizationShouldProceed(); },
            .monotonicTimeProvider = time,
            .bundles = platform.bundles,
            .fileSystem = platform.fileSystem,
            .identifiers = platform.identifiers,
            .processInformation = platform.processInformation,
            .hostHasGone = std::move(hostHasGone)});
  };
}

}  // namespace pellam
