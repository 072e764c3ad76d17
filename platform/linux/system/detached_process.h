#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace pellam {

// Programs that belong to nobody here: each runs in a session of its own that outlives this process, with no
// terminal, with its standard streams on /dev/null and with no other descriptor of this process, so that
// neither this process's end nor its pipes reach it. It is never this process's child, and no zombie is left,
// whatever this process does about SIGCHLD. Any thread.

struct ProcessIdentity {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;
};

struct DetachedProgram {
  std::filesystem::path executable;
  std::vector<std::string> arguments{};                   // without the program itself
  std::optional<std::vector<std::string>> environment{};  // absent: this process's
  std::optional<ProcessIdentity> identity{};              // absent: this process's; others need root
  std::optional<mode_t> fileCreationMask{};               // absent: this process's
  std::optional<int> nice{};                              // absent: this process's
};

struct DetachedProcessOutcome {
  // The program's process, which may have ended meanwhile; 0 when it could not be started.
  pid_t process = 0;
  int startError = 0;  // 0 or the errno of the failed start; then nothing runs
  // The exit status, or the number of the signal that ended it; absent while the program is still running,
  // and when nobody waited.
  std::optional<int> terminationStatus{};
};

// Starts a program. Blocks only until it is running.
[[nodiscard]] DetachedProcessOutcome startDetachedProcess(const DetachedProgram& program);

// Starts a program and waits for its end, `patience` at most; afterwards it runs on by itself. What the
// program starts in its turn is not waited for.
[[nodiscard]] DetachedProcessOutcome runDetachedProcess(const DetachedProgram& program,
                                                        std::chrono::milliseconds patience);

}  // namespace pellam
