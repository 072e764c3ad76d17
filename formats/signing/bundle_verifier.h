#pragma once

#include "formats/signing/signature_files.h"

namespace pellam::codesign {

// Compares everything that the code directory and the resource seal list with the bundle, and nested code
// with its seal. Who signed is not asked. With `strict`, links that lead out of the bundle are refused.
// Throws CodeSigningError.
void verifySealedContents(const FolderOpening& folders, const BundleContents& bundle,
                          const OpenedSignature& signature, bool strict);

}  // namespace pellam::codesign
