#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

// The program of a service that was started on one end of a socket pair. A launcher service leaves its
// starter at once and goes on by itself, so this process ends quickly; one that stays is no launcher service.
class ServiceProcess {
 public:
  ServiceProcess() = default;
  ServiceProcess(ServiceProcess&&) = default;
  ServiceProcess& operator=(ServiceProcess&&) = delete;
  // Waits for the process, ends it when it stays, and leaves no zombie.
  ~ServiceProcess();

  // Starts the executable in a session of its own, with the socket as its only descriptor beside the standard
  // streams, which are on /dev/null. Nothing when it cannot be started.
  [[nodiscard]] static std::optional<ServiceProcess> start(const std::filesystem::path& executable,
                                                           FileDescriptor serviceEnd);

 private:
  explicit ServiceProcess(pid_t identifier);

  struct Identifier {
    explicit Identifier(pid_t identifier = 0) : value(identifier) {}
    Identifier(Identifier&& other) noexcept : value(other.value) { other.value = 0; }
    pid_t value;
  };
  Identifier identifier_;
  FileDescriptor process_;  // opened at the start, while the number cannot mean another process
};

}  // namespace pellam
