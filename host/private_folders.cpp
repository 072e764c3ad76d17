#include "host/private_folders.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "foundation/item_path.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;

constexpr std::uint32_t systemUserID = 0;
constexpr std::uint32_t everybodyElse = 0077;
constexpr std::uint32_t sticky = 01000;

[[noreturn]] void refuse(int error, const Path& path) {
  throw std::system_error(error, std::generic_category(), path.string());
}

}  // namespace

std::optional<FileAttributes> PrivateFolders::attributes(const Path& path) const {
  try {
    return files_->attributes(path);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

std::optional<Path> PrivateFolders::baseIn(const Path& temporary) const {
  Path base = withoutTrailingSlash(temporary);
  std::optional<FileAttributes> found = attributes(base);
  if (!found && !files_->itemExists(base)) return base;
  if (found && found->type == FileType::symbolicLink) {
    if (found->ownerID != userID_ && found->ownerID != systemUserID) return std::nullopt;
    base = files_->resolvingSymlinks(base);
    found = attributes(base);
  }
  if (!found || found->type != FileType::directory) return std::nullopt;
  const bool isOwn = found->ownerID == userID_;
  if (isOwn && (found->permissions & everybodyElse) == 0) return base;
  const bool isSystemWide = found->ownerID == systemUserID && (found->permissions & sticky) != 0;
  if (!isOwn && !isSystemWide) return std::nullopt;
  return base / ("pellam-" + std::to_string(userID_));
}

void PrivateFolders::make(const Path& base, const Path& folder) const {
  if (!files_->itemExists(base)) {
    files_->createDirectory(base.parent_path());
    makeOne(base);
  }
  if (!isPrivate(base)) refuse(EPERM, base);
  Path made = base;
  for (const Path& name : folder.lexically_relative(base)) {
    if (!isPlainFileName(name.string())) refuse(EINVAL, folder);
    made /= name;
    makeOne(made);
    if (!isOwn(made)) refuse(EPERM, made);
  }
}

void PrivateFolders::makeOne(const Path& folder) const {
  try {
    files_->createPrivateDirectory(folder);
  } catch (const std::system_error& error) {
    if (error.code().value() != EEXIST) throw;  // what is there already is looked at by the caller
  }
}

bool PrivateFolders::isOwn(const Path& folder) const {
  const std::optional<FileAttributes> found = attributes(folder);
  return found && found->type == FileType::directory && found->ownerID == userID_;
}

bool PrivateFolders::isPrivate(const Path& folder) const {
  const std::optional<FileAttributes> found = attributes(folder);
  return found && found->type == FileType::directory && found->ownerID == userID_ &&
         (found->permissions & everybodyElse) == 0;
}

bool PrivateFolders::areOwn(const Path& base, const Path& folder) const {
  Path reached = base;
  for (const Path& name : folder.lexically_relative(base)) {
    if (!isPlainFileName(name.string())) return false;
    reached /= name;
    if (!isOwn(reached)) return false;
  }
  return true;
}

}  // namespace pellam
