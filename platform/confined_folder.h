#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace pellam {

// Everything here blocks and fails with std::system_error: the system's errno, and in the text the path by
// which the folder or file was opened, with what was asked for below it. Nothing is flushed to the disk.

// A regular file that is open for reading, whatever becomes of its name. Any thread, several at once.
class ReadOnlyFile {
 public:
  virtual ~ReadOnlyFile() = default;

  // In bytes, when it was opened.
  [[nodiscard]] virtual std::uint64_t size() const = 0;
  // Reads from the offset, in bytes, until the buffer is full or the file ends. Returns how much that was.
  [[nodiscard]] virtual std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> buffer) const = 0;
};

// A file that was just made, open for writing by one thread. Whoever gives it up unfinished finds it in its
// folder as far as it was written.
class NewFile {
 public:
  virtual ~NewFile() = default;

  // Appends.
  virtual void write(std::span<const std::uint8_t> bytes) = 0;
  // The file's own pages to write into, for contents too large to hold beside them: `size` bytes, more than
  // none, all of them zero. Instead of write(), once. They are there until finish(). Their space is reserved
  // first, so that a full volume is an error here (ENOSPC, EFBIG) and not the program's end at some byte.
  [[nodiscard]] virtual std::span<std::uint8_t> pages(std::uint64_t size) = 0;
  // Closes the file and reports what writing left unsaid. The time, in seconds since 1970, is kept where that
  // can be.
  virtual void finish(std::int64_t modificationTime) = 0;
};

struct ConfinedItem {
  FileType type = FileType::other;
  std::uint64_t size = 0;  // of a regular file, in bytes
};

// An open folder that nothing leaves: whatever somebody does to the names beneath it meanwhile, what is read
// and changed through it lies beneath it. It stays the folder that was opened wherever that is moved; one
// that was removed has no names any more (ENOENT). Any thread, several at once.
//
// A *name* is one name in this folder. A *path* is one or more names with single slashes between them.
// Anything else is EINVAL: an empty name, "." and "..", an absolute path, a NUL.
//
// Links: none is followed, neither on a path's way nor at its end, which is ELOOP. leadsInside() follows them
// and only looks.
// Overwriting: nothing is. A name that is taken is EEXIST, whatever it stands for.
// Other volumes: one that is mounted beneath the folder belongs to it. Only moving cannot cross (EXDEV).
// Failures: a call that fails has changed nothing unless it says otherwise.
class ConfinedFolder {
 public:
  virtual ~ConfinedFolder() = default;

  // All names in the folder, sorted, without "." and "..".
  [[nodiscard]] virtual std::vector<std::string> names() const = 0;
  // Nothing when the name is free.
  [[nodiscard]] virtual std::optional<ConfinedItem> describe(const std::string& name) const = 0;
  // What the link states, byte for byte; EINVAL for what is no link.
  [[nodiscard]] virtual std::string linkTarget(const std::string& name) const = 0;
  // Never waits for a pipe's other end. EISDIR for a folder, EINVAL for whatever else is no regular file.
  [[nodiscard]] virtual std::unique_ptr<ReadOnlyFile> openFile(const std::string& path) const = 0;
  // ENOTDIR for what is no folder.
  [[nodiscard]] virtual std::unique_ptr<ConfinedFolder> openFolder(const std::string& path) const = 0;
  // Whether the path, followed as the system follows it through every link, reaches nothing outside this
  // folder. A path that ends nowhere reaches nothing; one that leads in a circle, through a file, or where
  // this user may not look is not known to stay inside.
  [[nodiscard]] virtual bool leadsInside(const std::string& path) const = 0;

  // Makes an empty folder that nobody but its owner can enter, whatever the folder above hands down.
  virtual void makeFolder(const std::string& name) = 0;
  // The same under a name that is free: the prefix and letters that nobody can guess. Returns the name.
  [[nodiscard]] virtual std::string makeUniqueFolder(const std::string& prefix) = 0;
  // Makes an empty file. The permissions are the nine bits less what the process withholds from what it
  // makes.
  [[nodiscard]] virtual std::unique_ptr<NewFile> createFile(const std::string& path,
                                                            unsigned permissions) = 0;
  virtual void makeLink(const std::string& name, const std::string& target) = 0;

  // The nine bits of this folder itself, exactly.
  virtual void setPermissions(unsigned permissions) = 0;
  // This folder's own, in seconds since 1970. That it cannot be kept is no failure.
  virtual void setModificationTime(std::int64_t seconds) = 0;
  // The same of an item, a link's own; that there is no such item is a failure (ENOENT).
  virtual void setModificationTime(const std::string& name, std::int64_t seconds) = 0;

  // Moves the item, with all that is in it, to a free name in the other folder, in one step. EXDEV where the
  // other one lies on another volume or was not opened by the same system. Where the volume cannot rename
  // without overwriting, the name is looked at first: what somebody puts there at that instant is lost.
  virtual void moveInto(const std::string& name, ConfinedFolder& other, const std::string& newName) = 0;

  // Removes the item and everything in it, also from folders without the permission to write. Stops at the
  // first failure and leaves the rest.
  virtual void removeTree(const std::string& name) = 0;
};

// The way in, by a path of the system's: links at its end and above it are followed. Keeps no state; any
// thread.
class FolderOpening {
 public:
  virtual ~FolderOpening() = default;

  // ENOTDIR for what is no folder.
  [[nodiscard]] virtual std::unique_ptr<ConfinedFolder> openFolder(
      const std::filesystem::path& path) const = 0;
  // A regular file, as ConfinedFolder opens one.
  [[nodiscard]] virtual std::unique_ptr<ReadOnlyFile> openFile(const std::filesystem::path& path) const = 0;
  // True for whatever has the name, a link that leads nowhere included.
  [[nodiscard]] virtual bool itemExists(const std::filesystem::path& path) const = 0;
  // EEXIST for a name that is taken. The folder above must exist.
  virtual void makeFolder(const std::filesystem::path& path) = 0;
  // ENOTEMPTY for a folder with something in it; ENOTDIR for what is none, a link at the path's end included.
  virtual void removeEmptyFolder(const std::filesystem::path& path) = 0;
  // The permissions that this process withholds from the files and folders it makes. The system tells only by
  // having them set to something else for a moment: call it while no other thread makes any.
  [[nodiscard]] virtual unsigned withheldPermissions() const = 0;
};

[[nodiscard]] std::shared_ptr<FolderOpening> makeSystemFolderOpening();

}  // namespace pellam
