#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "launcher-protocol/replacement_request.h"
#include "launcher-service/host_identity_resolver.h"
#include "pellam/property_list_value.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"

namespace pellam {

// A message that has been checked: every location and identity in the request is the service's own finding.
struct OrvoAppBundleXPCReplacementLaunch {
  OrvoAppBundleReplacementRequest request;
  std::int32_t hostProcessIdentifier = 0;

  friend bool operator==(const OrvoAppBundleXPCReplacementLaunch&,
                         const OrvoAppBundleXPCReplacementLaunch&) = default;
};

class OrvoAppBundleInstallerLauncherServiceLaunchResolving {
 public:
  virtual ~OrvoAppBundleInstallerLauncherServiceLaunchResolving() = default;
  // Throws OrvoAppBundleInstallerLaunchRefusal, or the OrvoUpdateInstallerError replacementHelperUnavailable
  // when the application has no installer helper. Nothing on disk is changed.
  [[nodiscard]] virtual OrvoAppBundleXPCReplacementLaunch makeLaunch(
      const PropertyListDictionary& message) = 0;
};

// Turns a host's message into a launch that can be trusted: the host may only ask to replace the very bundle
// that embeds this service, and may only name one of the two known places for a failure report. Keeps nothing
// between messages; any thread; blocks while the signing tool runs.
class OrvoAppBundleInstallerLauncherServiceLaunchResolver final
    : public OrvoAppBundleInstallerLauncherServiceLaunchResolving {
 public:
  using ContainingApplicationURLProvider = std::function<std::optional<std::filesystem::path>()>;

  struct Collaborators {
    // Absent: the application is found from this service's own place inside it.
    ContainingApplicationURLProvider containingApplicationURLProvider{};
    std::shared_ptr<OrvoAppBundleInstallerLauncherServiceHostIdentityResolving> hostIdentityResolver;
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider;
    std::function<std::int32_t()> hostProcessIdentifierProvider;
    std::shared_ptr<FileSystem> fileSystem;
    std::shared_ptr<BundleLoading> bundles;
    std::string
        helperExecutableName{};  // accepted for callers that still pass one; the helper's name is fixed
  };

  explicit OrvoAppBundleInstallerLauncherServiceLaunchResolver(Collaborators collaborators);

  [[nodiscard]] OrvoAppBundleXPCReplacementLaunch makeLaunch(const PropertyListDictionary& message) override;

  // The application three folders above this service's bundle; nothing when the service is not an ".xpc"
  // inside an ".app".
  [[nodiscard]] static std::optional<std::filesystem::path> defaultContainingApplicationURL(
      const FileSystem& fileSystem, const BundleLoading& bundles);

 private:
  [[nodiscard]] std::optional<std::filesystem::path> resolvedFailureReportURL(
      const std::optional<std::filesystem::path>& requested, const std::string& bundleIdentifier,
      const std::string& homeDirectory) const;
  [[nodiscard]] bool reportPathsHaveSameParentAndFilename(const std::filesystem::path& left,
                                                          const std::filesystem::path& right) const;

  Collaborators with_;
};

}  // namespace pellam
