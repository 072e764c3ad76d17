#include "platform/linux/system/file_steps.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "platform/linux/system/posix_error.h"

namespace pellam::posix {

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& pathForErrors) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throwError(errno, pathForErrors);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

std::string randomLetters() {
  std::array<unsigned char, 8> random{};
  if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
    throwError(errno, "getrandom");
  }
  std::string text;
  for (const unsigned char byte : random) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

int renameWithoutReplacing(int sourceFolder, const std::string& source, int destinationFolder,
                           const std::string& destination) {
  if (::renameat2(sourceFolder, source.c_str(), destinationFolder, destination.c_str(), RENAME_NOREPLACE) ==
      0) {
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) return errno;
  struct stat status {};
  if (::fstatat(destinationFolder, destination.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  if (errno != ENOENT) return errno;
  return ::renameat(sourceFolder, source.c_str(), destinationFolder, destination.c_str()) == 0 ? 0 : errno;
}

std::string linkTargetAt(int folder, const std::string& name, const std::string& pathForErrors) {
  std::string target(256, '\0');
  for (;;) {
    const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
    if (length < 0) throwError(errno, pathForErrors);
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return target;
    }
    target.resize(target.size() * 2);
  }
}

}  // namespace pellam::posix
