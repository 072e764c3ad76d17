#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/signing/digest.h"

namespace pellam::codesign {

// What a signature signs: the digests of a bundle's Info.plist, requirements, resource seal and of every page
// of its main executable, together with the identifier and the team. docs/code-signature-format.md has the
// layout. A value.
struct CodeDirectory {
  static constexpr std::uint32_t version = 0x20400;
  static constexpr std::uint8_t pageSizeExponent = 14;
  static constexpr std::uint64_t pageSize = std::uint64_t{1} << pageSizeExponent;

  std::string identifier;
  std::optional<std::string> team;
  std::uint64_t codeLimit = 0;  // the main executable's length in bytes
  Digest infoPlist{};
  Digest requirements{};
  Digest resources{};
  std::vector<Digest> pages;

  [[nodiscard]] Bytes encoded() const;
  // Nothing for bytes that are no code directory of this kind: another version, hash or page size, slots
  // beyond those above, offsets outside the blob, names that are empty or not printable.
  [[nodiscard]] static std::optional<CodeDirectory> decode(std::span<const std::uint8_t> bytes);

  friend bool operator==(const CodeDirectory&, const CodeDirectory&) = default;
};

// Identifier and team: 1 to 255 printable ASCII characters.
[[nodiscard]] bool isUsableName(const std::string& name);

[[nodiscard]] CodeHash codeHash(std::span<const std::uint8_t> codeDirectory);

}  // namespace pellam::codesign
