#pragma once

#include <filesystem>

#include "formats/signing/signature_files.h"
#include "platform/confined_folder.h"

namespace pellam::codesign {

// Everything here throws CodeSigningError. Blocks; hashing uses several threads of its own.

struct VerificationRequest {
  std::filesystem::path bundle;
  std::filesystem::path anchors;  // PEM file
  bool strict = false;            // links that lead out of the bundle are refused
  bool deep = false;              // nested code is verified whole, not only against its seal
};

// Returns when every byte that the signature covers is as it was signed, nothing was added, and the signer is
// trusted.
void verifyBundle(const FolderOpening& folders, const VerificationRequest& request);

enum class Strictness {
  ordinary,
  strict  // links that lead out of the bundle are refused
};

// Compares everything that the code directory and the resource seal list with the bundle, and nested code
// with its seal. Who signed is not asked.
void verifySealedContents(const FolderOpening& folders, const BundleContents& bundle,
                          const OpenedSignature& signature, Strictness strictness);

}  // namespace pellam::codesign
