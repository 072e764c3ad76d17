#include "platform/file_system.h"

#include <copyfile.h>
#include <fcntl.h>
#include <sys/acl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "foundation/hidden_name.h"
#include "platform/macos/file_descriptor.h"
#include "platform/macos/file_steps.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;
using macos::FileDescriptor;
using macos::throwError;
using macos::writeAll;

// A path with a NUL inside would silently name another file.
const char* cPath(const Path& path) {
  if (path.native().find('\0') != std::string::npos) throwError(EINVAL, path);
  return path.c_str();
}

// Without a slash at its end, which would make the calls follow a final link.
Path item(const Path& path) {
  Path clean = path;
  while (!clean.has_filename() && clean.has_relative_path()) clean = clean.parent_path();
  if (clean.filename() == "." || clean.filename() == ".." || clean.filename().empty())
    throwError(EINVAL, path);
  (void)cPath(clean);
  return clean;
}

struct stat statusOf(const Path& path) {
  struct stat status {};
  if (::lstat(cPath(path), &status) != 0) throwError(errno, path);
  return status;
}

Date dateOf(const struct timespec& time) { return dateFromSeconds(time.tv_sec, time.tv_nsec / 1000); }

// A hidden name beside the path that nobody else uses.
Path hiddenSibling(const Path& path, HiddenName purpose) {
  return path.parent_path() /
         hiddenName(path.filename().native(), purpose, macos::textOf([NSUUID UUID].UUIDString));
}

// Through the drive's own cache where the volume can do that, else to the drive.
void synchronize(int descriptor, const Path& path) {
  if (::fcntl(descriptor, F_FULLFSYNC) == 0 || ::fsync(descriptor) == 0) return;
  if (errno != EINVAL && errno != EROFS && errno != EBADF && errno != ENOTSUP) throwError(errno, path);
}

