#include "formats/signing/signature_files.h"

#include "formats/signing/signing_error.h"

namespace pellam::codesign {

namespace {

Bytes readSignatureFile(const BundleContents& bundle, const char* name, std::size_t limit) {
  std::optional<Bytes> bytes = bundle.readFile(name, limit);
  if (!bytes) throw CodeSigningError(bundle.path(), reason::notSigned);
  return *std::move(bytes);
}

CodeDirectory decodeDirectory(const BundleContents& bundle, const Bytes& bytes) {
  std::optional<CodeDirectory> directory = CodeDirectory::decode(bytes);
  if (!directory) throw CodeSigningError(bundle.path(), reason::invalidSignature);
  return *std::move(directory);
}

}  // namespace

OpenedSignature::OpenedSignature(const BundleContents& bundle)
    : codeDirectoryBytes(readSignatureFile(bundle, codeDirectoryFile, maximumCodeDirectorySize)),
      signatureBytes(readSignatureFile(bundle, signatureFile, maximumSignatureFileSize)),
      codeDirectory(decodeDirectory(bundle, codeDirectoryBytes)),
      signature(bundle.path(), signatureBytes, codeDirectoryBytes),
      requirement{codeDirectory.identifier, codeDirectory.team, signature.certificateHash()} {
  if (codeDirectory.team != signature.team()) throw CodeSigningError(bundle.path(), reason::teamMismatch);
}

}  // namespace pellam::codesign
