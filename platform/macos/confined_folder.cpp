#include "platform/confined_folder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "foundation/confined_path.h"
#include "foundation/item_path.h"
#include "platform/macos/file_descriptor.h"
#include "platform/macos/file_steps.h"

namespace pellam {

namespace {

using macos::FileDescriptor;
using macos::throwError;

// A named pipe must not hold the program up, whatever was expected in its place.
constexpr int readingFlags = O_RDONLY | O_NONBLOCK;
constexpr int folderFlags = O_RDONLY | O_NONBLOCK | O_DIRECTORY;
constexpr unsigned permissionBits = S_IRWXU | S_IRWXG | S_IRWXO;

std::array<timespec, 2> modifiedAt(std::int64_t seconds) {
  return {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, timespec{.tv_sec = seconds, .tv_nsec = 0}};
}

const char* cPath(const std::filesystem::path& path) {
  if (path.native().find('\0') != std::string::npos) throwError(EINVAL, path.native());
  return path.c_str();
}

// The system's O_NOFOLLOW_ANY would do this in one call. Taking the steps one by one rests on nothing but
// what every release does and a reader can check; the price is that folders on the way must be readable.
FileDescriptor openBeneath(int folder, const std::string& path, int flags, unsigned permissions = 0) {
  FileDescriptor reached;
  std::size_t start = 0;
  for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', start)) {
    const int from = reached.isOpen() ? reached.get() : folder;
    FileDescriptor next = macos::openName(from, path.substr(start, slash - start), folderFlags);
    if (!next.isOpen()) return next;
    reached = std::move(next);
    start = slash + 1;
  }
  return macos::openName(reached.isOpen() ? reached.get() : folder, path.substr(start), flags, permissions);
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
      const auto piece = buffer.subspan(filled, std::min(macos::mostAtOnce, buffer.size() - filled));
      const ssize_t count =
          ::pread(file_.get(), piece.data(), piece.size(), static_cast<off_t>(offset + filled));
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

  void write(std::span<const std::uint8_t> bytes) override { macos::writeAll(file_.get(), bytes, path_); }

  std::span<std::uint8_t> pages(std::uint64_t size) override {
    reserve(size);
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
  // A page that cannot be had later would end the program. A volume that cannot reserve has zeros written.
  void reserve(std::uint64_t size) {
    fstore_t wanted = {.fst_flags = F_ALLOCATEALL,
                       .fst_posmode = F_PEOFPOSMODE,
                       .fst_offset = 0,
                       .fst_length = static_cast<off_t>(size),
                       .fst_bytesalloc = 0};
    if (::fcntl(file_.get(), F_PREALLOCATE, &wanted) == 0) {
      if (::ftruncate(file_.get(), static_cast<off_t>(size)) != 0) throwError(errno, path_);
      return;
    }
    if (errno == ENOSPC || errno == EFBIG || errno == EDQUOT) throwError(errno, path_);
    const std::vector<std::uint8_t> zeros(std::size_t{1} << 20);
    for (std::uint64_t left = size; left > 0;) {
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, zeros.size()));
      macos::writeAll(file_.get(), std::span(zeros).first(count), path_);
      left -= count;
    }
  }

  void unmap() {
    if (!pages_.empty()) (void)::munmap(pages_.data(), pages_.size());
    pages_ = {};
  }

  FileDescriptor file_;
  std::string path_;
  std::span<std::uint8_t> pages_;
};

class MacConfinedFolder final : public ConfinedFolder {
 public:
  MacConfinedFolder(FileDescriptor folder, std::string path)
      : folder_(std::move(folder)), path_(std::move(path)) {}

  std::vector<std::string> names() const override { return macos::namesInFolder(folder_.get(), path_); }

