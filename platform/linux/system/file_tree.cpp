#include "platform/linux/system/file_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/posix_error.h"

namespace pellam::posix {

namespace {

constexpr int maximumCopyDepth = 256;
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct CloseDirectory {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

struct stat statusOf(int descriptor, const std::string& path) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) throwError(errno, path);
  return status;
}

FileDescriptor openDirectoryAt(int parent, const std::string& name, const std::string& path) {
  FileDescriptor directory(::openat(parent, name.c_str(), directoryFlags));
  if (!directory.isOpen()) throwError(errno, path);
  return directory;
}

// One folder on the way down. Its descriptor is not kept; ".." brings it back and its identity proves it.
struct Level {
  std::string name;
  std::vector<std::string> remaining;
  dev_t device = 0;
  ino_t inode = 0;
};

class TreeRemover {
 public:
  TreeRemover(int parent, std::string path) : root_(parent), path_(std::move(path)) {}

  void remove(const std::string& name) {
    if (removeEntry(root_, name)) return;
    descend(root_, name);
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.remaining.empty()) {
        ascend();
        continue;
      }
      const std::string entry = std::move(level.remaining.back());
      level.remaining.pop_back();
      if (!removeEntry(current_.get(), entry)) descend(current_.get(), entry);
    }
  }

 private:
  // False when the entry is a folder that still has contents or may not be removed as a file.
  bool removeEntry(int directory, const std::string& name) {
    if (::unlinkat(directory, name.c_str(), 0) == 0) return true;
    if (errno == EISDIR) return false;
    const int error = errno;
    struct stat status {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) throwError(error, path_);
    if (S_ISDIR(status.st_mode)) return false;
    throwError(error, path_);
  }

  void descend(int directory, const std::string& name) {
    FileDescriptor child(::openat(directory, name.c_str(), directoryFlags));
    if (!child.isOpen() && errno == EACCES) {
      // Not even its owner may read it; by its name, as there is no descriptor to do it by.
      if (::fchmodat(directory, name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) != 0) throwError(errno, path_);
      child = FileDescriptor(::openat(directory, name.c_str(), directoryFlags));
    }
    if (!child.isOpen()) throwError(errno, path_);
    const struct stat status = statusOf(child.get(), path_);
    if ((status.st_mode & S_IRWXU) != S_IRWXU &&
        ::fchmod(child.get(), (status.st_mode | S_IRWXU) & 07777) != 0) {
      throwError(errno, path_);
    }
    levels_.push_back({name, namesInDirectory(child.get(), path_), status.st_dev, status.st_ino});
    current_ = std::move(child);
  }

  void ascend() {
    const std::string name = std::move(levels_.back().name);
    levels_.pop_back();
    if (levels_.empty()) {
      if (::unlinkat(root_, name.c_str(), AT_REMOVEDIR) != 0) throwError(errno, path_);
      return;
    }
    FileDescriptor parent = openDirectoryAt(current_.get(), "..", path_);
    const struct stat status = statusOf(parent.get(), path_);
    // The folder was moved elsewhere while it was emptied: do not follow it there.
    if (status.st_dev != levels_.back().device || status.st_ino != levels_.back().inode) {
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

class TreeCopier {
 public:
  explicit TreeCopier(std::string path) : path_(std::move(path)), buffer_(std::size_t{1} << 20) {}

  void copyEntry(int sourceParent, const std::string& sourceName, int destinationParent,
                 const std::string& destinationName, int depth) {
    struct stat status {};
    if (::fstatat(sourceParent, sourceName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) fail();
    if (S_ISDIR(status.st_mode)) {
      copyDirectory(sourceParent, sourceName, destinationParent, destinationName, depth);
    } else if (S_ISREG(status.st_mode)) {
      copyRegularFile(sourceParent, sourceName, destinationParent, destinationName);
    } else if (S_ISLNK(status.st_mode)) {
      copyLink(sourceParent, sourceName, destinationParent, destinationName, status);
    } else {
      if (::mknodat(destinationParent, destinationName.c_str(), status.st_mode, status.st_rdev) != 0) fail();
      applyToName(destinationParent, destinationName, status);
    }
  }

 private:
  [[noreturn]] void fail() const { throwError(errno, path_); }

  void copyDirectory(int sourceParent, const std::string& sourceName, int destinationParent,
                     const std::string& destinationName, int depth) {
    if (depth >= maximumCopyDepth) throwError(ENAMETOOLONG, path_);
    const FileDescriptor source = openDirectoryAt(sourceParent, sourceName, path_);
    if (::mkdirat(destinationParent, destinationName.c_str(), S_IRWXU) != 0) fail();
    const FileDescriptor destination = openDirectoryAt(destinationParent, destinationName, path_);
    for (const std::string& name : namesInDirectory(source.get(), path_)) {
      copyEntry(source.get(), name, destination.get(), name, depth + 1);
    }
    applyMetadata(source.get(), destination.get());
  }

  void copyRegularFile(int sourceParent, const std::string& sourceName, int destinationParent,
                       const std::string& destinationName) {
    // Non-blocking: a pipe put in the file's place meanwhile must not hold the copy up.
    const FileDescriptor source(
        ::openat(sourceParent, sourceName.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!source.isOpen()) fail();
    if (!S_ISREG(statusOf(source.get(), path_).st_mode)) throwError(ESTALE, path_);
    const FileDescriptor destination(::openat(destinationParent, destinationName.c_str(),
                                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                              S_IRUSR | S_IWUSR));
    if (!destination.isOpen()) fail();
    copyContents(source.get(), destination.get());
    applyMetadata(source.get(), destination.get());
  }

  // An ordinary process gives nothing away, but may give what it has made to any of its own groups.
  static uid_t ownerFor(const struct stat& status) {
    return ::geteuid() == 0 ? status.st_uid : static_cast<uid_t>(-1);
  }

  void copyContents(int source, int destination) {
    for (;;) {
      const ssize_t count = ::read(source, buffer_.data(), buffer_.size());
      if (count == 0) return;
      if (count < 0) {
        if (errno == EINTR) continue;
        fail();
      }
      for (ssize_t written = 0; written < count;) {
        const ssize_t step =
            ::write(destination, buffer_.data() + written, static_cast<std::size_t>(count - written));
        if (step < 0 && errno != EINTR) fail();
        if (step > 0) written += step;
      }
    }
  }

  void copyLink(int sourceParent, const std::string& sourceName, int destinationParent,
                const std::string& destinationName, const struct stat& status) {
    const ssize_t length = ::readlinkat(sourceParent, sourceName.c_str(), buffer_.data(), buffer_.size());
    if (length < 0) fail();
    const std::string target(buffer_.data(), static_cast<std::size_t>(length));
    if (::symlinkat(target.c_str(), destinationParent, destinationName.c_str()) != 0) fail();
    applyToName(destinationParent, destinationName, status);
  }

  void applyToName(int parent, const std::string& name, const struct stat& status) {
    if (::fchownat(parent, name.c_str(), ownerFor(status), status.st_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
        ::geteuid() == 0) {
      fail();
    }
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    if (::utimensat(parent, name.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) fail();
  }

  // Attributes before the permissions, which may take the write permission away; the permissions after the
  // owner, whose change clears the set-identifier bits; the times last.
  void applyMetadata(int source, int destination) {
    const struct stat status = statusOf(source, path_);
    copyAttributes(source, destination);
    if (::fchown(destination, ownerFor(status), status.st_gid) != 0 && ::geteuid() == 0) fail();
    if (::fchmod(destination, status.st_mode & 07777) != 0) fail();
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    if (::futimens(destination, times) != 0) fail();
  }

  void copyAttributes(int source, int destination) {
    const ssize_t size = ::flistxattr(source, nullptr, 0);
    if (size <= 0) return;  // none, or a volume that keeps none
    std::vector<char> names(static_cast<std::size_t>(size));
    const ssize_t used = ::flistxattr(source, names.data(), names.size());
    if (used < 0) fail();
    for (ssize_t offset = 0; offset < used;) {
      const char* name = names.data() + offset;
      offset += static_cast<ssize_t>(std::strlen(name)) + 1;
      if (!std::string_view(name).starts_with("user.")) continue;
      const ssize_t length = ::fgetxattr(source, name, buffer_.data(), buffer_.size());
      if (length < 0) fail();
      if (::fsetxattr(destination, name, buffer_.data(), static_cast<std::size_t>(length), 0) != 0) {
        if (errno == ENOTSUP) return;
        fail();
      }
    }
  }

  std::string path_;
  std::vector<char> buffer_;
};

}  // namespace

std::vector<std::string> namesInDirectory(int directory, const std::string& pathForErrors) {
  // A descriptor of its own: reading moves the position that duplicates share.
  FileDescriptor own(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

void removeTree(int parent, const std::string& name, const std::string& pathForErrors) {
  TreeRemover(parent, pathForErrors).remove(name);
}

void copyTree(int sourceParent, const std::string& sourceName, int destinationParent,
              const std::string& destinationName, const std::string& pathForErrors) {
  TreeCopier(pathForErrors).copyEntry(sourceParent, sourceName, destinationParent, destinationName, 0);
}

}  // namespace pellam::posix
