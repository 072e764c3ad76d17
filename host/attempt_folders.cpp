#include "host/attempt_folders.h"

#include <chrono>
#include <exception>

#include "foundation/item_path.h"
#include "foundation/uuid.h"
#include "pellam/installer_error.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;

constexpr std::chrono::seconds staleAttemptAge{600};

}  // namespace

std::filesystem::path AttemptFolders::preferredFolder(const std::string& applicationName,
                                                      const std::string& installerSubdirectoryName) const {
  const std::optional<std::filesystem::path> support = parts_.fileManager->applicationSupportDirectory();
  const std::filesystem::path base =
      parts_.fileManager->resolvingSymlinks(support ? *support : parts_.fileManager->temporaryDirectory());
  return base.string() + "/" + applicationName + "/" + installerSubdirectoryName;
}

std::filesystem::path AttemptFolders::temporaryFolder(const std::string& applicationName,
                                                      const std::string& installerSubdirectoryName) const {
  return parts_.fileManager->temporaryDirectory().string() + "/" + applicationName + "/" +
         installerSubdirectoryName;
}

ArchivePlacement AttemptFolders::place(std::span<const std::uint8_t> archive,
                                       const std::string& archiveFileName, const std::string& applicationName,
                                       const std::string& installerSubdirectoryName, Sharing sharing) const {
  return writeArchiveToFirstUsableDestination(
      archive, archiveFileName, destinations(applicationName, installerSubdirectoryName, sharing));
}

std::vector<std::filesystem::path> AttemptFolders::destinations(const std::string& applicationName,
                                                                const std::string& installerSubdirectoryName,
                                                                Sharing sharing) const {
  std::vector<std::filesystem::path> folders = {preferredFolder(applicationName, installerSubdirectoryName),
                                                temporaryFolder(applicationName, installerSubdirectoryName)};
  if (sharing == Sharing::ownFolder) {
    for (std::filesystem::path& folder : folders) folder /= parts_.identifiers->makeUUID();
  }
  return folders;
}

ArchivePlacement AttemptFolders::writeArchiveToFirstUsableDestination(
    std::span<const std::uint8_t> data, const std::string& archiveFileName,
    const std::vector<std::filesystem::path>& folders) const {
  for (const std::filesystem::path& folder : folders) {
    if (!isPlainFileName(archiveFileName)) continue;
    const std::filesystem::path archive = folder / archiveFileName;
    try {
      parts_.fileManager->removeItem(archive);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): normally there is nothing to remove
    }
    try {
      parts_.fileManager->createDirectory(folder);
      parts_.fileManager->writeFileAtomically(archive, data);
      return {archive, folder};
    } catch (const std::exception&) {
      removeIfEmpty(folder);  // the next candidate may do
    }
  }
  throw Error(Error::Case::writeFailed);
}

void AttemptFolders::removeIfEmpty(const std::filesystem::path& folder) const {
  try {
    if (parts_.fileManager->contentsOfDirectory(folder, false).empty())
      parts_.fileManager->removeItem(folder);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): there was no folder to begin with
  }
}

std::filesystem::path AttemptFolders::findSingleAppBundle(const std::filesystem::path& folder) const {
  std::vector<std::filesystem::path> bundles;
  try {
    parts_.fileManager->enumerate(folder, {true, true}, [&](const std::filesystem::path& entry) {
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

int AttemptFolders::removeStale(const std::string& applicationName,
                                const std::string& installerSubdirectoryName,
                                const std::filesystem::path& runningApplication) const {
  return removeStale({preferredFolder(applicationName, installerSubdirectoryName),
                      temporaryFolder(applicationName, installerSubdirectoryName)},
                     runningApplication);
}

int AttemptFolders::removeStale(const std::vector<std::filesystem::path>& roots,
                                const std::filesystem::path& runningApplication) const {
  const std::filesystem::path running = parts_.fileManager->resolvingSymlinks(runningApplication);
  const Date cutoff = parts_.clock->now() - staleAttemptAge;
  int total = 0;
  for (const std::filesystem::path& root : roots) {
    std::vector<std::filesystem::path> entries;
    try {
      entries = parts_.fileManager->contentsOfDirectory(root, false);
    } catch (const std::exception&) {
      continue;
    }
    int removed = 0;
    for (const std::filesystem::path& entry : entries) {
      try {
        if (!isStaleAttempt(entry, cutoff, running)) continue;
        parts_.fileManager->removeItem(entry);
        ++removed;
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the entry does not count
      }
    }
    if (removed > 0) {
      parts_.systemLog("Removed " + std::to_string(removed) + " stale installer attempt folders from " +
                       root.string() + ".");
    }
    total += removed;
  }
  return total;
}

bool AttemptFolders::isStaleAttempt(const std::filesystem::path& entry, Date cutoff,
                                    const std::filesystem::path& running) const {
  if (!isUUID(entry.filename().string())) return false;
  const FileAttributes attributes = parts_.fileManager->attributes(entry);
  if (attributes.type != FileType::directory) return false;
  const std::optional<Date> date =
      attributes.creationDate ? attributes.creationDate : attributes.modificationDate;
  if (!date || *date > cutoff) return false;
  const std::string resolved = parts_.fileManager->resolvingSymlinks(entry).string();
  return running != resolved && !running.string().starts_with(resolved + "/");
}

}  // namespace pellam
