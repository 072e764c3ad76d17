#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "launcher-protocol/replacement_request.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"

namespace pellam {

class OrvoAppBundleInstallerLauncherServiceHostIdentityResolving {
 public:
  virtual ~OrvoAppBundleInstallerLauncherServiceHostIdentityResolving() = default;
  // Throws OrvoAppBundleInstallerLaunchRefusal.
  [[nodiscard]] virtual OrvoAppBundleUpdateHostIdentity makeHostIdentity(
      const std::filesystem::path& containingApplication,
      const OrvoAppBundleUpdateHostIdentity& requestedIdentity) = 0;
};

// Finds out who the application is that embeds this service, from its Info.plist and its code signature, and
// refuses a host that says it is somebody else. Only the wish to replace a bundle by one of the same build is
// taken from the host. Stateless; any thread; blocks while the signing tool runs.
class OrvoAppBundleInstallerLauncherServiceHostIdentityResolver final
    : public OrvoAppBundleInstallerLauncherServiceHostIdentityResolving {
 public:
  OrvoAppBundleInstallerLauncherServiceHostIdentityResolver(std::shared_ptr<BundleLoading> bundles,
                                                            std::shared_ptr<ChildProcessRunning> processes)
      : bundles_(std::move(bundles)), processes_(std::move(processes)) {}

  [[nodiscard]] OrvoAppBundleUpdateHostIdentity makeHostIdentity(
      const std::filesystem::path& containingApplication,
      const OrvoAppBundleUpdateHostIdentity& requestedIdentity) override;

  // The Team ID in the bundle's signature. Throws OrvoAppBundleInstallerLaunchRefusal.
  [[nodiscard]] std::string readTeamIdentifier(const std::filesystem::path& appBundle) const;

 private:
  struct ToolResult {
    std::int32_t terminationStatus = 0;
    std::string output;
  };
  // A tool that cannot be started counts as one that failed with status 1 and printed why.
  [[nodiscard]] ToolResult runCodesign(const std::vector<std::string>& arguments) const;

  std::shared_ptr<BundleLoading> bundles_;
  std::shared_ptr<ChildProcessRunning> processes_;
};

}  // namespace pellam
