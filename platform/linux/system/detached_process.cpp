#include "platform/linux/system/detached_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

// What travels through the pipe. The first one counts: a program that could not be started also ends.
struct Report {
  enum class Kind : int { startFailed, ended };
  Kind kind;
  int number;  // an errno or a termination status
};

struct Program {
  const char* path;
  char* const* arguments;
  int reports;
};

// Everything down to superviseProgram() runs in forked children of a process that may have other threads:
// only async-signal-safe calls.

void report(const Program& program, Report::Kind kind, int number) {
  const Report report{kind, number};
  (void)!::write(program.reports, &report, sizeof report);
}

[[noreturn]] void fail(const Program& program, int error) {
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

[[noreturn]] void becomeProgram(const Program& program) {
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  ::execv(program.path, program.arguments);
  fail(program, errno);
}

pid_t forkOrFail(const Program& program) {
  const pid_t child = ::fork();
  if (child < 0) fail(program, errno);
  return child;
}

[[noreturn]] void startProgram(const Program& program) {
  detach();
  if (forkOrFail(program) > 0) ::_exit(0);
  becomeProgram(program);
}

// A process in between is the program's parent for as long as somebody waits; then the program goes to the
// system's first process, which reaps it.
[[noreturn]] void superviseProgram(const Program& program, int patienceMilliseconds) {
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

// `run` is what the forked child does. Nothing when the pipe ended without a word.
template <typename Run>
std::optional<Report> firstReport(const std::filesystem::path& executable,
                                  const std::vector<std::string>& arguments, const Run& run) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return Report{Report::Kind::startFailed, errno};
  const FileDescriptor readEnd(ends[0]);
  // Above the standard streams, whose numbers are taken over in the child.
  constexpr int lowest = 4;
  FileDescriptor writeEnd(::fcntl(ends[1], F_DUPFD_CLOEXEC, lowest));
  const int error = errno;
  ::close(ends[1]);
  if (!writeEnd.isOpen()) return Report{Report::Kind::startFailed, error};

  std::vector<char*> vector;
  vector.push_back(const_cast<char*>(executable.c_str()));
  for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
  vector.push_back(nullptr);

  const pid_t intermediate = ::fork();
  if (intermediate < 0) return Report{Report::Kind::startFailed, errno};
  if (intermediate == 0) run(Program{executable.c_str(), vector.data(), writeEnd.get()});
  writeEnd.reset();
  while (::waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
  }
  Report report{};
  ssize_t count = 0;
  do {
    count = ::read(readEnd.get(), &report, sizeof report);
  } while (count < 0 && errno == EINTR);
  return count == sizeof report ? std::optional(report) : std::nullopt;
}

}  // namespace

int startDetachedProcess(const std::filesystem::path& executable, const std::vector<std::string>& arguments) {
  // The pipe ends without a word when the program has replaced the child.
  const std::optional<Report> report = firstReport(executable, arguments, &startProgram);
  return report ? report->number : 0;
}

DetachedProcessOutcome runDetachedProcess(const std::filesystem::path& executable,
                                          const std::vector<std::string>& arguments,
                                          std::chrono::milliseconds patience) {
  const std::optional<Report> report = firstReport(
      executable, arguments, [milliseconds = static_cast<int>(patience.count())](const Program& program) {
        superviseProgram(program, milliseconds);
      });
  if (!report) return {};
  if (report->kind == Report::Kind::startFailed) return {report->number, std::nullopt};
  return {0, report->number};
}

}  // namespace pellam
