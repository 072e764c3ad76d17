#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "foundation/diagnostic_log.h"
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

// Replaces an installed application bundle by a staged one: checks, validation, ownership, quarantine, two
// renames with a backup between them, relaunch, clean-up.
//
// What is on the disk:
//                              installed     backup        staged
//   before the first rename    old bundle    none          new bundle
//   after the first            none          old bundle    new bundle
//   after the second           new bundle    old bundle    none
//   success                    new bundle    removed       none; the attempt's folder is removed
//   second rename failed       old bundle    none          new bundle
//   relaunch refused           old bundle    none          none
// After a first rename that failed, the restore finds no backup: the old bundle stays if it cannot be
// removed, else the new one takes its place. When the staged bundle lies on another volume it is first
// copied, under a hidden name, beside the installed one ("incomingNameInfix"), so that the two renames are
// always all that happens in between; a failure removes the copy. A process that is killed between the
// renames leaves the backup, which recoverInterruptedReplacement puts back.
//
// One replacement per call; no state between calls. Blocks; runs wholly on the caller's thread.
class OrvoAppBundleReplacementExecutor {
 public:
  using ValidatorMaking = std::function<std::unique_ptr<OrvoAppBundleUpdateValidating>()>;
  // Hears of a failure before the application is relaunched.
  using FailureObserver = std::function<void(const std::exception&)>;

  static constexpr const char* backupNameInfix = ".orvo-update-backup-";
  static constexpr const char* incomingNameInfix = ".orvo-update-incoming-";

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
  [[nodiscard]] std::filesystem::path makeBackupURL(const std::filesystem::path& installed);
  [[nodiscard]] std::filesystem::path bringBesideInstalled(const Paths& paths);
  void swap(const Paths& paths, const std::filesystem::path& incoming, const std::filesystem::path& backup);
  void restoreBackup(const std::filesystem::path& backup, const std::filesystem::path& installed);
  void restoreBackupIgnoringErrors(const std::filesystem::path& backup,
                                   const std::filesystem::path& installed);
  void leaveSomethingInstalled(const std::filesystem::path& backup, const std::filesystem::path& incoming,
                               const std::filesystem::path& installed);
  void cleanupAfterSuccessfulReplacement(const std::filesystem::path& backup,
                                         const std::filesystem::path& staged);
  void relaunchInstalledApplicationIfPossible(const std::filesystem::path& installed);
  void removeIgnoringErrors(const std::filesystem::path& item);

  Collaborators with_;
};

}  // namespace pellam
