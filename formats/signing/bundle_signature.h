#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "formats/signing/digest.h"
#include "platform/confined_folder.h"
#include "platform/file_system.h"

namespace pellam::codesign {

// Everything here throws CodeSigningError. Blocks; hashing uses several threads of its own.

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

struct VerificationRequest {
  std::filesystem::path bundle;
  std::filesystem::path anchors;  // PEM file
  bool strict = false;            // links that lead out of the bundle are refused
  bool deep = false;              // nested code is verified whole, not only against its seal
};

// Returns when every byte that the signature covers is as it was signed, nothing was added, and the signer is
// trusted.
void verifyBundle(const FolderOpening& folders, const VerificationRequest& request);

// What the signature says, one "Key=value" a line. Says nothing about whether it is true.
[[nodiscard]] std::vector<std::string> describeBundle(const FolderOpening& folders,
                                                      const std::filesystem::path& bundle);

}  // namespace pellam::codesign
