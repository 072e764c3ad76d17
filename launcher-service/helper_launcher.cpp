#include "launcher-service/helper_launcher.h"

#include <exception>
#include <optional>
#include <utility>

#include "foundation/text_format.h"
#include "localization/localized_text.h"
#include "pellam/installer_error.h"
#include "platform/security_status.h"

namespace pellam {

namespace {

using Launcher = OrvoAppBundleLaunchdHelperLauncher;
using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

std::string identifierPrefix(const OrvoAppBundleReplacementRequest& request) {
  if (request.hostIdentity && !request.hostIdentity->bundleIdentifier.empty()) {
    return request.hostIdentity->bundleIdentifier;
  }
  return "com.tarnvale.pellam";
}

Result resultOf(const std::exception& error) {
  return Result::launchFailed(
      OrvoAppBundleInstallerFailureDiagnostic::fromError(Phase::jobSubmission, bridge(error)));
}

Result resultOf(const OrvoUpdateInstallerError& error) {
  using Case = OrvoUpdateInstallerError::Case;
  switch (error.errorCase()) {
    case Case::replacementHelperLaunchFailed:
      return Result::launchFailed(*error.diagnostic());
    case Case::replacementHelperLaunchTimedOut:
      return Result::timedOut(*error.phase());
    case Case::authorizationDenied:
      return Result::authorizationDenied(*error.status());
    case Case::authorizationCancelled:
      return Result::authorizationCancelled(*error.status());
    default:
      return resultOf(static_cast<const std::exception&>(error));
  }
}

}  // namespace

Launcher::OrvoAppBundleLaunchdHelperLauncher(Collaborators collaborators) : with_(std::move(collaborators)) {
  provideReplacementChecks(with_.permissionChecker, with_.ownershipMatcher, with_.fileSystem,
                           with_.identifiers);
  if (!with_.launchUserContextProvider) {
    with_.launchUserContextProvider = [process = with_.processInformation] {
      return OrvoAppBundleLaunchdUserContext::currentProcess(*process);
    };
  }
}

Result Launcher::launchReplacement(const OrvoAppBundleReplacementRequest& request,
                                   const LaunchProgressHandler& progressHandler) {
  try {
    return launch(request, progressHandler);
  } catch (const OrvoUpdateInstallerError& error) {
    return resultOf(error);
  } catch (const std::exception& error) {
    return resultOf(error);
  }
}

Result Launcher::launch(const OrvoAppBundleReplacementRequest& request,
                        const LaunchProgressHandler& progressHandler) {
  if (!request.helperExecutableURL) return Result::helperUnavailable();

  const bool isWritable =
      with_.permissionChecker->destinationParentIsWritable(request.installedApplicationURL);
  const bool canPreserveOwnership =
      with_.ownershipMatcher->processCanMatchInstalledOwnership(request.installedApplicationURL);
  const bool needsAuthorization = !isWritable || !canPreserveOwnership;
  if (needsAuthorization) {
    progressHandler(Progress::authorizationRequired(isWritable, canPreserveOwnership));
    if (!request.shouldRequestAuthorizationIfNeeded) {
      return Result::authorizationDenied(security_status::denied);
    }
  }

  if (!with_.preAuthorizationShouldProceed()) return Result::timedOut(Phase::preAuthorization);
  const auto authorization = with_.authorizationProvider->makeAuthorization();
  if (!with_.preAuthorizationShouldProceed()) return Result::timedOut(Phase::preAuthorization);

  if (needsAuthorization) {
    requestRights(*authorization, request, progressHandler);
  } else {
    with_.beginPostAuthorizationPhase();
  }
  const auto shouldProceed = [this, needsAuthorization] {
    return with_.postAuthorizationShouldProceed() && !(needsAuthorization && with_.hostHasGone.isCancelled());
  };
  if (!shouldProceed()) return Result::timedOut(Phase::postAuthorization);

  const auto domain =
      needsAuthorization ? OrvoAppBundleLaunchdJobDomain::system : OrvoAppBundleLaunchdJobDomain::user;
  with_.jobSubmitter->submit(helperJob(request, domain), *authorization, shouldProceed);
  progressHandler(Progress::jobSubmitted());
  return Result::launched();
}

void Launcher::requestRights(OrvoAppBundleLaunchdAuthorization& authorization,
                             const OrvoAppBundleReplacementRequest& request,
                             const LaunchProgressHandler& progressHandler) {
  std::optional<std::uint64_t> begin;
  with_.authorizationProvider->requestAdministratorRights(
      authorization,
      {.customRightName = authorizationRightName(request),
       .serviceManagementRightName = serviceManagementRightName,
       .prompt = authorizationPrompt(request),
       .interactionWillBegin =
           [&] {
             if (!with_.preAuthorizationShouldProceed() || with_.hostHasGone.isCancelled()) {
               throw OrvoUpdateInstallerError::replacementHelperLaunchTimedOut(Phase::preAuthorization);
             }
             begin = with_.monotonicTimeProvider();
             progressHandler(Progress::authorizationBegan());
           },
       .interactionDidEnd =
           [&] {
             const std::uint64_t now = with_.monotonicTimeProvider();
             progressHandler(Progress::authorizationEnded(begin && now > *begin ? now - *begin : 0));
             with_.beginPostAuthorizationPhase();
           },
       .cancellation = with_.hostHasGone});
}

OrvoAppBundleLaunchdJob Launcher::helperJob(const OrvoAppBundleReplacementRequest& request,
                                            OrvoAppBundleLaunchdJobDomain domain) const {
  OrvoAppBundleLaunchdJob job{launchdLabel(request), domain, {request.helperExecutableURL->string()}};
  const std::optional<OrvoAppBundleLaunchdUserContext> user =
      request.launchUserContext ? request.launchUserContext : with_.launchUserContextProvider();
  for (std::string& argument :
       request.helperArguments(with_.processIdentifierProvider(), user, std::nullopt)) {
    job.programArguments.push_back(std::move(argument));
  }
  return job;
}

std::string Launcher::authorizationRightName(const OrvoAppBundleReplacementRequest& request) {
  return identifierPrefix(request) + ".pellam-update";
}

std::string Launcher::launchdLabel(const OrvoAppBundleReplacementRequest& request) {
  return identifierPrefix(request) + launchdLabelEnding;
}

std::string Launcher::authorizationPrompt(const OrvoAppBundleReplacementRequest& request) const {
  const std::filesystem::path& application = request.installedApplicationURL;
  const std::filesystem::path tableBundle =
      with_.bundles->bundleAt(application) ? application : with_.bundles->mainBundlePath();
  const std::string format = localized(*with_.bundles, tableBundle, localized_texts::authorizationPrompt);
  std::string name = application.stem().string();
  if (name.empty()) name = "The app";
  return formatText(format, {name});
}

}  // namespace pellam
