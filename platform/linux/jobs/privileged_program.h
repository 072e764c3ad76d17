#pragma once

#include <filesystem>

namespace pellam {

// The program's real path, when it may be run with more rights than its starter has: it, and every folder
// above it, belongs to root and can be changed by root alone. Otherwise the program could be exchanged
// between the question to the administrator and the start. Throws PlatformError (EPERM, or the errno of a
// path that cannot be looked at).
[[nodiscard]] std::filesystem::path requirePrivilegedProgram(const std::filesystem::path& program);

}  // namespace pellam
