#include "platform/macos/file_steps.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace pellam::macos {

namespace {

struct CloseDirectory {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

constexpr int folderFlags = O_RDONLY | O_NONBLOCK | O_DIRECTORY;

// One folder on the way down. Its descriptor is not kept; ".." brings it back and its identity proves it.
struct Level {
  std::string name;
  std::vector<std::string> remaining;
  dev_t device = 0;
  unsigned long long file = 0;
};

class TreeRemover {
 public:
  TreeRemover(int parent, std::string path) : root_(parent), path_(std::move(path)) {}

  void remove(const std::string& name) {
    if (removeEntry(root_, name)) return;
    descend(root_, name);
    while (!levels_.empty()) {
      if (levels_.back().remaining.empty()) {
        ascend();
        continue;
      }
      const std::string entry = std::move(levels_.back().remaining.back());
      levels_.back().remaining.pop_back();
      if (!removeEntry(current_.get(), entry)) descend(current_.get(), entry);
    }
  }

 private:
  // False when the entry is a folder.
  bool removeEntry(int folder, const std::string& name) {
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) throwError(errno, path_);
    if (!S_ISDIR(status.st_mode)) {
      if (::unlinkat(folder, name.c_str(), 0) != 0) throwError(errno, path_);
      return true;
    }
    if ((status.st_mode & S_IRWXU) != S_IRWXU &&
        ::fchmodat(folder, name.c_str(), static_cast<mode_t>((status.st_mode | S_IRWXU) & 07777),
                   AT_SYMLINK_NOFOLLOW) != 0) {
      throwError(errno, path_);
    }
    return false;
  }

  void descend(int folder, const std::string& name) {
    FileDescriptor child = openName(folder, name, folderFlags);
    struct stat status {};
    if (!child.isOpen() || ::fstat(child.get(), &status) != 0) throwError(errno, path_);
    levels_.push_back({name, namesInFolder(child.get(), path_), status.st_dev, status.st_ino});
    current_ = std::move(child);
  }

  void ascend() {
    const std::string name = std::move(levels_.back().name);
    levels_.pop_back();
    if (levels_.empty()) {
      if (::unlinkat(root_, name.c_str(), AT_REMOVEDIR) != 0) throwError(errno, path_);
      return;
    }
    FileDescriptor parent(::openat(current_.get(), "..", folderFlags | O_CLOEXEC));
    struct stat status {};
    if (!parent.isOpen() || ::fstat(parent.get(), &status) != 0) throwError(errno, path_);
    // The folder was moved elsewhere while it was emptied: do not follow it there.
    if (status.st_dev != levels_.back().device || status.st_ino != levels_.back().file) {
      throwError(ESTALE, path_);
    }
    if (::unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR) != 0) throwError(errno, path_);
    current_ = std::move(parent);
  }

  int root_;  // not owned
  std::string path_;
  FileDescriptor current_;
  std::vector<Level> levels_;
};

}  // namespace

void throwError(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& pathForErrors) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), std::min(mostAtOnce, bytes.size()));
    if (written >= 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) throwError(errno, pathForErrors);
  }
}

int renameToFreeName(int sourceFolder, const std::string& source, int destinationFolder,
                     const std::string& destination) {
  if (::renameatx_np(sourceFolder, source.c_str(), destinationFolder, destination.c_str(), RENAME_EXCL) ==
      0) {
    return 0;
  }
  if (errno != ENOTSUP) return errno;
  struct stat status {};
  if (::fstatat(destinationFolder, destination.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  if (errno != ENOENT) return errno;
  return ::renameat(sourceFolder, source.c_str(), destinationFolder, destination.c_str()) == 0 ? 0 : errno;
}

void removeAccessListOf(int descriptor, const std::string& pathForErrors) {
  using List = std::unique_ptr<std::remove_pointer_t<acl_t>, decltype(&::acl_free)>;
  const List none(::acl_init(0), &::acl_free);
  if (!none || (::acl_set_fd_np(descriptor, none.get(), ACL_TYPE_EXTENDED) != 0 && errno != ENOTSUP)) {
    throwError(errno, pathForErrors);
  }
}

std::vector<std::string> namesInFolder(int folder, const std::string& pathForErrors) {
  // A descriptor of its own: reading moves the position that duplicates share.
  FileDescriptor own(::openat(folder, ".", folderFlags | O_CLOEXEC));
  if (!own.isOpen()) throwError(errno, pathForErrors);
  const std::unique_ptr<DIR, CloseDirectory> stream(::fdopendir(own.get()));
  if (!stream) throwError(errno, pathForErrors);
  (void)own.release();
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name(entry->d_name);
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) throwError(errno, pathForErrors);
  std::sort(names.begin(), names.end());
  return names;
}

std::string linkTargetAt(int folder, const std::string& name, const std::string& pathForErrors) {
  std::string target(256, '\0');
  for (;;) {
    const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
    if (length < 0) throwError(errno, pathForErrors);
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return target;
    }
    target.resize(target.size() * 2);
  }
}

FileDescriptor openName(int folder, const std::string& name, int flags, unsigned permissions) {
  FileDescriptor item(::openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, permissions));
  if (item.isOpen() || errno != ENOTDIR) return item;
  // Where a folder is asked for, a link may only be said to be none.
  struct stat status {};
  const bool isLink =
      ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  errno = isLink ? ELOOP : ENOTDIR;
  return item;
}

void removeTree(int parent, const std::string& name, const std::string& pathForErrors) {
  TreeRemover(parent, pathForErrors).remove(name);
}

}  // namespace pellam::macos
