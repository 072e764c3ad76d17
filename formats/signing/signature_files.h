#pragma once

#include <string>

#include "formats/signing/bundle_contents.h"
#include "formats/signing/cms_signature.h"
#include "formats/signing/code_directory.h"
#include "formats/signing/requirement.h"

namespace pellam::codesign {

// The files of a signature, below Contents.
inline constexpr const char* codeDirectoryFile = "_CodeSignature/CodeDirectory";
inline constexpr const char* requirementsFile = "_CodeSignature/CodeRequirements";
inline constexpr const char* resourcesFile = "_CodeSignature/CodeResources";
inline constexpr const char* signatureFile = "_CodeSignature/CodeSignature";

inline constexpr std::size_t maximumCodeDirectorySize = std::size_t{64} << 20;
inline constexpr std::size_t maximumSignatureFileSize = std::size_t{1} << 20;
inline constexpr std::size_t maximumResourcesSize = std::size_t{256} << 20;

// A signature whose code directory was signed by the certificate it carries, and which belongs to that
// certificate's team. Nothing of what the code directory lists has been compared yet. Throws CodeSigningError
// notSigned, invalidSignature or teamMismatch.
struct OpenedSignature {
  explicit OpenedSignature(const BundleContents& bundle);

  Bytes codeDirectoryBytes;
  Bytes signatureBytes;
  CodeDirectory codeDirectory;
  CmsSignature signature;
  DesignatedRequirement requirement;  // what this identifier and certificate must state
};

}  // namespace pellam::codesign
