#include "platform/linux/system/open_beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdint>
#include <utility>

#include "foundation/confined_path.h"
#include "platform/linux/system/file_steps.h"
#include "platform/linux/system/posix_error.h"

namespace pellam::posix {

namespace {

constexpr std::uint64_t noLinks = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
constexpr std::uint64_t linksInside = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;

// The kernel gives a path with ".." up while anything on the machine is being renamed; that is soon over.
constexpr int mostAttempts = 64;

FileDescriptor openInOneStep(int folder, const std::string& path, int flags, unsigned permissions,
                             std::uint64_t resolve) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(static_cast<unsigned>(flags) | O_CLOEXEC);
  how.mode = permissions;
  how.resolve = resolve;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    const auto number = static_cast<int>(::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how));
    if (number >= 0) return FileDescriptor(number);
    if (errno != EAGAIN) break;
  }
  return {};
}

// An older kernel, a sandbox that does not know the call, or renaming without end.
bool mustGoStepByStep(int error) { return error == ENOSYS || error == EPERM || error == EAGAIN; }

FileDescriptor openName(int folder, const std::string& name, int flags, unsigned permissions) {
  FileDescriptor item(::openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, permissions));
  if (item.isOpen() || errno != ENOTDIR) return item;
  // Where a folder is asked for, a link is only said to be none.
  struct stat status {};
  const bool isLink =
      ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  errno = isLink ? ELOOP : ENOTDIR;
  return item;
}

FileDescriptor openStepByStep(int folder, const std::string& path, int flags, unsigned permissions) {
  FileDescriptor reached;
  std::size_t start = 0;
  for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', start)) {
    const int from = reached.isOpen() ? reached.get() : folder;
    FileDescriptor next = openName(from, path.substr(start, slash - start), O_PATH | O_DIRECTORY, 0);
    if (!next.isOpen()) return next;
    reached = std::move(next);
    start = slash + 1;
  }
  return openName(reached.isOpen() ? reached.get() : folder, path.substr(start), flags, permissions);
}

// The kernel's answer, found with calls that every kernel has.
bool leadsBeneathStepByStep(int folder, const std::string& path) {
  try {
    const LinkEnd end = followLinks(path, [&](const std::string& place, bool isLast) {
      const FileDescriptor item = openStepByStep(folder, place, O_PATH, 0);
      struct stat status {};
      if (!item.isOpen() || ::fstat(item.get(), &status) != 0) throwError(errno, place);
      if (S_ISLNK(status.st_mode)) return std::optional(linkTargetAt(item.get(), "", place));
      if (!isLast && !S_ISDIR(status.st_mode)) throwError(ENOTDIR, place);
      return std::optional<std::string>();
    });
    return end == LinkEnd::inside || end == LinkEnd::nowhere;
  } catch (const std::system_error& error) {
    return error.code().value() == ENOENT;
  }
}

}  // namespace

FileDescriptor openBeneath(int folder, const std::string& path, int flags, unsigned permissions) {
  FileDescriptor item = openInOneStep(folder, path, flags, permissions, noLinks);
  if (item.isOpen() || !mustGoStepByStep(errno)) return item;
  return openStepByStep(folder, path, flags, permissions);
}

bool leadsBeneath(int folder, const std::string& path) {
  const FileDescriptor end = openInOneStep(folder, path, O_PATH, 0, linksInside);
  if (end.isOpen() || errno == ENOENT) return true;
  return mustGoStepByStep(errno) && leadsBeneathStepByStep(folder, path);
}

}  // namespace pellam::posix
