#include "installer/launchd_relauncher.h"

#include <exception>

namespace pellam {

bool OrvoAppBundleLaunchdRelauncher::relaunchApplication(const std::filesystem::path& application) {
  if (!privilegeChecker_->processCanReplaceNonWritableDestination()) {
    return workspaceRelauncher_->relaunchApplication(application);
  }
  try {
    const auto authorization = authorizationProvider_->makeAuthorization();
    const OrvoAppBundleLaunchdJob job = relaunchJob(application);
    if (job.domain == OrvoAppBundleLaunchdJobDomain::system) {
      authorizationProvider_->requestServiceManagementRightsWithoutInteraction(*authorization,
                                                                               serviceManagementRightName);
    }
    jobSubmitter_->submit(job, *authorization, [] { return true; });
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
  if (launchUserContext_) {
    job.domain = OrvoAppBundleLaunchdJobDomain::system;
    job.programArguments = {"/bin/launchctl", "asuser", std::to_string(launchUserContext_->userIdentifier)};
  }
  job.programArguments.emplace_back("/usr/bin/open");
  job.programArguments.push_back(application.string());
  return job;
}

std::string OrvoAppBundleLaunchdRelauncher::relaunchLabel(const std::filesystem::path& application) const {
  const std::optional<Bundle> bundle = bundles_->bundleAt(application);
  const PropertyListText* identifier =
      bundle ? bundle->informationDictionary.findString("CFBundleIdentifier") : nullptr;
  const bool isNamed = identifier != nullptr && !identifier->empty();
  return (isNamed ? identifier->string() : "com.tarnvale") + ".pellam-relaunch";
}

}  // namespace pellam
