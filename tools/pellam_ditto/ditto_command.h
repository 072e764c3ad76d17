#pragma once

#include <atomic>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/confined_folder.h"

namespace pellam::archive {

// The whole program: "-x -k ARCHIVE DESTINATION" unpacks a zip archive. Takes the arguments without the
// program's name; 0 on success, else 1 with one line on `errors`. `stop` makes it give up and clean up.
[[nodiscard]] int runDitto(FolderOpening& folders, const std::vector<std::string>& arguments,
                           std::ostream& output, std::ostream& errors, const std::atomic<bool>& stop);

}  // namespace pellam::archive
