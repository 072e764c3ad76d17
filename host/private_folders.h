#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "platform/file_system.h"

namespace pellam {

// Folders in places that other users can reach: what somebody else put there first, a link above all, must
// not decide where this user's files go or which of them are removed. Keeps no state; blocks; any thread.
class PrivateFolders {
 public:
  // `userID` is the user with whose rights this process works on files.
  PrivateFolders(std::shared_ptr<FileSystem> files, std::uint32_t userID)
      : files_(std::move(files)), userID_(userID) {}

  // Where this user's folders belong in a folder for temporary files: in the folder itself when it is the
  // user's own and nobody else can enter it, or when it does not exist yet; else in "pellam-<user ID>" inside
  // it. Nothing when whoever else can rename in it could exchange that one, too: the folder of another user,
  // the system's without the sticky mark, a link of another user. Links at the end are resolved. Makes
  // nothing.
  [[nodiscard]] std::optional<std::filesystem::path> baseIn(const std::filesystem::path& temporary) const;

  // Makes the base and the folders below it that are missing, so that nobody else can enter them. Throws
  // std::system_error: EPERM when one of them is a link, no folder or somebody else's, or when others can
  // enter the base; EINVAL for "..". What was made before the failure stays.
  void make(const std::filesystem::path& base, const std::filesystem::path& folder) const;

  // True when the item is a folder, no link, that belongs to this user and that nobody else can enter.
  [[nodiscard]] bool isPrivate(const std::filesystem::path& folder) const;
  // True when every folder from below the base down to this one is there, is no link and belongs to this
  // user.
  [[nodiscard]] bool areOwn(const std::filesystem::path& base, const std::filesystem::path& folder) const;

 private:
  [[nodiscard]] std::optional<FileAttributes> attributes(const std::filesystem::path& path) const;
  [[nodiscard]] bool isOwn(const std::filesystem::path& folder) const;
  void makeOne(const std::filesystem::path& folder) const;

  std::shared_ptr<FileSystem> files_;
  std::uint32_t userID_;
};

}  // namespace pellam
