#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "installer/relaunching.h"
#include "installer/replacement_checks.h"
#include "jobs/authorization_provider.h"
#include "jobs/job_submitter.h"
#include "launcher-protocol/replacement_request.h"
#include "platform/bundle_loading.h"

namespace pellam {

// Starts the updated application from a privileged helper through a job, as the user for whom the helper
// works when that is known; from an ordinary process it leaves the start to the workspace. Blocks until the
// job is started. Single-threaded.
class OrvoAppBundleLaunchdRelauncher final : public OrvoAppBundleReplacementRelaunching {
 public:
  struct Collaborators {
    std::shared_ptr<OrvoAppBundleReplacementRelaunching> workspaceRelauncher;
    std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker;
    std::shared_ptr<OrvoAppBundleLaunchdAuthorizationProviding> authorizationProvider;
    std::shared_ptr<OrvoAppBundleLaunchdJobSubmitting> jobSubmitter;
    std::shared_ptr<BundleLoading> bundles;
    std::optional<OrvoAppBundleLaunchdUserContext> launchUserContext{};
  };

  explicit OrvoAppBundleLaunchdRelauncher(Collaborators collaborators) : with_(std::move(collaborators)) {}

  [[nodiscard]] bool relaunchApplication(const std::filesystem::path& application) override;
  [[nodiscard]] OrvoAppBundleLaunchdJob relaunchJob(const std::filesystem::path& application) const;
  [[nodiscard]] std::string relaunchLabel(const std::filesystem::path& application) const;

 private:
  Collaborators with_;
};

}  // namespace pellam
