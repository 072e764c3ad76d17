#include "installer/replacement_executor.h"

#include <exception>
#include <utility>

#include "foundation/item_path.h"
#include "installer/file_safety.h"
#include "installer/quarantine_release.h"
#include "installer/staging_folder.h"
#include "pellam/installer_error.h"

namespace pellam {

using Error = OrvoUpdateInstallerError;
using Path = std::filesystem::path;
using Executor = OrvoAppBundleReplacementExecutor;

struct Executor::Paths {
  Path staged;
  Path installed;
};

namespace {

bool isFolder(const FileSystem& fileSystem, const Path& path) {
  try {
    bool isDirectory = false;
    return fileSystem.itemExists(path, &isDirectory) && isDirectory;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

Executor::OrvoAppBundleReplacementExecutor(
    std::shared_ptr<FileSystem> fileSystem, std::shared_ptr<OrvoAppBundleReplacementRelaunching> relauncher,
    std::shared_ptr<OrvoAppBundleReplacementPermissionChecking> permissionChecker,
    std::shared_ptr<OrvoAppBundleReplacementPrivilegeChecking> privilegeChecker,
    std::shared_ptr<OrvoAppBundleReplacementOwnershipMatching> ownershipMatcher, DiagnosticLog diagnosticLog,
    std::shared_ptr<UUIDGenerating> identifiers, ValidatorMaking makeValidator)
    : fileSystem_(std::move(fileSystem)),
      relauncher_(std::move(relauncher)),
      permissionChecker_(std::move(permissionChecker)),
      privilegeChecker_(std::move(privilegeChecker)),
      ownershipMatcher_(std::move(ownershipMatcher)),
      diagnosticLog_(std::move(diagnosticLog)),
      identifiers_(std::move(identifiers)),
      makeValidator_(std::move(makeValidator)) {
  if (!permissionChecker_) {
    permissionChecker_ = std::make_shared<OrvoAppBundleReplacementWriteProbe>(fileSystem_, identifiers_);
  }
  if (!ownershipMatcher_) {
    ownershipMatcher_ = std::make_shared<OrvoAppBundleReplacementOwnershipMatcher>(fileSystem_, identifiers_);
  }
}

OrvoAppBundleReplacementResult Executor::executeReplacement(const OrvoAppBundleReplacementRequest& request,
                                                            const FailureObserver& onFailure) {
  try {
    return performReplacement(request);
  } catch (const std::exception& error) {
    if (onFailure) onFailure(error);
    relaunchInstalledApplicationIfPossible(withoutTrailingSlash(request.installedApplicationURL));
    throw;
  }
}

OrvoAppBundleReplacementResult Executor::performReplacement(const OrvoAppBundleReplacementRequest& request) {
  const Paths paths{withoutTrailingSlash(request.stagedApplicationURL),
                    withoutTrailingSlash(request.installedApplicationURL)};
  checkPreconditions(request, paths);
  ownershipMatcher_->matchOwnerAndGroupOfItem(paths.staged, paths.installed);
  releaseStagedAppFromQuarantineIfPossible(*fileSystem_, paths.staged, diagnosticLog_);
  const Path backup = makeBackupURL(paths.installed);
  const Path incoming = bringBesideInstalled(paths);
  try {
    swap(paths, incoming, backup);
  } catch (const std::exception&) {
    if (incoming != paths.staged) removeIgnoringErrors(incoming);
    throw;
  }
  cleanupAfterSuccessfulReplacement(backup, paths.staged);
  return {paths.installed, backup};
}

void Executor::checkPreconditions(const OrvoAppBundleReplacementRequest& request, const Paths& paths) {
  if (!OrvoAppBundleFileSafety::isRealDirectoryAppBundle(*fileSystem_, paths.staged) ||
      !isFolder(*fileSystem_, paths.installed)) {
    throw Error(Error::Case::replacementFailed);
  }
  if (request.hostIdentity) makeValidator_()->validateAppBundle(paths.staged, *request.hostIdentity);
  if (!permissionChecker_->destinationParentIsWritable(paths.installed) &&
      !privilegeChecker_->processCanReplaceNonWritableDestination()) {
    throw Error(Error::Case::destinationNotWritable);
  }
}

Path Executor::makeBackupURL(const Path& installed) {
  return installed.parent_path() /
         (installed.filename().string() + backupNameInfix + identifiers_->makeUUID());
}

// The bundle to rename into place: the staged one itself, or a copy of it on the installed bundle's volume.
// Its contents are on the disk before anything is renamed: a rename is written through sooner than the files
// it makes visible, and a power failure must not leave a new bundle of empty files.
Path Executor::bringBesideInstalled(const Paths& paths) {
  const Path folder = paths.installed.parent_path();
  bool isOnSameVolume = true;
  try {
    isOnSameVolume = fileSystem_->attributes(paths.staged).fileSystemNumber ==
                     fileSystem_->attributes(fileSystem_->resolvingSymlinks(folder)).fileSystemNumber;
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  if (isOnSameVolume) {
    try {
      fileSystem_->synchronizeVolume(paths.staged);
    } catch (const std::exception&) {
      std::throw_with_nested(Error(Error::Case::replacementFailed));
    }
    return paths.staged;
  }
  Path incoming =
      folder / ("." + paths.installed.filename().string() + incomingNameInfix + identifiers_->makeUUID());
  try {
    fileSystem_->copyItem(paths.staged, incoming);
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  return incoming;
}

void Executor::swap(const Paths& paths, const Path& incoming, const Path& backup) {
  try {
    fileSystem_->moveItem(paths.installed, backup);
    fileSystem_->moveItem(incoming, paths.installed);
  } catch (const std::exception&) {
    // Also after a first move that failed, which a platform may have carried out half-way.
    restoreBackupIgnoringErrors(backup, paths.installed);
    leaveSomethingInstalled(backup, incoming, paths.installed);
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  if (incoming != paths.staged) removeIgnoringErrors(paths.staged);
  if (relauncher_->relaunchApplication(paths.installed)) return;
  restoreBackupIgnoringErrors(backup, paths.installed);
  leaveSomethingInstalled(backup, incoming, paths.installed);
  throw Error(Error::Case::relaunchFailed);
}

void Executor::restoreBackup(const Path& backup, const Path& installed) {
  if (fileSystem_->itemExists(installed)) fileSystem_->removeItem(installed);
  fileSystem_->moveItem(backup, installed);
}

void Executor::restoreBackupIgnoringErrors(const Path& backup, const Path& installed) {
  try {
    restoreBackup(backup, installed);
  } catch (const std::exception&) {
    // The failure that led here is the one to report.
  }
}

// A restore that stopped half-way, or that removed the installed bundle for a backup that was never made,
// must not be the end: the old bundle gets a second chance, else the new one, which has passed every check.
void Executor::leaveSomethingInstalled(const Path& backup, const Path& incoming, const Path& installed) {
  try {
    if (fileSystem_->itemExists(installed)) return;
    fileSystem_->moveItem(fileSystem_->itemExists(backup) ? backup : incoming, installed);
  } catch (const std::exception&) {
    // Nothing more can be done; the failure that led here is reported.
  }
}

void Executor::cleanupAfterSuccessfulReplacement(const Path& backup, const Path& staged) {
  removeIgnoringErrors(backup);
  removeStagingFolder(*fileSystem_, staged);
}

void Executor::relaunchInstalledApplicationIfPossible(const Path& installed) {
  if (isFolder(*fileSystem_, installed)) (void)relauncher_->relaunchApplication(installed);
}

void Executor::removeIgnoringErrors(const Path& item) {
  try {
    fileSystem_->removeItem(item);
  } catch (const std::exception&) {
    // Clean-up: what stays behind takes room, nothing more.
  }
}

}  // namespace pellam
