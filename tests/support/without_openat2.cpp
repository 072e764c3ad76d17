// Runs a program on a kernel that does not know openat2: usage: without_openat2 ENOSYS|EPERM PROGRAM
// ARGUMENT... Older kernels answer ENOSYS, some sandboxes EPERM. Exit status 77 where this cannot be had.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/openat2.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string_view>

int main(int argc, char* argv[]) {
  if (argc < 3) return 2;
  const int error = std::string_view(argv[1]) == "EPERM" ? EPERM : ENOSYS;
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {.len = 4, .filter = rules};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    std::perror("seccomp");
    return 77;
  }
  open_how how{};
  how.flags = O_PATH;
  if (::syscall(SYS_openat2, AT_FDCWD, "/", &how, sizeof how) != -1 || errno != error) return 1;
  ::execv(argv[2], argv + 2);
  std::perror(argv[2]);
  return 1;
}
