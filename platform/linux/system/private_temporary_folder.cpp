#include "platform/linux/system/private_temporary_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace pellam {

namespace {

bool isPrivate(const std::filesystem::path& folder) {
  struct stat status {};
  return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & 0077) == 0;
}

}  // namespace

std::filesystem::path privateTemporaryFolder() {
  if (const char* stated = std::getenv("TMPDIR"); stated != nullptr && *stated == '/') return stated;
  std::filesystem::path shared = "/tmp/pellam-" + std::to_string(::geteuid());
  (void)::mkdir(shared.c_str(), 0700);
  if (isPrivate(shared)) return shared;
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home != '/') return shared;
  return std::filesystem::path(home) / ".cache" / "pellam";
}

}  // namespace pellam
