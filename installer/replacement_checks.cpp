#include "installer/replacement_checks.h"

#include <exception>
#include <optional>

#include "foundation/item_path.h"
#include "installer/own_names.h"
#include "pellam/installer_error.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;
using Path = std::filesystem::path;

struct OwnershipAttributes {
  std::uint32_t ownerID = 0;
  std::uint32_t groupID = 0;
  bool isDirectory = false;
};

OwnershipAttributes ownershipAttributes(const FileSystem& fileSystem, const Path& item) {
  FileAttributes attributes;
  try {
    attributes = fileSystem.attributes(item);
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
  if (!attributes.ownerID || !attributes.groupID) throw Error(Error::Case::replacementFailed);
  return {*attributes.ownerID, *attributes.groupID, attributes.type == FileType::directory};
}

}  // namespace

bool OrvoAppBundleReplacementWriteProbe::destinationParentIsWritable(const Path& destination) {
  Path probe;
  bool isWritten = false;
  try {
    probe = withoutTrailingSlash(destination).parent_path() / own_names::writeProbe(identifiers_->makeUUID());
    fileSystem_->writeFileAtomically(probe, {});
    isWritten = true;
  } catch (const std::exception&) {
    isWritten = false;
  }
  try {
    // Also after a failure, which may have come when the file had its name.
    fileSystem_->removeItem(probe);
  } catch (const std::exception&) {
    // An empty file that stays behind does not change the answer.
  }
  return isWritten;
}

bool OrvoAppBundleReplacementProcessPrivilegeChecker::processCanReplaceNonWritableDestination() {
  return process_->effectiveUserID() == 0;
}

bool OrvoAppBundleReplacementOwnershipMatcher::processCanMatchInstalledOwnership(const Path& installed) {
  bool canMatch = false;
  std::optional<Path> folder;
  try {
    folder = fileSystem_->temporaryDirectory() / own_names::ownershipProbe(identifiers_->makeUUID());
    fileSystem_->createDirectory(*folder);
    const Path file = *folder / "permission_test";
    fileSystem_->writeFile(file, {});
    matchOwnerAndGroupOfItem(file, installed);
    canMatch = true;
  } catch (const std::exception&) {
    canMatch = false;
  }
  if (!folder) return false;
  try {
    fileSystem_->removeItem(*folder);
  } catch (const std::exception&) {
    // The question is answered; the folder is empty but for an empty file.
  }
  return canMatch;
}

void OrvoAppBundleReplacementOwnershipMatcher::matchOwnerAndGroupOfItem(const Path& rootURL,
                                                                        const Path& targetURL) {
  const Path root = withoutTrailingSlash(rootURL);
  const OwnershipAttributes wanted = ownershipAttributes(*fileSystem_, withoutTrailingSlash(targetURL));
  const OwnershipAttributes current = ownershipAttributes(*fileSystem_, root);
  if (current.ownerID == wanted.ownerID && current.groupID == wanted.groupID) return;

  std::uint32_t groupID = wanted.groupID;
  try {
    changeOwnerAndGroup(root, wanted.ownerID, groupID);
  } catch (const OrvoUpdateInstallerError&) {
    // A group that this process may not give away is no reason to refuse an update.
    if (current.ownerID == wanted.ownerID) return;
    groupID = current.groupID;
    changeOwnerAndGroup(root, wanted.ownerID, groupID);
  }
  if (!current.isDirectory) return;
  try {
    fileSystem_->enumerate(root, {}, [&](const Path& item) {
      changeOwnerAndGroup(item, wanted.ownerID, groupID);
      return EnumerationStep::descend;
    });
  } catch (const OrvoUpdateInstallerError&) {
    throw;
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
}

void OrvoAppBundleReplacementOwnershipMatcher::changeOwnerAndGroup(const Path& item, std::uint32_t ownerID,
                                                                   std::uint32_t groupID) {
  try {
    fileSystem_->changeOwner(item, ownerID, groupID);
  } catch (const std::exception&) {
    std::throw_with_nested(Error(Error::Case::replacementFailed));
  }
}

void provideReplacementChecks(std::shared_ptr<OrvoAppBundleReplacementPermissionChecking>& permissionChecker,
                              std::shared_ptr<OrvoAppBundleReplacementOwnershipMatching>& ownershipMatcher,
                              const std::shared_ptr<FileSystem>& fileSystem,
                              const std::shared_ptr<UUIDGenerating>& identifiers) {
  if (!permissionChecker) {
    permissionChecker = std::make_shared<OrvoAppBundleReplacementWriteProbe>(fileSystem, identifiers);
  }
  if (!ownershipMatcher) {
    ownershipMatcher = std::make_shared<OrvoAppBundleReplacementOwnershipMatcher>(fileSystem, identifiers);
  }
}

}  // namespace pellam
