#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/signing/digest.h"
#include "pellam/date.h"

namespace pellam::codesign {

// Who signs: a certificate, what leads from it to its anchor, and its private key.
class SigningIdentity {
 public:
  // Reads PEM files; the certificate comes first in its file, intermediate ones may follow. Throws
  // CodeSigningError for files that cannot be read, a key that is not the certificate's, and a certificate
  // that is not made for signing code (extended key usage codeSigning).
  SigningIdentity(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile);
  ~SigningIdentity();
  SigningIdentity(const SigningIdentity&) = delete;
  SigningIdentity& operator=(const SigningIdentity&) = delete;

  // The subject's organizational unit.
  [[nodiscard]] std::optional<std::string> team() const;
  // The SHA-1 of the certificate, its name in requirements.
  [[nodiscard]] CodeHash certificateHash() const;
  // A detached CMS signature over the code directory with the time and the code hash among its attributes.
  [[nodiscard]] Bytes sign(std::span<const std::uint8_t> codeDirectory) const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

// A signature that was made over the code directory by the key of the certificate that it carries. That says
// nothing yet about the certificate.
class CmsSignature {
 public:
  // Throws CodeSigningError (path, reason::invalidSignature) for anything else: bytes that are no detached
  // CMS signature, several signers, a digest weaker than SHA-256, a code hash attribute of another directory.
  CmsSignature(const std::filesystem::path& pathForErrors, std::span<const std::uint8_t> bytes,
               std::span<const std::uint8_t> codeDirectory);
  ~CmsSignature();
  CmsSignature(const CmsSignature&) = delete;
  CmsSignature& operator=(const CmsSignature&) = delete;

  // Throws CodeSigningError unless the certificate chains, now, to one of the PEM file's certificates and is
  // made for signing code. There is no trusted time stamp, so the time that the signer states is not
  // believed. A missing or empty anchor file trusts nothing.
  void requireTrust(const std::filesystem::path& anchors) const;

  [[nodiscard]] std::optional<std::string> team() const;
  [[nodiscard]] CodeHash certificateHash() const;
  // Common names from the signer's certificate towards its anchor, as far as the signature carries them.
  [[nodiscard]] std::vector<std::string> authorities() const;
  // What the signer states.
  [[nodiscard]] std::optional<Date> signingTime() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
  std::filesystem::path path_;
};

}  // namespace pellam::codesign
