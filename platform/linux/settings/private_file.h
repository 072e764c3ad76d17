#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace pellam {

class FileSystem;

// Replaces the contents of a file in one step, written through to the disk. A new file is for its owner
// alone; one that exists keeps its permissions, and its owner where this user may give files away. A link in
// the file's place stays, and the file behind it is replaced; a link of another user is not followed (ELOOP).
// Throws std::system_error with the path; the file is as it was then, and nothing is left beside it.
void replacePrivateFile(FileSystem& fileSystem, const std::filesystem::path& path,
                        std::span<const std::uint8_t> bytes);

}  // namespace pellam
