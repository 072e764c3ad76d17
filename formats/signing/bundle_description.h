#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/confined_folder.h"

namespace pellam::codesign {

// What the signature says, one "Key=value" a line. Says nothing about whether it is true.
// Throws CodeSigningError. Blocks.
[[nodiscard]] std::vector<std::string> describeBundle(const FolderOpening& folders,
                                                      const std::filesystem::path& bundle);

}  // namespace pellam::codesign
