#include <utility>

#include "foundation/installer_error.h"
#include "foundation/uuid.h"
#include "host/installer_coordinator.h"
#include "platform/unicode_text.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;

constexpr std::chrono::seconds staleAttemptAge{600};

// The name comes from a feed: percent escapes may have put separators into it.
bool isPlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

}  // namespace

std::filesystem::path OrvoUpdateInstallerCoordinator::preferredInstallerFolderURL(
    const std::string& applicationName, const std::string& installerSubdirectoryName) const {
  const std::optional<std::filesystem::path> support = fileManager_->applicationSupportDirectory();
  const std::filesystem::path base =
      fileManager_->resolvingSymlinks(support ? *support : fileManager_->temporaryDirectory());
  return base.string() + "/" + applicationName + "/" + installerSubdirectoryName;
}

std::filesystem::path OrvoUpdateInstallerCoordinator::temporaryInstallerFolderURL(
    const std::string& applicationName, const std::string& installerSubdirectoryName) const {
  return fileManager_->temporaryDirectory().string() + "/" + applicationName + "/" +
         installerSubdirectoryName;
}

std::vector<std::filesystem::path> OrvoUpdateInstallerCoordinator::archiveDestinationFolderURLs(
    const std::string& applicationName, const std::string& installerSubdirectoryName,
    bool usesUniqueFolder) const {
  std::vector<std::filesystem::path> folders = {
      preferredInstallerFolderURL(applicationName, installerSubdirectoryName),
      temporaryInstallerFolderURL(applicationName, installerSubdirectoryName)};
  if (usesUniqueFolder) {
    for (std::filesystem::path& folder : folders) folder /= environment_.identifiers->makeUUID();
  }
  return folders;
}

OrvoUpdateInstallerCoordinator::ArchivePlacement
OrvoUpdateInstallerCoordinator::writeArchiveToFirstUsableDestination(
    std::span<const std::uint8_t> data, const std::string& archiveFileName,
    const std::vector<std::filesystem::path>& folders) {
  for (const std::filesystem::path& folder : folders) {
    if (!isPlainFileName(archiveFileName)) continue;
    const std::filesystem::path archive = folder / archiveFileName;
    try {
      fileManager_->removeItem(archive);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): normally there is nothing to remove
    }
    try {
      fileManager_->createDirectory(folder);
      fileManager_->writeFileAtomically(archive, data);
      return {archive, folder};
    } catch (const std::exception& error) {
      environment_.systemLog(std::string("Unable to write the downloaded archive error=") + error.what());
      removeIfEmpty(folder);  // the next candidate may do
    }
  }
  throw Error(Error::Case::writeFailed);
}

void OrvoUpdateInstallerCoordinator::removeIfEmpty(const std::filesystem::path& folder) {
  try {
    if (fileManager_->contentsOfDirectory(folder, false).empty()) fileManager_->removeItem(folder);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): there was no folder to begin with
  }
}

std::filesystem::path OrvoUpdateInstallerCoordinator::findSingleAppBundle(
    const std::filesystem::path& folder) const {
  std::vector<std::filesystem::path> bundles;
  try {
    fileManager_->enumerate(folder, {true, true}, [&](const std::filesystem::path& entry) {
      if (text::equalsIgnoringCase(entry.extension().string(), ".app")) bundles.push_back(entry);
      return EnumerationStep::descend;
    });
  } catch (const std::exception&) {
    throw Error(Error::Case::invalidArchive);
  }
  if (bundles.empty()) throw Error(Error::Case::noAppBundleFound);
  if (bundles.size() > 1) throw Error(Error::Case::multipleAppBundlesFound);
  return bundles.front();
}

int OrvoUpdateInstallerCoordinator::removeStaleInstallerAttempts(
    const std::string& applicationName, const std::string& installerSubdirectoryName,
    const std::filesystem::path& runningApplication) {
  return removeStaleInstallerAttempts(
      {preferredInstallerFolderURL(applicationName, installerSubdirectoryName),
       temporaryInstallerFolderURL(applicationName, installerSubdirectoryName)},
      runningApplication);
}

int OrvoUpdateInstallerCoordinator::removeStaleInstallerAttempts(
    const std::vector<std::filesystem::path>& roots, const std::filesystem::path& runningApplication) {
  const std::filesystem::path running = fileManager_->resolvingSymlinks(runningApplication);
  const Date cutoff = environment_.clock->now() - staleAttemptAge;
  int total = 0;
  for (const std::filesystem::path& root : roots) {
    std::vector<std::filesystem::path> entries;
    try {
      entries = fileManager_->contentsOfDirectory(root, false);
    } catch (const std::exception&) {
      continue;
    }
    int removed = 0;
    for (const std::filesystem::path& entry : entries) {
      try {
        if (!isStaleAttempt(entry, cutoff, running)) continue;
        fileManager_->removeItem(entry);
        ++removed;
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the entry does not count
      }
    }
    if (removed > 0) {
      environment_.systemLog("Removed " + std::to_string(removed) + " stale installer attempt folders from " +
                             root.string() + ".");
    }
    total += removed;
  }
  return total;
}

bool OrvoUpdateInstallerCoordinator::isStaleAttempt(const std::filesystem::path& entry, Date cutoff,
                                                    const std::filesystem::path& running) const {
  if (!isUUID(entry.filename().string())) return false;
  const FileAttributes attributes = fileManager_->attributes(entry);
  if (attributes.type != FileType::directory) return false;
  const std::optional<Date> date =
      attributes.creationDate ? attributes.creationDate : attributes.modificationDate;
  if (!date || *date > cutoff) return false;
  const std::string resolved = fileManager_->resolvingSymlinks(entry).string();
  return running != resolved && !running.string().starts_with(resolved + "/");
}

}  // namespace pellam
