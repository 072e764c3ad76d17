#include "formats/archive/zip_unpacker.h"

#include <cerrno>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "formats/archive/content_writer.h"
#include "formats/archive/entry_name.h"
#include "formats/archive/failure_name.h"
#include "platform/confined_folder.h"

namespace pellam::archive {

namespace {

namespace fs = std::filesystem;

// The destination folder and those of its parents that had to be made. Unless kept, removes the folders that
// it made, from the inside out and only while they are empty.
class DestinationFolder {
 public:
  DestinationFolder(FolderOpening& folders, const fs::path& path) : folders_(folders) {
    fs::path missing = path;
    while (!missing.empty() && !folders_.itemExists(missing)) {
      made_.push_back(missing);
      const fs::path parent = missing.parent_path();
      if (parent == missing) break;
      missing = parent;
    }
    try {
      for (auto folder = made_.rbegin(); folder != made_.rend(); ++folder) folders_.makeFolder(*folder);
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
    for (const fs::path& folder : made_) {
      try {
        folders_.removeEmptyFolder(folder);
      } catch (const std::exception&) {
        // Somebody uses it by now, or has moved it away.
      }
    }
  }

  FolderOpening& folders_;
  std::vector<fs::path> made_;  // the innermost first
};

// A hidden folder inside the destination, for this process alone, that disappears with everything in it.
class HiddenFolder {
 public:
  HiddenFolder(ConfinedFolder& destination, const fs::path& shownPath)
      : destination_(destination),
        name_(at(shownPath.native(), [&] { return destination.makeUniqueFolder(".pellam-ditto-"); })) {
    try {
      folder_ = destination_.openFolder(name_);
    } catch (...) {
      remove();
      throw;
    }
  }
  HiddenFolder(const HiddenFolder&) = delete;
  HiddenFolder& operator=(const HiddenFolder&) = delete;
  ~HiddenFolder() { remove(); }

  [[nodiscard]] ConfinedFolder& folder() const { return *folder_; }

 private:
  void remove() noexcept {
    try {
      destination_.removeTree(name_);
    } catch (const std::exception&) {
      // The failure that brought us here is the one to report.
    }
  }

  ConfinedFolder& destination_;
  std::string name_;
  std::unique_ptr<ConfinedFolder> folder_;
};

ArchiveError alreadyThere(const std::string& name) {
  return ArchiveError("already at the destination: " + shownName(name));
}

void moveIntoPlace(const std::vector<std::string>& names, ConfinedFolder& from, ConfinedFolder& to) {
  for (std::size_t index = 0; index < names.size(); ++index) {
    try {
      from.moveInto(names[index], to, names[index]);
    } catch (const std::system_error& error) {
      for (std::size_t moved = index; moved-- > 0;) {
        try {
          to.moveInto(names[moved], from, names[moved]);
        } catch (const std::system_error&) {
          // Nothing more can be done for this one; the others go back.
        }
      }
      if (error.code().value() == EEXIST) throw alreadyThere(names[index]);
      throw std::system_error(error.code(), shownName(names[index]));
    }
  }
}

void refuseExistingNames(const std::vector<std::string>& names, const ConfinedFolder& destination) {
  for (const std::string& name : names) {
    if (destination.describe(name)) throw alreadyThere(name);
  }
}

// Whoever unpacks knows the archive and the destination, so failures at these two name the cause alone.
template <typename Open>
auto opened(const Open& open) {
  try {
    return open();
  } catch (const std::system_error& error) {
    throw std::system_error(error.code());
  }
}

}  // namespace

void unpackZipArchive(FolderOpening& folders, const fs::path& archive, const fs::path& destination,
                      const UnpackingOptions& options) {
  const auto file = opened([&] { return folders.openFile(archive); });
  const std::vector<ZipEntry> entries = readZipDirectory(*file);
  const UnpackingPlan plan = planUnpacking(entries, file->size(), options.limits);

  DestinationFolder made(folders, fs::absolute(destination));
  const auto target = opened([&] { return folders.openFolder(destination); });
  at(destination.native(), [&] { refuseExistingNames(plan.topLevelNames, *target); });
  const HiddenFolder hidden(*target, destination);
  ContentWriter(*file, plan, hidden.folder(), folders.withheldPermissions(), options).write();
  moveIntoPlace(plan.topLevelNames, hidden.folder(), *target);
  made.keep();
}

}  // namespace pellam::archive
