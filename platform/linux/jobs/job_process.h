#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

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
struct ProcessUser {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;
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

// Starts a program in a session of its own, without a terminal, with its standard streams on /dev/null and no
// other descriptor of this process, and lets it go: it outlives this process and leaves no zombie. Blocks
// until the program has replaced the forked process. Throws PlatformError with the errno of what failed; then
// nothing runs. The result may name a process that has ended meanwhile. Any thread.
[[nodiscard]] pid_t startProgram(const ProgramStart& start);

// The variables that a program of this user's session needs, from this process; `user` replaces those that
// name the user and the session.
[[nodiscard]] std::vector<std::string> sessionEnvironment(const std::optional<ProcessUser>& user);

}  // namespace pellam
