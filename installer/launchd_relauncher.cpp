#include "installer/launchd_relauncher.h"

#include <exception>

namespace pellam {

bool OrvoAppBundleLaunchdRelauncher::relaunchApplication(const std::filesystem::path& application) {
  if (!with_.privilegeChecker->processCanReplaceNonWritableDestination()) {
    return with_.workspaceRelauncher->relaunchApplication(application);
  }
  try {
    const auto authorization = with_.authorizationProvider->makeAuthorization();
    const OrvoAppBundleLaunchdJob job = relaunchJob(application);
    if (job.domain == OrvoAppBundleLaunchdJobDomain::system) {
      with_.authorizationProvider->requestServiceManagementRightsWithoutInteraction(
          *authorization, serviceManagementRightName);
    }
    with_.jobSubmitter->submit(job, *authorization, [] { return true; });
    return true;
  } catch (const std::exception&) {
    // The caller only needs to know that the application is not running; it restores the old one.
    return false;
  }
}

OrvoAppBundleLaunchdJob OrvoAppBundleLaunchdRelauncher::relaunchJob(
    const std::filesystem::path& application) const {
  OrvoAppBundleLaunchdJob job;
  job.label = relaunchLabel(application);
  if (with_.launchUserContext) {
    job.domain = OrvoAppBundleLaunchdJobDomain::system;
    job.programArguments = {"/bin/launchctl", "asuser",
                            std::to_string(with_.launchUserContext->userIdentifier)};
  }
  job.programArguments.emplace_back("/usr/bin/open");
  job.programArguments.push_back(application.string());
  return job;
}

std::string OrvoAppBundleLaunchdRelauncher::relaunchLabel(const std::filesystem::path& application) const {
  const std::optional<Bundle> bundle = with_.bundles->bundleAt(application);
  const std::optional<std::string> identifier = bundle ? bundle->bundleIdentifier() : std::nullopt;
  const bool isNamed = identifier && !identifier->empty();
  return (isNamed ? *identifier : "com.tarnvale") + ".pellam-relaunch";
}

}  // namespace pellam