  std::optional<ConfinedItem> describe(const std::string& name) const override {
    struct stat status {};
    if (::fstatat(folder_.get(), checkedName(name), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return std::nullopt;
      fail(errno, name);
    }
    if (S_ISREG(status.st_mode)) {
      return ConfinedItem{FileType::regular, static_cast<std::uint64_t>(status.st_size)};
    }
    if (S_ISDIR(status.st_mode)) return ConfinedItem{.type = FileType::directory};
    return ConfinedItem{.type = S_ISLNK(status.st_mode) ? FileType::symbolicLink : FileType::other};
  }

  std::string linkTarget(const std::string& name) const override {
    return macos::linkTargetAt(folder_.get(), checkedName(name), shown(name));
  }

  std::unique_ptr<ReadOnlyFile> openFile(const std::string& path) const override {
    FileDescriptor file = openBeneath(folder_.get(), checkedPath(path), readingFlags);
    if (!file.isOpen()) fail(errno, path);
    return std::make_unique<OpenedFile>(std::move(file), shown(path));
  }

  std::unique_ptr<ConfinedFolder> openFolder(const std::string& path) const override {
    FileDescriptor folder = openBeneath(folder_.get(), checkedPath(path), folderFlags);
    if (!folder.isOpen()) fail(errno, path);
    return std::make_unique<MacConfinedFolder>(std::move(folder), shown(path));
  }

  bool leadsInside(const std::string& path) const override {
    (void)checkedPath(path);
    try {
      const LinkEnd end =
          followLinks(path, [&](const std::string& place, bool isLast) { return linkAt(place, isLast); });
      return end == LinkEnd::inside || end == LinkEnd::nowhere;
    } catch (const std::system_error& error) {
      return error.code().value() == ENOENT;
    }
  }

  void makeFolder(const std::string& name) override {
    if (::mkdirat(folder_.get(), checkedName(name), S_IRWXU) != 0) fail(errno, name);
    // What the folder above hands down to new ones holds whatever the mode says.
    try {
      const FileDescriptor made = macos::openName(folder_.get(), name, folderFlags);
      if (!made.isOpen()) fail(errno, name);
      macos::removeAccessListOf(made.get(), shown(name));
    } catch (...) {
      (void)::unlinkat(folder_.get(), name.c_str(), AT_REMOVEDIR);
      throw;
    }
  }

  std::string makeUniqueFolder(const std::string& prefix) override {
    for (;;) {
      std::string name = prefix + randomLetters();
      try {
        makeFolder(name);
        return name;
      } catch (const std::system_error& error) {
        if (error.code().value() != EEXIST) throw;
      }
    }
  }

  std::unique_ptr<NewFile> createFile(const std::string& path, unsigned permissions) override {
    FileDescriptor file = openBeneath(folder_.get(), checkedPath(path), O_RDWR | O_CREAT | O_EXCL,
                                      permissions & permissionBits);
    if (!file.isOpen()) fail(errno, path);
    return std::make_unique<CreatedFile>(std::move(file), shown(path));
  }

  void makeLink(const std::string& name, const std::string& target) override {
    if (target.find('\0') != std::string::npos) fail(EINVAL, name);
    if (::symlinkat(target.c_str(), folder_.get(), checkedName(name)) != 0) fail(errno, name);
  }

  void setPermissions(unsigned permissions) override {
    if (::fchmod(folder_.get(), static_cast<mode_t>(permissions & permissionBits)) != 0) {
      throwError(errno, path_);
    }
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
    const auto* folder = dynamic_cast<const MacConfinedFolder*>(&other);
    if (folder == nullptr) fail(EXDEV, name);
    const int error = macos::renameToFreeName(folder_.get(), checkedName(name), folder->folder_.get(),
                                              folder->checkedName(newName));
    if (error == EEXIST) folder->fail(error, newName);
    if (error != 0) fail(error, name);
  }

  void removeTree(const std::string& name) override {
    macos::removeTree(folder_.get(), checkedName(name), shown(name));
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

  // The target of what stands at the path, when that is a link.
  [[nodiscard]] std::optional<std::string> linkAt(const std::string& path, bool isLast) const {
    const std::size_t slash = path.rfind('/');
    const std::string name = path.substr(slash + 1);
    FileDescriptor above;
    if (slash != std::string::npos) {
      above = openBeneath(folder_.get(), path.substr(0, slash), folderFlags);
      if (!above.isOpen()) fail(errno, path);
    }
    const int folder = above.isOpen() ? above.get() : folder_.get();
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) fail(errno, path);
    if (S_ISLNK(status.st_mode)) return macos::linkTargetAt(folder, name, shown(path));
    if (!isLast && !S_ISDIR(status.st_mode)) fail(ENOTDIR, path);
    return std::nullopt;
  }

  static std::string randomLetters() {
    std::array<unsigned char, 8> random{};
    ::arc4random_buf(random.data(), random.size());
    std::string text;
    for (const unsigned char byte : random) {
      text += "0123456789abcdef"[byte >> 4];
      text += "0123456789abcdef"[byte & 15];
    }
    return text;
  }

  FileDescriptor folder_;
  std::string path_;
};

class MacFolderOpening final : public FolderOpening {
 public:
  std::unique_ptr<ConfinedFolder> openFolder(const std::filesystem::path& path) const override {
    FileDescriptor folder(::open(cPath(path), folderFlags | O_CLOEXEC));
    if (!folder.isOpen()) throwError(errno, path.native());
    return std::make_unique<MacConfinedFolder>(std::move(folder), path.native());
  }

  std::unique_ptr<ReadOnlyFile> openFile(const std::filesystem::path& path) const override {
    FileDescriptor file(::open(cPath(path), readingFlags | O_CLOEXEC));
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

std::shared_ptr<FolderOpening> makeSystemFolderOpening() { return std::make_shared<MacFolderOpening>(); }

}  // namespace pellam
