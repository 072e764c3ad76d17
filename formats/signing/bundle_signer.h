#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/confined_folder.h"
#include "platform/file_system.h"

namespace pellam::codesign {

// Throws CodeSigningError. Blocks; hashing uses several threads of its own.

struct SigningRequest {
  std::filesystem::path bundle;
  std::filesystem::path certificateFile;
  std::filesystem::path keyFile;
  std::optional<std::string> team;        // must be the certificate's; absent: taken from the certificate
  std::optional<std::string> identifier;  // absent: CFBundleIdentifier
};

// Seals the bundle and signs the seal; an earlier signature is replaced. Nested code must be signed already
// and intact. On failure the bundle has the signature that it had before, or none that is valid.
void signBundle(const FolderOpening& folders, FileSystem& files, const SigningRequest& request);

}  // namespace pellam::codesign
