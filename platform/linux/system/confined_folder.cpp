#include "platform/confined_folder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "foundation/confined_path.h"
#include "foundation/item_path.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/file_steps.h"
#include "platform/linux/system/file_tree.h"
#include "platform/linux/system/open_beneath.h"
#include "platform/linux/system/posix_error.h"

namespace pellam {

namespace {

using posix::cPath;
using posix::throwError;

// Without it a named pipe would hold the program up.
constexpr int readingFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
constexpr unsigned permissionBits = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::array<timespec, 2> modifiedAt(std::int64_t seconds) {
  return {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, timespec{.tv_sec = seconds, .tv_nsec = 0}};
}

class OpenedFile final : public ReadOnlyFile {
 public:
  OpenedFile(FileDescriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {
    struct stat status {};
    if (::fstat(file_.get(), &status) != 0) throwError(errno, path_);
    if (!S_ISREG(status.st_mode)) throwError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path_);
    size_ = static_cast<std::uint64_t>(status.st_size);
  }

  std::uint64_t size() const override { return size_; }

  std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> buffer) const override {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
      const ssize_t count = ::pread(file_.get(), buffer.data() + filled, buffer.size() - filled,
                                    static_cast<off_t>(offset + filled));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throwError(errno, path_);
      if (count == 0) break;
      filled += static_cast<std::size_t>(count);
    }
    return filled;
  }

 private:
  FileDescriptor file_;
  std::string path_;
  std::uint64_t size_ = 0;
};

class CreatedFile final : public NewFile {
 public:
  CreatedFile(FileDescriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}
  CreatedFile(const CreatedFile&) = delete;
  CreatedFile& operator=(const CreatedFile&) = delete;
  ~CreatedFile() override { unmap(); }

  void write(std::span<const std::uint8_t> bytes) override { posix::writeAll(file_.get(), bytes, path_); }

  std::span<std::uint8_t> pages(std::uint64_t size) override {
    // A page that cannot be had later would end the program.
    int error = EINTR;
    while (error == EINTR) error = ::posix_fallocate(file_.get(), 0, static_cast<off_t>(size));
    if (error != 0) throwError(error, path_);
    const auto length = static_cast<std::size_t>(size);
    void* address = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
    if (address == MAP_FAILED) throwError(errno, path_);
    pages_ = {static_cast<std::uint8_t*>(address), length};
    return pages_;
  }

  void finish(std::int64_t modificationTime) override {
    unmap();
    (void)::futimens(file_.get(), modifiedAt(modificationTime).data());
    if (::close(file_.release()) != 0 && errno != EINTR) throwError(errno, path_);
  }

 private:
  void unmap() {
    if (!pages_.empty()) (void)::munmap(pages_.data(), pages_.size());
    pages_ = {};
  }

  FileDescriptor file_;
  std::string path_;
  std::span<std::uint8_t> pages_;
};

class LinuxConfinedFolder final : public ConfinedFolder {
 public:
  LinuxConfinedFolder(FileDescriptor folder, std::string path)
      : folder_(std::move(folder)), path_(std::move(path)) {}

  std::vector<std::string> names() const override { return posix::namesInDirectory(folder_.get(), path_); }

