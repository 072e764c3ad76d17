#include <algorithm>
#include <array>

#include "formats/signing/openssl_handles.h"

namespace pellam::codesign {

std::optional<std::string> subjectField(X509* certificate, int field) {
  X509_NAME* subject = X509_get_subject_name(certificate);
  const int index = X509_NAME_get_index_by_NID(subject, field, -1);
  if (index < 0) return std::nullopt;
  unsigned char* text = nullptr;
  const int length =
      ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)));
  if (length < 0) return std::nullopt;
  std::string value(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
  OPENSSL_free(text);
  return value;
}

CodeHash certificateHashOf(X509* certificate) {
  CodeHash hash{};
  unsigned int length = 0;
  if (X509_digest(certificate, EVP_sha1(), hash.data(), &length) != 1) hash.fill(0);
  return hash;
}

bool isForCodeSigning(X509* certificate) {
  const std::uint32_t flags = X509_get_extension_flags(certificate);
  if ((flags & EXFLAG_INVALID) != 0 || (flags & EXFLAG_XKUSAGE) == 0) return false;
  if ((X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) == 0) return false;
  return (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) != 0;
}

Bytes codeHashAttributeValue(std::span<const std::uint8_t> codeDirectory) {
  // SEQUENCE { OBJECT IDENTIFIER sha256, OCTET STRING digest }; every length fits in one byte.
  constexpr std::array<std::uint8_t, 11> sha256Identifier = {0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                                             0x65, 0x03, 0x04, 0x02, 0x01};
  const Digest digest = Sha256().of(codeDirectory);
  constexpr std::size_t contentSize = sha256Identifier.size() + 2 + std::tuple_size_v<Digest>;
  Bytes value(2 + contentSize);
  value[0] = 0x30;
  value[1] = contentSize;
  auto place = std::copy(sha256Identifier.begin(), sha256Identifier.end(), value.begin() + 2);
  *place++ = 0x04;
  *place++ = static_cast<std::uint8_t>(digest.size());
  std::copy(digest.begin(), digest.end(), place);
  return value;
}

}  // namespace pellam::codesign
