#include "platform/linux/system/file_trust.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace pellam {

namespace {

bool othersCanChange(const struct stat& status) {
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) return true;
  if (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0) return false;
  const bool isOfThisUser = status.st_gid == 0 || status.st_gid == ::getegid();
  return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && !isOfThisUser);
}

}  // namespace

std::optional<std::filesystem::path> itemThatOthersCanChange(const std::filesystem::path& file) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(file.c_str(), nullptr), &std::free);
  if (!real) return std::nullopt;
  for (std::filesystem::path item = real.get();; item = item.parent_path()) {
    struct stat status {};
    if (::lstat(item.c_str(), &status) == 0 && othersCanChange(status)) return item;
    if (item == item.root_path()) return std::nullopt;
  }
}

}  // namespace pellam
