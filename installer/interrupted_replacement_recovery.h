#pragma once

#include <filesystem>

#include "foundation/diagnostic_log.h"
#include "platform/file_system.h"

namespace pellam {

// Cleans up after a helper that was cut off (killed, power lost) in the middle of a replacement. When nothing
// is at the installed location and exactly one of its backups ("<name>.orvo-update-backup-<UUID>", a real
// folder) lies beside it, that backup is moved back. Copies of a new bundle that were never renamed into
// place (".<name>.orvo-update-new-<UUID>" and what a copy in progress is called) are removed.
//
// Everything else stays as it is: with several backups nobody can say which is the right one, and with an
// installed bundle in place a backup is left for its owner to look at. True when a backup was put back. Each
// action, and each failure, is one line of the log. Never throws.
bool recoverInterruptedReplacement(FileSystem& fileSystem, const std::filesystem::path& installed,
                                   const DiagnosticLog& diagnosticLog);

}  // namespace pellam
