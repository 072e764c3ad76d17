#include "formats/archive/zip_unpacker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>

#include <cerrno>
#include <system_error>

#include "formats/archive/content_writer.h"
#include "formats/archive/entry_name.h"

namespace pellam::archive {

namespace {

namespace fs = std::filesystem;

// The destination folder and those of its parents that had to be made. Unless kept, removes the folders that
// it made, from the inside out and only while they are empty.
class DestinationFolder {
 public:
  explicit DestinationFolder(const fs::path& path) {
    fs::path missing = path;
    while (!missing.empty() && !fs::exists(fs::symlink_status(missing))) {
      made_.push_back(missing);
      const fs::path parent = missing.parent_path();
      if (parent == missing) break;
      missing = parent;
    }
    try {
      for (auto folder = made_.rbegin(); folder != made_.rend(); ++folder) fs::create_directory(*folder);
    } catch (...) {
      remove();
      throw;
    }
  }
  DestinationFolder(const DestinationFolder&) = delete;
  DestinationFolder& operator=(const DestinationFolder&) = delete;
  ~DestinationFolder() { remove(); }

  void keep() { made_.clear(); }

 private:
  void remove() {
    for (const fs::path& folder : made_) (void)::rmdir(folder.c_str());
  }

  std::vector<fs::path> made_;  // the innermost first
};

// A hidden folder inside the destination that disappears with everything in it.
class HiddenFolder {
 public:
  explicit HiddenFolder(const fs::path& destination) {
    std::string pattern = (destination / ".pellam-ditto-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), shownName(destination.string()));
    }
    path_ = pattern;
  }
  HiddenFolder(const HiddenFolder&) = delete;
  HiddenFolder& operator=(const HiddenFolder&) = delete;
  ~HiddenFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// Moves the name from one folder into the other unless it exists there. Zero or an error number.
int moveWithoutOverwriting(const Descriptor& from, const Descriptor& to, const std::string& name) {
  if (::renameat2(from.number(), name.c_str(), to.number(), name.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without the flag: look first.
  struct stat status {};
  if (::fstatat(to.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  return ::renameat(from.number(), name.c_str(), to.number(), name.c_str()) == 0 ? 0 : errno;
}

void moveIntoPlace(const std::vector<std::string>& names, const Descriptor& from, const Descriptor& to) {
  for (std::size_t index = 0; index < names.size(); ++index) {
    const int error = moveWithoutOverwriting(from, to, names[index]);
    if (error == 0) continue;
    for (std::size_t moved = index; moved-- > 0;) (void)moveWithoutOverwriting(to, from, names[moved]);
    if (error == EEXIST) throw ArchiveError("already at the destination: " + shownName(names[index]));
    throw std::system_error(error, std::generic_category(), shownName(names[index]));
  }
}

void refuseExistingNames(const std::vector<std::string>& names, const Descriptor& destination) {
  for (const std::string& name : names) {
    struct stat status {};
    if (::fstatat(destination.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
      throw ArchiveError("already at the destination: " + shownName(name));
    }
  }
}

}  // namespace

void unpackZipArchive(const fs::path& archive, const fs::path& destination, const UnpackingOptions& options) {
  const Descriptor file = Descriptor::openFile(archive);
  const std::vector<ZipEntry> entries = readZipDirectory(file);
  const UnpackingPlan plan = planUnpacking(entries, file.size(), options.limits);

  DestinationFolder made(fs::absolute(destination));
  const Descriptor target = Descriptor::openFolder(destination);
  refuseExistingNames(plan.topLevelNames, target);
  const HiddenFolder hidden(destination);
  const Descriptor root = Descriptor::openFolder(hidden.path());
  ContentWriter(file, plan, root, options).write();
  moveIntoPlace(plan.topLevelNames, root, target);
  made.keep();
}

}  // namespace pellam::archive
