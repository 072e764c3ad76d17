#pragma once

// The options of the installer helper's command line, in the order in which they are written.
namespace pellam::option {

inline constexpr const char* stagedApplication = "--staged-app";
inline constexpr const char* installedApplication = "--installed-app";
inline constexpr const char* hostProcess = "--host-pid";
inline constexpr const char* bundleIdentifier = "--bundle-id";
inline constexpr const char* applicationVersion = "--app-version";
inline constexpr const char* applicationBuild = "--app-build";
inline constexpr const char* allowsSameBuildReplacement = "--allows-same-build-replacement";
inline constexpr const char* expectedTeamIdentifier = "--expected-team-id";
inline constexpr const char* authorizeIfNeeded = "--authorize-if-needed";  // the only one without a value
inline constexpr const char* launchUserIdentifier = "--launch-user-id";
inline constexpr const char* launchGroupIdentifier = "--launch-group-id";
inline constexpr const char* launchUserName = "--launch-user-name";
inline constexpr const char* launchUserHome = "--launch-user-home";
inline constexpr const char* failureReport = "--failure-report-url";  // its value is a path
inline constexpr const char* failureReportAttempt = "--failure-report-attempt-id";

}  // namespace pellam::option
