#pragma once

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <optional>
#include <string>

#include "formats/signing/digest.h"

namespace pellam::codesign {

// Owners of the library's objects.
template <auto free>
struct Free {
  template <typename T>
  void operator()(T* object) const {
    free(object);
  }
};

inline void freeCertificates(STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); }
inline void freeCertificateList(STACK_OF(X509) * stack) { sk_X509_free(stack); }

using BioHandle = std::unique_ptr<BIO, Free<BIO_free_all>>;
using CertificateHandle = std::unique_ptr<X509, Free<X509_free>>;
using CertificatesHandle = std::unique_ptr<STACK_OF(X509), Free<freeCertificates>>;
using CertificateListHandle =
    std::unique_ptr<STACK_OF(X509), Free<freeCertificateList>>;  // borrows its members
using KeyHandle = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using CmsHandle = std::unique_ptr<CMS_ContentInfo, Free<CMS_ContentInfo_free>>;
using ObjectHandle = std::unique_ptr<ASN1_OBJECT, Free<ASN1_OBJECT_free>>;
using StoreHandle = std::unique_ptr<X509_STORE, Free<X509_STORE_free>>;
using StoreContextHandle = std::unique_ptr<X509_STORE_CTX, Free<X509_STORE_CTX_free>>;

// What certificates say.
[[nodiscard]] std::optional<std::string> subjectField(X509* certificate, int field);
[[nodiscard]] CodeHash certificateHashOf(X509* certificate);
[[nodiscard]] bool isForCodeSigning(X509* certificate);

// The attribute that carries the code directory's digest: its object identifier, and its value as DER.
inline constexpr const char* codeHashAttribute = "1.2.840.113635.100.9.2";
[[nodiscard]] Bytes codeHashAttributeValue(std::span<const std::uint8_t> codeDirectory);

}  // namespace pellam::codesign
