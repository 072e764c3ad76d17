#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace pellam {

// Programs that belong to nobody here: each runs in a session of its own that outlives this process, with no
// terminal and with its standard streams on /dev/null, so that neither this process's end nor its pipes reach
// it. It is never this process's child, and no zombie is left, whatever this process does about SIGCHLD. Any
// thread.

// Starts a program. Blocks only until it is running. The result is 0 or the errno of the failed start.
[[nodiscard]] int startDetachedProcess(const std::filesystem::path& executable,
                                       const std::vector<std::string>& arguments);

struct DetachedProcessOutcome {
  int startError = 0;  // 0 or the errno of the failed start; the status then means nothing
  // The exit status, or the number of the signal that ended it; absent while the program is still running.
  std::optional<int> terminationStatus;
};

// Starts a program and waits for its end, `patience` at most; afterwards it runs on by itself. What the
// program starts in its turn is not waited for.
[[nodiscard]] DetachedProcessOutcome runDetachedProcess(const std::filesystem::path& executable,
                                                        const std::vector<std::string>& arguments,
                                                        std::chrono::milliseconds patience);

}  // namespace pellam
