#include "platform/linux/system/detached_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

// What travels through the pipe. A program that could not be started is reported as started before.
struct Report {
  enum class Kind : int { started, startFailed, ended };
  Kind kind;
  int number;  // a process, an errno or a termination status
};

// Everything that the forked processes need, made ready before forking.
struct Prepared {
  const char* path;
  std::vector<char*> arguments;
  std::vector<char*> environment;
  const ProcessIdentity* identity;
  std::optional<mode_t> fileCreationMask;
  std::optional<int> nice;
  int reports;
};

// Everything down to superviseProgram() runs in forked children of a process that may have other threads:
// only async-signal-safe calls. Identities are set by raw system calls for that reason.

void report(const Prepared& program, Report::Kind kind, int number) {
  const Report report{kind, number};
  (void)!::write(program.reports, &report, sizeof report);
}

[[noreturn]] void fail(const Prepared& program, int error) {
  report(program, Report::Kind::startFailed, error);
  ::_exit(127);
}

// A session without a terminal, and the streams and descriptors of nobody else.
void detach() {
  ::setsid();
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream = 0; stream < 3 && null >= 0; ++stream) ::dup2(null, stream);
  ::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
  (void)!::chdir("/");
}

void takeIdentity(const Prepared& program) {
  const ProcessIdentity& identity = *program.identity;
  if (::syscall(SYS_setgroups, identity.groups.size(), identity.groups.data()) != 0 ||
      ::syscall(SYS_setresgid, identity.group, identity.group, identity.group) != 0 ||
      ::syscall(SYS_setresuid, identity.user, identity.user, identity.user) != 0) {
    fail(program, errno);
  }
}

[[noreturn]] void becomeProgram(const Prepared& program) {
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  if (program.fileCreationMask) ::umask(*program.fileCreationMask);
  if (program.nice) (void)::setpriority(PRIO_PROCESS, 0, *program.nice);
  if (program.identity != nullptr) takeIdentity(program);
  report(program, Report::Kind::started, ::getpid());
  ::execve(program.path, program.arguments.data(), program.environment.data());
  fail(program, errno);
}

pid_t forkOrFail(const Prepared& program) {
  const pid_t child = ::fork();
  if (child < 0) fail(program, errno);
  return child;
}

[[noreturn]] void startProgram(const Prepared& program) {
  detach();
  if (forkOrFail(program) > 0) ::_exit(0);
  becomeProgram(program);
}

// A process in between is the program's parent for as long as somebody waits; then the program goes to the
// system's first process, which reaps it.
[[noreturn]] void superviseProgram(const Prepared& program, int patienceMilliseconds) {
  detach();
  if (forkOrFail(program) > 0) ::_exit(0);
  ::signal(SIGCHLD, SIG_DFL);
  const pid_t child = forkOrFail(program);
  if (child == 0) becomeProgram(program);
  // What the starter has open must not stay open for as long as this waits.
  ::syscall(SYS_close_range, 3U, static_cast<unsigned>(program.reports) - 1, 0U);
  ::syscall(SYS_close_range, static_cast<unsigned>(program.reports) + 1, ~0U, 0U);
  pollfd ending{static_cast<int>(::syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
  int status = 0;
  if (::poll(&ending, 1, patienceMilliseconds) == 1 && ::waitpid(child, &status, WNOHANG) == child) {
    report(program, Report::Kind::ended, WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status));
  }
  ::_exit(0);
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

std::vector<char*> ownEnvironment() {
  std::vector<char*> result;
  for (char** entry = environ; *entry != nullptr; ++entry) result.push_back(*entry);
  result.push_back(nullptr);
  return result;
}

std::optional<Report> nextReport(int reports) {
  Report report{};
  ssize_t count = 0;
  do {
    count = ::read(reports, &report, sizeof report);
  } while (count < 0 && errno == EINTR);
  return count == sizeof report ? std::optional(report) : std::nullopt;
}

// The pipe ends when the program has replaced the child, or when nobody waits for its end any more.
DetachedProcessOutcome outcomeOf(int reports) {
  DetachedProcessOutcome outcome;
  while (const std::optional<Report> report = nextReport(reports)) {
    if (report->kind == Report::Kind::startFailed) return {0, report->number, std::nullopt};
    if (report->kind == Report::Kind::started) outcome.process = report->number;
    if (report->kind == Report::Kind::ended) {
      outcome.terminationStatus = report->number;
      break;
    }
  }
  // Whoever should have reported was killed.
  if (outcome.process == 0) outcome.startError = EIO;
  return outcome;
}

// `run` is what the forked child does.
template <typename Run>
DetachedProcessOutcome inForkedChild(const DetachedProgram& program, const Run& run) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {0, errno, std::nullopt};
  const FileDescriptor readEnd(ends[0]);
  // Above the standard streams, whose numbers are taken over in the child.
  constexpr int lowest = 4;
  FileDescriptor writeEnd(::fcntl(ends[1], F_DUPFD_CLOEXEC, lowest));
  const int error = errno;
  ::close(ends[1]);
  if (!writeEnd.isOpen()) return {0, error, std::nullopt};

  Prepared prepared{program.executable.c_str(),
                    pointers(program.arguments),
                    program.environment ? pointers(*program.environment) : ownEnvironment(),
                    program.identity ? &*program.identity : nullptr,
                    program.fileCreationMask,
                    program.nice,
                    writeEnd.get()};
  prepared.arguments.insert(prepared.arguments.begin(), const_cast<char*>(prepared.path));

  const pid_t intermediate = ::fork();
  if (intermediate < 0) return {0, errno, std::nullopt};
  if (intermediate == 0) run(prepared);
  writeEnd.reset();
  while (::waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
  }
  return outcomeOf(readEnd.get());
}

}  // namespace

DetachedProcessOutcome startDetachedProcess(const DetachedProgram& program) {
  return inForkedChild(program, &startProgram);
}

DetachedProcessOutcome runDetachedProcess(const DetachedProgram& program,
                                          std::chrono::milliseconds patience) {
  return inForkedChild(program, [milliseconds = static_cast<int>(patience.count())](
                                    const Prepared& prepared) { superviseProgram(prepared, milliseconds); });
}

}  // namespace pellam
