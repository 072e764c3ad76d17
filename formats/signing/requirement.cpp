#include "formats/signing/requirement.h"

#include "formats/signing/blob.h"

namespace pellam::codesign {

namespace {

constexpr std::uint32_t setMagic = 0xFADE0C01;
constexpr std::uint32_t requirementMagic = 0xFADE0C00;
constexpr std::uint32_t designatedKind = 3;
constexpr std::uint32_t setHeaderSize = 20;  // magic, length, count, and one entry of kind and offset
constexpr std::uint32_t expressionForm = 1;
constexpr std::uint32_t opIdentifier = 2;
constexpr std::uint32_t opAnchorHash = 4;
constexpr std::uint32_t opAnd = 6;
constexpr std::uint32_t opCertificateField = 11;
constexpr std::uint32_t matchEqual = 1;
constexpr std::uint32_t leafCertificate = 0;

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + "\"";
}

}  // namespace

Bytes DesignatedRequirement::encodedSet() const {
  BlobWriter requirement;
  requirement.put32(requirementMagic);
  requirement.put32(0);
  requirement.put32(expressionForm);
  requirement.put32(opAnd);
  requirement.put32(opIdentifier);
  requirement.putPadded(identifier);
  if (team) {
    requirement.put32(opCertificateField);
    requirement.put32(leafCertificate);
    requirement.putPadded("subject.OU");
    requirement.put32(matchEqual);
    requirement.putPadded(*team);
  } else {
    requirement.put32(opAnchorHash);
    requirement.put32(leafCertificate);
    requirement.putPadded(std::span<const std::uint8_t>(certificateHash));
  }
  BlobWriter set;
  set.put32(setMagic);
  set.put32(0);
  set.put32(1);
  set.put32(designatedKind);
  set.put32(setHeaderSize);
  set.put(requirement.finish());
  return set.finish();
}

std::string DesignatedRequirement::text() const {
  const std::string start = "identifier " + quoted(identifier) + " and certificate leaf";
  if (team) return start + "[subject.OU] = " + quoted(*team);
  return start + " = H\"" + hexadecimal(certificateHash) + "\"";
}

}  // namespace pellam::codesign
