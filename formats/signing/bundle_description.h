#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/confined_folder.h"

namespace pellam::codesign {

// What the signature says, one "Key=value" a line. Says nothing about whether it is true.
// A relative path is shown from the folder that is stated as the current one.
// Throws CodeSigningError. Blocks.
[[nodiscard]] std::vector<std::string> describeBundle(const FolderOpening& folders,
                                                      const std::filesystem::path& bundle,
                                                      const std::filesystem::path& currentFolder);

}  // namespace pellam::codesign
