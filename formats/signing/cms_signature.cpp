#include "formats/signing/cms_signature.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "formats/signing/openssl_handles.h"
#include "formats/signing/signing_error.h"

namespace pellam::codesign {

struct CmsSignature::Parts {
  CmsHandle cms;
  CertificatesHandle certificates;  // all that the signature carries
  X509* leaf = nullptr;             // the signer's; one of them
  CMS_SignerInfo* signer = nullptr;
};

namespace {

constexpr std::size_t maximumSignatureSize = std::size_t{1} << 20;
constexpr int maximumCertificates = 16;
constexpr int maximumChainLength = 8;
constexpr int securityLevel = 2;  // keys of 112 bits and more: RSA from 2048, no SHA-1

bool hasStrongDigest(CMS_SignerInfo* signer) {
  X509_ALGOR* algorithm = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
  if (algorithm == nullptr) return false;
  const ASN1_OBJECT* object = nullptr;
  X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
  const int identifier = OBJ_obj2nid(object);
  return identifier == NID_sha256 || identifier == NID_sha384 || identifier == NID_sha512;
}

// The attribute is there once and names this code directory.
bool namesCodeDirectory(CMS_SignerInfo* signer, std::span<const std::uint8_t> codeDirectory) {
  const ObjectHandle object(OBJ_txt2obj(codeHashAttribute, 1));
  const int index = CMS_signed_get_attr_by_OBJ(signer, object.get(), -1);
  if (index < 0 || CMS_signed_get_attr_by_OBJ(signer, object.get(), index) >= 0) return false;
  X509_ATTRIBUTE* attribute = CMS_signed_get_attr(signer, index);
  if (X509_ATTRIBUTE_count(attribute) != 1) return false;
  const ASN1_TYPE* value = X509_ATTRIBUTE_get0_type(attribute, 0);
  if (value == nullptr || ASN1_TYPE_get(value) != V_ASN1_SEQUENCE) return false;
  const ASN1_STRING* text = value->value.sequence;
  const Bytes expected = codeHashAttributeValue(codeDirectory);
  return ASN1_STRING_length(text) == static_cast<int>(expected.size()) &&
         std::memcmp(ASN1_STRING_get0_data(text), expected.data(), expected.size()) == 0;
}

// Finds the signer and checks its signature. False for everything that is not as it should be.
bool open(CmsHandle& cms, CertificatesHandle& certificates, X509*& leaf, CMS_SignerInfo*& signer,
          std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> codeDirectory) {
  if (bytes.empty() || bytes.size() > maximumSignatureSize) return false;
  const unsigned char* cursor = bytes.data();
  cms.reset(d2i_CMS_ContentInfo(nullptr, &cursor, static_cast<long>(bytes.size())));
  if (!cms || cursor != bytes.data() + bytes.size()) return false;
  if (OBJ_obj2nid(CMS_get0_type(cms.get())) != NID_pkcs7_signed || CMS_is_detached(cms.get()) != 1)
    return false;
  STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(cms.get());
  if (signers == nullptr || sk_CMS_SignerInfo_num(signers) != 1) return false;
  signer = sk_CMS_SignerInfo_value(signers, 0);
  certificates.reset(CMS_get1_certs(cms.get()));
  if (!certificates || sk_X509_num(certificates.get()) > maximumCertificates) return false;
  if (!hasStrongDigest(signer) || !namesCodeDirectory(signer, codeDirectory)) return false;
  const BioHandle content(BIO_new_mem_buf(codeDirectory.data(), static_cast<int>(codeDirectory.size())));
  if (CMS_verify(cms.get(), nullptr, nullptr, content.get(), nullptr,
                 CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY) != 1) {
    return false;
  }
  for (int index = 0; index < sk_X509_num(certificates.get()); ++index) {
    X509* candidate = sk_X509_value(certificates.get(), index);
    if (CMS_SignerInfo_cert_cmp(signer, candidate) == 0) {
      leaf = candidate;
      return true;
    }
  }
  return false;
}

const char* trustReason(int error) {
  if (error == X509_V_ERR_CERT_HAS_EXPIRED) return reason::expired;
  if (error == X509_V_ERR_CERT_NOT_YET_VALID) return reason::notYetValid;
  return reason::notTrusted;
}

}  // namespace

CmsSignature::CmsSignature(const std::filesystem::path& pathForErrors, std::span<const std::uint8_t> bytes,
                           std::span<const std::uint8_t> codeDirectory)
    : parts_(std::make_unique<Parts>()), path_(pathForErrors) {
  const bool isValid =
      open(parts_->cms, parts_->certificates, parts_->leaf, parts_->signer, bytes, codeDirectory);
  ERR_clear_error();
  if (!isValid) throw CodeSigningError(path_, reason::invalidSignature);
}

CmsSignature::~CmsSignature() = default;

void CmsSignature::requireTrust(const std::filesystem::path& anchors) const {
  const StoreHandle store(X509_STORE_new());
  const BioHandle file(BIO_new_file(anchors.c_str(), "rb"));
  if (!file) {
    const std::string why = std::strerror(errno);
    ERR_clear_error();
    throw CodeSigningError(path_, reason::notTrusted, {"anchors: " + printable(anchors) + ": " + why});
  }
  while (const CertificateHandle anchor{PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)}) {
    X509_STORE_add_cert(store.get(), anchor.get());
  }
  const StoreContextHandle context(X509_STORE_CTX_new());
  int error = X509_V_ERR_UNSPECIFIED;
  if (context &&
      X509_STORE_CTX_init(context.get(), store.get(), parts_->leaf, parts_->certificates.get()) == 1) {
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context.get());
    // Each certificate of the file is an anchor of its own, also one that another one has issued.
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN);
    X509_VERIFY_PARAM_set_depth(parameters, maximumChainLength);
    X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
    error = X509_verify_cert(context.get()) == 1 ? X509_V_OK : X509_STORE_CTX_get_error(context.get());
  }
  ERR_clear_error();
  if (error != X509_V_OK) {
    throw CodeSigningError(path_, trustReason(error), {X509_verify_cert_error_string(error)});
  }
  if (!isForCodeSigning(parts_->leaf)) {
    throw CodeSigningError(path_, reason::notTrusted, {"the certificate is not made for signing code"});
  }
}

