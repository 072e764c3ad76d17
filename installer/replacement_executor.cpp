#include "installer/replacement_executor.h"

#include <exception>
#include <utility>

#include "foundation/item_path.h"
#include "installer/file_safety.h"
#include "installer/own_names.h"
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
  provideReplacementChecks(with_.permissionChecker, with_.ownershipMatcher, with_.fileSystem,
                           with_.identifiers);
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
  const Path folder = paths.installed.parent_path();
  const Path backup = folder / own_names::backup(paths.installed, with_.identifiers->makeUUID());
  const Path incoming = folder / own_names::incoming(paths.installed, with_.identifiers->makeUUID());
  BundleSwap swap(
      *with_.fileSystem,
      {.staged = paths.staged, .installed = paths.installed, .incoming = incoming, .backup = backup});
  try {
    swap.bringBeside();
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  try {
    swap.putInPlace();
  } catch (const std::exception&) {
    swap.restore();
    swap.returnToStaging();
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  relaunchOrRestore(swap, paths.installed);
  swap.finish();
  removeStagingFolder(*with_.fileSystem, paths.staged);
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

void Executor::relaunchOrRestore(BundleSwap& swap, const Path& installed) {
  try {
    if (with_.relauncher->relaunchApplication(installed)) return;
  } catch (const Error&) {
    swap.restore();
    swap.discardNew();
    throw;
  } catch (const std::exception&) {
    swap.restore();
    swap.discardNew();
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  swap.restore();
  swap.discardNew();
  throw Error(Error::Case::relaunchFailed);
}

void Executor::relaunchInstalledApplicationIfPossible(const Path& installed) {
  try {
    if (isFolder(*with_.fileSystem, installed)) (void)with_.relauncher->relaunchApplication(installed);
  } catch (const std::exception&) {
    // The failure that led here is the one to report.
  }
}

}  // namespace pellam
