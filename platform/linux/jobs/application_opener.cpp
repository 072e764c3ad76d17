#include "platform/linux/jobs/application_opener.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "foundation/item_path.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/systemd_jobs.h"

namespace pellam {

namespace {

std::filesystem::path mainExecutable(const std::filesystem::path& application, const FileSystem& fileSystem,
                                     const BundleLoading& bundles) {
  const auto bundle = bundles.bundleAt(application);
  const PropertyListText* name =
      bundle ? bundle->informationDictionary.findString("CFBundleExecutable") : nullptr;
  if (name == nullptr || !isPlainFileName(*name)) {
    throw jobError(ENOEXEC, application.string() + " is no application");
  }
  std::filesystem::path executable = application / "Contents" / "MacOS" / name->view();
  if (!fileSystem.isExecutableFile(executable)) throw jobError(EACCES, executable.string());
  return executable;
}

// Each opened application is a unit of its own, so that it can be opened again while it runs.
std::string unitFor(const std::filesystem::path& application) {
  static std::atomic<unsigned> count = 0;
  const auto stamp = stampOf(::getpid());
  return SystemdJobs::unitName("open." + application.stem().string().substr(0, 40) + "." +
                               std::to_string(::getpid()) + "." +
                               std::to_string(stamp ? stamp->startTime : 0) + "." + std::to_string(++count));
}

// The user's own manager knows the user's session, its displays and its buses.
bool isOpenedByManager(const ProcessUser& user, const JobDescription& job, const std::string& unit) {
  const std::string socket = "/run/user/" + std::to_string(user.user) + "/bus";
  if (::access("/run/systemd/system", F_OK) != 0 || ::access(socket.c_str(), F_OK) != 0) return false;
  bool isOpened = false;
  // Raw system calls change the identity of one thread only: this one, which ends afterwards.
  std::thread asUser([&] {
    if (::syscall(SYS_setgroups, user.groups.size(), user.groups.data()) != 0 ||
        ::syscall(SYS_setresgid, user.group, user.group, user.group) != 0 ||
        ::syscall(SYS_setresuid, user.user, user.user, user.user) != 0) {
      return;
    }
    try {
      if (auto manager = SystemdJobs::connectTo("unix:path=" + socket)) {
        manager->submit(unit, job, {});
        isOpened = true;
      }
    } catch (const PlatformError&) {
      isOpened = false;
    }
  });
  asUser.join();
  return isOpened;
}

}  // namespace

void openApplication(const OpenRequest& request, const FileSystem& fileSystem, const BundleLoading& bundles) {
  JobDescription job{request.application.filename().string(),
                     {mainExecutable(request.application, fileSystem, bundles).string()},
                     0};
  std::optional<ProcessUser> user;
  if (request.user && *request.user != ::geteuid()) {
    if (::geteuid() != 0) throw jobError(EPERM, "opening an application as another user");
    user = ProcessUser::lookUp(*request.user);
    if (isOpenedByManager(*user, job, unitFor(request.application))) return;
  }
  (void)startProgram({job.arguments, sessionEnvironment(user), user, job.nice});
}

}  // namespace pellam
