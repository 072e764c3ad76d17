#pragma once

#include "formats/signing/signature_files.h"

namespace pellam::codesign {

enum class Strictness {
  ordinary,
  strict  // links that lead out of the bundle are refused
};

// Compares everything that the code directory and the resource seal list with the bundle, and nested code
// with its seal. Who signed is not asked. Throws CodeSigningError.
void verifySealedContents(const FolderOpening& folders, const BundleContents& bundle,
                          const OpenedSignature& signature, Strictness strictness);

}  // namespace pellam::codesign
