#include "platform/linux/jobs/job_process.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/close_range.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/linux/jobs/job_description.h"
#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

// Everything that the forked processes need, made ready before forking: between fork and exec only calls that
// are safe in a process with other threads are made. Identities are set by raw system calls for that reason.
struct Prepared {
  std::vector<char*> arguments;
  std::vector<char*> environment;
  const ProcessUser* user = nullptr;
  int nice = 0;
  int report = -1;
};

struct Report {
  pid_t identifier;
  int error;
};

[[noreturn]] void fail(const Prepared& prepared, int error) {
  const Report report{::getpid(), error};
  (void)!::write(prepared.report, &report, sizeof report);
  ::_exit(127);
}

void takeIdentity(const Prepared& prepared) {
  const ProcessUser& user = *prepared.user;
  if (::syscall(SYS_setgroups, user.groups.size(), user.groups.data()) != 0 ||
      ::syscall(SYS_setresgid, user.group, user.group, user.group) != 0 ||
      ::syscall(SYS_setresuid, user.user, user.user, user.user) != 0) {
    fail(prepared, errno);
  }
}

[[noreturn]] void becomeProgram(const Prepared& prepared) {
  ::setsid();
  const pid_t successor = ::fork();
  if (successor < 0) fail(prepared, errno);
  if (successor > 0) ::_exit(0);

  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream = 0; stream < 3 && null >= 0; ++stream) ::dup2(null, stream);
  ::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
  (void)!::chdir("/");
  ::umask(022);
  (void)::setpriority(PRIO_PROCESS, 0, prepared.nice);
  if (prepared.user != nullptr) takeIdentity(prepared);
  const Report report{::getpid(), 0};
  (void)!::write(prepared.report, &report, sizeof report);
  ::execve(prepared.arguments.front(), prepared.arguments.data(), prepared.environment.data());
  fail(prepared, errno);
}

bool readReport(int descriptor, Report& report) {
  ssize_t count = 0;
  do {
    count = ::read(descriptor, &report, sizeof report);
  } while (count < 0 && errno == EINTR);
  return count == sizeof report;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

}  // namespace

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
  ProcessUser result{user, entry.pw_gid, {}, entry.pw_name, entry.pw_dir, entry.pw_shell};
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
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw jobError(errno, "pipe");
  const FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const Prepared prepared{pointers(start.arguments), pointers(start.environment),
                          start.asUser ? &*start.asUser : nullptr, start.nice, writeEnd.get()};
  const pid_t intermediate = ::fork();
  if (intermediate < 0) throw jobError(errno, "fork");
  if (intermediate == 0) becomeProgram(prepared);
  writeEnd.reset();
  while (::waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
  }
  Report started{};
  if (!readReport(readEnd.get(), started)) throw jobError(EIO, "the program could not be started");
  Report failed{};
  if (started.error != 0 || readReport(readEnd.get(), failed)) {
    throw jobError(started.error != 0 ? started.error : failed.error, start.arguments.front());
  }
  return started.identifier;
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