  std::optional<ConfinedItem> describe(const std::string& name) const override {
    struct stat status {};
    if (::fstatat(folder_.get(), checkedName(name), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return std::nullopt;
      fail(errno, name);
    }
    if (S_ISREG(status.st_mode)) {
      return ConfinedItem{FileType::regular, static_cast<std::uint64_t>(status.st_size)};
    }
    if (S_ISDIR(status.st_mode)) return ConfinedItem{FileType::directory};
    return ConfinedItem{S_ISLNK(status.st_mode) ? FileType::symbolicLink : FileType::other};
  }

  std::string linkTarget(const std::string& name) const override {
    return posix::linkTargetAt(folder_.get(), checkedName(name), shown(name));
  }

  std::unique_ptr<ReadOnlyFile> openFile(const std::string& path) const override {
    FileDescriptor file = posix::openBeneath(folder_.get(), checkedPath(path), readingFlags);
    if (!file.isOpen()) fail(errno, path);
    return std::make_unique<OpenedFile>(std::move(file), shown(path));
  }

  std::unique_ptr<ConfinedFolder> openFolder(const std::string& path) const override {
    FileDescriptor folder = posix::openBeneath(folder_.get(), checkedPath(path), folderFlags);
    if (!folder.isOpen()) fail(errno, path);
    return std::make_unique<LinuxConfinedFolder>(std::move(folder), shown(path));
  }

  bool leadsInside(const std::string& path) const override {
    return posix::leadsBeneath(folder_.get(), checkedPath(path));
  }

  void makeFolder(const std::string& name) override {
    if (::mkdirat(folder_.get(), checkedName(name), S_IRWXU) != 0) fail(errno, name);
  }

  std::string makeUniqueFolder(const std::string& prefix) override {
    for (;;) {
      std::string name = prefix + posix::randomLetters();
      if (::mkdirat(folder_.get(), checkedName(name), S_IRWXU) == 0) return name;
      if (errno != EEXIST) fail(errno, name);
    }
  }

  std::unique_ptr<NewFile> createFile(const std::string& path, unsigned permissions) override {
    FileDescriptor file =
        posix::openBeneath(folder_.get(), checkedPath(path),
                           O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions & permissionBits);
    if (!file.isOpen()) fail(errno, path);
    return std::make_unique<CreatedFile>(std::move(file), shown(path));
  }

  void makeLink(const std::string& name, const std::string& target) override {
    if (target.find('\0') != std::string::npos) fail(EINVAL, name);
    if (::symlinkat(target.c_str(), folder_.get(), checkedName(name)) != 0) fail(errno, name);
  }

  void setPermissions(unsigned permissions) override {
    if (::fchmod(folder_.get(), permissions & permissionBits) != 0) throwError(errno, path_);
  }

  void setModificationTime(std::int64_t seconds) override {
    (void)::futimens(folder_.get(), modifiedAt(seconds).data());
  }

  void setModificationTime(const std::string& name, std::int64_t seconds) override {
    if (::utimensat(folder_.get(), checkedName(name), modifiedAt(seconds).data(), AT_SYMLINK_NOFOLLOW) != 0 &&
        errno == ENOENT) {
      fail(errno, name);
    }
  }

  void moveInto(const std::string& name, ConfinedFolder& other, const std::string& newName) override {
    const auto* folder = dynamic_cast<const LinuxConfinedFolder*>(&other);
    if (folder == nullptr) fail(EXDEV, name);
    const int error = posix::renameWithoutReplacing(folder_.get(), checkedName(name), folder->folder_.get(),
                                                    folder->checkedName(newName));
    if (error == EEXIST) folder->fail(error, newName);
    if (error != 0) fail(error, name);
  }

  void removeTree(const std::string& name) override {
    posix::removeTree(folder_.get(), checkedName(name), shown(name));
  }

 private:
  [[nodiscard]] std::string shown(const std::string& below) const {
    std::string path;
    path.reserve(path_.size() + 1 + below.size());
    return path.append(path_).append(1, '/').append(below);
  }
  [[noreturn]] void fail(int error, const std::string& below) const { throwError(error, shown(below)); }

  [[nodiscard]] const char* checkedName(const std::string& name) const {
    if (!isPlainFileName(name)) fail(EINVAL, name);
    return name.c_str();
  }
  [[nodiscard]] const std::string& checkedPath(const std::string& path) const {
    if (!isConfinedPath(path)) fail(EINVAL, path);
    return path;
  }

  FileDescriptor folder_;
  std::string path_;
};

class LinuxFolderOpening final : public FolderOpening {
 public:
  std::unique_ptr<ConfinedFolder> openFolder(const std::filesystem::path& path) const override {
    FileDescriptor folder(::open(cPath(path), folderFlags));
    if (!folder.isOpen()) throwError(errno, path.native());
    return std::make_unique<LinuxConfinedFolder>(std::move(folder), path.native());
  }

  std::unique_ptr<ReadOnlyFile> openFile(const std::filesystem::path& path) const override {
    FileDescriptor file(::open(cPath(path), readingFlags));
    if (!file.isOpen()) throwError(errno, path.native());
    return std::make_unique<OpenedFile>(std::move(file), path.native());
  }

  bool itemExists(const std::filesystem::path& path) const override {
    struct stat status {};
    if (::lstat(cPath(path), &status) == 0) return true;
    if (errno != ENOENT && errno != ENOTDIR) throwError(errno, path.native());
    return false;
  }

  void makeFolder(const std::filesystem::path& path) override {
    if (::mkdir(cPath(path), S_IRWXU | S_IRWXG | S_IRWXO) != 0) throwError(errno, path.native());
  }

  void removeEmptyFolder(const std::filesystem::path& path) override {
    if (::rmdir(cPath(path)) != 0) throwError(errno, path.native());
  }

  unsigned withheldPermissions() const override {
    const mode_t mask = ::umask(S_IRWXG | S_IRWXO);
    (void)::umask(mask);
    return mask & permissionBits;
  }
};

}  // namespace

std::shared_ptr<FolderOpening> makeSystemFolderOpening() { return std::make_shared<LinuxFolderOpening>(); }

}  // namespace pellam
