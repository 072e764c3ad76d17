// Runs a program and interferes with one of the system calls by which it changes something:
//   interrupted_run AT before|after|told|ERRNO COUNT_FILE PROGRAM ARGUMENT...
// Before or after the AT-th changing call (from 1; 0: none) of the program itself, not of those that it
// starts, it is killed; or it is told to stop there, by every signal that says so; or the call fails with the
// error number. COUNT_FILE gets one line for each changing call. Exit status: the program's, 128 and the
// signal where it was killed, 77 where a system allows no such thing.

#include <elf.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

struct Call {
  long number;
  const char* name;
};

constexpr Call changingCalls[] = {
#ifdef SYS_rename
    {SYS_rename, "rename"},       {SYS_mkdir, "mkdir"},         {SYS_rmdir, "rmdir"},
    {SYS_unlink, "unlink"},       {SYS_chmod, "chmod"},         {SYS_lchown, "lchown"},
#endif
#ifdef SYS_renameat
    {SYS_renameat, "renameat"},
#endif
    {SYS_renameat2, "renameat2"}, {SYS_mkdirat, "mkdirat"},     {SYS_unlinkat, "unlinkat"},
    {SYS_symlinkat, "symlinkat"}, {SYS_mknodat, "mknodat"},     {SYS_linkat, "linkat"},
    {SYS_write, "write"},         {SYS_ftruncate, "ftruncate"}, {SYS_fsync, "fsync"},
    {SYS_fdatasync, "fdatasync"}, {SYS_syncfs, "syncfs"},       {SYS_fchmod, "fchmod"},
    {SYS_fchmodat, "fchmodat"},   {SYS_fchown, "fchown"},       {SYS_fchownat, "fchownat"},
    {SYS_utimensat, "utimensat"}, {SYS_fsetxattr, "fsetxattr"}, {SYS_lremovexattr, "lremovexattr"},
};

// Also what opens a file that is not there.
bool becomeInterruptible() {
  std::vector<sock_filter> rules = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  if (std::getenv("WITHOUT_EXCHANGE") != nullptr) {
    const std::vector<sock_filter> refusal = {
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args) + 4 * sizeof(std::uint64_t)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, RENAME_EXCHANGE, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    rules.insert(rules.end(), refusal.begin(), refusal.end());
  }
  for (const Call& call : changingCalls) {
    rules.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call.number), 0, 1));
    rules.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
  }
  rules.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program = {.len = static_cast<unsigned short>(rules.size()), .filter = rules.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

const char* nameOf(long number) {
  for (const Call& call : changingCalls) {
    if (call.number == number) return call.name;
  }
  return "openat";
}

#if defined(__x86_64__)
void skipCall(pid_t process) {
  user_regs_struct registers{};
  ::ptrace(PTRACE_GETREGS, process, nullptr, &registers);
  registers.orig_rax = static_cast<unsigned long long>(-1);
  ::ptrace(PTRACE_SETREGS, process, nullptr, &registers);
}
void setResult(pid_t process, long result) {
  user_regs_struct registers{};
  ::ptrace(PTRACE_GETREGS, process, nullptr, &registers);
  registers.rax = static_cast<unsigned long long>(result);
  ::ptrace(PTRACE_SETREGS, process, nullptr, &registers);
}
#elif defined(__aarch64__)
void skipCall(pid_t process) {
  int none = -1;
  iovec value{&none, sizeof none};
  ::ptrace(PTRACE_SETREGSET, process, NT_ARM_SYSTEM_CALL, &value);
}
void setResult(pid_t process, long result) {
  user_regs_struct registers{};
  iovec value{&registers, sizeof registers};
  ::ptrace(PTRACE_GETREGSET, process, NT_PRSTATUS, &value);
  registers.regs[0] = static_cast<unsigned long long>(result);
  ::ptrace(PTRACE_SETREGSET, process, NT_PRSTATUS, &value);
}
#endif

class Interruption {
 public:
  Interruption(pid_t program, long at, std::string_view how, std::FILE* calls)
      : program_(program), at_(at), how_(how), calls_(calls) {}

  // The exit status.
  int watch() {
    int programStatus = 77;
    for (;;) {
      int status = 0;
      const pid_t process = ::waitpid(-1, &status, __WALL);
      if (process < 0) return programStatus;
      if (!WIFSTOPPED(status)) {
        if (process == program_)
          programStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        continue;
      }
      if (status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8)) {
        if (process == program_ && isTheOne()) {
          interfere();
          continue;
        }
        ::ptrace(PTRACE_CONT, process, nullptr, 0);
        continue;
      }
      const bool isEvent = status >> 16 != 0;
      const int signal = WSTOPSIG(status);
      const bool isOurs = isEvent || signal == SIGSTOP || signal == SIGTRAP;
      ::ptrace(PTRACE_CONT, process, nullptr, isOurs ? 0 : signal);
    }
  }

 private:
  bool isTheOne() {
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, program_, sizeof info, &info);
    std::fprintf(calls_, "%s\n", nameOf(static_cast<long>(info.seccomp.nr)));
    return ++count_ == at_;
  }

  void interfere() {
    if (how_ == "before") {
      ::kill(program_, SIGKILL);
      return;
    }
    if (how_ == "told") {
      for (const int signal : {SIGTERM, SIGHUP, SIGINT}) ::kill(program_, signal);
      ::ptrace(PTRACE_CONT, program_, nullptr, 0);
      return;
    }
    if (how_ != "after") skipCall(program_);
    ::ptrace(PTRACE_SYSCALL, program_, nullptr, 0);
    int status = 0;
    if (::waitpid(program_, &status, __WALL) != program_ || !WIFSTOPPED(status)) return;
    if (how_ == "after") {
      ::kill(program_, SIGKILL);
    } else {
      setResult(program_, -std::strtol(how_.data(), nullptr, 10));
      ::ptrace(PTRACE_CONT, program_, nullptr, 0);
    }
  }

  pid_t program_;
  long at_;
  std::string_view how_;
  std::FILE* calls_;
  long count_ = 0;
};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 5) return 2;
  std::FILE* calls = std::fopen(argv[3], "we");
  if (calls == nullptr) return 2;
  const pid_t program = ::fork();
  if (program == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(77);
    ::raise(SIGSTOP);
    if (!becomeInterruptible()) ::_exit(77);
    ::execv(argv[4], argv + 4);
    ::_exit(127);
  }
  int status = 0;
  if (program < 0 || ::waitpid(program, &status, 0) != program || !WIFSTOPPED(status)) return 77;
  constexpr long options = PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                           PTRACE_O_TRACECLONE | PTRACE_O_TRACESYSGOOD;
  if (::ptrace(PTRACE_SETOPTIONS, program, nullptr, options) != 0) return 77;
  ::ptrace(PTRACE_CONT, program, nullptr, 0);
  const int result = Interruption(program, std::strtol(argv[1], nullptr, 10), argv[2], calls).watch();
  std::fclose(calls);
  return result;
}
