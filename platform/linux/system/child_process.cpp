#include "platform/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/spawn_settings.h"

namespace pellam {

namespace {

ChildProcessResult notLaunched(int error) {
  ChildProcessResult result;
  result.launchError = bridge(std::system_error(error, std::generic_category()));
  result.launchError->description = std::generic_category().message(error);
  return result;
}

class ChildProcessRunner final : public ChildProcessRunning {
 public:
  explicit ChildProcessRunner(std::filesystem::path toolFolder) : toolFolder_(std::move(toolFolder)) {}

  ChildProcessResult run(const std::filesystem::path& executable,
                         const std::vector<std::string>& arguments) override {
    const std::string path = counterpart(executable).string();
    std::vector<char*> vector;
    vector.push_back(const_cast<char*>(path.c_str()));
    for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
    vector.push_back(nullptr);

    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return notLaunched(errno);
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);

    SpawnSettings settings(SpawnSettings::Place::group);
    posix_spawn_file_actions_adddup2(&settings.actions, writeEnd.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&settings.actions, writeEnd.get(), STDERR_FILENO);

    pid_t child = 0;
    const int error =
        posix_spawn(&child, path.c_str(), &settings.actions, &settings.attributes, vector.data(), environ);
    if (error != 0) return notLaunched(error);
    writeEnd.reset();

    // Reading while the tool runs keeps a talkative tool from blocking on a full pipe.
    ChildProcessResult result;
    std::array<char, 16'384> block{};
    for (;;) {
      const ssize_t count = ::read(readEnd.get(), block.data(), block.size());
      if (count > 0) result.output.append(block.data(), static_cast<std::size_t>(count));
      if (count == 0 || (count < 0 && errno != EINTR)) break;
    }
    int status = 0;
    pid_t ended = 0;
    do {
      ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    // A process that ignores its children's ends, or another waiter, has lost the status: never a success.
    if (ended != child) return notLaunched(errno);
    result.terminationStatus = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    return result;
  }

 private:
  // Linux has neither tool; the application brings its own.
  [[nodiscard]] std::filesystem::path counterpart(const std::filesystem::path& executable) const {
    if (executable == "/usr/bin/codesign") return toolFolder_ / "pellam-codesign";
    if (executable == "/usr/bin/ditto") return toolFolder_ / "pellam-ditto";
    return executable;
  }

  std::filesystem::path toolFolder_;
};

}  // namespace

std::shared_ptr<ChildProcessRunning> makeSystemChildProcessRunner(std::filesystem::path toolFolder) {
  return std::make_shared<ChildProcessRunner>(std::move(toolFolder));
}

}  // namespace pellam
