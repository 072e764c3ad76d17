#include <cerrno>
#include <cstring>

#include "formats/signing/cms_signature.h"
#include "formats/signing/openssl_handles.h"
#include "formats/signing/signing_error.h"

namespace pellam::codesign {

struct SigningIdentity::Parts {
  CertificateHandle certificate;
  CertificatesHandle chain;
  KeyHandle key;
};

namespace {

BioHandle openFile(const std::filesystem::path& file) {
  BioHandle bio(BIO_new_file(file.c_str(), "rb"));
  if (!bio) throw CodeSigningError(file, std::strerror(errno));
  return bio;
}

// An encrypted key is refused: a build machine cannot be asked for a passphrase.
int refusePassphrase(char*, int, int, void*) { return -1; }

}  // namespace

SigningIdentity::SigningIdentity(const std::filesystem::path& certificateFile,
                                 const std::filesystem::path& keyFile)
    : parts_(std::make_unique<Parts>()) {
  const BioHandle certificates = openFile(certificateFile);
  parts_->certificate.reset(PEM_read_bio_X509(certificates.get(), nullptr, refusePassphrase, nullptr));
  if (!parts_->certificate) throw CodeSigningError(certificateFile, "no certificate in this file");
  parts_->chain.reset(sk_X509_new_null());
  while (X509* next = PEM_read_bio_X509(certificates.get(), nullptr, refusePassphrase, nullptr)) {
    sk_X509_push(parts_->chain.get(), next);
  }
  const BioHandle key = openFile(keyFile);
  parts_->key.reset(PEM_read_bio_PrivateKey(key.get(), nullptr, refusePassphrase, nullptr));
  ERR_clear_error();
  if (!parts_->key) throw CodeSigningError(keyFile, "no unencrypted private key in this file");
  if (X509_check_private_key(parts_->certificate.get(), parts_->key.get()) != 1) {
    ERR_clear_error();
    throw CodeSigningError(keyFile, "the private key does not belong to the certificate");
  }
  if (!isForCodeSigning(parts_->certificate.get())) {
    throw CodeSigningError(certificateFile,
                           "the certificate is not made for signing code (extendedKeyUsage codeSigning)");
  }
}

SigningIdentity::~SigningIdentity() = default;

std::optional<std::string> SigningIdentity::team() const {
  return subjectField(parts_->certificate.get(), NID_organizationalUnitName);
}

CodeHash SigningIdentity::certificateHash() const { return certificateHashOf(parts_->certificate.get()); }

Bytes SigningIdentity::sign(std::span<const std::uint8_t> codeDirectory) const {
  constexpr unsigned int flags = CMS_DETACHED | CMS_BINARY | CMS_NOSMIMECAP | CMS_PARTIAL;
  const BioHandle content(BIO_new_mem_buf(codeDirectory.data(), static_cast<int>(codeDirectory.size())));
  const CmsHandle cms(CMS_sign(nullptr, nullptr, parts_->chain.get(), nullptr, flags));
  const ObjectHandle attribute(OBJ_txt2obj(codeHashAttribute, 1));
  CMS_SignerInfo* signer =
      cms ? CMS_add1_signer(cms.get(), parts_->certificate.get(), parts_->key.get(), EVP_sha256(), flags)
          : nullptr;
  const Bytes value = codeHashAttributeValue(codeDirectory);
  unsigned char* der = nullptr;
  int length = -1;
  if (signer != nullptr && attribute && content &&
      CMS_signed_add1_attr_by_OBJ(signer, attribute.get(), V_ASN1_SEQUENCE, value.data(),
                                  static_cast<int>(value.size())) == 1 &&
      CMS_final(cms.get(), content.get(), nullptr, flags) == 1) {
    length = i2d_CMS_ContentInfo(cms.get(), &der);
  }
  if (length <= 0) {
    ERR_clear_error();
    throw CodeSigningError("", "the signature could not be made");
  }
  Bytes bytes(der, der + length);
  OPENSSL_free(der);
  return bytes;
}

}  // namespace pellam::codesign
