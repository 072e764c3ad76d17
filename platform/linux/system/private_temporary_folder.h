#pragma once

#include <filesystem>

namespace pellam {

// A folder for temporary files that only this user can enter, as the platform gives every user one: in the
// shared folder for temporary files others could otherwise make our folders first and put links into them.
// TMPDIR decides where it is set; else a folder in /tmp, made when it is missing, or one in the user's cache
// where somebody else has taken that name.
[[nodiscard]] std::filesystem::path privateTemporaryFolder();

}  // namespace pellam
