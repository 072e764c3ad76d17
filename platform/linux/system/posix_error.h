#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace pellam::posix {

// The error that every file operation throws: the errno, and the path in the text.
[[noreturn]] inline void throwError(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

// The path for a system call. A path with a NUL inside would silently name another file, so it is EINVAL.
[[nodiscard]] inline const char* cPath(const std::filesystem::path& path) {
  if (path.native().find('\0') != std::string::npos) throwError(EINVAL, path.native());
  return path.c_str();
}

}  // namespace pellam::posix
