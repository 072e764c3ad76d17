#include "formats/archive/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace pellam::archive {

namespace {

[[noreturn]] void fail() { throw std::system_error(errno, std::generic_category()); }

Descriptor opened(const std::filesystem::path& path, int flags) {
  const int number = ::open(path.c_str(), flags | O_RDONLY | O_CLOEXEC);
  if (number < 0) fail();
  return Descriptor(number);
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) (void)::close(number_);
}

Descriptor Descriptor::openFile(const std::filesystem::path& path) {
  // Without O_NONBLOCK a named pipe would hold the program up.
  Descriptor file = opened(path, O_NONBLOCK);
  struct stat status {};
  if (::fstat(file.number_, &status) != 0) fail();
  if (!S_ISREG(status.st_mode))
    throw std::system_error(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, std::generic_category());
  return file;
}

Descriptor Descriptor::openFolder(const std::filesystem::path& path) { return opened(path, O_DIRECTORY); }

std::uint64_t Descriptor::size() const {
  struct stat status {};
  if (::fstat(number_, &status) != 0) fail();
  return static_cast<std::uint64_t>(status.st_size);
}

bool Descriptor::readAt(std::uint64_t offset, std::span<std::uint8_t> buffer) const {
  while (!buffer.empty()) {
    const ssize_t count = ::pread(number_, buffer.data(), buffer.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail();
    if (count == 0) return false;
    offset += static_cast<std::uint64_t>(count);
    buffer = buffer.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

void Descriptor::writeAll(std::span<const std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(number_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void Descriptor::close() {
  if (::close(std::exchange(number_, -1)) != 0 && errno != EINTR) fail();
}

}  // namespace pellam::archive
