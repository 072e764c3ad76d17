#include "platform/linux/system/detached_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

// Runs in the forked child of a process that may have other threads: only async-signal-safe calls.
[[noreturn]] void becomeProgram(const char* path, char* const* arguments, int errorPipe) {
  const auto fail = [errorPipe](int error) {
    (void)!::write(errorPipe, &error, sizeof error);
    ::_exit(127);
  };
  ::setsid();
  const pid_t program = ::fork();
  if (program < 0) fail(errno);
  if (program > 0) ::_exit(0);

  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream = 0; stream < 3 && null >= 0; ++stream) ::dup2(null, stream);
  (void)!::chdir("/");
  ::execv(path, arguments);
  fail(errno);
  ::_exit(127);
}

}  // namespace

int startDetachedProcess(const std::filesystem::path& executable, const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
  const FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);

  std::vector<char*> vector;
  vector.push_back(const_cast<char*>(executable.c_str()));
  for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
  vector.push_back(nullptr);

  const pid_t intermediate = ::fork();
  if (intermediate < 0) return errno;
  if (intermediate == 0) becomeProgram(executable.c_str(), vector.data(), writeEnd.get());
  writeEnd.reset();
  while (::waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
  }
  // The pipe ends without a word when the program has replaced the child.
  int error = 0;
  ssize_t count = 0;
  do {
    count = ::read(readEnd.get(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count == sizeof error ? error : 0;
}

}  // namespace pellam
