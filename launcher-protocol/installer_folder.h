#pragma once

namespace pellam {

// The folder, below the application's own, that hosts stage attempts in and leave reports in, and by whose
// name the installer helper knows an attempt. Host and helper are built apart: the name never changes.
inline constexpr const char* installerFolderName = "SeamlessInstaller";

}  // namespace pellam
