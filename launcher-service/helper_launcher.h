#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "installer/replacement_checks.h"
#include "jobs/authorization_provider.h"
#include "jobs/job_submitter.h"
#include "launcher-protocol/helper_launching.h"
#include "pellam/cancellation.h"
#include "platform/bundle_loading.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/process_information.h"

namespace pellam {

// Carries out one verified launch: finds out whether administrator rights are needed, asks for them when that
// is allowed, and submits the installer helper as a job of the user or of the system. The time before the
// question and the time after it are limited by the three budget operations; the time that the user takes to
// answer is not, but the question ends with the host that wanted it, and what is answered after that starts
// nothing. A launch that needs no question goes on without its host. One instance per launch.
class OrvoAppBundleLaunchdHelperLauncher final : public OrvoAppBundleUpdateHelperLaunching {
 public:
  // Permission checker, ownership matcher and launch user context provider may be absent: then they are a
  // write probe, the ownership matcher of this system and this process's user, made of the last three. The
  // others are required.
  struct Collaborators {
    std::shared_ptr<OrvoAppBundleReplacementPermissionChecking> permissionChecker{};
    std::shared_ptr<OrvoAppBundleReplacementOwnershipMatching> ownershipMatcher{};
    std::shared_ptr<OrvoAppBundleLaunchdAuthorizationProviding> authorizationProvider;
    std::shared_ptr<OrvoAppBundleLaunchdJobSubmitting> jobSubmitter;
    std::function<std::int32_t()> processIdentifierProvider;  // the host's
    std::function<OrvoAppBundleLaunchdUserContext()> launchUserContextProvider{};
    std::function<bool()> preAuthorizationShouldProceed;
    std::function<void()> beginPostAuthorizationPhase;
    std::function<bool()> postAuthorizationShouldProceed;
    MonotonicTimeProvider monotonicTimeProvider;
    std::shared_ptr<BundleLoading> bundles;
    std::shared_ptr<FileSystem> fileSystem{};
    std::shared_ptr<UUIDGenerating> identifiers{};
    std::shared_ptr<ProcessInformation> processInformation{};
    CancellationToken hostHasGone{};
  };

  explicit OrvoAppBundleLaunchdHelperLauncher(Collaborators collaborators);

  // Blocks; never throws. Progress is reported on the calling thread.
  [[nodiscard]] OrvoAppBundleReplacementLaunchResult launchReplacement(
      const OrvoAppBundleReplacementRequest& request, const LaunchProgressHandler& progressHandler) override;

  [[nodiscard]] static std::string authorizationRightName(const OrvoAppBundleReplacementRequest& request);
  static constexpr const char* launchdLabelEnding = ".pellam-updater";
  [[nodiscard]] static std::string launchdLabel(const OrvoAppBundleReplacementRequest& request);
  // What the user reads in the authorization dialog, in the user's language.
  [[nodiscard]] std::string authorizationPrompt(const OrvoAppBundleReplacementRequest& request) const;

 private:
  [[nodiscard]] OrvoAppBundleReplacementLaunchResult launch(const OrvoAppBundleReplacementRequest& request,
                                                            const LaunchProgressHandler& progressHandler);
  void requestRights(OrvoAppBundleLaunchdAuthorization& authorization,
                     const OrvoAppBundleReplacementRequest& request,
                     const LaunchProgressHandler& progressHandler);
  [[nodiscard]] OrvoAppBundleLaunchdJob helperJob(const OrvoAppBundleReplacementRequest& request,
                                                  OrvoAppBundleLaunchdJobDomain domain) const;

  Collaborators with_;
};

}  // namespace pellam
