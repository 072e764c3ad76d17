#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "foundation/hidden_name.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/file_steps.h"
#include "platform/linux/system/file_tree.h"
#include "platform/linux/system/posix_error.h"
#include "platform/linux/system/private_temporary_folder.h"

namespace pellam {

namespace {

using posix::cPath;
using posix::renameWithoutReplacing;
using posix::throwError;
using posix::writeAll;
using Path = std::filesystem::path;

constexpr const char* quarantineAttribute = "user.com.apple.quarantine";
// Folders that the platform shows as one item.
constexpr std::array<std::string_view, 13> packageExtensions = {
    ".app",    ".appex",    ".bundle",      ".kext",  ".mdimporter", ".mpkg",  ".pkg",
    ".plugin", ".prefpane", ".qlgenerator", ".saver", ".xpc",        ".docset"};

bool isHidden(const std::string& name) { return name.starts_with('.'); }

bool hasPackageExtension(const std::string& name) {
  std::string extension = Path(name).extension().native();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return std::find(packageExtensions.begin(), packageExtensions.end(), extension) != packageExtensions.end();
}

// A path's folder, opened, and its last component, so that every step of an operation works on the same
// folder.
struct Location {
  FileDescriptor folder;
  std::string name;
};

Location locate(const Path& path) {
  (void)cPath(path);
  Path clean = path;
  while (!clean.has_filename() && clean.has_relative_path()) clean = clean.parent_path();
  const std::string name = clean.filename().native();
  if (name.empty() || name == "." || name == "..") throwError(EINVAL, path.native());
  const Path folder = clean.has_parent_path() ? clean.parent_path() : Path(".");
  Location location{FileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), name};
  // A folder that may be entered but not listed is enough, except for syncing it.
  if (!location.folder.isOpen() && errno == EACCES) {
    location.folder = FileDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  if (!location.folder.isOpen()) throwError(errno, path.native());
  return location;
}

bool cannotSynchronize(int error) {
  return error == EINVAL || error == EROFS || error == EBADF || error == ENOTSUP;
}

void synchronize(int folder, const std::string& path) {
  if (::fsync(folder) != 0 && !cannotSynchronize(errno)) throwError(errno, path);
}

// Everything on the volume, by a descriptor of the item itself: one that stands for no more than a place on a
// path serves no sync. An item that cannot be opened is a link or nobody's to read, and holds nothing.
void synchronizeVolumeOf(int folder, const std::string& name, const std::string& path) {
  const FileDescriptor item(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (item.isOpen() && ::syncfs(item.get()) != 0 && !cannotSynchronize(errno)) throwError(errno, path);
}

// The names in the folder. One that may be written but not listed is written through with its volume, by the
// item that has just got its name there.
void synchronizeNames(const Location& location, const std::string& path) {
  if (::fsync(location.folder.get()) == 0) return;
  if (errno == EBADF) return synchronizeVolumeOf(location.folder.get(), location.name, path);
  if (!cannotSynchronize(errno)) throwError(errno, path);
}

void removeLeftover(int folder, const std::string& name) noexcept {
  try {
    posix::removeTree(folder, name, name);
  } catch (const std::exception&) {
    // The failure that brought us here is the one to report.
  }
}

struct HeldFolder final : FolderLock {
  explicit HeldFolder(FileDescriptor folder) : descriptor(std::move(folder)) {}
  FileDescriptor descriptor;
};

class LinuxFileSystem final : public FileSystem {
 public:
  bool itemExists(const Path& path, bool* isDirectory) const override {
    struct stat status {};
    const bool exists = ::stat(cPath(path), &status) == 0;
    if (isDirectory != nullptr) *isDirectory = exists && S_ISDIR(status.st_mode);
    return exists;
  }

  bool isExecutableFile(const Path& path) const override {
    bool isDirectory = false;
    return itemExists(path, &isDirectory) && !isDirectory &&
           ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
  }

  FileAttributes attributes(const Path& path) const override {
    struct statx status {};
    if (::statx(AT_FDCWD, cPath(path), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
      throwError(errno, path.native());
    }
    FileAttributes attributes;
    if (S_ISREG(status.stx_mode)) attributes.type = FileType::regular;
    if (S_ISDIR(status.stx_mode)) attributes.type = FileType::directory;
    if (S_ISLNK(status.stx_mode)) attributes.type = FileType::symbolicLink;
    attributes.ownerID = status.stx_uid;
    attributes.groupID = status.stx_gid;
    attributes.permissions = status.stx_mode & 07777U;
    attributes.fileSystemNumber = makedev(status.stx_dev_major, status.stx_dev_minor);
    attributes.fileNumber = status.stx_ino;
    if ((status.stx_mask & STATX_BTIME) != 0) attributes.creationDate = dateOf(status.stx_btime);
    attributes.modificationDate = dateOf(status.stx_mtime);
    attributes.changeDate = dateOf(status.stx_ctime);
    return attributes;
  }

  ByteBuffer readFile(const Path& path) const override {
    // Only files have contents to read to the end: a pipe or device in a file's place must not block.
    const FileDescriptor file(::open(cPath(path), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) throwError(errno, path.native());
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) throwError(errno, path.native());
    if (S_ISDIR(status.st_mode)) throwError(EISDIR, path.native());
    if (!S_ISREG(status.st_mode)) throwError(EINVAL, path.native());
    ByteBuffer bytes;
    bytes.reserve(static_cast<std::size_t>(status.st_size));
    std::array<std::uint8_t, 65536> chunk{};
    for (;;) {
      const ssize_t count = ::read(file.get(), chunk.data(), chunk.size());
      if (count == 0) return bytes;
      if (count > 0) bytes.append({chunk.data(), static_cast<std::size_t>(count)});
      if (count < 0 && errno != EINTR) throwError(errno, path.native());
    }
  }

  void writeFile(const Path& path, std::span<const std::uint8_t> bytes) override {
    const FileDescriptor file(::open(cPath(path), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.isOpen()) throwError(errno, path.native());
    writeAll(file.get(), bytes, path.native());
  }

  void writeFileAtomically(const Path& path, std::span<const std::uint8_t> bytes) override {
    const Location target = locate(path);
    const std::string temporary = hiddenName(target.name, HiddenName::beingWritten, posix::randomLetters());
    const FileDescriptor file(::openat(target.folder.get(), temporary.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.isOpen()) throwError(errno, path.native());
    try {
      writeAll(file.get(), bytes, path.native());
      if (::fsync(file.get()) != 0) throwError(errno, path.native());
      if (::renameat(target.folder.get(), temporary.c_str(), target.folder.get(), target.name.c_str()) != 0) {
        throwError(errno, path.native());
      }
    } catch (...) {
      ::unlinkat(target.folder.get(), temporary.c_str(), 0);
      throw;
    }
    synchronizeNames(target, path.native());
  }

  void createDirectory(const Path& path) override {
    if (::mkdir(cPath(path), 0777) == 0) return;
    const int error = errno;
    bool isDirectory = false;
    if (itemExists(path, &isDirectory) && isDirectory) return;
    const Path parent = path.parent_path();
    if (error != ENOENT || parent.empty() || parent == path) throwError(error, path.native());
    createDirectory(parent);
    if (::mkdir(path.c_str(), 0777) == 0) return;
    const int secondError = errno;
    if (!itemExists(path, &isDirectory) || !isDirectory) throwError(secondError, path.native());
  }

  void createPrivateDirectory(const Path& path) override {
    if (::mkdir(cPath(path), S_IRWXU) != 0) throwError(errno, path.native());
  }

  void removeItem(const Path& path) override {
    const Location item = locate(path);
    struct stat status {};
    if (::fstatat(item.folder.get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      throwError(errno, path.native());
    }
    if (!S_ISDIR(status.st_mode)) {
      posix::removeTree(item.folder.get(), item.name, path.native());
      return;
    }
    const std::string departed = hiddenName(item.name, HiddenName::beingRemoved, posix::randomLetters());
    const int error = renameWithoutReplacing(item.folder.get(), item.name, item.folder.get(), departed);
    if (error != 0) throwError(error, path.native());
    posix::removeTree(item.folder.get(), departed, path.native());
  }

  void moveItem(const Path& source, const Path& destination) override {
    const Location from = locate(source);
    const Location to = locate(destination);
    const int error = renameWithoutReplacing(from.folder.get(), from.name, to.folder.get(), to.name);
    if (error == EXDEV) return moveAcrossVolumes(from, to, source, destination);
    if (error != 0) throwError(error, destination.native());
    synchronizeNames(to, destination.native());
    synchronize(from.folder.get(), source.native());
  }

  void renameItem(const Path& source, const Path& destination) override {
    const Location from = locate(source);
    const Location to = locate(destination);
    const int error = renameWithoutReplacing(from.folder.get(), from.name, to.folder.get(), to.name);
    if (error != 0) throwError(error, destination.native());
  }

  bool exchangeItems(const Path& first, const Path& second) override {
    const Location one = locate(first);
    const Location other = locate(second);
    if (::renameat2(one.folder.get(), one.name.c_str(), other.folder.get(), other.name.c_str(),
                    RENAME_EXCHANGE) == 0) {
      return true;
    }
    if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP) return false;
    throwError(errno, first.native());
  }

  void copyItem(const Path& source, const Path& destination) override {
    copyToFreeName(locate(source), locate(destination), source, destination);
  }

  std::vector<Path> contentsOfDirectory(const Path& path, HiddenItems hiddenItems) const override {
    const FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path.native());
    std::vector<Path> entries;
    for (const std::string& name : posix::namesInDirectory(folder.get(), path.native())) {
      if (hiddenItems == HiddenItems::included || !isHidden(name)) entries.push_back(path / name);
    }
    return entries;
  }

  void enumerate(const Path& path, EnumerationOptions options,
                 const std::function<EnumerationStep(const Path&)>& visitor) const override {
    const FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path.native());
    (void)visitAll(posix::namesInDirectory(folder.get(), path.native()), path, options, visitor);
  }

  Path resolvingSymlinks(const Path& path) const override {
    std::error_code error;
    Path resolved = std::filesystem::weakly_canonical(path, error);
    if (error) resolved = std::filesystem::absolute(path, error).lexically_normal();
    if (!resolved.has_filename() && resolved.has_relative_path()) resolved = resolved.parent_path();
    return resolved;
  }

  int removeQuarantineAttribute(const Path& path) override {
    if (path.native().find('\0') != std::string::npos) return EINVAL;
    if (::lremovexattr(path.c_str(), quarantineAttribute) == 0) return 0;
    const int error = errno;
    if (error == ENODATA || error == ENOTSUP) return 0;
    struct stat status {};
    // Links cannot carry user attributes, which the system reports as EPERM.
    if (error == EPERM && ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) return 0;
    return error;
  }

  void changeOwner(const Path& path, std::uint32_t ownerID, std::uint32_t groupID) override {
    const FileDescriptor item(::open(cPath(path), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!item.isOpen()) throwError(errno, path.native());
    if (::fchownat(item.get(), "", ownerID, groupID, AT_EMPTY_PATH) != 0) throwError(errno, path.native());
  }

  void withdrawSharedWriting(const Path& path) override {
    struct stat status {};
    if (::lstat(cPath(path), &status) != 0) throwError(errno, path.native());
    constexpr mode_t withdrawn = S_IWGRP | S_IWOTH | S_ISUID | S_ISGID;
    if (S_ISLNK(status.st_mode) || (status.st_mode & withdrawn) == 0) return;
    const mode_t kept = status.st_mode & 07777 & ~withdrawn;
    if (::fchmodat(AT_FDCWD, cPath(path), kept, AT_SYMLINK_NOFOLLOW) != 0) throwError(errno, path.native());
  }

  void synchronizeDirectory(const Path& path) override {
    const FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path.native());
    synchronize(folder.get(), path.native());
  }

  void synchronizeName(const Path& path) override { synchronizeNames(locate(path), path.native()); }

  void synchronizeVolume(const Path& path) override {
    const FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen() || ::syncfs(folder.get()) != 0) throwError(errno, path.native());
  }

  std::unique_ptr<FolderLock> lockFolder(const Path& path, FolderUse use) override {
    FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path.native());
    while (::flock(folder.get(), (use == FolderUse::alone ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) return nullptr;
      if (errno != EINTR) throwError(errno, path.native());
    }
    return std::make_unique<HeldFolder>(std::move(folder));
  }

  Path temporaryDirectory() const override { return privateTemporaryFolder(); }

  std::optional<Path> applicationSupportDirectory() const override {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == 0) return std::nullopt;
    return Path(home) / "Library" / "Application Support";
  }

 private:
  static Date dateOf(const struct statx_timestamp& stamp) {
    return dateFromSeconds(stamp.tv_sec, stamp.tv_nsec / 1000);
  }

  // The copy is complete and on the disk before it gets its name.
  static void copyToFreeName(const Location& from, const Location& to, const Path& source,
                             const Path& destination) {
    struct stat status {};
    if (::fstatat(to.folder.get(), to.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
      throwError(EEXIST, destination.native());
    }
    const std::string partial = hiddenName(to.name, HiddenName::beingWritten, posix::randomLetters());
    try {
      posix::copyTree(from.folder.get(), from.name, to.folder.get(), partial, source.native());
      synchronizeVolumeOf(to.folder.get(), partial, destination.native());
      const int error = renameWithoutReplacing(to.folder.get(), partial, to.folder.get(), to.name);
      if (error != 0) throwError(error, destination.native());
    } catch (const std::exception&) {
      removeLeftover(to.folder.get(), partial);
      throw;
    }
    synchronizeNames(to, destination.native());
  }

  // The source leaves its own name in one step, so that a source that cannot be taken away undoes the move
  // while everything is still whole.
  static void moveAcrossVolumes(const Location& from, const Location& to, const Path& source,
                                const Path& destination) {
    copyToFreeName(from, to, source, destination);
    const std::string departed = hiddenName(from.name, HiddenName::beingRemoved, posix::randomLetters());
    const int error = renameWithoutReplacing(from.folder.get(), from.name, from.folder.get(), departed);
    if (error != 0) {
      removeLeftover(to.folder.get(), to.name);
      throwError(error, source.native());
    }
    removeLeftover(from.folder.get(), departed);
    synchronize(from.folder.get(), source.native());
  }

  // Nothing for what is no folder or cannot be read. By the whole path, so that no descriptor is held per
  // level; a link in the folder's place is not followed.
  static std::vector<std::string> namesBelow(const Path& path) {
    const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen()) return {};
    try {
      return posix::namesInDirectory(folder.get(), path.native());
    } catch (const std::system_error&) {
      return {};
    }
  }

  // False when the visitor asked to stop.
  static bool visitAll(const std::vector<std::string>& names, const Path& path, EnumerationOptions options,
                       const std::function<EnumerationStep(const Path&)>& visitor) {
    for (const std::string& name : names) {
      if (options.skipsHiddenFiles && isHidden(name)) continue;
      const Path item = path / name;
      const EnumerationStep step = visitor(item);
      if (step == EnumerationStep::stop) return false;
      if (step == EnumerationStep::skipDescendants) continue;
      if (options.skipsPackageDescendants && hasPackageExtension(name)) continue;
      if (!visitAll(namesBelow(item), item, options, visitor)) return false;
    }
    return true;
  }
};

}  // namespace

std::string posixErrorName(int error) {
  const char* name = error == 0 ? nullptr : ::strerrorname_np(error);
  return name != nullptr ? name : "EIO";
}

std::shared_ptr<FileSystem> makeSystemFileSystem() { return std::make_shared<LinuxFileSystem>(); }

}  // namespace pellam
