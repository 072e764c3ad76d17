#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/macos/file_descriptor.h"

namespace pellam::macos {

// Single steps that several bodies take with open folders and files. Failures are std::system_error unless an
// error number is returned.

// The system refuses to read or write 2 GiB and more in one call.
inline constexpr std::size_t mostAtOnce = std::size_t{1} << 30;

[[noreturn]] void throwError(int error, const std::string& path);

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& pathForErrors);

// Renames to a name that must be free (EEXIST). Volumes without that kind of rename get a check and a plain
// rename. AT_FDCWD with a path serves for a folder with a name. Zero or the error number.
[[nodiscard]] int renameToFreeName(int sourceFolder, const std::string& source, int destinationFolder,
                                   const std::string& destination);

// Takes what an access list grants from an open item; a volume without such lists has nothing to take.
void removeAccessListOf(int descriptor, const std::string& pathForErrors);

// The names in an open folder as the volume keeps them, sorted, without "." and "..".
[[nodiscard]] std::vector<std::string> namesInFolder(int folder, const std::string& pathForErrors);

// What the link states.
[[nodiscard]] std::string linkTargetAt(int folder, const std::string& name, const std::string& pathForErrors);

// Opens one name in an open folder; a link is never followed (ELOOP). Not open: errno says why.
[[nodiscard]] FileDescriptor openName(int folder, const std::string& name, int flags,
                                      unsigned permissions = 0);

// Removes the item and everything in it, also from folders without the permission to write. The number of
// open descriptors and the stack stay constant however deep the tree is. Stops at the first failure.
void removeTree(int parent, const std::string& name, const std::string& pathForErrors);

}  // namespace pellam::macos
