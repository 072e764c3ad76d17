#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "foundation/diagnostic_log.h"
#include "host/private_folders.h"
#include "pellam/date.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"

namespace pellam {

// Where an archive was written, and where its content belongs.
struct ArchivePlacement {
  std::filesystem::path archiveURL;
  std::filesystem::path destinationFolderURL;
};

// The folders in which installations are staged: below the user's application support or, where nothing can
// be written there, below the temporary folder. A temporary folder that others share gets a private folder
// for them, see PrivateFolders; one that cannot be trusted is left out. Keeps its collaborators and no state
// between calls. Blocks; any thread.
class AttemptFolders {
 public:
  struct Collaborators {
    std::shared_ptr<FileSystem> fileManager;
    std::shared_ptr<UUIDGenerating> identifiers;
    std::shared_ptr<PellamClock> clock;
    DiagnosticLog systemLog;
    std::uint32_t effectiveUserID;
  };

  // From this age on an attempt's folder is nobody's any more.
  static constexpr std::chrono::seconds staleAge{600};

  enum class Sharing {
    ownFolder,    // a fresh folder for this attempt alone, named by a UUID
    sharedFolder  // the same folder for every attempt
  };

  explicit AttemptFolders(Collaborators collaborators)
      : parts_(std::move(collaborators)), privateFolders_(parts_.fileManager, parts_.effectiveUserID) {}

  // Writes the archive into the first folder that takes it, replacing a file of its name. Throws
  // OrvoUpdateInstallerError (writeFailed) when none does or the name is no plain one; folders that this made
  // and that stayed empty are gone then.
  [[nodiscard]] ArchivePlacement place(std::span<const std::uint8_t> archive,
                                       const std::string& archiveFileName, const std::string& applicationName,
                                       const std::string& installerSubdirectoryName, Sharing sharing) const;

  // The one application bundle in the folder, hidden items and the insides of bundles left out. Throws
  // OrvoUpdateInstallerError: invalidArchive, noAppBundleFound or multipleAppBundlesFound.
  [[nodiscard]] std::filesystem::path findSingleAppBundle(const std::filesystem::path& folder) const;

  // Deletes attempt folders that are at least ten minutes old and do not hold the running application. What
  // lies behind a link, or in a folder of somebody else's, is left alone. Returns how many were removed.
  // Never throws.
  int removeStale(const std::string& applicationName, const std::string& installerSubdirectoryName,
                  const std::filesystem::path& runningApplication) const;

 private:
  // Where attempts are staged, and the folder that is trusted to be the user's.
  struct Root {
    std::filesystem::path base;
    std::filesystem::path folder;
    bool isTemporary;
  };

  [[nodiscard]] std::vector<Root> roots(const std::string& applicationName,
                                        const std::string& installerSubdirectoryName) const;
  void makeFolder(const Root& root, const std::filesystem::path& folder) const;
  void removeIfEmpty(const std::filesystem::path& folder) const;
  [[nodiscard]] bool isTrusted(const Root& root) const;
  [[nodiscard]] int removeStaleIn(const std::filesystem::path& folder,
                                  const std::filesystem::path& running) const;
  [[nodiscard]] bool isStaleAttempt(const std::filesystem::path& entry, Date cutoff,
                                    const std::filesystem::path& running) const;

  Collaborators parts_;
  PrivateFolders privateFolders_;
};

}  // namespace pellam
