#include "platform/linux/jobs/privileged_program.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/linux/jobs/job_description.h"

namespace pellam {

std::filesystem::path requirePrivilegedProgram(const std::filesystem::path& program) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(program.c_str(), nullptr), &std::free);
  if (!real) throw jobError(errno, program.string());
  std::filesystem::path resolved = real.get();
  for (std::filesystem::path item = resolved;; item = item.parent_path()) {
    struct stat status {};
    if (::lstat(item.c_str(), &status) != 0) throw jobError(errno, item.string());
    if (status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
      throw jobError(EPERM, item.string() + " can be changed by others than root");
    }
    if (item == item.root_path()) return resolved;
  }
}

}  // namespace pellam
