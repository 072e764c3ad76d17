#include "platform/linux/connection/service_process.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/connection/bus_names.h"
#include "platform/linux/system/spawn_settings.h"

namespace pellam {

namespace {

constexpr int serviceDescriptor = 3;
constexpr int leaveTimeMilliseconds = 2'000;

std::vector<std::string> serviceEnvironment() {
  const std::string variable = bus_names::connectionVariable;
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(variable + "=")) environment.emplace_back(*entry);
  }
  environment.push_back(variable + "=" + std::to_string(serviceDescriptor));
  return environment;
}

}  // namespace

std::optional<ServiceProcess> ServiceProcess::start(const std::filesystem::path& executable,
                                                    FileDescriptor serviceEnd) {
  SpawnSettings settings(SpawnSettings::Place::session);
  // Duplicating a descriptor onto itself also takes its close-on-exec mark off.
  posix_spawn_file_actions_adddup2(&settings.actions, serviceEnd.get(), serviceDescriptor);
  posix_spawn_file_actions_addclosefrom_np(&settings.actions, serviceDescriptor + 1);

  std::vector<std::string> environment = serviceEnvironment();
  std::vector<char*> variables;
  variables.reserve(environment.size() + 1);
  for (std::string& entry : environment) variables.push_back(entry.data());
  variables.push_back(nullptr);
  std::string path = executable.string();
  std::array<char*, 2> arguments = {path.data(), nullptr};
  pid_t identifier = 0;
  if (posix_spawn(&identifier, path.c_str(), &settings.actions, &settings.attributes, arguments.data(),
                  variables.data()) != 0) {
    return std::nullopt;
  }
  return ServiceProcess(identifier);
}

ServiceProcess::ServiceProcess(pid_t identifier)
    : identifier_(identifier), process_(static_cast<int>(::syscall(SYS_pidfd_open, identifier, 0))) {}

ServiceProcess::~ServiceProcess() {
  if (identifier_.value == 0) return;
  if (process_.isOpen()) {
    pollfd waiting{process_.get(), POLLIN, 0};
    int result = 0;
    do {
      result = ::poll(&waiting, 1, leaveTimeMilliseconds);
    } while (result < 0 && errno == EINTR);
    if (result == 0) (void)::syscall(SYS_pidfd_send_signal, process_.get(), SIGKILL, nullptr, 0);
  }
  while (::waitpid(identifier_.value, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace pellam
