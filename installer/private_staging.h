#pragma once

#include <filesystem>

#include "platform/file_system.h"
#include "platform/identifiers.h"

namespace pellam {

// A privileged helper's own copy of a staged bundle. The user can write where the bundle is staged, and could
// change it between its validation and the move; nobody but root can reach the copy, so what is validated is
// what is installed. In the copy only the owner can write. It lies in a hidden folder beside the installed
// bundle, named like an incoming bundle, so that recoverInterruptedReplacement removes what a killed helper
// left. The folder goes with the object.
class PrivateStaging {
 public:
  // Throws std::system_error when the copy cannot be made; nothing is left of it then.
  PrivateStaging(FileSystem& fileSystem, UUIDGenerating& identifiers, const std::filesystem::path& staged,
                 const std::filesystem::path& installed);
  PrivateStaging(const PrivateStaging&) = delete;
  PrivateStaging& operator=(const PrivateStaging&) = delete;
  ~PrivateStaging();

  [[nodiscard]] const std::filesystem::path& bundle() const { return bundle_; }

 private:
  void removeFolder();

  FileSystem& fileSystem_;
  std::filesystem::path folder_;
  std::filesystem::path bundle_;
};

}  // namespace pellam
