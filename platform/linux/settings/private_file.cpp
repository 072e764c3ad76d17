#include "platform/linux/settings/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/file_system.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/posix_error.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;
using posix::throwError;

// The file that is meant, which need not exist, and what it is like when it does.
struct Target {
  Path path;
  bool exists = false;
  struct stat status {};
};

Target behindLinks(Path path) {
  constexpr int mostLinks = 40;  // the system gives up here, too
  for (int link = 0; link < mostLinks; ++link) {
    Target target{path, true};
    if (::lstat(posix::cPath(path), &target.status) != 0) {
      if (errno != ENOENT) throwError(errno, path.native());
      target.exists = false;
    }
    if (!target.exists || !S_ISLNK(target.status.st_mode)) return target;
    // A program that runs as root must not write where somebody else points.
    if (target.status.st_uid != ::geteuid()) break;
    path = path.parent_path() / std::filesystem::read_symlink(path);
  }
  throwError(ELOOP, path.native());
}

// What the old file allowed, as far as the new one has the same owner and group.
mode_t permissionsToKeep(int file, const struct stat& old) {
  const mode_t permissions = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  struct stat status {};
  if (::fstat(file, &status) != 0) return permissions & S_IRWXU;
  if (status.st_uid == old.st_uid && status.st_gid == old.st_gid) return permissions;
  return ::fchown(file, old.st_uid, old.st_gid) == 0 ? permissions : permissions & S_IRWXU;
}

}  // namespace

void replacePrivateFile(FileSystem& fileSystem, const Path& path, std::span<const std::uint8_t> bytes) {
  const Target target = behindLinks(path);
  const Path folder = target.path.parent_path();
  const std::string prefix = "." + target.path.filename().native().substr(0, 200);
  std::string temporary = (folder / (prefix + ".partial-XXXXXX")).native();
  const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file.isOpen()) throwError(errno, target.path.native());
  try {
    fileSystem.writeFile(temporary, bytes);
    if (target.exists && ::fchmod(file.get(), permissionsToKeep(file.get(), target.status)) != 0) {
      throwError(errno, target.path.native());
    }
    if (::fsync(file.get()) != 0) throwError(errno, target.path.native());
    if (::rename(temporary.c_str(), target.path.c_str()) != 0) throwError(errno, target.path.native());
  } catch (...) {
    (void)::unlink(temporary.c_str());
    throw;
  }
  fileSystem.synchronizeDirectory(folder);
}

}  // namespace pellam
