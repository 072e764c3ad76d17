#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace pellam {

// Who the installed application is, as its host states it. Compared member by member, as all records here.
struct OrvoAppBundleUpdateHostIdentity {
  std::string bundleIdentifier;
  std::string applicationVersion;     // CFBundleShortVersionString
  std::int64_t applicationBuild = 0;  // CFBundleVersion
  // The team that the staged bundle must be signed by; absent: the team is not checked.
  std::optional<std::string> expectedTeamIdentifier;
  // Accept a staged bundle with the installed one's build number.
  bool allowsSameBuildReplacement = false;

  friend bool operator==(const OrvoAppBundleUpdateHostIdentity&,
                         const OrvoAppBundleUpdateHostIdentity&) = default;
};

class ProcessInformation;

// The interactive user on whose behalf the helper works.
struct OrvoAppBundleLaunchdUserContext {
  std::uint32_t userIdentifier = 0;
  std::uint32_t groupIdentifier = 0;
  std::string userName;
  std::string homeDirectory;

  // The context of the calling process.
  [[nodiscard]] static OrvoAppBundleLaunchdUserContext currentProcess(const ProcessInformation& process);

  friend bool operator==(const OrvoAppBundleLaunchdUserContext&,
                         const OrvoAppBundleLaunchdUserContext&) = default;
};

// The name of the installer helper in an application's Contents/MacOS.
struct OrvoAppBundleUpdateHelperIdentity {
  static constexpr const char* executableName = "PellamUpdateInstaller";
};

// One replacement, from the host's wish to the helper's work.
struct OrvoAppBundleReplacementRequest {
  std::filesystem::path stagedApplicationURL;     // the unpacked new bundle
  std::filesystem::path installedApplicationURL;  // the bundle to be replaced, at its final place
  std::optional<std::filesystem::path> helperExecutableURL;
  // Present: the staged bundle is validated against it. Absent: nothing is validated.
  std::optional<OrvoAppBundleUpdateHostIdentity> hostIdentity;
  bool shouldRequestAuthorizationIfNeeded = false;
  std::optional<OrvoAppBundleLaunchdUserContext> launchUserContext;
  std::optional<std::filesystem::path> failureReportURL;
  std::optional<std::string> failureReportAttemptIdentifier;

  // The helper's argument vector, without the executable. An argument given here replaces the request's own
  // field of the same meaning. Paths are passed as they are, unquoted and unescaped.
  [[nodiscard]] std::vector<std::string> helperArguments(
      std::int32_t hostProcessIdentifier,
      const std::optional<OrvoAppBundleLaunchdUserContext>& launchUserContextOverride,
      const std::optional<std::filesystem::path>& failureReportURLOverride) const;

  friend bool operator==(const OrvoAppBundleReplacementRequest&,
                         const OrvoAppBundleReplacementRequest&) = default;
};

}  // namespace pellam
