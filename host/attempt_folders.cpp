#include "host/attempt_folders.h"

#include <exception>

#include "foundation/item_path.h"
#include "foundation/uuid.h"
#include "installer/leftover_collector.h"
#include "pellam/installer_error.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Error = OrvoUpdateInstallerError;

}  // namespace

std::vector<AttemptFolders::Root> AttemptFolders::roots(const std::string& applicationName,
                                                        const std::string& installerSubdirectoryName) const {
  const auto root = [&](const std::filesystem::path& base, bool isTemporary) {
    return Root{base, base.string() + "/" + applicationName + "/" + installerSubdirectoryName, isTemporary};
  };
  const FileSystem& files = *parts_.fileManager;
  const std::optional<std::filesystem::path> support = files.applicationSupportDirectory();
  const std::optional<std::filesystem::path> temporary = privateFolders_.baseIn(files.temporaryDirectory());
  std::vector<Root> roots;
  if (support) {
    roots.push_back(root(files.resolvingSymlinks(*support), false));
  } else if (temporary) {
    roots.push_back(root(files.resolvingSymlinks(*temporary), true));
  }
  if (temporary) roots.push_back(root(*temporary, true));
  return roots;
}

void AttemptFolders::makeFolder(const Root& root, const std::filesystem::path& folder) const {
  if (root.isTemporary) {
    privateFolders_.make(root.base, folder);
  } else {
    parts_.fileManager->createDirectory(folder);
  }
}

ArchivePlacement AttemptFolders::place(std::span<const std::uint8_t> archive,
                                       const std::string& archiveFileName, const std::string& applicationName,
                                       const std::string& installerSubdirectoryName, Sharing sharing) const {
  if (!isPlainFileName(archiveFileName)) throw Error(Error::Case::writeFailed);
  for (const Root& root : roots(applicationName, installerSubdirectoryName)) {
    std::filesystem::path folder = root.folder;
    if (sharing == Sharing::ownFolder) folder /= parts_.identifiers->makeUUID();
    const std::filesystem::path file = folder / archiveFileName;
    try {
      makeFolder(root, folder);
    } catch (const std::exception&) {
      continue;  // the next candidate may do
    }
    try {
      parts_.fileManager->removeItem(file);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): normally there is nothing to remove
    }
    try {
      parts_.fileManager->writeFileAtomically(file, archive);
      return {file, folder};
    } catch (const std::exception& error) {
      parts_.systemLog(std::string("Unable to write the downloaded archive error=") + error.what());
      removeIfEmpty(folder);
    }
  }
  throw Error(Error::Case::writeFailed);
}

void AttemptFolders::removeIfEmpty(const std::filesystem::path& folder) const {
  try {
    if (parts_.fileManager->contentsOfDirectory(folder, HiddenItems::included).empty())
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
  const std::filesystem::path running = parts_.fileManager->resolvingSymlinks(runningApplication);
  int total = 0;
  for (const Root& root : roots(applicationName, installerSubdirectoryName)) {
    if (!isTrusted(root)) continue;
    const int removed = removeStaleIn(root.folder, running);
    if (removed > 0) {
      parts_.systemLog("Removed " + std::to_string(removed) + " stale installer attempt folders from " +
                       root.folder.string() + ".");
    }
    total += removed;
  }
  return total;
}

bool AttemptFolders::isTrusted(const Root& root) const {
  return (!root.isTemporary || privateFolders_.isPrivate(root.base)) &&
         privateFolders_.areOwn(root.base, root.folder);
}

int AttemptFolders::removeStaleIn(const std::filesystem::path& folder,
                                  const std::filesystem::path& running) const {
  std::vector<std::filesystem::path> entries;
  try {
    entries = parts_.fileManager->contentsOfDirectory(folder, HiddenItems::included);
  } catch (const std::exception&) {
    return 0;
  }
  const Date cutoff = parts_.clock->now() - staleAge;
  // Of those that could not be removed whole the rest is gone from its name, and no attempt any more.
  (void)LeftoverCollector({.fileSystem = parts_.fileManager, .clock = parts_.clock, .log = parts_.systemLog})
      .collectAttempts(folder);
  int removed = 0;
  for (const std::filesystem::path& entry : entries) {
    try {
      if (!isStaleAttempt(entry, cutoff, running)) continue;
      parts_.fileManager->removeItem(entry);
      ++removed;
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the entry does not count
    }
  }
  return removed;
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
