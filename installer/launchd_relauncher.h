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
  OrvoAppBundleLaunchdRelauncher(
      std::shared_ptr<OrvoAppBundleReplacementRelaunching> workspaceRelauncher,
      std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker,
      std::shared_ptr<OrvoAppBundleLaunchdAuthorizationProviding> authorizationProvider,
      std::shared_ptr<OrvoAppBundleLaunchdJobSubmitting> jobSubmitter, std::shared_ptr<BundleLoading> bundles,
      std::optional<OrvoAppBundleLaunchdUserContext> launchUserContext)
      : workspaceRelauncher_(std::move(workspaceRelauncher)),
        privilegeChecker_(std::move(privilegeChecker)),
        authorizationProvider_(std::move(authorizationProvider)),
        jobSubmitter_(std::move(jobSubmitter)),
        bundles_(std::move(bundles)),
        launchUserContext_(std::move(launchUserContext)) {}

  [[nodiscard]] bool relaunchApplication(const std::filesystem::path& application) override;
  [[nodiscard]] OrvoAppBundleLaunchdJob relaunchJob(const std::filesystem::path& application) const;
  [[nodiscard]] std::string relaunchLabel(const std::filesystem::path& application) const;

 private:
  std::shared_ptr<OrvoAppBundleReplacementRelaunching> workspaceRelauncher_;
  std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker_;
  std::shared_ptr<OrvoAppBundleLaunchdAuthorizationProviding> authorizationProvider_;
  std::shared_ptr<OrvoAppBundleLaunchdJobSubmitting> jobSubmitter_;
  std::shared_ptr<BundleLoading> bundles_;
  std::optional<OrvoAppBundleLaunchdUserContext> launchUserContext_;
};

}  // namespace pellam
