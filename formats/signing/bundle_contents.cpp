#include "formats/signing/bundle_contents.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "formats/signing/signing_error.h"
#include "platform/linux/system/file_tree.h"
#include "platform/property_list.h"

namespace pellam::codesign {

namespace {

constexpr std::size_t maximumInfoPlistSize = std::size_t{16} << 20;
constexpr std::size_t maximumItems = 1'000'000;
constexpr int maximumDepth = 100;

constexpr std::array<std::string_view, 7> codeExtensions = {".app",  ".appex",  ".bundle", ".framework",
                                                            ".kext", ".plugin", ".xpc"};
// The folders in which a bundle is code of its own and not a resource.
constexpr std::array<std::string_view, 9> codeFolders = {"Frameworks/", "SharedFrameworks/", "PlugIns/",
                                                         "Plug-ins/",   "XPCServices/",      "Helpers/",
                                                         "MacOS/",      "Library/",          "Applications/"};
constexpr std::array<std::string_view, 4> signatureFiles = {"CodeDirectory", "CodeRequirements",
                                                            "CodeResources", "CodeSignature"};

int openBeneath(int root, const std::string& path, std::uint64_t flags, std::uint64_t resolve) {
  open_how how{};
  how.flags = flags | O_CLOEXEC;
  how.resolve = resolve;
  return static_cast<int>(::syscall(SYS_openat2, root, path.c_str(), &how, sizeof(how)));
}

bool contains(std::span<const std::string_view> list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

bool liesInCodeFolder(const std::string& path) {
  return std::any_of(codeFolders.begin(), codeFolders.end(),
                     [&](std::string_view folder) { return path.starts_with(folder); });
}

bool isFile(int descriptor, std::uint64_t& size) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  size = static_cast<std::uint64_t>(status.st_size);
  return true;
}

}  // namespace

BundleContents::BundleContents(std::filesystem::path bundle) : path_(std::move(bundle)) {
  root_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root_.isOpen()) {
    if (errno == ENOENT) throw CodeSigningError(path_, reason::notFound);
    if (errno == ENOTDIR) throw CodeSigningError(path_, reason::notSigned);
    throw CodeSigningError(path_, std::generic_category().message(errno));
  }
  contents_ =
      FileDescriptor(::openat(root_.get(), "Contents", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!contents_.isOpen()) throw CodeSigningError(path_, reason::notABundle);
  std::optional<Bytes> bytes = readFile("Info.plist", maximumInfoPlistSize);
  if (!bytes) throw CodeSigningError(path_, reason::notABundle);
  infoPlist_ = *std::move(bytes);
  try {
    const PropertyListValue value = readPropertyList(infoPlist_);
    if (value.dictionary() == nullptr) throw CodeSigningError(path_, reason::notABundle);
    information_ = *value.dictionary();
  } catch (const PropertyListReadError& error) {
    throw CodeSigningError(path_, reason::notABundle, {std::string("Info.plist: ") + error.what()});
  }
  const PropertyListText* name = information_.findString("CFBundleExecutable");
  if (name == nullptr || name->empty() || name->view().find('/') != std::string::npos || *name == "." ||
      *name == "..") {
    throw CodeSigningError(path_, reason::notABundle, {"Info.plist has no usable CFBundleExecutable"});
  }
  executable_ = "MacOS/" + *name;
  const FileDescriptor executable = openFile(executable_);
  if (!executable.isOpen() || !isFile(executable.get(), executableSize_)) {
    throw CodeSigningError(path_, reason::notABundle, {"there is no main executable"});
  }
  requireCleanRoot();
}

void BundleContents::requireCleanRoot() const {
  std::vector<std::string> details;
  for (const std::string& name : posix::namesInDirectory(root_.get(), path_.native())) {
    if (name != "Contents" && name != ".DS_Store") {
      details.push_back("file added: " + printable((path_ / name).string()));
    }
  }
  if (!details.empty()) throw CodeSigningError(path_, reason::unsealedRoot, std::move(details));
}

FileDescriptor BundleContents::openFile(const std::string& pathBelowContents) const {
  // Non-blocking, so that a pipe in the file's place cannot hold the caller up.
  FileDescriptor file(openBeneath(contents_.get(), pathBelowContents, O_RDONLY | O_NONBLOCK,
                                  RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS));
  std::uint64_t size = 0;
  if (file.isOpen() && !isFile(file.get(), size)) file.reset();
  return file;
}

std::optional<Bytes> BundleContents::readFile(const std::string& pathBelowContents, std::size_t limit) const {
  const FileDescriptor file = openFile(pathBelowContents);
  if (!file.isOpen()) return std::nullopt;
  Bytes bytes;
  std::array<std::uint8_t, 65536> chunk{};
  for (;;) {
    const ssize_t count = ::read(file.get(), chunk.data(), chunk.size());
    if (count == 0) return bytes;
    if (count < 0) {
      if (errno == EINTR) continue;
      return std::nullopt;
    }
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + count);
    if (bytes.size() > limit) return std::nullopt;
  }
}

std::vector<BundleItem> BundleContents::items() const {
  std::vector<BundleItem> found;
  collect(contents_.get(), "", 0, found);
  std::sort(found.begin(), found.end(),
            [](const BundleItem& left, const BundleItem& right) { return left.path < right.path; });
  return found;
}

void BundleContents::collect(int folder, const std::string& prefix, int depth,
                             std::vector<BundleItem>& found) const {
  if (depth > maximumDepth) throw CodeSigningError(path_, reason::tooLarge);
  for (const std::string& name : posix::namesInDirectory(folder, path_.native())) {
    BundleItem item;
    item.path = prefix + name;
    if (name == ".DS_Store") continue;
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      throw CodeSigningError(path_, std::generic_category().message(errno));
    }
    if (S_ISREG(status.st_mode)) {
      if (item.path == "Info.plist" || item.path == executable_ || item.path == "CodeResources") continue;
      if (prefix == std::string(signatureFolder) + "/" && contains(signatureFiles, name)) continue;
      item.size = static_cast<std::uint64_t>(status.st_size);
    } else if (S_ISLNK(status.st_mode)) {
      std::array<char, 4096> target{};
      const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
      if (length < 0) throw CodeSigningError(path_, std::generic_category().message(errno));
      item.kind = BundleItem::Kind::symbolicLink;
      item.linkTarget.assign(target.data(), static_cast<std::size_t>(length));
    } else if (S_ISDIR(status.st_mode)) {
      const FileDescriptor child(
          ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (!child.isOpen()) throw CodeSigningError(path_, std::generic_category().message(errno));
      const bool isCode = liesInCodeFolder(item.path) &&
                          contains(codeExtensions, std::filesystem::path(name).extension().native()) &&
                          ::faccessat(child.get(), "Contents/Info.plist", F_OK, AT_SYMLINK_NOFOLLOW) == 0;
      if (!isCode) {
        collect(child.get(), item.path + "/", depth + 1, found);
        continue;
      }
      item.kind = BundleItem::Kind::nestedCode;
    } else {
      item.kind = BundleItem::Kind::other;
    }
    if (found.size() == maximumItems) throw CodeSigningError(path_, reason::tooLarge);
    found.push_back(std::move(item));
  }
}

bool BundleContents::linkStaysInside(const std::string& pathBelowContents) const {
  const FileDescriptor target(openBeneath(root_.get(), "Contents/" + pathBelowContents, O_PATH,
                                          RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS));
  // A link to something inside that does not exist is harmless.
  return target.isOpen() || errno == ENOENT;
}

}  // namespace pellam::codesign
