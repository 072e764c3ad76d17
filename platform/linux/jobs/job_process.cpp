#include "platform/linux/jobs/job_process.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/linux/jobs/job_description.h"

namespace pellam {

std::optional<ProcessStamp> stampOf(pid_t identifier) {
  std::ifstream file("/proc/" + std::to_string(identifier) + "/stat");
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  // The program's name, in parentheses, may hold anything; the fields are counted behind it.
  const auto nameEnd = line.rfind(')');
  if (nameEnd == std::string::npos) return std::nullopt;
  std::istringstream fields(line.substr(nameEnd + 1));
  std::string field;
  constexpr int startTimeField = 20;  // the 22nd of the line
  for (int index = 1; index < startTimeField; ++index) {
    fields >> field;
    if (index == 1 && (field == "Z" || field == "X")) return std::nullopt;
  }
  ProcessStamp stamp{identifier, 0};
  if (!(fields >> stamp.startTime)) return std::nullopt;
  return stamp;
}

ProcessUser ProcessUser::lookUp(uid_t user) {
  std::vector<char> buffer(16'384);
  passwd entry{};
  passwd* found = nullptr;
  const int error = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
  if (found == nullptr) {
    throw jobError(error == 0 ? ENOENT : error, "user " + std::to_string(user) + " is unknown");
  }
  ProcessUser result{{user, entry.pw_gid, {}}, entry.pw_name, entry.pw_dir, entry.pw_shell};
  int count = 64;
  result.groups.resize(static_cast<std::size_t>(count));
  if (::getgrouplist(entry.pw_name, entry.pw_gid, result.groups.data(), &count) < 0) {
    result.groups.resize(static_cast<std::size_t>(count));
    (void)::getgrouplist(entry.pw_name, entry.pw_gid, result.groups.data(), &count);
  }
  result.groups.resize(static_cast<std::size_t>(count));
  return result;
}

pid_t startProgram(const ProgramStart& start) {
  constexpr mode_t ordinaryMask = 022;
  const DetachedProcessOutcome outcome =
      startDetachedProcess({.executable = start.arguments.front(),
                            .arguments = {start.arguments.begin() + 1, start.arguments.end()},
                            .environment = start.environment,
                            .identity = start.asUser,
                            .fileCreationMask = ordinaryMask,
                            .nice = start.nice});
  if (outcome.startError != 0) throw jobError(outcome.startError, start.arguments.front());
  return outcome.process;
}

std::vector<std::string> sessionEnvironment(const std::optional<ProcessUser>& user) {
  std::vector<std::string> environment;
  const auto pass = [&environment](std::initializer_list<const char*> names) {
    for (const char* name : names) {
      if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + "=" + value);
    }
  };
  pass({"DISPLAY", "WAYLAND_DISPLAY", "LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"});
  environment.emplace_back("PATH=/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin");
  if (!user) {
    pass({"HOME", "USER", "LOGNAME", "SHELL", "TMPDIR", "XAUTHORITY", "XDG_RUNTIME_DIR", "XDG_SESSION_ID",
          "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
          "DBUS_SESSION_BUS_ADDRESS"});
    return environment;
  }
  environment.push_back("HOME=" + user->homeDirectory);
  environment.push_back("USER=" + user->name);
  environment.push_back("LOGNAME=" + user->name);
  environment.push_back("SHELL=" + user->shell);
  const std::filesystem::path runtime = "/run/user/" + std::to_string(user->user);
  std::error_code ignored;
  if (std::filesystem::is_directory(runtime, ignored)) {
    environment.push_back("XDG_RUNTIME_DIR=" + runtime.string());
    if (std::filesystem::exists(runtime / "bus", ignored)) {
      environment.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + (runtime / "bus").string());
    }
  }
  return environment;
}

}  // namespace pellam
