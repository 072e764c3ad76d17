#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace pellam {

// Starts a program in a session of its own that outlives this process, with no terminal and with its standard
// streams on /dev/null. Blocks only until the program is running. The result is 0 or the errno of the failed
// start. Any thread.
[[nodiscard]] int startDetachedProcess(const std::filesystem::path& executable,
                                       const std::vector<std::string>& arguments);

}  // namespace pellam
