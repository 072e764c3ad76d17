#include "platform/linux/jobs/elevated_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/privileged_program.h"
#include "platform/linux/system/spawn_settings.h"

namespace pellam {

namespace {

constexpr const char* elevator = "/usr/bin/pkexec";
constexpr std::chrono::minutes questionLimit{5};
constexpr std::chrono::milliseconds lookInterval{5};

// Programs that went on to run as root. They stay children of this process, which collects them when they
// have ended, at the latest when it ends itself.
class ElevatedPrograms {
 public:
  void add(pid_t process) {
    const std::lock_guard guard(lock_);
    std::erase_if(running_, [](pid_t earlier) { return ::waitpid(earlier, nullptr, WNOHANG) != 0; });
    running_.push_back(process);
  }

 private:
  std::mutex lock_;
  std::vector<pid_t> running_;
};

// The kernel's short name of the program that a process runs; readable for everybody, unlike its path.
std::string programName(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

void requireGranted(int status) {
  constexpr int dismissed = 126;
  constexpr int denied = 127;
  if (!WIFEXITED(status)) throw jobError(EACCES, "the authorization was interrupted");
  if (WEXITSTATUS(status) == dismissed) throw jobError(ECANCELED, "the authorization was dismissed");
  if (WEXITSTATUS(status) == denied) {
    throw jobError(EACCES, "the authorization was denied or could not be asked for");
  }
}

pid_t spawn(std::vector<std::string> arguments, std::vector<std::string> environment) {
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  SpawnSettings settings;
  posix_spawn_file_actions_addclosefrom_np(&settings.actions, 3);
  pid_t process = 0;
  const int error = posix_spawn(&process, elevator, &settings.actions, &settings.attributes,
                                pointers(arguments).data(), pointers(environment).data());
  if (error != 0) throw jobError(error, elevator);
  return process;
}

}  // namespace

pid_t startElevated(const JobDescription& job) {
  static ElevatedPrograms programs;
  std::vector<std::string> arguments = {elevator, "--disable-internal-agent",
                                        requirePrivilegedProgram(job.arguments.front()).string()};
  arguments.insert(arguments.end(), job.arguments.begin() + 1, job.arguments.end());
  const pid_t process = spawn(std::move(arguments), sessionEnvironment(std::nullopt));

  // The elevator becomes the program when it is allowed to, and ends otherwise.
  const auto deadline = std::chrono::steady_clock::now() + questionLimit;
  for (;;) {
    int status = 0;
    const pid_t ended = ::waitpid(process, &status, WNOHANG);
    if (ended == process) {
      requireGranted(status);
      return 0;  // a short program that is over already
    }
    // Without a status nobody can say that it was granted.
    if (ended < 0 && errno != EINTR) throw jobError(EACCES, "the authorization was interrupted");
    const std::string name = programName(process);
    if (!name.empty() && name != "pkexec") break;
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(process, SIGKILL);
      ::waitpid(process, nullptr, 0);
      throw jobError(ETIMEDOUT, "nobody has answered the authorization");
    }
    std::this_thread::sleep_for(lookInterval);
  }
  programs.add(process);
  return process;
}

}  // namespace pellam
