#include "installer/interrupted_replacement_recovery.h"

#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/item_path.h"
#include "installer/own_names.h"
#include "platform/identifiers.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;

// The entries whose names are the prefix followed by a UUID and nothing else.
bool isNamed(const Path& entry, const std::string& prefix) {
  const std::string name = entry.filename().string();
  return name.starts_with(prefix) && isUUID(std::string_view(name).substr(prefix.size()));
}

// A copy that was still being made carries the name that it was to get, between a dot and a suffix.
bool isCopyInProgress(const Path& entry, const std::string& incomingPrefix) {
  return entry.filename().string().starts_with("." + incomingPrefix);
}

bool isRealDirectory(const FileSystem& fileSystem, const Path& path) {
  try {
    return fileSystem.attributes(path).type == FileType::directory;
  } catch (const std::exception&) {
    return false;
  }
}

bool nothingIsAt(const FileSystem& fileSystem, const Path& path) {
  try {
    (void)fileSystem.attributes(path);
    return false;
  } catch (const std::exception&) {
    return !fileSystem.itemExists(path);
  }
}

}  // namespace

bool recoverInterruptedReplacement(FileSystem& fileSystem, const Path& installedURL,
                                   const DiagnosticLog& diagnosticLog) {
  const Path installed = withoutTrailingSlash(installedURL);
  const std::string backupPrefix = own_names::backup(installed, "");
  const std::string incomingPrefix = own_names::incoming(installed, "");
  try {
    std::vector<Path> backups;
    for (const Path& entry : fileSystem.contentsOfDirectory(installed.parent_path(), HiddenItems::included)) {
      if (isNamed(entry, backupPrefix) && isRealDirectory(fileSystem, entry)) backups.push_back(entry);
      if (!isNamed(entry, incomingPrefix) && !isCopyInProgress(entry, incomingPrefix)) continue;
      diagnosticLog("Removing the unfinished copy of an interrupted replacement at " + entry.string());
      try {
        fileSystem.removeItem(entry);
      } catch (const std::exception& error) {
        diagnosticLog(std::string("Unable to remove it: ") + error.what());
      }
    }
    if (backups.size() != 1 || !nothingIsAt(fileSystem, installed)) return false;
    diagnosticLog("Putting back the backup of an interrupted replacement from " + backups.front().string());
    fileSystem.moveItem(backups.front(), installed);
    return true;
  } catch (const std::exception& error) {
    diagnosticLog("Unable to look for an interrupted replacement at " + installed.string() + ": " +
                  error.what());
    return false;
  }
}

}  // namespace pellam