std::optional<std::string> CmsSignature::team() const {
  return subjectField(parts_->leaf, NID_organizationalUnitName);
}

CodeHash CmsSignature::certificateHash() const { return certificateHashOf(parts_->leaf); }

std::vector<std::string> CmsSignature::authorities() const {
  std::vector<std::string> names;
  X509* current = parts_->leaf;
  for (int length = 0; current != nullptr && length < maximumChainLength; ++length) {
    names.push_back(subjectField(current, NID_commonName).value_or("(unnamed)"));
    X509* issuer = nullptr;
    for (int index = 0; index < sk_X509_num(parts_->certificates.get()); ++index) {
      X509* candidate = sk_X509_value(parts_->certificates.get(), index);
      if (candidate != current && X509_check_issued(candidate, current) == X509_V_OK) issuer = candidate;
    }
    current = issuer;
  }
  return names;
}

std::optional<Date> CmsSignature::signingTime() const {
  const int index = CMS_signed_get_attr_by_NID(parts_->signer, NID_pkcs9_signingTime, -1);
  if (index < 0) return std::nullopt;
  const ASN1_TYPE* value = X509_ATTRIBUTE_get0_type(CMS_signed_get_attr(parts_->signer, index), 0);
  if (value == nullptr) return std::nullopt;
  const int type = ASN1_TYPE_get(value);
  std::tm time{};
  if ((type != V_ASN1_UTCTIME && type != V_ASN1_GENERALIZEDTIME) ||
      ASN1_TIME_to_tm(value->value.asn1_string, &time) != 1) {
    return std::nullopt;
  }
  const std::chrono::year_month_day day(std::chrono::year(time.tm_year + 1900),
                                        std::chrono::month(static_cast<unsigned>(time.tm_mon + 1)),
                                        std::chrono::day(static_cast<unsigned>(time.tm_mday)));
  return Date(std::chrono::sys_days(day) + std::chrono::hours(time.tm_hour) +
              std::chrono::minutes(time.tm_min) + std::chrono::seconds(time.tm_sec));
}

}  // namespace pellam::codesign
