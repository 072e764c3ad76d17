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

Executor::OrvoAppBundleReplacementExecutor(Collaborators collaborators) : with_(std::move(collaborators)) {
  if (!with_.permissionChecker) {
    with_.permissionChecker =
        std::make_shared<OrvoAppBundleReplacementWriteProbe>(with_.fileSystem, with_.identifiers);
  }
  if (!with_.ownershipMatcher) {
    with_.ownershipMatcher =
        std::make_shared<OrvoAppBundleReplacementOwnershipMatcher>(with_.fileSystem, with_.identifiers);
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
  with_.ownershipMatcher->matchOwnerAndGroupOfItem(paths.staged, paths.installed);
  releaseStagedAppFromQuarantineIfPossible(*with_.fileSystem, paths.staged, with_.diagnosticLog);
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
  if (!OrvoAppBundleFileSafety::isRealDirectoryAppBundle(*with_.fileSystem, paths.staged) ||
      !isFolder(*with_.fileSystem, paths.installed)) {
    throw Error(Error::Case::replacementFailed);
  }
  if (request.hostIdentity) with_.makeValidator()->validateAppBundle(paths.staged, *request.hostIdentity);
  if (!with_.permissionChecker->destinationParentIsWritable(paths.installed) &&
      !with_.privilegeChecker->processCanReplaceNonWritableDestination()) {
    throw Error(Error::Case::destinationNotWritable);
  }
}

Path Executor::makeBackupURL(const Path& installed) {
  return installed.parent_path() /
         (installed.filename().string() + backupNameInfix + with_.identifiers->makeUUID());
}

// The bundle to rename into place: the staged one itself, or a copy of it on the installed bundle's volume.
// Its contents are on the disk before anything is renamed: a rename is written through sooner than the files
// it makes visible, and a power failure must not leave a new bundle of empty files.
Path Executor::bringBesideInstalled(const Paths& paths) {
  const Path folder = paths.installed.parent_path();
  bool isOnSameVolume = true;
  try {
    isOnSameVolume =
        with_.fileSystem->attributes(paths.staged).fileSystemNumber ==
        with_.fileSystem->attributes(with_.fileSystem->resolvingSymlinks(folder)).fileSystemNumber;
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  if (isOnSameVolume) {
    try {
      with_.fileSystem->synchronizeVolume(paths.staged);
    } catch (const std::exception&) {
      std::throw_with_nested(Error(Error::Case::replacementFailed));
    }
    return paths.staged;
  }
  Path incoming = folder / ("." + paths.installed.filename().string() + incomingNameInfix +
                            with_.identifiers->makeUUID());
  try {
    with_.fileSystem->copyItem(paths.staged, incoming);
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  return incoming;
}

void Executor::swap(const Paths& paths, const Path& incoming, const Path& backup) {
  try {
    with_.fileSystem->moveItem(paths.installed, backup);
    with_.fileSystem->moveItem(incoming, paths.installed);
  } catch (const std::exception&) {
    // Also after a first move that failed, which a platform may have carried out half-way.
    restoreBackupIgnoringErrors(backup, paths.installed);
    leaveSomethingInstalled(backup, incoming, paths.installed);
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  if (incoming != paths.staged) removeIgnoringErrors(paths.staged);
  if (with_.relauncher->relaunchApplication(paths.installed)) return;
  restoreBackupIgnoringErrors(backup, paths.installed);
  leaveSomethingInstalled(backup, incoming, paths.installed);
  throw Error(Error::Case::relaunchFailed);
}

void Executor::restoreBackup(const Path& backup, const Path& installed) {
  if (with_.fileSystem->itemExists(installed)) with_.fileSystem->removeItem(installed);
  with_.fileSystem->moveItem(backup, installed);
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
    if (with_.fileSystem->itemExists(installed)) return;
    with_.fileSystem->moveItem(with_.fileSystem->itemExists(backup) ? backup : incoming, installed);
  } catch (const std::exception&) {
    // Nothing more can be done; the failure that led here is reported.
  }
}

void Executor::cleanupAfterSuccessfulReplacement(const Path& backup, const Path& staged) {
  removeIgnoringErrors(backup);
  removeStagingFolder(*with_.fileSystem, staged);
}

void Executor::relaunchInstalledApplicationIfPossible(const Path& installed) {
  if (isFolder(*with_.fileSystem, installed)) (void)with_.relauncher->relaunchApplication(installed);
}

void Executor::removeIgnoringErrors(const Path& item) {
  try {
    with_.fileSystem->removeItem(item);
  } catch (const std::exception&) {
    // Clean-up: what stays behind takes room, nothing more.
  }
}

}  // namespace pellam
