#include "launcher-protocol/replacement_request.h"

#include "launcher-protocol/helper_options.h"
#include "platform/process_information.h"

namespace pellam {

OrvoAppBundleLaunchdUserContext OrvoAppBundleLaunchdUserContext::currentProcess(
    const ProcessInformation& process) {
  return {process.userID(), process.groupID(), process.userName(), process.homeDirectory()};
}

std::vector<std::string> OrvoAppBundleReplacementRequest::helperArguments(
    std::int32_t hostProcessIdentifier,
    const std::optional<OrvoAppBundleLaunchdUserContext>& launchUserContextOverride,
    const std::optional<std::filesystem::path>& failureReportURLOverride) const {
  std::vector<std::string> arguments;
  const auto add = [&arguments](const char* option, std::string value) {
    arguments.emplace_back(option);
    arguments.push_back(std::move(value));
  };
  add(option::stagedApplication, stagedApplicationURL.string());
  add(option::installedApplication, installedApplicationURL.string());
  add(option::hostProcess, std::to_string(hostProcessIdentifier));
  if (hostIdentity) {
    add(option::bundleIdentifier, hostIdentity->bundleIdentifier);
    add(option::applicationVersion, hostIdentity->applicationVersion);
    add(option::applicationBuild, std::to_string(hostIdentity->applicationBuild));
    add(option::allowsSameBuildReplacement, hostIdentity->allowsSameBuildReplacement ? "1" : "0");
    if (hostIdentity->expectedTeamIdentifier) {
      add(option::expectedTeamIdentifier, *hostIdentity->expectedTeamIdentifier);
    }
  }
  if (shouldRequestAuthorizationIfNeeded) arguments.emplace_back(option::authorizeIfNeeded);
  if (const auto& user = launchUserContextOverride ? launchUserContextOverride : launchUserContext) {
    add(option::launchUserIdentifier, std::to_string(user->userIdentifier));
    add(option::launchGroupIdentifier, std::to_string(user->groupIdentifier));
    add(option::launchUserName, user->userName);
    add(option::launchUserHome, user->homeDirectory);
  }
  if (const auto& report = failureReportURLOverride ? failureReportURLOverride : failureReportURL) {
    add(option::failureReport, report->string());
  }
  if (failureReportAttemptIdentifier) {
    add(option::failureReportAttempt, *failureReportAttemptIdentifier);
  }
  return arguments;
}

}  // namespace pellam
