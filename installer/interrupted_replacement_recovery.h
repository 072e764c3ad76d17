#pragma once

#include <filesystem>

#include "foundation/diagnostic_log.h"
#include "platform/file_system.h"

namespace pellam {

// Puts an application back when a helper that was cut off (killed, power lost) in the middle of a replacement
// has left nothing at the installed location. Of its backups ("<name>.orvo-update-backup-<UUID>", real
// folders) the newest is moved back: the one that got its name last. Without any, the newest bundle that was
// on its way into its place (".<name>.orvo-update-new-<UUID>") takes it: it had passed every check.
//
// Everything else stays as it is; LeftoverCollector removes what nobody needs. For whoever has the lock of
// the application's folder. True when a bundle was put back. Each action, and each failure, is one line of
// the log. Never throws.
bool recoverInterruptedReplacement(FileSystem& fileSystem, const std::filesystem::path& installed,
                                   const DiagnosticLog& diagnosticLog);

}  // namespace pellam
