#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>

namespace pellam {

// How this system starts its children: standard input on /dev/null, ordinary signal handling, whatever this
// process blocks or ignores. What a child hears and says, and other descriptors, are the caller's to add.
struct SpawnSettings {
  // A session of its own, for a child that is on its own, with its output on /dev/null; or a group of its
  // own, so that an interrupt at the terminal reaches this process alone, which then decides.
  enum class Place { session, group };

  explicit SpawnSettings(Place place) {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (place == Place::session) {
      posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
      posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    const int flag = place == Place::session ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setflags(&attributes,
                             static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | flag));
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

}  // namespace pellam
