#include "formats/signing/digest.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace pellam::codesign {

Sha256::Sha256() : algorithm_(EVP_MD_fetch(nullptr, "SHA256", nullptr)), context_(EVP_MD_CTX_new()) {
  if (algorithm_ == nullptr || context_ == nullptr) {
    EVP_MD_CTX_free(context_);
    EVP_MD_free(algorithm_);
    throw std::runtime_error("SHA-256 is not available");
  }
}

Sha256::~Sha256() {
  EVP_MD_CTX_free(context_);
  EVP_MD_free(algorithm_);
}

void Sha256::begin() {
  if (EVP_DigestInit_ex2(context_, algorithm_, nullptr) != 1) throw std::runtime_error("SHA-256 failed");
}

void Sha256::update(std::span<const std::uint8_t> bytes) {
  if (EVP_DigestUpdate(context_, bytes.data(), bytes.size()) != 1) throw std::runtime_error("SHA-256 failed");
}

Digest Sha256::finish() {
  Digest digest{};
  if (EVP_DigestFinal_ex(context_, digest.data(), nullptr) != 1) throw std::runtime_error("SHA-256 failed");
  return digest;
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

}  // namespace pellam::codesign
