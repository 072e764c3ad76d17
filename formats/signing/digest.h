#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

struct evp_md_ctx_st;
struct evp_md_st;

namespace pellam::codesign {

using Bytes = std::vector<std::uint8_t>;
using Digest = std::array<std::uint8_t, 32>;    // SHA-256
using CodeHash = std::array<std::uint8_t, 20>;  // the first bytes of a code directory's digest

// Computes SHA-256 digests one after the other, reusing what the library allocates. For one thread. Throws
// std::runtime_error when the library fails.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void begin();
  void update(std::span<const std::uint8_t> bytes);
  [[nodiscard]] Digest finish();
  [[nodiscard]] Digest of(std::span<const std::uint8_t> bytes) {
    begin();
    update(bytes);
    return finish();
  }

 private:
  evp_md_st* algorithm_;
  evp_md_ctx_st* context_;
};

[[nodiscard]] std::string hexadecimal(std::span<const std::uint8_t> bytes);

}  // namespace pellam::codesign
