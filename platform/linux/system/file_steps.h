#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace pellam::posix {

// Single steps that several bodies take with open folders and files. Failures are std::system_error unless an
// error number is returned.

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& pathForErrors);

// Sixteen letters and digits that nobody can guess.
[[nodiscard]] std::string randomLetters();

// Renames to a name that must be free (EEXIST). Volumes without that kind of rename get a check and a plain
// rename. Zero or the error number.
[[nodiscard]] int renameWithoutReplacing(int sourceFolder, const std::string& source, int destinationFolder,
                                         const std::string& destination);

// What the link states; an empty name means the folder's own descriptor, opened as a link.
[[nodiscard]] std::string linkTargetAt(int folder, const std::string& name, const std::string& pathForErrors);

}  // namespace pellam::posix
