#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "foundation/diagnostic_log.h"
#include "installer/bundle_swap.h"
#include "installer/relaunching.h"
#include "installer/replacement_checks.h"
#include "installer/update_validation.h"
#include "launcher-protocol/replacement_request.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"

namespace pellam {

struct OrvoAppBundleReplacementResult {
  std::filesystem::path installedApplicationURL;  // the new bundle, at its final place
  std::filesystem::path backupApplicationURL;     // where the old bundle was; already deleted

  friend bool operator==(const OrvoAppBundleReplacementResult&,
                         const OrvoAppBundleReplacementResult&) = default;
};

// Replaces an installed application bundle by a staged one: checks, validation, ownership, quarantine, the
// swap of the two (installer/bundle_swap.h), relaunch, clean-up.
//
// What is on the disk:
//                              installed     backup        staged
//   before the swap            old bundle    none          new bundle
//   after it                   new bundle    old bundle    none, or its copy's original on another volume
//   success                    new bundle    removed       none; the attempt's folder is removed
//   swap failed                old bundle    none          new bundle
//   relaunch refused           old bundle    none          none
// In between a bundle may carry a hidden name beside the installed one (installer/own_names.h). The installed
// path is empty at no moment where names can be exchanged in one step, elsewhere between two renames; a
// process that is killed there leaves the backup, which recoverInterruptedReplacement puts back.
//
// One replacement per call; no state between calls. Blocks; runs wholly on the caller's thread.
class OrvoAppBundleReplacementExecutor {
 public:
  using ValidatorMaking = std::function<std::unique_ptr<OrvoAppBundleUpdateValidating>()>;
  // Hears of a failure before the application is relaunched.
  using FailureObserver = std::function<void(const std::exception&)>;

  struct Collaborators {
    std::shared_ptr<FileSystem> fileSystem;
    std::shared_ptr<OrvoAppBundleReplacementRelaunching> relauncher;
    std::shared_ptr<OrvoAppBundleReplacementPermissionChecking>
        permissionChecker{};  // absent: the write probe
    std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker;
    std::shared_ptr<OrvoAppBundleReplacementOwnershipMatching>
        ownershipMatcher{};         // absent: the system's own
    DiagnosticLog diagnosticLog{};  // absent: nothing is logged
    std::shared_ptr<UUIDGenerating> identifiers;
    // Called when a request has a host identity to validate against; the validator logs to the system log,
    // not to this one's.
    ValidatorMaking makeValidator{};
  };

  explicit OrvoAppBundleReplacementExecutor(Collaborators collaborators);

  // Throws the OrvoUpdateInstallerError of the step that failed, unchanged, after the observer has heard of
  // it and the application that is then installed, if it is a folder, has been relaunched. The error behind a
  // replacementFailed, where there is one, is nested in it.
  OrvoAppBundleReplacementResult executeReplacement(const OrvoAppBundleReplacementRequest& request,
                                                    const FailureObserver& onFailure = {});

 private:
  struct Paths;

  OrvoAppBundleReplacementResult performReplacement(const OrvoAppBundleReplacementRequest& request);
  void checkPreconditions(const OrvoAppBundleReplacementRequest& request, const Paths& paths);
  void relaunchOrRestore(BundleSwap& swap, const std::filesystem::path& installed);
  void relaunchInstalledApplicationIfPossible(const std::filesystem::path& installed);

  Collaborators with_;
};

}  // namespace pellam
