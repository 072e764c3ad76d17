#pragma once

#include <filesystem>

#include "foundation/diagnostic_log.h"
#include "platform/file_system.h"

namespace pellam {

// Takes the download quarantine mark from a staged bundle and from everything inside it, so that the system
// does not block the application that is started next. Links lose their own mark, never their target's. Never
// fails: the first item whose mark cannot be removed is named in one diagnostic line, and the walk goes on.
void releaseStagedAppFromQuarantineIfPossible(FileSystem& fileSystem, const std::filesystem::path& root,
                                              const DiagnosticLog& diagnosticLog);

}  // namespace pellam
