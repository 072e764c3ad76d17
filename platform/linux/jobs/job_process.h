#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/system/detached_process.h"

namespace pellam {

// A process that cannot be taken for a later one of the same number.
struct ProcessStamp {
  pid_t identifier = 0;
  std::uint64_t startTime = 0;  // in the kernel's ticks since boot

  friend bool operator==(const ProcessStamp&, const ProcessStamp&) = default;
};

// The stamp of a process; nothing when there is no such process.
[[nodiscard]] std::optional<ProcessStamp> stampOf(pid_t identifier);

// Whom a program runs as.
struct ProcessUser : ProcessIdentity {
  std::string name;
  std::string homeDirectory;
  std::string shell;

  // Throws PlatformError for an unknown user.
  [[nodiscard]] static ProcessUser lookUp(uid_t user);
};

struct ProgramStart {
  std::vector<std::string> arguments;  // the first one is the program's absolute path
  std::vector<std::string> environment;
  std::optional<ProcessUser> asUser;  // needs root
  int nice = 0;
};

// Starts a program as a detached process (see there), with an ordinary file creation mask. Throws
// PlatformError with the errno of what failed; then nothing runs. The result may name a process that has
// ended meanwhile. Any thread.
[[nodiscard]] pid_t startProgram(const ProgramStart& start);

// The variables that a program of this user's session needs, from this process; `user` replaces those that
// name the user and the session.
[[nodiscard]] std::vector<std::string> sessionEnvironment(const std::optional<ProcessUser>& user);

}  // namespace pellam
