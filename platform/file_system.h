#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/byte_buffer.h"
#include "pellam/date.h"

namespace pellam {

enum class FileType { regular, directory, symbolicLink, other };

// What the system records about one item, never following a final symbolic link.
struct FileAttributes {
  FileType type = FileType::other;
  std::optional<std::uint32_t> ownerID;
  std::optional<std::uint32_t> groupID;
  std::uint32_t permissions = 0;  // the permission bits with set-user, set-group and sticky: 0 to 07777
  std::uint64_t fileSystemNumber = 0;
  std::uint64_t fileNumber = 0;
  std::optional<Date> creationDate;  // absent where the volume keeps none
  std::optional<Date> modificationDate;
  std::optional<Date> changeDate;  // of whatever is recorded about the item, its name included
};

// What an enumeration does below the entry that its visitor has just seen.
enum class EnumerationStep { descend, skipDescendants, stop };

// Items whose names begin with a full stop, and those that the system hides.
enum class HiddenItems { included, skipped };

struct EnumerationOptions {
  bool skipsHiddenFiles = false;
  bool skipsPackageDescendants = false;  // does not look inside folders with a bundle's extension
};

// Others may share a lock, or nobody may.
enum class FolderUse { shared, alone };

// A lock that is held. It goes with the object, and with the process however that ends.
class FolderLock {
 public:
  FolderLock() = default;
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  virtual ~FolderLock() = default;
};

// The file manager: every look at and change of the disk goes through it. Failures are std::system_error with
// the system's errno and the path in the text, unless stated otherwise. No operation keeps state; any thread.
// Unless stated otherwise a final symbolic link is not followed, links in the folders above are.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // True when something exists behind the path, following links; `isDirectory` then says what it is.
  [[nodiscard]] virtual bool itemExists(const std::filesystem::path& path,
                                        bool* isDirectory = nullptr) const = 0;
  // True for a file behind the path (links followed, folders excluded) that this process may execute.
  [[nodiscard]] virtual bool isExecutableFile(const std::filesystem::path& path) const = 0;
  [[nodiscard]] virtual FileAttributes attributes(const std::filesystem::path& path) const = 0;

  [[nodiscard]] virtual ByteBuffer readFile(const std::filesystem::path& path) const = 0;
  // Replaces the file's contents; on failure a part may have been written.
  virtual void writeFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) = 0;
  // Writes a temporary file beside the path, syncs it and renames it over the path (a link there is replaced,
  // not followed). On failure the path is as it was and nothing is left beside it.
  virtual void writeFileAtomically(const std::filesystem::path& path,
                                   std::span<const std::uint8_t> bytes) = 0;

  // Creates the folder and those above it. An existing folder is no failure.
  virtual void createDirectory(const std::filesystem::path& path) = 0;
  // Creates one folder that nobody but its owner can enter. EEXIST when the name is taken.
  virtual void createPrivateDirectory(const std::filesystem::path& path) = 0;
  // Removes a file, a link or a whole folder, folders without the permission to write included; never leaves
  // through a link. A missing item is ENOENT. A folder leaves its name in one step before its contents go, so
  // that nobody ever sees it half removed; when its contents cannot all be removed, what is left stays under
  // the hidden name (foundation/hidden_name.h) and never gets the name back.
  virtual void removeItem(const std::filesystem::path& path) = 0;
  // Moves an item to a path that must not exist (EEXIST). Within a volume this is one rename and both folders
  // are synced. Across volumes the item is copied, links and attributes included, to a hidden name beside the
  // destination, synced, renamed, and only then removed at the source; a failure leaves the source whole and
  // nothing at the destination.
  virtual void moveItem(const std::filesystem::path& source, const std::filesystem::path& destination) = 0;
  // Renames an item to a path that must not exist (EEXIST), in one step or not at all. EXDEV where the system
  // cannot: onto another volume, from one mount of a volume to another, a folder in a lower layer of an
  // overlay. Nothing is synced.
  virtual void renameItem(const std::filesystem::path& source, const std::filesystem::path& destination) = 0;
  // Exchanges two items' names in one step: there is no moment in which either path is empty. False, with
  // nothing changed, where the system or the volume has no such step. Nothing is synced.
  [[nodiscard]] virtual bool exchangeItems(const std::filesystem::path& first,
                                           const std::filesystem::path& second) = 0;
  // Copies an item, links and attributes included (owner and group when this process is root, else the group
  // where this process may give it), to a path that must not exist (EEXIST): under a hidden name beside the
  // destination, synced, then renamed. On failure nothing is left at or beside the destination.
  virtual void copyItem(const std::filesystem::path& source, const std::filesystem::path& destination) = 0;

  // The paths of a folder's direct entries, in the order of their names.
  [[nodiscard]] virtual std::vector<std::filesystem::path> contentsOfDirectory(
      const std::filesystem::path& path, HiddenItems hiddenItems) const = 0;
  // Visits everything below the folder, a folder before its contents, links never followed. Throws when the
  // folder itself cannot be opened; folders below that cannot be opened are passed over.
  virtual void enumerate(
      const std::filesystem::path& path, EnumerationOptions options,
      const std::function<EnumerationStep(const std::filesystem::path&)>& visitor) const = 0;

  // The path with every symbolic link resolved and "." and ".." removed; the part that does not exist stays
  // as it is written.
  [[nodiscard]] virtual std::filesystem::path resolvingSymlinks(const std::filesystem::path& path) const = 0;

  // Removes one extended attribute of the item itself. The result is 0 or the system's errno; "there is no
  // such attribute" is 0, and so is "this volume keeps none" where volumes differ in that.
  [[nodiscard]] virtual int removeQuarantineAttribute(const std::filesystem::path& path) = 0;
  // Changes owner and group of the item itself, as opening a link without following it and fchown do.
  virtual void changeOwner(const std::filesystem::path& path, std::uint32_t ownerID,
                           std::uint32_t groupID) = 0;

  // Takes the permission to write away from the item's group, from others and from whomever an access list
  // names, and the set-user and set-group marks with it. A link has no permission bits of its own.
  virtual void withdrawSharedWriting(const std::filesystem::path& path) = 0;

  // Writes the folder's entries through to the disk; a volume that cannot is no failure.
  virtual void synchronizeDirectory(const std::filesystem::path& path) = 0;
  // Writes the folder's own entry in the folder above it through to the disk, also where that one may be
  // written but not listed; a volume that cannot is no failure.
  virtual void synchronizeName(const std::filesystem::path& path) = 0;
  // Writes everything that is pending for the folder's volume through to the disk.
  virtual void synchronizeVolume(const std::filesystem::path& path) = 0;

  // Locks a folder among those who ask; nobody else is kept from anything. Nothing, at once, while somebody
  // holds a lock that forbids it. Throws where the folder cannot be read or the volume has no locks.
  [[nodiscard]] virtual std::unique_ptr<FolderLock> lockFolder(const std::filesystem::path& path,
                                                               FolderUse use) = 0;

  // This user's own folder for temporary files (TMPDIR where it is set), not resolved. Whoever set TMPDIR may
  // have named a folder that others share, or none at all.
  [[nodiscard]] virtual std::filesystem::path temporaryDirectory() const = 0;
  // The user's first Application Support folder; nothing when there is no home folder.
  [[nodiscard]] virtual std::optional<std::filesystem::path> applicationSupportDirectory() const = 0;
};

// The errno's symbolic name ("EACCES"); a number without one is shown as "EIO".
[[nodiscard]] std::string posixErrorName(int error);

[[nodiscard]] std::shared_ptr<FileSystem> makeSystemFileSystem();

}  // namespace pellam