void synchronizeFolder(const Path& folder) {
  const FileDescriptor descriptor(::open(cPath(folder), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.isOpen()) throwError(errno, folder);
  synchronize(descriptor.get(), folder);
}

// A folder that may be entered but not listed cannot be opened for it; the full sync of the item that has
// just got its name there asks the drive to empty its cache all the same.
void synchronizeFolderOf(const Path& path) {
  const Path folder = path.has_parent_path() ? path.parent_path() : Path(".");
  FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.isOpen()) {
    descriptor = FileDescriptor(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  }
  if (descriptor.isOpen()) synchronize(descriptor.get(), folder);
}

int renameToFreeName(const Path& source, const Path& destination) {
  return macos::renameToFreeName(AT_FDCWD, source.native(), AT_FDCWD, destination.native());
}

// Whatever its folders' permissions are.
int removeTree(const Path& path) {
  try {
    macos::removeTree(AT_FDCWD, path.native(), path.native());
    return 0;
  } catch (const std::system_error& error) {
    return error.code().value();
  }
}

// Everything that is pending for the path's volume, and waits for it; a volume that cannot is no failure.
void writeVolumeThrough(const Path& path) {
  const Path folder = path.has_parent_path() ? path.parent_path() : Path(".");
  (void)::sync_volume_np(folder.c_str(), SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
}

// The copy is complete and on the disk before it gets its name.
void copyToFreeName(const Path& source, const Path& destination) {
  struct stat status {};
  if (::lstat(destination.c_str(), &status) == 0) throwError(EEXIST, destination);
  const Path partial = hiddenSibling(destination, HiddenName::beingWritten);
  int error = 0;
  if (::copyfile(source.c_str(), partial.c_str(), nullptr,
                 COPYFILE_ALL | COPYFILE_RECURSIVE | COPYFILE_NOFOLLOW | COPYFILE_EXCL) != 0) {
    error = errno;
  }
  if (error == 0) {
    writeVolumeThrough(destination);
    error = renameToFreeName(partial, destination);
  }
  if (error != 0) {
    (void)removeTree(partial);
    throwError(error, error == EEXIST ? destination : source);
  }
  synchronizeFolderOf(destination);
}

// The source leaves its own name in one step, so that a source that cannot be taken away undoes the move
// while everything is still whole.
void moveAcrossVolumes(const Path& source, const Path& destination) {
  copyToFreeName(source, destination);
  const Path departed = hiddenSibling(source, HiddenName::beingRemoved);
  if (const int error = renameToFreeName(source, departed); error != 0) {
    (void)removeTree(destination);
    throwError(error, source);
  }
  (void)removeTree(departed);
  synchronizeFolderOf(source);
}

// What is granted by an access list holds whatever the permission bits say.
void removeAccessList(const Path& path) {
  using List = std::unique_ptr<std::remove_pointer_t<acl_t>, decltype(&::acl_free)>;
  const List present(::acl_get_link_np(path.c_str(), ACL_TYPE_EXTENDED), &::acl_free);
  if (!present) {
    if (errno != ENOENT && errno != ENOTSUP) throwError(errno, path);
    return;
  }
  // By a descriptor, which a link has as well: the call that takes a path serves none.
  const FileDescriptor descriptor(::open(cPath(path), O_RDONLY | O_SYMLINK | O_NONBLOCK | O_CLOEXEC));
  if (!descriptor.isOpen()) throwError(errno, path);
  macos::removeAccessListOf(descriptor.get(), path);
}

bool resourceIsTrue(const Path& path, NSURLResourceKey key) {
  @autoreleasepool {
    NSNumber* value = nil;
    return [macos::fileURL(path) getResourceValue:&value forKey:key error:nil] && value.boolValue;
  }
}

bool isHidden(const Path& path) { return resourceIsTrue(path, NSURLIsHiddenKey); }

// The names exactly as the volume keeps them, which Foundation's listings rewrite, in their order.
std::vector<Path> entriesOf(const Path& folder) {
  std::error_code error;
  std::vector<Path> entries;
  for (std::filesystem::directory_iterator entry(cPath(folder), error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(folder / entry->path().filename());
  }
  if (error) throwError(error.value(), folder);
  std::sort(entries.begin(), entries.end());
  return entries;
}

bool isFolder(const Path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// False when the visitor wants no more.
bool visitAll(const std::vector<Path>& entries, EnumerationOptions options,
              const std::function<EnumerationStep(const Path&)>& visitor) {
  for (const Path& entry : entries) {
    if (options.skipsHiddenFiles && isHidden(entry)) continue;
    const EnumerationStep step = visitor(entry);
    if (step == EnumerationStep::stop) return false;
    if (step == EnumerationStep::skipDescendants || !isFolder(entry)) continue;
    if (options.skipsPackageDescendants && resourceIsTrue(entry, NSURLIsPackageKey)) continue;
    std::vector<Path> below;
    try {
      below = entriesOf(entry);
    } catch (const std::system_error&) {
      continue;  // a folder that cannot be opened is passed over
    }
    if (!visitAll(below, options, visitor)) return false;
  }
  return true;
}

struct HeldFolder final : FolderLock {
  explicit HeldFolder(FileDescriptor folder) : descriptor(std::move(folder)) {}
  FileDescriptor descriptor;
};

class MacFileSystem final : public FileSystem {
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
    const struct stat status = statusOf(path);
    FileAttributes attributes;
    if (S_ISREG(status.st_mode)) attributes.type = FileType::regular;
    if (S_ISDIR(status.st_mode)) attributes.type = FileType::directory;
    if (S_ISLNK(status.st_mode)) attributes.type = FileType::symbolicLink;
    attributes.ownerID = status.st_uid;
    attributes.groupID = status.st_gid;
    attributes.permissions = status.st_mode & 07777;
    attributes.fileSystemNumber = static_cast<std::uint64_t>(status.st_dev);
    attributes.fileNumber = status.st_ino;
    attributes.creationDate = dateOf(status.st_birthtimespec);
    attributes.modificationDate = dateOf(status.st_mtimespec);
    attributes.changeDate = dateOf(status.st_ctimespec);
    return attributes;
  }

  ByteBuffer readFile(const Path& path) const override {
    // Only files have contents to read to the end: a pipe or device in a file's place must not block.
    const FileDescriptor file(::open(cPath(path), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) throwError(errno, path);
    if (S_ISDIR(status.st_mode)) throwError(EISDIR, path);
    if (!S_ISREG(status.st_mode)) throwError(EINVAL, path);
    ByteBuffer bytes;
    bytes.reserve(static_cast<std::size_t>(status.st_size));
    std::array<std::uint8_t, 65536> chunk{};
    for (;;) {
      const ssize_t count = ::read(file.get(), chunk.data(), chunk.size());
      if (count == 0) return bytes;
      if (count > 0) bytes.append({chunk.data(), static_cast<std::size_t>(count)});
      if (count < 0 && errno != EINTR) throwError(errno, path);
    }
  }

  void writeFile(const Path& path, std::span<const std::uint8_t> bytes) override {
    const FileDescriptor file(::open(cPath(path), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.isOpen()) throwError(errno, path);
    writeAll(file.get(), bytes, path);
  }

  void writeFileAtomically(const Path& path, std::span<const std::uint8_t> bytes) override {
    const Path target = item(path);
    const Path temporary = hiddenSibling(target, HiddenName::beingWritten);
    const FileDescriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.isOpen()) throwError(errno, path);
    try {
      writeAll(file.get(), bytes, path);
      synchronize(file.get(), path);
      if (::rename(temporary.c_str(), target.c_str()) != 0) throwError(errno, path);
    } catch (...) {
      ::unlink(temporary.c_str());
      throw;
    }
    synchronizeFolderOf(target);
  }

  void createDirectory(const Path& path) override {
    if (::mkdir(cPath(path), 0777) == 0) return;
    const int error = errno;
    bool isDirectory = false;
    if (itemExists(path, &isDirectory) && isDirectory) return;
    const Path parent = path.parent_path();
    if (error != ENOENT || parent.empty() || parent == path) throwError(error, path);
    createDirectory(parent);
    if (::mkdir(path.c_str(), 0777) == 0) return;
    const int secondError = errno;
    if (!itemExists(path, &isDirectory) || !isDirectory) throwError(secondError, path);
  }

  void createPrivateDirectory(const Path& path) override {
    if (::mkdir(cPath(path), S_IRWXU) != 0) throwError(errno, path);
    // What the folder above hands down to new ones holds whatever the mode says.
    try {
      removeAccessList(path);
    } catch (...) {
      ::rmdir(path.c_str());
      throw;
    }
  }

  void removeItem(const Path& path) override {
    const Path target = item(path);
    if (!S_ISDIR(statusOf(target).st_mode)) {
      if (::unlink(target.c_str()) != 0) throwError(errno, path);
      return;
    }
    const Path departed = hiddenSibling(target, HiddenName::beingRemoved);
    if (const int error = renameToFreeName(target, departed); error != 0) throwError(error, path);
    if (const int error = removeTree(departed); error != 0) throwError(error, path);
  }

  void moveItem(const Path& source, const Path& destination) override {
    const Path from = item(source);
    const Path to = item(destination);
    const int error = renameToFreeName(from, to);
    if (error == EXDEV) return moveAcrossVolumes(from, to);
    if (error != 0) throwError(error, destination);
    synchronizeFolderOf(to);
    synchronizeFolderOf(from);
  }

  void renameItem(const Path& source, const Path& destination) override {
    if (const int error = renameToFreeName(item(source), item(destination)); error != 0) {
      throwError(error, destination);
    }
  }

  bool exchangeItems(const Path& first, const Path& second) override {
    if (::renamex_np(item(first).c_str(), item(second).c_str(), RENAME_SWAP) == 0) return true;
    if (errno == ENOTSUP || errno == EINVAL) return false;
    throwError(errno, first);
  }

  void copyItem(const Path& source, const Path& destination) override {
    (void)statusOf(item(source));
    copyToFreeName(item(source), item(destination));
  }

  std::vector<Path> contentsOfDirectory(const Path& path, HiddenItems hiddenItems) const override {
    std::vector<Path> entries = entriesOf(path);
    if (hiddenItems == HiddenItems::skipped) std::erase_if(entries, isHidden);
    return entries;
  }

  void enumerate(const Path& path, EnumerationOptions options,
                 const std::function<EnumerationStep(const Path&)>& visitor) const override {
    (void)visitAll(entriesOf(path), options, visitor);
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
    if (::removexattr(path.c_str(), "com.apple.quarantine", XATTR_NOFOLLOW) == 0) return 0;
    return errno == ENOATTR ? 0 : errno;
  }

  void changeOwner(const Path& path, std::uint32_t ownerID, std::uint32_t groupID) override {
    // Opens a link itself; a pipe is not waited for.
    const FileDescriptor descriptor(::open(cPath(path), O_RDONLY | O_SYMLINK | O_NONBLOCK | O_CLOEXEC));
    if (!descriptor.isOpen() || ::fchown(descriptor.get(), ownerID, groupID) != 0) throwError(errno, path);
  }

  void withdrawSharedWriting(const Path& path) override {
    const mode_t mode = statusOf(path).st_mode;
    removeAccessList(path);
    constexpr mode_t withdrawn = S_IWGRP | S_IWOTH | S_ISUID | S_ISGID;
    if (S_ISLNK(mode) || (mode & withdrawn) == 0) return;
    const auto kept = static_cast<mode_t>(mode & 07777 & ~withdrawn);
    if (::fchmodat(AT_FDCWD, path.c_str(), kept, AT_SYMLINK_NOFOLLOW) != 0) throwError(errno, path);
  }

  void synchronizeDirectory(const Path& path) override { synchronizeFolder(path); }

  void synchronizeName(const Path& path) override { synchronizeFolderOf(item(path)); }

  void synchronizeVolume(const Path& path) override {
    writeVolumeThrough(path);
    synchronizeFolder(path);
  }

  std::unique_ptr<FolderLock> lockFolder(const Path& path, FolderUse use) override {
    FileDescriptor folder(::open(cPath(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path);
    while (::flock(folder.get(), (use == FolderUse::alone ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) return nullptr;
      if (errno != EINTR) throwError(errno, path);
    }
    return std::make_unique<HeldFolder>(std::move(folder));
  }

  Path temporaryDirectory() const override { return NSTemporaryDirectory().fileSystemRepresentation; }

  std::optional<Path> applicationSupportDirectory() const override {
    NSURL* folder = [NSFileManager.defaultManager URLsForDirectory:NSApplicationSupportDirectory
                                                         inDomains:NSUserDomainMask]
                        .firstObject;
    if (folder == nil) return std::nullopt;
    return Path(folder.fileSystemRepresentation);
  }
};

}  // namespace

std::shared_ptr<FileSystem> makeSystemFileSystem() { return std::make_shared<MacFileSystem>(); }

}  // namespace pellam
