#pragma once

#include <filesystem>
#include <memory>

#include "foundation/diagnostic_log.h"
#include "pellam/key_value_storing.h"

namespace pellam {

class FileSystem;

// The user's settings for one application, kept in one property-list file. Each change is on disk, written
// atomically and merged with what other processes wrote meanwhile, when the call returns; it waits a second
// at most for another process that is at it. A change that cannot be written holds for this process and is
// tried again with the next one and at the end, and the system log has a line about it, as the platform's
// defaults do it; a value that no property list can hold stays in this process alone. The file is for its
// owner alone, or keeps the permissions that it was given, and a link in its place stays. A file that cannot
// be read counts as empty; a damaged one is kept beside the new one, as "<file>.damaged".
[[nodiscard]] std::shared_ptr<PellamKeyValueStoring> makeSystemSettingsStore(
    std::filesystem::path file, std::shared_ptr<FileSystem> fileSystem, DiagnosticLog systemLog);

// Where that file lives for an application: the user's Library/Preferences/<bundle identifier>.plist.
[[nodiscard]] inline std::filesystem::path systemSettingsFile(const std::string& homeDirectory,
                                                              const std::string& bundleIdentifier) {
  return std::filesystem::path(homeDirectory) / "Library/Preferences" / (bundleIdentifier + ".plist");
}

}  // namespace pellam
